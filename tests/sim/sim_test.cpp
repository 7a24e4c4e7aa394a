// SPDX-License-Identifier: BSD-2-Clause-Patent
// The chip simulator: scenario validation, state and patches, handles, packing,
// the call log, and armed faults.
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "clnkapi.h"
#include "clnksim.h"

extern "C" {
int c_refusals_of_null_calls(void);
}

using nlohmann::json;
using ojson = nlohmann::ordered_json;

namespace {

// A present, openable, started moca0 with `body` merged into it, and `faults` at the top.
std::string iface(const std::string& body = "{}", const char* faults = nullptr) {
    ojson base = ojson::parse(R"({"present": true, "openable": true, "started": true})");
    base.update(ojson::parse(body));
    ojson doc;
    doc["interfaces"]["moca0"] = base;
    if(faults != nullptr) {
        doc["faults"] = ojson::parse(faults);
    }
    return doc.dump();
}

// "aa:bb:..." -> the two words as the chip packs them.
ClnkLib_MacAddr_t mac(const char* text) {
    unsigned b[6] = {};
    EXPECT_EQ(std::sscanf(text, "%x:%x:%x:%x:%x:%x", &b[0], &b[1], &b[2], &b[3], &b[4], &b[5]), 6) << text;
    return {(b[0] << 24) | (b[1] << 16) | (b[2] << 8) | b[3], (b[4] << 24) | (b[5] << 16)};
}

class SimTest : public ::testing::Test {
protected:
    void SetUp() override { clnksim::reset(); }
    void TearDown() override { EXPECT_EQ(clnksim::open_handles(), 0) << "a handle was left open"; }

