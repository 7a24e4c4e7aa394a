// Scenario loading, validation and merge patches.
#include <cstring>

#include "sim_test_util.h"

using nlohmann::json;
using nlohmann::ordered_json;
using simtest::iface;

namespace {

class ScenarioTest : public simtest::SimTest {};

struct BadScenario {
    const char* what;
    const char* body; // merged into moca0
    const char* path; // the message must start with it
};

const BadScenario kBad[] = {
    {"unknown field", R"({"localInfo": {"nodeID": 1}})", "interfaces.moca0.localInfo.nodeID: unknown field"},
    {"unknown interface key", R"({"colour": 1})", "interfaces.moca0.colour: unknown field"},
    {"wrong type", R"({"localInfo": {"nodeId": "one"}})", "interfaces.moca0.localInfo.nodeId: not a number"},
    {"float", R"({"localInfo": {"nodeId": 1.5}})", "interfaces.moca0.localInfo.nodeId: expected an integer"},
    {"bool as flag", R"({"present": 1})", "interfaces.moca0.present: expected true or false"},
    {"node id 16", R"({"nodes": {"16": {}}})", "interfaces.moca0.nodes.16: index out of range"},
    {"index with sign", R"({"nodes": {"+1": {}}})", "interfaces.moca0.nodes.+1: index out of range"},
    {"profile type 32", R"({"nodes": {"1": {"txProfiles": {"32": {}}}}})", "interfaces.moca0.nodes.1.txProfiles.32"},
    {"too many p2p", R"({"nodes": {"1": {"fmr": {"p2p": [{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{}]}}}})",
     "interfaces.moca0.nodes.1.fmr.p2p: more than 16 items"},
    {"malformed MAC", R"({"nodes": {"3": {"netInfo": {"guid": "00:11:22:33:44"}}}})",
     "interfaces.moca0.nodes.3.netInfo.guid: malformed MAC"},
    {"MAC with bad digit", R"({"bridgeTables": {"ucastDst": [{"mac": "00:11:22:33:44:5g"}]}})",
     "interfaces.moca0.bridgeTables.ucastDst.0.mac: malformed MAC"},
    {"u8 overflow", R"({"config": {"maxTxPwr": 256}})", "interfaces.moca0.config.maxTxPwr: value 256 does not fit"},
    {"u16 overflow", R"({"nodes": {"0": {"fmr": {"p2p": {"2": {"rateNper": "0x10000"}}}}}})",
     "interfaces.moca0.nodes.0.fmr.p2p.2.rateNper: value 0x10000 does not fit"},
    {"24-bit taboo mask", R"({"config": {"tabooMask": "0x1000000"}})", "interfaces.moca0.config.tabooMask"},
    {"1-bit flag", R"({"config": {"preferredNcMode": 2}})", "interfaces.moca0.config.preferredNcMode"},
    {"negative unsigned", R"({"localInfo": {"linkStatus": -1}})", "interfaces.moca0.localInfo.linkStatus"},
    {"i32 underflow", R"({"localInfo": {"priChnOffset": "-2147483649"}})", "interfaces.moca0.localInfo.priChnOffset"},
    {"u64 overflow", R"({"dataStats": {"txTotalPkts": "18446744073709551616"}})",
     "interfaces.moca0.dataStats.txTotalPkts"},
    {"margin byte", R"({"rlapm": {"profiles": {"0": {"tbl": {"5": {"phymargin": [1, 256]}}}}}})",
     "interfaces.moca0.rlapm.profiles.0.tbl.5.phymargin.1"},
    {"rlapm row 6", R"({"rlapm": {"profiles": {"0": {"tbl": {"6": {}}}}}})", "interfaces.moca0.rlapm.profiles.0.tbl.6"},
    {"pass phrase of 18", R"({"config": {"mocaPassword": {"5": "123456789012345678"}}})",
     "interfaces.moca0.config.mocaPassword.5: pass phrase longer than 17"},
    {"pass phrase slot 8", R"({"config": {"mocaPassword": {"8": "1234"}}})", "interfaces.moca0.config.mocaPassword.8"},
    {"version text of 25", R"({"localInfo": {"socVersionStr": "1234567890123456789012345"}})",
     "interfaces.moca0.localInfo.socVersionStr: text longer than 24"},
    {"bridge node id", R"({"bridgeTables": {"ucastSrc": [{"mac": "00:11:22:33:44:55", "nodeId": 65536}]}})",
     "interfaces.moca0.bridgeTables.ucastSrc.0.nodeId"},
    {"bridge table name", R"({"bridgeTables": {"ucast": []}})",
     "interfaces.moca0.bridgeTables.ucast: unknown bridge table"},
    {"netInfo.nodeId not the key", R"({"nodes": {"2": {"netInfo": {"nodeId": 3}}}})",
     "interfaces.moca0.nodes.2.netInfo.nodeId: differs"},
    {"flow without id", R"({"nodes": {"2": {"flows": {"list": [{"dfid": 1}]}}}})",
     "interfaces.moca0.nodes.2.flows.list.0: a flow needs a flowId"},
    {"duplicate flow id", R"({"nodes": {"1": {"flows": {"list": [{"flowId": "01:00:5e:00:00:01"}]}},
                                       "2": {"flows": {"list": [{"flowId": "01:00:5E:00:00:01"}]}}}})",
     "interfaces.moca0.nodes.2.flows.list.0.flowId: duplicate flow id 01:00:5e:00:00:01"},
};

