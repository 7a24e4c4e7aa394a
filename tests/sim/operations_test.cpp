// The ClnkLib operations: handles, packing, node reads, configuration, tables, flows, call log.
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "record_fields.h"
#include "sim_test_util.h"

using nlohmann::json;
using simtest::iface;
using simtest::mac;
using simtest::swapped;

namespace {

class OperationsTest : public simtest::SimTest {};

TEST_F(OperationsTest, OpenSucceedsOnlyForPresentOpenableInterfaces) {
    load(R"({"interfaces": {
        "moca0": {"present": true, "openable": true},
        "moca1": {"present": true, "openable": false},
        "moca2": {"present": false, "openable": true}}})");
    struct Case {
        const char* name;
        int32_t rc;
    } cases[] = {{"moca0", CLNK_OK},
                 {"moca1", CLNK_ERR_NO_DEVICE},
                 {"moca2", CLNK_ERR_NO_DEVICE},
                 {"moca3", CLNK_ERR_NO_DEVICE},
                 {"moca", CLNK_ERR_NO_DEVICE},
                 {"moca00", CLNK_ERR_NO_DEVICE},
                 {"", CLNK_ERR_NO_DEVICE},
                 {nullptr, CLNK_ERR_BAD_PARAM}};
    for(const auto& c : cases) {
        ClnkLib_Handle_t h;
        std::memset(&h, 0xA5, sizeof h); // as a stack handle would be
        EXPECT_EQ(ClnkLib_OpenByName(&h, c.name), c.rc) << (c.name ? c.name : "NULL");
        EXPECT_EQ(clnksim::open_handles(), c.rc == CLNK_OK ? 1 : 0);
        ClnkLib_Close(&h); // harmless after a failed open
        EXPECT_EQ(clnksim::open_handles(), 0);
    }
    EXPECT_EQ(ClnkLib_OpenByName(nullptr, "moca0"), CLNK_ERR_BAD_PARAM);
    ClnkLib_Close(nullptr);
}

TEST_F(OperationsTest, HandlesAreCountedAndDeadHandlesRefused) {
    load(iface());
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
    std::string err; // the interface vanishing under an open handle
    ASSERT_TRUE(clnksim::patch(json::parse(R"({"interfaces": {"moca0": {"present": false}}})"), &err)) << err;
    EXPECT_EQ(ClnkLib_GetLocalInfo(&b, &li), CLNK_ERR_NO_DEVICE);
    ClnkLib_Close(&b);
}

