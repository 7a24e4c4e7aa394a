// SPDX-License-Identifier: BSD-2-Clause-Patent
// "dump": the calls a data-model host makes to show one interface, and their two renderings.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "cli.h"
#include "varjson.h"

#include <nolotrace.h>

namespace host {

// One call of the walk: the script line that makes it and what the script
// would answer ({"rc", "ret", "log", "chip", "handles"}).
struct DumpCall {
    std::string function;
    uint32_t id = 0;        // the "Id" argument; 0 when the call takes none
    json args;              // argument form
    json result;            // null when the host could not make the call
    std::string host_error; // why, in that case

    bool ok() const { return result.is_object() && result["rc"] == 0; }
    int rc() const { return result.is_object() ? result["rc"].get<int>() : -1; }
    size_t chip_calls() const { return result.is_object() ? result["chip"].size() : 0; }
    // Trace lines the call logged at error level or at warning level and above.
    size_t logged(int up_to_level) const;
    // The typed result ([TYPE, VALUE]); ["null", null] when there is none.
    const json& ret() const;
    // The typed value of one key of an htable result, or nullptr.
    const json* key(const std::string& name) const;
    // One key's value of an htable result: 0, "" or false where the key is absent
    // or holds another type.
    uint64_t number(const char* name) const;
    std::string text(const char* name) const;
    bool flag(const char* name) const;
};

struct DumpRun {
    std::string ifname;
    std::vector<DumpCall> calls; // in call order
    double elapsed_ms = 0;
    // Nodes in the sleep states M1, M2 and M3, as the chip's local node
    // information gives them (the module reports a sleeping node as present,
    // with no rates measured to it). All zero when the chip could not tell.
    uint32_t sleep_masks[3] = {0, 0, 0};
    bool sleep_masks_read = false; // the chip told: a node in no mask is awake
    std::string local_guid;        // the local node's GUID as the chip gives it; "" when unread

    // "M1", "M2", "M3" for a sleeping node, "" otherwise.
    std::string sleep_state(uint64_t node) const;

    // The node ids in the network: this node and the active associated nodes.
    std::vector<uint64_t> network_nodes() const;

    const DumpCall* find(const std::string& function, uint32_t id = 0) const;
    std::vector<const DumpCall*> all(const std::string& function) const;
    size_t failures() const;
    size_t calls_with_errors() const;
    size_t chip_calls() const;
};

// Per function, in order of first call: calls, failed calls (result not 0),
// calls that logged errors, chip calls.
struct DumpTally {
    std::string function;
    size_t calls = 0;
    size_t failed = 0;
    size_t with_errors = 0;
    size_t chip_calls = 0;
};
std::vector<DumpTally> tally(const DumpRun& run);

// The walk of dump: starts a session (scenario, module, trace capture as --trace
// says), then creates the record, reads every report and table and destroys the
// record. False when the session could not start (the reason is on standard error).
bool read_interface(const Options& opt, DumpRun* run);

// Entries 1 to count of a table, through walker.call(function, id); a failed entry
// ends the walk, since every further entry would fail alike (the table could not
// be read) and try the chip again.
template <typename Walker>
void walk_table(Walker& walker, const std::string& function, uint32_t count) {
    for(uint32_t id = 1; id <= count && walker.call(function, id).ok(); ++id) {
    }
}

// The chip's local node information (sleep masks, the local GUID), read by the
// host itself: the module's reports give neither.
void read_local_info(DumpRun& run);

// The JSON document: {"interface", "calls": [...], "summary": {...}}, one call per line.
void print_dump_json(const DumpRun& run, std::FILE* out);

// The same for people: data-model paths and values, tables as matrices and summaries.
void print_dump_text(const DumpRun& run, std::FILE* out);

} // namespace host