TEST_F(ScenarioTest, RefusesBadScenarioNamingThePathAndKeepsTheOldState) {
    load(iface(R"({"localInfo": {"nodeId": 4}})"));
    const json before = clnksim::state();
    for(const auto& bad : kBad) {
        std::string err;
        EXPECT_FALSE(clnksim::load(json::parse(iface(bad.body)), &err)) << bad.what;
        EXPECT_EQ(err.rfind(bad.path, 0), 0u) << bad.what << ": " << err;
        EXPECT_EQ(clnksim::state(), before) << bad.what;
        EXPECT_FALSE(clnksim::patch(json::parse(iface(bad.body)), &err)) << bad.what;
        EXPECT_EQ(clnksim::state(), before) << bad.what;
    }
}

TEST_F(ScenarioTest, RefusesBadTopLevelAndInterfaceNames) {
    const char* bad[] = {R"([])", R"({"interface": {}})", R"({"interfaces": []})",
                         R"({"interfaces": {"moca0123456789ab": {}}})", R"({"interfaces": {"": {}}})"};
    for(const char* text : bad) {
        std::string err;
        EXPECT_FALSE(clnksim::load(json::parse(text), &err)) << text;
        EXPECT_FALSE(err.empty());
    }
    std::string err;
    EXPECT_FALSE(clnksim::load_file("/nonexistent/scenario.json", &err));
    EXPECT_NE(err.find("/nonexistent/scenario.json"), std::string::npos);
}

TEST_F(ScenarioTest, NumbersInEveryNotationReachTheRecords) {
    load(iface(R"({"localInfo": {"networkMocaVer": "0x25", "priChnOffset": -25, "secChnOffset": "-0x7d",
                                 "activeNodeBitmask": "0XF", "tabooMask": "010"},
                   "dataStats": {"txTotalPkts": "18446744073709551615", "rxTotalPkts": "0xffffffff00000001"}})"));
    ClnkLib_Handle_t h = open();
    ClnkLib_LocalInfo_t li{};
    ASSERT_EQ(ClnkLib_GetLocalInfo(&h, &li), CLNK_OK);
    EXPECT_EQ(li.networkMocaVer, 0x25u);
    EXPECT_EQ(li.priChnOffset, -25);
    EXPECT_EQ(li.secChnOffset, -125);
    EXPECT_EQ(li.activeNodeBitmask, 0xFu);
    EXPECT_EQ(li.tabooMask, 8u); // C notation: a leading 0 is octal
    ClnkLib_DataStats_t ds{};
    ASSERT_EQ(ClnkLib_GetDataStats(&h, 0, &ds), CLNK_OK);
    EXPECT_EQ(ds.txTotalPkts, UINT64_MAX);
    EXPECT_EQ(ds.rxTotalPkts, 0x00000001ffffffffull);
    ClnkLib_Close(&h);
    // Values beyond 2^53 come back as text, so that no JSON reader rounds them.
    EXPECT_EQ(clnksim::state()["interfaces"]["moca0"]["dataStats"]["txTotalPkts"], "18446744073709551615");
}

