// examples/home-network.json read back through the library: the values the file states,
// packed as the chip packs them. The file is read here with a plain JSON parser, so the
// simulator's record tables are checked against an independent reading.
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>

#include "sim_test_util.h"

using nlohmann::json;
using simtest::mac;
using simtest::swapped;

namespace {

uint64_t num(const json& v) {   // a JSON number or C-notation text
    if(v.is_string()) {
        return static_cast<uint64_t>(std::strtoll(v.get<std::string>().c_str(), nullptr, 0));
    }
    return v.is_number_unsigned() ? v.get<uint64_t>() : static_cast<uint64_t>(v.get<int64_t>());
}

using Fields = std::map<std::string, uint64_t>;
#define F(rec, name) {#name, static_cast<uint64_t>(rec.name)}

// Every number the file gives for a record equals the record's field of that name.
void expect_fields(const json& file, const Fields& rec, const std::string& where) {
    for(const auto& [key, v] : file.items()) {
        if(v.is_number() || (v.is_string() && v.get<std::string>().find(':') == std::string::npos &&
                             key != "socVersionStr")) {
            const auto it = rec.find(key);
            ASSERT_NE(it, rec.end()) << where << "." << key;
            EXPECT_EQ(it->second, num(v)) << where << "." << key;
        }
    }
}

class ExampleTest : public simtest::SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        std::ifstream in(SIM_EXAMPLES_DIR "/home-network.json");
        file_ = json::parse(in)["interfaces"]["moca0"];
        std::string err;
        ASSERT_TRUE(clnksim::load_file(SIM_EXAMPLES_DIR "/home-network.json", &err)) << err;
        h_ = open();
    }
    void TearDown() override {
        ClnkLib_Close(&h_);
        SimTest::TearDown();
    }
    json file_;
    ClnkLib_Handle_t h_{};
};

TEST_F(ExampleTest, LocalNodeNodesAndProfiles) {
    ClnkLib_LocalInfo_t li{};
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h_, &li), CLNK_OK);
    expect_fields(file_["localInfo"],
                  {F(li, nodeId), F(li, ncNodeId), F(li, backupNodeId), F(li, lmoNodeId), F(li, linkStatus),
                   F(li, networkState), F(li, networkMocaVer), F(li, activeNodeBitmask), F(li, sleepM1NodeBitmask),
                   F(li, sleepM2NodeBitmask), F(li, sleepM3NodeBitmask), F(li, priChnOffset), F(li, secChnOffset),
                   F(li, tabooMask)},
                  "localInfo");
    EXPECT_EQ(li.socVersionStr[0], 0x312e3138u);   // "1.18"
    EXPECT_EQ(li.socVersionStr[1], 0x2e313600u);   // ".16"
    EXPECT_EQ(li.macAddrHi, mac(file_["localInfo"]["mac"]).hi);

    for(const auto& [key, node] : file_["nodes"].items()) {
        const auto id = static_cast<uint32_t>(std::stoul(key));
        ClnkLib_NetInfo_t ni{};
        ASSERT_EQ(ClnkLib_GetNetInfo(&h_, id, &ni), CLNK_OK);
        EXPECT_EQ(ni.guidHi, mac(node["netInfo"]["guid"]).hi);
        EXPECT_EQ(ni.guidLo, mac(node["netInfo"]["guid"]).lo);
        expect_fields(node["netInfo"],
                      {F(ni, mocaVer), F(ni, protoSupport), {"txDataFrameGood", swapped(ni.txDataFrameGood)},
                       {"txDataFrameDropped", swapped(ni.txDataFrameDropped)},
                       {"rxDataFrameGood", swapped(ni.rxDataFrameGood)}, {"rxDataFrameBad", swapped(ni.rxDataFrameBad)}},
                      "nodes." + key);
        for(uint32_t type : {7u, 8u, 13u, 14u, 18u}) {
            const std::string t = std::to_string(type);
            ClnkLib_PhyTxProfile_t tx{};
            ClnkLib_PhyRxProfile_t rx{};
            ASSERT_EQ(ClnkLib_GetPhyTxProfile(&h_, id, type, 0, &tx), CLNK_OK);
            ASSERT_EQ(ClnkLib_GetPhyRxProfile(&h_, id, type, 0, &rx), CLNK_OK);
            EXPECT_EQ(tx.txProfileValid, node["txProfiles"].contains(t) ? 1u : 0u) << key << "/" << t;
            expect_fields(node["txProfiles"].value(t, json::object()),
                          {F(tx, txProfileValid), F(tx, txPhyrate), F(tx, txTpcBackoff)}, "tx " + key + "/" + t);
            expect_fields(node["rxProfiles"].value(t, json::object()),
                          {F(rx, rxProfileValid), F(rx, rxPhyrate), F(rx, rxPwrLevel), F(rx, rxChnSnr)},
                          "rx " + key + "/" + t);
        }
    }
}

