// SPDX-License-Identifier: BSD-2-Clause-Patent
// Network tables: associated nodes with their profile choice, the mesh of PHY
// rates, the bridge lists, their caches and what a failing chip leaves behind.

#include <algorithm>
#include <map>

#include <clnkapi.h>

#include "mxl_test_env.h"

using namespace mxltest;

namespace {

ojson iface(uint32_t local, uint32_t active, ojson nodes = ojson::object(), ojson bridges = ojson::object()) {
    return {{"present", true}, {"openable", true},
            {"started", true}, {"localInfo", {{"nodeId", local}, {"linkStatus", 1}, {"activeNodeBitmask", active}}},
            {"nodes", nodes},  {"bridgeTables", bridges}};
}

ojson network(const ojson& moca0) {
    return {{"interfaces", {{"moca0", moca0}}}};
}

// A MoCA 2.0 node with valid NPER profiles and an FMR row.
ojson node(uint32_t id) {
    std::string mac = "00:00:00:00:00:0" + std::to_string(id);
    return {{"netInfo", {{"guid", mac}, {"mocaVer", "0x20"}}},
            {"txProfiles",
             {{"14", {{"txProfileValid", 1}, {"txPhyrate", 100 + id}}},
              {"13", {{"txProfileValid", 1}, {"txPhyrate", 200 + id}}}}},
            {"rxProfiles", {{"14", {{"rxProfileValid", 1}}}, {"13", {{"rxProfileValid", 1}, {"rxPhyrate", 300 + id}}}}},
            {"fmr", {{"validInfo", 1}, {"p2p", {{"1", {{"rateNper", 1000 + id}, {"rateVLper", 900 + id}}}}}}}};
}

ojson args(uint32_t id, const char* name = "moca0") {
    return {{"InternalName", name}, {"Id", id}};
}

ojson mac_entry(const std::string& mac, uint32_t node_id) {
    return {{"mac", mac}, {"nodeId", node_id}};
}

class NetTablesTest : public ModuleTest {
protected:
    // Local node 0 with remote nodes 1, 3 and 5 (node 5 only asleep in M2).
    void three_nodes() {
        ojson moca0 = iface(0, 0xB, {{"0", node(0)}, {"1", node(1)}, {"3", node(3)}, {"5", node(5)}},
                            {{"ucastSrc", {mac_entry("02:00:00:00:00:01", 0), mac_entry("02:00:00:00:00:02", 0)}},
                             {"mcastSrc", {mac_entry("01:00:5e:00:00:01", 0)}},
                             {"ucastDst",
                              {mac_entry("0a:00:00:00:01:01", 1),
                               {{"macAddrHi", "0x0a0b0c0d"}, {"macAddrLoIds", "0x0e0f0003"}},
                               mac_entry("0a:00:00:00:01:02", 1)}}});
        moca0["localInfo"]["sleepM2NodeBitmask"] = 0x20;
        sim(network(moca0));
        create("moca0");
    }
};

std::vector<ojson> profile_calls(const Outcome& out, uint32_t node) {
    std::vector<ojson> calls;
    for(const auto& c : out.chip) {
        if((c.op == "ClnkLib_GetPhyTxProfile" || c.op == "ClnkLib_GetPhyRxProfile") && c.args[0] == node) {
            calls.push_back({c.op.substr(14, 2), c.args[1]});
        }
    }
    return calls;
}

// A chip call failing during a refill (its code, error lines and handles are the fault matrix's).
struct Failure {
    const char* op;
    uint32_t skip;
};

// Fills a table, lets it go stale, then reads each id with the fault armed anew.
std::vector<Outcome> read_failing(const char* function, std::initializer_list<uint32_t> ids, const Failure& f) {
    EXPECT_EQ(call(function, args(1)).rc, 0);
    advance(10001);
    std::vector<Outcome> outs;
    for(uint32_t id : ids) {
        fault({{"op", f.op}, {"skip", f.skip}, {"rc", -5}});
        outs.push_back(call(function, args(id)));
        EXPECT_EQ(outs.back().count_op("ClnkLib_OpenByName"), 1u); // the timer was not started
    }
    return outs;
}

} // namespace

