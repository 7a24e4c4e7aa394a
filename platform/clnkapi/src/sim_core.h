// SPDX-License-Identifier: BSD-2-Clause-Patent
// Process-wide simulator: the live state, open handles, armed faults and the call log.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "clnksim.h"
#include "sim_model.h"

namespace clnksim::detail {

struct ArmedFault {
    Fault fault;                // op normalised to its "ClnkLib_" name
    std::vector<FieldSet> sets; // fault.set resolved in the answer's fields
    uint64_t seen = 0;          // calls of the op since arming
};

struct Sim {
    State state;
    std::map<int32_t, std::string> handles; // slot -> interface name
    int32_t next_slot = 1;
    std::vector<ArmedFault> faults;
    std::vector<Call> calls;
    bool log_off = false; // CLNKSIM_NO_CALL_LOG: a long-running host that never reads the log
};

Sim& sim();

// Appends to the call log, which keeps at most kMaxLoggedCalls calls: when
// full, the older half goes. A host that never reads the log (one that knows
// nothing of the simulator) must not grow with every call it makes.
constexpr size_t kMaxLoggedCalls = 65536;
void log_call(Call call);

// What the armed faults make of one call of `op`: every fault on `op` counts it.
struct FaultHit {
    std::optional<int32_t> rc;            // fail with this code, filling nothing
    std::optional<uint32_t> flow_code;    // rc 0: replace the flow code
    uint32_t flow_update_count_delta = 0; // rc 0: add to flowUpdateCount (wraps like it)
    std::vector<FieldSet> sets;           // rc 0: fields of the answer to overwrite
};
FaultHit take_fault(const std::string& op);

// The operation's full name for "GetNetInfo" or "ClnkLib_GetNetInfo"; empty if unknown
// or not faultable.
std::string faultable_op(const std::string& name);

// The script form of a fault, parsed and checked (op faultable, flow fields only where
// the op has them, set paths and values) but not armed; op normalised. Messages start
// with `path`: "fault.skip: ...", "faults.2.set.numEntries: ...".
bool parse_fault(const ojson& fault, const std::string& path, ArmedFault* out, std::string* err);

} // namespace clnksim::detail
