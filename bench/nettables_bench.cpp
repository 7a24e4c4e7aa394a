// SPDX-License-Identifier: BSD-2-Clause-Patent
// Cost of the network tables on a full 16-node network: a walk of the node,
// mesh and bridge tables (16 + 256 + 16 calls) cold, when every table is
// refilled first, and warm, when all are served from the caches; and one
// cached call per table, beside its floor: the same result variant built
// alone. Chip calls are counted per walk: a warm walk makes
// none, a cold one exactly the refills (78 + 19 + 20 calls with opens and
// closes). The second argument selects the trace level: 0 drops info lines
// (a gateway's default), 1 formats them.
#include <iterator>

#include "mxl_bench_env.h"

namespace {

using mxlbench::ojson;

struct Table {
    const char* fn;
    uint32_t entries;
};

const Table TABLES[] = {{"retrieve-node-info", 16}, {"retrieve-mesh-info", 256}, {"retrieve-bridge-info", 16}};
constexpr uint32_t WALK_CALLS = 16 + 256 + 16;
// Per refill: open, local information, the reads, close. Every remote node
// costs its network information and two profile pairs.
constexpr size_t COLD_CHIP_CALLS = (3 + 15 * 5) + (3 + 16) + (3 + 2 + 15);

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
    return {{"netInfo",
             {{"guid", mac(1, 0, id)},
              {"mocaVer", moca2 ? "0x25" : "0x11"},
              {"protoSupport", moca2 ? 0x240 : 0},
              {"txDataFrameGood", 5000 + id},
              {"rxDataFrameGood", 4000 + id},
              {"rxDataFrameBad", id}}},
            {"txProfiles", {{bcast, tx}, {ucast, tx}}},
            {"rxProfiles", {{bcast, rx}, {ucast, rx}}},
            {"fmr", {{"validInfo", 1}, {"p2p", p2p}}}};
}

ojson scenario() {
    ojson moca0 = {{"present", true},
                   {"openable", true},
                   {"started", true},
                   {"localInfo", {{"nodeId", 0}, {"linkStatus", 1}, {"activeNodeBitmask", "0xffff"}}}};
    ojson& bridges = moca0["bridgeTables"];
    for(uint32_t i = 0; i < 4; i++) {
        bridges["ucastSrc"].push_back({{"mac", mac(2, 0, i)}, {"nodeId", 0}});
    }
    bridges["mcastSrc"] = {{{"mac", "01:00:5e:00:00:01"}, {"nodeId", 0}},
                           {{"mac", "01:00:5e:00:00:02"}, {"nodeId", 0}}};
    for(uint32_t id = 0; id < 16; id++) {
        moca0["nodes"][std::to_string(id)] = node(id);
        for(uint32_t i = 0; id > 0 && i < 3; i++) {
            bridges["ucastDst"].push_back({{"mac", mac(3, id, i)}, {"nodeId", id}});
        }
    }
    return {{"interfaces", {{"moca0", moca0}}}};
}

// The three tables walked the way a host walks them, entry after entry.
struct Walker {
    mxlbench::Caller nodes{TABLES[0].fn};
    mxlbench::Caller mesh{TABLES[1].fn};
    mxlbench::Caller bridges{TABLES[2].fn};

    bool ok() const { return nodes.ok() && mesh.ok() && bridges.ok(); }
    // Returns the number of calls that failed.
    int walk() {
        int failed = 0;
        mxlbench::Caller* callers[] = {&nodes, &mesh, &bridges};
        for(size_t t = 0; t < std::size(TABLES); t++) {
            for(uint32_t id = 1; id <= TABLES[t].entries; id++) {
                failed += (*callers[t])(id) != 0 ? 1 : 0;
            }
        }
        return failed;
    }
};

// Argument 0: 1 for a cold walk (all three tables refilled), 0 for a warm one.
void BM_Walk(benchmark::State& state) {
    const bool cold = state.range(0) != 0;
    Walker walker;
    mxlbench::set_trace(state.range(1) != 0);
    mxlbench::expire();
    if(!walker.ok() || walker.walk() != 0) {
        state.SkipWithError("module not callable");
        return;
    }
    clnksim::clear_calls();
    size_t chip_calls = 0;
    int failed = 0;
    for(auto _ : state) {
        if(cold) {
            state.PauseTiming();
            mxlbench::expire();
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
    mxlbench::per_iteration(state, "chip_calls_per_walk", chip_calls);
    // Seconds per call, inverted from a rate: printed in ns.
    state.counters["per_call"] =
        benchmark::Counter(WALK_CALLS, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// One cached entry of a table, entries taken in turn. Argument 0 is the table.
void BM_CachedCall(benchmark::State& state) {
    const Table& table = TABLES[state.range(0)];
    mxlbench::Caller caller(table.fn);
    mxlbench::set_trace(state.range(1) != 0);
    mxlbench::expire();
    if(!caller.ok() || caller(1) != 0) {
        state.SkipWithError("module not callable");
        return;
    }
    state.SetLabel(table.fn);
    clnksim::clear_calls();
    uint32_t id = 0;
    for(auto _ : state) {
        benchmark::DoNotOptimize(caller(id + 1));
        id = (id + 1 == table.entries) ? 0 : id + 1;
    }
    state.counters["chip_calls"] = static_cast<double>(clnksim::take_calls().size());
}

// The floor of a cached node report: building the same result variant (a copy
// of the module's answer, one table of 27 typed keys) and destroying it, with
// neither the module nor its cache in the way.
void BM_NodeResultFloor(benchmark::State& state) {
    mxlbench::Caller caller("retrieve-node-info");
    mxlbench::expire();
    if(!caller.ok() || caller(1) != 0) {
        state.SkipWithError("module not callable");
        return;
    }
    amxc_var_t copy;
    amxc_var_init(&copy);
    for(auto _ : state) {
        amxc_var_copy(&copy, caller.ret());
        amxc_var_clean(&copy);
    }
}

BENCHMARK(BM_Walk)->ArgNames({"cold", "trace"})->ArgsProduct({{1, 0}, {0, 1}})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CachedCall)->ArgNames({"table", "trace"})->ArgsProduct({{0, 1, 2}, {0, 1}});
BENCHMARK(BM_NodeResultFloor);

} // namespace

int main(int argc, char** argv) {
    return mxlbench::run(argc, argv, scenario());
}
