// SPDX-License-Identifier: BSD-2-Clause-Patent
// Cost of the PQoS flow table on a full table: 16 flows, 4 on each of 4
// nodes. Measures a listing (refill), a cached "retrieve-flow-info", and a
// host's walk (counts and the 16 flows) with the chip calls it makes: one
// listing is open, local information and close, and per node its network
// information, one batch and a query per flow (3 + 4 x 6 = 27 calls). The
// argument selects the trace level: 0 drops info lines (a gateway's
// default), 1 formats them.
#include <cstdio>
#include <string>

#include "mxl_bench_env.h"

namespace {

using mxlbench::Caller;
using mxlbench::expire;
using mxlbench::ojson;
using mxlbench::per_iteration;

constexpr uint32_t NODES = 4;
constexpr uint32_t FLOWS_PER_NODE = 4;

std::string addr(uint32_t a, uint32_t b) {
    char text[18];
    snprintf(text, sizeof(text), "01:00:5e:00:%02x:%02x", a & 0xFF, b & 0xFF);
    return text;
}

ojson scenario() {
    ojson moca0 = {{"present", true},
                   {"openable", true},
                   {"started", true},
                   {"localInfo", {{"nodeId", 0}, {"linkStatus", 1}, {"activeNodeBitmask", (1u << NODES) - 1}}}};
    for(uint32_t n = 0; n < NODES; n++) {
        ojson list = ojson::array();
        for(uint32_t k = 0; k < FLOWS_PER_NODE; k++) {
            list.push_back({{"flowId", addr(n, k)},
                            {"packetDa", addr(n, k)},
                            {"ingressGuid", addr(0x80, n)},
                            {"egressGuid", addr(0x80, 3 - n)},
                            {"tPeakDataRateKbps", 20000},
                            {"tBurstSize", 2},
                            {"maxLatencyMs", 10},
                            {"ingressClass", "0x1"},
                            {"dfid", k}});
        }
        moca0["nodes"][std::to_string(n)] = {{"netInfo", {{"guid", addr(0x80, n)}, {"mocaVer", "0x25"}}},
                                             {"flows", {{"flowUpdateCount", 1}, {"list", list}}}};
    }
    return {{"interfaces", {{"moca0", moca0}}}};
}

void set_trace(const benchmark::State& state) {
    mxlbench::set_trace(state.range(0) != 0);
}

// A stale table read by a host: the counts (which list the flows again), then
// range(1) flows. With no flows this is the cost of one listing.
void BM_Listing(benchmark::State& state) {
    Caller qos("retrieve-qos-info");
    Caller flow("retrieve-flow-info");
    set_trace(state);
    const auto flows = static_cast<uint32_t>(state.range(1));
    size_t calls = 0;
    for(auto _ : state) {
        state.PauseTiming();
        expire();
        state.ResumeTiming();
        benchmark::DoNotOptimize(qos());
        for(uint32_t id = 1; id <= flows; id++) {
            benchmark::DoNotOptimize(flow(id));
        }
        calls += clnksim::calls().size();
    }
    per_iteration(state, flows == 0 ? "chip_calls_per_refill" : "chip_calls_per_walk", calls);
}

void BM_CachedFlowInfo(benchmark::State& state) {
    Caller flow("retrieve-flow-info");
    set_trace(state);
    expire();
    if(!flow.ok() || flow(1) != 0) {
        state.SkipWithError("module not callable");
        return;
    }
    clnksim::clear_calls();
    uint32_t id = 0;
    for(auto _ : state) {
        benchmark::DoNotOptimize(flow(id + 1));
        id = (id + 1) % (NODES * FLOWS_PER_NODE);
    }
    per_iteration(state, "chip_calls_per_call", clnksim::calls().size());
}

// Arguments: trace level (0 or 1), flows read after the counts.
BENCHMARK(BM_Listing)->Args({0, 0})->Args({1, 0})->Args({0, NODES* FLOWS_PER_NODE})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CachedFlowInfo)->Arg(0)->Arg(1);

} // namespace

int main(int argc, char** argv) {
    return mxlbench::run(argc, argv, scenario());
}
