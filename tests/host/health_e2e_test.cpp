// SPDX-License-Identifier: BSD-2-Clause-Patent
// "moca-host health" on the example scenarios: the documented findings on each, and
// the exit status of the worst (report's page is rendered in report_browser_test.py).
#include <set>
#include <tuple>

#include "host_binary.h"

namespace {

using Finding = std::tuple<std::string, std::string, std::vector<uint32_t>>; // severity, check, nodes

// clang-format off
const std::tuple<const char*, int, std::set<Finding>> examples[] = { // scenario, exit status, findings
    // The DVR (MoCA 1.1) holds the gateway's 2.5 network at 1.1: a true finding, not a fault of the example.
    {"home-network", 1, {{"warning", "held-back", {3}}, {"ok", "asleep", {4}}}},
    {"weak-link", 2, {{"problem", "weak-link", {0, 2}}, {"warning", "weak-link", {1, 2}},
                      {"warning", "weak-link", {2, 3}}, {"warning", "weak-link", {0, 3}}, {"warning", "snr", {0, 2}},
                      {"problem", "asymmetric-link", {0, 3}}, {"warning", "rx-level", {0, 2}}}},
    {"mixed-versions", 1, {{"warning", "held-back", {2}}}},
    {"flaky-node", 2, {{"problem", "node-errors", {2}}, {"problem", "instability", {0}}}},
    {"sleeping-node", 0, {{"ok", "asleep", {2}}}},
    {"expiring-flow", 2, {{"warning", "flow-lease", {0, 1}}, {"problem", "flow-capacity", {0, 2}}}},
};
// clang-format on

TEST_F(MocaHostRun, HealthOfEachExampleGivesTheDocumentedFindings) {
    for(const auto& [scenario, status, findings] : examples) {
        SCOPED_TRACE(scenario);
        const std::string sim = example_sim(scenario);
        Outcome r = run(sim + "health moca0 --json");
        ASSERT_EQ(r.status, status) << r.out << r.err;
        json doc = json::parse(r.out);
        std::set<Finding> got;
        for(const auto& f : doc["findings"]) {
            got.insert({f["severity"], f["check"], f["nodes"].get<std::vector<uint32_t>>()});
        }
        EXPECT_EQ(got, findings) << r.out;
        EXPECT_EQ(doc["interface"], "moca0");

        Outcome text = run(sim + "health moca0");
        EXPECT_EQ(text.status, status);
        EXPECT_NE(text.out.find(std::to_string(findings.size()) + " finding"), std::string::npos) << text.out;
    }
}

} // namespace
