// SPDX-License-Identifier: BSD-2-Clause-Patent
// A chip failure at every point: each registered function, on each network,
// is run once cleanly to record its chip calls, then once per recorded call
// with exactly that call failing, each time from the same cold start. Every
// run is checked against the outcome the module documents for that failure
// (the expectation table below): result code, error lines, what the result
// holds, no handle left open, the chip unchanged, what the next clean call
// does, and every record handed to the chip library starts zeroed.
#include <dlfcn.h>
#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

#include <clnkapi.h>

#include "mxl_test_env.h"

using namespace mxltest;

namespace {

// ---- networks -----------------------------------------------------------------------------

std::string mac(uint32_t a, uint32_t b) {
    char text[18];
    snprintf(text, sizeof(text), "02:00:00:00:%02x:%02x", a & 0xFF, b & 0xFF);
    return text;
}

ojson profiles(const char* valid_key, const char* rate_key, const std::vector<uint32_t>& types, uint32_t invalid_from) {
    ojson out = ojson::object();
    for(uint32_t t : types) {
        out[std::to_string(t)] = {{valid_key, t < invalid_from ? 1 : 0}, {rate_key, 100 + t}};
    }
    return out;
}

// One node: MoCA 1.x nodes have the MoCA 1 profiles; the others all of them,
// with some invalid pairs so that the node reader takes its fallbacks.
ojson node(uint32_t id, const char* ver, uint32_t nodes, uint32_t flows) {
    const bool moca1 = std::string(ver).rfind("0x1", 0) == 0;
    const std::vector<uint32_t> types = moca1 ? std::vector<uint32_t>{7, 8} : std::vector<uint32_t>{7, 8, 13, 14, 18};
    const uint32_t invalid_from = (id % 3 == 1) ? 13 : 99; // 0xe, 0xd and 0x12 unusable: fall back
    ojson p2p = ojson::object();
    for(uint32_t peer = 0; peer < nodes; peer++) {
        p2p[std::to_string(peer)] = {{"rateNper", 500 + peer}, {"rateVLper", 400 + peer}};
    }
    ojson list = ojson::array();
    for(uint32_t k = 0; k < flows; k++) {
        list.push_back({{"flowId", mac(0x80 | id, k)},
                        {"packetDa", mac(0x40, k)},
                        {"ingressGuid", mac(0, id)},
                        {"egressGuid", mac(0, (id + 1) % nodes)},
                        {"tPeakDataRateKbps", 1000 + k},
                        {"dfid", k}});
    }
    return {{"netInfo", {{"guid", mac(0, id)}, {"mocaVer", ver}, {"protoSupport", moca1 ? "0x80" : "0x240"}}},
            {"txProfiles", profiles("txProfileValid", "txPhyrate", types, invalid_from)},
            {"rxProfiles", profiles("rxProfileValid", "rxPhyrate", types, invalid_from)},
            {"cdInfo", {{"linkUpTimeInSecs", 77}, {"resetCount", 1}}},
            {"fmr", {{"validInfo", 1}, {"p2p", p2p}}},
            {"flows", {{"flowUpdateCount", 3}, {"list", list}}}};
}

// moca0 as node 0 of `nodes` active nodes of MoCA version `ver`; node 1 has
// `long_list` flows (two batches when above 32), the others `flows` each.
ojson network(uint32_t nodes, const char* ver, uint32_t flows, uint32_t long_list) {
    ojson all = ojson::object();
    ojson ucast_dst = ojson::array();
    for(uint32_t id = 0; id < nodes; id++) {
        all[std::to_string(id)] = node(id, ver, nodes, id == 1 ? long_list : flows);
        if(id > 0) {
            ucast_dst.push_back({{"mac", mac(0x10, id)}, {"nodeId", id}});
        }
    }
    ojson iface = ojson::parse(R"({"present": true, "openable": true, "started": true,
        "localInfo": {"nodeId": 0, "linkStatus": 1, "networkState": 6, "socVersionStr": "1.18.16", "mac": "02:00:00:00:00:00"},
        "config": {"preferredNcMode": 1, "securityMode": 0, "maxTxPwr": 7, "beaconTxPwr": 5, "tgtP2pNperRate": 700,
                   "tgtP2p50Rate": 630, "tabooMask": "0x000001"},
        "ecbStats": {"debug15": 6}, "dataStats": {"txTotalPkts": 12, "rxUcastPkts": {"1": 5}},
        "bridgeTables": {"ucastSrc": [], "mcastSrc": []}})");
    iface["localInfo"]["networkMocaVer"] = ver;
    iface["localInfo"]["activeNodeBitmask"] = (1u << nodes) - 1;
    iface["nodes"] = all;
    iface["bridgeTables"]["ucastDst"] = ucast_dst;
    if(nodes > 1) {
        iface["bridgeTables"]["ucastSrc"].push_back({{"mac", mac(0x20, 1)}, {"nodeId", 0}});
        iface["bridgeTables"]["mcastSrc"].push_back({{"mac", mac(0x21, 1)}, {"nodeId", 0}});
        iface["rlapm"] = ojson::parse(R"({"profiles": {"0": {"tbl": {"0": {"freq": 1150, "phymargin": [120, 7]}}}}})");
        iface["sapm"] = ojson::parse(R"({"profiles": {"2": {"tbl": {"1": {"freq": 1400, "scstart": 250}}}}})");
    }
    return {{"interfaces", {{"moca0", iface}}}};
}

