// SPDX-License-Identifier: BSD-2-Clause-Patent
// The bring-up check's judgement: each named check reads the run and says
// PASS, WARN, FAIL or SKIP with its evidence. What each one means, and what a
// failure usually points to, is in docs/integration.md.
#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include "check.h"
#include "phy_rates.h"

namespace host {

namespace {

constexpr size_t kept_problems = 50;

// Collects one check's problems; the worst decides the verdict.
class Judge {
public:
    explicit Judge(const char* name) { result_.name = name; }

    void fail(const std::string& problem) { add(Verdict::fail, problem); }
    void warn(const std::string& problem) { add(Verdict::warn, problem); }
    // Judged nothing: the data it needs is missing.
    CheckResult skip(const std::string& why) {
        result_.verdict = Verdict::skip;
        result_.evidence = why;
        return result_;
    }
    json& details() { return result_.details; }

    CheckResult done(const std::string& passed) {
        if(result_.problems.empty()) {
            result_.evidence = passed;
        } else {
            result_.evidence = result_.problems[0].get<std::string>();
            if(count_ > 1) {
                result_.evidence += " (+" + std::to_string(count_ - 1) + " more)";
            }
        }
        return result_;
    }

private:
    void add(Verdict v, const std::string& problem) {
        // Failures before warnings: the first problem is the evidence.
        if(v == Verdict::fail && result_.verdict != Verdict::fail) {
            result_.problems.insert(result_.problems.begin(), problem);
        } else if(result_.problems.size() < kept_problems) {
            result_.problems.push_back(problem);
        }
        ++count_;
        result_.verdict = std::max(result_.verdict, v);
    }
    CheckResult result_;
    size_t count_ = 0;
};

std::string fmt(const char* f, auto... args) {
    char buffer[256];
    std::snprintf(buffer, sizeof(buffer), f, args...);
    return buffer;
}

// The run's calls, by phase and function.
struct View {
    const CheckRun& run;

