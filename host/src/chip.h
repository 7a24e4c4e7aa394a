// SPDX-License-Identifier: BSD-2-Clause-Patent
// The chip behind the module, as far as the host steers it: the simulator's
// control interface (scenario, patches, faults, call log, open handles).
// Built for a board (chip_board.cpp), there is no simulator: steering fails
// with a message, and no calls or handles are counted.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace host::chip {

using json = nlohmann::ordered_json;

bool load_scenario_file(const std::string& path, std::string* err);
bool load_scenario(const json& scenario, std::string* err);
bool patch_state(const json& merge_patch, std::string* err);
bool arm_fault(const json& fault, std::string* err);

// Forgets the chip calls made so far.
void clear_calls();
// The chip calls made since the last clear, in order: {"op", "args", "rc"}.
json take_calls();
// Handles opened and not closed yet.
int open_handles();
// Whether take_calls() and open_handles() report anything (false on a board).
bool counts_calls();

} // namespace host::chip
