// SPDX-License-Identifier: BSD-2-Clause-Patent
// The simulator's scenario reader on arbitrary JSON: as a whole scenario, as a
// merge patch on the example network, or as a fault. A parse error of the
// bytes is an expected answer; so is a refusal, which must say why. Whatever
// loads must read back as itself (state() loads to the same state), and the
// module then walks every interface of it.
#include <cstdint>
#include <fstream>
#include <string>

#include <clnksim.h>
#include <nlohmann/json.hpp>

#include "fuzz_env.h"

namespace {

using ojson = nlohmann::ordered_json;

void check_round_trip() {
    const ojson state = clnksim::state_ordered();
    std::string err;
    if(!clnksim::load_ordered(state, &err)) {
        fuzzenv::finding("the state does not load again: %s\n%s", err.c_str(), state.dump().c_str());
    }
    const ojson again = clnksim::state_ordered();
    if(again != state) {
        fuzzenv::finding("the state changed on reloading:\n%s\n%s", state.dump().c_str(), again.dump().c_str());
    }
}

void walk_interfaces() {
    const ojson state = clnksim::state_ordered();
    if(!state.contains("interfaces")) {
        return;
    }
    fuzzenv::Codes codes;
    codes.any = true; // faults may come with the scenario
    unsigned walked = 0;
    for(const auto& [name, iface] : state["interfaces"].items()) {
        (void) iface;
        if(++walked > 3) {
            break;
        }
        fuzzenv::walk(name, codes);
    }
    clnksim::clear_faults();
    fuzzenv::destroy_records(codes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const ojson example = [] {
        fuzzenv::init();
        return ojson::parse(std::ifstream(MXL_EXAMPLE_SCENARIO));
    }();
    if(size == 0) {
        return 0;
    }
    const int mode = data[0] % 3;
    const ojson doc = ojson::parse(data + 1, data + size, nullptr, false);
    if(doc.is_discarded()) {
        return 0;
    }
    clnksim::reset();
    std::string err;
    bool ok = false;
    switch(mode) {
        case 0: ok = clnksim::load_ordered(doc, &err); break;
        case 1:
            if(!clnksim::load_ordered(example, &err)) {
                fuzzenv::finding("example: %s", err.c_str());
            }
            ok = clnksim::patch(nlohmann::json(doc), &err);
            break;
        default:
            clnksim::load_ordered(example, &err);
            ok = clnksim::arm_fault(nlohmann::json(doc), &err);
            break;
    }
    if(!ok) {
        if(err.empty()) {
            fuzzenv::finding("refused without a reason");
        }
        return 0;
    }
    if(mode != 2) {
        check_round_trip();
    }
    walk_interfaces();
    return 0;
}
