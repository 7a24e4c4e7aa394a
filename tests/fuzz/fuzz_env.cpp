// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "fuzz_env.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include <sys/time.h>
#include <iterator>

#include <clnkapi.h>
#include <clnksim.h>
#include <nolotrace.h>

#include "eventloop.h"
#include "module.h"

extern "C" int gettimeofday(struct timeval* __restrict tv, void* __restrict) noexcept {
    fuzzenv::move_wall_clock(10'000);
    const int64_t now = fuzzenv::wall_clock_us();
    *tv = {static_cast<time_t>(now / 1'000'000), static_cast<suseconds_t>(now % 1'000'000)};
    return 0;
}

namespace fuzzenv {

namespace {

constexpr const char* fn_names[] = {
    "create-moca-iface",    "destroy-moca-iface", "set-cfg-info",       "retrieve-cfg-info",     "retrieve-static-info",
    "retrieve-dyn-info",    "retrieve-qos-info",  "retrieve-flow-info", "retrieve-rlapm-number", "retrieve-rlapm-info",
    "retrieve-sapm-number", "retrieve-sapm-info", "retrieve-node-info", "retrieve-mesh-info",    "retrieve-bridge-info",
    "retrieve-stats-info",  "is-available",       "is-present",
};
static_assert(std::size(fn_names) == static_cast<size_t>(Fn::count));

host::Module g_module(MXL_MODULE_PATH);
unsigned g_lines = 0;
unsigned g_errors = 0;
std::set<std::string> g_records;

void count_line(int level, const char*, const char*, void*) {
    g_lines++;
    g_errors += (level == TRACE_LEVEL_ERROR) ? 1 : 0;
}

// create, destroy and set-cfg-info never use ret.
bool uses_ret(Fn fn) {
    return fn != Fn::create && fn != Fn::destroy && fn != Fn::set_cfg;
}

bool is_answer(Fn fn) {
    return fn == Fn::is_available || fn == Fn::is_present;
}

bool legal_value(const amxc_var_t* v) {
    switch(amxc_var_type_of(v)) {
        case AMXC_VAR_ID_CSTRING:
        case AMXC_VAR_ID_CSV_STRING:
        case AMXC_VAR_ID_BOOL:
        case AMXC_VAR_ID_UINT32:
        case AMXC_VAR_ID_INT32:
        case AMXC_VAR_ID_UINT64: return true;
        default: return false;
    }
}

bool legal_table(const amxc_var_t* ret) {
    if(amxc_var_type_of(ret) != AMXC_VAR_ID_HTABLE) {
        return false;
    }
    const amxc_htable_t* table = amxc_var_get_const_amxc_htable_t(ret);
    for(amxc_htable_it_t* it = amxc_htable_get_first(table); it != nullptr; it = amxc_htable_it_get_next(it)) {
        if(!legal_value(amxc_var_from_htable_it(it))) {
            return false;
        }
    }
    return true;
}

bool same(const amxc_var_t* a, const amxc_var_t* b) {
    int result = 1;
    return amxc_var_type_of(a) == amxc_var_type_of(b) && amxc_var_compare(a, b, &result) == 0 && result == 0;
}

bool legal_code(int rc, const Codes& codes) {
    return rc == 0 || (rc <= CLNK_ERR_GENERIC && rc >= CLNK_ERR_TIMEOUT) || codes.any || codes.armed.count(rc) != 0;
}

// What ret may hold after a call: functions that report fill a table (a
// boolean for the two questions) on success; a failure leaves ret as it was,
// except that a table function fills from its cache after a failed refill.
void check_ret(Fn fn, int rc, const amxc_var_t* ret, const amxc_var_t* before) {
    const char* name = fn_name(fn);
    if(!uses_ret(fn)) {
        if(!same(ret, before)) {
            finding("%s wrote into ret", name);
        }
        return;
    }
    if(is_answer(fn)) {
        if(rc == 0 ? amxc_var_type_of(ret) != AMXC_VAR_ID_BOOL : !same(ret, before)) {
            finding("%s returned %d with a result of type %s", name, rc, amxc_var_type_name_of(ret));
        }
        return;
    }
    if(rc == 0 ? !legal_table(ret) : !(same(ret, before) || legal_table(ret))) {
        finding("%s returned %d with a result of type %s (or a value of an illegal type)", name, rc,
                amxc_var_type_name_of(ret));
    }
}

} // namespace

// The wall clock the flow listing waits on: it moves 10 ms at every reading,
// so that a 100 ms busy wait takes ten readings instead of 100 ms.
int64_t g_wall_us = 1'700'000'000'000'000;

void move_wall_clock(int64_t us) {
    g_wall_us += us;
}

int64_t wall_clock_us() {
    return g_wall_us;
}

void finding(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    std::fputs("FINDING: ", stderr);
    std::vfprintf(stderr, fmt, ap);
    std::fputc('\n', stderr);
    va_end(ap);
    std::abort();
}

const char* fn_name(Fn fn) {
    return fn_names[static_cast<unsigned>(fn)];
}

void init() {
    static bool done = false;
    if(done) {
        return;
    }
    done = true;
    noloTraceSetLevel(TRACE_LEVEL_DEBUG);
    noloTraceSetSink(count_line, nullptr);
    host::use_virtual_clock(true);
    std::string err;
    if(!g_module.open(&err)) {
        finding("%s", err.c_str());
    }
}

bool timers_idle() {
    host::loop_pass();
    return !host::virtual_timer_armed();
}

int call(Fn fn, amxc_var_t* args, amxc_var_t* ret, const Codes& codes) {
    const char* name = fn_name(fn);
    amxc_var_t before;
    amxc_var_init(&before);
    if(ret != nullptr) {
        amxc_var_copy(&before, ret);
    }
    g_lines = 0;
    g_errors = 0;
    int rc = 0;
    std::string err;
    if(!g_module.call(name, args, ret, &rc, &err)) {
        finding("%s", err.c_str());
    }
    clnksim::clear_calls();
    if(clnksim::open_handles() != 0) {
        finding("%s left %d chip handles open", name, clnksim::open_handles());
    }
    if(!legal_code(rc, codes)) {
        finding("%s returned %d, neither 0, -1 nor a code the chip gave", name, rc);
    }
    if(uses_ret(fn) && ret == nullptr) {
        if(rc != -1 || g_lines != 0) {
            finding("%s with no ret returned %d and logged %u lines", name, rc, g_lines);
        }
    } else if(rc != 0 && g_errors == 0) {
        finding("%s returned %d without an error line", name, rc);
    }
    if(ret != nullptr) {
        check_ret(fn, rc, ret, &before);
    }
    amxc_var_clean(&before);
    if(fn == Fn::create || fn == Fn::destroy) {
        const char* ifname =
            amxc_var_get_const_cstring_t(amxc_var_get_key(args, "InternalName", AMXC_VAR_FLAG_DEFAULT));
        if(rc == 0 && ifname != nullptr && fn == Fn::create) {
            g_records.insert(ifname);
        } else if(rc == 0 && ifname != nullptr) {
            g_records.erase(ifname);
        }
    }
    host::loop_pass();
    return rc;
}

int call_named(Fn fn, const std::string& name, uint32_t id, const Codes& codes) {
    amxc_var_t args;
    amxc_var_t ret;
    amxc_var_init(&args);
    amxc_var_init(&ret);
    amxc_var_set_type(&args, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_cstring_t(&args, "InternalName", name.c_str());
    if(id != 0) {
        amxc_var_add_new_key_uint32_t(&args, "Id", id);
    }
    int rc = call(fn, &args, &ret, codes);
    amxc_var_clean(&args);
    amxc_var_clean(&ret);
    return rc;
}

void destroy_records(const Codes& codes) {
    const std::set<std::string> names = g_records;
    for(const std::string& name : names) {
        if(call_named(Fn::destroy, name, 0, codes) != 0) {
            finding("destroy-moca-iface failed for the record '%s'", name.c_str());
        }
    }
    if(!g_records.empty() || !timers_idle()) {
        finding("a cache timer still runs after every record was destroyed");
    }
}

void walk(const std::string& name, const Codes& codes) {
    call_named(Fn::is_present, name, 0, codes);
    call_named(Fn::is_available, name, 0, codes);
    if(call_named(Fn::create, name, 0, codes) != 0) {
        return;
    }
    for(Fn fn : {Fn::cfg, Fn::static_info, Fn::dyn, Fn::stats, Fn::qos}) {
        call_named(fn, name, 0, codes);
    }
    amxc_var_t args;
    amxc_var_init(&args);
    amxc_var_set_type(&args, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_cstring_t(&args, "InternalName", name.c_str());
    amxc_var_add_new_key_bool(&args, "PreferredNC", true);
    amxc_var_add_new_key_uint32_t(&args, "TxPowerLimit", 7);
    call(Fn::set_cfg, &args, nullptr, codes);
    amxc_var_clean(&args);
    for(uint32_t id = 1; id <= 16; id++) {
        call_named(Fn::node, name, id, codes);
        call_named(Fn::bridge, name, id, codes);
        call_named(Fn::flow, name, id, codes);
    }
    for(uint32_t id : {1u, 17u, 256u}) {
        call_named(Fn::mesh, name, id, codes);
    }
    call_named(Fn::rlapm_number, name, 0, codes);
    call_named(Fn::sapm_number, name, 0, codes);
    for(uint32_t id : {1u, 2u, 84u, 8064u}) {
        call_named(Fn::rlapm, name, id, codes);
    }
    for(uint32_t id : {1u, 2u, 64u}) {
        call_named(Fn::sapm, name, id, codes);
    }
    call_named(Fn::destroy, name, 0, codes);
}

void advance(uint64_t ms) {
    host::advance_virtual_clock(ms);
    if(clnksim::open_handles() != 0) {
        finding("a timer left %d chip handles open", clnksim::open_handles());
    }
}

} // namespace fuzzenv
