// SPDX-License-Identifier: BSD-2-Clause-Patent
// Soak: many cached calls, then many record lifetimes, on the example network
// with the cache timers running on a virtual clock; the resident set size is
// reported before, between and after. Not a timed benchmark: it shows that
// memory stays flat, that no call fails, that no handle stays open and that
// no timer of a destroyed record fires.
//
//   soak [CACHED_CALLS [CYCLES]]      defaults: 1000000 and 10000
//
// Each cached call advances the virtual clock by 1 ms, so every table expires
// and is refilled from the chip every 10000 calls. Each cycle creates moca0,
// fills its six tables (all six timers started), lets 1 s pass, destroys the
// record and lets 11 s pass: no "timer fired" may follow a destroy.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include <string>

#include <amxc/amxc.h>
#include <clnksim.h>
#include <nolotrace.h>

#include "eventloop.h"
#include "module.h"

namespace {

host::Module g_module(MXL_MODULE_PATH);

// One registered function called the way a host does, reusing its variants.
class Caller {
public:
    explicit Caller(const char* fn) : fn_(fn) {
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

    // The call's result code; -1 when the module could not be called at all.
    int operator()(uint32_t id = 1) {
        amxc_var_set_uint32_t(id_, id);
        int rc = -1;
        return g_module.call(fn_, &args_, &ret_, &rc, &err_) ? rc : -1;
    }

private:
    std::string fn_;
    std::string err_;
    amxc_var_t args_;
    amxc_var_t ret_;
    amxc_var_t* id_ = nullptr;
};

// 1 when the call fails, else 0.
uint64_t fails(const char* fn) {
    return (Caller(fn)() != 0) ? 1 : 0;
}

struct Counts {
    uint64_t errors = 0;
    uint64_t timer_fired = 0;
} g_counts;

void count_lines(int level, const char*, const char* line, void*) {
    g_counts.errors += (level == TRACE_LEVEL_ERROR) ? 1 : 0;
    g_counts.timer_fired += (strstr(line, "timer fired") != nullptr) ? 1 : 0;
}

long rss_kb() {
    long pages_total = 0;
    long pages_resident = 0;
    FILE* f = fopen("/proc/self/statm", "r");
    if(f == nullptr) {
        return -1;
    }
    int n = fscanf(f, "%ld %ld", &pages_total, &pages_resident);
    fclose(f);
    return (n == 2) ? pages_resident * (sysconf(_SC_PAGESIZE) / 1024) : -1;
}

double seconds_since(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// The table functions with the number of entries walked.
struct Table {
    const char* fn;
    uint32_t ids;
};
const Table TABLES[] = {{"retrieve-node-info", 16}, {"retrieve-mesh-info", 256},  {"retrieve-bridge-info", 16},
                        {"retrieve-flow-info", 16}, {"retrieve-rlapm-info", 168}, {"retrieve-sapm-info", 4},
                        {"retrieve-qos-info", 1}};

// The simulator's call log is emptied as it goes: it is not the module's memory.
uint64_t g_chip_calls = 0;
void count_chip_calls() {
    g_chip_calls += clnksim::take_calls().size();
}

uint64_t cached_calls(uint64_t calls) {
    Caller* callers[std::size(TABLES)];
    for(size_t t = 0; t < std::size(TABLES); t++) {
        callers[t] = new Caller(TABLES[t].fn);
    }
    uint64_t failed = 0;
    for(uint64_t i = 0; i < calls; i++) {
        const size_t t = i % std::size(TABLES);
        failed += ((*callers[t])(static_cast<uint32_t>(i / std::size(TABLES) % TABLES[t].ids + 1)) != 0) ? 1 : 0;
        host::advance_virtual_clock(1);
        if(i % 10000 == 0) {
            count_chip_calls();
        }
    }
    count_chip_calls();
    for(Caller* c : callers) {
        delete c;
    }
    return failed;
}

uint64_t cycles(uint64_t count, uint64_t* fired_after_destroy) {
    uint64_t failed = 0;
    for(uint64_t i = 0; i < count; i++) {
        failed += fails("create-moca-iface");
        for(const Table& t : TABLES) {
            failed += fails(t.fn);
        }
        host::advance_virtual_clock(1000);
        failed += fails("destroy-moca-iface");
        const uint64_t fired = g_counts.timer_fired;
        host::advance_virtual_clock(11000);
        *fired_after_destroy += g_counts.timer_fired - fired;
        count_chip_calls();
    }
    return failed;
}

} // namespace

int main(int argc, char** argv) {
    const uint64_t calls = (argc > 1) ? strtoull(argv[1], nullptr, 10) : 1000000;
    const uint64_t cycle_count = (argc > 2) ? strtoull(argv[2], nullptr, 10) : 10000;

    clnksim::reset();
    host::use_virtual_clock(true);
    std::string err;
    if(!g_module.open(&err) || !clnksim::load_file(MXL_EXAMPLES_DIR "/home-network.json", &err)) {
        fprintf(stderr, "cannot set up the module: %s\n", err.c_str());
        return 1;
    }
    // Counted, not kept: a capture of every line would grow.
    noloTraceSetSink(count_lines, nullptr);
    noloTraceSetLevel(TRACE_LEVEL_INFO);
    if(fails("create-moca-iface") != 0) {
        fprintf(stderr, "cannot create moca0\n");
        return 1;
    }
    const long rss_start = rss_kb();

    auto t0 = std::chrono::steady_clock::now();
    uint64_t failed = cached_calls(calls);
    const double call_s = seconds_since(t0);
    const long rss_calls = rss_kb();
    const uint64_t chip_calls = g_chip_calls;
    failed += fails("destroy-moca-iface");

    uint64_t fired_after_destroy = 0;
    t0 = std::chrono::steady_clock::now();
    failed += cycles(cycle_count, &fired_after_destroy);
    const double cycle_s = seconds_since(t0);
    const long rss_end = rss_kb();
    const int handles = clnksim::open_handles();
    g_module.close(&err);
    host::loop_pass();

    printf("cached calls      %llu in %.2f s: %.0f calls/s (%llu chip calls for refills)\n",
           static_cast<unsigned long long>(calls), call_s, static_cast<double>(calls) / call_s,
           static_cast<unsigned long long>(chip_calls));
    printf("create/destroy    %llu cycles in %.2f s: %.0f cycles/s\n", static_cast<unsigned long long>(cycle_count),
           cycle_s, static_cast<double>(cycle_count) / cycle_s);
    printf("RSS               start %ld kB, after the calls %ld kB, end %ld kB\n", rss_start, rss_calls, rss_end);
    printf("failed calls      %llu, error lines %llu, open handles %d, timer fired after destroy %llu\n",
           static_cast<unsigned long long>(failed), static_cast<unsigned long long>(g_counts.errors), handles,
           static_cast<unsigned long long>(fired_after_destroy));
    return (failed == 0 && g_counts.errors == 0 && handles == 0 && fired_after_destroy == 0) ? 0 : 1;
}
