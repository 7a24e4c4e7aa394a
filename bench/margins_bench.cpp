// SPDX-License-Identifier: BSD-2-Clause-Patent
// Cost of the PHY margin tables on full chip configurations: an 8064-entry
// RLAPM table (16 profiles x 6 rows x 84 levels) and a 64-entry SAPM table
// (16 profiles x 4 rows, 256 margins a row). Measures a cached entry, a refill
// and a whole walk, with the chip calls each makes. The argument selects the
// trace level: 0 drops info lines (a gateway's default), 1 formats them.
#include "mxl_bench_env.h"

namespace {

using mxlbench::Caller;
using mxlbench::ojson;

struct Table {
    const char* info_fn;
    uint32_t entries;
};

const Table RLAPM{"retrieve-rlapm-info", 8064};
const Table SAPM{"retrieve-sapm-info", 64};

ojson full_scenario() {
    ojson rlapm_row = {{"freq", 1150}, {"phymargin", ojson::array()}};
    ojson sapm_row = {{"freq", 1150}, {"threshold", 40}, {"scstart", 0}, {"phymargin", ojson::array()}};
    for(int i = 0; i < 256; i++) {
        if(i < 84) {
            rlapm_row["phymargin"].push_back((i * 3) % 256);
        }
        sapm_row["phymargin"].push_back(i % 64);
    }
    ojson moca0 = {
        {"present", true}, {"openable", true}, {"started", true}, {"localInfo", {{"nodeId", 0}, {"linkStatus", 1}}}};
    for(int p = 0; p < 16; p++) {
        for(int f = 0; f < 6; f++) {
            moca0["rlapm"]["profiles"][std::to_string(p)]["tbl"][std::to_string(f)] = rlapm_row;
        }
        for(int f = 0; f < 4; f++) {
            moca0["sapm"]["profiles"][std::to_string(p)]["tbl"][std::to_string(f)] = sapm_row;
        }
    }
    return {{"interfaces", {{"moca0", moca0}}}};
}

void BM_CachedEntry(benchmark::State& state, const Table* t) {
    Caller call(t->info_fn);
    mxlbench::set_trace(state.range(0) != 0);
    mxlbench::expire();
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
    mxlbench::per_iteration(state, "chip_calls_per_call", clnksim::calls().size());
}

void BM_Refill(benchmark::State& state, const Table* t) {
    Caller call(t->info_fn);
    mxlbench::set_trace(state.range(0) != 0);
    size_t calls = 0;
    for(auto _ : state) {
        state.PauseTiming();
        mxlbench::expire();
        state.ResumeTiming();
        benchmark::DoNotOptimize(call(1));
        calls += clnksim::calls().size();
    }
    mxlbench::per_iteration(state, "chip_calls_per_refill", calls);
}

void BM_Walk(benchmark::State& state, const Table* t) {
    Caller call(t->info_fn);
    mxlbench::set_trace(false);
    size_t calls = 0;
    for(auto _ : state) {
        state.PauseTiming();
        mxlbench::expire();
        state.ResumeTiming();
        for(uint32_t id = 1; id <= t->entries; id++) {
            benchmark::DoNotOptimize(call(id));
        }
        calls += clnksim::calls().size();
    }
    mxlbench::per_iteration(state, "chip_calls_per_walk", calls);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * t->entries);
}

BENCHMARK_CAPTURE(BM_CachedEntry, rlapm, &RLAPM)->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(BM_CachedEntry, sapm, &SAPM)->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(BM_Refill, rlapm, &RLAPM)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Refill, sapm, &SAPM)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Walk, rlapm, &RLAPM)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Walk, sapm, &SAPM)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    return mxlbench::run(argc, argv, full_scenario());
}
