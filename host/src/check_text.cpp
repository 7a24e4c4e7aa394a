// SPDX-License-Identifier: BSD-2-Clause-Patent
// The bring-up check's two renderings: one screen for people, one JSON document for CI.
#include "check.h"

namespace host {

namespace {

const char* counted_by() {
#ifdef MOCA_HOST_BOARD
    return "interposition of the chip library";
#else
    return "the simulator's call log";
#endif
}

size_t count(const std::vector<CheckResult>& results, Verdict v) {
    size_t n = 0;
    for(const auto& r : results) {
        n += r.verdict == v ? 1 : 0;
    }
    return n;
}

} // namespace

void print_check_text(const CheckRun& run, const std::vector<CheckResult>& results, std::FILE* out) {
    std::fprintf(out, "moca-host check %s: %zu calls in %.1f ms, chip calls counted by %s\n\n", run.run.ifname.c_str(),
                 run.run.calls.size(), run.run.elapsed_ms, counted_by());
    for(const auto& r : results) {
        std::fprintf(out, "  %s  %-14s %s\n", verdict_name(r.verdict), r.name.c_str(), r.evidence.c_str());
    }
    std::fprintf(out, "\n%s: %zu passed, %zu warned, %zu failed, %zu skipped\n", verdict_name(worst_verdict(results)),
                 count(results, Verdict::pass), count(results, Verdict::warn), count(results, Verdict::fail),
                 count(results, Verdict::skip));
}

json check_json(const CheckRun& run, const std::vector<CheckResult>& results) {
    json checks = json::array();
    for(const auto& r : results) {
        json c = {
            {"name", r.name}, {"verdict", verdict_name(r.verdict)}, {"evidence", r.evidence}, {"problems", r.problems}};
        if(!r.details.empty()) {
            c["details"] = r.details;
        }
        checks.push_back(std::move(c));
    }
    size_t chip_calls = 0;
    for(const auto& c : run.run.calls) {
        chip_calls += c.chip_calls();
    }
    return {{"interface", run.run.ifname},
            {"verdict", verdict_name(worst_verdict(results))},
            {"calls", run.run.calls.size()},
            {"chip_calls", run.chip_counted ? json(chip_calls) : json()},
            {"chip_calls_counted_by", counted_by()},
            {"elapsed_ms", run.run.elapsed_ms},
            {"checks", std::move(checks)}};
}

} // namespace host
