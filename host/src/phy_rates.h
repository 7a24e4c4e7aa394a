// SPDX-License-Identifier: BSD-2-Clause-Patent
// What PHY rate (Mbps, one direction) a link can carry, by the MoCA versions and
// bonding of its two nodes. One table for everyone who judges rates: the health
// report takes it as what a pair reaches on good coax, the bring-up check as the
// ceiling no reported rate may pass.
#pragma once

#include <cstdint>
#include <string>

namespace host {

// One node's rate on one channel or bonded; 0 for a version that is not known.
uint32_t phy_rate_limit(const std::string& version, bool bonded);

// The pair's: the lower of the two nodes', bonded only when both bond.
uint32_t pair_phy_rate_limit(const std::string& version_a, bool bonding_a, const std::string& version_b,
                             bool bonding_b);

} // namespace host
