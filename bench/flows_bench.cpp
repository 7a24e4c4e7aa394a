// Cost of the PQoS flow table on a full table: 16 flows, 4 on each of 4
// nodes. Measures a listing (refill), a cached "retrieve-flow-info", and a
// host's walk (counts and the 16 flows) with the chip calls it makes: one
// listing is open, local information and close, and per node its network
// information, one batch and a query per flow (3 + 4 x 6 = 27 calls). The
// argument selects the trace level: 0 drops info lines (a gateway's
// default), 1 formats them.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include <amxc/amxc.h>
#include <amxhost/amxhost.h>
#include <amxp/amxp_timer.h>
#include <clnksim.h>
#include <nolotrace.h>
#include <timerclock/timerclock.h>

#include "mxl_test_env.h"

namespace {

using mxltest::ojson;

constexpr uint32_t NODES = 4;
constexpr uint32_t FLOWS_PER_NODE = 4;

void discard(int, const char*, const char*, void*) {}

std::string addr(uint32_t a, uint32_t b) {
    char text[18];
    snprintf(text, sizeof(text), "01:00:5e:00:%02x:%02x", a & 0xFF, b & 0xFF);
    return text;
}

ojson scenario() {
    ojson moca0 = {{"present", true}, {"openable", true}, {"started", true},
                   {"localInfo", {{"nodeId", 0}, {"linkStatus", 1}, {"activeNodeBitmask", (1u << NODES) - 1}}}};
    for(uint32_t n = 0; n < NODES; n++) {
        ojson list = ojson::array();
        for(uint32_t k = 0; k < FLOWS_PER_NODE; k++) {
            list.push_back({{"flowId", addr(n, k)}, {"packetDa", addr(n, k)}, {"ingressGuid", addr(0x80, n)},
                            {"egressGuid", addr(0x80, 3 - n)}, {"tPeakDataRateKbps", 20000}, {"tBurstSize", 2},
                            {"maxLatencyMs", 10}, {"ingressClass", "0x1"}, {"dfid", k}});
        }
        moca0["nodes"][std::to_string(n)] = {{"netInfo", {{"guid", addr(0x80, n)}, {"mocaVer", "0x25"}}},
                                             {"flows", {{"flowUpdateCount", 1}, {"list", list}}}};
    }
    return {{"interfaces", {{"moca0", moca0}}}};
}

// One registered function called the way a host does, reusing its variants.
struct Caller {
    amxm_callback_t cb;
    amxc_var_t args;
    amxc_var_t ret;
    amxc_var_t* id;

    explicit Caller(const char* fn) : cb(amxhost_get_callback("mxl", "moca-ctrl", fn)) {
        amxc_var_init(&args);
        amxc_var_init(&ret);
        amxc_var_set_type(&args, AMXC_VAR_ID_HTABLE);
        amxc_var_add_new_key_cstring_t(&args, "InternalName", "moca0");
        id = amxc_var_add_new_key_uint32_t(&args, "Id", 1);
    }
    ~Caller() {
        amxc_var_clean(&args);
        amxc_var_clean(&ret);
    }
    int operator()(uint32_t flow = 1) {
        amxc_var_set_uint32_t(id, flow);
        return cb("", &args, &ret);
    }
};

void set_trace(const benchmark::State& state) {
    noloTraceSetSink(discard, nullptr);
    noloTraceSetLevel(state.range(0) != 0 ? TRACE_LEVEL_DEBUG : TRACE_LEVEL_WARNING);
}

// Lets the table's 10 s run out, as the host's event loop would.
void expire() {
    timerclock_advance_ms(10001);
    amxp_timers_calculate();
    amxp_timers_check();
    clnksim::clear_calls();
}

void per_iteration(benchmark::State& state, const char* name, size_t total) {
    state.counters[name] = benchmark::Counter(static_cast<double>(total), benchmark::Counter::kAvgIterations);
}

void BM_Refill(benchmark::State& state) {
    Caller qos("retrieve-qos-info");
    set_trace(state);
    size_t calls = 0;
    for(auto _ : state) {
        state.PauseTiming();
        expire();
        state.ResumeTiming();
        benchmark::DoNotOptimize(qos());
        calls += clnksim::calls().size();
    }
    per_iteration(state, "chip_calls_per_refill", calls);
}

void BM_CachedFlowInfo(benchmark::State& state) {
    Caller flow("retrieve-flow-info");
    set_trace(state);
    expire();
    if(flow(1) != 0) {
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

void BM_Walk(benchmark::State& state) {
    Caller qos("retrieve-qos-info");
    Caller flow("retrieve-flow-info");
    set_trace(state);
    size_t calls = 0;
    for(auto _ : state) {
        state.PauseTiming();
        expire();
        state.ResumeTiming();
        benchmark::DoNotOptimize(qos());
        for(uint32_t id = 1; id <= NODES * FLOWS_PER_NODE; id++) {
            benchmark::DoNotOptimize(flow(id));
        }
        calls += clnksim::calls().size();
    }
    per_iteration(state, "chip_calls_per_walk", calls);
}

BENCHMARK(BM_Refill)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CachedFlowInfo)->Arg(0)->Arg(1);
BENCHMARK(BM_Walk)->Arg(0)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    clnksim::reset();
    timerclock_use_virtual(true);
    std::string err;
    if(!mxltest::load_module() || !clnksim::load(nlohmann::json::parse(scenario().dump()), &err)) {
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