    static void load(const std::string& text) {
        std::string err;
        ASSERT_TRUE(clnksim::load_ordered(ojson::parse(text), &err)) << err;
    }
    static void patch(const char* text) {
        std::string err;
        ASSERT_TRUE(clnksim::patch(json::parse(text), &err)) << err;
    }
    static void arm(const std::string& text) {
        std::string err;
        ASSERT_TRUE(clnksim::arm_fault(json::parse(text), &err)) << err;
    }
    static ClnkLib_Handle_t open(const char* name = "moca0") {
        ClnkLib_Handle_t h{};
        EXPECT_EQ(ClnkLib_OpenByName(&h, name), CLNK_OK) << name;
        return h;
    }
    static json moca0() { return clnksim::state()["interfaces"]["moca0"]; }
    // Results of `n` GetNetInfo calls for node 1 on one handle.
    static std::vector<int32_t> net_info_results(int n) {
        ClnkLib_Handle_t h = open();
        std::vector<int32_t> out;
        for(int i = 0; i < n; ++i) {
            ClnkLib_NetInfo_t ni{};
            out.push_back(ClnkLib_GetNetInfo(&h, 1, &ni));
        }
        ClnkLib_Close(&h);
        return out;
    }
};

// clang-format off
const struct {
    const char* body; // merged into moca0
    const char* path; // the message starts with it
} kBadScenarios[] = {
    {R"({"localInfo": {"nodeID": 1}})", "interfaces.moca0.localInfo.nodeID: unknown field"},
    {R"({"localInfo": {"nodeId": "one"}})", "interfaces.moca0.localInfo.nodeId: not a number"},
    {R"({"localInfo": {"nodeId": 1.5}})", "interfaces.moca0.localInfo.nodeId: expected an integer"},
    {R"({"present": 1})", "interfaces.moca0.present: expected true or false"},
    {R"({"nodes": {"16": {}}})", "interfaces.moca0.nodes.16: index out of range"},
    {R"({"nodes": {"+1": {}}})", "interfaces.moca0.nodes.+1: index out of range"},
    {R"({"nodes": {"1": {"fmr": {"p2p": [{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{}]}}}})", "interfaces.moca0.nodes.1.fmr.p2p: more than 16 items"},
    {R"({"bridgeTables": {"ucastDst": [{"mac": "00:11:22:33:44:5g"}]}})", "interfaces.moca0.bridgeTables.ucastDst.0.mac: malformed MAC"},
    {R"({"config": {"maxTxPwr": 256}})", "interfaces.moca0.config.maxTxPwr: value 256 does not fit"},
    {R"({"config": {"tabooMask": "0x1000000"}})", "interfaces.moca0.config.tabooMask"},
    {R"({"localInfo": {"linkStatus": -1}})", "interfaces.moca0.localInfo.linkStatus"},
    {R"({"localInfo": {"priChnOffset": "-2147483649"}})", "interfaces.moca0.localInfo.priChnOffset"},
    {R"({"dataStats": {"txTotalPkts": "18446744073709551616"}})", "interfaces.moca0.dataStats.txTotalPkts"},
    {R"({"rlapm": {"profiles": {"0": {"tbl": {"5": {"phymargin": [1, 256]}}}}}})", "interfaces.moca0.rlapm.profiles.0.tbl.5.phymargin.1"},
    {R"({"config": {"mocaPassword": {"5": "123456789012345678"}}})", "interfaces.moca0.config.mocaPassword.5: pass phrase longer than 17"},
    {R"({"localInfo": {"socVersionStr": "1234567890123456789012345"}})", "interfaces.moca0.localInfo.socVersionStr: text longer than 24"},
    {R"({"bridgeTables": {"ucast": []}})", "interfaces.moca0.bridgeTables.ucast: unknown bridge table"},
    {R"({"nodes": {"2": {"netInfo": {"nodeId": 3}}}})", "interfaces.moca0.nodes.2.netInfo.nodeId: differs"},
    {R"({"nodes": {"2": {"flows": {"list": [{"dfid": 1}]}}}})", "interfaces.moca0.nodes.2.flows.list.0: a flow needs a flowId"},
    {R"({"nodes": {"1": {"flows": {"list": [{"flowId": "01:00:5e:00:00:01"}]}}, "2": {"flows": {"list": [{"flowId": "01:00:5E:00:00:01"}]}}}})",
     "interfaces.moca0.nodes.2.flows.list.0.flowId: duplicate flow id 01:00:5e:00:00:01"},
};
// clang-format on

TEST_F(SimTest, ReadsEveryNotationAndRefusesBadScenarioNamingThePath) {
    // Numbers in C notation (a leading 0 is octal), raw words beside the friendly forms.
    load(iface(R"({"localInfo": {"networkMocaVer": "0x25", "priChnOffset": -25, "secChnOffset": "-0x7d",
                                 "tabooMask": "010", "socVersionStr": ["0x312e3138", 774977024]},
                   "dataStats": {"txTotalPkts": "18446744073709551615"},
                   "nodes": {"1": {"netInfo": {"guidHi": "0x00112233", "guidLo": "0x44550000"}},
                             "2": {"netInfo": {"guidHi": "0x00112233", "guidLo": "0x44551234"}}},
                   "bridgeTables": {"ucastDst": [{"macAddrHi": "0x0a0b0c0d", "macAddrLoIds": "0x0e0f0003"}]}})"));
    // Values beyond 2^53 come back as text; low bits that no address holds keep the raw form.
    const json before = clnksim::state();
    EXPECT_EQ(before["interfaces"]["moca0"], json::parse(R"({"present": true, "openable": true, "started": true,
        "localInfo": {"networkMocaVer": 37, "priChnOffset": -25, "secChnOffset": -125, "tabooMask": 8,
                      "socVersionStr": "1.18.16"}, "dataStats": {"txTotalPkts": "18446744073709551615"},
        "nodes": {"1": {"netInfo": {"guid": "00:11:22:33:44:55"}},
                  "2": {"netInfo": {"guidHi": 1122867, "guidLo": 1146425908}}},
        "bridgeTables": {"ucastDst": [{"mac": "0a:0b:0c:0d:0e:0f", "nodeId": 3}]}})"));
    for(const auto& bad : kBadScenarios) {
        std::string err;
        EXPECT_FALSE(clnksim::load(json::parse(iface(bad.body)), &err)) << bad.body;
        EXPECT_EQ(err.rfind(bad.path, 0), 0u) << err;
        EXPECT_FALSE(clnksim::patch(json::parse(iface(bad.body)), &err)) << bad.body;
        EXPECT_EQ(clnksim::state(), before) << bad.body;
    }
    for(const char* text : {R"([])", R"({"interface": {}})", R"({"interfaces": []})",
                            R"({"interfaces": {"moca0123456789ab": {}}})", R"({"interfaces": {"": {}}})"}) {
        std::string err;
        EXPECT_FALSE(clnksim::load(json::parse(text), &err)) << text;
        EXPECT_FALSE(err.empty()) << text;
    }
    std::string err;
    EXPECT_FALSE(clnksim::load_file("/nonexistent/scenario.json", &err));
    EXPECT_NE(err.find("/nonexistent/scenario.json"), std::string::npos);
    EXPECT_EQ(clnksim::state(), before);
}