TEST_F(OperationsTest, CountersAddressesAndTextArePackedAsTheChipPacksThem) {
    load(iface(R"({
        "localInfo": {"socVersionStr": "MXL-1.18.16-rc2-build-77", "mac": "0a:0b:0c:0d:0e:0f"},
        "nodes": {"3": {"netInfo": {"guid": "00:11:22:33:44:55", "txDataFrameGood": "0x0000000500000001",
                                    "txDataFrameDropped": 7, "rxDataFrameGood": "0xffffffff", "rxDataFrameBad": 0}}},
        "dataStats": {"txTotalBytes": "0x0000000100000002", "rxUcastPkts": {"15": "0x1234567800000000"}},
        "bridgeTables": {"ucastDst": [{"mac": "0a:0b:0c:0d:0e:0f", "nodeId": 3}]}})"));
    ClnkLib_Handle_t h = open();
    ClnkLib_LocalInfo_t li{};
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h, &li), CLNK_OK);
    EXPECT_EQ(li.socVersionStr[0], 0x4d584c2du); // "MXL-"
    EXPECT_EQ(li.socVersionStr[5], 0x642d3737u); // "d-77": all 24 characters, no terminator
    EXPECT_EQ(li.macAddrHi, 0x0a0b0c0du);
    EXPECT_EQ(li.macAddrLo, 0x0e0f0000u);

    ClnkLib_NetInfo_t ni{};
    ASSERT_EQ(ClnkLib_GetNetInfo(&h, 3, &ni), CLNK_OK);
    EXPECT_EQ(ni.nodeId, 3u);
    EXPECT_EQ(ni.guidHi, 0x00112233u);
    EXPECT_EQ(ni.guidLo, 0x44550000u);
    EXPECT_EQ(ni.txDataFrameGood, 0x0000000100000005ull);
    EXPECT_EQ(ni.txDataFrameDropped, 0x0000000700000000ull);
    EXPECT_EQ(ni.rxDataFrameGood, 0xffffffff00000000ull);

    ClnkLib_DataStats_t ds{};
    ASSERT_EQ(ClnkLib_GetDataStats(&h, 0, &ds), CLNK_OK);
    EXPECT_EQ(ds.txTotalBytes, 0x0000000200000001ull);
    EXPECT_EQ(ds.rxUcastPkts[15], 0x0000000012345678ull);
    EXPECT_EQ(ds.rxUcastPkts[14], 0u);

    ClnkLib_BridgeTable_t bt{};
    uint32_t n = 0;
    ASSERT_EQ(ClnkLib_GetBridgeTable(&h, CLNK_BRIDGE_UCAST_DST, 0, &n, &bt), CLNK_OK);
    ASSERT_EQ(n, 1u);
    EXPECT_EQ(bt.entry[0].macAddrHi, 0x0a0b0c0du);
    EXPECT_EQ(bt.entry[0].macAddrLoIds, 0x0e0f0003u);
    ClnkLib_Close(&h);
}

TEST_F(OperationsTest, NodeReadsLinkStateAndAbsentNodes) {
    load(iface(R"({"localInfo": {"nodeId": 2, "linkStatus": 1},
                   "nodes": {"1": {"txProfiles": {"13": {"txProfileValid": 1, "txPhyrate": 690}}}, "2": {}}})"));
    ClnkLib_Handle_t h = open();
    ClnkLib_PhyTxProfile_t tx;
    ClnkLib_PhyRxProfile_t rx;
    ClnkLib_CdInfo_t cd;
    ClnkLib_NetInfo_t ni;
    std::memset(&tx, 0xFF, sizeof tx);
    EXPECT_EQ(ClnkLib_GetPhyTxProfile(&h, 1, 0x12, 0, &tx), CLNK_OK); // a profile the node lacks
    EXPECT_EQ(tx.txProfileValid, 0u);
    EXPECT_EQ(tx.txPhyrate, 0u);
    for(uint32_t absent : {0u, 3u, 16u, 0xFFFFFFFFu}) {
        EXPECT_EQ(ClnkLib_GetNetInfo(&h, absent, &ni), CLNK_ERR_NO_NODE) << absent;
        EXPECT_EQ(ClnkLib_GetPhyTxProfile(&h, absent, 0xd, 0, &tx), CLNK_ERR_NO_NODE) << absent;
        EXPECT_EQ(ClnkLib_GetPhyRxProfile(&h, absent, 0xd, 0, &rx), CLNK_ERR_NO_NODE) << absent;
        EXPECT_EQ(ClnkLib_GetCdInfo(&h, absent, &cd), CLNK_ERR_NO_NODE) << absent;
    }
    EXPECT_EQ(ClnkLib_GetNetInfo(&h, 1, nullptr), CLNK_ERR_BAD_PARAM);

    ClnkLib_LocalInfo_t li{};
    ASSERT_EQ(ClnkLib_Stop(&h), CLNK_OK);
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h, &li), CLNK_OK);
    EXPECT_EQ(li.linkStatus, 0u); // a stopped chip has its link down
    EXPECT_EQ(li.nodeId, 2u);
    EXPECT_EQ(clnksim::state()["interfaces"]["moca0"]["started"], false);
    ASSERT_EQ(ClnkLib_Start(&h), CLNK_OK);
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h, &li), CLNK_OK);
    EXPECT_EQ(li.linkStatus, 1u);
    ClnkLib_Close(&h);
}

