// Armed faults: counting, codes, flow codes, and what they refuse.
#include <cstring>
#include <vector>

#include "sim_test_util.h"

using nlohmann::json;
using simtest::iface;
using simtest::mac;

namespace {

class FaultsTest : public simtest::SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        load(iface(R"({"localInfo": {"nodeId": 1},
                       "nodes": {"1": {"netInfo": {"guid": "00:11:22:33:44:55", "mocaVer": "0x25"},
                                       "flows": {"flowUpdateCount": 4,
                                                 "list": [{"flowId": "01:00:5e:00:00:01"}, {"flowId": "01:00:5e:00:00:02"}]}}}})"));
    }

    static void arm(const std::string& text) {
        std::string err;
        ASSERT_TRUE(clnksim::arm_fault(json::parse(text), &err)) << err;
    }

    // Results of `n` GetNetInfo calls on one handle.
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

TEST_F(FaultsTest, SkipTimesAndCodeAsArmed) {
    const struct {
        const char* fault;
        std::vector<int32_t> results;
    } cases[] = {
        {R"({"op": "ClnkLib_GetNetInfo"})", {-1, 0, 0}},
        {R"({"op": "GetNetInfo", "rc": -5})", {-5, 0, 0}},
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
    // A failing call fills nothing.
    arm(R"({"op": "GetNetInfo"})");
    ClnkLib_Handle_t h = open();
    ClnkLib_NetInfo_t ni;
    std::memset(&ni, 0xCC, sizeof ni);
    EXPECT_EQ(ClnkLib_GetNetInfo(&h, 1, &ni), -1);
    EXPECT_EQ(ni.guidHi, 0xCCCCCCCCu);
    ClnkLib_Close(&h);
}

TEST_F(FaultsTest, SeveralFaultsCountEachFromTheirArming) {
    arm(R"({"op": "GetNetInfo", "skip": 1, "rc": -2})");
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});
    // Armed after one call: its own count starts now.
    arm(R"({"op": "GetNetInfo", "skip": 1, "times": 2, "rc": -5})");
    EXPECT_EQ(net_info_results(4), (std::vector<int32_t>{-2, -5, -5, 0}));
}

TEST_F(FaultsTest, OpenAndListNamesCanFail) {
    arm(R"({"op": "OpenByName", "rc": -2})");
    ClnkLib_Handle_t h;
    EXPECT_EQ(ClnkLib_OpenByName(&h, "moca0"), -2);
    EXPECT_EQ(clnksim::open_handles(), 0);
    ClnkLib_LocalInfo_t li;
    EXPECT_LT(ClnkLib_GetLocalInfo(&h, &li), 0); // the handle did not open
    ClnkLib_Close(&h);

    arm(R"({"op": "ListNames", "rc": -3})");
    arm(R"({"op": "ListNames", "skip": 1, "rc": 0})"); // rc 0: the normal answer
    ClnkLib_Name_t names[4];
    EXPECT_EQ(ClnkLib_ListNames(names, 4), -3);
    EXPECT_EQ(ClnkLib_ListNames(names, 4), 1);
    EXPECT_STREQ(names[0].ifName, "moca0");
}

