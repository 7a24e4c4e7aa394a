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
        {R"({"op": "GetLocalInfo"})", {0, 0}},   // another operation
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
    EXPECT_LT(ClnkLib_GetLocalInfo(&h, &li), 0);   // the handle did not open
    ClnkLib_Close(&h);

    arm(R"({"op": "ListNames", "rc": -3})");
    arm(R"({"op": "ListNames", "skip": 1, "rc": 0})");   // rc 0: the normal answer
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
        {0, CLNKLIB_FLOWCODE_TIMEOUT, 4, 0},   // a non-success answer carries no ids
        {0, CLNKLIB_FLOWCODE_TIMEOUT, 4, 0},
        {0, CLNKLIB_FLOWCODE_SUCCESS, 7, 2},
        {-1, 0xEEEEEEEE, 0xEEEEEEEE, 0xEEEEEEEE},
        {0, CLNKLIB_FLOWCODE_SUCCESS, 4, 2},
    };
    for(const auto& e : expected) {
        ClnkLib_FlowListRsp_t rsp;
        std::memset(&rsp, 0xEE, sizeof rsp);
        EXPECT_EQ(ClnkLib_ListFlows(&h, &req, &rsp), e.rc);
        EXPECT_EQ(rsp.flowCode, e.code);
        EXPECT_EQ(rsp.flowUpdateCount, e.update_count);
        EXPECT_EQ(rsp.numReturnedFlowIds, e.returned);
    }

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
    {R"({"op": "GetNetInfo", "flowCode": 8})", ".flowCode: only ClnkLib_ListFlows and ClnkLib_QueryFlow answer a flow code"},
    {R"({"op": "QueryFlow", "flowUpdateCountDelta": 1})", ".flowUpdateCountDelta: only ClnkLib_ListFlows reports a flowUpdateCount"},
    {R"({"op": "GetNetInfo", "skip": -1})", ".skip: value -1 does not fit a 32-bit unsigned field"},
    {R"({"op": "GetNetInfo", "rc": "minus one"})", R"(.rc: not a number: "minus one")"},
    {R"({"op": "GetNetInfo", "count": 1})", ".count: unknown field"},
    {R"(["GetNetInfo"])", ": expected an object"},
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
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});   // nothing was armed
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
    for(const auto& bad : kBadFaults) {   // after a good fault, which must not be armed either
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
    EXPECT_EQ(ClnkLib_OpenByName(&h, "moca0"), -2);   // the second open since the load
    h = open();
    ClnkLib_LocalInfo_t li{};
    EXPECT_EQ(ClnkLib_GetLocalInfo(&h, &li), -7);    // array order: the first armed decides
    EXPECT_EQ(ClnkLib_GetLocalInfo(&h, &li), 0);
    ClnkLib_Close(&h);
}

TEST_F(FaultsTest, PatchArmsItsFaultsAndMergesTheRest) {
    std::string err;
    ASSERT_TRUE(clnksim::patch(json::parse(R"({"faults": [{"op": "GetNetInfo", "skip": 1, "rc": "-0x4"}],
                                               "interfaces": {"moca0": {"localInfo": {"nodeId": 3}}}})"),
                               &err)) << err;
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

}  // namespace