ojson example_file() {
    std::ifstream in(MXL_EXAMPLES_DIR "/home-network.json");
    return ojson::parse(in);
}

struct Scenario {
    const char* name;
    ojson json;
    const char* iface;
};

void PrintTo(const Scenario& s, std::ostream* os) {
    *os << s.name;
}

const std::vector<Scenario>& scenarios() {
    static const std::vector<Scenario> all = {
        {"HomeNetwork", example_file(), "moca0"},        {"HomeNetworkStopped", example_file(), "moca1"}, // link down
        {"Moca10", network(4, "0x10", 0, 0), "moca0"},   // no PQoS: every node answers "not capable"
        {"Full16", network(16, "0x25", 2, 34), "moca0"}, // 64 flows, one node in two batches
        {"LoneNode", network(1, "0x25", 0, 0), "moca0"}, // the local node alone, every table empty
        {"NoNodes", network(0, "0x25", 0, 0), "moca0"},  // not even the local node answers node reads
    };
    return all;
}

// ---- the calls ------------------------------------------------------------------------------

struct Step {
    std::string fn;
    ojson args;
};

struct MatrixCall {
    std::string label; // row of the summary
    Step step;
    std::vector<Step> before; // run cleanly after the cold start, before the measured call
    std::string read_label;   // set-cfg-info: the option named in its read failure
};

std::vector<MatrixCall> calls(const std::string& name) {
    const ojson in = {{"InternalName", name}};
    auto with = [&](const char* key, const ojson& value) {
        ojson a = in;
        a[key] = value;
        return a;
    };
    auto id = [&](uint32_t n) { return with("Id", n); };
    auto cfg = [&](const char* key, const ojson& value, const char* read_label = "") {
        return MatrixCall{std::string("set-cfg-info ") + key, {"set-cfg-info", with(key, value)}, {}, read_label};
    };
    auto cached = [&](const char* fn) {
        return MatrixCall{std::string(fn) + " (cached)", {fn, id(2)}, {{fn, id(1)}}, ""};
    };
    std::vector<MatrixCall> out = {
        {"create-moca-iface", {"create-moca-iface", in}, {}, ""},
        {"destroy-moca-iface", {"destroy-moca-iface", in}, {}, ""},
        cfg("Enable", false),
        {"set-cfg-info Enable (start)",
         {"set-cfg-info", with("Enable", true)},
         {{"set-cfg-info", with("Enable", false)}},
         ""},
        cfg("PreferredNC", false, "PreferredNC"),
        cfg("PrivacyEnabledSetting", true),
        cfg("TpcTargetRateNper", 321, "tgtP2pNperRate"),
        cfg("FreqCurrentMaskSetting", "0x10"),
        cfg("KeyPassphrase", "secret-phrase-1"),
        cfg("TxPowerLimit", 3, "maxTxPwr"),
        cfg("PowerCntlPhyTarget", 512, "tgtP2p50Rate"),
        cfg("BeaconPowerLimit", 2, "beaconTxPwr"),
        cfg("NodeTabooMask", "F0F0", "tabooMask"),
    };
    for(const char* fn :
        {"retrieve-cfg-info", "retrieve-static-info", "retrieve-dyn-info", "retrieve-qos-info", "retrieve-rlapm-number",
         "retrieve-sapm-number", "retrieve-stats-info", "is-available", "is-present"}) {
        out.push_back({fn, {fn, in}, {}, ""});
    }
    // Table functions: the first entry of a walk refills; the second is served
    // from the cache (no chip call, nothing to inject) unless the link is down.
    for(const char* fn : {"retrieve-flow-info", "retrieve-rlapm-info", "retrieve-sapm-info", "retrieve-node-info",
                          "retrieve-mesh-info", "retrieve-bridge-info"}) {
        out.push_back({fn, {fn, id(1)}, {}, ""});
        out.push_back(cached(fn));
    }
    return out;
}