// Which profile pairs are read, in order, and which of them the keys come from.
TEST_F(NetTablesTest, ProfileChoiceByVersionBondingAndValidity) {
    struct Row {
        const char* what;
        const char* ver;
        uint32_t proto;
        std::map<int, std::pair<int, int>> valid;   // type -> (txProfileValid, rxProfileValid)
        std::vector<int> pairs;                     // types read, in order
        int bcast_tx, bcast_rx, ucast_tx, ucast_rx; // type whose value lands, 0 for none
    };
    // clang-format off
    const Row rows[] = {
        {"1.1", "0x11", 0, {{8, {1, 1}}, {7, {1, 1}}}, {8, 7}, 8, 8, 7, 7},
        {"1.1 invalid: no fallback", "0x11", 0x200, {{0xe, {1, 1}}, {7, {1, 0}}}, {8, 7}, 0, 0, 7, 0},
        {"2.0", "0x20", 0, {{0xe, {1, 1}}, {0x12, {1, 1}}, {0xd, {1, 1}}}, {0xe, 0xd}, 0xe, 0xe, 0xd, 0xd},
        {"2.0 bonded", "0x20", 0x200, {{0xe, {1, 1}}, {0x12, {1, 1}}}, {0xe, 0x12}, 0xe, 0xe, 0x12, 0x12},
        {"2.5 bonded, 0x12 rx invalid", "0x25", 0x200, {{0xe, {1, 1}}, {0x12, {1, 0}}, {0xd, {1, 1}}}, {0xe, 0x12, 0xd}, 0xe, 0xe, 0xd, 0xd},
        {"0xe invalid: 0x8", "0x20", 0, {{0xe, {0, 1}}, {8, {1, 1}}, {0xd, {1, 1}}}, {0xe, 8, 0xd}, 8, 8, 0xd, 0xd},
        {"0xd invalid: 0x7", "0x20", 0, {{0xe, {1, 1}}, {0xd, {1, 0}}, {7, {1, 1}}}, {0xe, 0xd, 7}, 0xe, 0xe, 7, 7},
        {"none valid: last pair, field by field", "0x20", 0x200, {{8, {0, 1}}, {7, {1, 0}}}, {0xe, 8, 0x12, 0xd, 7}, 0, 8, 7, 0},
    };
    // clang-format on
    ojson nodes = ojson::object();
    for(uint32_t id = 1; id <= std::size(rows); id++) {
        const Row& row = rows[id - 1];
        ojson& n = nodes[std::to_string(id)];
        n["netInfo"] = {{"mocaVer", row.ver}, {"protoSupport", row.proto}};
        for(const auto& [type, v] : row.valid) {
            std::string t = std::to_string(type);
            n["txProfiles"][t] = {{"txProfileValid", v.first}, {"txPhyrate", 100 + type}, {"txTpcBackoff", 200 + type}};
            n["rxProfiles"][t] = {{"rxProfileValid", v.second},
                                  {"rxPhyrate", 300 + type},
                                  {"rxPwrLevel", 400 + type},
                                  {"rxChnSnr", 500 + type}};
        }
    }
    sim(network(iface(0, 0x1FF, nodes)));
    create("moca0");
    Outcome refill = call("retrieve-node-info", args(1));
    ASSERT_EQ(refill.rc, 0);
    for(uint32_t id = 1; id <= std::size(rows); id++) {
        const Row& row = rows[id - 1];
        SCOPED_TRACE(row.what);
        std::vector<ojson> expected;
        for(int type : row.pairs) {
            expected.push_back({"Tx", type});
            expected.push_back({"Rx", type});
        }
        EXPECT_EQ(profile_calls(refill, id), expected);
        Outcome out = call("retrieve-node-info", args(id + 1));
        auto from = [](int type, int base) { return type == 0 ? 0 : base + type; };
        EXPECT_EQ(out.value("TxBcastRate"), from(row.bcast_tx, 100));
        EXPECT_EQ(out.value("RxBcastPowerLevel"), from(row.bcast_rx, 400));
        EXPECT_EQ(out.value("PHYTxRate"), from(row.ucast_tx, 100));
        EXPECT_EQ(out.value("TxPowerControlReduction"), from(row.ucast_tx, 200));
        EXPECT_EQ(out.value("PHYRxRate"), from(row.ucast_rx, 300));
        EXPECT_EQ(out.value("RxPowerLevel"), from(row.ucast_rx, 400));
        EXPECT_EQ(out.value("RxSNR"), from(row.ucast_rx, 500));
    }
}