TEST_F(SimTest, StateReloadsToItselfAndSnapshotsPutItBack) {
    std::string err;
    ASSERT_TRUE(clnksim::load_file(SIM_EXAMPLES_DIR "/home-network.json", &err)) << err;
    const clnksim::Snapshot saved = clnksim::snapshot();
    const ojson loaded = clnksim::state_ordered();
    // A pass phrase of bytes that are no text still shows, and reloads.
    patch(R"({"interfaces": {"moca0": {"config": {"mocaPassword": {"2": [255, 1, 97, 98, 99]}}}}})");
    const ojson first = clnksim::state_ordered();
    EXPECT_EQ(first["interfaces"]["moca0"]["config"]["mocaPassword"]["2"], json::parse("[255, 1, 97, 98, 99]"));
    ASSERT_TRUE(clnksim::load_ordered(first, &err)) << err;
    EXPECT_EQ(clnksim::state_ordered(), first);
    // A snapshot puts back the network, but not the armed faults or the open handles.
    ClnkLib_Handle_t h = open();
    ASSERT_EQ(ClnkLib_Stop(&h), CLNK_OK);
    arm(R"({"op": "GetLocalInfo", "rc": -5})");
    clnksim::restore(saved);
    EXPECT_EQ(clnksim::state_ordered(), loaded);
    ClnkLib_LocalInfo_t li{};
    EXPECT_EQ(ClnkLib_GetLocalInfo(&h, &li), -5);
    ClnkLib_Close(&h);
    // Absent is zero: a minimal interface shows only its three switches.
    load(R"({"interfaces": {"moca9": {}}})");
    EXPECT_EQ(clnksim::state(),
              json::parse(R"({"interfaces": {"moca9": {"present": false, "openable": false, "started": false}}})"));
}

TEST_F(SimTest, MergePatchChangesAddsRemovesAndKeepsOrder) {
    load(R"({"interfaces": {"moca2": {"present": true}, "eth0": {},
        "moca0": {"present": true, "localInfo": {"nodeId": 1, "activeNodeBitmask": "0x3"},
                  "nodes": {"0": {"netInfo": {"guid": "00:11:22:33:44:55", "mocaVer": "0x20"}},
                            "1": {"netInfo": {"guid": "00:11:22:33:44:66"}}}}}})");
    patch(R"({"interfaces": {"eth0": {"present": true}, "moca1": {"present": true}, "moca0": {
        "localInfo": {"activeNodeBitmask": "0x5"},
        "nodes": {"1": null, "2": {"netInfo": {"guid": "00:11:22:33:44:77"}},
                  "0": {"netInfo": {"mocaVer": "0x25", "guidLo": "0x44990000"}}}}}})");
    const json s = moca0();
    EXPECT_EQ(s["localInfo"], json::parse(R"({"nodeId": 1, "activeNodeBitmask": 5})"));
    EXPECT_FALSE(s["nodes"].contains("1"));
    EXPECT_EQ(s["nodes"]["2"]["netInfo"]["guid"], "00:11:22:33:44:77");
    // A raw word patched beside the friendly form wins over it.
    EXPECT_EQ(s["nodes"]["0"]["netInfo"], json::parse(R"({"guid": "00:11:22:33:44:99", "mocaVer": 37})"));
    // Interfaces list in scenario order, new ones last, absent ones left out, the count bounded.
    ClnkLib_Name_t names[8]{};
    ASSERT_EQ(ClnkLib_ListNames(names, 8), 4);
    EXPECT_EQ(std::string(names[0].ifName) + names[1].ifName + names[2].ifName + names[3].ifName,
              "moca2eth0moca0moca1");
    EXPECT_EQ(ClnkLib_ListNames(names, 2), 2);
}