// ---- expected outcomes ----------------------------------------------------------------------

enum class Rc { Fault, Zero };
enum class Ret {
    Untouched, // not turned into anything
    Filled,    // the keys of the clean result, values from whatever the record holds
    Clean,     // exactly the clean result: the failure was retried away
    False,     // the boolean false
};
enum class Next {
    Again,  // the next clean call makes the clean call's requests and gets its result
    Fresh,  // the table was completed all the same: the next call is served from it
    Exists, // creation: the record exists (disabled) and a second create changes nothing
};

struct Expect {
    strings fns;    // functions the row applies to; empty: any
    const char* op; // failing operation; "": any
    int nth;        // which call of that operation in the clean sequence; -1: any
    Rc rc;
    strings errors; // templates: {if} name, {op}, {rc}, {arg0}, {label}, {bridge}
    Ret ret;
    Next next;
};

const std::string CHIP_FAILED = "{if}: {op} failed with rc={rc}";
const std::string NODE_FAILED = "{if}: {op} for nodeId={arg0} failed with rc={rc}";
const strings ANY;
const strings QOS = {"retrieve-qos-info", "retrieve-flow-info"};

// First matching row wins.
const std::vector<Expect>& expectations() {
    // clang-format off
    static const std::vector<Expect> rows = {
        // Creation keeps a record for a chip that can't be opened or read, disabled.
        {{"create-moca-iface"}, "", -1, Rc::Zero, {CHIP_FAILED}, Ret::Untouched, Next::Exists},
        // Availability is the answer, not an error.
        {{"is-available"}, "ClnkLib_OpenByName", -1, Rc::Zero, {}, Ret::False, Next::Again},
        {{"is-present"}, "ClnkLib_ListNames", -1, Rc::Fault, {"'ClnkLib_ListNames' failed to execute"}, Ret::Untouched, Next::Again},
        {{"set-cfg-info"}, "ClnkLib_GetClnkCfgV2Params", -1, Rc::Fault, {"{if}: ClnkLib_GetClnkCfgV2Params for {label} failed rc={rc}"}, Ret::Untouched, Next::Again},
        {{"set-cfg-info"}, "ClnkLib_SetClnkCfgV2Params", -1, Rc::Fault, {"{if}: ClnkLib_SetClnkCfgV2Params for PreferredNC failed rc={rc}"}, Ret::Untouched, Next::Again},
        {{"set-cfg-info"}, "", -1, Rc::Fault, {CHIP_FAILED}, Ret::Untouched, Next::Again},
        // The ECB read's code is not examined.
        {{"retrieve-static-info"}, "ClnkLib_GetEcbStats", -1, Rc::Zero, {}, Ret::Filled, Next::Again},
        // Counting reports the old count after its own line and the counting routine's.
        {{"retrieve-rlapm-number"}, "", -1, Rc::Fault, {CHIP_FAILED, "{if}: rlapm_table_size failed with rc={rc}"}, Ret::Filled, Next::Again},
        {{"retrieve-sapm-number"}, "", -1, Rc::Fault, {CHIP_FAILED, "{if}: sapm_table_size failed with rc={rc}"}, Ret::Filled, Next::Again},
        // Margin refills: a failed open leaves ret alone; a failed read of the
        // refill's own handle, or of the counting routine's (second), fills it from the cache.
        {{"retrieve-rlapm-info", "retrieve-sapm-info"}, "ClnkLib_OpenByName", 0, Rc::Fault, {CHIP_FAILED}, Ret::Untouched, Next::Again},
        {{"retrieve-rlapm-info", "retrieve-sapm-info"}, "", 0, Rc::Fault, {CHIP_FAILED}, Ret::Filled, Next::Again},
        {{"retrieve-rlapm-info"}, "", 1, Rc::Fault, {CHIP_FAILED, "{if}: rlapm_table_size failed with rc={rc}"}, Ret::Filled, Next::Again},
        {{"retrieve-sapm-info"}, "", 1, Rc::Fault, {CHIP_FAILED, "{if}: sapm_table_size failed with rc={rc}"}, Ret::Filled, Next::Again},
        // Node table: the failing node's line, then the refresh's; the slot is reported all the same.
        {{"retrieve-node-info"}, "ClnkLib_GetNetInfo", -1, Rc::Fault, {NODE_FAILED, "mxl_get_nodes_info failed"}, Ret::Filled, Next::Again},
        {{"retrieve-node-info"}, "ClnkLib_GetPhyTxProfile", -1, Rc::Fault, {NODE_FAILED, "mxl_get_nodes_info failed"}, Ret::Filled, Next::Again},
        {{"retrieve-node-info"}, "ClnkLib_GetPhyRxProfile", -1, Rc::Fault, {NODE_FAILED, "mxl_get_nodes_info failed"}, Ret::Filled, Next::Again},
        {{"retrieve-node-info"}, "", -1, Rc::Fault, {CHIP_FAILED, "mxl_get_nodes_info failed"}, Ret::Filled, Next::Again},
        {{"retrieve-mesh-info"}, "ClnkLib_OpenByName", -1, Rc::Fault, {CHIP_FAILED}, Ret::Untouched, Next::Again},
        {{"retrieve-mesh-info"}, "", -1, Rc::Fault, {CHIP_FAILED}, Ret::Filled, Next::Again},
        {{"retrieve-bridge-info"}, "ClnkLib_GetBridgeTable", -1, Rc::Fault, {"{if}: ClnkLib_GetBridgeTable for {bridge} failed with rc={rc}", "mxl_get_bridges_info failed"}, Ret::Filled, Next::Again},
        {{"retrieve-bridge-info"}, "", -1, Rc::Fault, {CHIP_FAILED, "mxl_get_bridges_info failed"}, Ret::Filled, Next::Again},
        // Flow listing: a node whose GUID can't be read is passed over; list and
        // query failures are retried; the listing completes in all three cases.
        {QOS, "ClnkLib_GetNetInfo", -1, Rc::Zero, {"ClnkLib_GetNetInfo failed on {arg0} ith rc={rc}"}, Ret::Filled, Next::Fresh},
        {QOS, "ClnkLib_ListFlows", -1, Rc::Zero, {}, Ret::Clean, Next::Fresh},
        {QOS, "ClnkLib_QueryFlow", -1, Rc::Zero, {}, Ret::Clean, Next::Fresh},
        {QOS, "", -1, Rc::Fault, {CHIP_FAILED, "mxl_get_flows failed"}, Ret::Filled, Next::Again},
        // Configuration report, status reads: the chip's code, ret untouched.
        {ANY, "", -1, Rc::Fault, {CHIP_FAILED}, Ret::Untouched, Next::Again},
    };
    // clang-format on
    return rows;
}

