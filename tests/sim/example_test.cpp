// examples/home-network.json read back through the library: the values the file states,
// packed as the chip packs them. The file is read here with a plain JSON parser, so these
// tests check the simulator's record tables against an independent reading.
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>

#include "sim_test_util.h"

using nlohmann::json;
using simtest::mac;
using simtest::swapped;

namespace {

// A number of the file: a JSON number or C-notation text.
uint64_t num(const json& v) {
    if(v.is_string()) {
        const std::string s = v.get<std::string>();
        return s[0] == '-' ? static_cast<uint64_t>(std::strtoll(s.c_str(), nullptr, 0))
                           : std::strtoull(s.c_str(), nullptr, 0);
    }
    return v.is_number_unsigned() ? v.get<uint64_t>() : static_cast<uint64_t>(v.get<int64_t>());
}

using Fields = std::map<std::string, uint64_t>;
#define F(rec, name) {#name, static_cast<uint64_t>(rec.name)}
#define FS(rec, name) {#name, static_cast<uint64_t>(static_cast<int64_t>(rec.name))}

// Every number the file gives for a record equals the record's field; `skip` names
// fields checked elsewhere.
void expect_fields(const json& file, const Fields& rec, const std::string& where,
                   std::initializer_list<const char*> skip = {}) {
    for(const auto& [key, v] : file.items()) {
        bool skipped = false;
        for(const char* s : skip) {
            skipped = skipped || key == s;
        }
        if(skipped) {
            continue;
        }
        const auto it = rec.find(key);
        ASSERT_NE(it, rec.end()) << where << "." << key << " is not a field of the record";
        EXPECT_EQ(it->second, num(v)) << where << "." << key;
    }
}

class ExampleTest : public simtest::SimTest {
protected:
    void SetUp() override {
        SimTest::SetUp();
        std::ifstream in(SIM_EXAMPLES_DIR "/home-network.json");
        ASSERT_TRUE(in.good());
        file_ = json::parse(in);
        std::string err;
        ASSERT_TRUE(clnksim::load_file(SIM_EXAMPLES_DIR "/home-network.json", &err)) << err;
        h_ = open();
    }
    void TearDown() override {
        ClnkLib_Close(&h_);
        SimTest::TearDown();
    }
    const json& moca0() const { return file_["interfaces"]["moca0"]; }

    json file_;
    ClnkLib_Handle_t h_{};
};

TEST_F(ExampleTest, LocalInfoAndInterfaces) {
    ClnkLib_LocalInfo_t li{};
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h_, &li), CLNK_OK);
    expect_fields(moca0()["localInfo"],
                  {F(li, nodeId), F(li, ncNodeId), F(li, backupNodeId), F(li, lmoNodeId), F(li, linkStatus),
                   F(li, networkState), F(li, networkMocaVer), F(li, activeNodeBitmask), F(li, sleepM1NodeBitmask),
                   F(li, sleepM2NodeBitmask), F(li, sleepM3NodeBitmask), FS(li, priChnOffset), FS(li, secChnOffset),
                   F(li, tabooMask)},
                  "localInfo", {"socVersionStr", "mac"});
    char text[25] = {};
    for(int i = 0; i < 24; ++i) {
        text[i] = static_cast<char>(li.socVersionStr[i / 4] >> (24 - 8 * (i % 4)));
    }
    EXPECT_EQ(std::string(text), moca0()["localInfo"]["socVersionStr"]);
    const ClnkLib_MacAddr_t own = mac(moca0()["localInfo"]["mac"]);
    EXPECT_EQ(li.macAddrHi, own.hi);
    EXPECT_EQ(li.macAddrLo, own.lo);

    // The interfaces in file order; moca1 opens, but its chip is stopped: link down.
    ClnkLib_Name_t names[16];
    ASSERT_EQ(ClnkLib_ListNames(names, 16), 2);
    EXPECT_STREQ(names[0].ifName, "moca0");
    EXPECT_STREQ(names[1].ifName, "moca1");
    ClnkLib_Handle_t h1 = open("moca1");
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h1, &li), CLNK_OK);
    EXPECT_EQ(li.linkStatus, 0u);
    ASSERT_EQ(ClnkLib_Start(&h1), CLNK_OK);
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h1, &li), CLNK_OK);
    EXPECT_EQ(li.linkStatus, 1u);
    ClnkLib_Close(&h1);
}

