// The command line of moca-host.
#include <gtest/gtest.h>

#include <ostream>

#include "cli.h"

using host::json;

namespace {

struct KeyValue {
    const char* operand;
    const char* key;
    const char* value; // JSON; nullptr: rejected
};

// Readable and stable test names: the operand, or the command line.
void PrintTo(const KeyValue& kv, std::ostream* os) {
    *os << kv.operand;
}

class KeyValueOperands : public ::testing::TestWithParam<KeyValue> {};

TEST_P(KeyValueOperands, BecomeArgumentsOfTheirType) {
    std::string key;
    json value;
    std::string err;
    bool ok = host::parse_key_value(GetParam().operand, &key, &value, &err);
    if(GetParam().value == nullptr) {
        EXPECT_FALSE(ok) << value;
        EXPECT_FALSE(err.empty());
        return;
    }
    ASSERT_TRUE(ok) << err;
    EXPECT_EQ(key, GetParam().key);
    EXPECT_EQ(value.dump(), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    All, KeyValueOperands,
    ::testing::Values(KeyValue{"Id=5", "Id", "5"}, KeyValue{"Id=0x10", "Id", "16"},
                      KeyValue{"Offset=-3", "Offset", "-3"}, KeyValue{"Big=4294967296", "Big", "4294967296"},
                      KeyValue{"Enable=true", "Enable", "true"}, KeyValue{"Enable=false", "Enable", "false"},
                      KeyValue{"InternalName=moca0", "InternalName", R"("moca0")"},
                      KeyValue{"KeyPassphrase=099999999988888888", "KeyPassphrase", "99999999988888888"},
                      KeyValue{"Name=", "Name", R"("")"}, KeyValue{"Rate=1.5", "Rate", R"("1.5")"},
                      KeyValue{"Expr=a=b", "Expr", R"("a=b")"}, KeyValue{"Enable=True", "Enable", R"("True")"},
                      KeyValue{"Id:uint8=7", "Id", R"({"$type":"uint8","$value":"7"})"},
                      KeyValue{"KeyPassphrase:cstring=0123", "KeyPassphrase", R"({"$type":"cstring","$value":"0123"})"},
                      KeyValue{"Macs:csv_string=a,b", "Macs", R"({"$type":"csv_string","$value":"a,b"})"},
                      KeyValue{"Nothing:null=", "Nothing", R"({"$type":"null"})"}, KeyValue{"novalue", "", nullptr},
                      KeyValue{"=5", "", nullptr}, KeyValue{":uint32=5", "", nullptr},
                      KeyValue{"Id:unit32=5", "", nullptr}, KeyValue{"T:htable=x", "", nullptr}));

struct CommandLine {
    std::vector<std::string> args;
    host::Command command; // Command::none: rejected
};

void PrintTo(const CommandLine& cl, std::ostream* os) {
    *os << "[";
    for(const auto& arg : cl.args) {
        *os << (&arg == &cl.args.front() ? "" : " ") << arg;
    }
    *os << "]";
}

class CommandLines : public ::testing::TestWithParam<CommandLine> {};

TEST_P(CommandLines, AreAcceptedOrRejected) {
    std::string err;
    auto opt = host::parse_command_line(GetParam().args, &err);
    if(GetParam().command == host::Command::none) {
        EXPECT_FALSE(opt.has_value());
        EXPECT_FALSE(err.empty());
    } else {
        ASSERT_TRUE(opt.has_value()) << err;
        EXPECT_EQ(opt->command, GetParam().command);
    }
}

using C = host::Command;
INSTANTIATE_TEST_SUITE_P(
    All, CommandLines,
    ::testing::Values(
        CommandLine{{"call", "is-present", "InternalName=moca0"}, C::call},
        CommandLine{{"--sim", "s.json", "--create", "moca0", "--json", "call", "retrieve-dyn-info"}, C::call},
        CommandLine{{"dump", "moca0", "--json"}, C::dump},
        CommandLine{{"--module=/tmp/m.so", "--trace", "500", "dump", "moca0"}, C::dump},
        CommandLine{{"health", "moca0", "--json"}, C::health},
        CommandLine{{"--trace=300", "health", "moca0"}, C::health},
        CommandLine{{"report", "moca0", "-o", "page.html"}, C::report},
        CommandLine{{"--output=page.html", "report", "moca0"}, C::report}, CommandLine{{"report", "moca0"}, C::report},
        CommandLine{{"health"}, C::none}, CommandLine{{"report", "moca0", "moca1"}, C::none},
        CommandLine{{"report", "moca0", "--json"}, C::none}, CommandLine{{"health", "moca0", "-o", "x.html"}, C::none},
        CommandLine{{"report", "moca0", "-o"}, C::none}, CommandLine{{"script"}, C::script},
        CommandLine{{"script", "-"}, C::script}, CommandLine{{"script", "--", "-odd-name.jsonl"}, C::script},
        CommandLine{{"--help"}, C::help}, CommandLine{{"call", "-h"}, C::help}, CommandLine{{}, C::none},
        CommandLine{{"bogus"}, C::none}, CommandLine{{"call"}, C::none},
        CommandLine{{"call", "f", "Id=1", "Id=2"}, C::none}, CommandLine{{"call", "f", "Id"}, C::none},
        CommandLine{{"dump"}, C::none}, CommandLine{{"dump", "moca0", "moca1"}, C::none},
        CommandLine{{"script", "a", "b"}, C::none}, CommandLine{{"--create", "moca0", "dump", "moca0"}, C::none},
        CommandLine{{"--create", "", "call", "f"}, C::none}, CommandLine{{"call", "f", "--module"}, C::none},
        CommandLine{{"--trace", "loud", "call", "f"}, C::none}, CommandLine{{"--frobnicate", "call", "f"}, C::none},
        CommandLine{{"--json=yes", "call", "f"}, C::none}, CommandLine{{"--json", "script"}, C::none},
        CommandLine{{"script", "--trace", "400"}, C::none}, CommandLine{{"--trace=0", "script", "-"}, C::none}));

TEST(CommandLine, CarriesOptionsAndArgumentsInOrder) {
    std::string err;
    auto opt = host::parse_command_line({"--sim", "home.json", "--create=moca0", "call", "set-cfg-info",
                                         "InternalName=moca0", "Enable=false", "--json"},
                                        &err);
    ASSERT_TRUE(opt.has_value()) << err;
    EXPECT_EQ(opt->sim_path, "home.json");
    EXPECT_TRUE(opt->create);
    EXPECT_EQ(opt->create_ifname, "moca0");
    EXPECT_TRUE(opt->json_output);
    EXPECT_EQ(opt->function, "set-cfg-info");
    EXPECT_EQ(opt->call_args.dump(), R"({"InternalName":"moca0","Enable":false})");

    opt = host::parse_command_line({"script", "steps.jsonl"}, &err);
    ASSERT_TRUE(opt.has_value()) << err;
    EXPECT_EQ(opt->script_path, "steps.jsonl");
    EXPECT_TRUE(opt->module_path.empty());
}

// health and report grade the network with 0, 1 and 2: their usage errors are 3.
TEST(CommandLine, UsageErrorsOfTheGradingCommandsAreThree) {
    const std::pair<std::vector<std::string>, int> lines[] = {
        {{"health"}, 3},
        {{"--frobnicate", "health", "moca0"}, 3},
        {{"--sim", "health", "dump"}, 2},
        {{"report", "moca0", "--json"}, 3},
        {{"dump"}, 2},
        {{"bogus"}, 2},
        {{}, 2},
        {{"call", "health"}, 2},
    };
    for(const auto& [args, status] : lines) {
        EXPECT_EQ(host::usage_error_status(args), status) << (args.empty() ? "" : args[0]);
    }
}

} // namespace
