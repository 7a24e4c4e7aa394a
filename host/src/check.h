// SPDX-License-Identifier: BSD-2-Clause-Patent
// "check": the bring-up check. It drives every function the way the manager
// does (check_run.cpp) and judges what came back against what any conforming
// chip must give (check_judge.cpp, pure: tests feed it made-up runs).
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "dump.h"

namespace host {

enum class Verdict { pass = 0, warn = 1, fail = 2, skip = 3 };
const char* verdict_name(Verdict v);

// Where a call of the run belongs: the walks of the tables are "cold" (every
// table stale, just after create) and "warm" (right after, every table fresh).
enum class Phase { setup, reports, stats, cold, warm, write, teardown };
const char* phase_name(Phase p);

struct CheckRun {
    DumpRun run;               // the calls in order, sleep masks, the local GUID
    std::vector<Phase> phases; // per call
    std::vector<double> ms;    // per call: the module call alone
    bool chip_counted = false; // each call's chip calls are known
    bool wrote = false;        // --write: set-cfg-info with each current value
};

struct CheckResult {
    std::string name;
    Verdict verdict = Verdict::pass;
    std::string evidence;          // one line: what passed, or the first problem and how many more
    json problems = json::array(); // every problem found, one line each
    json details = json::object(); // check-specific figures (timing per function)
};

// Time budgets per call, in ms; docs/integration.md gives the reasons.
struct Budgets {
    double report = 100; // a call that reads the chip every time
    double cached = 5;   // a table entry served from the cache (median; max warns)
    double refill_nodes = 500;
    double refill_mesh = 250;
    double refill_bridges = 250;
    double refill_margins = 250; // RLAPM, SAPM
    double refill_flows = 500;
};

std::vector<CheckResult> judge_run(const CheckRun& run, const Budgets& budgets = Budgets{});
Verdict worst_verdict(const std::vector<CheckResult>& results);

// The documented keys and types of each function's result (check_keys.cpp):
// one line per problem of one successful call.
std::vector<std::string> key_problems(const DumpCall& call);

void print_check_text(const CheckRun& run, const std::vector<CheckResult>& results, std::FILE* out);
json check_json(const CheckRun& run, const std::vector<CheckResult>& results);

} // namespace host
