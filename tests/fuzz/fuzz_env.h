// SPDX-License-Identifier: BSD-2-Clause-Patent
// What the fuzz targets share: the module loaded once per process through
// libamxm, a trace sink that counts lines, calls with their outcome checked
// against the module's calling convention, and a walk over all eighteen
// functions. A broken invariant ends the process with a message: libFuzzer
// reports it like a crash and keeps the input.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include <amxc/amxc.h>

namespace fuzzenv {

// clang-format off
enum class Fn : unsigned {
    create, destroy, set_cfg, cfg, static_info, dyn, qos, flow, rlapm_number, rlapm, sapm_number, sapm, node, mesh,
    bridge, stats, is_available, is_present, count
};
// clang-format on
const char* fn_name(Fn fn);

// Loads the module and sets the virtual clock and the trace sink, once. The
// module stays loaded: libFuzzer keeps the coverage counters of every loaded
// object and cannot follow one that is unloaded.
void init();

// Codes a call may return besides 0, -1 and the simulator's own CLNK_ERR_*:
// the codes of the faults armed since the last reset.
struct Codes {
    std::set<int32_t> armed;
    bool any = false; // accept any code (faults armed from data the target does not read)
};

// One call with its outcome checked: the code (0, -1, a chip code), no open
// handle, a result of a legal shape, an error line for every failure, nothing
// written into ret by the functions that never use it. Runs one event-loop
// pass afterwards, as a host does. Returns the code.
int call(Fn fn, amxc_var_t* args, amxc_var_t* ret, const Codes& codes);

// The same with an argument table {"InternalName": name[, "Id": id]}.
int call_named(Fn fn, const std::string& name, uint32_t id, const Codes& codes);

// Destroys every record created so far (each must go) and checks that no
// cache timer is left running.
void destroy_records(const Codes& codes);
// Whether no cache timer runs (none must, once every record is gone).
bool timers_idle();

// A host's walk over one interface: presence, creation, every report, one
// configuration change, the first and last entries of every table, destruction.
void walk(const std::string& name, const Codes& codes);

// Moves the virtual clock on, running timers on the way; checks no handle is open.
void advance(uint64_t ms);

// The process's wall clock (gettimeofday) is a fake one that moves 10 ms at
// every reading; a step may set it back or forth.
void move_wall_clock(int64_t us);
int64_t wall_clock_us();

[[noreturn]] void finding(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

} // namespace fuzzenv
