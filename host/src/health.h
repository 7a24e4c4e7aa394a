// SPDX-License-Identifier: BSD-2-Clause-Patent
// "health": what the dump's walk says about the network, as findings an installer
// can act on. network_view() picks the numbers out of a walk; diagnose() judges
// them against one table of limits. Both are pure: tests feed them made-up walks.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "dump.h"

namespace host {

enum class Severity { ok = 0, warning = 1, problem = 2 };
const char* severity_name(Severity s);

struct NodeView {
    uint32_t id = 0;
    bool local = false;
    std::string mac;     // the local node's is read by the host; empty when unread
    std::string version; // "2.5", "1.1"; empty when unknown
    bool bonding = false;
    bool asleep = false; // in the network, but not asked for mesh rates
    uint64_t tx_packets = 0;
    uint64_t tx_drops = 0;
    uint64_t rx_packets = 0;
    uint64_t rx_errors = 0; // RxErroredAndMissedPackets
    uint32_t rx_level = 0;  // dB below 1 mW; 0 unknown
    uint32_t snr = 0;       // dB; 0 unknown
    uint32_t tx_rate = 0;   // PHYTxRate, Mbps
};

struct FlowView {
    uint32_t id = 0; // FlowStats instance
    std::string flow_id;
    std::string ingress; // GUIDs
    std::string egress;
    int ingress_node = -1; // node id, -1 when no node of the network has that GUID
    int egress_node = -1;
    uint32_t max_rate_kbps = 0;
    uint32_t lease_s = 0; // 0: permanent
    uint32_t lease_left_s = 0;
};

struct NetworkView {
    std::string ifname;
    bool present = false; // is-present said so
    bool created = false; // the record could be made: the rest was read
    bool up = false;
    uint32_t local_id = 0;
    std::string current_version; // the network's
    uint32_t link_up_s = 0;
    uint32_t link_down_count = 0;
    uint32_t reset_count = 0;
    std::string reset_reason;
    std::vector<NodeView> nodes;                            // the local node and the active remote nodes, by id
    bool mesh_read = false;                                 // every mesh entry was read
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> mesh; // (tx, rx) -> TxRateNper, Mbps
    std::vector<FlowView> flows;
    std::vector<std::string> unread; // functions with calls that failed

    const NodeView* node(uint32_t id) const;
    uint32_t rate(uint32_t tx, uint32_t rx) const;
};

NetworkView network_view(const DumpRun& run);

// The PHY rate (Mbps, one direction) a link between the two nodes reaches on good
// coax, from their MoCA versions and bonding; 0 when a version is unknown.
uint32_t pair_capability(const NodeView& a, const NodeView& b);

struct Finding {
    Severity severity = Severity::ok;
    std::string check;             // stable name: "weak-link", "node-errors", ...
    std::vector<uint32_t> nodes;   // the nodes concerned (a link: its two nodes)
    std::string summary;           // one line for people
    json numbers = json::object(); // what supports it
};

// The limits the checks judge by; the defaults and the reasons for them are in docs/host.md.
struct Limits {
    double weak_warning = 0.60; // link rate / pair capability
    double weak_problem = 0.30;
    double asymmetry_warning = 0.75; // slower direction / faster direction
    double asymmetry_problem = 0.50;
    double error_warning = 1e-4; // drops or errors per packet
    double error_problem = 1e-3;
    uint64_t error_min_packets = 100000; // fewer packets say nothing about a ratio
    uint32_t link_down_warning = 3;
    uint32_t link_down_problem = 10;
    uint32_t reset_warning = 3;
    uint32_t reset_problem = 10;
    uint32_t link_up_recent_s = 3600; // a link lost before and up for less than this
    uint32_t level_hot_warning = 15;  // received above -15 dBm
    uint32_t level_hot_problem = 5;
    uint32_t level_weak_warning = 55; // received below -55 dBm
    uint32_t level_weak_problem = 65;
    uint32_t snr_warning = 20; // dB
    uint32_t snr_problem = 12;
    uint32_t lease_left_warning_s = 60;
    double lease_left_warning_share = 0.10;
    double flow_payload_share = 0.60; // of the PHY rate that carries data
};

std::vector<Finding> diagnose(const NetworkView& net, const Limits& limits = Limits{});
Severity worst(const std::vector<Finding>& findings);

// A finding's numbers as one line: key=value, lists in brackets.
std::string evidence(const json& numbers);

// Renderings: text lines, one JSON document, one self-contained HTML page.
void print_health_text(const NetworkView& net, const std::vector<Finding>& findings, std::FILE* out);
json health_json(const NetworkView& net, const std::vector<Finding>& findings);
std::string report_html(const NetworkView& net, const std::vector<Finding>& findings);

} // namespace host
