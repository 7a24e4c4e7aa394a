// SPDX-License-Identifier: BSD-2-Clause-Patent
// The keys of each function's result in the order the module documents (and
// inserts) them. libamxc walks an htable in hash order, so every output that
// shows a result's keys in order takes the order from here.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace host {

// The documented keys of `function`'s result, in order; empty for a function
// whose result is no table of keys.
std::span<const std::string> documented_key_order(std::string_view function);

} // namespace host