TEST_F(ExampleTest, EveryNodeWithItsProfilesAndCounters) {
    for(const auto& [key, node] : moca0()["nodes"].items()) {
        const auto id = static_cast<uint32_t>(std::stoul(key));
        const std::string where = "nodes." + key;
        ClnkLib_NetInfo_t ni{};
        ASSERT_EQ(ClnkLib_GetNetInfo(&h_, id, &ni), CLNK_OK) << where;
        const ClnkLib_MacAddr_t guid = mac(node["netInfo"]["guid"]);
        EXPECT_EQ(ni.guidHi, guid.hi) << where;
        EXPECT_EQ(ni.guidLo, guid.lo) << where;
        // The file holds true counter values; the chip delivers them with the halves exchanged.
        const ClnkLib_NetInfo_t back{ni.nodeId, ni.guidHi, ni.guidLo, ni.mocaVer, ni.protoSupport,
                                     swapped(ni.txDataFrameGood), swapped(ni.txDataFrameDropped),
                                     swapped(ni.rxDataFrameGood), swapped(ni.rxDataFrameBad)};
        expect_fields(node["netInfo"],
                      {F(back, mocaVer), F(back, protoSupport), F(back, txDataFrameGood), F(back, txDataFrameDropped),
                       F(back, rxDataFrameGood), F(back, rxDataFrameBad)},
                      where + ".netInfo", {"guid"});
        for(uint32_t type = 0; type < 32; ++type) {
            const std::string t = std::to_string(type);
            ClnkLib_PhyTxProfile_t tx{};
            ClnkLib_PhyRxProfile_t rx{};
            ASSERT_EQ(ClnkLib_GetPhyTxProfile(&h_, id, type, 0, &tx), CLNK_OK);
            ASSERT_EQ(ClnkLib_GetPhyRxProfile(&h_, id, type, 0, &rx), CLNK_OK);
            expect_fields(node["txProfiles"].value(t, json::object()),
                          {F(tx, txProfileValid), F(tx, txPhyrate), F(tx, txTpcBackoff), F(tx, txNumSymbols), F(tx, txCp)},
                          where + ".txProfiles." + t);
            expect_fields(node["rxProfiles"].value(t, json::object()),
                          {F(rx, rxProfileValid), F(rx, rxPhyrate), F(rx, rxPwrLevel), F(rx, rxChnSnr),
                           F(rx, rxNumSymbols), F(rx, rxCp)},
                          where + ".rxProfiles." + t);
            EXPECT_EQ(tx.txProfileValid, node["txProfiles"].contains(t) ? 1u : 0u) << where << " " << t;
            EXPECT_LE(tx.txPhyrate, 2048u);
            EXPECT_LE(rx.rxPhyrate, 2048u);
        }
        ClnkLib_CdInfo_t cd{};
        ASSERT_EQ(ClnkLib_GetCdInfo(&h_, id, &cd), CLNK_OK);
        expect_fields(node["cdInfo"],
                      {F(cd, linkUpTimeInSecs), F(cd, resetCount), F(cd, resetLine), F(cd, resetEpc), F(cd, linkLostCount)},
                      where + ".cdInfo");
        if(node.contains("fmr")) {
            auto fmr = std::make_unique<ClnkLib_FmrInfo_t>();
            ASSERT_EQ(ClnkLib_GetFmrInfo(&h_, 1u << id, 2, fmr.get()), CLNK_OK);
            const auto& mine = fmr->nodeFmr[id];
            expect_fields(node["fmr"],
                          {F(mine, validInfo), F(mine, gapGcd), F(mine, ofdmbGcd), F(mine, rateGcd), F(mine, defTableNum)},
                          where + ".fmr", {"p2p"});
            for(const auto& [peer, p] : node["fmr"]["p2p"].items()) {
                const auto& q = mine.p2p[std::stoul(peer)];
                expect_fields(p,
                              {F(q, gapNper), F(q, gapVLper), F(q, ofdmbNper), F(q, ofdmbVLper), F(q, rateNper),
                               F(q, rateVLper)},
                              where + ".fmr.p2p." + peer);
            }
        }
    }
}