TEST_F(FaultsTest, FlowCodesAndUpdateCount) {
    ClnkLib_Handle_t h = open();
    ClnkLib_FlowListReq_t req{mac("00:11:22:33:44:55"), 0, 32};
    arm(R"({"op": "ListFlows", "rc": 0, "flowCode": 8, "times": 2})");
    arm(R"({"op": "ListFlows", "skip": 2, "rc": 0, "flowUpdateCountDelta": 3})");
    arm(R"({"op": "ListFlows", "skip": 3, "rc": -1})");
    const struct {
        int32_t rc;
        uint32_t code, update_count, returned;
    } expected[] = {
        {0, CLNKLIB_FLOWCODE_TIMEOUT, 4, 0}, // a non-success answer carries no ids
        {0, CLNKLIB_FLOWCODE_TIMEOUT, 4, 0},      {0, CLNKLIB_FLOWCODE_SUCCESS, 7, 2},
        {-1, 0xEEEEEEEE, 0xEEEEEEEE, 0xEEEEEEEE}, {0, CLNKLIB_FLOWCODE_SUCCESS, 4, 2},
    };
    for(const auto& e : expected) {
        ClnkLib_FlowListRsp_t rsp;
        std::memset(&rsp, 0xEE, sizeof rsp);
        EXPECT_EQ(ClnkLib_ListFlows(&h, &req, &rsp), e.rc);
        EXPECT_EQ(rsp.flowCode, e.code);
        EXPECT_EQ(rsp.flowUpdateCount, e.update_count);
        EXPECT_EQ(rsp.numReturnedFlowIds, e.returned);
    }

    // Deltas of several faults add up modulo 2^32, like the counter: never an overflow.
    arm(R"({"op": "ListFlows", "rc": 0, "flowUpdateCountDelta": -2099728720})");
    arm(R"({"op": "ListFlows", "rc": 0, "flowUpdateCountDelta": -2012739576})");
    ClnkLib_FlowListRsp_t wrapped{};
    EXPECT_EQ(ClnkLib_ListFlows(&h, &req, &wrapped), 0);
    EXPECT_EQ(wrapped.flowUpdateCount, 4u - 2099728720u - 2012739576u);

    arm(R"({"op": "QueryFlow", "rc": 0, "flowCode": 96})");
    ClnkLib_MacAddr_t id = mac("01:00:5e:00:00:02");
    ClnkLib_FlowQueryRsp_t q{};
    EXPECT_EQ(ClnkLib_QueryFlow(&h, &id, &q), 0);
    EXPECT_EQ(q.flowCode, CLNKLIB_FLOWCODE_DRIVER_ERROR);
    EXPECT_EQ(ClnkLib_QueryFlow(&h, &id, &q), 0);
    EXPECT_EQ(q.flowCode, CLNKLIB_FLOWCODE_SUCCESS);
    ClnkLib_Close(&h);
}

// Refused faults and the message after the path prefix ("fault" when armed, "faults.N" in a scenario).
const struct {
    const char* fault;
    const char* message;
} kBadFaults[] = {
    {R"({"op": "ClnkLib_Close"})", R"(.op: "ClnkLib_Close" is not an operation that can fail)"},
    {R"({"op": "Close"})", R"(.op: "Close" is not an operation that can fail)"},
    {R"({"op": "GetNetInf"})", R"(.op: "GetNetInf" is not an operation that can fail)"},
    {R"({"op": 3})", ".op: expected an operation name"},
    {R"({"skip": 1})", ".op: missing"},
    {R"({"op": "GetNetInfo", "flowCode": 8})",
     ".flowCode: only ClnkLib_ListFlows and ClnkLib_QueryFlow answer a flow code"},
    {R"({"op": "QueryFlow", "flowUpdateCountDelta": 1})",
     ".flowUpdateCountDelta: only ClnkLib_ListFlows reports a flowUpdateCount"},
    {R"({"op": "GetNetInfo", "skip": -1})", ".skip: value -1 does not fit a 32-bit unsigned field"},
    {R"({"op": "GetNetInfo", "rc": "minus one"})", R"(.rc: not a number: "minus one")"},
    {R"({"op": "GetNetInfo", "count": 1})", ".count: unknown field"},
    {R"(["GetNetInfo"])", ": expected an object"},
    {R"({"op": "GetLocalInfo", "set": {"nodeId": 1}})", ".set: a failing call fills nothing: set needs rc 0"},
    {R"({"op": "Stop", "rc": 0, "set": {"x": 1}})", ".set: ClnkLib_Stop answers no record to set"},
    {R"({"op": "GetLocalInfo", "rc": 0, "set": [1]})", ".set: expected an object of field paths and values"},
    {R"({"op": "GetLocalInfo", "rc": 0, "set": {"nodeID": 1}})", R"(.set.nodeID: unknown field "nodeID")"},
    {R"({"op": "GetLocalInfo", "rc": 0, "set": {"nodeId": "0x100000000"}})",
     ".set.nodeId: value 0x100000000 does not fit a 32-bit unsigned field"},
    {R"({"op": "GetLocalInfo", "rc": 0, "set": {"nodeId.1": 1}})", R"(.set.nodeId.1: "nodeId" has no field "1")"},
    {R"({"op": "GetBridgeTable", "rc": 0, "set": {"entries.192.nodeId": 1}})",
     R"(.set.entries.192.nodeId: "192": index out of range (a decimal index below 192))"},
    {R"({"op": "GetBridgeTable", "rc": 0, "set": {"entries.1.nodeId": 65536}})",
     ".set.entries.1.nodeId: value 65536 does not fit a 16-bit unsigned field"},
    {R"({"op": "GetBridgeTable", "rc": 0, "set": {"entries.nodeId": 1}})",
     R"(.set.entries.nodeId: "nodeId": index out of range (a decimal index below 192))"},
    {R"({"op": "GetSapmCfg", "rc": 0, "set": {"profiles.0.tbl.1.scstart": 2147483648}})",
     ".set.profiles.0.tbl.1.scstart: value 2147483648 does not fit a 32-bit signed field"},
    {R"({"op": "GetClnkCfgV2", "rc": 0, "set": {"mocaPassword.0.18": 1}})",
     R"(.set.mocaPassword.0.18: a pass phrase byte is "mocaPassword.N.K", K below 18)"},
    {R"({"op": "ListFlows", "rc": 0, "set": {"returnedFlowId.0": "01:02"}})",
     R"(.set.returnedFlowId.0: malformed MAC address (want "aa:bb:cc:dd:ee:ff"))"},
};