TEST_F(SimTest, HandlesAreCountedAndDeadHandlesRefused) {
    load(R"({"interfaces": {"moca0": {"present": true, "openable": true},
        "moca1": {"present": true, "openable": false}, "moca2": {"present": false, "openable": true}}})");
    const std::pair<const char*, int32_t> opens[] = {
        {"moca0", CLNK_OK},           {"moca1", CLNK_ERR_NO_DEVICE},  {"moca2", CLNK_ERR_NO_DEVICE},
        {"moca", CLNK_ERR_NO_DEVICE}, {"moca00", CLNK_ERR_NO_DEVICE}, {nullptr, CLNK_ERR_BAD_PARAM}};
    ClnkLib_Handle_t held = open();
    for(const auto& [name, rc] : opens) {
        ClnkLib_Handle_t h = held; // a variable that holds an open handle already
        EXPECT_EQ(ClnkLib_OpenByName(&h, name), rc) << (name ? name : "NULL");
        EXPECT_EQ(clnksim::open_handles(), rc == CLNK_OK ? 2 : 1);
        ClnkLib_Close(&h); // closes only what this open opened: nothing after a failure
    }
    ClnkLib_Close(&held);
    ClnkLib_Handle_t a = open();
    ClnkLib_Handle_t b = open(); // a second handle on the same interface
    EXPECT_EQ(clnksim::open_handles(), 2);
    ClnkLib_Handle_t copy = a;
    ClnkLib_Close(&a);
    ClnkLib_Close(&a);
    ClnkLib_LocalInfo_t li{};
    EXPECT_EQ(ClnkLib_GetLocalInfo(&a, &li), CLNK_ERR_BAD_PARAM);
    EXPECT_EQ(ClnkLib_GetLocalInfo(&copy, &li), CLNK_ERR_BAD_PARAM); // a stale copy is dead too
    EXPECT_EQ(clnksim::open_handles(), 1);
    patch(R"({"interfaces": {"moca0": {"present": false}}})"); // vanishing under an open handle
    EXPECT_EQ(ClnkLib_GetLocalInfo(&b, &li), CLNK_ERR_NO_DEVICE);
    ClnkLib_Close(&b);
}

TEST_F(SimTest, HeaderIsPlainCAndRecordsHaveTheChipLayout) {
    EXPECT_EQ(c_refusals_of_null_calls(), 21); // every operation, called from C with NULL arguments, refuses
    // The taboo offset and mask share one word: offset in bits 7-0, mask in bits 31-8.
    ClnkLib_ClnkCfgV2_t cfg{};
    cfg.tabooOffset = 0x12;
    cfg.tabooMask = 0xabcdef;
    uint32_t word = 0;
    std::memcpy(&word, reinterpret_cast<const char*>(&cfg) + offsetof(ClnkLib_ClnkCfgV2_t, channelMask) - 4, 4);
    EXPECT_EQ(word, 0xabcdef12u);
}