TEST_F(ExampleTest, StatisticsConfigurationAndMisc) {
    ClnkLib_DataStats_t ds{};
    ASSERT_EQ(ClnkLib_GetDataStats(&h_, 0, &ds), CLNK_OK);
    const struct {
        const char* name;
        const uint64_t* values;
        size_t count;
    } fields[] = {
        {"txTotalPkts", &ds.txTotalPkts, 1},   {"txTotalBytes", &ds.txTotalBytes, 1},
        {"txDroppedPkts", &ds.txDroppedPkts, 1}, {"txBcastPkts", &ds.txBcastPkts, 1},
        {"txMcastPkts", &ds.txMcastPkts, 1},   {"txUcastPkts", ds.txUcastPkts, 16},
        {"rxTotalPkts", &ds.rxTotalPkts, 1},   {"rxTotalBytes", &ds.rxTotalBytes, 1},
        {"rxDroppedPkts", &ds.rxDroppedPkts, 1}, {"rxBcastPkts", ds.rxBcastPkts, 16},
        {"rxMcastPkts", ds.rxMcastPkts, 16},   {"rxUcastPkts", ds.rxUcastPkts, 16},
        {"rxUcastBytes", &ds.rxUcastBytes, 1}, {"rxBadPktsInLast60s", &ds.rxBadPktsInLast60s, 1},
    };
    const json& stats = moca0()["dataStats"];
    bool beyond_32_bits = false;
    for(const auto& f : fields) {
        for(size_t i = 0; i < f.count; ++i) {
            const json& v = f.count == 1 ? stats[f.name] : stats[f.name].value(std::to_string(i), json(0));
            EXPECT_EQ(swapped(f.values[i]), num(v)) << f.name << "[" << i << "]";
            beyond_32_bits = beyond_32_bits || num(v) > 0xFFFFFFFFu;
        }
    }
    EXPECT_TRUE(beyond_32_bits) << "the example should show counters above 2^32";

    ClnkLib_ClnkCfgV2_t cfg{};
    ASSERT_EQ(ClnkLib_GetClnkCfgV2(&h_, 0, &cfg), CLNK_OK);
    expect_fields(moca0()["config"],
                  {F(cfg, preferredNcMode), F(cfg, lowPowerMode), F(cfg, securityMode), F(cfg, maxTxPwr),
                   F(cfg, beaconTxPwr), F(cfg, tgtP2pNperRate), F(cfg, tgtP2pVlperRate), F(cfg, tgtP2p50Rate),
                   F(cfg, lof16), F(cfg, tabooOffset), F(cfg, tabooMask), F(cfg, channelMask), F(cfg, bandMask)},
                  "config", {"mocaPassword"});
    for(const auto& [slot, text] : moca0()["config"]["mocaPassword"].items()) {
        EXPECT_STREQ(reinterpret_cast<const char*>(cfg.mocaPassword[std::stoul(slot)]), text.get<std::string>().c_str());
    }
    EXPECT_EQ(cfg.tgtP2p50Rate, 630u);

    ClnkLib_PhyMisc_t misc{};
    ASSERT_EQ(ClnkLib_GetPhyMisc(&h_, &misc), CLNK_OK);
    expect_fields(moca0()["phyMisc"], {F(misc, currentOperatingFrequency), F(misc, currentBand), F(misc, txPowerDbm)},
                  "phyMisc");
    ClnkLib_EcbStats_t ecb{};
    ASSERT_EQ(ClnkLib_GetEcbStats(&h_, 0, &ecb), CLNK_OK);
    EXPECT_EQ(ecb.debug15, num(moca0()["ecbStats"]["debug15"]));
}