TEST_F(NetTablesTest, NodeVersionsAddressesAndCounters) {
    struct Row {
        const char* ver;
        uint32_t proto;
        const char* text;
        bool moca25, preferred, bonding;
    };
    const Row rows[] = {{"0x11", 0x80, "1.2", false, false, false},
                        {"0x11", 0x180, "1.1", false, false, false},
                        {"0x10", 0x80, "1.0", false, false, false},
                        {"0x25", 0x40, "2.5", true, true, false},
                        {"0x20", 0x200, "2.0", false, false, true}};
    ojson nodes = ojson::object();
    for(uint32_t id = 1; id <= std::size(rows); id++) {
        nodes[std::to_string(id)]["netInfo"] = {{"mocaVer", rows[id - 1].ver}, {"protoSupport", rows[id - 1].proto}};
    }
    nodes["1"]["netInfo"].update(ojson::parse(R"({"guidHi": "0x00112233", "guidLo": "0x44556677",
        "txDataFrameGood": "0x0000000500000001", "txDataFrameDropped": "0x0000000700000009",
        "rxDataFrameGood": "0x0000000300000004", "rxDataFrameBad": "0x0000000200000006"})"));
    sim(network(iface(0, 0x3F, nodes)));
    create("moca0");
    for(uint32_t id = 1; id <= std::size(rows); id++) {
        Outcome out = call("retrieve-node-info", args(id + 1));
        SCOPED_TRACE(rows[id - 1].ver);
        EXPECT_EQ(out.value("HighestVersion"), rows[id - 1].text);
        EXPECT_EQ(out.value("Moca25PhyCapable"), rows[id - 1].moca25);
        EXPECT_EQ(out.value("PreferredNC"), rows[id - 1].preferred);
        EXPECT_EQ(out.value("BondingCapable"), rows[id - 1].bonding);
        EXPECT_EQ(out.value("Active"), true);
        EXPECT_EQ(out.value("PowerState"), "m0Active");
        if(id == 1) { // the refill: one line per remote node before it is read
            const std::vector<std::string> infos = out.messages(TRACE_LEVEL_INFO);
            EXPECT_EQ(std::count(infos.begin(), infos.end(), "Get node info network_node_mask=0x3f"), 5);
        }
    }
    Outcome out = call("retrieve-node-info", args(2));
    // clang-format off
    const std::vector<std::pair<std::string, std::string>> keys = {
        {"MACAddress", "cstring"}, {"NodeID", "uint32"}, {"PreferredNC", "bool"}, {"HighestVersion", "cstring"},
        {"PHYTxRate", "uint32"}, {"PHYRxRate", "uint32"}, {"TxPowerControlReduction", "uint32"}, {"RxPowerLevel", "uint32"},
        {"TxBcastRate", "uint32"}, {"RxBcastPowerLevel", "int32"}, {"TxPackets", "uint64"}, {"TxDrops", "uint32"},
        {"RxPackets", "uint64"}, {"RxCorrected", "uint64"}, {"RxErroredAndMissedPackets", "uint32"}, {"BondingCapable", "bool"},
        {"QAM256Capable", "bool"}, {"PacketAggregationCapability", "uint32"}, {"RxSNR", "uint32"}, {"Active", "bool"},
        {"SupportedIngressPqosFlows", "uint32"}, {"SupportedEgressPqosFlows", "uint32"}, {"AggregationSize", "uint32"},
        {"AeNumber", "uint32"}, {"PowerState", "cstring"}, {"PowerStateCapability", "cstring"}, {"Moca25PhyCapable", "bool"}};
    // clang-format on
    EXPECT_EQ(out.keys(), keys);
    EXPECT_EQ(out.value("MACAddress"), "00:11:22:33:44:55");
    EXPECT_EQ(out.value("TxPackets"), 0x500000001ull);
    EXPECT_EQ(out.value("TxDrops"), 9);
    EXPECT_EQ(out.value("RxPackets"), 0x300000004ull);
    EXPECT_EQ(out.value("RxCorrected"), 0x200000006ull);
    EXPECT_EQ(out.value("RxErroredAndMissedPackets"), 6);
    // The local node's slot and an absent node's slot stay empty but numbered.
    for(uint32_t id : {1u, 16u}) {
        Outcome empty = call("retrieve-node-info", args(id));
        EXPECT_EQ(empty.value("NodeID"), id - 1);
        EXPECT_EQ(empty.value("Active"), false);
        EXPECT_EQ(empty.value("MACAddress"), "");
    }
}