TEST_F(ScenarioTest, StateReloadsToItself) {
    std::string err;
    ASSERT_TRUE(clnksim::load_file(SIM_EXAMPLES_DIR "/home-network.json", &err)) << err;
    // A pass phrase written with bytes that are no text still shows, and reloads.
    ClnkLib_Handle_t h = open();
    ClnkLib_ClnkCfgV2_t cfg{};
    std::memcpy(cfg.mocaPassword[2],
                "\xff\x01"
                "abc",
                5);
    clnk_param_mask_t mask{};
    SET_PARAM_BIT(&mask, OPT_MOCA_PASSWD_D_HI);
    ASSERT_EQ(ClnkLib_SetClnkCfgV2Params(&h, &mask, &cfg), CLNK_OK);
    ClnkLib_Close(&h);
    const ordered_json first = clnksim::state_ordered();
    EXPECT_EQ(first["interfaces"]["moca0"]["config"]["mocaPassword"]["2"], json::parse("[255, 1, 97, 98, 99]"));
    ASSERT_TRUE(clnksim::load_ordered(first, &err)) << err;
    EXPECT_EQ(clnksim::state_ordered(), first);
    // Absent is zero: a minimal interface shows only its three switches.
    load(R"({"interfaces": {"moca9": {}}})");
    EXPECT_EQ(clnksim::state(),
              json::parse(R"({"interfaces": {"moca9": {"present": false, "openable": false, "started": false}}})"));
}

TEST_F(ScenarioTest, FriendlyAndRawFormsOfAddressesAndText) {
    load(iface(R"({"localInfo": {"socVersionStr": ["0x312e3138", 774977024]},
                   "nodes": {"1": {"netInfo": {"guidHi": "0x00112233", "guidLo": "0x44550000"}},
                             "2": {"netInfo": {"guidHi": "0x00112233", "guidLo": "0x44551234"}}},
                   "bridgeTables": {"ucastDst": [{"macAddrHi": "0x0a0b0c0d", "macAddrLoIds": "0x0e0f0003"}]}})"));
    const json s = clnksim::state()["interfaces"]["moca0"];
    EXPECT_EQ(s["localInfo"]["socVersionStr"], "1.18.16");
    EXPECT_EQ(s["nodes"]["1"]["netInfo"], json::parse(R"({"guid": "00:11:22:33:44:55"})"));
    // Low bits that no address holds keep the raw form.
    EXPECT_EQ(s["nodes"]["2"]["netInfo"], json::parse(R"({"guidHi": 1122867, "guidLo": 1146425908})"));
    EXPECT_EQ(s["bridgeTables"]["ucastDst"][0], json::parse(R"({"mac": "0a:0b:0c:0d:0e:0f", "nodeId": 3})"));
}

