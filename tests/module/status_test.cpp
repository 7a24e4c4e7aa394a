// SPDX-License-Identifier: BSD-2-Clause-Patent
// Interface status against the simulated chip: static and dynamic information,
// statistics, presence and availability.
#include <algorithm>

#include "mxl_test_env.h"

using namespace mxltest;

namespace {

const ojson CHIP = ojson::parse(R"({"interfaces": {"moca0": {"present": true, "openable": true, "started": true,
  "localInfo": {"nodeId": 1, "ncNodeId": 0, "backupNodeId": 2, "lmoNodeId": 3, "linkStatus": 5, "networkState": 6,
                "networkMocaVer": "0x25", "activeNodeBitmask": 3, "sleepM1NodeBitmask": 6, "priChnOffset": -25,
                "secChnOffset": 25, "tabooMask": "0xff0000", "socVersionStr": "1.18.16"},
  "config": {"securityMode": 1, "lof16": 1150},
  "phyMisc": {"currentOperatingFrequency": 1200},
  "ecbStats": {"debug15": 6},
  "dataStats": {"txTotalPkts": 1000, "txTotalBytes": "0x100000002", "txDroppedPkts": "0x900000007",
                "txBcastPkts": 5, "txMcastPkts": 6, "txUcastPkts": {"0": 10, "2": 21},
                "rxTotalPkts": 2000, "rxTotalBytes": 3000, "rxDroppedPkts": 3},
  "nodes": {"1": {"netInfo": {"mocaVer": "0x25", "protoSupport": 0},
                  "txProfiles": {"14": {"txProfileValid": 1, "txPhyrate": 1800, "txTpcBackoff": 3}},
                  "cdInfo": {"linkUpTimeInSecs": 3600, "resetCount": 2, "resetLine": 3, "resetEpc": "0x1f",
                             "linkLostCount": 4}}}}}})");

const std::string OPEN = "ClnkLib_OpenByName", CLOSE = "ClnkLib_Close";

void patch_moca0(const ojson& moca0) {
    patch({{"interfaces", {{"moca0", moca0}}}});
}

class StatusTest : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        // Per-node counters (true values) whose sums need the 32-bit cut: 2^35, 16, 16 * 2^32 + 48.
        ojson chip = CHIP;
        ojson& stats = chip["interfaces"]["moca0"]["dataStats"];
        for(int node = 0; node < 16; node++) {
            stats["rxBcastPkts"][std::to_string(node)] = "0x80000000";
            stats["rxMcastPkts"][std::to_string(node)] = 1;
            stats["rxUcastPkts"][std::to_string(node)] = "0x100000003";
        }
        sim(chip);
        create("moca0");
    }
    static Outcome get(const std::string& function) { return call(function, {{"InternalName", "moca0"}}); }
};