// One option of the masked configuration calls: its mask bit, a value of the
// caller's that differs from the chip's, and the field(s) it owns.
struct Option {
    const char* name;
    int bit;
    void (*set)(ClnkLib_ClnkCfgV2_t&);
    void (*copy)(const ClnkLib_ClnkCfgV2_t& from, ClnkLib_ClnkCfgV2_t& to);
};

#define COPY(F) [](const ClnkLib_ClnkCfgV2_t& from, ClnkLib_ClnkCfgV2_t& to) { to.F = from.F; }
#define COPY_PW(SLOT)                                                                                                  \
    [](const ClnkLib_ClnkCfgV2_t& from, ClnkLib_ClnkCfgV2_t& to) {                                                     \
        std::memcpy(to.mocaPassword[SLOT], from.mocaPassword[SLOT], CLNK_PASSWORD_LEN);                                \
    }
#define SET_PW(SLOT)                                                                                                   \
    [](ClnkLib_ClnkCfgV2_t& c) {                                                                                       \
        std::memset(c.mocaPassword[SLOT], 0, CLNK_PASSWORD_LEN);                                                       \
        std::memcpy(c.mocaPassword[SLOT], "123456789012", 12);                                                         \
    }

const Option kOptions[] = {
    {"password D", OPT_MOCA_PASSWD_D, SET_PW(0), COPY_PW(0)},
    {"password F CBL", OPT_MOCA_PASSWD_F_CBL, SET_PW(5), COPY_PW(5)},
    {"password custom", OPT_MOCA_PASSWD_CUSTOM, SET_PW(7), COPY_PW(7)},
    {"preferred NC", OPT_PREFER_NC_MODE, [](ClnkLib_ClnkCfgV2_t& c) { c.preferredNcMode = 0; }, COPY(preferredNcMode)},
    {"security", OPT_SECURITY_MODE, [](ClnkLib_ClnkCfgV2_t& c) { c.securityMode = 0; }, COPY(securityMode)},
    {"security E", OPT_SECURITY_MODE_E, [](ClnkLib_ClnkCfgV2_t& c) { c.securityMode = 0; }, COPY(securityMode)},
    {"security custom", OPT_SECURITY_MODE_CUSTOM, [](ClnkLib_ClnkCfgV2_t& c) { c.securityMode = 2; },
     COPY(securityMode)},
    {"taboo", OPT_TABOO_MASK,
     [](ClnkLib_ClnkCfgV2_t& c) {
         c.tabooMask = 0x00ff00;
         c.tabooOffset = 9;
     },
     [](const ClnkLib_ClnkCfgV2_t& from, ClnkLib_ClnkCfgV2_t& to) {
         to.tabooMask = from.tabooMask;
         to.tabooOffset = from.tabooOffset;
     }},
    {"beacon power", OPT_BEACON_TX_POW, [](ClnkLib_ClnkCfgV2_t& c) { c.beaconTxPwr = 1; }, COPY(beaconTxPwr)},
    {"max power", OPT_MAX_TX_POW, [](ClnkLib_ClnkCfgV2_t& c) { c.maxTxPwr = 44; }, COPY(maxTxPwr)},
    {"target 50", OPT_TARGETP2PRATE50, [](ClnkLib_ClnkCfgV2_t& c) { c.tgtP2p50Rate = 500; }, COPY(tgtP2p50Rate)},
    {"target NPER", OPT_TARGETP2PRATENPER, [](ClnkLib_ClnkCfgV2_t& c) { c.tgtP2pNperRate = 650; },
     COPY(tgtP2pNperRate)},
};

bool same_bytes(const void* a, const void* b, size_t n) {
    return std::memcmp(a, b, n) == 0;
}

