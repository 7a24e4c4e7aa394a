// "dump": what a data-model host does with an interface. It creates the record,
// reads every report, walks every table and prints the lot for people (units
// labelled) or as one JSON document.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "session.h"

namespace host {

namespace {

constexpr uint32_t max_nodes = 16;
constexpr uint32_t max_flows = 16;
constexpr uint32_t rlapm_levels_per_row = 84;
constexpr uint64_t rlapm_level_ceiling = 65;

// ---- reading ----------------------------------------------------------------------------------

class Reader {
public:
    Reader(Session& session, std::string ifname) : session_(session), ifname_(std::move(ifname)) {}

    // The plain result of one call; failures are collected in errors().
    // *ok tells whether the call returned 0.
    json read(const std::string& function, uint32_t id = 0, bool* ok = nullptr) {
        if(ok != nullptr) {
            *ok = false;
        }
        json args = json::object();
        args["InternalName"] = ifname_;
        if(id != 0) {
            args["Id"] = id;
        }
        Variant ret;
        int rc = 0;
        std::string err;
        if(!session_.call(function, args, ret.get(), &rc, &err)) {
            note(function, id, json(err));
            return json();
        }
        if(rc != 0) {
            note(function, id, json(rc));
        } else if(ok != nullptr) {
            *ok = true;
        }
        return variant_to_plain_json(ret.get());
    }

    const json& errors() const { return errors_; }
    const std::string& ifname() const { return ifname_; }

private:
    void note(const std::string& function, uint32_t id, json what) {
        // Keep the first failure of each function.
        for(const auto& e : errors_) {
            if(e["function"] == function) {
                return;
            }
        }
        json e = json::object();
        e["function"] = function;
        if(id != 0) {
            e["id"] = id;
        }
        e[what.is_string() ? "error" : "rc"] = what;
        errors_.push_back(std::move(e));
    }

