// SPDX-License-Identifier: BSD-2-Clause-Patent
// The host's event loop as far as the module needs it: the libamxp timers.
#pragma once

#include <cstdint>

namespace host {

// Before the module starts timers: a libamxp that learns elapsed time from
// SIGALRM (the real one) must not end the process with it.
void loop_init();

// One pass: timers whose time is up become expired, then their callbacks run.
void loop_pass();

// The virtual clock (eventloop_virtual.cpp; not in the board build): while it
// is on, the process's ITIMER_REAL, by which libamxp measures time, is virtual.

// Switches the timers to the virtual clock (scripts) or back to the monotonic one.
void use_virtual_clock(bool on);

// Moves the virtual clock on by ms, stopping at every timer expiry on the way
// to run one pass there, and running one more at the end.
void advance_virtual_clock(uint64_t ms);

// Whether a libamxp timer is pending on the virtual clock.
bool virtual_timer_armed();

} // namespace host
