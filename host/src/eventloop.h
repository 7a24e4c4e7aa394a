// The host's event loop as far as the module needs it: the libamxp timers.
#pragma once

#include <cstdint>

namespace host {

// One pass: timers whose time is up become expired, then their callbacks run.
void loop_pass();

// Switches the timers to the virtual clock (scripts) or back to the monotonic one.
void use_virtual_clock(bool on);

// Moves the virtual clock on by ms, stopping at every timer expiry on the way
// to run one pass there, and running one more at the end.
void advance_virtual_clock(uint64_t ms);

} // namespace host
