// SPDX-License-Identifier: BSD-2-Clause-Patent
// The findings for a terminal and for programs.
#include <cstdio>

#include "health.h"

namespace host {

namespace {

std::string nodes_label(const std::vector<uint32_t>& nodes) {
    std::string out;
    for(uint32_t n : nodes) {
        out += (out.empty() ? "node " : "-") + std::to_string(n);
    }
    return out.empty() ? "-" : out;
}

std::string shown(const json& v) {
    std::string out;
    if(v.is_array()) {
        for(const auto& e : v) {
            out += (out.empty() ? "" : ", ") + shown(e);
        }
        return "[" + out + "]";
    }
    if(v.is_object()) {
        for(const auto& [key, value] : v.items()) {
            out += (out.empty() ? "" : " ") + key + "=" + shown(value);
        }
        return out;
    }
    if(v.is_string() && v.get<std::string>().find(' ') == std::string::npos) {
        return v.get<std::string>();
    }
    return to_line(v);
}

size_t awake(const NetworkView& net) {
    size_t n = 0;
    for(const auto& node : net.nodes) {
        n += node.asleep ? 0 : 1;
    }
    return n;
}

} // namespace

std::string evidence(const json& numbers) {
    return shown(numbers);
}

void print_health_text(const NetworkView& net, const std::vector<Finding>& findings, std::FILE* out) {
    if(net.up) {
        std::fprintf(out, "%s: MoCA %s network of %zu nodes (%zu awake), this node is node %u\n", net.ifname.c_str(),
                     net.current_version.c_str(), net.nodes.size(), awake(net), net.local_id);
    } else {
        std::fprintf(out, "%s: %s\n", net.ifname.c_str(), net.created && net.present ? "link down" : "not readable");
    }
    for(const auto& f : findings) {
        std::fprintf(out, "%-8s %-16s %-12s %s\n", severity_name(f.severity), f.check.c_str(),
                     nodes_label(f.nodes).c_str(), f.summary.c_str());
        const std::string numbers = evidence(f.numbers);
        if(!numbers.empty()) {
            std::fprintf(out, "%39s%s\n", "", numbers.c_str());
        }
    }
    const Severity w = worst(findings);
    std::fprintf(out, "%zu finding%s, worst: %s\n", findings.size(), findings.size() == 1 ? "" : "s", severity_name(w));
}

json health_json(const NetworkView& net, const std::vector<Finding>& findings) {
    json nodes = json::array();
    for(const auto& n : net.nodes) {
        nodes.push_back({{"id", n.id},
                         {"local", n.local},
                         {"mac", n.mac},
                         {"version", n.version},
                         {"bonding", n.bonding},
                         {"asleep", n.asleep}});
    }
    json list = json::array();
    for(const auto& f : findings) {
        list.push_back({{"severity", severity_name(f.severity)},
                        {"check", f.check},
                        {"nodes", f.nodes},
                        {"summary", f.summary},
                        {"numbers", f.numbers}});
    }
    return {
        {"interface", net.ifname},
        {"worst", severity_name(worst(findings))},
        {"network", {{"up", net.up}, {"version", net.current_version}, {"local_node", net.local_id}, {"nodes", nodes}}},
        {"findings", list}};
}

} // namespace host
