// SPDX-License-Identifier: BSD-2-Clause-Patent
// moca-host check: every check fails on a network built to break exactly it
// (the example network with a merge patch and faults), every example passes.
#include <set>

#include "check.h"
#include "host_binary.h"

namespace {

struct Broken {
    const char* check; // the one check expected to fail
    const char* patch; // merge patch on examples/home-network.json (faults arm at load)
    const char* options = "";
};

// GetLocalInfo calls before the bridge refresh: the host's own read, create,
// static, dynamic, node and mesh refills.
const Broken broken[] = {
    {"calls", R"({"faults": [{"op": "GetDataStats", "skip": 1}]})"},
    {"network", R"({"interfaces": {"moca0": {"localInfo": {"ncNodeId": 7}}}})"},
    {"mesh", R"({"interfaces": {"moca0": {"nodes": {"2": {"fmr": {"validInfo": 0}}}}}})"},
    {"bridges", R"({"faults": [
        {"op": "GetLocalInfo", "skip": 6, "rc": 0, "set": {"activeNodeBitmask": "0x4f"}},
        {"op": "GetBridgeTable", "skip": 2, "times": 4, "rc": 0,
         "set": {"numEntries": 9, "entries.8.mac": "02:00:00:00:00:06", "entries.8.nodeId": 6}}]})"},
    {"margin-tables", R"({"faults": [{"op": "GetRlapmCfg", "rc": 0, "set": {"profiles.5.tbl.0.freq": 1200}}]})"},
    {"flows", R"({"faults": [{"op": "QueryFlow", "rc": 0, "set": {"pfp.ingressGuid": "00:1d:cd:58:a2:17"}}]})"},
    {"macs", R"({"interfaces": {"moca0": {"nodes": {"3": {"netInfo": {"guid": "e8:6f:38:04:91:5b"}}}}}})"},
    {"versions", R"({"interfaces": {"moca0": {"localInfo": {"networkMocaVer": "0x20"}}}})"},
    {"counters", R"({"faults": [{"op": "GetDataStats", "skip": 1, "rc": 0, "set": {"txTotalPkts": 5}}]})"},
    {"phy-rates", R"({"interfaces": {"moca0": {"nodes": {"3": {"fmr": {"p2p": {"0": {"rateNper": 400}}}}}}}})"},
    // Six failed queries abandon the listing without starting its timer.
    {"cache", R"({"faults": [{"op": "QueryFlow", "times": 6}]})"},
    // Five list timeouts on each of two nodes: a second of busy waiting.
    {"timing", R"({"faults": [{"op": "ListFlows", "rc": 0, "flowCode": 8, "times": 5},
                              {"op": "ListFlows", "rc": 0, "flowCode": 8, "skip": 6, "times": 5}]})"},
    {"write", R"({"faults": [{"op": "GetClnkCfgV2Params", "rc": 0, "times": 10, "set": {"maxTxPwr": 99}}]})",
     "--write"},
};

class Check : public MocaHostRun {
protected:
    // The checks that failed, and the status, of a check of moca0 with the --sim option given.
    std::set<std::string> failed(const std::string& sim, const std::string& options, int* status) {
        Outcome r = run(sim + "check moca0 --json " + options);
        *status = r.status;
        std::set<std::string> out;
        const json doc = json::parse(r.out);
        for(const auto& c : doc["checks"]) {
            if(c["verdict"] == "FAIL") {
                out.insert(c["name"].get<std::string>());
            }
        }
        return out;
    }
};

TEST_F(Check, EachCheckFailsOnTheNetworkBuiltToBreakIt) {
    for(const auto& b : broken) {
        SCOPED_TRACE(b.check);
        int status = 0;
        EXPECT_EQ(failed(patched_sim(b.patch), b.options, &status), std::set<std::string>{b.check});
        EXPECT_EQ(status, 2);
    }
}

TEST_F(Check, EveryExampleNetworkPassesAlsoWhenWritten) {
    for(const char* name :
        {"home-network", "expiring-flow", "flaky-node", "mixed-versions", "sleeping-node", "weak-link"}) {
        SCOPED_TRACE(name);
        int status = 0;
        EXPECT_EQ(failed(example_sim(name), "--write", &status), std::set<std::string>{});
        EXPECT_LE(status, 1); // a slow moment on a busy machine may warn
    }
}

// No scenario makes the module's keys wrong: a made-up answer does.
TEST(CheckKeys, MissingMistypedAndUndocumentedKeysAreNamed) {
    host::DumpCall c;
    c.function = "retrieve-qos-info";
    c.result = {{"rc", 0},
                {"ret", {"htable", {{"EgressNumFlows", {"uint64", 0}}, {"Extra", {"bool", true}}}}},
                {"chip", json::array()}};
    EXPECT_EQ(host::key_problems(c),
              (std::vector<std::string>{"retrieve-qos-info: EgressNumFlows is uint64, not uint32",
                                        "retrieve-qos-info: no key IngressNumFlows",
                                        "retrieve-qos-info: undocumented key Extra"}));
}

} // namespace
