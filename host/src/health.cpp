// SPDX-License-Identifier: BSD-2-Clause-Patent
// The network as the walk saw it, and the checks that judge it.
#include "health.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>

#include "phy_rates.h"

namespace host {

namespace {

// A call's values count only when it succeeded: 0, "" or false otherwise.
bool usable(const DumpCall* c) {
    return c != nullptr && c->ok();
}

uint64_t number(const DumpCall* c, const char* key) {
    return usable(c) ? c->number(key) : 0;
}

uint32_t number32(const DumpCall* c, const char* key) {
    return static_cast<uint32_t>(std::min<uint64_t>(number(c, key), UINT32_MAX));
}

std::string text(const DumpCall* c, const char* key) {
    return usable(c) ? c->text(key) : std::string();
}

bool flag(const DumpCall* c, const char* key) {
    return usable(c) && c->flag(key);
}

int major_version(const std::string& version) {
    return version.empty() ? 0 : version[0] - '0';
}

NodeView remote_node(const DumpCall* c) {
    NodeView n;
    n.id = c->id - 1;
    n.mac = text(c, "MACAddress");
    n.version = text(c, "HighestVersion");
    n.bonding = flag(c, "BondingCapable");
    n.tx_packets = number(c, "TxPackets");
    n.tx_drops = number(c, "TxDrops");
    n.rx_packets = number(c, "RxPackets");
    n.rx_errors = number(c, "RxErroredAndMissedPackets");
    n.rx_level = number32(c, "RxPowerLevel");
    n.snr = number32(c, "RxSNR");
    n.tx_rate = number32(c, "PHYTxRate");
    return n;
}

FlowView flow(const DumpCall* c) {
    FlowView f;
    f.id = c->id;
    f.flow_id = text(c, "FlowID");
    f.ingress = text(c, "IngressGuid");
    f.egress = text(c, "EgressGuid");
    f.max_rate_kbps = number32(c, "MaxRate");
    f.lease_s = number32(c, "LeaseTime");
    f.lease_left_s = number32(c, "LeaseTimeLeft");
    return f;
}

// A node in a power-saving state is in the node table but is not asked for its
// mesh rates. The chip's sleep masks say which nodes sleep; an all-zero row from
// an awake node is a dead link, not sleep. Only when the masks could not be read
// is a node whose row is all zero, while other nodes have rates, taken as asleep.
void mark_sleepers(NetworkView& net, const DumpRun& run) {
    if(run.sleep_masks_read) {
        for(auto& n : net.nodes) {
            n.asleep = !n.local && !run.sleep_state(n.id).empty();
        }
        return;
    }
    auto row_empty = [&](uint32_t tx) {
        return std::all_of(net.nodes.begin(), net.nodes.end(),
                           [&](const NodeView& rx) { return net.rate(tx, rx.id) == 0; });
    };
    bool any_rates =
        std::any_of(net.nodes.begin(), net.nodes.end(), [&](const NodeView& n) { return !row_empty(n.id); });
    if(!net.mesh_read || !any_rates) {
        return;
    }
    for(auto& n : net.nodes) {
        n.asleep = !n.local && row_empty(n.id);
    }
}

// Flow ends by GUID. The walk never reports the local node's own GUID; the host
// reads it from the chip. When that read failed, the local node is taken for
// the first ingress GUID that no remote node has, if the QoS report counts
// ingress flows here.
void resolve_flows(NetworkView& net, uint64_t local_ingress_flows) {
    std::map<std::string, int> ids;
    for(const auto& n : net.nodes) {
        if(!n.mac.empty()) {
            ids[n.mac] = static_cast<int>(n.id);
        }
    }
    auto local = std::find_if(net.nodes.begin(), net.nodes.end(), [](const NodeView& n) { return n.local; });
    for(const auto& f : net.flows) {
        if(local != net.nodes.end() && local->mac.empty() && local_ingress_flows > 0 && !ids.count(f.ingress)) {
            local->mac = f.ingress;
            ids[f.ingress] = static_cast<int>(local->id);
        }
    }
    for(auto& f : net.flows) {
        f.ingress_node = ids.count(f.ingress) ? ids[f.ingress] : -1;
        f.egress_node = ids.count(f.egress) ? ids[f.egress] : -1;
    }
}

} // namespace

const char* severity_name(Severity s) {
    switch(s) {
        case Severity::ok: return "ok";
        case Severity::warning: return "warning";
        case Severity::problem: return "problem";
    }
    return "?";
}

const NodeView* NetworkView::node(uint32_t id) const {
    auto it = std::find_if(nodes.begin(), nodes.end(), [&](const NodeView& n) { return n.id == id; });
    return it == nodes.end() ? nullptr : &*it;
}

uint32_t NetworkView::rate(uint32_t tx, uint32_t rx) const {
    auto it = mesh.find({tx, rx});
    return it == mesh.end() ? 0 : it->second;
}

NetworkView network_view(const DumpRun& run) {
    NetworkView net;
    net.ifname = run.ifname;
    const DumpCall* create = run.find("create-moca-iface");
    net.created = create != nullptr && create->ok();
    const DumpCall* present = run.find("is-present");
    net.present = present != nullptr && present->ok() && present->ret()[1] == true;
    for(const auto& c : run.calls) {
        if(!c.ok() && std::find(net.unread.begin(), net.unread.end(), c.function) == net.unread.end()) {
            net.unread.push_back(c.function);
        }
    }
    const DumpCall* dyn = run.find("retrieve-dyn-info");
    net.up = text(dyn, "Status") == "Up";
    net.local_id = number32(dyn, "NodeID");
    net.current_version = text(dyn, "CurrentVersion");
    net.link_up_s = number32(dyn, "LinkUpTime");
    net.link_down_count = number32(dyn, "LinkDownCount");
    net.reset_count = number32(dyn, "ResetCount");
    net.reset_reason = text(dyn, "ResetReason");
    if(!net.up) {
        return net;
    }

    NodeView local;
    local.id = net.local_id;
    local.local = true;
    local.mac = run.local_guid;
    local.version = text(run.find("retrieve-static-info"), "HighestVersion");
    local.bonding = local.version == "2.5"; // 2.5 bonds by definition; for older chips we cannot tell
    net.nodes.push_back(local);
    for(const DumpCall* c : run.all("retrieve-node-info")) {
        if(!flag(c, "Active") || c->id - 1 == net.local_id) {
            continue;
        }
        net.nodes.push_back(remote_node(c));
    }
    std::sort(net.nodes.begin(), net.nodes.end(), [](const NodeView& a, const NodeView& b) { return a.id < b.id; });

    auto mesh = run.all("retrieve-mesh-info");
    net.mesh_read =
        mesh.size() == 256 && std::all_of(mesh.begin(), mesh.end(), [](const DumpCall* c) { return c->ok(); });
    for(const DumpCall* c : mesh) {
        if(c->ok()) {
            net.mesh[{number32(c, "TxNodeIndex"), number32(c, "RxNodeIndex")}] = number32(c, "TxRateNper");
        }
    }
    mark_sleepers(net, run);

    for(const DumpCall* c : run.all("retrieve-flow-info")) {
        if(text(c, "FlowID").empty()) {
            continue;
        }
        net.flows.push_back(flow(c));
    }
    resolve_flows(net, number(run.find("retrieve-qos-info"), "IngressNumFlows"));
    return net;
}

uint32_t pair_capability(const NodeView& a, const NodeView& b) {
    return pair_phy_rate_limit(a.version, a.bonding, b.version, b.bonding);
}

namespace {

using Findings = std::vector<Finding>;

Severity at_least(double value, double warning, double problem) {
    return value >= problem ? Severity::problem : value >= warning ? Severity::warning : Severity::ok;
}

Severity below(double value, double warning, double problem) {
    return value < problem ? Severity::problem : value < warning ? Severity::warning : Severity::ok;
}

std::string format(const char* fmt, auto... args) {
    char buffer[512];
    std::snprintf(buffer, sizeof(buffer), fmt, args...);
    return buffer;
}

int percent(double share) {
    return static_cast<int>(share * 100 + 0.5);
}

// Ratios as evidence: three significant digits are all anyone reads.
double rounded(double ratio) {
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%.3g", ratio);
    return std::strtod(buffer, nullptr);
}

void add(Findings& out, Severity s, const char* check, std::vector<uint32_t> nodes, std::string summary,
         json numbers = json::object()) {
    out.push_back(Finding{s, check, std::move(nodes), std::move(summary), std::move(numbers)});
}

// The awake pairs of nodes, each once (a < b).
template <typename F>
void for_awake_pairs(const NetworkView& net, F f) {
    for(const auto& a : net.nodes) {
        for(const auto& b : net.nodes) {
            if(a.id < b.id && !a.asleep && !b.asleep) {
                f(a, b);
            }
        }
    }
}

void check_reading(const NetworkView& net, const Limits&, Findings& out) {
    const bool unread_dyn = std::count(net.unread.begin(), net.unread.end(), "retrieve-dyn-info") > 0;
    if(!net.present || !net.created || unread_dyn) {
        add(out, Severity::problem, "unread", {},
            "the interface " + net.ifname + (!net.present ? " is not present" : " could not be read") +
                ": nothing to judge",
            {{"functions", net.unread}});
        return;
    }
    if(!net.unread.empty()) {
        std::string list;
        for(const auto& f : net.unread) {
            list += (list.empty() ? "" : ", ") + f;
        }
        add(out, Severity::warning, "unread", {}, list + " failed: the checks of what they report are missing",
            {{"functions", net.unread}});
    }
    if(!net.up) {
        add(out, Severity::problem, "link-down", {net.local_id}, "the MoCA link of " + net.ifname + " is down");
    }
}

void check_links(const NetworkView& net, const Limits& lim, Findings& out) {
    if(!net.mesh_read) {
        return;
    }
    for_awake_pairs(net, [&](const NodeView& a, const NodeView& b) {
        const uint32_t ab = net.rate(a.id, b.id);
        const uint32_t ba = net.rate(b.id, a.id);
        const uint32_t cap = pair_capability(a, b);
        json numbers{{"from", a.id}, {"to", b.id}, {"rate", ab}, {"reverse_rate", ba}};
        if(ab == 0 || ba == 0) {
            add(out, Severity::problem, "no-link", {a.id, b.id},
                format("no link between node %u and node %u (%u Mbps one way, %u Mbps back)", a.id, b.id, ab, ba),
                numbers);
            return;
        }
        const uint32_t slow = std::min(ab, ba);
        const uint32_t fast = std::max(ab, ba);
        if(cap > 0) {
            const double share = static_cast<double>(slow) / cap;
            if(Severity s = below(share, lim.weak_warning, lim.weak_problem); s != Severity::ok) {
                json n = numbers;
                n["capability"] = cap;
                n["share"] = rounded(share);
                add(out, s, "weak-link", {a.id, b.id},
                    format(
                        "weak link between node %u and node %u: %u and %u Mbps, %d%% of the %u Mbps these nodes reach",
                        a.id, b.id, ab, ba, percent(share), cap),
                    n);
            }
        }
        const double balance = static_cast<double>(slow) / fast;
        if(Severity s = below(balance, lim.asymmetry_warning, lim.asymmetry_problem); s != Severity::ok) {
            json n = numbers;
            n["balance"] = rounded(balance);
            const bool slow_back = ba < ab;
            add(out, s, "asymmetric-link", {a.id, b.id},
                format("lopsided link: node %u to node %u runs at %u Mbps, the way back at %u Mbps (%d%%)",
                       slow_back ? a.id : b.id, slow_back ? b.id : a.id, fast, slow, percent(balance)),
                n);
        }
    });
}

// MoCA 1.x nodes in a network of MoCA 2 nodes: the network's version drops to
// theirs and every link they take part in runs at 1.x rates.
void check_versions(const NetworkView& net, const Limits&, Findings& out) {
    std::string highest;
    for(const auto& n : net.nodes) {
        highest = std::max(highest, n.version);
    }
    if(major_version(highest) < 2) {
        return;
    }
    for(const auto& old : net.nodes) {
        if(major_version(old.version) != 1) {
            continue;
        }
        NodeView upgraded = old;
        upgraded.version = highest;
        upgraded.bonding = true;
        json links = json::array();
        for(const auto& peer : net.nodes) {
            if(major_version(peer.version) < 2 || peer.asleep || old.asleep) {
                continue;
            }
            for(auto [tx, rx] : {std::pair{old.id, peer.id}, std::pair{peer.id, old.id}}) {
                links.push_back({{"from", tx},
                                 {"to", rx},
                                 {"rate", net.rate(tx, rx)},
                                 {"reachable", pair_capability(upgraded, peer)}});
            }
        }
        const bool dropped = major_version(net.current_version) == 1;
        add(out, Severity::warning, "held-back", {old.id},
            format("node %u is MoCA %s in a MoCA %s network: %s its %zu links with MoCA 2 nodes run at 1.x rates",
                   old.id, old.version.c_str(), highest.c_str(),
                   dropped ? ("the network runs at MoCA " + net.current_version + ",").c_str() : "", links.size()),
            {{"version", old.version},
             {"network_version", net.current_version},
             {"highest_version", highest},
             {"links", links}});
    }
}

void check_errors(const NetworkView& net, const Limits& lim, Findings& out) {
    for(const auto& n : net.nodes) {
        auto ratio = [&](uint64_t bad, uint64_t all) {
            return all >= lim.error_min_packets ? static_cast<double>(bad) / static_cast<double>(all) : 0.0;
        };
        const double tx = ratio(n.tx_drops, n.tx_packets);
        const double rx = ratio(n.rx_errors, n.rx_packets);
        const Severity s = std::max(at_least(tx, lim.error_warning, lim.error_problem),
                                    at_least(rx, lim.error_warning, lim.error_problem));
        if(n.local || s == Severity::ok) {
            continue;
        }
        add(out, s, "node-errors", {n.id},
            format("node %u loses packets: %llu of %llu dropped on the way to it (%.3g%%), %llu of %llu received in "
                   "error or missed (%.3g%%)",
                   n.id, static_cast<unsigned long long>(n.tx_drops), static_cast<unsigned long long>(n.tx_packets),
                   tx * 100, static_cast<unsigned long long>(n.rx_errors),
                   static_cast<unsigned long long>(n.rx_packets), rx * 100),
            {{"tx_drops", n.tx_drops},
             {"tx_packets", n.tx_packets},
             {"tx_ratio", rounded(tx)},
             {"rx_errors", n.rx_errors},
             {"rx_packets", n.rx_packets},
             {"rx_ratio", rounded(rx)}});
    }
}

void check_stability(const NetworkView& net, const Limits& lim, Findings& out) {
    if(!net.created || net.unread.end() != std::find(net.unread.begin(), net.unread.end(), "retrieve-dyn-info")) {
        return;
    }
    Severity s = std::max(at_least(net.link_down_count, lim.link_down_warning, lim.link_down_problem),
                          at_least(net.reset_count, lim.reset_warning, lim.reset_problem));
    const bool recent = net.up && net.link_down_count > 0 && net.link_up_s < lim.link_up_recent_s;
    s = std::max(s, recent ? Severity::warning : Severity::ok);
    if(s == Severity::ok) {
        return;
    }
    add(out, s, "instability", {net.local_id},
        format("the link of %s is unstable: lost %u times, chip reset %u times (last: %s), up for %u s this time",
               net.ifname.c_str(), net.link_down_count, net.reset_count, net.reset_reason.c_str(), net.link_up_s),
        {{"link_down_count", net.link_down_count},
         {"reset_count", net.reset_count},
         {"reset_reason", net.reset_reason},
         {"link_up_s", net.link_up_s}});
}

void check_levels(const NetworkView& net, const Limits& lim, Findings& out) {
    for(const auto& n : net.nodes) {
        if(n.local || n.asleep) {
            continue;
        }
        if(n.rx_level != 0) {
            // Levels are magnitudes below 0 dBm: a small number is a strong signal.
            const Severity hot = below(n.rx_level, lim.level_hot_warning, lim.level_hot_problem);
            const Severity weak = at_least(n.rx_level, lim.level_weak_warning, lim.level_weak_problem);
            if(hot != Severity::ok || weak != Severity::ok) {
                add(out, std::max(hot, weak), "rx-level", {net.local_id, n.id},
                    format("signal from node %u arrives %s: -%u dBm", n.id,
                           hot != Severity::ok ? "too strong" : "too weak", n.rx_level),
                    {{"rx_level_dbm", -static_cast<int64_t>(n.rx_level)}});
            }
        }
        if(n.snr != 0) {
            if(Severity s = below(n.snr, lim.snr_warning, lim.snr_problem); s != Severity::ok) {
                add(out, s, "snr", {net.local_id, n.id}, format("low SNR from node %u: %u dB", n.id, n.snr),
                    {{"snr_db", n.snr}});
            }
        }
    }
}

void check_sleep(const NetworkView& net, const Limits&, Findings& out) {
    for(const auto& n : net.nodes) {
        if(n.asleep) {
            add(out, Severity::ok, "asleep", {n.id},
                format("node %u is asleep (power saving): it gives no mesh rates and its links are not judged", n.id));
        }
    }
}

void check_flow(const NetworkView& net, const Limits& lim, const FlowView& f, Findings& out) {
    std::vector<uint32_t> nodes;
    for(int end : {f.ingress_node, f.egress_node}) {
        if(end >= 0) {
            nodes.push_back(static_cast<uint32_t>(end));
        }
    }
    json numbers{{"flow", f.flow_id},    {"ingress", f.ingress},
                 {"egress", f.egress},   {"max_rate_kbps", f.max_rate_kbps},
                 {"lease_s", f.lease_s}, {"lease_left_s", f.lease_left_s}};
    const std::string name = "flow " + f.flow_id;
    for(auto [end, guid] : {std::pair{f.ingress_node, f.ingress}, std::pair{f.egress_node, f.egress}}) {
        const NodeView* n = end >= 0 ? net.node(static_cast<uint32_t>(end)) : nullptr;
        if(n == nullptr) {
            add(out, Severity::problem, "flow-endpoint", nodes, name + ": " + guid + " is no node of the network",
                numbers);
        } else if(n->version == "1.0") {
            add(out, Severity::problem, "flow-endpoint", nodes,
                format("%s: node %u is MoCA 1.0, which has no parameterized QoS", name.c_str(), n->id), numbers);
        } else if(n->asleep) {
            add(out, Severity::warning, "flow-endpoint", nodes,
                format("%s: node %u is asleep; the flow waits until it wakes", name.c_str(), n->id), numbers);
        }
    }
    if(f.lease_s == 0) {
        return;
    }
    const double soon = std::max<double>(lim.lease_left_warning_s, lim.lease_left_warning_share * f.lease_s);
    if(f.lease_left_s == 0) {
        add(out, Severity::problem, "flow-lease", nodes,
            format("%s: its %u s lease has run out", name.c_str(), f.lease_s), numbers);
    } else if(f.lease_left_s < soon) {
        add(out, Severity::warning, "flow-lease", nodes,
            format("%s: its lease runs out in %u s (of %u s) unless renewed", name.c_str(), f.lease_left_s, f.lease_s),
            numbers);
    }
}

// The flows of one link together against what the link carries: the PHY rate
// less the share that MoCA's framing and scheduling take.
void check_flow_load(const NetworkView& net, const Limits& lim, Findings& out) {
    std::map<std::pair<uint32_t, uint32_t>, std::vector<const FlowView*>> links;
    for(const auto& f : net.flows) {
        if(f.ingress_node >= 0 && f.egress_node >= 0 && f.ingress_node != f.egress_node) {
            links[{static_cast<uint32_t>(f.ingress_node), static_cast<uint32_t>(f.egress_node)}].push_back(&f);
        }
    }
    for(const auto& [link, flows] : links) {
        const uint32_t rate = net.rate(link.first, link.second);
        uint64_t kbps = 0;
        json ids = json::array();
        for(const FlowView* f : flows) {
            kbps += f->max_rate_kbps;
            ids.push_back(f->flow_id);
        }
        const double carried_kbps = lim.flow_payload_share * rate * 1000.0;
        if(!net.mesh_read || rate == 0 || static_cast<double>(kbps) <= carried_kbps) {
            continue;
        }
        add(out, Severity::problem, "flow-capacity", {link.first, link.second},
            format("the link from node %u to node %u cannot carry its flows: %.1f Mbps reserved, about %.0f Mbps of "
                   "its %u Mbps carry data",
                   link.first, link.second, kbps / 1000.0, carried_kbps / 1000.0, rate),
            {{"from", link.first}, {"to", link.second}, {"flows", ids}, {"reserved_kbps", kbps}, {"rate", rate}});
    }
}

void check_flows(const NetworkView& net, const Limits& lim, Findings& out) {
    for(const auto& f : net.flows) {
        check_flow(net, lim, f, out);
    }
    check_flow_load(net, lim, out);
}

using Check = void (*)(const NetworkView&, const Limits&, Findings&);
const Check checks[] = {check_reading,   check_links,  check_versions, check_errors,
                        check_stability, check_levels, check_sleep,    check_flows};

} // namespace

std::vector<Finding> diagnose(const NetworkView& net, const Limits& limits) {
    Findings out;
    for(Check c : checks) {
        c(net, limits, out);
    }
    // Worst first; within a severity in the order of the checks.
    std::stable_sort(out.begin(), out.end(),
                     [](const Finding& a, const Finding& b) { return a.severity > b.severity; });
    return out;
}

Severity worst(const std::vector<Finding>& findings) {
    Severity s = Severity::ok;
    for(const auto& f : findings) {
        s = std::max(s, f.severity);
    }
    return s;
}

} // namespace host
