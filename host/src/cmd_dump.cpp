// SPDX-License-Identifier: BSD-2-Clause-Patent
// "dump": what a data-model host does with an interface. It creates the record,
// reads every report, walks every table within one cache validity period (so
// each table costs one refill) and destroys the record again. Every call is
// kept with its script result; the renderers make text or JSON of that.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include <clnkapi.h>

#include "chip.h"
#include "dump.h"
#include "session.h"
#include "tr181.h"

namespace host {

namespace {

constexpr uint32_t max_nodes = 16;
constexpr uint32_t max_mesh_cells = max_nodes * max_nodes;
constexpr uint32_t max_flows = 16;
constexpr uint32_t max_rlapm_entries = 16 * 6 * 84;
constexpr uint32_t max_sapm_entries = 16 * 4;

class Walker {
public:
    Walker(Session& session, DumpRun& run) : session_(session), run_(run) {}

    const DumpCall& call(const std::string& function, uint32_t id = 0) {
        DumpCall c;
        c.function = function;
        c.id = id;
        c.args = json::object();
        c.args["InternalName"] = run_.ifname;
        if(id != 0) {
            c.args["Id"] = id;
        }
        Variant args;
        Variant ret;
        if(json_to_variant(c.args, args.get(), &c.host_error)) {
            c.result = session_.traced_call(function, args.get(), ret.get(), true, &c.host_error);
        }
        run_.calls.push_back(std::move(c));
        return run_.calls.back();
    }

    void table(const std::string& function, uint32_t count) { walk_table(*this, function, count); }