    std::vector<size_t> indexes(Phase p, const std::string& function = "") const {
        std::vector<size_t> out;
        for(size_t i = 0; i < run.run.calls.size(); ++i) {
            if(run.phases[i] == p && (function.empty() || run.run.calls[i].function == function)) {
                out.push_back(i);
            }
        }
        return out;
    }
    std::vector<const DumpCall*> calls(Phase p, const std::string& function) const {
        std::vector<const DumpCall*> out;
        for(size_t i : indexes(p, function)) {
            out.push_back(&run.run.calls[i]);
        }
        return out;
    }
    const DumpCall* first(Phase p, const std::string& function) const {
        auto c = calls(p, function);
        return c.empty() || !c[0]->ok() ? nullptr : c[0];
    }
    // A walk's answers (the cold one's by default), when every call of the function succeeded.
    std::vector<const DumpCall*> table(const std::string& function, Phase p = Phase::cold) const {
        auto c = calls(p, function);
        return std::all_of(c.begin(), c.end(), [](const DumpCall* x) { return x->ok(); })
                   ? c
                   : std::vector<const DumpCall*>{};
    }
};

// The network as the reports give it: members are the local node and every
// active row of the node table; awake ones are in none of the sleep masks.
struct Members {
    bool known = false;
    uint32_t local = 0;
    std::string local_version;
    std::map<uint32_t, const DumpCall*> rows; // node id -> its active row
    std::set<uint32_t> all;
    std::set<uint32_t> awake;
};

Members members(const View& v) {
    Members m;
    const DumpCall* dyn = v.first(Phase::reports, "retrieve-dyn-info");
    const DumpCall* st = v.first(Phase::reports, "retrieve-static-info");
    auto nodes = v.table("retrieve-node-info");
    if(dyn == nullptr || st == nullptr || nodes.size() != 16) {
        return m;
    }
    m.known = true;
    m.local = static_cast<uint32_t>(dyn->number("NodeID"));
    m.local_version = st->text("HighestVersion");
    m.all.insert(m.local);
    for(const DumpCall* c : nodes) {
        if(c->flag("Active")) {
            m.rows[c->id - 1] = c;
            m.all.insert(c->id - 1);
        }
    }
    for(uint32_t n : m.all) {
        if(v.run.run.sleep_state(n).empty()) {
            m.awake.insert(n);
        }
    }
    return m;
}

bool mac_well_formed(const std::string& s) {
    if(s.size() != 17) {
        return false;
    }
    for(size_t i = 0; i < s.size(); ++i) {
        const char ch = s[i];
        const bool ok = i % 3 == 2 ? ch == ':' : ((ch >= '0' && ch <= '9') || (ch >= 'a' && ch <= 'f'));
        if(!ok) {
            return false;
        }
    }
    return s != "00:00:00:00:00:00";
}

std::vector<std::string> split_csv(const std::string& s) {
    std::vector<std::string> out;
    size_t start = 0;
    while(!s.empty() && start <= s.size()) {
        size_t comma = s.find(',', start);
        out.push_back(s.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if(comma == std::string::npos) {
            break;
        }
        start = comma + 1;
    }
    return out;
}

// "2.5" -> 25; "" or malformed -> -1.
int version_number(const std::string& v) {
    unsigned major = 0, minor = 0;
    char tail = 0;
    return std::sscanf(v.c_str(), "%u.%u%c", &major, &minor, &tail) == 2 ? static_cast<int>(major * 10 + minor) : -1;
}

std::string where(const DumpCall& c) {
    return c.function + (c.id != 0 ? " Id=" + std::to_string(c.id) : std::string());
}

CheckResult check_calls(const View& v) {
    Judge j("calls");
    const auto& calls = v.run.run.calls;
    for(const auto& c : calls) {
        if(!c.result.is_object()) {
            j.fail(where(c) + ": not called: " + c.host_error);
        } else if(!c.ok()) {
            const json& log = c.result["log"];
            std::string line;
            for(const auto& e : log) {
                if(e["level"].get<int>() <= 100 && line.empty()) {
                    line = ": " + e["msg"].get<std::string>();
                }
            }
            j.fail(where(c) + ": rc " + std::to_string(c.rc()) + line);
        }
    }
    for(const char* probe : {"is-present", "is-available"}) {
        const DumpCall* c = v.run.run.find(probe);
        if(c != nullptr && c->ok() && c->ret()[1] != true) {
            j.fail(std::string(probe) + " answers false for " + v.run.run.ifname + ": nothing else could be checked");
        }
    }
    return j.done(fmt("%zu calls, every one returned 0", calls.size()));
}

CheckResult check_keys(const View& v) {
    Judge j("keys");
    size_t judged = 0;
    for(const auto& c : v.run.run.calls) {
        if(c.ok()) {
            ++judged;
            for(const auto& p : key_problems(c)) {
                j.fail(p);
            }
        }
    }
    return j.done(fmt("%zu results carry their documented keys and types", judged));
}

CheckResult check_network(const View& v, const Members& m) {
    Judge j("network");
    const DumpCall* dyn = v.first(Phase::reports, "retrieve-dyn-info");
    if(!m.known) {
        return j.skip("dynamic report or node table not read");
    }
    if(dyn->text("Status") != "Up") {
        j.warn("link is " + dyn->text("Status") + ": no network to judge");
        return j.done("");
    }
    // NumNodes counts the active nodes and those asleep in M1; the node table
    // also lists nodes asleep in M2 and M3.
    size_t expected = 0;
    for(uint32_t n : m.all) {
        const std::string s = v.run.run.sleep_state(n);
        expected += (s.empty() || s == "M1") ? 1 : 0;
    }
    const uint64_t num = dyn->number("NumNodes");
    if(num != expected) {
        j.fail(fmt("NumNodes %llu, but the node table and this node make %zu", static_cast<unsigned long long>(num),
                   expected));
    }
    for(const char* key : {"NetworkCoordinator", "BackupNC", "NodeID"}) {
        const uint64_t id = dyn->number(key);
        if(!m.all.count(static_cast<uint32_t>(id)) && !(std::string(key) == "BackupNC" && m.all.size() == 1)) {
            j.fail(fmt("%s is node %llu, which is not in the network", key, static_cast<unsigned long long>(id)));
        }
    }
    for(const DumpCall* c : v.table("retrieve-node-info")) {
        if(c->number("NodeID") != c->id - 1 && c->flag("Active")) {
            j.fail(
                fmt("node row Id=%u reports NodeID %llu", c->id, static_cast<unsigned long long>(c->number("NodeID"))));
        }
    }
    if(m.rows.count(m.local)) {
        j.fail(fmt("this node (%u) is listed as an active remote node", m.local));
    }
    return j.done(fmt("%zu nodes; coordinator %llu, backup %llu, this node %u among them", m.all.size(),
                      static_cast<unsigned long long>(dyn->number("NetworkCoordinator")),
                      static_cast<unsigned long long>(dyn->number("BackupNC")), m.local));
}

// Mesh rates by (tx, rx) from the cold walk; empty when not every cell was read.
std::map<std::pair<uint32_t, uint32_t>, const DumpCall*> mesh_cells(const View& v) {
    std::map<std::pair<uint32_t, uint32_t>, const DumpCall*> out;
    auto cells = v.table("retrieve-mesh-info");
    if(cells.size() == 256) {
        for(const DumpCall* c : cells) {
            out[{(c->id - 1) / 16, (c->id - 1) % 16}] = c;
        }
    }
    return out;
}

CheckResult check_mesh(const View& v, const Members& m) {
    Judge j("mesh");
    auto cells = mesh_cells(v);
    if(!m.known || cells.empty()) {
        return j.skip("node table or mesh not read whole");
    }
    size_t links = 0;
    for(const auto& [tr, c] : cells) {
        const auto [tx, rx] = tr;
        if(c->number("TxNodeIndex") != tx || c->number("RxNodeIndex") != rx) {
            j.fail(fmt("mesh Id=%u reports %llu -> %llu", c->id,
                       static_cast<unsigned long long>(c->number("TxNodeIndex")),
                       static_cast<unsigned long long>(c->number("RxNodeIndex"))));
        }
        const uint64_t rate = c->number("TxRateNper");
        if(c->number("TxRate") != rate) {
            j.fail(fmt("node %u -> node %u: TxRate %llu differs from TxRateNper %llu", tx, rx,
                       static_cast<unsigned long long>(c->number("TxRate")), static_cast<unsigned long long>(rate)));
        }
        const bool both_awake = m.awake.count(tx) && m.awake.count(rx);
        if(tx != rx && both_awake) {
            ++links;
            if(rate == 0) {
                j.fail(fmt("node %u -> node %u: no rate between two awake nodes", tx, rx));
            }
        } else if(!m.awake.count(tx) && rate != 0) {
            j.fail(fmt("node %u -> node %u: %llu Mbps from a node %s", tx, rx, static_cast<unsigned long long>(rate),
                       m.all.count(tx) ? "that sleeps" : "not in the network"));
        }
    }
    return j.done(fmt("%zu links between %zu awake nodes, each with a rate", links, m.awake.size()));
}

CheckResult check_bridges(const View& v, const Members& m) {
    Judge j("bridges");
    auto rows = v.table("retrieve-bridge-info");
    if(!m.known || rows.size() != 16) {
        return j.skip("node table or bridge table not read whole");
    }
    size_t addresses = 0;
    for(const DumpCall* c : rows) {
        const uint32_t node = c->id - 1;
        if(c->number("NodeIndex") != node) {
            j.fail(fmt("bridge Id=%u reports NodeIndex %llu", c->id,
                       static_cast<unsigned long long>(c->number("NodeIndex"))));
        }
        auto list = split_csv(c->text("MACAddresses"));
        addresses += list.size();
        if(!list.empty() && !m.all.count(node)) {
            j.fail(fmt("node %u bridges %zu addresses but is not in the network", node, list.size()));
        }
        if(list.size() > 64) {
            j.fail(fmt("node %u bridges %zu addresses, more than 64", node, list.size()));
        }
        for(const auto& mac : list) {
            if(!mac_well_formed(mac)) {
                j.fail(fmt("node %u bridges a malformed address '%s'", node, mac.c_str()));
            }
        }
    }
    return j.done(fmt("%zu addresses, all behind nodes of the network", addresses));
}

// RLAPM: 84 entries per row in use, one per receive level; SAPM: one per row.
void judge_margins(Judge& j, const View& v, const char* number_fn, const char* count_key, const char* info_fn,
                   size_t* judged) {
    const DumpCall* number = v.first(Phase::cold, number_fn);
    auto entries = v.table(info_fn);
    if(number == nullptr || entries.empty()) {
        return;
    }
    const bool rlapm = std::string(info_fn) == "retrieve-rlapm-info";
    const uint64_t count = number->number(count_key);
    *judged += 1;
    if(rlapm && count % 84 != 0) {
        j.fail(fmt("%s %llu is no multiple of 84 levels", count_key, static_cast<unsigned long long>(count)));
    }
    uint64_t last_profile = 0;
    for(const DumpCall* c : entries) {
        if(c->id > count) {
            break;
        }
        const std::string what = fmt("%s Id=%u", info_fn, c->id);
        if(!c->flag("Enable") || c->text("Status") != "active" || c->number("Frequency") == 0) {
            j.fail(what + fmt(" is not an entry in use, though %s is %llu", count_key,
                              static_cast<unsigned long long>(count)));
            continue;
        }
        if(c->number("Profile") < last_profile || c->number("Profile") > 15) {
            j.fail(what + fmt(": profile %llu out of order", static_cast<unsigned long long>(c->number("Profile"))));
        }
        last_profile = c->number("Profile");
        if(rlapm) {
            const uint64_t level = std::min<uint64_t>((c->id - 1) % 84, 65);
            if(c->number("GlobalAggrRxPwrLevel") != level || c->number("PhyMargin") > 60) {
                j.fail(what + fmt(": level %llu margin %llu, want level %llu and a margin up to 60",
                                  static_cast<unsigned long long>(c->number("GlobalAggrRxPwrLevel")),
                                  static_cast<unsigned long long>(c->number("PhyMargin")),
                                  static_cast<unsigned long long>(level)));
            }
        } else if(c->number("AggrRxPwrLevelThreshold") > 65) {
            j.fail(what + ": threshold above 65");
        }
    }
}

CheckResult check_margins(const View& v) {
    Judge j("margin-tables");
    size_t judged = 0;
    judge_margins(j, v, "retrieve-rlapm-number", "RlapmNumberOfEntries", "retrieve-rlapm-info", &judged);
    judge_margins(j, v, "retrieve-sapm-number", "SapmNumberOfEntries", "retrieve-sapm-info", &judged);
    if(judged == 0) {
        return j.skip("neither margin table read");
    }
    const DumpCall* r = v.first(Phase::cold, "retrieve-rlapm-number");
    const DumpCall* s = v.first(Phase::cold, "retrieve-sapm-number");
    return j.done(fmt("RLAPM %llu and SAPM %llu entries, each one in use",
                      static_cast<unsigned long long>(r ? r->number("RlapmNumberOfEntries") : 0),
                      static_cast<unsigned long long>(s ? s->number("SapmNumberOfEntries") : 0)));
}

CheckResult check_flows(const View& v, const Members& m) {
    // The warm walk's counts and rows come from one listing, even when the cold
    // walk listed more than once (the cache check's business).
    Judge j("flows");
    const DumpCall* qos = v.first(Phase::warm, "retrieve-qos-info");
    auto rows = v.table("retrieve-flow-info", Phase::warm);
    if(qos == nullptr || rows.size() != 16 || !m.known) {
        return j.skip("QoS report or flow table not read whole");
    }
    std::map<std::string, uint32_t> guids;
    for(const auto& [id, c] : m.rows) {
        guids[c->text("MACAddress")] = id;
    }
    const std::string& local_guid = v.run.run.local_guid;
    if(!local_guid.empty()) {
        guids[local_guid] = m.local;
    }
    size_t listed = 0, local_ingress = 0;
    bool gap = false;
    for(const DumpCall* c : rows) {
        if(c->text("FlowID").empty()) {
            gap = true;
            continue;
        }
        ++listed;
        if(gap) {
            j.fail(fmt("flow Id=%u follows an empty slot", c->id));
        }
        const std::string ingress = c->text("IngressGuid");
        local_ingress += ingress == local_guid ? 1 : 0;
        if(!guids.count(ingress)) {
            j.fail(fmt("flow %s enters at %s, no node of the network", c->text("FlowID").c_str(), ingress.c_str()));
        }
    }
    const uint64_t ingress_flows = qos->number("IngressNumFlows");
    const bool full = listed == 16;
    if(!local_guid.empty() && (full ? ingress_flows < local_ingress : ingress_flows != local_ingress)) {
        j.fail(fmt("IngressNumFlows %llu, but the flow table holds %zu flows entering at this node (%s)",
                   static_cast<unsigned long long>(ingress_flows), local_ingress, local_guid.c_str()));
    }
    if(qos->number("EgressNumFlows") > listed) {
        j.fail(fmt("EgressNumFlows %llu, more than the %zu flows listed",
                   static_cast<unsigned long long>(qos->number("EgressNumFlows")), listed));
    }
    return j.done(fmt("%zu flows, %llu entering here as IngressNumFlows says", listed,
                      static_cast<unsigned long long>(ingress_flows)));
}

CheckResult check_macs(const View& v, const Members& m) {
    Judge j("macs");
    if(!m.known) {
        return j.skip("node table not read whole");
    }
    std::map<std::string, uint32_t> seen;
    auto judge = [&](const std::string& mac, uint32_t node) {
        if(!mac_well_formed(mac)) {
            j.fail(fmt("node %u has a malformed MAC address '%s'", node, mac.c_str()));
        } else if(seen.count(mac)) {
            j.fail(fmt("node %u and node %u have the same MAC address %s", seen[mac], node, mac.c_str()));
        } else {
            seen[mac] = node;
        }
    };
    if(!v.run.run.local_guid.empty()) {
        judge(v.run.run.local_guid, m.local);
    }
    for(const auto& [id, c] : m.rows) {
        judge(c->text("MACAddress"), id);
    }
    for(const DumpCall* c : v.table("retrieve-node-info")) {
        if(!c->flag("Active") && !c->text("MACAddress").empty()) {
            j.fail(fmt("inactive node row Id=%u carries the address %s", c->id, c->text("MACAddress").c_str()));
        }
    }
    return j.done(fmt("%zu node addresses, well formed and unique", seen.size()));
}

CheckResult check_versions(const View& v, const Members& m) {
    Judge j("versions");
    const DumpCall* dyn = v.first(Phase::reports, "retrieve-dyn-info");
    if(!m.known) {
        return j.skip("reports or node table not read");
    }
    const std::string current = dyn->text("CurrentVersion");
    const int cur = version_number(current);
    int lowest = version_number(m.local_version);
    if(lowest < 0 || cur < 0) {
        j.fail("malformed version: this node's highest '" + m.local_version + "', the network's '" + current + "'");
        return j.done("");
    }
    for(const auto& [id, c] : m.rows) {
        const std::string hv = c->text("HighestVersion");
        const int n = version_number(hv);
        if(n < 0) {
            j.fail(fmt("node %u has a malformed version '%s'", id, hv.c_str()));
            continue;
        }
        lowest = std::min(lowest, n);
        if(c->flag("Moca25PhyCapable") != (hv == "2.5")) {
            j.fail(fmt("node %u: MoCA %s but Moca25PhyCapable %s", id, hv.c_str(),
                       c->flag("Moca25PhyCapable") ? "true" : "false"));
        }
    }
    // Nodes of one generation share a network at the version of its coordinator's
    // choosing, up to this node's own; a node of an older generation brings the
    // network down to that generation.
    if(cur > version_number(m.local_version)) {
        j.fail("the network runs MoCA " + current + ", above this node's highest, " + m.local_version);
    }
    if(dyn->text("Status") == "Up" && cur / 10 > lowest / 10) {
        j.fail(fmt("the network runs MoCA %s with a MoCA %d.%d node in it", current.c_str(), lowest / 10, lowest % 10));
    } else if(dyn->text("Status") == "Up" && cur / 10 < lowest / 10) {
        j.warn(fmt("the network runs MoCA %s, a generation below every node (lowest %d.%d)", current.c_str(),
                   lowest / 10, lowest % 10));
    }
    return j.done(fmt("network MoCA %s, this node %s, lowest node %d.%d", current.c_str(), m.local_version.c_str(),
                      lowest / 10, lowest % 10));
}

// Keys reported modulo 2^32: a wrap between the reads is possible.
bool wraps(const std::string& key) {
    static const std::set<std::string> modular = {
        "DiscardPacketsReceived", "DiscardPacketsSent",     "ErrorsReceived",           "ErrorsSent",
        "UnicastPacketsSent",     "UnicastPacketsReceived", "MulticastPacketsReceived", "BroadcastPacketsReceived"};
    return modular.count(key) > 0;
}

CheckResult check_counters(const View& v) {
    Judge j("counters");
    auto reads = v.calls(Phase::stats, "retrieve-stats-info");
    if(reads.size() != 2 || !reads[0]->ok() || !reads[1]->ok()) {
        return j.skip("statistics not read twice");
    }
    size_t grew = 0;
    for(const auto& [key, value] : reads[0]->ret()[1].items()) {
        const uint64_t before = reads[0]->number(key.c_str());
        const uint64_t after = reads[1]->number(key.c_str());
        grew += after > before ? 1 : 0;
        if(after >= before) {
            continue;
        }
        const std::string what = fmt("%s went back from %llu to %llu", key.c_str(),
                                     static_cast<unsigned long long>(before), static_cast<unsigned long long>(after));
        if(wraps(key)) {
            j.warn(what + " (reported modulo 2^32: a wrap?)");
        } else {
            j.fail(what);
        }
    }
    return j.done(fmt("no counter went back in a second (%zu grew)", grew));
}

CheckResult check_rates(const View& v, const Members& m) {
    Judge j("phy-rates");
    if(!m.known) {
        return j.skip("reports or node table not read");
    }
    // A node's version and bonding; this node bonds as far as anyone can tell.
    auto node = [&](uint32_t id) -> std::pair<std::string, bool> {
        if(id == m.local) {
            return {m.local_version, true};
        }
        const DumpCall* c = m.rows.at(id);
        return {c->text("HighestVersion"), c->flag("BondingCapable")};
    };
    auto limit = [&](uint32_t a, uint32_t b) {
        auto [va, ba] = node(a);
        auto [vb, bb] = node(b);
        return pair_phy_rate_limit(va, ba, vb, bb);
    };
    size_t judged = 0;
    auto judge = [&](const char* what, uint32_t a, uint32_t b, uint64_t rate) {
        const uint32_t lim = limit(a, b);
        ++judged;
        if(lim != 0 && rate > lim) {
            j.fail(fmt("%s node %u -> node %u: %llu Mbps, above the %u Mbps MoCA %s and %s allow", what, a, b,
                       static_cast<unsigned long long>(rate), lim, node(a).first.c_str(), node(b).first.c_str()));
        }
    };
    for(const auto& [id, c] : m.rows) {
        judge("PHYTxRate", m.local, id, c->number("PHYTxRate"));
        judge("PHYRxRate", id, m.local, c->number("PHYRxRate"));
    }
    for(const auto& [tr, c] : mesh_cells(v)) {
        if(tr.first != tr.second && m.all.count(tr.first) && m.all.count(tr.second)) {
            judge("mesh", tr.first, tr.second, std::max(c->number("TxRateNper"), c->number("TxRateVlper")));
        }
    }
    return j.done(fmt("%zu rates within what their pair's MoCA versions allow", judged));
}

// The table a function reads through, or "" for one that reads the chip on every call.
std::string table_of(const std::string& function) {
    static const std::map<std::string, std::string> tables = {
        {"retrieve-node-info", "nodes"},  {"retrieve-mesh-info", "mesh"}, {"retrieve-bridge-info", "bridges"},
        {"retrieve-rlapm-info", "rlapm"}, {"retrieve-sapm-info", "sapm"}, {"retrieve-qos-info", "flows"},
        {"retrieve-flow-info", "flows"}};
    auto it = tables.find(function);
    return it == tables.end() ? "" : it->second;
}

CheckResult check_cache(const View& v) {
    Judge j("cache");
    if(!v.run.chip_counted) {
        return j.skip("chip calls not counted in this build");
    }
    const DumpCall* dyn = v.first(Phase::reports, "retrieve-dyn-info");
    const bool link_down = dyn != nullptr && dyn->text("Status") != "Up";
    std::map<std::string, size_t> refills;
    std::vector<std::string> order;
    for(size_t i : v.indexes(Phase::cold)) {
        const DumpCall& c = v.run.run.calls[i];
        const std::string t = table_of(c.function);
        if(t.empty()) {
            continue;
        }
        if(!refills.count(t)) {
            order.push_back(t);
            refills[t] = 0;
            if(c.chip_calls() == 0) {
                j.fail(where(c) + ": the first call of a fresh record served the " + t + " table without reading it");
            }
        }
        refills[t] += c.chip_calls() > 0 ? 1 : 0;
    }
    for(const auto& t : order) {
        // With the link down the node table is read on every call, by design.
        if(refills[t] > 1 && !(t == "nodes" && link_down)) {
            j.fail(fmt("cold walk: the %s table was read from the chip %zu times, not once", t.c_str(), refills[t]));
        }
    }
    std::map<std::pair<std::string, uint32_t>, const DumpCall*> cold;
    for(size_t i : v.indexes(Phase::cold)) {
        cold[{v.run.run.calls[i].function, v.run.run.calls[i].id}] = &v.run.run.calls[i];
    }
    for(size_t i : v.indexes(Phase::warm)) {
        const DumpCall& c = v.run.run.calls[i];
        const std::string t = table_of(c.function);
        if(t.empty() || (t == "nodes" && link_down)) {
            continue;
        }
        auto before = cold.find({c.function, c.id});
        if(c.chip_calls() > 0) {
            j.fail(where(c) + fmt(": warm walk made %zu chip calls", c.chip_calls()));
        } else if(before != cold.end() && before->second->ret() != c.ret()) {
            j.fail(where(c) + ": the cached answer differs from the cold walk's");
        }
    }
    if(order.empty()) {
        return j.skip("no table walked");
    }
    return j.done(fmt("%zu tables read once each in the cold walk; the warm walk made no chip call", order.size()));
}

struct Spread {
    std::vector<double> ms;
    json summary() const {
        std::vector<double> s = ms;
        std::sort(s.begin(), s.end());
        auto round = [](double x) { return static_cast<double>(static_cast<long long>(x * 1000 + 0.5)) / 1000; };
        return {{"calls", s.size()},
                {"min_ms", round(s.front())},
                {"median_ms", round(s[s.size() / 2])},
                {"max_ms", round(s.back())}};
    }
    double median() const {
        std::vector<double> s = ms;
        std::sort(s.begin(), s.end());
        return s[s.size() / 2];
    }
};

double refill_budget(const std::string& table, const Budgets& b) {
    if(table == "nodes")
        return b.refill_nodes;
    if(table == "mesh")
        return b.refill_mesh;
    if(table == "bridges")
        return b.refill_bridges;
    if(table == "flows")
        return b.refill_flows;
    return b.refill_margins;
}

CheckResult check_timing(const View& v, const Budgets& b) {
    Judge j("timing");
    std::map<std::string, std::map<std::string, Spread>> spreads; // function -> phase -> times
    std::map<std::string, std::map<std::string, Spread>> cached;
    std::map<std::string, bool> seen_group;
    double slowest_refill = 0, slowest_report = 0;
    for(size_t i = 0; i < v.run.run.calls.size(); ++i) {
        const DumpCall& c = v.run.run.calls[i];
        if(!c.result.is_object()) {
            continue;
        }
        const double ms = v.run.ms[i];
        const std::string phase = phase_name(v.run.phases[i]);
        spreads[c.function][phase].ms.push_back(ms);
        const std::string t = table_of(c.function);
        const bool first = !t.empty() && v.run.phases[i] == Phase::cold && !seen_group[t];
        if(!t.empty() && v.run.phases[i] == Phase::cold) {
            seen_group[t] = true;
        }
        const bool refill = v.run.chip_counted ? c.chip_calls() > 0 : first;
        if(t.empty()) {
            slowest_report = std::max(slowest_report, ms);
            if(ms > b.report) {
                j.fail(where(c) + fmt(": %.1f ms, budget %.0f ms", ms, b.report));
            }
        } else if(refill) {
            slowest_refill = std::max(slowest_refill, ms);
            if(ms > refill_budget(t, b)) {
                j.fail(where(c) + fmt(": %s refill %.1f ms, budget %.0f ms", t.c_str(), ms, refill_budget(t, b)));
            }
        } else {
            cached[c.function][phase].ms.push_back(ms);
        }
    }
    // A cached call stands for the host's event loop: the median must keep the
    // budget; single slow calls (the scheduler) are forgiven, a tenth of them is not.
    double slowest_cached = 0;
    for(const auto& [function, phases] : cached) {
        for(const auto& [phase, s] : phases) {
            const double median = s.median();
            const auto slow = std::count_if(s.ms.begin(), s.ms.end(), [&](double ms) { return ms > b.cached; });
            slowest_cached = std::max(slowest_cached, median);
            if(median > b.cached) {
                j.fail(fmt("%s %s: cached calls take %.2f ms (median), budget %.0f ms", function.c_str(), phase.c_str(),
                           median, b.cached));
            } else if(slow >= 2 && static_cast<size_t>(slow) * 10 > s.ms.size()) {
                j.warn(fmt("%s %s: %zu of %zu cached calls over the %.0f ms budget", function.c_str(), phase.c_str(),
                           static_cast<size_t>(slow), s.ms.size(), b.cached));
            }
        }
    }
    for(const auto& [function, phases] : spreads) {
        for(const auto& [phase, s] : phases) {
            j.details()[function][phase] = s.summary();
        }
    }
    return j.done(fmt("slowest report %.2f ms, refill %.2f ms, cached median %.3f ms: within budget", slowest_report,
                      slowest_refill, slowest_cached));
}

CheckResult check_write(const View& v) {
    Judge j("write");
    if(!v.run.wrote) {
        return j.skip("read-only run (--write not given)");
    }
    auto writes = v.calls(Phase::write, "set-cfg-info");
    auto rereads = v.calls(Phase::write, "retrieve-cfg-info");
    if(writes.empty()) {
        return j.skip("configuration not read: nothing to write back");
    }
    if(!v.run.chip_counted) {
        return j.skip("chip calls not counted in this build");
    }
    for(const DumpCall* c : writes) {
        std::string key;
        for(const auto& [name, value] : c->args.items()) {
            key = name == "InternalName" ? key : name;
        }
        for(const auto& call : c->result["chip"]) {
            const std::string op = call["op"].get<std::string>();
            if(op == "ClnkLib_SetClnkCfgV2Params" || op == "ClnkLib_Start" || op == "ClnkLib_Stop") {
                j.fail("writing " + key + "'s current value made the chip call " + op);
            }
        }
    }
    const DumpCall* before = v.first(Phase::reports, "retrieve-cfg-info");
    if(!rereads.empty() && before != nullptr && rereads[0]->ok() && rereads[0]->ret() != before->ret()) {
        j.fail("the configuration read back differs from the one read before the writes");
    }
    return j.done(fmt("%zu settings written with their current values, no chip write", writes.size()));
}

} // namespace

const char* verdict_name(Verdict v) {
    static const char* const names[] = {"PASS", "WARN", "FAIL", "SKIP"};
    return names[static_cast<int>(v)];
}

std::vector<CheckResult> judge_run(const CheckRun& run, const Budgets& budgets) {
    const View v{run};
    const Members m = members(v);
    return {check_calls(v),    check_keys(v),     check_network(v, m),      check_mesh(v, m),     check_bridges(v, m),
            check_margins(v),  check_flows(v, m), check_macs(v, m),         check_versions(v, m), check_counters(v),
            check_rates(v, m), check_cache(v),    check_timing(v, budgets), check_write(v)};
}

Verdict worst_verdict(const std::vector<CheckResult>& results) {
    Verdict w = Verdict::pass;
    for(const auto& r : results) {
        if(r.verdict != Verdict::skip) {
            w = std::max(w, r.verdict);
        }
    }
    return w;
}

} // namespace host