TEST_F(NetTablesTest, LinkDownEmptiesNodesAndMesh) {
    ojson moca0 = iface(0, 0x3, {{"0", node(0)}, {"1", node(1)}});
    moca0["localInfo"]["linkStatus"] = 0;
    sim(network(moca0));
    create("moca0");
    for(uint32_t id : {2u, 2u, 16u}) { // the node table is read again on every call
        Outcome out = call("retrieve-node-info", args(id));
        EXPECT_EQ(out.rc, 0);
        EXPECT_EQ(out.chip_ops(),
                  (std::vector<std::string>{"ClnkLib_OpenByName", "ClnkLib_GetLocalInfo", "ClnkLib_Close"}));
        EXPECT_EQ(out.messages(TRACE_LEVEL_INFO).back(), "moca0: link is down - all nodes are inactive");
        EXPECT_EQ(out.value("NodeID"), 0);
        EXPECT_EQ(out.value("Active"), false);
        EXPECT_EQ(out.value("MACAddress"), "");
    }
    Outcome mesh = call("retrieve-mesh-info", args(2));
    EXPECT_EQ(mesh.rc, 0);
    EXPECT_EQ(mesh.count_op("ClnkLib_GetFmrInfo"), 0u);
    EXPECT_EQ(mesh.value("TxRate"), 0);
    EXPECT_TRUE(logged(mesh.log, "armed timer for 10000"));
    const std::vector<std::string> infos = mesh.messages(TRACE_LEVEL_INFO);
    EXPECT_EQ(std::count(infos.begin(), infos.end(), "moca0: link is down - all nodes are inactive"), 1);
    EXPECT_TRUE(call("retrieve-mesh-info", args(2)).chip.empty());
}

TEST_F(NetTablesTest, MeshEntryNumbering) {
    auto fmr = [](int valid, const char* p2p) {
        return ojson{{"fmr", {{"validInfo", valid}, {"p2p", ojson::parse(p2p)}}}};
    };
    ojson n0 = fmr(1, R"({"1": {"rateNper": 1001, "rateVLper": 901}, "15": {"rateNper": 1015, "rateVLper": 915}})");
    ojson n1 = fmr(1, R"({"0": {"rateNper": 1100, "rateVLper": 1000}})");
    ojson n2 = fmr(0, R"({"0": {"rateNper": 1200, "rateVLper": 1100}})");
    sim(network(iface(0, 0x7, {{"0", n0}, {"1", n1}, {"2", n2}})));
    create("moca0");
    struct Row {
        uint32_t id, tx, rx, nper, vlper;
    };
    for(const Row& row : {Row{1, 0, 0, 0, 0}, Row{2, 0, 1, 1001, 901}, Row{16, 0, 15, 1015, 915},
                          Row{17, 1, 0, 1100, 1000}, Row{33, 2, 0, 0, 0}, Row{256, 15, 15, 0, 0}}) {
        Outcome out = call("retrieve-mesh-info", args(row.id));
        SCOPED_TRACE(row.id);
        // clang-format off
        EXPECT_EQ(out.ret[1], (ojson{{"TxNodeIndex", {"uint32", row.tx}}, {"RxNodeIndex", {"uint32", row.rx}},
                                     {"TxRate", {"uint32", row.nper}}, {"TxRateNper", {"uint32", row.nper}}, {"TxRateVlper", {"uint32", row.vlper}}}));
        // clang-format on
    }
}

