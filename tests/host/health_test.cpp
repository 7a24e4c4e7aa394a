// SPDX-License-Identifier: BSD-2-Clause-Patent
// The health checks on made-up walks: one healthy network, changed one way per case.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <tuple>

#include "health.h"

using host::json;
using host::Severity;

namespace {

const std::string local_guid = "40:00:00:00:00:00", stranger = "0e:00:00:00:00:09";

std::string mac(uint32_t id) {
    return "00:00:00:00:00:0" + std::to_string(id);
}

json typed(const char* type, json value) {
    return json::array({type, std::move(value)});
}
json u32(uint64_t value) {
    return typed("uint32", value);
}
json text(const std::string& value) {
    return typed("cstring", value);
}

struct FakeNode {
    uint32_t id;
    std::string version = "2.5";
    bool bonding = true;
    uint64_t tx = 1000000000, drops = 0, rx = 1000000000, errors = 0;
    uint32_t level = 30, snr = 40;
};

// A MoCA 2.5 network: this node 0 and nodes 1 and 2, every link at 1800 Mbps.
struct FakeNet {
    bool up = true;
    std::string version = "2.5";
    uint32_t link_down = 0, resets = 0, up_s = 100000;
    std::vector<FakeNode> nodes{{1}, {2}};
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> mesh; // links changed from 1800 Mbps
    std::vector<json> flows;
    uint32_t ingress_flows = 0;
    std::string failing;    // a function whose calls fail
    uint32_t sleeping = 0;  // the chip's M1 mask
    bool masks_read = true; // and the local GUID