TEST_F(ScenarioTest, MergePatchChangesAddsAndRemoves) {
    load(iface(R"({"localInfo": {"nodeId": 1, "activeNodeBitmask": "0x3"},
                   "nodes": {"0": {"netInfo": {"guid": "00:11:22:33:44:55", "mocaVer": "0x20"}},
                             "1": {"netInfo": {"guid": "00:11:22:33:44:66"}}}})"));
    std::string err;
    ASSERT_TRUE(clnksim::patch(json::parse(R"({"interfaces": {"moca0": {
        "localInfo": {"activeNodeBitmask": "0x5"},
        "nodes": {"1": null, "2": {"netInfo": {"guid": "00:11:22:33:44:77"}},
                  "0": {"netInfo": {"mocaVer": "0x25", "guidLo": "0x44990000"}}}}}})"),
                               &err))
        << err;
    const json s = clnksim::state()["interfaces"]["moca0"];
    EXPECT_EQ(s["localInfo"], json::parse(R"({"nodeId": 1, "activeNodeBitmask": 5})"));
    EXPECT_FALSE(s["nodes"].contains("1"));
    EXPECT_EQ(s["nodes"]["2"]["netInfo"]["guid"], "00:11:22:33:44:77");
    // A raw word patched beside the friendly form wins over it.
    EXPECT_EQ(s["nodes"]["0"]["netInfo"], json::parse(R"({"guid": "00:11:22:33:44:99", "mocaVer": 37})"));

    ASSERT_TRUE(clnksim::patch(json::parse(R"({"interfaces": {"moca1": {"present": true}}})"), &err)) << err;
    ClnkLib_Name_t names[4]{};
    ASSERT_EQ(ClnkLib_ListNames(names, 4), 2);
    EXPECT_STREQ(names[1].ifName, "moca1");
}

TEST_F(ScenarioTest, InterfacesKeepTheirOrder) {
    const char* text = R"({"interfaces": {"moca2": {"present": true}, "eth0": {}, "moca10": {"present": true},
                                          "moca1": {"present": true}}})";
    load(text);
    ClnkLib_Name_t names[8]{};
    ASSERT_EQ(ClnkLib_ListNames(names, 8), 3);
    EXPECT_STREQ(names[0].ifName, "moca2");
    EXPECT_STREQ(names[1].ifName, "moca10");
    EXPECT_STREQ(names[2].ifName, "moca1");
    // A patch keeps the order, too.
    std::string err;
    ASSERT_TRUE(clnksim::patch(json::parse(R"({"interfaces": {"eth0": {"present": true}}})"), &err)) << err;
    ASSERT_EQ(ClnkLib_ListNames(names, 8), 4);
    EXPECT_STREQ(names[1].ifName, "eth0");
    ASSERT_EQ(ClnkLib_ListNames(names, 2), 2);
}

} // namespace

TEST_F(ScenarioTest, SnapshotPutsBackTheNetworkButNotFaultsOrHandles) {
    std::string err;
    ASSERT_TRUE(clnksim::load_file(SIM_EXAMPLES_DIR "/home-network.json", &err)) << err;
    const clnksim::Snapshot saved = clnksim::snapshot();
    const ordered_json before = clnksim::state_ordered();
    // A write through the chip, a stop and a patch that removes a node all go.
    ClnkLib_Handle_t h = open();
    ClnkLib_ClnkCfgV2_t cfg{};
    cfg.tabooMask = 0x1234;
    clnk_param_mask_t mask{};
    SET_PARAM_BIT(&mask, OPT_TABOO_MASK);
    ASSERT_EQ(ClnkLib_SetClnkCfgV2Params(&h, &mask, &cfg), CLNK_OK);
    ASSERT_EQ(ClnkLib_Stop(&h), CLNK_OK);
    ASSERT_TRUE(clnksim::patch(json::parse(R"({"interfaces": {"moca0": {"nodes": {"1": null}}}})"), &err)) << err;
    ASSERT_TRUE(clnksim::arm_fault(json::parse(R"({"op": "GetLocalInfo", "rc": -5})"), &err)) << err;
    ASSERT_NE(clnksim::state_ordered(), before);
    clnksim::restore(saved);
    EXPECT_EQ(clnksim::state_ordered(), before);
    // The armed fault and the open handle are the caller's, not the network's.
    EXPECT_EQ(clnksim::open_handles(), 1);
    ClnkLib_LocalInfo_t li{};
    EXPECT_EQ(ClnkLib_GetLocalInfo(&h, &li), -5);
    ClnkLib_Close(&h);
    // A snapshot outlives later loads, and an empty one changes nothing.
    load(R"({"interfaces": {}})");
    clnksim::restore(nullptr);
    EXPECT_EQ(clnksim::state_ordered()["interfaces"], ordered_json::object());
    clnksim::restore(saved);
    EXPECT_EQ(clnksim::state_ordered(), before);
}
