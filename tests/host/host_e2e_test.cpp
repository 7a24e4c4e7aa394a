// SPDX-License-Identifier: BSD-2-Clause-Patent
// The built moca-host binary, run as a user would: a script end to end, and
// the exit codes of "call".
#include <tuple>

#include "host_binary.h"

namespace {

const std::string home = std::string(MXL_EXAMPLES_DIR) + "/home-network.json";

TEST_F(MocaHostRun, RunsAScriptLineByLine) {
    const std::string moca0 = R"("args": {"InternalName": "moca0"})";
    // Each line of the script, and what its answer holds (nullptr: an error, and the script goes on).
    // clang-format off
    const std::pair<std::string, const char*> steps[] = {
        {R"({"sim": )" + json::parse(read(home)).dump() + "}", R"({"ok": true})"},
        // create: the chip is tested through a handle that is closed again.
        {R"({"call": "create-moca-iface", )" + moca0 + "}", R"({"rc": 0, "ret": ["null", null], "chip": [
            {"op": "ClnkLib_OpenByName", "args": ["moca0"], "rc": 0}, {"op": "ClnkLib_Close", "rc": null}]})"},
        {R"({"call": "retrieve-dyn-info", )" + moca0 + "}",
         R"({"rc": 0, "ret": ["htable", {"Status": ["cstring", "Up"], "CurrentOperFreq": ["uint32", 1150]}]})"},
        // No args and no ret reach the function as NULL.
        {R"({"call": "retrieve-dyn-info"})",
         R"({"rc": -1, "log": [{"msg": "Passed args is NULL", "level": 100, "mark": "x", "zone": "korvane"}]})"},
        {R"({"call": "retrieve-dyn-info", "ret": false, )" + moca0 + "}", R"({"rc": -1, "ret": null, "log": []})"},
        // An armed fault: the failing read's code comes back and the handle is closed.
        {R"({"fault": {"op": "GetCdInfo", "rc": -7}})", R"({"ok": true})"},
        {R"({"call": "retrieve-dyn-info", )" + moca0 + "}", R"({"rc": -7,
            "chip": [{"op": "ClnkLib_GetCdInfo", "rc": -7}, {"op": "ClnkLib_Close", "rc": null}],
            "log": [{"msg": "moca0: ClnkLib_GetCdInfo failed with rc=-7", "level": 100}]})"},
        // A table read starts its cache timer; ten seconds on it fires.
        {R"({"call": "retrieve-mesh-info", "args": {"InternalName": "moca0", "Id": 2}})",
         R"({"rc": 0, "ret": ["htable", {"TxNodeIndex": ["uint32", 0], "TxRate": ["uint32", 1870]}]})"},
        {R"({"advance": 10500})", R"({"log": [{"msg": "timer fired", "level": 400}]})"},
        {"", nullptr}, {"   ", nullptr}, // blank lines are skipped: no answer
        {R"({"call": "is-present", "loop": false, )" + moca0 + "}", R"({"ret": ["bool", true]})"},
        {R"({"call": "no-such-function", "args": {}})", nullptr},
        {"this is not json", nullptr},
        {R"({"call": "is-present", "arg": {"InternalName": "moca0"}})", nullptr}, // a misspelt key is not ignored
        {R"({"unload": true})", R"({"log": [{"msg": "Module stopped", "level": 300}]})"},
        {R"({"call": "is-present", )" + moca0 + "}", nullptr}, // nothing loaded
        {R"({"load": true})", R"({"log": [{"msg": "Module loaded", "level": 300}]})"},
        // A fresh load has no records.
        {R"({"call": "retrieve-dyn-info", )" + moca0 + "}",
         R"({"rc": -1, "log": [{"msg": "Unable to find a mxl iface by name", "level": 100}]})"},
        {R"({"sim_patch": {"interfaces": {"moca0": {"present": false}}}})", R"({"ok": true})"},
        {R"({"call": "is-present", )" + moca0 + "}", R"({"ret": ["bool", false]})"},
        {R"({"sim": {"interfaces": {"moca0": {"localInfo": {"nodeId": "nope"}}}}})", nullptr},
        {R"({"advance": -1})", nullptr},
    };
    // clang-format on
    std::string script;
    std::vector<std::pair<std::string, const char*>> answered;
    for(const auto& step : steps) {
        script += step.first + "\n";
        if(step.first.find_first_not_of(' ') != std::string::npos) {
            answered.push_back(step);
        }
    }
    write("steps.jsonl", script);
    Outcome r = run("script '" + path("steps.jsonl") + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(run("script", path("steps.jsonl")).out, r.out) << "read from standard input";
    std::vector<json> out;
    for(const auto& line : lines_of(r.out)) {
        out.push_back(json::parse(line));
    }
    ASSERT_EQ(out.size(), answered.size()) << r.out;

    for(size_t i = 0; i < out.size(); ++i) {
        const auto& [line, want] = answered[i];
        const json& o = out[i];
        SCOPED_TRACE(line.substr(0, 80) + "\n" + o.dump().substr(0, 2000));
        EXPECT_EQ(o.contains("error"), want == nullptr);
        EXPECT_TRUE(want == nullptr || holds(o, json::parse(want)));
        if(o.contains("rc")) { // the answer to a call
            EXPECT_EQ(keys_of(o), (std::vector<std::string>{"rc", "ret", "log", "chip", "handles"}));
            EXPECT_EQ(o["handles"], 0);
            for(const auto& entry : o["log"]) {
                EXPECT_EQ(keys_of(entry), (std::vector<std::string>{"level", "mark", "zone", "msg", "func", "line"}));
            }
        } else if(o.contains("log")) { // advance, unload and load
            EXPECT_EQ(keys_of(o), std::vector<std::string>{"log"});
        }
    }
    // Where order and absence matter.
    EXPECT_EQ(out[1]["chip"][0]["op"], "ClnkLib_OpenByName");
    EXPECT_EQ(keys_of(out[2]["ret"][1]).front(), "Status");
    EXPECT_TRUE(out[3]["chip"].empty());
    EXPECT_TRUE(out[4]["log"].empty());
}