TEST_F(ExampleTest, BridgeTablesAndFlows) {
    const char* names[] = {"ucastDst", "mcastDst", "pqosFlow", "ucastSrc", "mcastSrc"};
    auto bt = std::make_unique<ClnkLib_BridgeTable_t>();
    for(uint32_t type = 0; type < 5; ++type) {
        const json& entries = moca0()["bridgeTables"][names[type]];
        uint32_t n = 0;
        ASSERT_EQ(ClnkLib_GetBridgeTable(&h_, type, 0, &n, bt.get()), CLNK_OK);
        ASSERT_EQ(n, entries.size()) << names[type];
        for(uint32_t i = 0; i < n; ++i) {
            const ClnkLib_MacAddr_t m = mac(entries[i]["mac"]);
            EXPECT_EQ(bt->entry[i].macAddrHi, m.hi) << names[type] << i;
            EXPECT_EQ(bt->entry[i].macAddrLoIds, m.lo | entries[i]["nodeId"].get<uint32_t>()) << names[type] << i;
        }
    }
    int nodes_with_flows = 0;
    for(const auto& [key, node] : moca0()["nodes"].items()) {
        ClnkLib_FlowListReq_t req{mac(node["netInfo"]["guid"]), 0, 32};
        ClnkLib_FlowListRsp_t rsp{};
        ASSERT_EQ(ClnkLib_ListFlows(&h_, &req, &rsp), CLNK_OK);
        if(num(node["netInfo"]["mocaVer"]) < 0x20) {
            EXPECT_EQ(rsp.flowCode, CLNKLIB_FLOWCODE_QOS_UNAVAIL) << key;
            EXPECT_FALSE(node.contains("flows")) << "a MoCA 1.x node has no PQoS flows";
            continue;
        }
        ASSERT_EQ(rsp.flowCode, CLNKLIB_FLOWCODE_SUCCESS) << key;
        const json list = node.contains("flows") ? node["flows"]["list"] : json::array();
        nodes_with_flows += list.empty() ? 0 : 1;
        ASSERT_EQ(rsp.numReturnedFlowIds, list.size()) << key;
        for(size_t i = 0; i < list.size(); ++i) {
            const json& f = list[i];
            EXPECT_EQ(rsp.returnedFlowId[i].hi, mac(f["flowId"]).hi);
            ClnkLib_FlowQueryRsp_t q{};
            ASSERT_EQ(ClnkLib_QueryFlow(&h_, &rsp.returnedFlowId[i], &q), CLNK_OK);
            EXPECT_EQ(q.flowCode, CLNKLIB_FLOWCODE_SUCCESS);
            for(const char* m : {"flowId", "packetDa", "ingressGuid", "egressGuid"}) {
                const ClnkLib_MacAddr_t want = mac(f[m]);
                const ClnkLib_MacAddr_t& got = std::string(m) == "flowId"        ? q.pfp.flowId
                                               : std::string(m) == "packetDa"    ? q.pfp.packetDa
                                               : std::string(m) == "ingressGuid" ? q.pfp.ingressGuid
                                                                                 : q.pfp.egressGuid;
                EXPECT_EQ(got.hi, want.hi) << m;
                EXPECT_EQ(got.lo, want.lo) << m;
            }
            const auto& p = q.pfp;
            expect_fields(f,
                          {F(p, tPktSize), F(p, flowTag), F(p, tPeakDataRateKbps), F(p, tLeaseTimeSec),
                           F(p, tBurstSize), F(p, maxLatencyMs), F(p, stAvgRatio), F(p, maxNumRetry), F(p, flowPer),
                           F(p, inOrderDeliver), F(p, tProtocol), F(p, ingressClass), F(p, vlanTag), F(p, dscpMoca),
                           F(q, leaseTimeLeft), F(q, dfid)},
                          "flow " + f["flowId"].get<std::string>(), {"flowId", "packetDa", "ingressGuid", "egressGuid"});
        }
    }
    EXPECT_GE(nodes_with_flows, 2);
}