// The RLAPM counting routine closes its handle even after a failed open: the
// open of "retrieve-rlapm-number", and the second open of "retrieve-rlapm-info".
bool closes_failed_open(const std::string& fn, const std::string& op, int nth) {
    return op == "ClnkLib_OpenByName" &&
           ((fn == "retrieve-rlapm-number" && nth == 0) || (fn == "retrieve-rlapm-info" && nth == 1));
}

// After a failure that ends the call, only handles are closed: one per
// successful open (and the failed one where it is closed too).
void expect_stopped(const Outcome& out, size_t k, bool failed_open_closed) {
    size_t opened = 0;
    size_t closed = 0;
    for(size_t i = 0; i < out.chip.size(); i++) {
        const clnksim::Call& c = out.chip[i];
        opened += (c.op == "ClnkLib_OpenByName" && c.rc == 0) ? 1 : 0;
        closed += (c.op == "ClnkLib_Close") ? 1 : 0;
        EXPECT_TRUE(i <= k || c.op == "ClnkLib_Close") << "request after the failure: " << c.op;
    }
    EXPECT_EQ(closed, opened + (failed_open_closed ? 1 : 0));
}

const Expect& expectation(const std::string& fn, const std::string& op, int nth) {
    for(const Expect& e : expectations()) {
        bool fn_ok = e.fns.empty() || std::find(e.fns.begin(), e.fns.end(), fn) != e.fns.end();
        if(fn_ok && (e.op[0] == '\0' || op == e.op) && (e.nth < 0 || e.nth == nth)) {
            return e;
        }
    }
    return expectations().back();
}