// The exit status and message of each command, and of its usage errors.
TEST_F(MocaHostRun, CommandsExitWithTheResultOrAUsageError) {
    const std::string sim = example_sim("home-network");
    // clang-format off
    // arguments, exit status, text expected on standard output and on standard error
    const std::tuple<std::string, int, const char*, const char*> cases[] = {
        {"", 2, "", "usage:"},
        {"--frobnicate call is-present", 2, "", "unknown option"},
        {sim + "call retrieve-node-info InternalName=moca0 Id:uint8=300", 2, "", "out of range"},
        {sim + "call no-such-function", 2, "", "no-such-function"},
        {"--help", 0, "usage:", ""},
        {sim + "call is-present InternalName=moca0", 0, "bool", ""},
        {sim + "call retrieve-dyn-info InternalName=moca0", 1, "rc -1", "Unable to find a mxl iface by name"},
        {sim + "--create=moca0 call retrieve-dyn-info InternalName=moca0", 0, "steadyState", ""},
        {sim + "--create moca0 --json call retrieve-static-info InternalName=moca0", 0,
         R"("HighestVersion":["cstring","2.5"])", ""},
        // health, report and check grade the network 0, 1 or 2: what keeps them from judging is 3.
        {"report moca0 --json", 3, "", "usage:"},
        {"--frobnicate health moca0", 3, "", "usage:"},
        {"--sim health dump", 2, "", "usage:"},
        {"check moca0 moca1", 3, "", "usage:"},
        {"dump moca0 --write", 2, "", "usage:"},
        {"--sim /nonexistent.json health moca0", 3, "", ""},
        {"health moca0", 2, "is not present", ""},
        {sim + "report moca0 -o /nonexistent/x.html", 3, "", ""},
    };
    // clang-format on
    for(const auto& [args, status, in_out, in_err] : cases) {
        SCOPED_TRACE(args);
        Outcome r = run(args);
        EXPECT_EQ(r.status, status) << r.out << r.err;
        EXPECT_NE(r.out.find(in_out), std::string::npos) << r.out;
        EXPECT_NE(r.err.find(in_err), std::string::npos) << r.err;
    }
}

} // namespace