const char* kChipConfig = R"({"config": {
    "preferredNcMode": 1, "securityMode": 1, "maxTxPwr": 7, "beaconTxPwr": 5, "lof16": 1150,
    "mocaPassword": ["99999999988888888", "99999999988888888", "99999999988888888", "99999999988888888",
                     "99999999988888888", "99999999988888888", "99999999988888888", "99999999988888888"],
    "tgtP2pNperRate": 700, "tgtP2p50Rate": 630, "tabooOffset": 3, "tabooMask": "0xabcdef"}})";

TEST_F(OperationsTest, MaskedReadFillsOnlyTheMaskedOptions) {
    load(iface(kChipConfig));
    ClnkLib_Handle_t h = open();
    ClnkLib_ClnkCfgV2_t chip{};
    ASSERT_EQ(ClnkLib_GetClnkCfgV2(&h, 0, &chip), CLNK_OK);
    for(const auto& opt : kOptions) {
        ClnkLib_ClnkCfgV2_t mine;
        std::memset(&mine, 0x5A, sizeof mine); // whatever the caller had
        opt.set(mine);
        ClnkLib_ClnkCfgV2_t expected = mine;
        opt.copy(chip, expected);
        clnk_param_mask_t mask{};
        SET_PARAM_BIT(&mask, opt.bit);
        ASSERT_EQ(ClnkLib_GetClnkCfgV2Params(&h, &mask, &mine), CLNK_OK) << opt.name;
        EXPECT_TRUE(same_bytes(&mine, &expected, sizeof mine)) << opt.name;
    }
    ClnkLib_Close(&h);
}

TEST_F(OperationsTest, MaskedWriteChangesOnlyTheMaskedOptions) {
    for(const auto& opt : kOptions) {
        load(iface(kChipConfig));
        ClnkLib_Handle_t h = open();
        ClnkLib_ClnkCfgV2_t chip{};
        ASSERT_EQ(ClnkLib_GetClnkCfgV2(&h, 0, &chip), CLNK_OK);
        ClnkLib_ClnkCfgV2_t wanted{}; // zeros everywhere but the option: none of them may leak
        opt.set(wanted);
        ClnkLib_ClnkCfgV2_t expected = chip;
        opt.copy(wanted, expected);
        clnk_param_mask_t mask{};
        SET_PARAM_BIT(&mask, opt.bit);
        ASSERT_EQ(ClnkLib_SetClnkCfgV2Params(&h, &mask, &wanted), CLNK_OK) << opt.name;
        ClnkLib_ClnkCfgV2_t after{};
        ASSERT_EQ(ClnkLib_GetClnkCfgV2(&h, 0, &after), CLNK_OK);
        EXPECT_TRUE(same_bytes(&after, &expected, sizeof after)) << opt.name;
        ClnkLib_Close(&h);
    }
    // What was written is what the state shows.
    EXPECT_EQ(clnksim::state()["interfaces"]["moca0"]["config"]["tgtP2pNperRate"], 650);
}

