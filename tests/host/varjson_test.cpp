// SPDX-License-Identifier: BSD-2-Clause-Patent
// Variant <-> JSON conversion of moca-host.
#include <gtest/gtest.h>

#include "varjson.h"

using host::json;

namespace {

// Implicit types first, then explicit ones, then errors. Keys keep the order in which
// they were written, not sorted; an explicit htable carries a key named "$type" as data.
TEST(ArgumentForm, MakesTheVariantOfTheRightTypeOrNamesTheError) {
    // clang-format off
    const std::pair<const char*, const char*> rows[] = { // argument form, typed form ("[...") or error
        {R"("moca0")", R"(["cstring","moca0"])"}, {R"("")", R"(["cstring",""])"}, {"true", R"(["bool",true])"},
        {"0", R"(["uint32",0])"}, {"4294967295", R"(["uint32",4294967295])"},
        {"4294967296", R"(["uint64",4294967296])"}, {"18446744073709551615", R"(["uint64",18446744073709551615])"},
        {"-1", R"(["int32",-1])"}, {"-2147483648", R"(["int32",-2147483648])"},
        {"-2147483649", R"(["int64",-2147483649])"}, {"-9223372036854775808", R"(["int64",-9223372036854775808])"},
        {"1.5", R"(["double",1.5])"}, {"1e300", R"(["double",1e+300])"}, {"-2E3", R"(["double",-2000.0])"},
        {"18446744073709551616", R"(["double",1.8446744073709552e+19])"}, {"null", R"(["null",null])"},
        {R"([1,"a",[]])", R"(["list",[["uint32",1],["cstring","a"],["list",[]]]])"}, {"{}", R"(["htable",{}])"},
        {R"({"z":1,"a":{"b":false},"m":null})",
         R"(["htable",{"z":["uint32",1],"a":["htable",{"b":["bool",false]}],"m":["null",null]}])"},
        {R"({"$type":"uint8","$value":255})", R"(["uint8",255])"},
        {R"({"$type":"int8","$value":-128})", R"(["int8",-128])"},
        {R"({"$type":"int16","$value":"-0x10"})", R"(["int16",-16])"},
        {R"({"$type":"uint16","$value":65535})", R"(["uint16",65535])"},
        {R"({"$type":"int32","$value":7})", R"(["int32",7])"},
        {R"({"$type":"uint32","$value":"0x25"})", R"(["uint32",37])"},
        {R"({"$type":"int64","$value":5})", R"(["int64",5])"},
        {R"({"$type":"uint64","$value":"0xffffffffffffffff"})", R"(["uint64",18446744073709551615])"},
        {R"({"$type":"uint64","$value":3})", R"(["uint64",3])"},
        {R"({"$type":"csv_string","$value":"a,b"})", R"(["csv_string","a,b"])"},
        {R"({"$type":"ssv_string","$value":"a b"})", R"(["ssv_string","a b"])"},
        {R"({"$type":"cstring","$value":"5"})", R"(["cstring","5"])"},
        {R"({"$type":"bool","$value":"false"})", R"(["bool",false])"},
        {R"({"$type":"double","$value":"2.5"})", R"(["double",2.5])"},
        {R"({"$type":"double","$value":3})", R"(["double",3.0])"}, {R"({"$type":"null"})", R"(["null",null])"},
        {R"({"$type":"list","$value":[{"$type":"int8","$value":1}]})", R"(["list",[["int8",1]]])"},
        {R"({"$type":"htable","$value":{"$type":"x"}})", R"(["htable",{"$type":["cstring","x"]}])"},
        // Rejected, with the error's path, and the variant left null.
        {R"({"$type":"uint8","$value":256})", "out of range for uint8"},
        {R"({"$type":"int8","$value":-129})", "out of range for int8"},
        {R"({"$type":"uint32","$value":-1})", "out of range for uint32"},
        {R"({"$type":"int64","$value":9223372036854775808})", "out of range for int64"},
        {R"({"$type":"uint32","$value":"12 "})", "expected an integer"},
        {R"({"$type":"uint32","$value":true})", "expected an integer"},
        {R"({"$type":"bogus","$value":1})", "unknown type 'bogus'"},
        {R"({"$type":7,"$value":1})", "$type must be a type name"}, {R"({"$type":"uint32"})", "$value missing"},
        {R"({"$type":"uint32","$value":1,"x":2})", "unexpected key 'x'"},
        {R"({"$type":"cstring","$value":5})", "expected a string"}, {R"({"$type":"null","$value":0})", "must be null"},
        {R"({"$type":"htable","$value":[]})", "expected an object"},
        {R"({"$type":"list","$value":{}})", "expected an array"},
        {R"({"a":[0,{"b":{"$type":"bool","$value":"yes"}}]})", "$.a[1].b.$value: expected true or false"},
        {R"({"":1})", "empty key"},
    };
    // clang-format on
    for(const auto& [in, want] : rows) {
        host::Variant var;
        amxc_var_set_uint32_t(var.get(), 9);
        std::string err;
        const bool ok = host::json_to_variant(json::parse(in), var.get(), &err);
        if(want[0] == '[') {
            EXPECT_TRUE(ok) << in << ": " << err;
            EXPECT_EQ(host::to_line(host::variant_to_typed_json(var.get())), want);
        } else {
            EXPECT_FALSE(ok) << in;
            EXPECT_NE(err.find(want), std::string::npos) << err;
            EXPECT_EQ(amxc_var_type_of(var.get()), AMXC_VAR_ID_NULL) << in;
        }
    }
}

TEST(OutputLine, ReplacesTextThatIsNotUtf8InsteadOfFailing) {
    host::Variant var;
    amxc_var_set_cstring_t(var.get(), "bad \xff byte");
    std::string line = host::to_line(host::variant_to_typed_json(var.get()));
    EXPECT_EQ(line.rfind(R"(["cstring","bad )", 0), 0u) << line;
}

TEST(IntegerText, IsDecimalOrHexadecimal) {
    // clang-format off
    const std::pair<const char*, const char*> rows[] = { // text, parsed (nullptr: not an integer)
        {"0", "0"}, {"42", "42"}, {"010", "10"}, {"0x1F", "31"}, {"0X1f", "31"}, {"-5", "-5"}, {"-0", "0"},
        {"18446744073709551615", "18446744073709551615"}, {"-9223372036854775808", "-9223372036854775808"},
        {"18446744073709551616", nullptr}, {"-9223372036854775809", nullptr}, {"", nullptr}, {"-", nullptr},
        {"0x", nullptr}, {" 1", nullptr}, {"+1", nullptr}, {"1.5", nullptr}, {"0x1g", nullptr}, {"abc", nullptr},
    };
    // clang-format on
    for(const auto& [text, parsed] : rows) {
        json out;
        const bool ok = host::parse_integer_text(text, &out);
        EXPECT_EQ(ok, parsed != nullptr) << text << ": " << out;
        if(ok && parsed) {
            EXPECT_EQ(out.dump(), parsed);
        }
    }
}

} // namespace