TEST_F(StatusTest, ReportsHoldEveryKeyInOrder) {
    struct Case {
        const char* function;
        strings ops;
        const char* args; // of the chip calls, in order
        const char* ret;
        const char* request; // the info line naming the interface, after the open
    };
    const Case cases[] = {
        {"retrieve-static-info",
         {OPEN, "ClnkLib_GetLocalInfo", "ClnkLib_GetNetInfo", "ClnkLib_GetPhyTxProfile", "ClnkLib_GetEcbStats", CLOSE},
         R"([["moca0"], [], [1], [1, 14], [], []])",
         R"({"InternalName": ["cstring", "moca0"],
             "FirmwareVersion": ["cstring", "MXL371x_MHOST_v3.11.25_FW_v1.18.16"],
             "SupportedBands": ["cstring", "bandFCBL,bandFSAT,bandE,bandExD"], "MaxBitRate": ["uint32", 2500],
             "AggregationSize": ["uint32", 0], "AeNumber": ["uint32", 0], "SupportedIngressPqosFlows": ["uint32", 0],
             "SupportedEgressPqosFlows": ["uint32", 0], "HighestVersion": ["cstring", "2.5"],
             "FreqCapabilityMask": ["cstring", ""], "NetworkTabooMask": ["cstring", "0000000000FF0000"],
             "TxBcastPowerReduction": ["uint32", 3], "QAM256Capable": ["bool", false], "AvbSupport": ["bool", false],
             "PacketAggregationCapability": ["uint32", 0]})",
         "Get static data for moca0"},
        {"retrieve-dyn-info",
         {OPEN, "ClnkLib_GetLocalInfo", "ClnkLib_GetClnkCfgV2", "ClnkLib_GetPhyMisc", "ClnkLib_GetPhyTxProfile",
          "ClnkLib_GetCdInfo", CLOSE},
         R"([["moca0"], [], [], [], [1, 14], [1], []])",
         R"({"Status": ["cstring", "Up"], "PasswordHash": ["cstring", "QRST"], "PowerStateCap": ["cstring", "m0Active"],
             "LinkUpTime": ["uint32", 3600], "MaxIngressBW": ["uint32", 0], "MaxEgressBW": ["uint32", 0],
             "CurrentVersion": ["cstring", "2.5"], "NetworkCoordinator": ["uint32", 0], "NodeID": ["uint32", 1],
             "BackupNC": ["uint32", 2], "NumNodes": ["uint32", 3], "PrivacyEnabled": ["bool", true],
             "FreqCurrentMask": ["cstring", ""], "CurrentOperFreq": ["uint32", 1200], "LastOperFreq": ["uint32", 1150],
             "TxBcastRate": ["uint32", 1800], "ResetCount": ["uint32", 2], "LinkDownCount": ["uint32", 4],
             "LmoNodeID": ["uint32", 3], "NetworkState": ["cstring", "steadyState"],
             "PrimaryChannelOffset": ["int32", -25], "SecondaryChannelOffset": ["int32", 25],
             "ResetReason": ["cstring", "MXL MoCA Reset reason code: 3 / 0x1f"], "NcVersion": ["cstring", ""],
             "LinkState": ["cstring", "000000"]})",
         "get dyn data for moca0"},
        // Counters arrive with their halves exchanged; per-node sums are cut to 32 bits.
        {"retrieve-stats-info",
         {OPEN, "ClnkLib_GetDataStats", CLOSE},
         R"([["moca0"], [], []])",
         R"({"BroadcastPacketsReceived": ["uint64", 0], "BroadcastPacketsSent": ["uint64", 5],
             "BytesReceived": ["uint64", 3000], "BytesSent": ["uint64", 4294967298],
             "DiscardPacketsReceived": ["uint32", 3], "DiscardPacketsSent": ["uint32", 7],
             "ErrorsReceived": ["uint32", 3], "ErrorsSent": ["uint32", 7],
             "MulticastPacketsReceived": ["uint64", 16], "MulticastPacketsSent": ["uint64", 6],
             "PacketsReceived": ["uint64", 2000], "PacketsSent": ["uint64", 1000],
             "UnicastPacketsReceived": ["uint64", 48], "UnicastPacketsSent": ["uint64", 31],
             "UnknownProtoPacketsReceived": ["uint32", 0]})",
         nullptr},
    };
    for(const Case& c : cases) {
        SCOPED_TRACE(c.function);
        for(int round = 0; round < 2; round++) {
            Outcome out = get(c.function);
            EXPECT_EQ(out.rc, 0);
            EXPECT_EQ(out.ret, ojson::array({"htable", ojson::parse(c.ret)}));
            EXPECT_EQ(out.chip_ops(), c.ops);
            nlohmann::json args = nlohmann::json::array();
            for(const clnksim::Call& chip_call : out.chip) {
                args.push_back(chip_call.args);
            }
            EXPECT_EQ(args, nlohmann::json::parse(c.args));
            const strings infos = out.messages(TRACE_LEVEL_INFO);
            EXPECT_EQ(std::count(infos.begin(), infos.end(), c.request ? c.request : ""), c.request ? 1 : 0);
            EXPECT_TRUE(out.errors().empty());
        }
    }
}