void replace_all(std::string& s, const std::string& from, const std::string& to) {
    for(size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size())) {
        s.replace(at, from.size(), to);
    }
}

std::string bridge_kind(const nlohmann::json& type) {
    static const std::map<int, std::string> kinds = {{0, "Dst Unicast"}, {3, "Src Unicast"}, {4, "Src multicast"}};
    auto it = kinds.find(type.get<int>());
    return it == kinds.end() ? "?" : it->second;
}

strings expected_errors(const Expect& e, const std::string& iface, const clnksim::Call& failing, int32_t rc,
                        const std::string& label) {
    strings out;
    for(std::string line : e.errors) {
        replace_all(line, "{if}", iface);
        replace_all(line, "{op}", failing.op);
        replace_all(line, "{rc}", std::to_string(rc));
        replace_all(line, "{label}", label);
        if(line.find("{arg0}") != std::string::npos) {
            replace_all(line, "{arg0}", failing.args.at(0).dump());
        }
        if(line.find("{bridge}") != std::string::npos) {
            replace_all(line, "{bridge}", bridge_kind(failing.args.at(0)));
        }
        out.push_back(line);
    }
    return out;
}

// ---- the wall clock of the flow listing's busy wait ------------------------------------------

// Moves 1 ms per read, so that a 100 ms wait takes a hundred reads, not 100 ms.
int64_t g_fake_us = 1000000000000LL;

} // namespace

extern "C" int gettimeofday(struct timeval* __restrict tv, void* __restrict) noexcept {
    g_fake_us += 1000;
    *tv = {g_fake_us / 1000000, g_fake_us % 1000000};
    return 0;
}

// ---- the chip library's reads, on their way from the module to the simulator -----------------

// Every record the module hands over to be filled starts zeroed, so that what a
// library leaves unwritten is never judged on leftover memory.
namespace {
strings g_unclean;
template <typename T>
void expect_zeroed(const char* op, const T* record, size_t count = 1) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(record);
    if(std::any_of(bytes, bytes + sizeof(T) * count, [](unsigned char b) { return b != 0; })) {
        g_unclean.push_back(op);
    }
}
} // namespace

