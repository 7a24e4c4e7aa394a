// SPDX-License-Identifier: BSD-2-Clause-Patent
// The command line of moca-host.
#include <gtest/gtest.h>

#include <tuple>

#include "cli.h"

using host::json;

namespace {

TEST(CommandLine, KeyValueOperandsBecomeArgumentsOfTheirType) {
    // clang-format off
    using Row = std::tuple<const char*, const char*, const char*>; // operand, key, value as JSON (nullptr: rejected)
    const Row rows[] = {
        {"Id=5", "Id", "5"}, {"Id=0x10", "Id", "16"}, {"Offset=-3", "Offset", "-3"},
        {"Big=4294967296", "Big", "4294967296"}, {"Enable=true", "Enable", "true"}, {"Enable=false", "Enable", "false"},
        {"InternalName=moca0", "InternalName", R"("moca0")"}, {"Name=", "Name", R"("")"},
        {"KeyPassphrase=099999999988888888", "KeyPassphrase", "99999999988888888"},
        {"Rate=1.5", "Rate", R"("1.5")"}, {"Expr=a=b", "Expr", R"("a=b")"}, {"Enable=True", "Enable", R"("True")"},
        {"Id:uint8=7", "Id", R"({"$type":"uint8","$value":"7"})"},
        {"KeyPassphrase:cstring=0123", "KeyPassphrase", R"({"$type":"cstring","$value":"0123"})"},
        {"Macs:csv_string=a,b", "Macs", R"({"$type":"csv_string","$value":"a,b"})"},
        {"Nothing:null=", "Nothing", R"({"$type":"null"})"},
        {"novalue", "", nullptr}, {"=5", "", nullptr}, {":uint32=5", "", nullptr}, {"Id:unit32=5", "", nullptr},
        {"T:htable=x", "", nullptr},
    };
    // clang-format on
    for(const auto& [operand, want_key, want_value] : rows) {
        SCOPED_TRACE(operand);
        std::string key, err;
        json value;
        const bool ok = host::parse_key_value(operand, &key, &value, &err);
        EXPECT_EQ(ok, want_value != nullptr) << err;
        EXPECT_EQ(err.empty(), ok);
        if(ok && want_value) {
            EXPECT_EQ(key, want_key);
            EXPECT_EQ(value.dump(), want_value);
        }
    }
}

TEST(CommandLine, IsAcceptedAsItsCommandOrRejected) {
    using C = host::Command;
    // clang-format off
    const std::pair<std::vector<std::string>, C> rows[] = {
        {{"call", "is-present", "InternalName=moca0"}, C::call},
        {{"--sim", "s.json", "--create", "moca0", "--json", "call", "retrieve-dyn-info"}, C::call},
        {{"dump", "moca0", "--json"}, C::dump}, {{"--module=/tmp/m.so", "--trace", "500", "dump", "moca0"}, C::dump},
        {{"health", "moca0", "--json"}, C::health}, {{"--trace=300", "health", "moca0"}, C::health},
        {{"report", "moca0", "-o", "page.html"}, C::report}, {{"--output=page.html", "report", "moca0"}, C::report},
        {{"report", "moca0"}, C::report}, {{"script"}, C::script}, {{"script", "-"}, C::script},
        {{"script", "--", "-odd-name.jsonl"}, C::script}, {{"--help"}, C::help}, {{"call", "-h"}, C::help},
        {{"health"}, C::none}, {{"report", "moca0", "moca1"}, C::none}, {{"report", "moca0", "--json"}, C::none},
        {{"health", "moca0", "-o", "x.html"}, C::none}, {{"report", "moca0", "-o"}, C::none}, {{}, C::none},
        {{"bogus"}, C::none}, {{"call"}, C::none}, {{"call", "f", "Id=1", "Id=2"}, C::none},
        {{"call", "f", "Id"}, C::none}, {{"dump"}, C::none}, {{"dump", "moca0", "moca1"}, C::none},
        {{"script", "a", "b"}, C::none}, {{"--create", "moca0", "dump", "moca0"}, C::none},
        {{"--create", "", "call", "f"}, C::none}, {{"call", "f", "--module"}, C::none},
        {{"--trace", "loud", "call", "f"}, C::none}, {{"--frobnicate", "call", "f"}, C::none},
        {{"--json=yes", "call", "f"}, C::none}, {{"--json", "script"}, C::none},
        {{"script", "--trace", "400"}, C::none}, {{"--trace=0", "script", "-"}, C::none},
    };
    // clang-format on
    for(const auto& [args, command] : rows) {
        std::string err;
        SCOPED_TRACE(::testing::PrintToString(args));
        auto opt = host::parse_command_line(args, &err);
        EXPECT_EQ(opt.has_value(), command != C::none) << err;
        EXPECT_EQ(opt ? opt->command : C::none, command);
        EXPECT_EQ(err.empty(), opt.has_value());
    }
}

} // namespace
