// Cost of the network tables on a full 16-node network: a walk of the node,
// mesh and bridge tables (16 + 256 + 16 calls) cold, when every table is
// refilled first, and warm, when all are served from the caches; and one
// cached call per table. Chip calls are counted per walk: a warm walk makes
// none, a cold one exactly the refills (78 + 19 + 20 calls with opens and
// closes). The second argument selects the trace level: 0 drops info lines
// (a gateway's default), 1 formats them.
#include <benchmark/benchmark.h>

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

struct Table {
    const char* fn;
    uint32_t entries;
};

const Table TABLES[] = {{"retrieve-node-info", 16}, {"retrieve-mesh-info", 256}, {"retrieve-bridge-info", 16}};
constexpr uint32_t WALK_CALLS = 16 + 256 + 16;
// Per refill: open, local information, the reads, close. Every remote node
// costs its network information and two profile pairs.
constexpr size_t COLD_CHIP_CALLS = (3 + 15 * 5) + (3 + 16) + (3 + 2 + 15);

void discard(int, const char*, const char*, void*) {}

std::string mac(uint32_t a, uint32_t b, uint32_t c) {
    char text[18];
    snprintf(text, sizeof(text), "02:00:00:%02x:%02x:%02x", a & 0xFF, b & 0xFF, c & 0xFF);
    return text;
}

// Odd nodes are bonded MoCA 2.5 nodes, even ones MoCA 1.1; all have valid
// profiles, a full FMR row and three bridged addresses.
ojson node(uint32_t id) {
    const bool moca2 = (id % 2) == 1;
    const char* bcast = moca2 ? "14" : "8";
    const char* ucast = moca2 ? "18" : "7";
    ojson tx = {{"txProfileValid", 1}, {"txPhyrate", moca2 ? 1800 : 240}, {"txTpcBackoff", 3}};
    ojson rx = {{"rxProfileValid", 1}, {"rxPhyrate", moca2 ? 1750 : 235}, {"rxPwrLevel", 25}, {"rxChnSnr", 32}};
    ojson p2p = ojson::object();
    for(uint32_t r = 0; r < 16; r++) {
        p2p[std::to_string(r)] = {{"rateNper", 1500 + r}, {"rateVLper", 1200 + r}};
    }
    return {{"netInfo", {{"guid", mac(1, 0, id)}, {"mocaVer", moca2 ? "0x25" : "0x11"}, {"protoSupport", moca2 ? 0x240 : 0},
                         {"txDataFrameGood", 5000 + id}, {"rxDataFrameGood", 4000 + id}, {"rxDataFrameBad", id}}},
            {"txProfiles", {{bcast, tx}, {ucast, tx}}},
            {"rxProfiles", {{bcast, rx}, {ucast, rx}}},
            {"fmr", {{"validInfo", 1}, {"p2p", p2p}}}};
}

ojson scenario() {
    ojson moca0 = {{"present", true}, {"openable", true}, {"started", true},
                   {"localInfo", {{"nodeId", 0}, {"linkStatus", 1}, {"activeNodeBitmask", "0xffff"}}}};
    ojson& bridges = moca0["bridgeTables"];
    for(uint32_t i = 0; i < 4; i++) {
        bridges["ucastSrc"].push_back({{"mac", mac(2, 0, i)}, {"nodeId", 0}});
    }
    bridges["mcastSrc"] = {{{"mac", "01:00:5e:00:00:01"}, {"nodeId", 0}}, {{"mac", "01:00:5e:00:00:02"}, {"nodeId", 0}}};
    for(uint32_t id = 0; id < 16; id++) {
        moca0["nodes"][std::to_string(id)] = node(id);
        for(uint32_t i = 0; id > 0 && i < 3; i++) {
            bridges["ucastDst"].push_back({{"mac", mac(3, id, i)}, {"nodeId", id}});
        }
    }
    return {{"interfaces", {{"moca0", moca0}}}};
}

// One registered function called the way a host does, reusing its variants.
struct TableCaller {
    amxm_callback_t cb = nullptr;
    amxc_var_t args;
    amxc_var_t ret;
    amxc_var_t* id = nullptr;

