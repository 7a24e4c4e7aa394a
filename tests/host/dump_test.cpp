// SPDX-License-Identifier: BSD-2-Clause-Patent
// "moca-host dump" of the example home network, as a person and as a program read it.
#include <regex>

#include "host_binary.h"

namespace {

const std::string home = example_sim("home-network");

// Whether a line is the wanted one, with blank runs folded to one blank so that a test
// does not depend on column widths.
bool has_line(const std::vector<std::string>& lines, const std::string& wanted) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& l) { return std::regex_replace(l, std::regex(" +"), " ") == wanted; });
}

using Dump = MocaHostRun;

TEST_F(Dump, JsonCarriesEveryCallWithItsScriptResultAndEachTableIsReadOnce) {
    Outcome r = run(home + "dump moca0 --json");
    ASSERT_EQ(r.status, 0) << r.err;
    json doc = json::parse(r.out);

    // The calls in order, each function's run of calls with its length: a table is walked
    // by Id from 1, and only its first Id goes to the chip.
    std::vector<std::pair<std::string, size_t>> runs;
    size_t chip_calls = 0;
    for(const auto& c : doc["calls"]) {
        ASSERT_EQ(keys_of(c), (std::vector<std::string>{"call", "args", "rc", "ret", "log", "chip", "handles"}))
            << c.dump();
        EXPECT_EQ(c["rc"], 0) << c.dump();
        EXPECT_EQ(c["handles"], 0) << c.dump();
        EXPECT_EQ(c["args"]["InternalName"], "moca0");
        chip_calls += c["chip"].size();
        if(runs.empty() || runs.back().first != c["call"]) {
            runs.emplace_back(c["call"].get<std::string>(), 0);
        }
        const size_t n = ++runs.back().second;
        if(c["args"].contains("Id") || n > 1) {
            EXPECT_EQ(c["args"]["Id"], n) << c.dump();
            EXPECT_TRUE(n == 1 || c["chip"].empty()) << c.dump();
        }
    }
    // clang-format off
    EXPECT_EQ(runs, (std::vector<std::pair<std::string, size_t>>{{"is-present", 1}, {"is-available", 1},
        {"create-moca-iface", 1}, {"retrieve-static-info", 1}, {"retrieve-cfg-info", 1}, {"retrieve-dyn-info", 1},
        {"retrieve-stats-info", 1}, {"retrieve-qos-info", 1}, {"retrieve-node-info", 16}, {"retrieve-mesh-info", 256},
        {"retrieve-bridge-info", 16}, {"retrieve-rlapm-number", 1}, {"retrieve-rlapm-info", 252},
        {"retrieve-sapm-number", 1}, {"retrieve-sapm-info", 3}, {"retrieve-flow-info", 16},
        {"destroy-moca-iface", 1}}));
    // clang-format on
    for(const auto& [function, calls] : runs) {
        EXPECT_EQ(doc["summary"]["functions"][function]["calls"], calls) << function;
    }

    EXPECT_TRUE(holds(doc["summary"], {{"calls", doc["calls"].size()}, {"failed", 0}, {"chip_calls", chip_calls}}));
    EXPECT_GT(doc["summary"]["elapsed_ms"].get<double>(), 0.0);

    // Typed as the script protocol types them; the flows were listed by the QoS report
    // just before their walk.
    EXPECT_TRUE(holds(doc["calls"], json::parse(R"([
        {"call": "is-present", "ret": ["bool", true]},
        {"call": "retrieve-static-info", "ret": ["htable", {"MaxBitRate": ["uint32", 2500]}]},
        {"call": "retrieve-stats-info", "ret": ["htable", {"BytesSent": ["uint64", 6012344587331]}]},
        {"call": "retrieve-node-info", "ret": ["htable", {"MACAddress": ["cstring", "00:1d:cd:58:a2:17"]}]},
        {"call": "retrieve-bridge-info", "ret": ["htable", {"MACAddresses": ["csv_string"]}]},
        {"call": "retrieve-qos-info", "chip": [{"op": "ClnkLib_ListFlows"}, {"op": "ClnkLib_QueryFlow"}]}])")));
    EXPECT_EQ(doc["summary"]["functions"]["retrieve-flow-info"]["chip_calls"], 0);
}

TEST_F(Dump, TextShowsTheDataModelForPeople) {
    Outcome r = run(home + "dump moca0");
    ASSERT_EQ(r.status, 0) << r.err;
    auto lines = lines_of(r.out);

    std::vector<std::string> headings, wanted;
    for(const auto& l : lines) {
        EXPECT_LE(l.size(), 100u) << l;
        if(l.rfind("# MoCA.", 0) == 0) {
            headings.push_back(l.substr(2, l.find("  (") - 2));
        } else if(l.rfind("# Read in", 0) == 0) {
            headings.push_back("Read in");
        }
    }
    for(const char* table : {"", ".Stats", ".QoS", ".AssociatedDevice", ".Mesh", ".Bridge", ".Rlapm", ".Sapm"}) {
        wanted.push_back(std::string("MoCA.Interface.moca0") + table);
    }
    wanted.push_back("Read in");
    EXPECT_EQ(headings, wanted) << r.out;

    // clang-format off
    const char* const expected[] = {
        "MoCA interface moca0 (is-present true, is-available true)", "MoCA.Interface.moca0.MaxBitRate 2500 Mbps",
        "MoCA.Interface.moca0.CurrentOperFreq 1150 MHz", "MoCA.Interface.moca0.FreqCurrentMask \"\"",
        "MoCA.Interface.moca0.LinkUpTime 864312 s (10d 00h 05m 12s)",
        "MoCA.Interface.moca0.Stats.BytesSent 6012344587331", "MoCA.Interface.moca0.QoS.IngressNumFlows 2",
        "MoCA.Interface.moca0.QoS.FlowStats.2.LeaseTimeLeft 2714 s",
        "MoCA.Interface.moca0.AssociatedDevice.2.PHYTxRate 1870 Mbps",
        "MoCA.Interface.moca0.AssociatedDevice.4.HighestVersion 1.1",
        // The mesh: header of the nodes in the network, then the rows of node 1 and of
        // node 4, asleep: no rate to or from it is a dead link.
        "# zz: asleep, no rates measured: node 4 (M1)", " tx \\ rx 0 1 2 3 4", " 1 1856 - 1344 240 zz",
        " 4 zz zz zz zz -",
        "MoCA.Interface.moca0.AssociatedDevice.5.PowerState m0Active (asleep: M1)",
        "MoCA.Interface.moca0.AssociatedDevice.4.PowerState m0Active",
        "MoCA.Interface.moca0.Bridge.2.MACAddresses 00:1d:cd:58:a2:17,00:0e:58:9c:44:b1",
        "MoCA.Interface.moca0.RlapmNumberOfEntries 252",
        " 169-252 1 1400 MHz active 48 45 42 39 36 33 30 27 24 21 18 15 12 9 6 3 0(x68)",
        "MoCA.Interface.moca0.Sapm.3.PhyMargin 256 values: 60(x16) 36(x8) 12(x8) 0(x224)",
        "MoCA.Interface.moca0.Sapm.1.AggrRxPwrLevelThreshold 40 (-40 dBm)",
    };
    // clang-format on
    for(const char* line : expected) {
        EXPECT_TRUE(has_line(lines, line)) << "missing: " << line;
    }
    // Only what is there: the local node and empty flow slots are not listed.
    EXPECT_EQ(r.out.find("AssociatedDevice.1."), std::string::npos);
    EXPECT_EQ(r.out.find("QoS.FlowStats.5."), std::string::npos);
    EXPECT_EQ(r.out.find("Bridge.5."), std::string::npos);
}

// Sixteen active MoCA 2.5 nodes with four-digit mesh rates and long bridge lists.
json full_network() {
    auto mac = [](int node, int n) {
        char text[18];
        std::snprintf(text, sizeof(text), "02:00:00:00:%02x:%02x", node, n);
        return std::string(text);
    };
    json nodes = json::object(), bridged = json::array();
    for(int i = 0; i < 16; ++i) {
        json p2p = json::object();
        for(int j = 0; j < 16; ++j) {
            p2p[std::to_string(j)] = {{"rateNper", 2000 + 10 * i + j}, {"rateVLper", 1900}};
        }
        // clang-format off
        nodes[std::to_string(i)] = {{"netInfo", {{"guid", mac(i, 0)}, {"mocaVer", "0x25"}}},
            {"rxProfiles", {{"18", {{"rxProfileValid", 1}, {"rxPhyrate", 2048}, {"rxPwrLevel", 60}}}}},
            {"fmr", {{"validInfo", 1}, {"p2p", p2p}}}};
        // clang-format on
        for(int n = 1; n <= 12; ++n) {
            bridged.push_back({{"mac", mac(i, n)}, {"nodeId", i}});
        }
    }
    // clang-format off
    json moca0 = {{"present", true}, {"openable", true}, {"started", true},
        {"localInfo", {{"nodeId", 0}, {"linkStatus", 1}, {"networkMocaVer", "0x25"}, {"activeNodeBitmask", "0xffff"}}},
        {"nodes", nodes}, {"bridgeTables", {{"ucastDst", bridged}}}};
    // clang-format on
    return {{"interfaces", {{"moca0", moca0}}}};
}

TEST_F(Dump, AFullNetworkFitsAHundredColumns) {
    write("full.json", full_network().dump());
    Outcome r = run("--sim '" + path("full.json") + "' dump moca0");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    auto lines = lines_of(r.out);
    for(const auto& l : lines) {
        EXPECT_LE(l.size(), 100u) << l;
    }
    EXPECT_TRUE(has_line(lines, " tx \\ rx 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15")) << r.out;
    EXPECT_TRUE(has_line(lines, " 15 2150 2151 2152 2153 2154 2155 2156 2157 2158 2159 2160 2161 2162 2163 2164 -"))
        << r.out;
    EXPECT_NE(r.out.find("AssociatedDevice.16.RxErroredAndMissedPackets"), std::string::npos);
}

// A chip fault as the dump shows it: merged into the example scenario.
struct ChipFault {
    const char* what;
    const char* patch;
    const char* ifname;
    bool created; // and so tables follow
    std::vector<std::string> lines;
    const char* summary;
};

// clang-format off
const ChipFault chip_faults[] = {
    {"a chip that cannot be opened", R"({"interfaces": {"moca0": {"openable": false}}})", "moca0", true,
     {"MoCA interface moca0 (is-present true, is-available false)", "! retrieve-static-info: rc -2",
      "! moca0: ClnkLib_OpenByName failed with rc=-2 (mxl_static_info_retrieve)",
      "! retrieve-node-info Id=1: rc -2, the walk of this table stopped here",
      "! moca0: sapm_table_size failed with rc=-2 (mxl_sapm_entries_number)",
      "# MoCA.Interface.moca0.Sapm (retrieve-sapm-number, retrieve-sapm-info not called)"},
     ": 15 calls, 11 failed, 12 logged errors, 15 chip calls"},
    {"a mesh that cannot be read and a node GUID lost to the flow listing",
     R"({"faults": [{"op": "ClnkLib_GetFmrInfo", "rc": -5}, {"op": "GetNetInfo", "skip": 2}]})", "moca0", true,
     {"! retrieve-mesh-info Id=1: rc -5, the walk of this table stopped here",
      "! moca0: ClnkLib_GetFmrInfo failed with rc=-5 (mxl_mesh_info_retrieve)", "! retrieve-qos-info: rc 0",
      "! ClnkLib_GetNetInfo failed on 1 ith rc=-1 (clnkqos_NFLIter_init)",
      // The tables after the mesh are read as usual.
      " 169-252 1 1400 MHz active 48 45 42 39 36 33 30 27 24 21 18 15 12 9 6 3 0(x68)"},
     ": 315 calls, 1 failed, 2 logged errors"},
    // An interface that cannot be created ends the dump: no table follows.
    {"a name too long", "{}", "moca0-with-a-long-name", false,
     {"MoCA interface moca0-with-a-long-name (is-present false, is-available false)", "! create-moca-iface: rc -1"},
     ": 3 calls, 1 failed"},
};
// clang-format on

TEST_F(Dump, FailuresShowInlineAndTheDumpGoesOn) {
    for(const auto& fault : chip_faults) {
        SCOPED_TRACE(fault.what);
        Outcome r = run(patched_sim(fault.patch) + "dump " + fault.ifname);
        EXPECT_EQ(r.status, 1);
        auto lines = lines_of(r.out);
        for(const auto& line : fault.lines) {
            EXPECT_TRUE(has_line(lines, line)) << "missing: " << line << "\n" << r.out;
        }
        EXPECT_NE(r.out.find(fault.summary), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("# MoCA.Interface") == std::string::npos, !fault.created) << r.out;
    }
}

} // namespace