TEST_F(SimTest, CallsAnswerPackedRecordsAndAreLogged) {
    load(iface(R"({"localInfo": {"socVersionStr": "MXL-1.18.16-rc2-build-77", "mac": "0a:0b:0c:0d:0e:0f"},
        "nodes": {"3": {"netInfo": {"guid": "00:11:22:33:44:55", "txDataFrameGood": "0x0000000500000001"}}}})"));
    ClnkLib_Name_t names[16];
    ClnkLib_ListNames(names, 16);
    ClnkLib_Handle_t bad;
    ClnkLib_OpenByName(&bad, "moca7");
    ClnkLib_Close(&bad);
    ClnkLib_Handle_t h = open();
    // Text four characters to a word, addresses in two words, counters with their halves exchanged.
    ClnkLib_LocalInfo_t li{};
    ClnkLib_GetLocalInfo(&h, &li);
    EXPECT_EQ(li.socVersionStr[0], 0x4d584c2du); // "MXL-"
    EXPECT_EQ(li.socVersionStr[5], 0x642d3737u); // "d-77": all 24 characters, no terminator
    EXPECT_EQ(li.macAddrHi, 0x0a0b0c0du);
    EXPECT_EQ(li.macAddrLo, 0x0e0f0000u);
    ClnkLib_NetInfo_t ni{};
    ClnkLib_GetNetInfo(&h, 3, &ni);
    EXPECT_EQ(ni.guidHi, 0x00112233u);
    EXPECT_EQ(ni.guidLo, 0x44550000u);
    EXPECT_EQ(ni.txDataFrameGood, 0x0000000100000005ull);
    ClnkLib_PhyTxProfile_t tx;
    ClnkLib_GetPhyTxProfile(&h, 3, 0x12, 0, &tx);
    clnk_param_mask_t mask{};
    SET_PARAM_BIT(&mask, OPT_TABOO_MASK);
    ClnkLib_ClnkCfgV2_t cfg{};
    ClnkLib_GetClnkCfgV2Params(&h, &mask, &cfg);
    ClnkLib_FlowListReq_t req{mac("00:11:22:33:44:55"), 32, 32};
    ClnkLib_FlowListRsp_t rsp;
    ClnkLib_ListFlows(&h, &req, &rsp);
    ClnkLib_Close(&h);
    json log = json::array();
    for(const auto& call : clnksim::take_calls()) {
        log.push_back(clnksim::call_to_json(call));
    }
    EXPECT_EQ(log, json::parse(R"([
        {"op": "ClnkLib_ListNames", "args": [16], "rc": 1},
        {"op": "ClnkLib_OpenByName", "args": ["moca7"], "rc": -2},
        {"op": "ClnkLib_Close", "args": [], "rc": null},
        {"op": "ClnkLib_OpenByName", "args": ["moca0"], "rc": 0},
        {"op": "ClnkLib_GetLocalInfo", "args": [], "rc": 0},
        {"op": "ClnkLib_GetNetInfo", "args": [3], "rc": 0},
        {"op": "ClnkLib_GetPhyTxProfile", "args": [3, 18], "rc": 0},
        {"op": "ClnkLib_GetClnkCfgV2Params", "args": [0, 0, 0, 0, 1024, 0, 0, 0, 0], "rc": 0},
        {"op": "ClnkLib_ListFlows", "args": ["00:11:22:33:44:55", 32, 32], "rc": 0},
        {"op": "ClnkLib_Close", "args": [], "rc": null}])"));
    EXPECT_TRUE(clnksim::calls().empty());
    // A host that never reads the log: it stays bounded and keeps the latest calls.
    for(uint32_t i = 1; i <= 200000; i++) {
        ClnkLib_ListNames(names, i % 16 + 1);
        ASSERT_LE(clnksim::calls().size(), 65536u);
    }
    EXPECT_GE(clnksim::calls().size(), 32768u);
    EXPECT_EQ(clnksim::calls().back().args, json::array({200000 % 16 + 1}));
    EXPECT_EQ(clnksim::calls().end()[-2].args, json::array({199999 % 16 + 1}));
}

