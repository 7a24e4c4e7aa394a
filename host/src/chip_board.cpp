// The chip is the vendor's: it has no control interface, so the host can only
// say that scenarios, patches and faults need the simulator build.
#include "chip.h"

namespace host::chip {

namespace {

bool no_simulator(std::string* err) {
    *err = "this moca-host is built for a board: no simulator (--sim, sim, sim_patch, fault)";
    return false;
}

} // namespace

bool load_scenario_file(const std::string&, std::string* err) {
    return no_simulator(err);
}

bool load_scenario(const json&, std::string* err) {
    return no_simulator(err);
}

bool patch_state(const json&, std::string* err) {
    return no_simulator(err);
}

bool arm_fault(const json&, std::string* err) {
    return no_simulator(err);
}

void clear_calls() {}

json take_calls() {
    return json::array();
}

int open_handles() {
    return 0;
}

bool counts_calls() {
    return false;
}

} // namespace host::chip