    // A table whose size another function reports.
    void counted_table(const std::string& number_function, const char* count_key, const std::string& function,
                       uint32_t limit) {
        const DumpCall& number = call(number_function);
        const json* count = number.key(count_key);
        if(number.ok() && count != nullptr && (*count)[1].is_number_unsigned()) {
            table(function, static_cast<uint32_t>(std::min<uint64_t>((*count)[1].get<uint64_t>(), limit)));
        }
    }

private:
    Session& session_;
    DumpRun& run_;
};

void walk(Walker& w) {
    w.call("retrieve-static-info");
    w.call("retrieve-cfg-info");
    w.call("retrieve-dyn-info");
    w.call("retrieve-stats-info");
    w.call("retrieve-qos-info");
    w.table("retrieve-node-info", max_nodes);
    w.table("retrieve-mesh-info", max_mesh_cells);
    w.table("retrieve-bridge-info", max_nodes);
    w.counted_table("retrieve-rlapm-number", "RlapmNumberOfEntries", "retrieve-rlapm-info", max_rlapm_entries);
    w.counted_table("retrieve-sapm-number", "SapmNumberOfEntries", "retrieve-sapm-info", max_sapm_entries);
    w.table("retrieve-flow-info", max_flows);
}

} // namespace

// The chip's local node information, read by the host itself before the walk:
// the module's reports do not tell a sleeping node from one without links, and
// never give the local node's own GUID.
void read_local_info(DumpRun& run) {
    ClnkLib_Handle_t handle{};
    char name[16] = {};
    run.ifname.copy(name, sizeof(name) - 1);
    if(ClnkLib_OpenByName(&handle, name) != 0) {
        return;
    }
    ClnkLib_LocalInfo_t local{};
    if(ClnkLib_GetLocalInfo(&handle, &local) == 0) {
        if(local.macAddrHi != 0 || local.macAddrLo != 0) {
            char guid[18];
            std::snprintf(guid, sizeof(guid), "%02x:%02x:%02x:%02x:%02x:%02x", local.macAddrHi >> 24,
                          (local.macAddrHi >> 16) & 0xFF, (local.macAddrHi >> 8) & 0xFF, local.macAddrHi & 0xFF,
                          local.macAddrLo >> 24, (local.macAddrLo >> 16) & 0xFF);
            run.local_guid = guid;
        }
        if(local.linkStatus != 0) {
            run.sleep_masks[0] = local.sleepM1NodeBitmask;
            run.sleep_masks[1] = local.sleepM2NodeBitmask;
            run.sleep_masks[2] = local.sleepM3NodeBitmask;
            run.sleep_masks_read = true;
        }
    }
    ClnkLib_Close(&handle);
}

namespace {

json summary_json(const DumpRun& run) {
    const bool counted = chip::counts_calls(); // null on a board: no simulator keeps a call log
    json functions = json::object();
    for(const auto& t : tally(run)) {
        functions[t.function] = {{"calls", t.calls},
                                 {"failed", t.failed},
                                 {"with_errors", t.with_errors},
                                 {"chip_calls", counted ? json(t.chip_calls) : json()}};
    }
    json s = json::object();
    s["calls"] = run.calls.size();
    s["failed"] = run.failures();
    s["with_errors"] = run.calls_with_errors();
    s["chip_calls"] = counted ? json(run.chip_calls()) : json();
    s["elapsed_ms"] = run.elapsed_ms;
    s["functions"] = std::move(functions);
    return s;
}

json call_json(const DumpCall& c) {
    json line = json::object();
    line["call"] = c.function;
    line["args"] = c.args;
    if(c.result.is_object()) {
        for(const auto& [key, value] : c.result.items()) {
            line[key] = value;
        }
    } else {
        line["error"] = c.host_error;
    }
    return line;
}

} // namespace

void print_dump_json(const DumpRun& run, std::FILE* out) {
    std::fprintf(out, "{\"interface\": %s,\n \"calls\": [\n", to_line(json(run.ifname)).c_str());
    for(size_t i = 0; i < run.calls.size(); ++i) {
        std::fprintf(out, "  %s%s\n", to_line(call_json(run.calls[i])).c_str(), i + 1 < run.calls.size() ? "," : "");
    }
    std::fprintf(out, " ],\n \"summary\": %s}\n", to_line(summary_json(run)).c_str());
}

// What people read (and paste into tickets) must not carry the network's pass
// phrase: every text of the walk that holds it gets a mark of its length instead.
void hide_secrets(DumpRun& run) {
    const DumpCall* cfg = run.find("retrieve-cfg-info");
    const std::string secret = cfg != nullptr ? cfg->text("KeyPassphrase") : "";
    if(secret.empty()) {
        return;
    }
    const std::string mark = "<set, " + std::to_string(secret.size()) + " characters>";
    auto hide = [&](auto& self, json& value) -> void {
        if(value.is_string()) {
            std::string text = value.get<std::string>();
            for(size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at + mark.size())) {
                text.replace(at, secret.size(), mark);
            }
            value = text;
        } else if(value.is_structured()) {
            for(auto& item : value) {
                self(self, item);
            }
        }
    };
    for(DumpCall& call : run.calls) {
        hide(hide, call.args);
        hide(hide, call.result);
    }
}

bool read_interface(const Options& opt, DumpRun* run) {
    // Trace lines are kept with each call; --trace also echoes them as they come.
    Session session(opt, opt.trace_level >= 0 ? opt.trace_level : 200, opt.trace_level >= 0);
    if(!session.start()) {
        return false;
    }
    run->ifname = opt.ifname;
    Walker walker(session, *run);
    read_local_info(*run);
    auto start = std::chrono::steady_clock::now();
    walker.call("is-present");
    walker.call("is-available");
    if(walker.call("create-moca-iface").ok()) {
        walk(walker);
        walker.call("destroy-moca-iface");
    }
    run->elapsed_ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    if(!opt.show_secrets) {
        hide_secrets(*run);
    }
    return true;
}

int run_dump(const Options& opt) {
    DumpRun run;
    if(!read_interface(opt, &run)) {
        return 1;
    }
    if(opt.tr181) {
        tr181::print_view(run, opt.json_output, stdout, stderr);
    } else if(opt.json_output) {
        print_dump_json(run, stdout);
    } else {
        print_dump_text(run, stdout);
    }
    return run.failures() == 0 ? 0 : 1;
}

} // namespace host