TEST_F(NetTablesTest, NodeRefreshFailures) {
    three_nodes();
    struct Row {
        Failure f;
        int node; // first node not read; -1: the table is left as it was
    };
    const Row rows[] = {
        {{"OpenByName", 0}, -1},     {{"GetLocalInfo", 0}, -1},   {{"GetNetInfo", 0}, 1},      {{"GetNetInfo", 1}, 3},
        {{"GetPhyTxProfile", 2}, 3}, {{"GetPhyRxProfile", 3}, 3}, {{"GetPhyTxProfile", 5}, 5},
    };
    for(const Row& row : rows) {
        SCOPED_TRACE(std::string(row.f.op) + " after " + std::to_string(row.f.skip));
        std::vector<Outcome> outs = read_failing("retrieve-node-info", {2, 4, 6}, row.f);
        for(size_t i = 0; i < outs.size(); i++) {
            const int n = 2 * static_cast<int>(i) + 1;
            const bool kept = row.node < 0 || n < row.node;
            EXPECT_EQ(outs[i].value("Active"), kept);
            EXPECT_EQ(outs[i].value("NodeID"), kept || n == row.node ? n : 0);
            EXPECT_EQ(outs[i].value("MACAddress"), kept ? "00:00:00:00:00:0" + std::to_string(n) : "");
        }
    }
}

TEST_F(NetTablesTest, MeshRebuildFailures) {
    three_nodes();
    struct Row {
        Failure f;
        int rebuilt; // rows of nodes 0, 1, 3 still holding rates; -1: the mesh is left as it was
    };
    const Row rows[] = {
        {{"GetLocalInfo", 0}, -1}, {{"GetFmrInfo", 0}, 0}, {{"GetFmrInfo", 1}, 1}, {{"GetFmrInfo", 2}, 2}};
    for(const Row& row : rows) {
        SCOPED_TRACE(std::string(row.f.op) + " after " + std::to_string(row.f.skip));
        std::vector<Outcome> outs = read_failing("retrieve-mesh-info", {0 * 16 + 2, 1 * 16 + 2, 3 * 16 + 2}, row.f);
        const uint32_t tx[] = {0, 1, 3};
        for(size_t i = 0; i < outs.size(); i++) {
            const bool kept = row.rebuilt < 0 || static_cast<int>(i) < row.rebuilt;
            EXPECT_EQ(outs[i].value("TxRate"), kept ? 1000 + tx[i] : 0);
        }
    }
}

TEST_F(NetTablesTest, BridgeListsAndRefreshFailures) {
    three_nodes();
    const std::string local = "02:00:00:00:00:01,02:00:00:00:00:02,01:00:5e:00:00:01";
    const std::string node1 = "0a:00:00:00:01:01,0a:00:00:00:01:02";
    const std::string node3 = "0a:0b:0c:0d:0e:0f"; // raw words, node id in the low 16 bits
    Outcome absent = call("retrieve-bridge-info", args(3));
    EXPECT_EQ(absent.ret[1], (ojson{{"NodeIndex", {"uint32", 2}}, {"MACAddresses", {"csv_string", ""}}}));
    EXPECT_EQ(absent.count_op("ClnkLib_GetBridgeTable"), 4u); // two for the local node, one per remote node
    struct Row {
        Failure f;
        std::string lists[3]; // nodes 0, 1 and 3
        uint32_t index[3];
    };
    // clang-format off
    const Row rows[] = {
        {{"OpenByName", 0}, {local, node1, node3}, {0, 1, 3}},
        {{"GetLocalInfo", 0}, {local, node1, node3}, {0, 1, 3}},
        {{"GetBridgeTable", 0}, {"", "", ""}, {0, 0, 0}},
        {{"GetBridgeTable", 1}, {"02:00:00:00:00:01,02:00:00:00:00:02,", "", ""}, {0, 0, 0}},
        {{"GetBridgeTable", 2}, {local, "", ""}, {0, 1, 0}},
        {{"GetBridgeTable", 3}, {local, node1, ""}, {0, 1, 3}},
    };
    // clang-format on
    for(const Row& row : rows) {
        SCOPED_TRACE(std::string(row.f.op) + " after " + std::to_string(row.f.skip));
        std::vector<Outcome> outs = read_failing("retrieve-bridge-info", {1, 2, 4}, row.f);
        for(size_t i = 0; i < outs.size(); i++) {
            EXPECT_EQ(outs[i].value("MACAddresses"), row.lists[i]);
            EXPECT_EQ(outs[i].value("NodeIndex"), row.index[i]);
        }
    }
}