TEST_F(OperationsTest, FmrFillsOnlyTheNodesAsked) {
    load(iface(R"({"nodes": {"0": {"fmr": {"validInfo": 1, "p2p": {"2": {"rateNper": 1380, "rateVLper": 1270}}}},
                             "2": {"fmr": {"validInfo": 1, "p2p": {"0": {"rateNper": 1372}}, "rateGcd": 226}},
                             "3": {}}})"));
    ClnkLib_Handle_t h = open();
    auto fmr = std::make_unique<ClnkLib_FmrInfo_t>();
    std::memset(fmr.get(), 0xEE, sizeof *fmr);
    ASSERT_EQ(ClnkLib_GetFmrInfo(&h, 1u << 2, 2, fmr.get()), CLNK_OK);
    EXPECT_EQ(fmr->numOfNodes, 1u);
    EXPECT_EQ(fmr->nodeMask, 4u);
    EXPECT_EQ(fmr->nodeFmr[2].validInfo, 1u);
    EXPECT_EQ(fmr->nodeFmr[2].p2p[0].rateNper, 1372u);
    EXPECT_EQ(fmr->nodeFmr[0].validInfo, 0xEEEEEEEEu); // not asked for: untouched
    ASSERT_EQ(ClnkLib_GetFmrInfo(&h, 1u << 3, 2, fmr.get()), CLNK_OK);
    EXPECT_EQ(fmr->nodeFmr[3].validInfo, 0u); // a node without FMR data
    EXPECT_EQ(ClnkLib_GetFmrInfo(&h, 1u << 5, 2, fmr.get()), CLNK_ERR_NO_NODE);
    EXPECT_EQ(ClnkLib_GetFmrInfo(&h, 0, 2, fmr.get()), CLNK_ERR_BAD_PARAM);
    EXPECT_EQ(ClnkLib_GetFmrInfo(&h, 1u << 16, 2, fmr.get()), CLNK_ERR_BAD_PARAM);
    // Read flags the library does not know are refused, as a chip library refuses them.
    EXPECT_EQ(ClnkLib_GetFmrInfo(&h, 1u << 2, 0, fmr.get()), CLNK_ERR_BAD_PARAM);
    ClnkLib_EcbStats_t ecb{};
    EXPECT_EQ(ClnkLib_GetEcbStats(&h, 1, &ecb), CLNK_ERR_BAD_PARAM);
    ClnkLib_Close(&h);
}

// A node with `count` flows 02:00:00:TT:00:01 ... in list order (TT: `tag`).
json flows_node(const char* guid, const char* version, int count, uint32_t update_count, int tag = 0) {
    json list = json::array();
    for(int i = 1; i <= count; ++i) {
        char id[18];
        std::snprintf(id, sizeof id, "02:00:00:%02x:%02x:%02x", tag, i / 256, i % 256);
        list.push_back({{"flowId", id}, {"dfid", i}});
    }
    return {{"netInfo", {{"guid", guid}, {"mocaVer", version}}},
            {"flows", {{"flowUpdateCount", update_count}, {"list", list}}}};
}

