// Cost of the PHY margin tables on full chip configurations: an 8064-entry
// RLAPM table (16 profiles x 6 rows x 84 levels) and a 64-entry SAPM table
// (16 profiles x 4 rows, 256 margins a row). Measures a cached entry, a refill
// and a whole walk, with the chip calls each makes. The argument selects the
// trace level: 0 drops info lines (a gateway's default), 1 formats them.
#include <benchmark/benchmark.h>

#include <amxc/amxc.h>
#include <amxhost/amxhost.h>
#include <amxp/amxp_timer.h>
#include <clnksim.h>
#include <nolotrace.h>
#include <timerclock/timerclock.h>

#include "mxl_test_env.h"

namespace {

struct Table {
    const char* info_fn;
    uint32_t entries;
};

const Table RLAPM{"retrieve-rlapm-info", 8064};
const Table SAPM{"retrieve-sapm-info", 64};

void discard(int, const char*, const char*, void*) {}

mxltest::ojson full_scenario() {
    mxltest::ojson rlapm_row = {{"freq", 1150}, {"phymargin", mxltest::ojson::array()}};
    mxltest::ojson sapm_row = {{"freq", 1150}, {"threshold", 40}, {"scstart", 0},
                               {"phymargin", mxltest::ojson::array()}};
    for(int i = 0; i < 256; i++) {
        if(i < 84) {
            rlapm_row["phymargin"].push_back((i * 3) % 256);
        }
        sapm_row["phymargin"].push_back(i % 64);
    }
    mxltest::ojson s;
    mxltest::ojson& moca0 = s["interfaces"]["moca0"];
    moca0 = {{"present", true}, {"openable", true}, {"started", true}, {"localInfo", {{"nodeId", 0}, {"linkStatus", 1}}}};
    for(int p = 0; p < 16; p++) {
        for(int f = 0; f < 6; f++) {
            moca0["rlapm"]["profiles"][std::to_string(p)]["tbl"][std::to_string(f)] = rlapm_row;
        }
        for(int f = 0; f < 4; f++) {
            moca0["sapm"]["profiles"][std::to_string(p)]["tbl"][std::to_string(f)] = sapm_row;
        }
    }
    return s;
}

// One registered function called the way a host does, with its own variants.
class Caller {
public:
    explicit Caller(const Table& t) : cb_(amxhost_get_callback("mxl", "moca-ctrl", t.info_fn)) {
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
    bool ok() const { return cb_ != nullptr; }
    int operator()(uint32_t id) {
        amxc_var_set_uint32_t(id_, id);
        return cb_("", &args_, &ret_);
    }

private:
    amxm_callback_t cb_;
    amxc_var_t args_;
    amxc_var_t ret_;
    amxc_var_t* id_ = nullptr;
};

void set_trace(const benchmark::State& state) {
    noloTraceSetSink(discard, nullptr);
    noloTraceSetLevel(state.range(0) != 0 ? TRACE_LEVEL_DEBUG : TRACE_LEVEL_WARNING);
}

// Lets the cached table's 10 s run out, as the host's event loop would.
void expire() {
    timerclock_advance_ms(11000);
    amxp_timers_calculate();
    amxp_timers_check();
}

void BM_CachedEntry(benchmark::State& state, const Table* t) {
    Caller call(*t);
    set_trace(state);
    expire();
    if(!call.ok() || call(1) != 0) {
        state.SkipWithError("module not callable");
        return;
    }
    clnksim::clear_calls();
    uint32_t id = 0;
    for(auto _ : state) {
        benchmark::DoNotOptimize(call(id + 1));
        id = (id + 1 == t->entries) ? 0 : id + 1;
    }
    state.counters["chip_calls"] = static_cast<double>(clnksim::take_calls().size());
}

void BM_Refill(benchmark::State& state, const Table* t) {
    Caller call(*t);
    set_trace(state);
    for(auto _ : state) {
        state.PauseTiming();
        expire();
        clnksim::clear_calls();
        state.ResumeTiming();
        benchmark::DoNotOptimize(call(1));
    }
    state.counters["chip_calls_per_refill"] = static_cast<double>(clnksim::take_calls().size());
}

void BM_Walk(benchmark::State& state, const Table* t) {
    Caller call(*t);
    set_trace(state);
    size_t chip_calls = 0;
    for(auto _ : state) {
        state.PauseTiming();
        expire();
        state.ResumeTiming();
        for(uint32_t id = 1; id <= t->entries; id++) {
            benchmark::DoNotOptimize(call(id));
        }
        state.PauseTiming();
        chip_calls += clnksim::take_calls().size();
        state.ResumeTiming();
    }
    state.counters["chip_calls_per_walk"] = benchmark::Counter(static_cast<double>(chip_calls),
                                                               benchmark::Counter::kAvgIterations);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * t->entries);
}

BENCHMARK_CAPTURE(BM_CachedEntry, rlapm, &RLAPM)->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(BM_CachedEntry, sapm, &SAPM)->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(BM_Refill, rlapm, &RLAPM)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Refill, sapm, &SAPM)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Walk, rlapm, &RLAPM)->Arg(0)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Walk, sapm, &SAPM)->Arg(0)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    clnksim::reset();
    timerclock_use_virtual(true);
    std::string err;
    if(!mxltest::load_module() || !clnksim::load(nlohmann::json::parse(full_scenario().dump()), &err)) {
        fprintf(stderr, "cannot set up the module: %s\n", err.c_str());
        return 1;
    }
    noloTraceSetSink(discard, nullptr);
    if(mxltest::call("create-moca-iface", {{"InternalName", "moca0"}}).rc != 0) {
        fprintf(stderr, "cannot create moca0\n");
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    mxltest::unload_module();
    return 0;
}