TEST_F(NetTablesTest, BridgeListBounds) {
    auto entries = [](uint32_t count, uint32_t node, uint32_t first) {
        ojson list = ojson::array();
        char mac[32];
        for(uint32_t i = first; i < first + count; i++) {
            snprintf(mac, sizeof(mac), "0a:0b:0c:%02x:%02x:%02x", node, i >> 8, i & 0xFF);
            list.push_back(mac_entry(mac, node));
        }
        return list;
    };
    struct Row {
        const char* what;
        ojson moca0;
        uint32_t forced_count;
        uint32_t id, dropped;
        std::string last;
    };
    const Row rows[] = {
        {"70 for a remote node", iface(0, 0x2, ojson::object(), {{"ucastDst", entries(70, 1, 0)}}), 0, 2, 6,
         "0a:0b:0c:01:00:3f"},
        {"40 unicast and 30 multicast for the local node",
         iface(0, 0x1, ojson::object(), {{"ucastSrc", entries(40, 0, 0)}, {"mcastSrc", entries(30, 0, 100)}}), 0, 1, 6,
         "0a:0b:0c:00:00:7b"},
        {"a count of 500", iface(0, 0x2, ojson::object(), {{"ucastDst", entries(192, 1, 0)}}), 500, 2, 128,
         "0a:0b:0c:01:00:3f"},
        {"a count of 2^32 - 1", iface(0, 0x2, ojson::object(), {{"ucastDst", entries(192, 1, 0)}}), 0xFFFFFFFF, 2, 128,
         "0a:0b:0c:01:00:3f"},
    };
    for(const Row& row : rows) {
        SCOPED_TRACE(row.what);
        sim(network(row.moca0));
        call("destroy-moca-iface", args(1));
        create("moca0");
        if(row.forced_count != 0) { // every table read of the refill answers that count
            fault({{"op", "GetBridgeTable"}, {"rc", 0}, {"times", 3}, {"set", {{"numEntries", row.forced_count}}}});
        }
        Outcome out = call("retrieve-bridge-info", args(row.id));
        EXPECT_EQ(out.rc, 0);
        const std::string list = out.value("MACAddresses");
        EXPECT_EQ(list.size(), 64u * 17 + 63);
        EXPECT_EQ(list.substr(0, 18), list.substr(0, 17) + ",");
        EXPECT_EQ(list.substr(list.size() - 17), row.last);
        const std::string warning = "moca0: dropped " + std::to_string(row.dropped) +
                                    " bridge entries beyond 64 per node (nodes 0x000" + std::to_string(row.id) + ")";
        EXPECT_EQ(out.messages(TRACE_LEVEL_WARNING), std::vector<std::string>{warning});
    }
}

// Node ids and masks beyond the sixteen nodes: the tables stay at their sixteen slots.
TEST_F(NetTablesTest, NodeIdsAboveFifteenFromTheChip) {
    three_nodes();
    struct Row {
        const char* what;
        ojson fault;
        uint32_t remote_reads;               // ClnkLib_GetNetInfo calls of the node refresh
        std::vector<std::string> node1_macs; // "MACAddresses" of node 1 ("Id" 2)
    };
    const std::vector<std::string> node1 = {"0a:00:00:00:01:01,0a:00:00:00:01:02"};
    // clang-format off
    const Row rows[] = {
        {"mask bits above 15", {{"op", "GetLocalInfo"}, {"rc", 0}, {"times", 3}, {"set", {{"activeNodeBitmask", "0xffff000b"}}}}, 3, node1},
        {"local node id 40", {{"op", "GetLocalInfo"}, {"rc", 0}, {"times", 3}, {"set", {{"nodeId", 40}}}}, 4, node1},
        {"bridge entry of node 40", {{"op", "GetBridgeTable"}, {"rc", 0}, {"skip", 2}, {"times", 3}, {"set", {{"entries.0.nodeId", 40}, {"entries.2.nodeId", "0xffff"}}}}, 3, {""}},
    };
    // clang-format on
    for(const Row& row : rows) {
        SCOPED_TRACE(row.what);
        advance(10001);
        fault(row.fault);
        Outcome nodes = call("retrieve-node-info", args(16));
        Outcome mesh = call("retrieve-mesh-info", args(256));
        Outcome bridges = call("retrieve-bridge-info", args(2));
        for(const Outcome* out : {&nodes, &mesh, &bridges}) {
            EXPECT_TRUE(out->rc == 0 && out->errors().empty());
        }
        EXPECT_EQ(nodes.count_op("ClnkLib_GetNetInfo"), row.remote_reads);
        EXPECT_EQ(nodes.value("NodeID"), 15);
        EXPECT_EQ(mesh.value("TxNodeIndex"), 15);
        EXPECT_EQ(bridges.value("MACAddresses"), row.node1_macs[0]);
        clnksim::clear_faults();
    }
}