TEST_F(StatusTest, DerivedValues) {
    struct Case {
        const char* function;
        ojson patch; // on moca0
        const char* key;
        ojson expected;
    };
    const ojson v11{{"nodes", {{"1", {{"netInfo", {{"mocaVer", "0x11"}, {"protoSupport", "0x80"}}}}}}}};
    auto tx = [](int valid) {
        return ojson{{"nodes", {{"1", {{"txProfiles", {{"14", {{"txProfileValid", valid}}}}}}}}}};
    };
    auto local = [](const char* field, ojson v) { return ojson{{"localInfo", {{field, v}}}}; };
    auto masks = [](const char* active, const char* m1) {
        return ojson{{"localInfo", {{"activeNodeBitmask", active}, {"sleepM1NodeBitmask", m1}}}};
    };
    auto reset = [](const char* line, const char* epc) {
        return ojson{{"nodes", {{"1", {{"cdInfo", {{"resetLine", line}, {"resetEpc", epc}}}}}}}};
    };
    const Case cases[] = {
        {"retrieve-static-info", v11, "HighestVersion", "1.2"},
        // clang-format off
        {"retrieve-static-info", {{"nodes", {{"1", {{"netInfo", {{"mocaVer", "0x11"}, {"protoSupport", "0x180"}}}}}}}}, "HighestVersion", "1.1"},
        // clang-format on
        {"retrieve-static-info", {{"nodes", {{"1", {{"netInfo", {{"mocaVer", "0x20"}}}}}}}}, "HighestVersion", "2.0"},
        {"retrieve-static-info", tx(0), "TxBcastPowerReduction", 0},
        {"retrieve-static-info", tx(2), "TxBcastPowerReduction", 0},
        {"retrieve-static-info", local("tabooMask", "0xffffff"), "NetworkTabooMask", "0000000000FFFFFF"},
        {"retrieve-dyn-info", tx(0), "TxBcastRate", 0},
        {"retrieve-dyn-info", tx(2), "TxBcastRate", 0},
        {"retrieve-dyn-info", local("networkState", 0), "NetworkState", "unknown"},
        {"retrieve-dyn-info", local("networkState", 17), "NetworkState", "calibrationState"},
        {"retrieve-dyn-info", local("networkState", 18), "NetworkState", "undefined"},
        {"retrieve-dyn-info", local("networkState", "0xffffffff"), "NetworkState", "undefined"},
        {"retrieve-dyn-info", local("linkStatus", 0), "Status", "Down"},
        {"retrieve-dyn-info", local("networkMocaVer", "0x11"), "CurrentVersion", "1.1"},
        {"retrieve-dyn-info", local("networkMocaVer", "0x1F5"), "CurrentVersion", "15.5"},
        {"retrieve-dyn-info", masks("0x10000", "0"), "NumNodes", 0},
        {"retrieve-dyn-info", masks("0xffffffff", "0"), "NumNodes", 16},
        {"retrieve-dyn-info", masks("0x8001", "0x8000"), "NumNodes", 2},
        {"retrieve-dyn-info", reset("3", "0"), "ResetReason", "MXL MoCA Reset reason code: 3 / 0"},
        {"retrieve-dyn-info", reset("0xffffffff", "0xdeadbeef"), "ResetReason",
         "MXL MoCA Reset reason code: -1 / 0xdeadbeef"},
        {"retrieve-dyn-info", {{"config", {{"securityMode", 0}}}}, "PrivacyEnabled", false},
    };
    for(const Case& c : cases) {
        SCOPED_TRACE(c.patch.dump());
        patch_moca0(c.patch);
        Outcome out = get(c.function);
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(out.value(c.key), c.expected);
    }
}

