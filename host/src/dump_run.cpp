// SPDX-License-Identifier: BSD-2-Clause-Patent
// The record of a walk: its calls and what they answered, and the counts over them.
#include <algorithm>
#include <set>

#include "dump.h"

namespace host {

namespace {

const json null_typed = json::array({"null", nullptr});

} // namespace

const json& DumpCall::ret() const {
    return result.is_object() ? result["ret"] : null_typed;
}

const json* DumpCall::key(const std::string& name) const {
    const json& r = ret();
    if(r[0] != "htable" || !r[1].contains(name)) {
        return nullptr;
    }
    return &r[1][name];
}

uint64_t DumpCall::number(const char* name) const {
    const json* v = key(name);
    return v != nullptr && (*v)[1].is_number_unsigned() ? (*v)[1].get<uint64_t>() : 0;
}

std::string DumpCall::text(const char* name) const {
    const json* v = key(name);
    return v != nullptr && (*v)[1].is_string() ? (*v)[1].get<std::string>() : std::string();
}

bool DumpCall::flag(const char* name) const {
    const json* v = key(name);
    return v != nullptr && (*v)[1].is_boolean() && (*v)[1].get<bool>();
}

const DumpCall* DumpRun::find(const std::string& function, uint32_t id) const {
    for(const auto& c : calls) {
        if(c.function == function && c.id == id) {
            return &c;
        }
    }
    return nullptr;
}

std::vector<const DumpCall*> DumpRun::all(const std::string& function) const {
    std::vector<const DumpCall*> out;
    for(const auto& c : calls) {
        if(c.function == function) {
            out.push_back(&c);
        }
    }
    return out;
}

std::string DumpRun::sleep_state(uint64_t node) const {
    for(size_t m = 0; m < std::size(sleep_masks); ++m) {
        if(node < 32 && ((sleep_masks[m] >> node) & 1u) != 0) {
            return "M" + std::to_string(m + 1);
        }
    }
    return "";
}

std::vector<uint64_t> DumpRun::network_nodes() const {
    std::set<uint64_t> ids;
    const DumpCall* dyn = find("retrieve-dyn-info");
    if(dyn != nullptr && dyn->ok() && dyn->text("Status") == "Up") {
        ids.insert(dyn->number("NodeID"));
    }
    for(const DumpCall* n : all("retrieve-node-info")) {
        if(n->ok() && n->flag("Active")) {
            ids.insert(n->id - 1);
        }
    }
    return {ids.begin(), ids.end()};
}

size_t DumpRun::failures() const {
    return static_cast<size_t>(std::count_if(calls.begin(), calls.end(), [](const DumpCall& c) { return !c.ok(); }));
}

size_t DumpCall::logged(int up_to_level) const {
    if(!result.is_object()) {
        return 0;
    }
    const json& log = result["log"];
    return static_cast<size_t>(
        std::count_if(log.begin(), log.end(), [&](const json& e) { return e["level"].get<int>() <= up_to_level; }));
}

size_t DumpRun::calls_with_errors() const {
    return static_cast<size_t>(
        std::count_if(calls.begin(), calls.end(), [](const DumpCall& c) { return c.logged(TRACE_LEVEL_ERROR) > 0; }));
}

size_t DumpRun::chip_calls() const {
    size_t n = 0;
    for(const auto& c : calls) {
        n += c.chip_calls();
    }
    return n;
}

std::vector<DumpTally> tally(const DumpRun& run) {
    std::vector<DumpTally> out;
    for(const auto& c : run.calls) {
        auto it = std::find_if(out.begin(), out.end(), [&](const DumpTally& t) { return t.function == c.function; });
        if(it == out.end()) {
            out.push_back(DumpTally{c.function});
            it = out.end() - 1;
        }
        it->calls++;
        it->failed += c.ok() ? 0 : 1;
        it->with_errors += c.logged(TRACE_LEVEL_ERROR) > 0 ? 1 : 0;
        it->chip_calls += c.chip_calls();
    }
    return out;
}

} // namespace host
