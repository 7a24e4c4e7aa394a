// SPDX-License-Identifier: BSD-2-Clause-Patent
// In-process test environment for the module: loads it through libamxm the
// way a host does, captures its trace lines, drives the chip simulator and the
// timers on a virtual clock, and gives every call's outcome in one record.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <amxc/amxc.h>
#include <clnksim.h>
#include <nolotrace.h>
#include <nlohmann/json.hpp>

#include "tracelog.h"

namespace mxltest {

using ojson = nlohmann::ordered_json;
using LogLine = host::TraceLine; // level, zone, mark, msg, func and the whole line
using strings = std::vector<std::string>;

// The outcome of one registered-function call.
struct Outcome {
    int rc = 0;
    ojson ret; // [type, value]; null when ret was NULL
    std::vector<LogLine> log;
    std::vector<clnksim::Call> chip;
    int handles = 0;

    std::vector<std::string> errors() const; // messages at level error
    std::vector<std::string> messages(int level) const;
    std::vector<std::string> chip_ops() const; // "ClnkLib_GetNetInfo", ...
    size_t count_op(const std::string& op) const;
    // Keys of an htable result, in order, with their type names.
    std::vector<std::pair<std::string, std::string>> keys() const;
    const ojson& value(const std::string& key) const; // the untyped value of a key
};

// Loads and unloads the module (path compiled in as MXL_MODULE_PATH).
bool load_module();
void unload_module();

// Calls a registered function of "moca-ctrl". `args` null in JSON gives a NULL
// args variant when null_args is set; with_ret false passes a NULL ret.
Outcome call(const std::string& function, const ojson& args, bool with_ret = true, bool null_args = false);

// Runs the event loop at every timer expiry while moving the virtual clock on.
std::vector<LogLine> advance(uint64_t ms);
std::vector<LogLine> take_log();

// Loads a scenario, arms a fault, merges a patch into the chip; fails the current test on error.
void sim(const ojson& scenario);
void fault(const ojson& fault);
void patch(const ojson& merge);

// Whether a line with this message was logged.
bool logged(const std::vector<LogLine>& log, const std::string& msg);

} // namespace mxltest

#include <gtest/gtest.h>

namespace mxltest {

// Each test starts with an empty simulator, a freshly loaded module and a
// virtual clock at 0; it ends by unloading the module.
class ModuleTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // create-moca-iface for `name`, asserting success.
    void create(const std::string& name);
};

} // namespace mxltest