// A walk of each table reads the chip once; the copy is served for 10 s, even
// when the chip's data changes meanwhile, and read again once the timer fired.
TEST_F(NetTablesTest, EachTableIsReadOncePerWalkAndRefreshedAfterExpiry) {
    three_nodes();
    const std::pair<const char*, uint32_t> tables[] = {
        {"retrieve-node-info", 16}, {"retrieve-mesh-info", 256}, {"retrieve-bridge-info", 16}};
    size_t fmr = 0;
    for(const auto& [function, size] : tables) {
        size_t opens = 0;
        for(uint32_t id = 1; id <= size; id++) {
            Outcome out = call(function, args(id));
            EXPECT_EQ(out.rc, 0);
            opens += out.count_op("ClnkLib_OpenByName");
            fmr += out.count_op("ClnkLib_GetFmrInfo");
        }
        EXPECT_EQ(opens, 1u) << function;
    }
    EXPECT_EQ(fmr, 3u); // active nodes 0, 1 and 3; node 5 only sleeps
    EXPECT_TRUE(logged(call("retrieve-node-info", args(4)).log, "get node id 3 data for moca0"));
    EXPECT_TRUE(
        logged(call("retrieve-bridge-info", args(4)).log, "get bridge for node id 3 data for moca0, timer state=2"));
    patch({{"interfaces", {{"moca0", {{"nodes", {{"1", {{"txProfiles", {{"13", {{"txPhyrate", 777}}}}}}}}}}}}}});
    EXPECT_EQ(call("retrieve-node-info", args(2)).value("PHYTxRate"), 201);
    advance(9999);
    EXPECT_EQ(call("retrieve-node-info", args(2)).value("PHYTxRate"), 201);
    std::vector<LogLine> log = advance(2);
    EXPECT_TRUE(logged(log, "timer fired"));
    Outcome out = call("retrieve-node-info", args(2));
    EXPECT_EQ(out.count_op("ClnkLib_GetNetInfo"), 3u);
    EXPECT_EQ(out.value("PHYTxRate"), 777);
}

TEST_F(NetTablesTest, TablesAndInterfacesExpireIndependently) {
    ojson moca0 = iface(0, 0x3, {{"0", node(0)}, {"1", node(1)}});
    sim({{"interfaces", {{"moca0", moca0}, {"moca1", moca0}}}});
    create("moca0");
    create("moca1");
    auto reads = [](const char* function, const char* name) {
        return call(function, args(1, name)).count_op("ClnkLib_OpenByName");
    };
    EXPECT_EQ(reads("retrieve-node-info", "moca0"), 1u);
    advance(5000);
    EXPECT_EQ(reads("retrieve-node-info", "moca0"), 0u);
    EXPECT_EQ(reads("retrieve-node-info", "moca1"), 1u);
    EXPECT_EQ(reads("retrieve-mesh-info", "moca0"), 1u);
    EXPECT_EQ(reads("retrieve-bridge-info", "moca0"), 1u);
    advance(5001);
    EXPECT_EQ(reads("retrieve-node-info", "moca0"), 1u);
    EXPECT_EQ(reads("retrieve-node-info", "moca1"), 0u);
    EXPECT_EQ(reads("retrieve-mesh-info", "moca0"), 0u);
    EXPECT_EQ(reads("retrieve-bridge-info", "moca0"), 0u);
}
