// The chip behind the module, as far as the host steers it: the simulator's
// control interface (scenario, patches, faults, call log, open handles).
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

} // namespace host::chip