#define MXL_READ(op, check, params, ...)                                                                               \
    extern "C" int32_t op params {                                                                                     \
        check;                                                                                                         \
        static auto next = reinterpret_cast<decltype(&op)>(dlsym(RTLD_NEXT, #op));                                     \
        return next(__VA_ARGS__);                                                                                      \
    }
// clang-format off
MXL_READ(ClnkLib_ListNames, expect_zeroed(__func__, n, cap), (ClnkLib_Name_t * n, uint32_t cap), n, cap)
MXL_READ(ClnkLib_GetLocalInfo, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, ClnkLib_LocalInfo_t* p), h, p)
MXL_READ(ClnkLib_GetNetInfo, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, uint32_t n, ClnkLib_NetInfo_t* p), h, n, p)
MXL_READ(ClnkLib_GetPhyTxProfile, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, uint32_t n, uint32_t t, uint32_t f, ClnkLib_PhyTxProfile_t* p), h, n, t, f, p)
MXL_READ(ClnkLib_GetPhyRxProfile, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, uint32_t n, uint32_t t, uint32_t f, ClnkLib_PhyRxProfile_t* p), h, n, t, f, p)
MXL_READ(ClnkLib_GetEcbStats, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, uint32_t f, ClnkLib_EcbStats_t* p), h, f, p)
MXL_READ(ClnkLib_GetClnkCfgV2, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, uint32_t f, ClnkLib_ClnkCfgV2_t* p), h, f, p)
MXL_READ(ClnkLib_GetClnkCfgV2Params, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, const clnk_param_mask_t* m, ClnkLib_ClnkCfgV2_t* p), h, m, p)
MXL_READ(ClnkLib_GetPhyMisc, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, ClnkLib_PhyMisc_t* p), h, p)
MXL_READ(ClnkLib_GetCdInfo, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, uint32_t n, ClnkLib_CdInfo_t* p), h, n, p)
MXL_READ(ClnkLib_GetDataStats, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, uint32_t f, ClnkLib_DataStats_t* p), h, f, p)
MXL_READ(ClnkLib_GetRlapmCfg, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, ClnkLib_RlapmStaticCfgV2_t* p), h, p)
MXL_READ(ClnkLib_GetSapmCfg, expect_zeroed(__func__, p), (ClnkLib_Handle_t * h, ClnkLib_SapmStaticCfgV2_t* p), h, p)
// The mesh report zeroes its FMR record once, a refill its bridge table once, and
// the flow listing keeps its response across attempts: those reads pass unchecked.
MXL_READ(ClnkLib_GetBridgeTable, expect_zeroed(__func__, c), (ClnkLib_Handle_t * h, uint32_t t, uint32_t f, uint32_t* c, ClnkLib_BridgeTable_t* p), h, t, f, c, p)
// clang-format on
#undef MXL_READ

namespace {

class FaultMatrix : public ModuleTest, public ::testing::WithParamInterface<Scenario> {
protected:
    // A cold start: the scenario as loaded, no faults, a new record (unless the
    // measured call creates it), then the clean preliminaries. Only the
    // configuration functions write to the chip: the scenario is loaded again
    // after them alone, which keeps the matrix fast under the sanitizers.
    void cold_start(const MatrixCall& c) {
        const Scenario& s = GetParam();
        call("destroy-moca-iface", {{"InternalName", s.iface}});
        clnksim::clear_faults();
        if(chip_written_) {
            clnksim::reset();
            sim(s.json);
        }
        chip_written_ =
            writes(c.step) || std::any_of(c.before.begin(), c.before.end(), [](const Step& b) { return writes(b); });
        if(c.step.fn != "create-moca-iface") {
            create(s.iface);
        }
        for(const Step& b : c.before) {
            call(b.fn, b.args);
        }
    }
    static bool writes(const Step& s) { return s.fn == "set-cfg-info"; }
    Outcome run(const Step& s) { return call(s.fn, s.args); }

    bool chip_written_ = true;

