// SPDX-License-Identifier: BSD-2-Clause-Patent
// Control interface of the chip simulator behind clnkapi.h, for tests and the host.
//
// The simulator answers every ClnkLib operation from one live network state,
// loaded from a scenario (see docs/scenario.md). Everything here runs on the
// caller's thread; the simulator is not thread-safe, like the module it serves.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace clnksim {

// Replaces the live state with a scenario and arms the faults of its "faults"
// array after those already armed. On error nothing changes (state and faults) and
// *err names the offending JSON path ("interfaces.moca0.nodes.3.netInfo.guid: ...",
// "faults.1.op: ...").
// nlohmann::json keeps keys sorted, so interfaces are then listed in name order;
// load_ordered and load_file keep the scenario's own order.
bool load(const nlohmann::json& scenario, std::string* err);
bool load_ordered(const nlohmann::ordered_json& scenario, std::string* err);
bool load_file(const std::string& path, std::string* err);

// RFC 7386 merge patch on the live state (in scenario form); validated like load.
// A "faults" member is armed like a scenario's: faults are not part of the state.
bool patch(const nlohmann::json& merge_patch, std::string* err);

// The live state in scenario form (counters as true values, configuration as written);
// armed faults are not part of it.
nlohmann::json state();
nlohmann::ordered_json state_ordered(); // the same, interfaces in their order

// A saved copy of the live network (not faults, the call log or handles).
// Putting it back costs a copy of the records, far less than loading its
// scenario again: for hosts that return to one network many times.
namespace detail {
struct State;
}
using Snapshot = std::shared_ptr<const detail::State>;
Snapshot snapshot();
// Makes the saved network the live one; faults, call log and handles stay.
void restore(const Snapshot& saved);

// One armed fault: counts calls of `op` from arming on, lets `skip` pass,
// then affects the next `times`. An affected call returns `rc` without filling
// anything, unless rc is 0: then it answers normally with `flow_code` replacing
// the response's code, `flow_update_count_delta` added to flowUpdateCount, and
// then each field named in `set` given its value, whatever the chip would say
// ({"numEntries": 1000, "entries.3.nodeId": 40}: a path into the answer, numbers
// as in scenarios, any value that fits the field's width).
struct Fault {
    std::string op; // "ClnkLib_GetNetInfo" or "GetNetInfo"
    uint32_t skip = 0;
    uint32_t times = 1;
    int32_t rc = -1;
    std::optional<uint32_t> flow_code;
    int32_t flow_update_count_delta = 0;
    nlohmann::json set = nlohmann::json::object();
};
bool arm_fault(const Fault& fault, std::string* err);
// Same, from the script form {"op":..., "skip":..., "times":..., "rc":..., "flowCode":...,
// "flowUpdateCountDelta":..., "set": {...}}.
bool arm_fault(const nlohmann::json& fault, std::string* err);
void clear_faults();

// One chip call as made: {"op": "ClnkLib_GetNetInfo", "args": [3], "rc": 0}; rc is null for ClnkLib_Close.
struct Call {
    std::string op;
    nlohmann::json args; // array of the identifying arguments
    nlohmann::json rc;   // number, or null for ClnkLib_Close
};
const std::vector<Call>& calls();
std::vector<Call> take_calls(); // returns the log and clears it
void clear_calls();
nlohmann::json call_to_json(const Call& call);

// Handles opened successfully and not closed yet.
int open_handles();

// Empty state (no interface), no faults, empty call log, no open handles.
void reset();

} // namespace clnksim
