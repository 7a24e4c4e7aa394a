// SPDX-License-Identifier: BSD-2-Clause-Patent
// The chip is the simulator built here: its control interface does the work.
#include "chip.h"

#include <clnksim.h>

namespace host::chip {

bool load_scenario_file(const std::string& path, std::string* err) {
    return clnksim::load_file(path, err);
}

bool load_scenario(const json& scenario, std::string* err) {
    return clnksim::load_ordered(scenario, err);
}

bool patch_state(const json& merge_patch, std::string* err) {
    return clnksim::patch(nlohmann::json(merge_patch), err);
}

bool arm_fault(const json& fault, std::string* err) {
    return clnksim::arm_fault(nlohmann::json(fault), err);
}

void clear_calls() {
    clnksim::clear_calls();
}

json take_calls() {
    json out = json::array();
    for(const auto& call : clnksim::take_calls()) {
        json entry = json::object();
        entry["op"] = call.op;
        entry["args"] = json(call.args);
        entry["rc"] = json(call.rc);
        out.push_back(std::move(entry));
    }
    return out;
}

int open_handles() {
    return clnksim::open_handles();
}

bool counts_calls() {
    return true;
}

} // namespace host::chip