// The maximum bit rate needs firmware 1.18.16 or later; the version text is
// packed four characters to a word and ends at a zero byte or after 24 characters.
TEST_F(StatusTest, MaxBitRateFollowsTheFirmwareVersion) {
    struct Case {
        const char* firmware;
        int debug15;
        uint32_t rate; // 0: the ECB statistics are not read
    };
    const Case cases[] = {
        {"1.18.16", 6, 2500}, {"1.18.15", 6, 0},  {"0.99.99", 6, 0},
        {"1.19.0", 2, 1000},  {"2.0.0", 4, 1000}, {"1.17.200", 6, 0},
        {"v1.18.16", 6, 0},   {"", 6, 0},         {"1.18.16-rc1+build.7.abcd", 7, 2500},
        {"1.130.0", 6, 2500},
    };
    for(const Case& c : cases) {
        SCOPED_TRACE(c.firmware);
        patch_moca0({{"localInfo", {{"socVersionStr", c.firmware}}}, {"ecbStats", {{"debug15", c.debug15}}}});
        Outcome out = get("retrieve-static-info");
        EXPECT_EQ(out.value("MaxBitRate"), c.rate);
        EXPECT_EQ(out.count_op("ClnkLib_GetEcbStats"), c.rate != 0 ? 1u : 0u);
    }
    // The text ends after 24 characters: the words after it in the record are not part of it.
    patch_moca0({{"localInfo", {{"socVersionStr", "1.18.0000000000000000001"}, {"mac", "36:00:00:00:00:01"}}}});
    EXPECT_EQ(get("retrieve-static-info").value("MaxBitRate"), 0);
    // A failed ECB read is not an error (the fault matrix's): the cleared record gives 1000.
    patch_moca0({{"localInfo", {{"socVersionStr", "1.18.16"}}}, {"ecbStats", {{"debug15", 6}}}});
    fault({{"op", "GetEcbStats"}, {"rc", -5}});
    EXPECT_EQ(get("retrieve-static-info").value("MaxBitRate"), 1000);
}

TEST_F(StatusTest, PresenceAndAvailabilityNeedNoRecord) {
    ojson chip = ojson::parse(R"({"interfaces": {
        "moca0": {"present": true, "openable": true}, "moca1": {"present": true, "openable": false},
        "mocainterface01": {"present": true, "openable": true}}})");
    sim(chip);
    struct Case {
        const char* name;
        const char* opened; // the name the chip library gets
        bool present;
        bool available;
    };
    const Case cases[] = {
        {"moca0", "moca0", true, true},
        {"moca1", "moca1", true, false},
        {"eth9", "eth9", false, false},
        {"mocainterface0", "mocainterface0", false, false},
        {"mocainterface01XYZAB", "mocainterface01", true, true},
    };
    for(const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Outcome present = call("is-present", {{"InternalName", c.name}});
        EXPECT_EQ(present.rc, 0);
        EXPECT_EQ(present.ret, ojson::array({"bool", c.present}));
        EXPECT_EQ(present.chip_ops(), strings{"ClnkLib_ListNames"});
        EXPECT_EQ(present.chip[0].args, nlohmann::json::array({16}));
        EXPECT_TRUE(present.log.empty());

        Outcome available = call("is-available", {{"InternalName", c.name}});
        EXPECT_EQ(available.rc, 0);
        EXPECT_EQ(available.ret, ojson::array({"bool", c.available}));
        EXPECT_EQ(available.chip_ops(), c.available ? (strings{OPEN, CLOSE}) : strings{OPEN});
        EXPECT_EQ(available.chip[0].args, nlohmann::json::array({c.opened}));
        EXPECT_TRUE(available.log.empty());
    }

    // Only the 16 names the library can list are searched.
    ojson many{{"interfaces", ojson::object()}};
    for(int i = 0; i < 17; i++) {
        char name[8];
        snprintf(name, sizeof(name), "m%02d", i);
        many["interfaces"][name] = {{"present", true}};
    }
    sim(many);
    EXPECT_EQ(call("is-present", {{"InternalName", "m15"}}).ret, ojson::array({"bool", true}));
    EXPECT_EQ(call("is-present", {{"InternalName", "m16"}}).ret, ojson::array({"bool", false}));
    sim(ojson{{"interfaces", ojson::object()}});
    EXPECT_EQ(call("is-present", {{"InternalName", "moca0"}}).ret, ojson::array({"bool", false}));

    // A chip claiming more names than the array holds (and filling none): no name beyond it is read.
    for(int claimed : {17, 1000, INT32_MAX}) {
        fault({{"op", "ListNames"}, {"rc", claimed}});
        Outcome out = call("is-present", {{"InternalName", "moca0"}});
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(out.ret, ojson::array({"bool", false}));
        EXPECT_TRUE(out.log.empty());
    }
}

} // namespace