// Faults: moca0 with node 1 that has two flows.
class FaultsTest : public SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        load(iface(R"({"localInfo": {"nodeId": 1},
            "nodes": {"1": {"netInfo": {"guid": "00:11:22:33:44:55", "mocaVer": "0x25"},
                            "flows": {"flowUpdateCount": 4,
                                      "list": [{"flowId": "01:00:5e:00:00:01"}, {"flowId": "01:00:5e:00:00:02"}]}}},
            "bridgeTables": {"ucastDst": [{"mac": "00:00:00:00:00:01", "nodeId": 1}]}})"));
    }
};

TEST_F(FaultsTest, SkipTimesAndCodeCountFromTheirArming) {
    const struct {
        const char* fault;
        std::vector<int32_t> results;
    } cases[] = {
        {R"({"op": "ClnkLib_GetNetInfo"})", {-1, 0, 0}},
        {R"({"op": "GetNetInfo", "skip": 2, "times": 2, "rc": "-0x3"})", {0, 0, -3, -3, 0}},
        {R"({"op": "GetNetInfo", "times": 0})", {0, 0}},
        {R"({"op": "GetNetInfo", "rc": 7})", {7, 0}},
        {R"({"op": "GetLocalInfo"})", {0, 0}}, // another operation
    };
    for(const auto& c : cases) {
        clnksim::clear_faults();
        arm(c.fault);
        EXPECT_EQ(net_info_results(static_cast<int>(c.results.size())), c.results) << c.fault;
    }
    // Several faults each count from their own arming; the first armed decides.
    arm(R"({"op": "GetNetInfo", "skip": 1, "rc": -2})");
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});
    arm(R"({"op": "GetNetInfo", "skip": 1, "times": 2, "rc": -5})");
    EXPECT_EQ(net_info_results(4), (std::vector<int32_t>{-2, -5, -5, 0}));
    // A failing call fills nothing.
    arm(R"({"op": "GetNetInfo"})");
    ClnkLib_Handle_t h = open();
    ClnkLib_NetInfo_t ni;
    std::memset(&ni, 0xCC, sizeof ni);
    EXPECT_EQ(ClnkLib_GetNetInfo(&h, 1, &ni), -1);
    EXPECT_EQ(ni.guidHi, 0xCCCCCCCCu);
    ClnkLib_Close(&h);
}

// (A flow code answers no ids: the flow suite's listing lines show it.)
TEST_F(FaultsTest, UpdateCountDeltasAddUpModulo32Bits) {
    ClnkLib_Handle_t h = open();
    ClnkLib_FlowListReq_t req{mac("00:11:22:33:44:55"), 0, 32};
    ClnkLib_FlowListRsp_t rsp{};
    // Deltas of several faults add up modulo 2^32, like the counter: never an overflow.
    arm(R"({"op": "ListFlows", "rc": 0, "flowUpdateCountDelta": -2099728720})");
    arm(R"({"op": "ListFlows", "rc": 0, "flowUpdateCountDelta": -2012739576})");
    EXPECT_EQ(ClnkLib_ListFlows(&h, &req, &rsp), 0);
    EXPECT_EQ(rsp.flowUpdateCount, 4u - 2099728720u - 2012739576u);
    EXPECT_EQ(rsp.numReturnedFlowIds, 2u);
    ClnkLib_Close(&h);
}