    Session& session_;
    std::string ifname_;
    json errors_ = json::array();
};

uint64_t num(const json& obj, const char* key) {
    if(obj.is_object() && obj.contains(key) && obj[key].is_number()) {
        return obj[key].is_number_integer() && obj[key].get<int64_t>() < 0 ? 0 : obj[key].get<uint64_t>();
    }
    return 0;
}

int64_t snum(const json& obj, const char* key) {
    if(obj.is_object() && obj.contains(key) && obj[key].is_number()) {
        return obj[key].get<int64_t>();
    }
    return 0;
}

std::string str(const json& obj, const char* key) {
    if(obj.is_object() && obj.contains(key) && obj[key].is_string()) {
        return obj[key].get<std::string>();
    }
    return "";
}

bool flag(const json& obj, const char* key) {
    return obj.is_object() && obj.contains(key) && obj[key].is_boolean() && obj[key].get<bool>();
}

bool has(const json& obj, const char* key) {
    return obj.is_object() && obj.contains(key);
}

// RLAPM entries come as 84 receive levels per (profile, frequency) row: one
// row object with the margin list instead of 84 entries.
json rlapm_rows(const json& entries) {
    json rows = json::array();
    for(size_t i = 0; i < entries.size(); i += rlapm_levels_per_row) {
        json row = json::object();
        row["Profile"] = num(entries[i], "Profile");
        row["Frequency"] = num(entries[i], "Frequency");
        json margins = json::array();
        json levels = json::array();
        bool enabled = true;
        for(size_t j = i; j < std::min(entries.size(), i + rlapm_levels_per_row); ++j) {
            margins.push_back(num(entries[j], "PhyMargin"));
            levels.push_back(num(entries[j], "GlobalAggrRxPwrLevel"));
            enabled = enabled && flag(entries[j], "Enable");
        }
        row["Enable"] = enabled;
        row["Status"] = str(entries[i], "Status");
        row["GlobalAggrRxPwrLevel"] = std::move(levels);
        row["PhyMargin"] = std::move(margins);
        rows.push_back(std::move(row));
    }
    return rows;
}

json collect(Reader& r) {
    json doc = json::object();
    doc["interface"] = r.ifname();
    json present = r.read("is-present");
    json available = r.read("is-available");
    doc["present"] = present.is_boolean() && present.get<bool>();
    doc["available"] = available.is_boolean() && available.get<bool>();
    doc["static"] = r.read("retrieve-static-info");
    doc["dynamic"] = r.read("retrieve-dyn-info");
    doc["config"] = r.read("retrieve-cfg-info");
    doc["stats"] = r.read("retrieve-stats-info");

    json nodes = json::array();
    std::set<uint64_t> in_network;
    if(has(doc["dynamic"], "NodeID") && str(doc["dynamic"], "Status") == "Up") {
        in_network.insert(num(doc["dynamic"], "NodeID"));
    }
    for(uint32_t id = 1; id <= max_nodes; ++id) {
        bool ok = false;
        json node = r.read("retrieve-node-info", id, &ok);
        if(!ok) {
            break;      // the table could not be read: every further index fails alike
        }
        if(flag(node, "Active")) {
            in_network.insert(id - 1);
            nodes.push_back(std::move(node));
        }
    }
    doc["nodes"] = std::move(nodes);

    json mesh = json::array();
    for(uint32_t id = 1; id <= max_nodes * max_nodes; ++id) {
        bool ok = false;
        json cell = r.read("retrieve-mesh-info", id, &ok);
        if(!ok) {
            break;
        }
        if(in_network.count((id - 1) / max_nodes) != 0 && in_network.count((id - 1) % max_nodes) != 0) {
            mesh.push_back(std::move(cell));
        }
    }
    doc["mesh"] = std::move(mesh);

    json bridges = json::array();
    for(uint32_t id = 1; id <= max_nodes; ++id) {
        bool ok = false;
        json bridge = r.read("retrieve-bridge-info", id, &ok);
        if(!ok) {
            break;
        }
        if(!str(bridge, "MACAddresses").empty()) {
            bridges.push_back(std::move(bridge));
        }
    }
    doc["bridges"] = std::move(bridges);

    json rlapm = json::object();
    uint64_t rlapm_count = num(r.read("retrieve-rlapm-number"), "RlapmNumberOfEntries");
    json rlapm_entries = json::array();
    for(uint64_t id = 1; id <= rlapm_count; ++id) {
        bool ok = false;
        rlapm_entries.push_back(r.read("retrieve-rlapm-info", static_cast<uint32_t>(id), &ok));
        if(!ok) {
            break;
        }
    }
    rlapm["entries"] = rlapm_count;
    rlapm["rows"] = rlapm_rows(rlapm_entries);
    doc["rlapm"] = std::move(rlapm);

    json sapm = json::object();
    uint64_t sapm_count = num(r.read("retrieve-sapm-number"), "SapmNumberOfEntries");
    json sapm_entries = json::array();
    for(uint64_t id = 1; id <= sapm_count; ++id) {
        bool ok = false;
        sapm_entries.push_back(r.read("retrieve-sapm-info", static_cast<uint32_t>(id), &ok));
        if(!ok) {
            break;
        }
    }
    sapm["entries"] = sapm_count;
    sapm["rows"] = std::move(sapm_entries);
    doc["sapm"] = std::move(sapm);

    doc["qos"] = r.read("retrieve-qos-info");
    json flows = json::array();
    for(uint32_t id = 1; id <= max_flows; ++id) {
        bool ok = false;
        json flow = r.read("retrieve-flow-info", id, &ok);
        if(!ok || str(flow, "FlowID").empty()) {
            break;
        }
        flows.push_back(std::move(flow));
    }
    doc["flows"] = std::move(flows);
    doc["errors"] = r.errors();
    return doc;
}

// ---- text output ------------------------------------------------------------------------------

std::string format(const char* fmt, auto... args) {
    char buffer[512];
    std::snprintf(buffer, sizeof(buffer), fmt, args...);
    return buffer;
}

std::string yes_no(bool value) {
    return value ? "yes" : "no";
}

std::string mbps(uint64_t rate) {
    return format("%llu Mbps", static_cast<unsigned long long>(rate));
}

std::string mhz(uint64_t freq) {
    return format("%llu MHz", static_cast<unsigned long long>(freq));
}

// Receive levels are carried as magnitudes of negative dBm values.
std::string below_dbm(uint64_t level) {
    return level == 0 ? std::string("0 dBm") : format("-%llu dBm", static_cast<unsigned long long>(level));
}

// The same in a table cell (unit in the header); a negative value is already signed.
std::string level_cell(int64_t level) {
    return level > 0 ? "-" + std::to_string(level) : std::to_string(level);
}

std::string duration(uint64_t seconds) {
    uint64_t d = seconds / 86400;
    uint64_t h = seconds / 3600 % 24;
    uint64_t m = seconds / 60 % 60;
    uint64_t s = seconds % 60;
    if(d > 0) {
        return format("%llud %02lluh %02llum %02llus", static_cast<unsigned long long>(d),
                      static_cast<unsigned long long>(h), static_cast<unsigned long long>(m),
                      static_cast<unsigned long long>(s));
    }
    if(h > 0) {
        return format("%lluh %02llum %02llus", static_cast<unsigned long long>(h),
                      static_cast<unsigned long long>(m), static_cast<unsigned long long>(s));
    }
    return format("%llum %02llus", static_cast<unsigned long long>(m), static_cast<unsigned long long>(s));
}

std::string text_or(const std::string& text, const char* fallback) {
    return text.empty() ? std::string(fallback) : text;
}

std::string u(uint64_t value) {
    return std::to_string(value);
}

void heading(const std::string& title) {
    std::printf("\n%s\n", title.c_str());
}

void field(const char* label, const std::string& value) {
    std::printf("  %-24s %s\n", label, value.c_str());
}

// Columns of text; align has one letter per column, 'l' for left-aligned,
// anything else (or nothing) for right-aligned.
class Table {
public:
    explicit Table(std::vector<std::string> header, std::string align = "l") : align_(std::move(align)) {
        rows_.push_back(std::move(header));
    }
    void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
    void print() const {
        std::vector<size_t> width;
        for(const auto& row : rows_) {
            width.resize(std::max(width.size(), row.size()), 0);
            for(size_t i = 0; i < row.size(); ++i) {
                width[i] = std::max(width[i], row[i].size());
            }
        }
        for(const auto& row : rows_) {
            std::string line = " ";
            for(size_t i = 0; i < row.size(); ++i) {
                bool left_aligned = i < align_.size() && align_[i] == 'l';
                std::string cell = row[i];
                std::string pad(width[i] - cell.size(), ' ');
                line += i == 0 ? " " : "  ";
                line += left_aligned ? cell + pad : pad + cell;
            }
            while(!line.empty() && line.back() == ' ') {
                line.pop_back();
            }
            std::printf("%s\n", line.c_str());
        }
    }

private:
    std::vector<std::vector<std::string>> rows_;
    std::string align_;
};

void print_interface(const json& doc) {
    const json& st = doc["static"];
    std::printf("MoCA interface %s: %s, %s\n", doc["interface"].get<std::string>().c_str(),
                flag(doc, "present") ? "present" : "not present",
                flag(doc, "available") ? "available" : "not available");
    if(!st.is_object()) {
        return;
    }
    heading("Capabilities");
    field("Firmware", str(st, "FirmwareVersion"));
    field("Supported bands", str(st, "SupportedBands"));
    field("Highest MoCA version", str(st, "HighestVersion"));
    field("Max PHY bit rate", mbps(num(st, "MaxBitRate")));
    field("Network taboo mask", str(st, "NetworkTabooMask"));
    field("Freq capability mask", text_or(str(st, "FreqCapabilityMask"), "(none)"));
    field("Tx bcast power reduction", format("%llu dB", static_cast<unsigned long long>(num(st, "TxBcastPowerReduction"))));
    field("QAM-256 capable", yes_no(flag(st, "QAM256Capable")));
    field("AVB support", yes_no(flag(st, "AvbSupport")));
    field("Packet aggregation", u(num(st, "PacketAggregationCapability")));
    field("Aggregation size / AEs", u(num(st, "AggregationSize")) + " / " + u(num(st, "AeNumber")));
    field("PQoS flows in / out", u(num(st, "SupportedIngressPqosFlows")) + " / " + u(num(st, "SupportedEgressPqosFlows")));
}

void print_link(const json& dyn) {
    if(!dyn.is_object()) {
        return;
    }
    heading("Link");
    std::string status = str(dyn, "Status");
    if(status == "Up") {
        status += ", up for " + duration(num(dyn, "LinkUpTime"));
    }
    field("Status", status);
    field("Network state", str(dyn, "NetworkState"));
    field("MoCA version in use", str(dyn, "CurrentVersion"));
    field("This node", format("node %llu", static_cast<unsigned long long>(num(dyn, "NodeID"))));
    field("Network coordinator", format("node %llu (backup: node %llu)", static_cast<unsigned long long>(num(dyn, "NetworkCoordinator")),
                                        static_cast<unsigned long long>(num(dyn, "BackupNC"))));
    field("LMO node", format("node %llu", static_cast<unsigned long long>(num(dyn, "LmoNodeID"))));
    field("Nodes in network", u(num(dyn, "NumNodes")));
    field("Current frequency", mhz(num(dyn, "CurrentOperFreq")));
    field("Last frequency", mhz(num(dyn, "LastOperFreq")));
    field("Channel offsets", format("primary %lld, secondary %lld", static_cast<long long>(snum(dyn, "PrimaryChannelOffset")),
                                    static_cast<long long>(snum(dyn, "SecondaryChannelOffset"))));
    field("Frequency mask", text_or(str(dyn, "FreqCurrentMask"), "(not set)"));
    field("Tx bcast PHY rate", mbps(num(dyn, "TxBcastRate")));
    field("Privacy", flag(dyn, "PrivacyEnabled") ? "on" : "off");
    field("Power state capability", str(dyn, "PowerStateCap"));
    field("Resets / link downs", u(num(dyn, "ResetCount")) + " / " + u(num(dyn, "LinkDownCount")));
    field("Last reset", str(dyn, "ResetReason"));
}

void print_config(const json& cfg) {
    if(!cfg.is_object()) {
        return;
    }
    heading("Configuration");
    field("Enable", yes_no(flag(cfg, "Enable")));
    field("Preferred NC", yes_no(flag(cfg, "PreferredNC")));
    field("Privacy", flag(cfg, "PrivacyEnabledSetting") ? "on" : "off");
    field("Pass phrase", text_or(str(cfg, "KeyPassphrase"), "(none)"));
    field("Tx power limit", format("%llu dBm", static_cast<unsigned long long>(num(cfg, "TxPowerLimit"))));
    field("Beacon power limit", format("%llu dBm", static_cast<unsigned long long>(num(cfg, "BeaconPowerLimit"))));
    field("Power control PHY target", mbps(num(cfg, "PowerCntlPhyTarget")));
    field("TPC target rate (NPER)", mbps(num(cfg, "TpcTargetRateNper")));
    field("Frequency mask", text_or(str(cfg, "FreqCurrentMaskSetting"), "(not set)"));
    field("Node taboo mask", str(cfg, "NodeTabooMask"));
}

void print_stats(const json& s) {
    if(!s.is_object()) {
        return;
    }
    heading("Traffic");
    Table t({"", "sent", "received"}, "l");
    t.add({"packets", u(num(s, "PacketsSent")), u(num(s, "PacketsReceived"))});
    t.add({"bytes", u(num(s, "BytesSent")), u(num(s, "BytesReceived"))});
    t.add({"unicast packets", u(num(s, "UnicastPacketsSent")), u(num(s, "UnicastPacketsReceived"))});
    t.add({"multicast packets", u(num(s, "MulticastPacketsSent")), u(num(s, "MulticastPacketsReceived"))});
    t.add({"broadcast packets", u(num(s, "BroadcastPacketsSent")), u(num(s, "BroadcastPacketsReceived"))});
    t.add({"discarded packets", u(num(s, "DiscardPacketsSent")), u(num(s, "DiscardPacketsReceived"))});
    t.add({"errors", u(num(s, "ErrorsSent")), u(num(s, "ErrorsReceived"))});
    t.add({"unknown protocol", "-", u(num(s, "UnknownProtoPacketsReceived"))});
    t.print();
}

void print_nodes(const json& nodes) {
    heading(format("Associated nodes (%zu)", nodes.size()));
    if(nodes.empty()) {
        std::printf("  (none)\n");
        return;
    }
    Table t({"node", "MAC address", "MoCA", "PHY tx", "PHY rx", "bcast tx", "rx power", "rx bcast", "SNR",
             "TPC back-off", "flags"}, "lllrrrrrrrl");
    t.add({"", "", "", "Mbps", "Mbps", "Mbps", "dBm", "dBm", "dB", "dB", ""});
    for(const auto& n : nodes) {
        std::string flags;
        if(flag(n, "PreferredNC")) {
            flags += " preferred-NC";
        }
        if(flag(n, "BondingCapable")) {
            flags += " bonding";
        }
        if(flag(n, "Moca25PhyCapable")) {
            flags += " moca2.5-phy";
        }
        if(flag(n, "QAM256Capable")) {
            flags += " qam256";
        }
        t.add({u(num(n, "NodeID")), str(n, "MACAddress"), str(n, "HighestVersion"), u(num(n, "PHYTxRate")),
               u(num(n, "PHYRxRate")), u(num(n, "TxBcastRate")),
               level_cell(static_cast<int64_t>(num(n, "RxPowerLevel"))), level_cell(snum(n, "RxBcastPowerLevel")),
               u(num(n, "RxSNR")), u(num(n, "TxPowerControlReduction")), flags.empty() ? "" : flags.substr(1)});
    }
    t.print();

    std::printf("\n");
    Table traffic({"node", "tx packets", "tx drops", "rx packets", "rx corrected", "rx errored+missed", "power state"}, "lrrrrrl");
    for(const auto& n : nodes) {
        traffic.add({u(num(n, "NodeID")), u(num(n, "TxPackets")), u(num(n, "TxDrops")), u(num(n, "RxPackets")),
                     u(num(n, "RxCorrected")), u(num(n, "RxErroredAndMissedPackets")), str(n, "PowerState")});
    }
    traffic.print();
}

void print_mesh(const json& mesh) {
    heading("Mesh PHY rates, Mbps (NPER / VLPER), from row node to column node");
    std::vector<uint64_t> ids;
    for(const auto& cell : mesh) {
        uint64_t rx = num(cell, "RxNodeIndex");
        if(std::find(ids.begin(), ids.end(), rx) == ids.end()) {
            ids.push_back(rx);
        }
    }
    std::sort(ids.begin(), ids.end());
    if(ids.empty()) {
        std::printf("  (no nodes)\n");
        return;
    }
    std::vector<std::string> header{"from \\ to"};
    for(uint64_t id : ids) {
        header.push_back("node " + u(id));
    }
    Table t(header, "l");
    for(uint64_t tx : ids) {
        std::vector<std::string> row{"node " + u(tx)};
        for(uint64_t rx : ids) {
            std::string cell = "-";
            for(const auto& c : mesh) {
                if(num(c, "TxNodeIndex") == tx && num(c, "RxNodeIndex") == rx && tx != rx) {
                    cell = u(num(c, "TxRateNper")) + " / " + u(num(c, "TxRateVlper"));
                }
            }
            row.push_back(cell);
        }
        t.add(row);
    }
    t.print();
}

std::vector<std::string> split_commas(const std::string& text) {
    std::vector<std::string> out;
    if(text.empty()) {
        return out;
    }
    size_t start = 0;
    for(;;) {
        size_t comma = text.find(',', start);
        out.push_back(text.substr(start, comma == std::string::npos ? std::string::npos : comma - start));
        if(comma == std::string::npos) {
            return out;
        }
        start = comma + 1;
    }
}

void print_bridges(const json& bridges) {
    heading("Bridged MAC addresses");
    if(bridges.empty()) {
        std::printf("  (none)\n");
        return;
    }
    constexpr size_t per_line = 4;
    for(const auto& b : bridges) {
        std::vector<std::string> macs = split_commas(str(b, "MACAddresses"));
        std::string label = format("node %llu (%zu)", static_cast<unsigned long long>(num(b, "NodeIndex")), macs.size());
        for(size_t i = 0; i < macs.size(); i += per_line) {
            std::string line;
            for(size_t j = i; j < std::min(macs.size(), i + per_line); ++j) {
                line += (j == i ? "" : "  ") + macs[j];
            }
            std::printf("  %-12s %s\n", i == 0 ? label.c_str() : "", line.c_str());
        }
    }
}

// Runs of equal values: "a×n" for a run of n, "a" for one.
std::string runs(const std::vector<uint64_t>& values) {
    std::string out;
    for(size_t i = 0; i < values.size();) {
        size_t j = i;
        while(j < values.size() && values[j] == values[i]) {
            ++j;
        }
        if(!out.empty()) {
            out += " ";
        }
        out += u(values[i]);
        if(j - i > 1) {
            out += "×" + u(j - i);
        }
        i = j;
    }
    return out;
}

void print_rlapm(const json& rlapm) {
    heading(format("RLAPM: PHY margin by aggregate receive power (%llu entries)",
                   static_cast<unsigned long long>(num(rlapm, "entries"))));
    const json& rows = rlapm["rows"];
    if(rows.empty()) {
        std::printf("  (no rows in use)\n");
        return;
    }
    for(const auto& row : rows) {
        std::printf("  profile %llu, %s:\n", static_cast<unsigned long long>(num(row, "Profile")),
                    mhz(num(row, "Frequency")).c_str());
        // Group receive levels that share a margin.
        const json& margins = row["PhyMargin"];
        const json& levels = row["GlobalAggrRxPwrLevel"];
        std::string line;
        for(size_t i = 0; i < margins.size();) {
            size_t j = i;
            while(j < margins.size() && margins[j] == margins[i]) {
                ++j;
            }
            uint64_t first = levels[i].get<uint64_t>();
            uint64_t last = std::min<uint64_t>(levels[j - 1].get<uint64_t>(), rlapm_level_ceiling);
            std::string range = first == last ? below_dbm(first) : below_dbm(first) + " .. " + below_dbm(last);
            std::string item = range + ": " + u(margins[i].get<uint64_t>()) + " dB";
            if(!line.empty() && line.size() + item.size() > 90) {
                std::printf("    %s\n", line.c_str());
                line.clear();
            }
            line += line.empty() ? item : ", " + item;
            i = j;
        }
        if(!line.empty()) {
            std::printf("    %s\n", line.c_str());
        }
    }
}

void print_sapm(const json& sapm) {
    heading(format("SAPM: PHY margin by sub-carrier (%llu entries)", static_cast<unsigned long long>(num(sapm, "entries"))));
    const json& rows = sapm["rows"];
    if(rows.empty()) {
        std::printf("  (no rows in use)\n");
        return;
    }
    for(const auto& row : rows) {
        std::vector<uint64_t> margins;
        for(const auto& item : split_commas(str(row, "PhyMargin"))) {
            margins.push_back(std::strtoull(item.c_str(), nullptr, 10));
        }
        std::printf("  profile %llu, %s, threshold %s%s\n", static_cast<unsigned long long>(num(row, "Profile")),
                    mhz(num(row, "Frequency")).c_str(), below_dbm(num(row, "AggrRxPwrLevelThreshold")).c_str(),
                    flag(row, "Enable") ? "" : " (disabled)");
        std::printf("    margins (dB) of %zu sub-carriers: %s\n", margins.size(), runs(margins).c_str());
    }
}

void print_qos(const json& qos, const json& flows) {
    heading("PQoS flows");
    if(qos.is_object()) {
        std::printf("  ingress %llu, egress %llu\n", static_cast<unsigned long long>(num(qos, "IngressNumFlows")),
                    static_cast<unsigned long long>(num(qos, "EgressNumFlows")));
    }
    size_t index = 1;
    for(const auto& f : flows) {
        std::printf("  flow %zu  %s\n", index++, str(f, "FlowID").c_str());
        field("  destination", str(f, "PacketDA"));
        field("  ingress -> egress", str(f, "IngressGuid") + " -> " + str(f, "EgressGuid"));
        field("  peak rate", format("%llu kbps, burst %llu", static_cast<unsigned long long>(num(f, "MaxRate")),
                                    static_cast<unsigned long long>(num(f, "MaxBurstSize"))));
        field("  max latency", format("%llu ms", static_cast<unsigned long long>(num(f, "MaximumLatency"))));
        field("  lease", format("%llu s (left %llu s)", static_cast<unsigned long long>(num(f, "LeaseTime")),
                                static_cast<unsigned long long>(num(f, "LeaseTimeLeft"))));
        field("  classify / tag / vlan", str(f, "IngressClassify") + " / " + u(num(f, "Tag")) + " / " + u(num(f, "VlanTag")));
        field("  dscp / dfid / PER", u(num(f, "DscpMoca")) + " / " + u(num(f, "Dfid")) + " / " + u(num(f, "FlowPer")));
        field("  short-term avg ratio", u(num(f, "ShortTermAvgRatio")));
        field("  packets", u(num(f, "FlowPackets")));
    }
}

void print_errors(const json& errors) {
    if(errors.empty()) {
        return;
    }
    heading("Failed calls");
    for(const auto& e : errors) {
        std::string what = e.contains("rc") ? "rc " + to_line(e["rc"]) : e["error"].get<std::string>();
        std::string id = e.contains("id") ? format(" (Id %llu)", static_cast<unsigned long long>(num(e, "id"))) : "";
        std::printf("  %s%s: %s\n", e["function"].get<std::string>().c_str(), id.c_str(), what.c_str());
    }
}

void print_text(const json& doc) {
    print_interface(doc);
    print_link(doc["dynamic"]);
    print_config(doc["config"]);
    print_stats(doc["stats"]);
    print_nodes(doc["nodes"]);
    print_mesh(doc["mesh"]);
    print_bridges(doc["bridges"]);
    print_qos(doc["qos"], doc["flows"]);
    print_rlapm(doc["rlapm"]);
    print_sapm(doc["sapm"]);
    print_errors(doc["errors"]);
}

} // namespace

int run_dump(const Options& opt) {
    Session session(opt, opt.trace_level >= 0 ? opt.trace_level : 200, true);
    if(!session.start()) {
        return 1;
    }
    Reader reader(session, opt.ifname);
    reader.read("create-moca-iface");
    if(!reader.errors().empty()) {
        std::fprintf(stderr, "moca-host: create-moca-iface for %s failed: %s\n", opt.ifname.c_str(),
                     to_line(reader.errors()[0]).c_str());
        return 1;
    }
    json doc = collect(reader);
    if(opt.json_output) {
        std::printf("%s\n", doc.dump(2, ' ', false, json::error_handler_t::replace).c_str());
    } else {
        print_text(doc);
    }
    return doc["errors"].empty() ? 0 : 1;
}

} // namespace host
