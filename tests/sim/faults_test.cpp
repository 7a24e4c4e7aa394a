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

TEST_F(FaultsTest, RefusesFaultsThatCannotHappen) {
    const char* bad[] = {
        R"({"op": "ClnkLib_Close"})",
        R"({"op": "Close"})",
        R"({"op": "GetNetInf"})",
        R"({"skip": 1})",
        R"({"op": "GetNetInfo", "flowCode": 8})",
        R"({"op": "QueryFlow", "flowUpdateCountDelta": 1})",
        R"({"op": "GetNetInfo", "skip": -1})",
        R"({"op": "GetNetInfo", "rc": "minus one"})",
        R"({"op": "GetNetInfo", "count": 1})",
        R"(["GetNetInfo"])",
    };
    for(const char* text : bad) {
        std::string err;
        EXPECT_FALSE(clnksim::arm_fault(json::parse(text), &err)) << text;
        EXPECT_FALSE(err.empty()) << text;
    }
    std::string err;
    clnksim::Fault close;
    close.op = "ClnkLib_Close";
    EXPECT_FALSE(clnksim::arm_fault(close, &err));
    EXPECT_EQ(net_info_results(1), std::vector<int32_t>{0});   // nothing was armed
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