TEST_F(FaultsTest, RefusesFaultsThatCannotHappen) {
    for(const auto& bad : kBadFaults) {
        std::string err;
        EXPECT_FALSE(clnksim::arm_fault(json::parse(bad.fault), &err)) << bad.fault;
        EXPECT_EQ(err, std::string("fault") + bad.message);
    }
    std::string err;
    clnksim::Fault close;
    close.op = "ClnkLib_Close";
    EXPECT_FALSE(clnksim::arm_fault(close, &err));
    EXPECT_EQ(err, R"(fault.op: "ClnkLib_Close" is not an operation that can fail)");
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0}); // nothing was armed
}

TEST_F(FaultsTest, SetGivesAnswerFieldsAnyValueThatFitsTheirWidth) {
    load(iface(R"({"localInfo": {"nodeId": 1, "activeNodeBitmask": "0x2"},
                   "nodes": {"1": {"netInfo": {"guid": "00:11:22:33:44:55", "mocaVer": "0x25"},
                                   "flows": {"list": [{"flowId": "01:00:5e:00:00:01"}]}}},
                   "config": {"mocaPassword": {"0": "99999999988888888"}},
                   "bridgeTables": {"ucastDst": [{"mac": "00:00:00:00:00:01", "nodeId": 1}]}})"));
    // An unaffected call (skip 1) answers from the state; the next one carries the values.
    arm(R"({"op": "GetLocalInfo", "skip": 1, "rc": 0, "set": {"activeNodeBitmask": "0xffffffff", "nodeId": 40,
                                                             "mac": "0a:0b:0c:0d:0e:0f", "priChnOffset": -3}})");
    arm(R"({"op": "GetBridgeTable", "rc": 0, "set": {"numEntries": 1000, "entries.3.nodeId": 40,
                                                     "entries.0.mac": "00:00:00:00:00:02"}})");
    arm(R"({"op": "GetNetInfo", "rc": 0, "set": {"txDataFrameGood": "0x100000002", "nodeId": 99}})");
    arm(R"({"op": "GetSapmCfg", "rc": 0, "set": {"profiles.0.tbl.1.scstart": 300, "sapmProfileId": -1}})");
    arm(R"({"op": "GetRlapmCfg", "rc": 0, "set": {"profiles.15.tbl.5.phymargin.83": 255}})");
    arm(R"({"op": "GetClnkCfgV2", "rc": 0, "set": {"mocaPassword.0.17": 65, "tabooMask": "0xffffff"}})");
    arm(R"({"op": "ListFlows", "rc": 0, "set": {"numReturnedFlowIds": 33, "totalFlowIdCount": 4000000000,
                                                "returnedFlowId.31": "01:00:5e:00:00:09"}})");
    arm(R"({"op": "GetDataStats", "rc": 0, "set": {"txUcastPkts.15": 7}})");
    clnksim::Fault fmr; // the C++ form
    fmr.op = "GetFmrInfo";
    fmr.rc = 0;
    fmr.set = {{"numOfNodes", 17}, {"nodeFmr.2.ofdma.2.ofdmaSubchannels", "0xffff"}};
    std::string err;
    ASSERT_TRUE(clnksim::arm_fault(fmr, &err)) << err;

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
    EXPECT_EQ(table.entry[0].macAddrHi, 0u);
    EXPECT_EQ(table.entry[0].macAddrLoIds, 0x00020001u); // the address changed, its node id not
    EXPECT_EQ(table.entry[3].macAddrLoIds, 0xABAB0028u); // only the node id half is written
    EXPECT_EQ(table.entry[4].macAddrLoIds, 0xABABABABu);

    ClnkLib_NetInfo_t ni{};
    ASSERT_EQ(ClnkLib_GetNetInfo(&h, 1, &ni), CLNK_OK);
    EXPECT_EQ(ni.nodeId, 99u);
    EXPECT_EQ(ni.txDataFrameGood, simtest::swapped(0x100000002ull)); // a true value, delivered packed

    ClnkLib_SapmStaticCfgV2_t sapm{};
    ASSERT_EQ(ClnkLib_GetSapmCfg(&h, &sapm), CLNK_OK);
    EXPECT_EQ(sapm.profiles[0].tbl[1].scstart, 300);
    EXPECT_EQ(sapm.sapmProfileId, -1);
    ClnkLib_RlapmStaticCfgV2_t rlapm{};
    ASSERT_EQ(ClnkLib_GetRlapmCfg(&h, &rlapm), CLNK_OK);
    EXPECT_EQ(rlapm.profiles[15].tbl[5].phymargin[83], 255);

    ClnkLib_ClnkCfgV2_t cfg{};
    ASSERT_EQ(ClnkLib_GetClnkCfgV2(&h, 0, &cfg), CLNK_OK);
    EXPECT_EQ(std::memcmp(cfg.mocaPassword[0], "99999999988888888A", CLNK_PASSWORD_LEN), 0); // no terminator
    EXPECT_EQ(cfg.tabooMask, 0xffffffu);

    ClnkLib_FlowListReq_t req{mac("00:11:22:33:44:55"), 0, 32};
    ClnkLib_FlowListRsp_t rsp{};
    ASSERT_EQ(ClnkLib_ListFlows(&h, &req, &rsp), CLNK_OK);
    EXPECT_EQ(rsp.numReturnedFlowIds, 33u);
    EXPECT_EQ(rsp.totalFlowIdCount, 4000000000u);
    EXPECT_EQ(rsp.returnedFlowId[0].hi, mac("01:00:5e:00:00:01").hi);
    EXPECT_EQ(rsp.returnedFlowId[31].lo, mac("01:00:5e:00:00:09").lo);

    ClnkLib_DataStats_t ds{};
    ASSERT_EQ(ClnkLib_GetDataStats(&h, 0, &ds), CLNK_OK);
    EXPECT_EQ(ds.txUcastPkts[15], simtest::swapped(7));
    EXPECT_EQ(ds.txUcastPkts[14], 0u);

    ClnkLib_FmrInfo_t fi{};
    ASSERT_EQ(ClnkLib_GetFmrInfo(&h, 0x2, 2, &fi), CLNK_OK);
    EXPECT_EQ(fi.numOfNodes, 17u);
    EXPECT_EQ(fi.nodeFmr[2].ofdma[2].ofdmaSubchannels, 0xffff);

    // Spent: the next calls answer from the state again.
    ASSERT_EQ(ClnkLib_GetBridgeTable(&h, CLNK_BRIDGE_UCAST_DST, 0, &n, &table), CLNK_OK);
    EXPECT_EQ(n, 1u);
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h, &li), CLNK_OK);
    EXPECT_EQ(li.nodeId, 1u);
    ClnkLib_Close(&h);
}