// Refused faults and the message after the path prefix ("fault" when armed, "faults.N" in a scenario).
// clang-format off
const struct {
    const char* fault;
    const char* message;
} kBadFaults[] = {
    {R"({"op": "ClnkLib_Close"})", R"(.op: "ClnkLib_Close" is not an operation that can fail)"},
    {R"({"op": 3})", ".op: expected an operation name"},
    {R"({"skip": 1})", ".op: missing"},
    {R"({"op": "GetNetInfo", "flowCode": 8})", ".flowCode: only ClnkLib_ListFlows and ClnkLib_QueryFlow answer a flow code"},
    {R"({"op": "QueryFlow", "flowUpdateCountDelta": 1})", ".flowUpdateCountDelta: only ClnkLib_ListFlows reports a flowUpdateCount"},
    {R"({"op": "GetNetInfo", "count": 1})", ".count: unknown field"},
    {R"(["GetNetInfo"])", ": expected an object"},
    {R"({"op": "GetLocalInfo", "set": {"nodeId": 1}})", ".set: a failing call fills nothing: set needs rc 0"},
    {R"({"op": "Stop", "rc": 0, "set": {"x": 1}})", ".set: ClnkLib_Stop answers no record to set"},
    {R"({"op": "GetLocalInfo", "rc": 0, "set": [1]})", ".set: expected an object of field paths and values"},
    {R"({"op": "GetLocalInfo", "rc": 0, "set": {"nodeID": 1}})", R"(.set.nodeID: unknown field "nodeID")"},
    {R"({"op": "GetLocalInfo", "rc": 0, "set": {"nodeId": "0x100000000"}})", ".set.nodeId: value 0x100000000 does not fit a 32-bit unsigned field"},
    {R"({"op": "GetLocalInfo", "rc": 0, "set": {"nodeId.1": 1}})", R"(.set.nodeId.1: "nodeId" has no field "1")"},
    {R"({"op": "GetBridgeTable", "rc": 0, "set": {"entries.192.nodeId": 1}})", R"(.set.entries.192.nodeId: "192": index out of range (a decimal index below 192))"},
    {R"({"op": "GetSapmCfg", "rc": 0, "set": {"profiles.0.tbl.1.scstart": 2147483648}})", ".set.profiles.0.tbl.1.scstart: value 2147483648 does not fit a 32-bit signed field"},
    {R"({"op": "GetClnkCfgV2", "rc": 0, "set": {"mocaPassword.0.18": 1}})", R"(.set.mocaPassword.0.18: a pass phrase byte is "mocaPassword.N.K", K below 18)"},
    {R"({"op": "ListFlows", "rc": 0, "set": {"returnedFlowId.0": "01:02"}})", R"(.set.returnedFlowId.0: malformed MAC address (want "aa:bb:cc:dd:ee:ff"))"},
};
// clang-format on

TEST_F(FaultsTest, RefusesFaultsThatCannotHappenAloneOrInAScenario) {
    const json before = clnksim::state();
    for(const auto& bad : kBadFaults) {
        std::string err;
        EXPECT_FALSE(clnksim::arm_fault(json::parse(bad.fault), &err)) << bad.fault;
        EXPECT_EQ(err, std::string("fault") + bad.message);
        // In a scenario, after a good fault that must not be armed either; the whole load is refused.
        const std::string doc = iface("{}", (std::string(R"([{"op": "GetNetInfo"}, )") + bad.fault + "]").c_str());
        EXPECT_FALSE(clnksim::load_ordered(ojson::parse(doc), &err)) << doc;
        EXPECT_EQ(err, std::string("faults.1") + bad.message);
        EXPECT_FALSE(clnksim::patch(json::parse(doc), &err)) << doc;
        EXPECT_EQ(err, std::string("faults.1") + bad.message);
    }
    std::string err;
    EXPECT_FALSE(clnksim::load(json::parse(iface("{}", R"({"op": "GetNetInfo"})")), &err));
    EXPECT_EQ(err, "faults: expected an array of fault objects");
    EXPECT_FALSE(clnksim::load(json::parse(iface(R"({"colour": 1})", R"([{"op": "GetNetInfo"}])")), &err));
    EXPECT_EQ(err, "interfaces.moca0.colour: unknown field");
    clnksim::Fault close; // the C++ form
    close.op = "ClnkLib_Close";
    EXPECT_FALSE(clnksim::arm_fault(close, &err));
    EXPECT_EQ(err, R"(fault.op: "ClnkLib_Close" is not an operation that can fail)");
    EXPECT_EQ(clnksim::state(), before);
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0}); // nothing was armed
}