    // One failure at position k of the clean run's calls; returns false when
    // the call can't fail (ClnkLib_Close).
    bool inject(const MatrixCall& c, const Outcome& clean, size_t k);
};

bool FaultMatrix::inject(const MatrixCall& c, const Outcome& clean, size_t k) {
    const clnksim::Call& target = clean.chip[k];
    if(target.op == "ClnkLib_Close") {
        return false;
    }
    int nth = 0;
    for(size_t i = 0; i < k; i++) {
        nth += (clean.chip[i].op == target.op) ? 1 : 0;
    }
    // Alternate a negative and a positive code: both are passed on unchanged.
    // A positive answer of the listing of names is a count, so it stays negative.
    const int32_t rc = (k % 2 == 0 || target.op == "ClnkLib_ListNames") ? -7 : 9;
    const std::string& iface = GetParam().iface;
    const Expect& e = expectation(c.step.fn, target.op, nth);
    SCOPED_TRACE(c.label + ": failure at call " + std::to_string(k) + " " + target.op + " (#" + std::to_string(nth) +
                 ") rc=" + std::to_string(rc));

    cold_start(c);
    const nlohmann::json chip_before = writes(c.step) ? clnksim::state() : nlohmann::json();
    fault(ojson{{"op", target.op}, {"skip", nth}, {"rc", rc}});
    Outcome out = run(c.step);
    clnksim::clear_faults();

    EXPECT_EQ(out.rc, e.rc == Rc::Fault ? rc : 0);
    EXPECT_EQ(out.errors(), expected_errors(e, iface, target, rc, c.read_label));
    EXPECT_EQ(out.handles, 0);
    EXPECT_TRUE(k < out.chip.size() && out.chip[k].op == target.op && out.chip[k].rc == rc)
        << "the failure did not hit call " << k;
    switch(e.ret) {
        case Ret::Untouched: EXPECT_EQ(out.ret, ojson::array({"null", nullptr})); break;
        case Ret::Filled: EXPECT_EQ(out.keys(), clean.keys()); break;
        case Ret::Clean: EXPECT_EQ(out.ret, clean.ret); break;
        case Ret::False: EXPECT_EQ(out.ret, ojson::array({"bool", false})); break;
    }
    if(e.rc == Rc::Fault) {
        expect_stopped(out, k, closes_failed_open(c.step.fn, target.op, nth));
    }
    // A failed write leaves the chip as it was.
    if(writes(c.step)) {
        EXPECT_EQ(clnksim::state(), chip_before);
    }

    switch(e.next) {
        case Next::Again: {
            Outcome again = run(c.step);
            EXPECT_EQ(again.rc, clean.rc);
            EXPECT_EQ(again.chip_ops(), clean.chip_ops());
            EXPECT_EQ(again.ret, clean.ret);
            break;
        }
        case Next::Fresh: {
            Outcome again = run(c.step);
            EXPECT_EQ(again.rc, 0);
            EXPECT_TRUE(again.chip.empty());
            break;
        }
        case Next::Exists: {
            Outcome cfg = call("retrieve-cfg-info", {{"InternalName", iface}});
            EXPECT_EQ(cfg.value("Enable"), false);
            Outcome again = run(c.step);
            EXPECT_EQ(again.rc, 0);
            EXPECT_EQ(again.messages(TRACE_LEVEL_NOTICE),
                      strings{"The mxl moca interface '" + iface + "' already exists"});
            break;
        }
    }
    return true;
}

TEST_P(FaultMatrix, EveryChipCallFails) {
    g_unclean.clear();
    size_t total = 0;
    std::ostringstream table;
    for(const MatrixCall& c : calls(GetParam().iface)) {
        cold_start(c);
        const Outcome clean = run(c.step);
        ASSERT_EQ(clean.handles, 0) << c.label;
        size_t points = 0;
        for(size_t k = 0; k < clean.chip.size(); k++) {
            points += inject(c, clean, k) ? 1 : 0;
        }
        total += points;
        char row[160];
        snprintf(row, sizeof(row), "  %-40s %4zu chip calls, %4zu injected%s\n", c.label.c_str(), clean.chip.size(),
                 points, clean.chip.empty() ? " (no chip call: nothing to inject)" : "");
        table << row;
    }
    std::cout << "[ matrix   ] " << GetParam().name << ": " << total << " injected points\n" << table.str();
    EXPECT_EQ(g_unclean, strings{}) << "records handed to the chip library not zeroed";
}

INSTANTIATE_TEST_SUITE_P(Networks, FaultMatrix, ::testing::ValuesIn(scenarios()),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
