// SPDX-License-Identifier: BSD-2-Clause-Patent
// The health report as one HTML page that needs nothing else: inline CSS, the
// mesh as inline SVG, no script, and a content policy that forbids loading
// anything. Every text that comes from the chip is escaped.
#include <algorithm>
#include <cstdio>

#include "health.h"

namespace host {

namespace {

std::string escaped(const std::string& s) {
    std::string out;
    for(char c : s) {
        switch(c) {
            case '&': out += "&amp;"; break;
            case '<': out += "&lt;"; break;
            case '>': out += "&gt;"; break;
            case '"': out += "&quot;"; break;
            case '\'': out += "&#39;"; break;
            default: out += c;
        }
    }
    return out;
}

std::string format(const char* fmt, auto... args) {
    char buffer[512];
    std::snprintf(buffer, sizeof(buffer), fmt, args...);
    return buffer;
}

const char* style = R"(
:root { --ok: #2e7d32; --warning: #b26a00; --problem: #c62828; --ink: #1d232a; --line: #d5dae0; }
* { box-sizing: border-box; }
body { font: 15px/1.45 system-ui, -apple-system, "Segoe UI", Roboto, sans-serif; color: var(--ink);
       margin: 0 auto; padding: 12px; max-width: 980px; background: #fff; }
h1 { font-size: 1.35em; margin: .2em 0; }
h2 { font-size: 1.1em; margin: 1.2em 0 .4em; border-bottom: 1px solid var(--line); }
.lead { margin: .2em 0 .8em; }
.badge { display: inline-block; min-width: 5.2em; text-align: center; padding: 1px 6px; border-radius: 4px;
         color: #fff; font-weight: 600; font-size: .85em; text-transform: uppercase; }
.ok { background: var(--ok); } .warning { background: var(--warning); } .problem { background: var(--problem); }
ul.findings { list-style: none; padding: 0; margin: 0; }
ul.findings li { padding: 6px 0; border-bottom: 1px solid var(--line); }
.check { color: #5b6570; font-size: .85em; margin-left: .4em; }
.numbers { display: block; color: #5b6570; font-size: .8em; overflow-wrap: anywhere; margin-top: 2px; }
.mesh { width: 100%; max-width: 560px; height: auto; display: block; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; font-size: .9em; min-width: 100%; }
th, td { text-align: right; padding: 4px 8px; border-bottom: 1px solid var(--line); white-space: nowrap; }
th:first-child, td:first-child, th.l, td.l { text-align: left; }
footer { margin-top: 1.5em; color: #5b6570; font-size: .8em; }
@media (max-width: 600px) { body { font-size: 14px; padding: 8px; } th, td { padding: 3px 5px; } }
@media print {
  body { max-width: none; padding: 0; font-size: 11pt; }
  * { -webkit-print-color-adjust: exact; print-color-adjust: exact; }
  section, li, svg, tr { break-inside: avoid; }
  .scroll { overflow: visible; }
}
)";

// The colour of a share of what a pair reaches, in the bands the link checks use:
// red below the problem limit, amber up to the warning limit, then towards green.
std::string share_colour(double share) {
    const Limits lim;
    double hue = 120;
    if(share < lim.weak_problem) {
        hue = 8 * share / lim.weak_problem;
    } else if(share < lim.weak_warning) {
        hue = 30 + 15 * (share - lim.weak_problem) / (lim.weak_warning - lim.weak_problem);
    } else {
        hue = 65 + 55 * std::min(1.0, (share - lim.weak_warning) / (0.9 - lim.weak_warning));
    }
    return format("hsl(%d, 68%%, 62%%)", static_cast<int>(hue));
}

std::string findings_html(const std::vector<Finding>& findings) {
    std::string out = "<ul class=\"findings\">\n";
    for(const auto& f : findings) {
        const std::string numbers = evidence(f.numbers);
        out += "<li><span class=\"badge " + std::string(severity_name(f.severity)) + "\">" + severity_name(f.severity) +
               "</span> " + escaped(f.summary) + "<span class=\"check\">" + escaped(f.check) + "</span>";
        if(!numbers.empty()) {
            out += "<span class=\"numbers\">" + escaped(numbers) + "</span>";
        }
        out += "</li>\n";
    }
    if(findings.empty()) {
        out += "<li><span class=\"badge ok\">ok</span> nothing to report</li>\n";
    }
    return out + "</ul>\n";
}

// Rows transmit, columns receive; each cell the rate and its colour the share of
// what the pair of nodes reaches. Sleeping nodes are hatched and labelled.
std::string mesh_svg(const NetworkView& net) {
    const int cell = 62;
    const int margin = 58;
    const int n = static_cast<int>(net.nodes.size());
    const int size = margin + n * cell;
    const int width = std::max(size, margin + 4 * cell) + 4; // room for the legend
    const int legend = 52;
    std::string out = format("<svg class=\"mesh\" viewBox=\"0 0 %d %d\" role=\"img\" aria-label=\"Mesh PHY rates in "
                             "Mbps, rows transmit, columns receive\">\n",
                             width, size + legend);
    out += "<defs><pattern id=\"asleep\" width=\"8\" height=\"8\" patternUnits=\"userSpaceOnUse\" "
           "patternTransform=\"rotate(45)\"><rect width=\"8\" height=\"8\" fill=\"#eef1f4\"/>"
           "<rect width=\"3\" height=\"8\" fill=\"#c9d0d8\"/></pattern>"
           "<linearGradient id=\"scale\">";
    for(int stop = 0; stop <= 20; ++stop) {
        out += format("<stop offset=\"%d%%\" stop-color=\"%s\"/>", stop * 5, share_colour(stop / 20.0).c_str());
    }
    out += "</linearGradient></defs>\n";
    out += "<text x=\"4\" y=\"14\" font-size=\"11\" fill=\"#5b6570\">tx \\ rx</text>\n";
    for(int i = 0; i < n; ++i) {
        const NodeView& node = net.nodes[i];
        const std::string label = std::to_string(node.id) + (node.asleep ? " zz" : "");
        out += format("<text x=\"%d\" y=\"%d\" font-size=\"13\" text-anchor=\"middle\" font-weight=\"600\">%s</text>\n",
                      margin + i * cell + cell / 2, margin - 10, label.c_str());
        out += format("<text x=\"%d\" y=\"%d\" font-size=\"13\" text-anchor=\"end\" font-weight=\"600\">%s</text>\n",
                      margin - 8, margin + i * cell + cell / 2 + 5, label.c_str());
    }
    for(int r = 0; r < n; ++r) {
        for(int c = 0; c < n; ++c) {
            const NodeView& tx = net.nodes[r];
            const NodeView& rx = net.nodes[c];
            const int x = margin + c * cell;
            const int y = margin + r * cell;
            std::string fill = "#e4e7eb";
            std::string value = "-";
            if(tx.asleep || rx.asleep) {
                fill = "url(#asleep)";
                value = "asleep";
            } else if(tx.id != rx.id) {
                const uint32_t rate = net.rate(tx.id, rx.id);
                const uint32_t cap = pair_capability(tx, rx);
                value = std::to_string(rate);
                fill = cap > 0 ? share_colour(static_cast<double>(rate) / cap) : "#e4e7eb";
            }
            out += format("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" fill=\"%s\" stroke=\"#fff\" "
                          "stroke-width=\"2\"/>\n",
                          x, y, cell, cell, fill.c_str());
            out += format("<text x=\"%d\" y=\"%d\" font-size=\"%d\" text-anchor=\"middle\">%s</text>\n", x + cell / 2,
                          y + cell / 2 + 5, value == "asleep" ? 11 : 15, value.c_str());
        }
    }
    const int ly = size + 12;
    const int bar = std::max(cell * 2, n * cell - 40);
    out += format("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"10\" fill=\"url(#scale)\"/>\n", margin, ly, bar);
    out += format("<text x=\"%d\" y=\"%d\" font-size=\"10\" fill=\"#5b6570\">0%%</text><text x=\"%d\" y=\"%d\" "
                  "font-size=\"10\" fill=\"#5b6570\" text-anchor=\"end\">100%%</text>\n",
                  margin, ly + 22, margin + bar, ly + 22);
    out += format("<text x=\"%d\" y=\"%d\" font-size=\"10\" fill=\"#5b6570\">of what the pair's MoCA versions "
                  "reach; zz asleep</text>\n",
                  margin, ly + 34);
    return out + "</svg>\n";
}

std::string ratio_cell(uint64_t bad, uint64_t all) {
    return all == 0 ? "-" : format("%.2g", static_cast<double>(bad) / static_cast<double>(all));
}

std::string nodes_table(const NetworkView& net) {
    std::string out =
        "<div class=\"scroll\"><table>\n<tr><th>node</th><th class=\"l\">MAC</th><th class=\"l\">MoCA</th>"
        "<th class=\"l\">state</th><th>PHY tx Mbps</th><th>rx level dBm</th><th>SNR dB</th>"
        "<th>tx drops / packet</th><th>rx errors / packet</th></tr>\n";
    for(const auto& n : net.nodes) {
        const std::string state = n.local ? "this node" : n.asleep ? "asleep" : "active";
        auto known = [&](uint64_t v, const std::string& shown) { return n.local || v == 0 ? std::string("-") : shown; };
        out += "<tr><td>" + std::to_string(n.id) + "</td><td class=\"l\">" + escaped(n.mac.empty() ? "-" : n.mac) +
               "</td><td class=\"l\">" + escaped(n.version.empty() ? "?" : n.version) + (n.bonding ? " bonded" : "") +
               "</td><td class=\"l\">" + state + "</td><td>" + known(n.tx_rate, std::to_string(n.tx_rate)) +
               "</td><td>" + known(n.rx_level, "-" + std::to_string(n.rx_level)) + "</td><td>" +
               known(n.snr, std::to_string(n.snr)) + "</td><td>" +
               (n.local ? "-" : ratio_cell(n.tx_drops, n.tx_packets)) + "</td><td>" +
               (n.local ? "-" : ratio_cell(n.rx_errors, n.rx_packets)) + "</td></tr>\n";
    }
    return out + "</table></div>\n";
}

} // namespace

std::string report_html(const NetworkView& net, const std::vector<Finding>& findings) {
    const std::string name = escaped(net.ifname);
    const Severity w = worst(findings);
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
                      "style-src 'unsafe-inline'\">\n<title>MoCA health of " +
                      name + "</title>\n<style>" + style + "</style>\n</head>\n<body>\n";
    out += "<h1>MoCA health of " + name + " <span class=\"badge " + severity_name(w) + "\">" + severity_name(w) +
           "</span></h1>\n";
    out += net.up ? format("<p class=\"lead\">MoCA %s network of %zu nodes; this is node %u.</p>\n",
                           escaped(net.current_version).c_str(), net.nodes.size(), net.local_id)
                  : std::string("<p class=\"lead\">The link is down.</p>\n");
    out += "<section>\n<h2>Findings</h2>\n" + findings_html(findings) + "</section>\n";
    if(net.up && !net.nodes.empty()) {
        out += "<section>\n<h2>Mesh (PHY rate in Mbps; row transmits, column receives)</h2>\n" + mesh_svg(net) +
               "</section>\n<section>\n<h2>Nodes</h2>\n" + nodes_table(net) + "</section>\n";
    }
    out += "<footer>moca-host report; thresholds and what to do about each finding: docs/host.md.</footer>\n"
           "</body>\n</html>\n";
    return out;
}

} // namespace host
