// SPDX-License-Identifier: BSD-2-Clause-Patent
// Shared pieces of the module's benchmarks: the module loaded like a host,
// one registered function called with reused variants, the trace level, the
// end of the tables' 10 s, and a main that sets the module up on a scenario.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include <amxc/amxc.h>
#include <amxp/amxp_timer.h>
#include <clnksim.h>
#include <nolotrace.h>

#include <nlohmann/json.hpp>

#include "eventloop.h"
#include "module.h"

namespace mxlbench {

using ojson = nlohmann::ordered_json;

// The module as moca-host loads it (path compiled in as MXL_MODULE_PATH).
inline host::Module& module() {
    static host::Module m(MXL_MODULE_PATH);
    return m;
}

// One call with InternalName moca0; true when it returned 0.
inline bool call_ok(const char* fn) {
    amxc_var_t args;
    amxc_var_t ret;
    amxc_var_init(&args);
    amxc_var_init(&ret);
    amxc_var_set_type(&args, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_cstring_t(&args, "InternalName", "moca0");
    int rc = -1;
    std::string err;
    const bool ok = module().call(fn, &args, &ret, &rc, &err) && rc == 0;
    amxc_var_clean(&args);
    amxc_var_clean(&ret);
    return ok;
}

inline void discard(int, const char*, const char*, void*) {}

// One registered function called the way a host does, reusing its variants.
class Caller {
public:
    explicit Caller(const char* fn) : cb_(host::registered_callback(fn)) {
        amxc_var_init(&args_);
        amxc_var_init(&ret_);
        amxc_var_set_type(&args_, AMXC_VAR_ID_HTABLE);
        amxc_var_add_new_key_cstring_t(&args_, "InternalName", "moca0");
        id_ = amxc_var_add_new_key_uint32_t(&args_, "Id", 1);
    }
    ~Caller() {
        amxc_var_clean(&args_);
        amxc_var_clean(&ret_);
    }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    bool ok() const { return cb_ != nullptr; }
    const amxc_var_t* ret() const { return &ret_; }
    int operator()(uint32_t id = 1) {
        amxc_var_set_uint32_t(id_, id);
        return cb_("", &args_, &ret_);
    }

private:
    amxm_callback_t cb_;
    amxc_var_t args_;
    amxc_var_t ret_;
    amxc_var_t* id_ = nullptr;
};

// Info lines formatted (a debugging gateway) or dropped (the default).
inline void set_trace(bool info_lines) {
    noloTraceSetSink(discard, nullptr);
    noloTraceSetLevel(info_lines ? TRACE_LEVEL_DEBUG : TRACE_LEVEL_WARNING);
}

// Lets every cached table's 10 s run out, as the host's event loop would, and
// starts a fresh chip call log.
inline void expire() {
    host::advance_virtual_clock(10001);
    clnksim::clear_calls();
}

inline void per_iteration(benchmark::State& state, const char* name, size_t total) {
    state.counters[name] = benchmark::Counter(static_cast<double>(total), benchmark::Counter::kAvgIterations);
}

// Loads the module on a virtual clock, the simulator with `scenario`, creates
// moca0 and runs the registered benchmarks.
inline int run(int argc, char** argv, const ojson& scenario) {
    benchmark::Initialize(&argc, argv);
    clnksim::reset();
    host::use_virtual_clock(true);
    std::string err;
    if(!module().open(&err) || !clnksim::load(nlohmann::json::parse(scenario.dump()), &err)) {
        fprintf(stderr, "cannot set up the module: %s\n", err.c_str());
        return 1;
    }
    noloTraceSetSink(discard, nullptr);
    if(!call_ok("create-moca-iface")) {
        fprintf(stderr, "cannot create moca0\n");
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    module().close(&err);
    return 0;
}

} // namespace mxlbench