TEST_F(ExampleTest, StatisticsConfigurationAndTables) {
    ClnkLib_DataStats_t ds{};
    ASSERT_EQ(ClnkLib_GetDataStats(&h_, 0, &ds), CLNK_OK);
    const json& stats = file_["dataStats"];
    EXPECT_EQ(swapped(ds.txTotalPkts), num(stats["txTotalPkts"]));
    EXPECT_EQ(swapped(ds.rxTotalBytes), num(stats["rxTotalBytes"]));
    for(const auto& [n, v] : stats["rxUcastPkts"].items()) {
        EXPECT_EQ(swapped(ds.rxUcastPkts[std::stoul(n)]), num(v));
    }

    ClnkLib_ClnkCfgV2_t cfg{};
    ASSERT_EQ(ClnkLib_GetClnkCfgV2(&h_, 0, &cfg), CLNK_OK);
    expect_fields(file_["config"],
                  {F(cfg, preferredNcMode), F(cfg, lowPowerMode), F(cfg, securityMode), F(cfg, maxTxPwr),
                   F(cfg, beaconTxPwr), F(cfg, tgtP2pNperRate), F(cfg, tgtP2pVlperRate), F(cfg, tgtP2p50Rate),
                   F(cfg, lof16), F(cfg, tabooOffset), F(cfg, tabooMask), F(cfg, channelMask), F(cfg, bandMask)},
                  "config");
    EXPECT_STREQ(reinterpret_cast<const char*>(cfg.mocaPassword[5]), "99999999988888888");

    const char* tables[] = {"ucastDst", "mcastDst", "pqosFlow", "ucastSrc", "mcastSrc"};
    auto bt = std::make_unique<ClnkLib_BridgeTable_t>();
    for(uint32_t type = 0; type < 5; ++type) {
        const json& entries = file_["bridgeTables"][tables[type]];
        uint32_t n = 0;
        ASSERT_EQ(ClnkLib_GetBridgeTable(&h_, type, 0, &n, bt.get()), CLNK_OK);
        ASSERT_EQ(n, entries.size()) << tables[type];
        for(uint32_t i = 0; i < n; ++i) {
            EXPECT_EQ(bt->entry[i].macAddrHi, mac(entries[i]["mac"]).hi);
            EXPECT_EQ(bt->entry[i].macAddrLoIds, mac(entries[i]["mac"]).lo | entries[i]["nodeId"].get<uint32_t>());
        }
    }

    auto rl = std::make_unique<ClnkLib_RlapmStaticCfgV2_t>();
    auto sa = std::make_unique<ClnkLib_SapmStaticCfgV2_t>();
    ASSERT_EQ(ClnkLib_GetRlapmCfg(&h_, rl.get()), CLNK_OK);
    ASSERT_EQ(ClnkLib_GetSapmCfg(&h_, sa.get()), CLNK_OK);
    for(const char* table : {"rlapm", "sapm"}) {
        for(const auto& [p, prof] : file_[table]["profiles"].items()) {
            for(const auto& [f, row] : prof["tbl"].items()) {
                const bool r = std::string(table) == "rlapm";
                const uint8_t* margin = r ? rl->profiles[std::stoul(p)].tbl[std::stoul(f)].phymargin
                                          : sa->profiles[std::stoul(p)].tbl[std::stoul(f)].phymargin;
                const auto& s = sa->profiles[std::stoul(p)].tbl[std::stoul(f)];
                const Fields fields = r ? Fields{{"freq", rl->profiles[std::stoul(p)].tbl[std::stoul(f)].freq}}
                                        : Fields{F(s, freq), F(s, threshold), F(s, scstart)};
                expect_fields(row, fields, table);
                EXPECT_EQ(std::vector<uint8_t>(margin, margin + row["phymargin"].size()),
                          row["phymargin"].get<std::vector<uint8_t>>());
            }
        }
    }
}

TEST_F(ExampleTest, FlowsOfEveryNode) {
    for(const auto& [key, node] : file_["nodes"].items()) {
        ClnkLib_FlowListReq_t req{mac(node["netInfo"]["guid"]), 0, 32};
        ClnkLib_FlowListRsp_t rsp{};
        ASSERT_EQ(ClnkLib_ListFlows(&h_, &req, &rsp), CLNK_OK);
        // Every node of the example has PQoS (MoCA 1.1 and later), the 1.1 DVR too.
        EXPECT_EQ(rsp.flowCode, CLNKLIB_FLOWCODE_SUCCESS) << key;
        const json list = node.value("flows", json::object()).value("list", json::array());
        ASSERT_EQ(rsp.numReturnedFlowIds, list.size()) << key;
        for(size_t i = 0; i < list.size(); ++i) {
            ClnkLib_FlowQueryRsp_t q{};
            ASSERT_EQ(ClnkLib_QueryFlow(&h_, &rsp.returnedFlowId[i], &q), CLNK_OK);
            EXPECT_EQ(q.flowCode, CLNKLIB_FLOWCODE_SUCCESS);
            EXPECT_EQ(q.pfp.flowId.hi, mac(list[i]["flowId"]).hi);
            EXPECT_EQ(q.pfp.packetDa.lo, mac(list[i]["packetDa"]).lo);
            EXPECT_EQ(q.pfp.ingressGuid.hi, mac(list[i]["ingressGuid"]).hi);
            EXPECT_EQ(q.pfp.egressGuid.lo, mac(list[i]["egressGuid"]).lo);
            const auto& p = q.pfp;
            expect_fields(list[i],
                          {F(p, tPktSize), F(p, flowTag), F(p, tPeakDataRateKbps), F(p, tLeaseTimeSec),
                           F(p, tBurstSize), F(p, maxLatencyMs), F(p, stAvgRatio), F(p, maxNumRetry), F(p, flowPer),
                           F(p, inOrderDeliver), F(p, tProtocol), F(p, ingressClass), F(p, vlanTag), F(p, dscpMoca),
                           F(q, leaseTimeLeft), F(q, dfid)},
                          "flow " + key);
        }
    }
}

}  // namespace