TEST_F(OperationsTest, FlowListsComeInBatches) {
    json nodes = {{"1", flows_node("00:00:00:00:00:11", "0x20", 40, 9)},
                  {"2", flows_node("00:00:00:00:00:22", "0x11", 3, 9, 2)},
                  {"3", flows_node("00:00:00:00:00:44", "0x10", 2, 9, 3)}};
    nodes["1"]["flows"]["list"][3] = {{"flowId", "01:00:5e:0a:01:01"}, {"leaseTimeLeft", 413}, {"dfid", 12}};
    load(iface(json{{"nodes", nodes}}.dump()));
    ClnkLib_Handle_t h = open();
    const struct {
        const char* guid;
        uint32_t start, max;
        uint32_t code, total, returned, first_low;
    } cases[] = {
        {"00:00:00:00:00:11", 0, 32, CLNKLIB_FLOWCODE_SUCCESS, 40, 32, 1},
        {"00:00:00:00:00:11", 32, 32, CLNKLIB_FLOWCODE_SUCCESS, 40, 8, 33},
        {"00:00:00:00:00:11", 10, 5, CLNKLIB_FLOWCODE_SUCCESS, 40, 5, 11},
        {"00:00:00:00:00:11", 0, 100, CLNKLIB_FLOWCODE_SUCCESS, 40, 32, 1}, // never more than 32
        {"00:00:00:00:00:11", 40, 32, CLNKLIB_FLOWCODE_SUCCESS, 40, 0, 0},
        {"00:00:00:00:00:22", 1, 32, CLNKLIB_FLOWCODE_SUCCESS, 3, 2, 2},     // MoCA 1.1 has PQoS
        {"00:00:00:00:00:44", 0, 32, CLNKLIB_FLOWCODE_QOS_UNAVAIL, 0, 0, 0}, // MoCA 1.0 has none
        {"00:00:00:00:00:33", 0, 32, CLNKLIB_FLOWCODE_BAD_INGR, 0, 0, 0},    // no such node
    };
    for(const auto& c : cases) {
        ClnkLib_FlowListReq_t req{mac(c.guid), c.start, c.max};
        ClnkLib_FlowListRsp_t rsp;
        std::memset(&rsp, 0xEE, sizeof rsp);
        ASSERT_EQ(ClnkLib_ListFlows(&h, &req, &rsp), CLNK_OK) << c.guid << " " << c.start;
        EXPECT_EQ(rsp.flowCode, c.code) << c.guid << " " << c.start;
        EXPECT_EQ(rsp.totalFlowIdCount, c.total) << c.guid << " " << c.start;
        EXPECT_EQ(rsp.numReturnedFlowIds, c.returned) << c.guid << " " << c.start;
        if(c.returned > 0) {
            EXPECT_EQ(rsp.returnedFlowId[0].lo, c.first_low << 16) << c.guid << " " << c.start;
            EXPECT_EQ(rsp.flowUpdateCount, 9u);
        }
    }
    // The GUID is matched on the address bytes alone.
    ClnkLib_FlowListReq_t req{mac("00:00:00:00:00:11"), 0, 4};
    req.ingressGuid.lo |= 0x1234;
    ClnkLib_FlowListRsp_t rsp{};
    ASSERT_EQ(ClnkLib_ListFlows(&h, &req, &rsp), CLNK_OK);
    ASSERT_EQ(rsp.numReturnedFlowIds, 4u);
    ClnkLib_FlowQueryRsp_t q{};
    ASSERT_EQ(ClnkLib_QueryFlow(&h, &rsp.returnedFlowId[3], &q), CLNK_OK); // the flow in list position 3
    EXPECT_EQ(q.flowCode, CLNKLIB_FLOWCODE_SUCCESS);
    EXPECT_EQ(q.pfp.flowId.hi, 0x01005e0au);
    EXPECT_EQ(q.leaseTimeLeft, 413u);
    EXPECT_EQ(q.dfid, 12u);
    ClnkLib_MacAddr_t unknown = mac("02:00:00:00:ff:ff");
    ASSERT_EQ(ClnkLib_QueryFlow(&h, &unknown, &q), CLNK_OK);
    EXPECT_EQ(q.flowCode, CLNKLIB_FLOWCODE_NO_SUCH_FLOW);
    ClnkLib_Close(&h);
}