TEST_F(FaultsTest, SetGivesAnswerFieldsAnyValueThatFitsTheirWidth) {
    // An unaffected call (skip 1) answers from the state; the next one carries the values.
    arm(R"({"op": "GetLocalInfo", "skip": 1, "rc": 0, "set": {"activeNodeBitmask": "0xffffffff", "nodeId": 40,
                                                             "mac": "0a:0b:0c:0d:0e:0f", "priChnOffset": -3}})");
    arm(R"({"op": "GetBridgeTable", "rc": 0, "set": {"numEntries": 1000, "entries.3.nodeId": 40,
                                                     "entries.0.mac": "00:00:00:00:00:02"}})");
    arm(R"({"op": "GetNetInfo", "rc": 0, "set": {"txDataFrameGood": "0x100000002"}})");
    ClnkLib_Handle_t h = open();
    ClnkLib_LocalInfo_t li{};
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h, &li), CLNK_OK);
    EXPECT_EQ(li.nodeId, 1u);
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h, &li), CLNK_OK);
    EXPECT_EQ(li.nodeId, 40u);
    EXPECT_EQ(li.activeNodeBitmask, 0xffffffffu);
    EXPECT_EQ(li.macAddrHi, 0x0a0b0c0du);
    EXPECT_EQ(li.priChnOffset, -3);
    ClnkLib_BridgeTable_t table;
    std::memset(&table, 0xAB, sizeof table);
    uint32_t n = 0;
    ASSERT_EQ(ClnkLib_GetBridgeTable(&h, CLNK_BRIDGE_UCAST_DST, 0, &n, &table), CLNK_OK);
    EXPECT_EQ(n, 1000u);
    EXPECT_EQ(table.entry[0].macAddrLoIds, 0x00020001u); // the address changed, its node id not
    EXPECT_EQ(table.entry[3].macAddrLoIds, 0xABAB0028u); // only the node id half is written
    ClnkLib_NetInfo_t ni{};
    ASSERT_EQ(ClnkLib_GetNetInfo(&h, 1, &ni), CLNK_OK);
    EXPECT_EQ(ni.txDataFrameGood, 0x0000000200000001ull); // a true value, delivered packed
    // Spent: the next calls answer from the state again.
    ASSERT_EQ(ClnkLib_GetBridgeTable(&h, CLNK_BRIDGE_UCAST_DST, 0, &n, &table), CLNK_OK);
    EXPECT_EQ(n, 1u);
    ClnkLib_Close(&h);
}

TEST_F(FaultsTest, ScenarioFaultsCountFromTheLoadAndResetDisarms) {
    arm(R"({"op": "GetNetInfo", "skip": 2, "rc": -5})");
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});
    load(iface(R"({"nodes": {"1": {}}})", R"([{"op": "GetNetInfo", "skip": 2, "times": 1},
        {"op": "OpenByName", "skip": 1, "rc": -2}, {"op": "GetLocalInfo", "rc": -7}, {"op": "GetLocalInfo", "rc": -8}])"));
    EXPECT_FALSE(clnksim::state().contains("faults"));
    // The fault armed before stays armed; the scenario's own count from the load.
    EXPECT_EQ(net_info_results(4), (std::vector<int32_t>{0, -5, -1, 0}));
    ClnkLib_Handle_t h;
    EXPECT_EQ(ClnkLib_OpenByName(&h, "moca0"), -2); // the second open since the load
    h = open();
    ClnkLib_LocalInfo_t li{};
    EXPECT_EQ(ClnkLib_GetLocalInfo(&h, &li), -7); // array order: the first armed decides
    EXPECT_EQ(ClnkLib_GetLocalInfo(&h, &li), 0);
    ClnkLib_Close(&h);
    // A patch arms its faults and merges the rest.
    patch(R"({"faults": [{"op": "GetNetInfo", "skip": 1, "rc": "-0x4"}],
              "interfaces": {"moca0": {"localInfo": {"nodeId": 3}}}})");
    EXPECT_EQ(moca0()["localInfo"]["nodeId"], 3);
    EXPECT_EQ(net_info_results(3), (std::vector<int32_t>{0, -4, 0}));
    arm(R"({"op": "GetNetInfo"})");
    clnksim::reset();
    load(iface(R"({"nodes": {"1": {}}})"));
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});
}

} // namespace