// A scenario document: moca0 with `body`, and `faults` at the top.
std::string with_faults(const std::string& faults, const std::string& body = "{}") {
    auto doc = nlohmann::ordered_json::parse(iface(body));
    doc["faults"] = nlohmann::ordered_json::parse(faults);
    return doc.dump();
}

TEST_F(FaultsTest, ScenarioWithBadFaultsIsRefusedWhole) {
    struct Case {
        std::string scenario, message;
    };
    std::vector<Case> cases = {
        {with_faults(R"({"op": "GetNetInfo"})"), "faults: expected an array of fault objects"},
        {with_faults(R"([{"op": "GetNetInfo"}])", R"({"colour": 1})"), "interfaces.moca0.colour: unknown field"},
    };
    for(const auto& bad : kBadFaults) { // after a good fault, which must not be armed either
        cases.push_back({with_faults(std::string(R"([{"op": "GetNetInfo"}, )") + bad.fault + "]"),
                         std::string("faults.1") + bad.message});
    }
    const json before = clnksim::state();
    for(const auto& c : cases) {
        const auto doc = nlohmann::ordered_json::parse(c.scenario);
        std::string err;
        EXPECT_FALSE(clnksim::load_ordered(doc, &err)) << c.scenario;
        EXPECT_EQ(err, c.message);
        EXPECT_FALSE(clnksim::load(json::parse(c.scenario), &err)) << c.scenario;
        EXPECT_EQ(err, c.message);
        EXPECT_FALSE(clnksim::patch(json::parse(c.scenario), &err)) << c.scenario;
        EXPECT_EQ(err, c.message);
        EXPECT_EQ(clnksim::state(), before) << c.scenario;
    }
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});
}

