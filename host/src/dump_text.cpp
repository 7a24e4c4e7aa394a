// SPDX-License-Identifier: BSD-2-Clause-Patent
// The dump for people: one "path  value unit" line per parameter, in the order of
// the gateway's MoCA data model, with the mesh as a matrix and the margin tables
// summarised. Failed calls show where their data would be, with the module's error.
#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "chip.h"
#include "dump.h"
#include "key_order.h"

namespace host {

namespace {

constexpr size_t page_width = 100;
constexpr size_t max_path_width = 70;
constexpr int error_level = TRACE_LEVEL_ERROR;
constexpr int warning_level = TRACE_LEVEL_WARNING;

// Data-model order of the interface's own parameters and of its statistics;
// keys not listed follow in the order the module reports them.
const std::vector<std::string> interface_order{"Enable",
                                               "Status",
                                               "FirmwareVersion",
                                               "MaxBitRate",
                                               "MaxIngressBW",
                                               "MaxEgressBW",
                                               "HighestVersion",
                                               "CurrentVersion",
                                               "NetworkCoordinator",
                                               "NodeID",
                                               "PreferredNC",
                                               "BackupNC",
                                               "PrivacyEnabledSetting",
                                               "PrivacyEnabled",
                                               "FreqCapabilityMask",
                                               "FreqCurrentMaskSetting",
                                               "FreqCurrentMask",
                                               "CurrentOperFreq",
                                               "LastOperFreq",
                                               "KeyPassphrase",
                                               "TxPowerLimit",
                                               "PowerCntlPhyTarget",
                                               "BeaconPowerLimit",
                                               "NetworkTabooMask",
                                               "NodeTabooMask",
                                               "TxBcastRate",
                                               "TxBcastPowerReduction",
                                               "QAM256Capable",
                                               "PacketAggregationCapability"};
const std::vector<std::string> stats_order{"BytesSent",
                                           "BytesReceived",
                                           "PacketsSent",
                                           "PacketsReceived",
                                           "ErrorsSent",
                                           "ErrorsReceived",
                                           "UnicastPacketsSent",
                                           "UnicastPacketsReceived",
                                           "DiscardPacketsSent",
                                           "DiscardPacketsReceived",
                                           "MulticastPacketsSent",
                                           "MulticastPacketsReceived",
                                           "BroadcastPacketsSent",
                                           "BroadcastPacketsReceived",
                                           "UnknownProtoPacketsReceived"};

// How a key's value is shown: with its unit; receive levels the chip gives as
// magnitudes below 0 dBm also in dBm, durations also in days to seconds, margin
// lists as runs of equal values.
enum class Style { unit, below_zero, duration, runs };
struct Presentation {
    const char* unit;
    Style style = Style::unit;
};
const std::map<std::string, Presentation, std::less<>> presentations{
    {"MaxBitRate", {"Mbps"}},
    {"MaxIngressBW", {"Mbps"}},
    {"MaxEgressBW", {"Mbps"}},
    {"TxBcastRate", {"Mbps"}},
    {"PHYTxRate", {"Mbps"}},
    {"PHYRxRate", {"Mbps"}},
    {"PowerCntlPhyTarget", {"Mbps"}},
    {"TpcTargetRateNper", {"Mbps"}},
    {"TxRate", {"Mbps"}},
    {"TxRateNper", {"Mbps"}},
    {"TxRateVlper", {"Mbps"}},
    {"CurrentOperFreq", {"MHz"}},
    {"LastOperFreq", {"MHz"}},
    {"Frequency", {"MHz"}},
    {"PrimaryChannelOffset", {"MHz"}},
    {"SecondaryChannelOffset", {"MHz"}},
    {"TxPowerLimit", {"dBm"}},
    {"BeaconPowerLimit", {"dBm"}},
    {"RxPowerLevel", {"dBm", Style::below_zero}},
    {"RxBcastPowerLevel", {"dBm", Style::below_zero}},
    {"AggrRxPwrLevelThreshold", {"dBm", Style::below_zero}},
    {"GlobalAggrRxPwrLevel", {"dBm", Style::below_zero}},
    {"TxBcastPowerReduction", {"dB"}},
    {"TxPowerControlReduction", {"dB"}},
    {"RxSNR", {"dB"}},
    {"MaxRate", {"kbps"}},
    {"MaximumLatency", {"ms"}},
    {"LeaseTime", {"s"}},
    {"LeaseTimeLeft", {"s"}},
    {"LinkUpTime", {"s", Style::duration}},
    {"PhyMargin", {"", Style::runs}}};

std::string format(const char* fmt, auto... args) {
    char buffer[256];
    std::snprintf(buffer, sizeof(buffer), fmt, args...);
    return buffer;
}

std::string duration(uint64_t seconds) {
    auto part = [](uint64_t v) { return static_cast<unsigned long long>(v); };
    return format("%llud %02lluh %02llum %02llus", part(seconds / 86400), part(seconds / 3600 % 24),
                  part(seconds / 60 % 60), part(seconds % 60));
}

// A level given as its magnitude below 0 dBm, as people write it.
std::string below_dbm(uint64_t magnitude) {
    return magnitude == 0 ? std::string("0 dBm") : format("-%llu dBm", static_cast<unsigned long long>(magnitude));
}

bool is_text_type(const std::string& type) {
    return type == "cstring" || type == "csv_string" || type == "ssv_string";
}

std::vector<std::string> split(const std::string& s, char sep) {
    std::vector<std::string> out;
    size_t start = 0;
    while(!s.empty()) {
        size_t end = s.find(sep, start);
        out.push_back(s.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if(end == std::string::npos) {
            break;
        }
        start = end + 1;
    }
    return out;
}

// "24(x4) 0(x92) 12": runs of equal values in a comma-separated list.
std::string value_runs(const std::vector<std::string>& values) {
    std::string out;
    for(size_t i = 0; i < values.size();) {
        size_t j = i;
        while(j < values.size() && values[j] == values[i]) {
            ++j;
        }
        out += (out.empty() ? "" : " ") + values[i] + (j - i > 1 ? "(x" + std::to_string(j - i) + ")" : "");
        i = j;
    }
    return out;
}

// A typed value as text: numbers and booleans as JSON writes them, text as it
// is ("" when empty), as the key's presentation has it.
std::string shown(std::string_view key, const json& typed) {
    const std::string type = typed[0].get<std::string>();
    const json& value = typed[1];
    auto how = presentations.find(key);
    const Style style = how == presentations.end() ? Style::unit : how->second.style;
    if(is_text_type(type)) {
        std::string text = value.get<std::string>();
        if(style == Style::runs) {
            std::vector<std::string> values = split(text, ',');
            return std::to_string(values.size()) + " values: " + value_runs(values);
        }
        return text.empty() ? "\"\"" : text;
    }
    std::string text = value.is_null() ? "(null)" : to_line(value);
    if(how == presentations.end() || !value.is_number() || style == Style::runs) {
        return text;
    }
    const std::string unit = how->second.unit;
    if(style == Style::below_zero && value.is_number_integer() && value.get<int64_t>() >= 0) {
        return text + " (" + below_dbm(value.get<uint64_t>()) + ")";
    }
    if(style == Style::duration && value.is_number_unsigned()) {
        return text + " " + unit + " (" + duration(value.get<uint64_t>()) + ")";
    }
    return text + " " + unit;
}

// Greedy fill of width columns, breaking after the commas of a list, or
// after blanks in text without commas.
std::vector<std::string> wrap(const std::string& value, size_t width) {
    std::vector<std::string> lines{""};
    const char* breaks = value.find(',') != std::string::npos ? "," : " ";
    size_t start = 0;
    while(start < value.size()) {
        size_t end = value.find_first_of(breaks, start);
        end = end == std::string::npos ? value.size() : end + 1;
        std::string word = value.substr(start, end - start);
        if(!lines.back().empty() && lines.back().size() + word.size() > width) {
            while(!lines.back().empty() && lines.back().back() == ' ') {
                lines.back().pop_back();
            }
            lines.emplace_back();
            while(!word.empty() && word.front() == ' ') {
                word.erase(0, 1);
            }
        }
        lines.back() += word;
        start = end;
    }
    return lines;
}

std::string range_label(uint32_t first, uint32_t last) {
    return first == last ? std::to_string(first) : std::to_string(first) + "-" + std::to_string(last);
}

// A function as a heading names it: with the Ids of its walk, if it walked a table.
std::string called(const DumpRun& run, const std::string& function) {
    auto calls = run.all(function);
    if(calls.empty()) {
        return function + " not called";
    }
    return calls.front()->id == 0 ? function : function + " " + range_label(calls.front()->id, calls.back()->id);
}

class Section;
void notes(Section& s, const DumpRun& run, std::initializer_list<const char*> functions);

// A section: path/value rows aligned on one column, and free lines, in order.
class Section {
public:
    Section(std::FILE* out, const std::string& title, const std::string& about = "") : out_(out) {
        std::fprintf(out_, "\n# %s\n", title.c_str());
        for(const auto& line : split(about, '\n')) {
            std::fprintf(out_, "# %s\n", line.c_str());
        }
    }
    // The section of an object: its heading names the functions that read it,
    // and what went wrong in their calls comes first.
    Section(std::FILE* out, const DumpRun& run, const std::string& object, std::initializer_list<const char*> functions,
            const std::string& about = "")
        : Section(out, heading(run, object, functions), about) {
        notes(*this, run, functions);
    }
    ~Section() { flush(); }
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;

    void row(std::string path, std::string value) { rows_.push_back({std::move(path), std::move(value), true}); }
    void line(std::string text) { rows_.push_back({std::move(text), "", false}); }

private:
    static std::string heading(const DumpRun& run, const std::string& object,
                               std::initializer_list<const char*> functions) {
        std::string text = object + "  (";
        for(const char* f : functions) {
            text += (f == *functions.begin() ? "" : ", ") + called(run, f);
        }
        return text + ")";
    }

    struct Row {
        std::string path;
        std::string value;
        bool aligned;
    };

    void flush() {
        size_t width = 0;
        for(const auto& r : rows_) {
            width = r.aligned ? std::max(width, std::min(r.path.size(), max_path_width)) : width;
        }
        for(const auto& r : rows_) {
            if(!r.aligned) {
                std::fprintf(out_, "%s\n", r.path.c_str());
                continue;
            }
            size_t column = std::max(width, r.path.size()) + 2;
            std::vector<std::string> lines = wrap(r.value, page_width > column + 20 ? page_width - column : 20);
            std::fprintf(out_, "%-*s%s\n", static_cast<int>(column), r.path.c_str(), lines[0].c_str());
            for(size_t i = 1; i < lines.size(); ++i) {
                std::fprintf(out_, "%*s%s\n", static_cast<int>(column), "", lines[i].c_str());
            }
        }
        rows_.clear();
    }

    std::FILE* out_;
    std::vector<Row> rows_;
};

std::string call_label(const DumpCall& c) {
    return c.id == 0 ? c.function : c.function + " Id=" + std::to_string(c.id);
}

// What went wrong in a call: "!" lines for a failed call or one that logged
// errors, with the module's error lines; "~" lines for warnings.
void notes(Section& s, const DumpCall& c) {
    if(!c.result.is_object()) {
        s.line("! " + call_label(c) + ": " + c.host_error);
        return;
    }
    std::vector<std::string> errors;
    for(const auto& entry : c.result["log"]) {
        int level = entry["level"].get<int>();
        std::string what = entry["msg"].get<std::string>() + " (" + entry["func"].get<std::string>() + ")";
        if(level <= error_level) {
            errors.push_back(what);
        } else if(level <= warning_level) {
            s.line("~ " + call_label(c) + ": " + what);
        }
    }
    if(c.ok() && errors.empty()) {
        return;
    }
    // A function may log an error and still return 0 (a part of its data is missing).
    std::string head = "! " + call_label(c) + ": rc " + std::to_string(c.rc());
    if(!c.ok() && c.id != 0) {
        head += ", the walk of this table stopped here";
    }
    s.line(head);
    for(const auto& e : errors) {
        s.line("!   " + e);
    }
}

void notes(Section& s, const DumpRun& run, std::initializer_list<const char*> functions) {
    for(const auto& c : run.calls) {
        if(std::find(functions.begin(), functions.end(), c.function) != functions.end()) {
            notes(s, c);
        }
    }
}

// The keys of the reports, each key once: the listed ones first, then each
// report's keys in its documented order, then any others by name.
void rows(Section& s, const std::string& prefix, const std::vector<const DumpCall*>& reports,
          const std::vector<std::string>& order) {
    std::set<std::string> done;
    auto put_first = [&](std::span<const std::string> keys) {
        for(const auto& key : keys) {
            for(const DumpCall* r : reports) {
                const json* v = r != nullptr ? r->key(key) : nullptr;
                if(v != nullptr && done.insert(key).second) {
                    s.row(prefix + key, shown(key, *v));
                    break;
                }
            }
        }
    };
    put_first(order);
    std::set<std::string> others;
    for(const DumpCall* r : reports) {
        if(r == nullptr) {
            continue;
        }
        put_first(documented_key_order(r->function));
        if(r->ret()[0] == "htable") {
            for(const auto& item : r->ret()[1].items()) {
                others.insert(item.key());
            }
        }
    }
    put_first(std::vector<std::string>(others.begin(), others.end()));
}

// One block of rows per entry of a walked table that keep() accepts, each key as
// <object>.<Id>.<key>.
template <typename Keep>
void instances(Section& s, const DumpRun& run, const char* function, const std::string& object, Keep keep) {
    for(const DumpCall* c : run.all(function)) {
        if(c->ok() && keep(*c)) {
            rows(s, object + "." + std::to_string(c->id) + ".", {c}, {});
        }
    }
}

void print_header(const DumpRun& run, std::FILE* out) {
    auto answer = [&](const char* function) {
        const DumpCall* c = run.find(function);
        return c != nullptr && c->ok() ? shown("", c->ret()) : std::string("?");
    };
    std::fprintf(out, "MoCA interface %s (is-present %s, is-available %s)\n", run.ifname.c_str(),
                 answer("is-present").c_str(), answer("is-available").c_str());
    auto noteworthy = [](const DumpCall* c) { return c != nullptr && (!c->ok() || c->logged(warning_level) > 0); };
    if(noteworthy(run.find("is-present")) || noteworthy(run.find("is-available")) ||
       noteworthy(run.find("create-moca-iface"))) {
        Section s(out, run, "Interface record", {"is-present", "is-available", "create-moca-iface"});
    }
}

void print_interface(const DumpRun& run, const std::string& base, std::FILE* out) {
    Section s(out, run, base, {"retrieve-static-info", "retrieve-cfg-info", "retrieve-dyn-info"});
    rows(s, base + ".",
         {run.find("retrieve-static-info"), run.find("retrieve-cfg-info"), run.find("retrieve-dyn-info")},
         interface_order);
}

void print_stats(const DumpRun& run, const std::string& base, std::FILE* out) {
    Section s(out, run, base + ".Stats", {"retrieve-stats-info"});
    rows(s, base + ".Stats.", {run.find("retrieve-stats-info")}, stats_order);
}

void print_qos(const DumpRun& run, const std::string& base, std::FILE* out) {
    Section s(out, run, base + ".QoS", {"retrieve-qos-info", "retrieve-flow-info"}, "flows listed; instance = Id");
    rows(s, base + ".QoS.", {run.find("retrieve-qos-info")}, {});
    instances(s, run, "retrieve-flow-info", base + ".QoS.FlowStats",
              [](const DumpCall& f) { return !f.text("FlowID").empty(); });
}

// A sleeping node's power state as the module gives it, with the chip's sleep
// state beside it.
void print_nodes(const DumpRun& run, const std::string& base, std::FILE* out) {
    Section s(out, run, base + ".AssociatedDevice", {"retrieve-node-info"},
              "active nodes; instance = Id = node id + 1");
    for(const DumpCall* c : run.all("retrieve-node-info")) {
        if(!c->ok() || !c->flag("Active")) {
            continue;
        }
        DumpCall shown_call = *c;
        const std::string state = run.sleep_state(c->id - 1);
        json& power = shown_call.result["ret"][1]["PowerState"];
        if(!state.empty() && power.is_array() && power[1].is_string()) {
            power[1] = power[1].get<std::string>() + " (asleep: " + state + ")";
        }
        rows(s, base + ".AssociatedDevice." + std::to_string(c->id) + ".", {&shown_call}, {});
    }
}

// The nodes asleep, as "4 (M1), 9 (M3)".
std::string asleep_list(const DumpRun& run, const std::vector<uint64_t>& ids) {
    std::string list;
    for(uint64_t id : ids) {
        if(std::string state = run.sleep_state(id); !state.empty()) {
            list += (list.empty() ? "" : ", ") + std::to_string(id) + " (" + state + ")";
        }
    }
    return list;
}

void print_mesh(const DumpRun& run, const std::string& base, std::FILE* out) {
    std::vector<uint64_t> ids = run.network_nodes();
    const std::string asleep = asleep_list(run, ids);
    Section s(out, run, base + ".Mesh", {"retrieve-mesh-info"},
              "TxRateNper in Mbps between the nodes in the network: row transmits, column receives" +
                  (asleep.empty() ? std::string() : "\nzz: asleep, no rates measured: node " + asleep));
    std::map<std::pair<uint64_t, uint64_t>, std::string> cells;
    size_t width = 3;
    for(const DumpCall* m : run.all("retrieve-mesh-info")) {
        if(m->ok()) {
            std::string rate = std::to_string(m->number("TxRateNper"));
            cells[{m->number("TxNodeIndex"), m->number("RxNodeIndex")}] = rate;
            width = std::max(width, rate.size() + 1);
        }
    }
    if(ids.empty() || cells.empty()) {
        s.line("  (no nodes)");
        return;
    }
    std::string header = "  tx \\ rx";
    for(uint64_t rx : ids) {
        header += format("%*llu", static_cast<int>(width), static_cast<unsigned long long>(rx));
    }
    s.line(header);
    for(uint64_t tx : ids) {
        std::string line = format("  %7llu", static_cast<unsigned long long>(tx));
        for(uint64_t rx : ids) {
            auto cell = cells.find({tx, rx});
            const bool sleeping = !run.sleep_state(tx).empty() || !run.sleep_state(rx).empty();
            std::string value = tx == rx ? "-" : sleeping ? "zz" : cell == cells.end() ? "?" : cell->second;
            line += format("%*s", static_cast<int>(width), value.c_str());
        }
        s.line(line);
    }
}

void print_bridges(const DumpRun& run, const std::string& base, std::FILE* out) {
    Section s(out, run, base + ".Bridge", {"retrieve-bridge-info"},
              "nodes with bridged addresses; instance = Id = node id + 1");
    instances(s, run, "retrieve-bridge-info", base + ".Bridge",
              [](const DumpCall& b) { return !b.text("MACAddresses").empty(); });
}

void print_rlapm(const DumpRun& run, const std::string& base, std::FILE* out) {
    std::vector<const DumpCall*> entries;
    uint64_t lowest = 0;
    for(const DumpCall* e : run.all("retrieve-rlapm-info")) {
        if(e->ok()) {
            entries.push_back(e);
            lowest = std::max(lowest, e->number("GlobalAggrRxPwrLevel"));
        }
    }
    Section s(out, run, base + ".Rlapm", {"retrieve-rlapm-number", "retrieve-rlapm-info"},
              "PhyMargin (dB) of the entries of each profile and frequency, in order of their\n"
              "GlobalAggrRxPwrLevel (0 to " +
                  below_dbm(lowest) + "); runs of equal values written value(xcount)");
    rows(s, base + ".", {run.find("retrieve-rlapm-number")}, {});
    if(!entries.empty()) {
        s.line(format("  %-9s %7s %9s  %-8s %s", "Id", "Profile", "Frequency", "Status", "PhyMargin"));
    }
    for(size_t i = 0; i < entries.size();) {
        const DumpCall& head = *entries[i];
        std::vector<std::string> margins;
        size_t j = i;
        for(; j < entries.size() && entries[j]->number("Profile") == head.number("Profile") &&
              entries[j]->number("Frequency") == head.number("Frequency");
            ++j) {
            margins.push_back(std::to_string(entries[j]->number("PhyMargin")));
        }
        std::string lead = format("  %-9s %7llu %5llu MHz  %-8s ", range_label(head.id, entries[j - 1]->id).c_str(),
                                  static_cast<unsigned long long>(head.number("Profile")),
                                  static_cast<unsigned long long>(head.number("Frequency")),
                                  head.flag("Enable") ? head.text("Status").c_str() : "disabled");
        for(const auto& part : wrap(value_runs(margins), page_width - lead.size())) {
            s.line(lead + part);
            lead.assign(lead.size(), ' ');
        }
        i = j;
    }
}

void print_sapm(const DumpRun& run, const std::string& base, std::FILE* out) {
    Section s(out, run, base + ".Sapm", {"retrieve-sapm-number", "retrieve-sapm-info"},
              "PhyMargin per sub-carrier, runs of equal values written value(xcount)");
    rows(s, base + ".", {run.find("retrieve-sapm-number")}, {});
    instances(s, run, "retrieve-sapm-info", base + ".Sapm", [](const DumpCall&) { return true; });
}

void print_summary(const DumpRun& run, std::FILE* out) {
    const bool counted = chip::counts_calls(); // not on a board: no simulator keeps a call log
    Section s(out, format("Read in %.1f ms: %zu calls, %zu failed, %zu logged errors, %s", run.elapsed_ms,
                          run.calls.size(), run.failures(), run.calls_with_errors(),
                          counted ? format("%zu chip calls", run.chip_calls()).c_str() : "chip calls not counted"));
    s.line(format("  %-24s %6s %7s %14s %11s", "function", "calls", "failed", "logged errors", "chip calls"));
    for(const auto& t : tally(run)) {
        s.line(format("  %-24s %6zu %7zu %14zu %11s", t.function.c_str(), t.calls, t.failed, t.with_errors,
                      counted ? std::to_string(t.chip_calls).c_str() : "-"));
    }
}

} // namespace

void print_dump_text(const DumpRun& run, std::FILE* out) {
    print_header(run, out);
    const DumpCall* create = run.find("create-moca-iface");
    if(create != nullptr && create->ok()) {
        const std::string base = "MoCA.Interface." + run.ifname;
        print_interface(run, base, out);
        print_stats(run, base, out);
        print_qos(run, base, out);
        print_nodes(run, base, out);
        print_mesh(run, base, out);
        print_bridges(run, base, out);
        print_rlapm(run, base, out);
        print_sapm(run, base, out);
        if(const DumpCall* destroy = run.find("destroy-moca-iface"); destroy != nullptr && !destroy->ok()) {
            Section s(out, "Interface record (destroy-moca-iface)");
            notes(s, *destroy);
        }
    }
    print_summary(run, out);
}

} // namespace host
