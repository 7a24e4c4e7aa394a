// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "mxl_test_env.h"

#include <algorithm>
#include <memory>

#include <nolotrace.h>
#include "eventloop.h"
#include "module.h"
#include "varjson.h"

namespace mxltest {

namespace {

// The module as moca-host loads it, and every trace line up to debug.
std::unique_ptr<host::TraceCapture> g_trace;
std::unique_ptr<host::Module> g_module;

} // namespace

std::vector<std::string> Outcome::messages(int level) const {
    std::vector<std::string> out;
    for(const LogLine& l : log) {
        if(l.level == level) {
            out.push_back(l.msg);
        }
    }
    return out;
}

std::vector<std::string> Outcome::errors() const {
    return messages(TRACE_LEVEL_ERROR);
}

std::vector<std::string> Outcome::chip_ops() const {
    std::vector<std::string> out;
    for(const clnksim::Call& c : chip) {
        out.push_back(c.op);
    }
    return out;
}

size_t Outcome::count_op(const std::string& op) const {
    size_t n = 0;
    for(const clnksim::Call& c : chip) {
        n += (c.op == op) ? 1 : 0;
    }
    return n;
}

std::vector<std::pair<std::string, std::string>> Outcome::keys() const {
    std::vector<std::pair<std::string, std::string>> out;
    if(ret.is_array() && ret[0] == "htable") {
        for(const auto& [key, typed] : ret[1].items()) {
            out.emplace_back(key, typed[0].get<std::string>());
        }
    }
    return out;
}

const ojson& Outcome::value(const std::string& key) const {
    static const ojson none;
    if(!ret.is_array() || ret[0] != "htable" || !ret[1].contains(key)) {
        ADD_FAILURE() << "result has no key " << key;
        return none;
    }
    return ret[1][key][1];
}

bool load_module() {
    g_trace.reset(); // one capture at a time
    g_trace = std::make_unique<host::TraceCapture>(TRACE_LEVEL_DEBUG);
    g_module = std::make_unique<host::Module>(MXL_MODULE_PATH);
    std::string err;
    return g_module->open(&err);
}

void unload_module() {
    g_module.reset();
    host::loop_pass();
}

Outcome call(const std::string& function, const ojson& args, bool with_ret, bool null_args) {
    Outcome out;
    amxc_var_t args_var;
    amxc_var_t ret_var;
    amxc_var_init(&args_var);
    amxc_var_init(&ret_var);
    std::string err;
    if(!null_args) {
        EXPECT_TRUE(host::json_to_variant(args, &args_var, &err)) << err;
    }
    g_trace->clear();
    clnksim::clear_calls();
    if(!g_module->call(function, null_args ? nullptr : &args_var, with_ret ? &ret_var : nullptr, &out.rc, &err)) {
        ADD_FAILURE() << err;
    }
    host::loop_pass();
    out.ret = with_ret ? host::variant_to_typed_json(&ret_var, function) : ojson(nullptr);
    out.log = g_trace->take();
    out.chip = clnksim::take_calls();
    out.handles = clnksim::open_handles();
    amxc_var_clean(&args_var);
    amxc_var_clean(&ret_var);
    return out;
}

std::vector<LogLine> advance(uint64_t ms) {
    g_trace->clear();
    host::advance_virtual_clock(ms);
    return take_log();
}

std::vector<LogLine> take_log() {
    return g_trace->take();
}

void sim(const ojson& scenario) {
    std::string err;
    ASSERT_TRUE(clnksim::load_ordered(scenario, &err)) << err;
}

void fault(const ojson& f) {
    std::string err;
    ASSERT_TRUE(clnksim::arm_fault(nlohmann::json::parse(f.dump()), &err)) << err;
}

void patch(const ojson& merge) {
    std::string err;
    ASSERT_TRUE(clnksim::patch(nlohmann::json::parse(merge.dump()), &err)) << err;
}

bool logged(const std::vector<LogLine>& log, const std::string& msg) {
    return std::any_of(log.begin(), log.end(), [&](const LogLine& l) { return l.msg == msg; });
}

void ModuleTest::SetUp() {
    clnksim::reset();
    host::use_virtual_clock(true);
    ASSERT_TRUE(load_module());
    take_log();
}

void ModuleTest::TearDown() {
    unload_module();
    take_log();
    EXPECT_EQ(clnksim::open_handles(), 0);
}

void ModuleTest::create(const std::string& name) {
    Outcome out = call("create-moca-iface", ojson{{"InternalName", name}});
    ASSERT_EQ(out.rc, 0);
}

} // namespace mxltest