TEST_F(ExampleTest, MarginTables) {
    auto rl = std::make_unique<ClnkLib_RlapmStaticCfgV2_t>();
    auto sa = std::make_unique<ClnkLib_SapmStaticCfgV2_t>();
    ASSERT_EQ(ClnkLib_GetRlapmCfg(&h_, rl.get()), CLNK_OK);
    ASSERT_EQ(ClnkLib_GetSapmCfg(&h_, sa.get()), CLNK_OK);
    int rows = 0;
    for(const auto& [p, prof] : moca0()["rlapm"]["profiles"].items()) {
        for(const auto& [f, row] : prof["tbl"].items()) {
            const auto& got = rl->profiles[std::stoul(p)].tbl[std::stoul(f)];
            EXPECT_EQ(got.freq, num(row["freq"]));
            for(size_t k = 0; k < MAX_RX_LEVELS_PADDED; ++k) {
                EXPECT_EQ(got.phymargin[k], k < row["phymargin"].size() ? num(row["phymargin"][k]) : 0u);
            }
            ++rows;
        }
    }
    EXPECT_GE(rows, 2);
    rows = 0;
    for(const auto& [p, prof] : moca0()["sapm"]["profiles"].items()) {
        for(const auto& [f, row] : prof["tbl"].items()) {
            const auto& got = sa->profiles[std::stoul(p)].tbl[std::stoul(f)];
            expect_fields(row, {F(got, freq), F(got, threshold), FS(got, scstart)}, "sapm row", {"phymargin"});
            for(size_t k = 0; k < MAX_MINI_SAPM_MARGIN_LEN; ++k) {
                EXPECT_EQ(got.phymargin[k], k < row["phymargin"].size() ? num(row["phymargin"][k]) : 0u);
            }
            ++rows;
        }
    }
    EXPECT_GE(rows, 2);
}

TEST_F(ExampleTest, NetworkIsTheOneDescribed) {
    ClnkLib_LocalInfo_t li{};
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h_, &li), CLNK_OK);
    EXPECT_EQ(li.nodeId, li.ncNodeId) << "the gateway coordinates the network";
    EXPECT_NE(li.sleepM1NodeBitmask, 0u) << "one node sleeps in M1";
    EXPECT_EQ(li.activeNodeBitmask & li.sleepM1NodeBitmask, 0u);
    bool legacy = false;
    bool bonded = false;
    bool moca25 = false;
    for(uint32_t id = 0; id < 16; ++id) {
        ClnkLib_NetInfo_t ni{};
        if(ClnkLib_GetNetInfo(&h_, id, &ni) != CLNK_OK) {
            EXPECT_EQ((li.activeNodeBitmask | li.sleepM1NodeBitmask) >> id & 1u, 0u) << "node " << id << " has no data";
            continue;
        }
        ClnkLib_PhyTxProfile_t tx{};
        ClnkLib_GetPhyTxProfile(&h_, id, 0x12, 0, &tx);
        if(ni.mocaVer == 0x11) {
            legacy = true;
            for(uint32_t type : {0xdu, 0xeu, 0x12u}) {
                ClnkLib_GetPhyTxProfile(&h_, id, type, 0, &tx);
                EXPECT_EQ(tx.txProfileValid, 0u) << "a MoCA 1.1 node has only the MoCA 1 profiles";
            }
        } else if(ni.mocaVer == 0x20 && (ni.protoSupport & 0x200) != 0 && tx.txProfileValid == 1) {
            bonded = true;
        } else if(ni.mocaVer == 0x25 && id != li.nodeId) {
            moca25 = true;
        }
    }
    EXPECT_TRUE(legacy);
    EXPECT_TRUE(bonded);
    EXPECT_TRUE(moca25);
}

}  // namespace