    explicit TableCaller(const char* fn) : cb(amxhost_get_callback("mxl", "moca-ctrl", fn)) {
        amxc_var_init(&args);
        amxc_var_init(&ret);
        amxc_var_set_type(&args, AMXC_VAR_ID_HTABLE);
        amxc_var_add_new_key_cstring_t(&args, "InternalName", "moca0");
        id = amxc_var_add_new_key_uint32_t(&args, "Id", 1);
    }
    ~TableCaller() {
        amxc_var_clean(&args);
        amxc_var_clean(&ret);
    }
    int call(uint32_t entry) {
        amxc_var_set_uint32_t(id, entry);
        return cb("", &args, &ret);
    }
};

struct Walker {
    TableCaller nodes{TABLES[0].fn};
    TableCaller mesh{TABLES[1].fn};
    TableCaller bridges{TABLES[2].fn};

    bool ok() const { return nodes.cb != nullptr && mesh.cb != nullptr && bridges.cb != nullptr; }
    // Returns the number of calls that failed.
    int walk() {
        int failed = 0;
        TableCaller* callers[] = {&nodes, &mesh, &bridges};
        for(size_t t = 0; t < 3; t++) {
            for(uint32_t id = 1; id <= TABLES[t].entries; id++) {
                failed += callers[t]->call(id) != 0 ? 1 : 0;
            }
        }
        return failed;
    }
};

void set_trace(const benchmark::State& state) {
    noloTraceSetSink(discard, nullptr);
    noloTraceSetLevel(state.range(1) != 0 ? TRACE_LEVEL_DEBUG : TRACE_LEVEL_WARNING);
}

// Lets every cache's 10 s run out, as the host's event loop would.
void expire() {
    timerclock_advance_ms(10001);
    amxp_timers_calculate();
    amxp_timers_check();
}

// Argument 0: 1 for a cold walk (all three tables refilled), 0 for a warm one.
void BM_Walk(benchmark::State& state) {
    const bool cold = state.range(0) != 0;
    Walker walker;
    set_trace(state);
    expire();
    if(!walker.ok() || walker.walk() != 0) {
        state.SkipWithError("module not callable");
        return;
    }
    size_t chip_calls = 0;
    int failed = 0;
    for(auto _ : state) {
        if(cold) {
            state.PauseTiming();
            expire();
            clnksim::clear_calls();
            state.ResumeTiming();
        }
        failed += walker.walk();
        state.PauseTiming();
        chip_calls += clnksim::take_calls().size();
        state.ResumeTiming();
    }
    const size_t expected = cold ? COLD_CHIP_CALLS * state.iterations() : 0;
    if(failed != 0 || chip_calls != expected) {
        state.SkipWithError("a walk failed or made unexpected chip calls");
    }
    state.counters["chip_calls_per_walk"] =
        benchmark::Counter(static_cast<double>(chip_calls), benchmark::Counter::kAvgIterations);
    state.counters["ns_per_call"] = benchmark::Counter(
        static_cast<double>(WALK_CALLS) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// One cached entry of a table, entries taken in turn. Argument 0 is the table.
void BM_CachedCall(benchmark::State& state) {
    const Table& table = TABLES[state.range(0)];
    TableCaller caller(table.fn);
    set_trace(state);
    expire();
    if(caller.cb == nullptr || caller.call(1) != 0) {
        state.SkipWithError("module not callable");
        return;
    }
    state.SetLabel(table.fn);
    clnksim::clear_calls();
    uint32_t id = 0;
    for(auto _ : state) {
        benchmark::DoNotOptimize(caller.call(id + 1));
        id = (id + 1 == table.entries) ? 0 : id + 1;
    }
    state.counters["chip_calls"] = static_cast<double>(clnksim::take_calls().size());
}

BENCHMARK(BM_Walk)->ArgNames({"cold", "trace"})->ArgsProduct({{1, 0}, {0, 1}})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CachedCall)->ArgNames({"table", "trace"})->ArgsProduct({{0, 1, 2}, {0, 1}});

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
