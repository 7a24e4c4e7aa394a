// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "phy_rates.h"

#include <algorithm>

namespace host {

namespace {

// Per MoCA generation, one channel and bonded. 1.x: 275 Mbps; 2.0: ~700 Mbps
// per 100 MHz channel, ~1400 bonded; 2.5 bonds up to five channels, reported up
// to the data model's cap of 2048 Mbps.
struct GenerationRate {
    char major;
    const char* version; // nullptr: any minor version
    uint32_t single;
    uint32_t bonded;
};
const GenerationRate generation_rates[] = {
    {'1', nullptr, 275, 275},
    {'2', "2.0", 700, 1400},
    {'2', nullptr, 700, 2048},
};

} // namespace

uint32_t phy_rate_limit(const std::string& version, bool bonded) {
    for(const auto& g : generation_rates) {
        if(!version.empty() && version[0] == g.major && (g.version == nullptr || version == g.version)) {
            return bonded ? g.bonded : g.single;
        }
    }
    return 0;
}

uint32_t pair_phy_rate_limit(const std::string& version_a, bool bonding_a, const std::string& version_b,
                             bool bonding_b) {
    const bool bonded = bonding_a && bonding_b;
    return std::min(phy_rate_limit(version_a, bonded), phy_rate_limit(version_b, bonded));
}

} // namespace host
