// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "session.h"

#include <chrono>
#include <climits>
#include <cstdio>

#include <unistd.h>

#include "chip.h"
#include "eventloop.h"

#ifndef MOCA_HOST_DEFAULT_MODULE
#define MOCA_HOST_DEFAULT_MODULE "mxl-moca-ctrl.so"
#endif
#ifndef MOCA_HOST_INSTALLED_MODULE
#define MOCA_HOST_INSTALLED_MODULE "../lib/mxl-moca-ctrl.so"
#endif

namespace host {

// Installed, the module lies at a fixed place relative to the host; in the
// build tree, it is the module built beside the host.
std::string default_module_path() {
    char exe[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    if(n > 0) {
        std::string dir(exe, static_cast<size_t>(n));
        std::string installed = dir.substr(0, dir.rfind('/') + 1) + MOCA_HOST_INSTALLED_MODULE;
        if(access(installed.c_str(), R_OK) == 0) {
            return installed;
        }
    }
    return MOCA_HOST_DEFAULT_MODULE;
}

Session::Session(const Options& opt, int trace_level, bool echo)
    : opt_(opt), trace_(trace_level), module_(opt.module_path.empty() ? default_module_path() : opt.module_path) {
    trace_.set_echo(echo);
}

bool Session::start() {
    std::string err;
    if(!opt_.sim_path.empty() && !chip::load_scenario_file(opt_.sim_path, &err)) {
        std::fprintf(stderr, "moca-host: scenario %s: %s\n", opt_.sim_path.c_str(), err.c_str());
        return false;
    }
    loop_init();
    if(!module_.open(&err)) {
        std::fprintf(stderr, "moca-host: %s\n", err.c_str());
        return false;
    }
    return true;
}

bool Session::call(const std::string& function, const json& args, amxc_var_t* ret, int* rc, std::string* err) {
    Variant in;
    if(!json_to_variant(args, in.get(), err)) {
        return false;
    }
    if(!module_.call(function, in.get(), ret, rc, err)) {
        return false;
    }
    loop_pass();
    return true;
}

json Session::traced_call(const std::string& function, amxc_var_t* args, amxc_var_t* ret, bool loop, std::string* err,
                          double* elapsed_ms) {
    trace_.clear();
    chip::clear_calls();
    int rc = 0;
    const auto start = std::chrono::steady_clock::now();
    if(!module_.call(function, args, ret, &rc, err)) {
        return json();
    }
    if(elapsed_ms != nullptr) {
        *elapsed_ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    }
    if(loop) {
        loop_pass();
    }
    json out = json::object();
    out["rc"] = rc;
    out["ret"] = variant_to_typed_json(ret, function);
    out["log"] = trace_lines_to_json(trace_.take());
    out["chip"] = chip::take_calls();
    out["handles"] = chip::open_handles();
    return out;
}

} // namespace host
