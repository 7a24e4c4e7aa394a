// SPDX-License-Identifier: BSD-2-Clause-Patent
// The simulated chip's live state and the scenario codec that fills it.
//
// Everything is kept as true values in the chip's own record types; the
// operations in clnkapi.cpp pack them (counter halves exchanged, ...) only
// when they hand a record to the caller.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "clnkapi.h"

namespace clnksim::detail {

using ojson = nlohmann::ordered_json;

// Profile types a node may carry (keys "0" .. "31" of txProfiles/rxProfiles).
constexpr uint32_t kMaxProfileTypes = 32;
constexpr int kNumBridgeTables = 5;
// Flows per node a scenario may hold.
constexpr size_t kMaxFlowsPerNode = 256;

struct Flow {
    ClnkLib_PFP_t pfp{};
    uint32_t leaseTimeLeft = 0;
    uint32_t dfid = 0;
};

struct Node {
    ClnkLib_NetInfo_t net{};                       // counters as true values
    std::map<uint32_t, ClnkLib_PhyTxProfile_t> tx; // by profile type
    std::map<uint32_t, ClnkLib_PhyRxProfile_t> rx;
    ClnkLib_CdInfo_t cd{};
    ClnkLib_NodeFmr_t fmr{};
    uint32_t flowUpdateCount = 0;
    std::vector<Flow> flows;
};

struct Iface {
    std::string name;
    bool present = false;
    bool openable = false;
    bool started = false;
    ClnkLib_LocalInfo_t local{};
    ClnkLib_ClnkCfgV2_t cfg{};
    ClnkLib_PhyMisc_t misc{};
    ClnkLib_EcbStats_t ecb{};
    ClnkLib_DataStats_t stats{};    // true values
    std::map<uint32_t, Node> nodes; // by node id 0..15
    std::array<std::vector<ClnkLib_BridgeEntry_t>, kNumBridgeTables> bridge;
    ClnkLib_RlapmStaticCfgV2_t rlapm{};
    ClnkLib_SapmStaticCfgV2_t sapm{};
};

struct State {
    std::vector<Iface> ifaces; // scenario order

    Iface* find(const std::string& name);
};

// The answer of ClnkLib_GetBridgeTable in one record: the count and the entries.
struct BridgeAnswer {
    uint32_t numEntries;
    ClnkLib_BridgeEntry_t entries[MAX_BRIDGE_ENTRIES];
};

// Names of the bridge tables in the scenario, indexed by CLNK_BRIDGE_*.
extern const char* const kBridgeTableNames[kNumBridgeTables];

// Scenario (ordered JSON) -> state. On error *err is "json.path: what".
bool decode_scenario(const ojson& scenario, State& out, std::string* err);
// State -> scenario form (true values, sparse: zero fields are left out).
ojson encode_scenario(const State& state);

// Number parsing shared with the fault script form: JSON integers or C-notation
// strings, range-checked for a field of `bits` width (signed: two's complement).
bool parse_int(const ojson& v, unsigned bits, bool is_signed, int64_t* out_signed, uint64_t* out_unsigned,
               std::string* why);

struct Field; // a field of a chip record, from the tables of scenario.cpp

// One value of a fault's "set": a field of an operation's answer (an element of it where
// `element`) at byte `at` of the answer, or of the record at `at` that holds it.
struct FieldSet {
    const Field* field = nullptr;
    size_t at = 0;
    bool element = false;
    ojson value;
};

// A fault's "set" object for `op` ({"entries.3.nodeId": 40, ...}): each path resolved in
// the answer's field table and its value checked like a scenario's. Messages start with
// `path` ("fault.set.entries.3.nodeId: ...").
bool parse_sets(const std::string& op, const ojson& set, const std::string& path, std::vector<FieldSet>* out,
                std::string* err);
// Writes checked values into an answer of that op as the chip delivers it.
void apply_sets(const std::vector<FieldSet>& sets, void* answer);

// Sets *err (when given) to "path: what", "scenario: what" for the top level; false.
bool fail(std::string* err, const std::string& path, const std::string& what);

// "aa:bb:cc:dd:ee:ff" (either case) -> two words as the chip packs them.
bool parse_mac(const std::string& text, uint32_t* hi, uint32_t* lo);
std::string mac_text(uint32_t hi, uint32_t lo);

} // namespace clnksim::detail
