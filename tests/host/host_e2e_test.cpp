// The built moca-host binary, run as a user would: a script end to end, and
// the exit codes of "call".
#include "host_binary.h"

namespace {

const std::string home = std::string(MXL_EXAMPLES_DIR) + "/home-network.json";

// Whether the list has an entry with (at least) the given keys and values.
bool holds(const json& list, const json& want) {
    for(const auto& entry : list) {
        json merged = entry;
        merged.update(want);
        if(merged == entry) {
            return true;
        }
    }
    return false;
}

TEST_F(MocaHostRun, RunsAScriptLineByLine) {
    // clang-format off
    const std::string steps[] = {
        R"({"sim": )" + json::parse(read(home)).dump() + "}",
        R"({"call": "create-moca-iface", "args": {"InternalName": "moca0"}})", // 1
        R"({"call": "retrieve-dyn-info", "args": {"InternalName": "moca0"}})", // 2
        R"({"call": "retrieve-dyn-info"})", // 3
        R"({"call": "retrieve-dyn-info", "args": {"InternalName": "moca0"}, "ret": false})", // 4
        R"({"fault": {"op": "GetCdInfo", "rc": -7}})", // 5
        R"({"call": "retrieve-dyn-info", "args": {"InternalName": "moca0"}})", // 6
        R"({"call": "retrieve-mesh-info", "args": {"InternalName": "moca0", "Id": 2}})", // 7
        R"({"advance": 10500})", // 8
        "", "   ",
        R"({"call": "is-present", "args": {"InternalName": "moca0"}, "loop": false})", // 9
        R"({"call": "no-such-function", "args": {}})", // 10
        "this is not json", // 11
        R"({"call": "is-present", "arg": {"InternalName": "moca0"}})", // 12
        R"({"unload": true})", // 13
        R"({"call": "is-present", "args": {"InternalName": "moca0"}})", // 14
        R"({"load": true})", // 15
        R"({"call": "retrieve-dyn-info", "args": {"InternalName": "moca0"}})", // 16
        R"({"sim_patch": {"interfaces": {"moca0": {"present": false}}}})", // 17
        R"({"call": "is-present", "args": {"InternalName": "moca0"}})", // 18
        R"({"sim": {"interfaces": {"moca0": {"localInfo": {"nodeId": "nope"}}}}})", // 19
        R"({"advance": -1})", // 20
    };
    // clang-format on
    std::string script;
    for(const auto& step : steps) {
        script += step + "\n";
    }
    write("steps.jsonl", script);

    Outcome r = run("script '" + path("steps.jsonl") + "'");
    ASSERT_EQ(r.status, 0) << r.err;
    std::vector<json> out;
    for(const auto& line : lines_of(r.out)) {
        out.push_back(json::parse(line));
    }
    ASSERT_EQ(out.size(), 21u) << r.out;
    EXPECT_EQ(run("script", path("steps.jsonl")).out, r.out) << "read from standard input";

    EXPECT_EQ(out[0], json::parse(R"({"ok": true})"));
    for(size_t i : {1u, 2u, 3u, 4u, 6u, 7u, 9u, 14u, 16u}) {
        if(out[i].contains("error")) {
            continue;
        }
        EXPECT_EQ(keys_of(out[i]), (std::vector<std::string>{"rc", "ret", "log", "chip", "handles"})) << i;
        EXPECT_EQ(out[i]["handles"], 0) << i;
        for(const auto& entry : out[i]["log"]) {
            EXPECT_EQ(keys_of(entry), (std::vector<std::string>{"level", "mark", "zone", "msg", "func", "line"}));
        }
    }

    // create: the chip is tested through a handle that is closed again.
    EXPECT_EQ(out[1]["rc"], 0);
    EXPECT_EQ(out[1]["ret"], json::parse(R"(["null", null])"));
    ASSERT_FALSE(out[1]["chip"].empty());
    EXPECT_EQ(out[1]["chip"][0], json::parse(R"({"op": "ClnkLib_OpenByName", "args": ["moca0"], "rc": 0})"));
    EXPECT_TRUE(holds(out[1]["chip"], {{"op", "ClnkLib_Close"}, {"rc", nullptr}}));

    // A report: typed keys, in the module's order.
    EXPECT_EQ(out[2]["rc"], 0);
    EXPECT_EQ(out[2]["ret"][0], "htable");
    EXPECT_EQ(out[2]["ret"][1]["Status"], json::parse(R"(["cstring", "Up"])"));
    EXPECT_EQ(keys_of(out[2]["ret"][1]).front(), "Status");
    EXPECT_EQ(out[2]["ret"][1]["CurrentOperFreq"], json::parse(R"(["uint32", 1150])"));

    // No args and no ret reach the function as NULL.
    EXPECT_EQ(out[3]["rc"], -1);
    EXPECT_TRUE(holds(out[3]["log"], {{"msg", "Passed args is NULL"}, {"level", 100}}));
    EXPECT_EQ(out[3]["log"][0]["mark"], "x");
    EXPECT_EQ(out[3]["log"][0]["zone"], "korvane");
    EXPECT_TRUE(out[3]["chip"].empty());
    EXPECT_EQ(out[4]["rc"], -1);
    EXPECT_TRUE(out[4]["ret"].is_null());
    EXPECT_TRUE(out[4]["log"].empty());

    // An armed fault: the failing read's code comes back and the handle is closed.
    EXPECT_EQ(out[5], json::parse(R"({"ok": true})"));
    EXPECT_EQ(out[6]["rc"], -7);
    EXPECT_TRUE(holds(out[6]["chip"], {{"op", "ClnkLib_GetCdInfo"}, {"rc", -7}}));
    EXPECT_TRUE(holds(out[6]["chip"], {{"op", "ClnkLib_Close"}, {"rc", nullptr}}));
    EXPECT_TRUE(holds(out[6]["log"], {{"msg", "moca0: ClnkLib_GetCdInfo failed with rc=-7"}, {"level", 100}}));

    // A table read starts its cache timer; ten seconds on it fires.
    EXPECT_EQ(out[7]["rc"], 0);
    EXPECT_EQ(out[7]["ret"][1]["TxNodeIndex"], json::parse(R"(["uint32", 0])"));
    EXPECT_EQ(out[7]["ret"][1]["TxRate"], json::parse(R"(["uint32", 1870])"));
    EXPECT_EQ(keys_of(out[8]), std::vector<std::string>{"log"});
    EXPECT_TRUE(holds(out[8]["log"], {{"msg", "timer fired"}, {"level", 400}}));

    EXPECT_EQ(out[9]["ret"], json::parse(R"(["bool", true])"));

    // Lines that can't be carried out get an error and the script goes on.
    EXPECT_TRUE(out[10].contains("error"));
    EXPECT_TRUE(out[11].contains("error"));
    EXPECT_TRUE(out[12].contains("error")); // a misspelt key is not ignored

    EXPECT_EQ(keys_of(out[13]), std::vector<std::string>{"log"});
    EXPECT_TRUE(holds(out[13]["log"], {{"msg", "Module stopped"}, {"level", 300}}));
    EXPECT_TRUE(out[14].contains("error")); // nothing loaded
    EXPECT_TRUE(holds(out[15]["log"], {{"msg", "Module loaded"}, {"level", 300}}));

    // A fresh load has no records.
    EXPECT_EQ(out[16]["rc"], -1);
    EXPECT_TRUE(holds(out[16]["log"], {{"msg", "Unable to find a mxl iface by name"}, {"level", 100}}));

    EXPECT_EQ(out[17], json::parse(R"({"ok": true})"));
    EXPECT_EQ(out[18]["ret"], json::parse(R"(["bool", false])"));
    EXPECT_TRUE(out[19].contains("error"));
    EXPECT_TRUE(out[20].contains("error"));
}

struct CallCase {
    const char* name;
    std::string args;
    int status;
    const char* in_out; // text expected on standard output
    const char* in_err; // text expected on standard error
};

// The exit status and message of each command, and of its usage errors.
TEST_F(MocaHostRun, CommandsExitWithTheResultOrAUsageError) {
    const std::string sim = example_sim("home-network");
    // clang-format off
    const std::vector<CallCase> cases = {
        {"no command", "", 2, "", "usage:"},
        {"unknown option", "--frobnicate call is-present", 2, "", "unknown option"},
        {"bad typed value", sim + "call retrieve-node-info InternalName=moca0 Id:uint8=300", 2, "", "out of range"},
        {"unknown function", sim + "call no-such-function", 2, "", "no-such-function"},
        {"help", "--help", 0, "usage:", ""},
        {"present", sim + "call is-present InternalName=moca0", 0, "bool", ""},
        {"no record", sim + "call retrieve-dyn-info InternalName=moca0", 1, "rc -1", "Unable to find a mxl iface by name"},
        {"created first", sim + "--create=moca0 call retrieve-dyn-info InternalName=moca0", 0, "steadyState", ""},
        {"json", sim + "--create moca0 --json call retrieve-static-info InternalName=moca0", 0,
         R"("HighestVersion":["cstring","2.5"])", ""},
        // health, report and check grade the network 0, 1 or 2: what keeps them from judging is 3.
        {"report usage", "report moca0 --json", 3, "", "usage:"},
        {"health usage", "--frobnicate health moca0", 3, "", "usage:"},
        {"no command after --sim FILE", "--sim health dump", 2, "", "usage:"},
        {"check usage", "check moca0 moca1", 3, "", "usage:"},
        {"check-only option", "dump moca0 --write", 2, "", "usage:"},
        {"no scenario file", "--sim /nonexistent.json health moca0", 3, "", ""},
        {"no chip", "health moca0", 2, "is not present", ""},
        {"report not written", sim + "report moca0 -o /nonexistent/x.html", 3, "", ""},
    };
    // clang-format on
    for(const auto& c : cases) {
        Outcome r = run(c.args);
        EXPECT_EQ(r.status, c.status) << c.name << "\n" << r.out << r.err;
        EXPECT_NE(r.out.find(c.in_out), std::string::npos) << c.name << "\n" << r.out;
        EXPECT_NE(r.err.find(c.in_err), std::string::npos) << c.name << "\n" << r.err;
    }
}

} // namespace