TEST_F(OperationsTest, CallLogNamesEveryCallWithItsArguments) {
    load(iface(R"({"nodes": {"3": {"netInfo": {"guid": "00:11:22:33:44:55"}}}})"));
    ClnkLib_Name_t names[16];
    ClnkLib_ListNames(names, 16);
    ClnkLib_Handle_t bad;
    ClnkLib_OpenByName(&bad, "moca7");
    ClnkLib_Close(&bad);
    ClnkLib_Handle_t h = open();
    ClnkLib_NetInfo_t ni;
    ClnkLib_GetNetInfo(&h, 3, &ni);
    ClnkLib_PhyTxProfile_t tx;
    ClnkLib_GetPhyTxProfile(&h, 3, 0x12, 0, &tx);
    clnk_param_mask_t mask{};
    SET_PARAM_BIT(&mask, OPT_TABOO_MASK);
    ClnkLib_ClnkCfgV2_t cfg{};
    ClnkLib_GetClnkCfgV2Params(&h, &mask, &cfg);
    ClnkLib_FmrInfo_t fmr;
    ClnkLib_GetFmrInfo(&h, 0x8, 2, &fmr);
    ClnkLib_BridgeTable_t bt;
    uint32_t n;
    ClnkLib_GetBridgeTable(&h, CLNK_BRIDGE_MCAST_SRC, 0, &n, &bt);
    ClnkLib_FlowListReq_t req{mac("00:11:22:33:44:55"), 32, 32};
    ClnkLib_FlowListRsp_t rsp;
    ClnkLib_ListFlows(&h, &req, &rsp);
    ClnkLib_MacAddr_t id = mac("01:00:5E:00:00:01");
    ClnkLib_FlowQueryRsp_t q;
    ClnkLib_QueryFlow(&h, &id, &q);
    ClnkLib_Stop(&h);
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
        {"op": "ClnkLib_GetNetInfo", "args": [3], "rc": 0},
        {"op": "ClnkLib_GetPhyTxProfile", "args": [3, 18], "rc": 0},
        {"op": "ClnkLib_GetClnkCfgV2Params", "args": [0, 0, 0, 0, 1024, 0, 0, 0, 0], "rc": 0},
        {"op": "ClnkLib_GetFmrInfo", "args": [8], "rc": 0},
        {"op": "ClnkLib_GetBridgeTable", "args": [4], "rc": 0},
        {"op": "ClnkLib_ListFlows", "args": ["00:11:22:33:44:55", 32, 32], "rc": 0},
        {"op": "ClnkLib_QueryFlow", "args": ["01:00:5e:00:00:01"], "rc": 0},
        {"op": "ClnkLib_Stop", "args": [], "rc": 0},
        {"op": "ClnkLib_Close", "args": [], "rc": null}])"));
    EXPECT_TRUE(clnksim::calls().empty());
}

// A host that never reads the log: it stays bounded and keeps the latest calls.
TEST_F(OperationsTest, CallLogIsBoundedAndKeepsTheLatestCalls) {
    load(iface("{}"));
    ClnkLib_Name_t names[16];
    for(uint32_t capacity = 1; capacity <= 200000; capacity++) {
        ClnkLib_ListNames(names, capacity % 16 + 1);
        ASSERT_LE(clnksim::calls().size(), 65536u);
    }
    const auto& log = clnksim::calls();
    EXPECT_GE(log.size(), 32768u);
    EXPECT_EQ(log.back().args, json::array({200000 % 16 + 1}));
    EXPECT_EQ(log[log.size() - 2].args, json::array({199999 % 16 + 1}));
}

TEST_F(OperationsTest, HeaderIsCompleteCAndAgreesWithCxx) {
    const size_t cxx_sizes[C_RECORD_COUNT] = {
        sizeof(ClnkLib_Handle_t),          sizeof(ClnkLib_LocalInfo_t), sizeof(ClnkLib_NetInfo_t),
        sizeof(ClnkLib_DataStats_t),       sizeof(ClnkLib_ClnkCfgV2_t), sizeof(ClnkLib_RlapmStaticCfgV2_t),
        sizeof(ClnkLib_SapmStaticCfgV2_t), sizeof(ClnkLib_FmrInfo_t),   sizeof(ClnkLib_FlowQueryRsp_t)};
    for(size_t i = 0; i < C_RECORD_COUNT; ++i) {
        EXPECT_EQ(c_record_sizes[i], cxx_sizes[i]) << "record " << i;
    }
    EXPECT_EQ(c_taboo_mask_word(), 1u << 10); // option 138: bit 10 of word 4
    // The taboo offset and mask share one word: offset in bits 7-0, mask in bits 31-8.
    ClnkLib_ClnkCfgV2_t cfg{};
    cfg.tabooOffset = 0x12;
    cfg.tabooMask = 0xabcdef;
    uint32_t word = 0;
    std::memcpy(&word, reinterpret_cast<const char*>(&cfg) + offsetof(ClnkLib_ClnkCfgV2_t, channelMask) - 4, 4);
    EXPECT_EQ(word, 0xabcdef12u);
    EXPECT_EQ(c_refusals_of_null_calls(), 21);
}

} // namespace