    FakeNode& node(uint32_t id) { return nodes[id - 1]; }
    void link(uint32_t a, uint32_t b, uint32_t ab, uint32_t ba) {
        mesh[{a, b}] = ab;
        mesh[{b, a}] = ba;
    }
    void silence(uint32_t id) {
        link(0, id, 0, 0);
        link(1, id, 0, 0);
    }
    // clang-format off
    void flow(const std::string& ingress, const std::string& egress, uint32_t kbps, uint32_t lease, uint32_t left) {
        flows.push_back({{"FlowID", text("02:00:00:00:00:0" + std::to_string(flows.size() + 1))},
                         {"IngressGuid", text(ingress)}, {"EgressGuid", text(egress)}, {"MaxRate", u32(kbps)},
                         {"LeaseTime", u32(lease)}, {"LeaseTimeLeft", u32(left)}});
    }
};

host::DumpRun to_run(const FakeNet& net) {
    host::DumpRun run;
    run.ifname = "moca0";
    run.sleep_masks[0] = net.sleeping;
    run.sleep_masks_read = net.masks_read;
    run.local_guid = net.masks_read ? local_guid : "";
    auto call = [&](const std::string& function, uint32_t id, json table) {
        const bool fails = function == net.failing;
        run.calls.push_back(
            {function, id, json::object(), {{"rc", fails ? -5 : 0}, {"ret", typed("htable", table)}}, ""});
    };
    run.calls.push_back(host::DumpCall{"is-present", 0, json::object(), {{"rc", 0}, {"ret", typed("bool", true)}}, ""});
    call("create-moca-iface", 0, json::object());
    call("retrieve-static-info", 0, {{"HighestVersion", text("2.5")}});
    call("retrieve-dyn-info", 0,
         {{"Status", text(net.up ? "Up" : "Down")}, {"NodeID", u32(0)}, {"CurrentVersion", text(net.version)},
          {"LinkUpTime", u32(net.up_s)}, {"ResetCount", u32(net.resets)}, {"LinkDownCount", u32(net.link_down)},
          {"ResetReason", text("MXL MoCA Reset reason code: 3 / 0x10")}});
    call("retrieve-qos-info", 0, {{"IngressNumFlows", u32(net.ingress_flows)}});
    for(uint32_t id = 1; id <= 16; ++id) {
        json slot = {{"Active", typed("bool", false)}};
        for(const auto& n : net.nodes) {
            if(n.id == id - 1) {
                slot = {{"Active", typed("bool", true)}, {"MACAddress", text(mac(n.id))},
                        {"HighestVersion", text(n.version)}, {"BondingCapable", typed("bool", n.bonding)},
                        {"TxPackets", typed("uint64", n.tx)}, {"TxDrops", u32(n.drops)},
                        {"RxPackets", typed("uint64", n.rx)}, {"RxErroredAndMissedPackets", u32(n.errors)},
                        {"RxPowerLevel", u32(n.level)}, {"RxSNR", u32(n.snr)}};
            }
        }
        call("retrieve-node-info", id, slot);
    }
    for(uint32_t id = 1; id <= 256; ++id) {
        const uint32_t tx = (id - 1) >> 4, rx = (id - 1) & 15;
        auto cell = net.mesh.find({tx, rx});
        const uint32_t rate = cell != net.mesh.end() ? cell->second : tx != rx && tx < 3 && rx < 3 ? 1800 : 0;
        call("retrieve-mesh-info", id, {{"TxNodeIndex", u32(tx)}, {"RxNodeIndex", u32(rx)}, {"TxRateNper", u32(rate)}});
    }
    for(uint32_t id = 1; id <= 16; ++id) {
        call("retrieve-flow-info", id, id <= net.flows.size() ? net.flows[id - 1] : json{{"FlowID", text("")}});
    }
    return run;
}
// clang-format on

using Expected = std::tuple<std::string, Severity, std::vector<uint32_t>>;

struct Case {
    const char* name;
    std::function<void(FakeNet&)> change;
    std::set<Expected> findings;
};

const Severity ok = Severity::ok, warning = Severity::warning, problem = Severity::problem;

// clang-format off
const Case cases[] = {
    {"healthy", [](FakeNet&) {}, {}},
    {"weak_link_problem", [](FakeNet& n) { n.link(0, 2, 500, 520); }, {{"weak-link", problem, {0, 2}}}},
    {"weak_link_just_ok", [](FakeNet& n) { n.link(0, 2, 1229, 1229); }, {}},
    {"weak_link_just_warning", [](FakeNet& n) { n.link(0, 2, 1228, 1229); }, {{"weak-link", warning, {0, 2}}}},
    // A link is weak against what its pair of nodes can reach: 2048 Mbps between 2.5 nodes, 1400 to a
    // bonding 2.0 node, 700 to one that does not bond, 275 to 1.x; nothing is known of an unknown version.
    {"weak_2_0_bonded_ok", [](FakeNet& n) { n.node(2).version = "2.0"; n.link(0, 2, 841, 841); }, {}},
    {"weak_2_0_bonded", [](FakeNet& n) { n.node(2).version = "2.0"; n.link(0, 2, 839, 841); },
     {{"weak-link", warning, {0, 2}}}},
    {"version_unknown", [](FakeNet& n) { n.node(2).version = ""; n.link(0, 2, 100, 100); }, {}},
    {"weak_2_0_unbonded", [](FakeNet& n) { n.node(2).version = "2.0"; n.node(2).bonding = false;
        n.link(0, 2, 600, 600); n.link(1, 2, 400, 400); }, {{"weak-link", warning, {1, 2}}}},
    {"no_link", [](FakeNet& n) { n.link(1, 2, 0, 1800); }, {{"no-link", problem, {1, 2}}}},
    {"lopsided", [](FakeNet& n) { n.link(0, 1, 1800, 1300); }, {{"asymmetric-link", warning, {0, 1}}}},
    {"lopsided_badly", [](FakeNet& n) { n.link(0, 1, 1400, 1800 * 2); }, {{"asymmetric-link", problem, {0, 1}}}},
    {"old_node", [](FakeNet& n) { n.version = "1.1"; n.node(2).version = "1.1"; n.node(2).bonding = false;
        n.link(0, 2, 245, 244); n.link(1, 2, 240, 238); }, {{"held-back", warning, {2}}}},
    {"old_node_weak_too", [](FakeNet& n) { n.node(2).version = "1.1"; n.link(0, 2, 80, 82); n.link(1, 2, 240, 238); },
     {{"held-back", warning, {2}}, {"weak-link", problem, {0, 2}}}},
    {"drops", [](FakeNet& n) { n.node(1).tx = 1000000; n.node(1).drops = 200; }, {{"node-errors", warning, {1}}}},
    {"rx_errors", [](FakeNet& n) { n.node(2).rx = 1000000; n.node(2).errors = 2000; }, {{"node-errors", problem, {2}}}},
    {"too_few_packets", [](FakeNet& n) { n.node(1).tx = 99999; n.node(1).drops = 9999; }, {}},
    {"link_losses", [](FakeNet& n) { n.link_down = 3; }, {{"instability", warning, {0}}}},
    {"resets", [](FakeNet& n) { n.resets = 10; }, {{"instability", problem, {0}}}},
    {"back_up_recently", [](FakeNet& n) { n.link_down = 1; n.up_s = 600; }, {{"instability", warning, {0}}}},
    {"hot_signal", [](FakeNet& n) { n.node(1).level = 12; }, {{"rx-level", warning, {0, 1}}}},
    {"hot_signal_badly", [](FakeNet& n) { n.node(1).level = 4; }, {{"rx-level", problem, {0, 1}}}},
    {"weak_signal", [](FakeNet& n) { n.node(2).level = 58; }, {{"rx-level", warning, {0, 2}}}},
    {"level_unknown", [](FakeNet& n) { n.node(2).level = 0; n.node(2).snr = 0; }, {}},
    {"low_snr", [](FakeNet& n) { n.node(2).snr = 19; }, {{"snr", warning, {0, 2}}}},
    {"very_low_snr", [](FakeNet& n) { n.node(2).snr = 11; }, {{"snr", problem, {0, 2}}}},
    {"asleep", [](FakeNet& n) { n.sleeping = 1u << 2; n.silence(2); n.node(2).snr = 5; }, {{"asleep", ok, {2}}}},
    {"silent_but_awake", [](FakeNet& n) { n.silence(2); },
     {{"no-link", problem, {0, 2}}, {"no-link", problem, {1, 2}}}},
    {"asleep_masks_unread", [](FakeNet& n) { n.masks_read = false; n.silence(2); }, {{"asleep", ok, {2}}}},
    {"flow_lease_soon", [](FakeNet& n) { n.flow(mac(1), mac(2), 1000, 300, 59); }, {{"flow-lease", warning, {1, 2}}}},
    {"flow_lease_10pc", [](FakeNet& n) { n.flow(mac(1), mac(2), 1000, 3000, 299); }, {{"flow-lease", warning, {1, 2}}}},
    {"flow_lease_fine", [](FakeNet& n) { n.flow(mac(1), mac(2), 1000, 3000, 301); }, {}},
    {"flow_lease_gone", [](FakeNet& n) { n.flow(mac(1), mac(2), 1000, 300, 0); }, {{"flow-lease", problem, {1, 2}}}},
    {"flow_permanent", [](FakeNet& n) { n.flow(mac(1), mac(2), 1000, 0, 0); }, {}},
    {"flow_from_here", [](FakeNet& n) { n.ingress_flows = 1; n.flow(local_guid, mac(2), 1000, 0, 0); }, {}},
    {"flow_from_here_guessed", [](FakeNet& n) { n.masks_read = false; n.ingress_flows = 1;
        n.flow(local_guid, mac(2), 1000, 0, 0); }, {}},
    {"stale_flow_listed_first", [](FakeNet& n) { n.ingress_flows = 1; n.flow(stranger, mac(1), 1000, 0, 0);
        n.flow(local_guid, mac(2), 1000, 0, 0); }, {{"flow-endpoint", problem, {1}}}},
    {"flow_to_nowhere", [](FakeNet& n) { n.flow(mac(1), stranger, 1000, 0, 0); }, {{"flow-endpoint", problem, {1}}}},
    {"flow_to_sleeper", [](FakeNet& n) { n.sleeping = 1u << 2; n.silence(2); n.flow(mac(1), mac(2), 1000, 0, 0); },
     {{"asleep", ok, {2}}, {"flow-endpoint", warning, {1, 2}}}},
    {"flows_overload", [](FakeNet& n) { n.ingress_flows = 2; n.flow(local_guid, mac(1), 600000, 0, 0);
        n.flow(local_guid, mac(1), 500000, 0, 0); }, {{"flow-capacity", problem, {0, 1}}}},
    {"flows_fit", [](FakeNet& n) { n.ingress_flows = 1; n.flow(local_guid, mac(1), 1080000, 0, 0); }, {}},
    {"mesh_unread", [](FakeNet& n) { n.failing = "retrieve-mesh-info"; n.link(0, 1, 0, 0); },
     {{"unread", warning, {}}}},
    {"link_down", [](FakeNet& n) { n.up = false; }, {{"link-down", problem, {0}}}},
    {"unreadable", [](FakeNet& n) { n.failing = "retrieve-dyn-info"; }, {{"unread", problem, {}}}},
};
// clang-format on

TEST(Health, ChecksFindWhatIsWrongAndNothingElse) {
    for(const auto& c : cases) {
        SCOPED_TRACE(c.name);
        FakeNet net;
        c.change(net);
        auto findings = host::diagnose(host::network_view(to_run(net)));
        std::set<Expected> got;
        Severity want = Severity::ok;
        for(const auto& f : findings) {
            got.insert({f.check, f.severity, f.nodes});
            EXPECT_FALSE(f.summary.empty());
        }
        for(const auto& e : c.findings) {
            want = std::max(want, std::get<1>(e));
        }
        EXPECT_EQ(got, c.findings);
        EXPECT_EQ(host::worst(findings), want);
        for(size_t i = 1; i < findings.size(); ++i) {
            EXPECT_GE(findings[i - 1].severity, findings[i].severity) << "worst first";
        }
    }
}

TEST(Health, ReportEscapesWhatTheChipSays) {
    FakeNet net;
    net.version = "<b>&";
    net.node(1).version = "2.5\"><script>x</script>";
    auto view = host::network_view(to_run(net));
    view.ifname = "moca<0>";
    const std::string page = host::report_html(view, host::diagnose(view));
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_EQ(page.find("<b>&"), std::string::npos);
    EXPECT_NE(page.find("moca&lt;0&gt;"), std::string::npos);
    EXPECT_NE(page.find("&lt;b&gt;&amp;"), std::string::npos);
    EXPECT_EQ(page.find("://"), std::string::npos) << "the page loads nothing";
}

} // namespace
