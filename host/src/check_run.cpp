// SPDX-License-Identifier: BSD-2-Clause-Patent
// "check": the calls the manager makes, in its order, each timed and kept with
// its chip calls, then judged. The tables are walked twice: cold, right after
// create, so that each table function refills once; warm, right after, served
// from the caches. Statistics are read twice, a second apart on the host's
// clock: the virtual one in the simulator build (no real wait), the real one
// on a board.
#include <algorithm>
#include <chrono>
#include <thread>

#include "check.h"
#include "chip.h"
#include "eventloop.h"
#include "session.h"

namespace host {

namespace {

constexpr uint32_t max_rlapm_entries = 16 * 6 * 84;
constexpr uint32_t max_sapm_entries = 16 * 4;
constexpr uint64_t stats_gap_ms = 1000;
constexpr int cannot_check = 3;

// The settings whose write the module answers by read and compare (or, for
// Enable and the frequency mask, without the chip): writing the current value
// must not reach the chip. PrivacyEnabledSetting and KeyPassphrase are written
// on every call by design, so --write leaves them alone.
const char* const quiet_settings[] = {
    "Enable",       "PreferredNC",        "TpcTargetRateNper", "FreqCurrentMaskSetting",
    "TxPowerLimit", "PowerCntlPhyTarget", "BeaconPowerLimit",  "NodeTabooMask"};

class CheckWalker {
public:
    CheckWalker(Session& session, CheckRun& run) : session_(session), check_(run) {}

    void phase(Phase p) { phase_ = p; }

    const DumpCall& call(const std::string& function, uint32_t id = 0, const json& extra = json::object()) {
        DumpCall c;
        c.function = function;
        c.id = id;
        c.args = json::object();
        c.args["InternalName"] = check_.run.ifname;
        if(id != 0) {
            c.args["Id"] = id;
        }
        c.args.update(extra);
        Variant args;
        Variant ret;
        double ms = 0;
        if(json_to_variant(c.args, args.get(), &c.host_error)) {
            c.result = session_.traced_call(function, args.get(), ret.get(), true, &c.host_error, &ms);
        }
        check_.run.calls.push_back(std::move(c));
        check_.phases.push_back(phase_);
        check_.ms.push_back(ms);
        return check_.run.calls.back();
    }

    void table(const std::string& function, uint32_t count) { walk_table(*this, function, count); }

    // A table whose size another function reports; entry 1 is asked for also
    // when it reports none, so that the table's cache is exercised all the same.
    void counted_table(const std::string& number_function, const char* count_key, const std::string& function,
                       uint32_t limit) {
        const DumpCall& number = call(number_function);
        if(number.ok()) {
            table(function, static_cast<uint32_t>(std::clamp<uint64_t>(number.number(count_key), 1, limit)));
        }
    }

    void walk_tables() {
        table("retrieve-node-info", 16);
        table("retrieve-mesh-info", 256);
        table("retrieve-bridge-info", 16);
        counted_table("retrieve-rlapm-number", "RlapmNumberOfEntries", "retrieve-rlapm-info", max_rlapm_entries);
        counted_table("retrieve-sapm-number", "SapmNumberOfEntries", "retrieve-sapm-info", max_sapm_entries);
        if(call("retrieve-qos-info").ok()) {
            table("retrieve-flow-info", 16);
        }
    }

    // set-cfg-info with each quiet setting's current value, then the configuration again.
    void write_current(const DumpCall& cfg) {
        for(const char* key : quiet_settings) {
            const json* value = cfg.key(key);
            if(value != nullptr) {
                call("set-cfg-info", 0, json{{key, (*value)[1]}});
            }
        }
        call("retrieve-cfg-info");
    }

private:
    Session& session_;
    CheckRun& check_;
    Phase phase_ = Phase::setup;
};

// A second on the host's clock, with the event loop run on the way.
void wait_host_clock(uint64_t ms) {
#ifdef MOCA_HOST_BOARD
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
    loop_pass();
#else
    advance_virtual_clock(ms);
#endif
}

void drive(CheckWalker& w, CheckRun& run) {
    w.phase(Phase::setup);
    const bool present = w.call("is-present").ret()[1] == true;
    const bool available = w.call("is-available").ret()[1] == true;
    if(!present || !available || !w.call("create-moca-iface").ok()) {
        return;
    }
    w.phase(Phase::reports);
    const size_t cfg_index = run.run.calls.size();
    w.call("retrieve-cfg-info");
    w.call("retrieve-static-info");
    w.call("retrieve-dyn-info");
    w.phase(Phase::stats);
    w.call("retrieve-stats-info");
    wait_host_clock(stats_gap_ms);
    w.call("retrieve-stats-info");
    w.phase(Phase::cold);
    w.walk_tables();
    w.phase(Phase::warm);
    w.walk_tables();
    if(run.wrote && run.run.calls[cfg_index].ok()) {
        w.phase(Phase::write);
        const DumpCall cfg = run.run.calls[cfg_index];
        w.write_current(cfg);
    }
    w.phase(Phase::teardown);
    w.call("destroy-moca-iface");
}

} // namespace

const char* phase_name(Phase p) {
    static const char* const names[] = {"setup", "reports", "stats", "cold", "warm", "write", "teardown"};
    return names[static_cast<int>(p)];
}

int run_check(const Options& opt) {
    // Trace lines are kept with each call (up to warnings, unless --trace says more).
    Session session(opt, opt.trace_level >= 0 ? opt.trace_level : 200, opt.trace_level >= 0);
#ifndef MOCA_HOST_BOARD
    use_virtual_clock(true);
#endif
    if(!session.start()) {
        return cannot_check;
    }
    CheckRun check;
    check.run.ifname = opt.ifname;
    check.wrote = opt.write;
    check.chip_counted = chip::counts_calls();
    read_local_info(check.run);
    CheckWalker walker(session, check);
    const auto start = std::chrono::steady_clock::now();
    drive(walker, check);
    check.run.elapsed_ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    const auto results = judge_run(check);
    if(opt.json_output) {
        std::fprintf(stdout, "%s\n", check_json(check, results).dump(1).c_str());
    } else {
        print_check_text(check, results, stdout);
    }
    const Verdict worst = worst_verdict(results);
    return static_cast<int>(worst);
}

} // namespace host