TEST_F(FaultsTest, ScenarioFaultsCountFromTheLoad) {
    arm(R"({"op": "GetNetInfo", "skip": 2, "rc": -5})");
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});
    load(with_faults(R"([{"op": "GetNetInfo", "skip": 2, "times": 1},
                         {"op": "OpenByName", "skip": 1, "rc": -2},
                         {"op": "GetLocalInfo", "rc": -7}, {"op": "GetLocalInfo", "rc": -8}])",
                     R"({"nodes": {"1": {}}})"));
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
}

TEST_F(FaultsTest, PatchArmsItsFaultsAndMergesTheRest) {
    std::string err;
    ASSERT_TRUE(clnksim::patch(json::parse(R"({"faults": [{"op": "GetNetInfo", "skip": 1, "rc": "-0x4"}],
                                               "interfaces": {"moca0": {"localInfo": {"nodeId": 3}}}})"),
                               &err))
        << err;
    const json s = clnksim::state();
    EXPECT_FALSE(s.contains("faults"));
    EXPECT_EQ(s["interfaces"]["moca0"]["localInfo"]["nodeId"], 3);
    EXPECT_TRUE(s["interfaces"]["moca0"]["nodes"].contains("1"));
    EXPECT_EQ(net_info_results(3), (std::vector<int32_t>{0, -4, 0}));
}

TEST_F(FaultsTest, ReloadKeepsFaultsAndResetDisarms) {
    arm(R"({"op": "GetNetInfo", "skip": 1})");
    load(iface(R"({"nodes": {"1": {}}})"));
    EXPECT_EQ(net_info_results(2), (std::vector<int32_t>{0, -1}));
    arm(R"({"op": "GetNetInfo"})");
    clnksim::reset();
    load(iface(R"({"nodes": {"1": {}}})"));
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});
}

} // namespace
