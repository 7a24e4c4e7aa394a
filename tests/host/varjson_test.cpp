// Variant <-> JSON conversion of moca-host.
#include <gtest/gtest.h>

#include "varjson.h"

using host::json;

namespace {

struct RoundTrip {
    const char* in;    // argument form
    const char* typed; // expected typed form
};

class ArgumentForm : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(ArgumentForm, MakesTheVariantOfTheRightType) {
    host::Variant var;
    std::string err;
    ASSERT_TRUE(host::json_to_variant(json::parse(GetParam().in), var.get(), &err)) << err;
    EXPECT_EQ(host::to_line(host::variant_to_typed_json(var.get())), GetParam().typed);
}

INSTANTIATE_TEST_SUITE_P(
    Implicit, ArgumentForm,
    ::testing::Values(
        RoundTrip{R"("moca0")", R"(["cstring","moca0"])"}, RoundTrip{R"("")", R"(["cstring",""])"},
        RoundTrip{"true", R"(["bool",true])"}, RoundTrip{"0", R"(["uint32",0])"},
        RoundTrip{"4294967295", R"(["uint32",4294967295])"}, RoundTrip{"4294967296", R"(["uint64",4294967296])"},
        RoundTrip{"18446744073709551615", R"(["uint64",18446744073709551615])"}, RoundTrip{"-1", R"(["int32",-1])"},
        RoundTrip{"-2147483648", R"(["int32",-2147483648])"}, RoundTrip{"-2147483649", R"(["int64",-2147483649])"},
        RoundTrip{"-9223372036854775808", R"(["int64",-9223372036854775808])"}, RoundTrip{"1.5", R"(["double",1.5])"},
        RoundTrip{"1e300", R"(["double",1e+300])"}, RoundTrip{"-2E3", R"(["double",-2000.0])"},
        RoundTrip{"18446744073709551616", R"(["double",1.8446744073709552e+19])"},
        RoundTrip{"null", R"(["null",null])"},
        RoundTrip{R"([1,"a",[]])", R"(["list",[["uint32",1],["cstring","a"],["list",[]]]])"},
        // Keys keep the order in which they were written, not sorted.
        RoundTrip{R"({"z":1,"a":{"b":false},"m":null})",
                  R"(["htable",{"z":["uint32",1],"a":["htable",{"b":["bool",false]}],"m":["null",null]}])"},
        RoundTrip{"{}", R"(["htable",{}])"}));

INSTANTIATE_TEST_SUITE_P(
    Explicit, ArgumentForm,
    ::testing::Values(
        RoundTrip{R"({"$type":"uint8","$value":255})", R"(["uint8",255])"},
        RoundTrip{R"({"$type":"int8","$value":-128})", R"(["int8",-128])"},
        RoundTrip{R"({"$type":"int16","$value":"-0x10"})", R"(["int16",-16])"},
        RoundTrip{R"({"$type":"uint16","$value":65535})", R"(["uint16",65535])"},
        RoundTrip{R"({"$type":"int32","$value":7})", R"(["int32",7])"},
        RoundTrip{R"({"$type":"uint32","$value":"0x25"})", R"(["uint32",37])"},
        RoundTrip{R"({"$type":"int64","$value":5})", R"(["int64",5])"},
        RoundTrip{R"({"$type":"uint64","$value":"0xffffffffffffffff"})", R"(["uint64",18446744073709551615])"},
        RoundTrip{R"({"$type":"uint64","$value":3})", R"(["uint64",3])"},
        RoundTrip{R"({"$type":"csv_string","$value":"a,b"})", R"(["csv_string","a,b"])"},
        RoundTrip{R"({"$type":"ssv_string","$value":"a b"})", R"(["ssv_string","a b"])"},
        RoundTrip{R"({"$type":"cstring","$value":"5"})", R"(["cstring","5"])"},
        RoundTrip{R"({"$type":"bool","$value":"false"})", R"(["bool",false])"},
        RoundTrip{R"({"$type":"double","$value":"2.5"})", R"(["double",2.5])"},
        RoundTrip{R"({"$type":"double","$value":3})", R"(["double",3.0])"},
        RoundTrip{R"({"$type":"null"})", R"(["null",null])"},
        RoundTrip{R"({"$type":"list","$value":[{"$type":"int8","$value":1}]})", R"(["list",[["int8",1]]])"},
        // An explicit htable carries a key named "$type" as data.
        RoundTrip{R"({"$type":"htable","$value":{"$type":"x"}})", R"(["htable",{"$type":["cstring","x"]}])"}));

struct Rejected {
    const char* in;
    const char* error_part;
};

class ArgumentErrors : public ::testing::TestWithParam<Rejected> {};

TEST_P(ArgumentErrors, AreReportedWithTheirPathAndLeaveANullVariant) {
    host::Variant var;
    amxc_var_set_uint32_t(var.get(), 9);
    std::string err;
    EXPECT_FALSE(host::json_to_variant(json::parse(GetParam().in), var.get(), &err));
    EXPECT_NE(err.find(GetParam().error_part), std::string::npos) << err;
    EXPECT_EQ(amxc_var_type_of(var.get()), AMXC_VAR_ID_NULL);
}

INSTANTIATE_TEST_SUITE_P(All, ArgumentErrors,
                         ::testing::Values(Rejected{R"({"$type":"uint8","$value":256})", "out of range for uint8"},
                                           Rejected{R"({"$type":"int8","$value":-129})", "out of range for int8"},
                                           Rejected{R"({"$type":"uint32","$value":-1})", "out of range for uint32"},
                                           Rejected{R"({"$type":"int64","$value":9223372036854775808})",
                                                    "out of range for int64"},
                                           Rejected{R"({"$type":"uint32","$value":"12 "})", "expected an integer"},
                                           Rejected{R"({"$type":"uint32","$value":true})", "expected an integer"},
                                           Rejected{R"({"$type":"bogus","$value":1})", "unknown type 'bogus'"},
                                           Rejected{R"({"$type":7,"$value":1})", "$type must be a type name"},
                                           Rejected{R"({"$type":"uint32"})", "$value missing"},
                                           Rejected{R"({"$type":"uint32","$value":1,"x":2})", "unexpected key 'x'"},
                                           Rejected{R"({"$type":"cstring","$value":5})", "expected a string"},
                                           Rejected{R"({"$type":"null","$value":0})", "must be null"},
                                           Rejected{R"({"$type":"htable","$value":[]})", "expected an object"},
                                           Rejected{R"({"$type":"list","$value":{}})", "expected an array"},
                                           Rejected{R"({"a":[0,{"b":{"$type":"bool","$value":"yes"}}]})",
                                                    "$.a[1].b.$value: expected true or false"},
                                           Rejected{R"({"":1})", "empty key"}));

TEST(TypedForm, DistinguishesANullPointerFromAnUntouchedVariant) {
    EXPECT_TRUE(host::variant_to_typed_json(nullptr).is_null());
    host::Variant untouched;
    EXPECT_EQ(host::to_line(host::variant_to_typed_json(untouched.get())), R"(["null",null])");
}

TEST(TypedForm, PrintsTablesInInsertionOrderAndEveryIntegerWidthExactly) {
    host::Variant var;
    amxc_var_set_type(var.get(), AMXC_VAR_ID_HTABLE);
    amxc_var_add_key(uint64_t, var.get(), "Bytes", UINT64_MAX);
    amxc_var_add_key(int32_t, var.get(), "Offset", -3);
    amxc_var_add_key(csv_string_t, var.get(), "MACAddresses", "0a:0b:0c:0d:0e:0f,00:11:22:33:44:55");
    amxc_var_add_key(bool, var.get(), "Active", true);
    amxc_var_add_key(uint32_t, var.get(), "A", 1);
    EXPECT_EQ(host::to_line(host::variant_to_typed_json(var.get())),
              R"(["htable",{"Bytes":["uint64",18446744073709551615],"Offset":["int32",-3],)"
              R"("MACAddresses":["csv_string","0a:0b:0c:0d:0e:0f,00:11:22:33:44:55"],"Active":["bool",true],)"
              R"("A":["uint32",1]}])");
    EXPECT_EQ(host::to_line(host::variant_to_plain_json(var.get())),
              R"({"Bytes":18446744073709551615,"Offset":-3,"MACAddresses":"0a:0b:0c:0d:0e:0f,00:11:22:33:44:55",)"
              R"("Active":true,"A":1})");
}

TEST(OutputLine, ReplacesTextThatIsNotUtf8InsteadOfFailing) {
    host::Variant var;
    amxc_var_set_cstring_t(var.get(), "bad \xff byte");
    std::string line = host::to_line(host::variant_to_typed_json(var.get()));
    EXPECT_EQ(line.rfind(R"(["cstring","bad )", 0), 0u) << line;
}

struct IntegerText {
    const char* text;
    const char* parsed; // nullptr: not an integer
};

class IntegerTexts : public ::testing::TestWithParam<IntegerText> {};

TEST_P(IntegerTexts, AreDecimalOrHexadecimal) {
    json out;
    bool ok = host::parse_integer_text(GetParam().text, &out);
    if(GetParam().parsed == nullptr) {
        EXPECT_FALSE(ok) << out;
    } else {
        ASSERT_TRUE(ok);
        EXPECT_EQ(out.dump(), GetParam().parsed);
    }
}

INSTANTIATE_TEST_SUITE_P(
    All, IntegerTexts,
    ::testing::Values(IntegerText{"0", "0"}, IntegerText{"42", "42"}, IntegerText{"010", "10"},
                      IntegerText{"0x1F", "31"}, IntegerText{"0X1f", "31"}, IntegerText{"-5", "-5"},
                      IntegerText{"-0", "0"}, IntegerText{"18446744073709551615", "18446744073709551615"},
                      IntegerText{"-9223372036854775808", "-9223372036854775808"},
                      IntegerText{"18446744073709551616", nullptr}, IntegerText{"-9223372036854775809", nullptr},
                      IntegerText{"", nullptr}, IntegerText{"-", nullptr}, IntegerText{"0x", nullptr},
                      IntegerText{" 1", nullptr}, IntegerText{"+1", nullptr}, IntegerText{"1.5", nullptr},
                      IntegerText{"0x1g", nullptr}, IntegerText{"abc", nullptr}));

} // namespace
