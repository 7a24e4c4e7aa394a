// SPDX-License-Identifier: BSD-2-Clause-Patent
// The simulator's control interface (clnksim.h): scenarios, patches, faults, call log.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "sim_core.h"

namespace clnksim {

namespace detail {

namespace {

const char* const kFaultableOps[] = {
    "ClnkLib_OpenByName",         "ClnkLib_ListNames",          "ClnkLib_GetLocalInfo",   "ClnkLib_GetNetInfo",
    "ClnkLib_GetPhyTxProfile",    "ClnkLib_GetPhyRxProfile",    "ClnkLib_GetEcbStats",    "ClnkLib_GetClnkCfgV2",
    "ClnkLib_GetClnkCfgV2Params", "ClnkLib_SetClnkCfgV2Params", "ClnkLib_Stop",           "ClnkLib_Start",
    "ClnkLib_GetPhyMisc",         "ClnkLib_GetCdInfo",          "ClnkLib_GetDataStats",   "ClnkLib_GetRlapmCfg",
    "ClnkLib_GetSapmCfg",         "ClnkLib_GetFmrInfo",         "ClnkLib_GetBridgeTable", "ClnkLib_ListFlows",
    "ClnkLib_QueryFlow",
};

// The op is one that can fail, flow fields only where the op reports them, set fields
// in the op's answer; op normalised, `set` resolved into armed->sets (from `set`, which
// keeps the order of the script form).
bool check_fault(ArmedFault* armed, const ojson& set, const std::string& path, std::string* err) {
    Fault* fault = &armed->fault;
    const std::string op = faultable_op(fault->op);
    if(op.empty()) {
        return fail(err, path + ".op", "\"" + fault->op + "\" is not an operation that can fail");
    }
    const bool flow_op = op == "ClnkLib_ListFlows" || op == "ClnkLib_QueryFlow";
    if(fault->flow_code && !flow_op) {
        return fail(err, path + ".flowCode", "only ClnkLib_ListFlows and ClnkLib_QueryFlow answer a flow code");
    }
    if(fault->flow_update_count_delta != 0 && op != "ClnkLib_ListFlows") {
        return fail(err, path + ".flowUpdateCountDelta", "only ClnkLib_ListFlows reports a flowUpdateCount");
    }
    if(!set.is_null() && !(set.is_object() && set.empty())) {
        if(!parse_sets(op, set, path + ".set", &armed->sets, err)) {
            return false;
        }
        if(fault->rc != 0) {
            return fail(err, path + ".set", "a failing call fills nothing: set needs rc 0");
        }
    }
    fault->op = op;
    return true;
}

// A scenario checked whole: the state it describes and the faults it arms.
struct Scenario {
    State state;
    std::vector<ArmedFault> faults;
};

bool decode(const ojson& scenario, Scenario* out, std::string* err) {
    const ojson* faults = nullptr;
    const ojson* body = &scenario;
    ojson rest;
    if(scenario.is_object() && scenario.contains("faults")) {
        // Faults are not part of the state: the codec sees the scenario without them.
        faults = &scenario.at("faults");
        rest = scenario;
        rest.erase("faults");
        body = &rest;
    }
    if(!decode_scenario(*body, out->state, err)) {
        return false;
    }
    if(faults == nullptr) {
        return true;
    }
    if(!faults->is_array()) {
        return fail(err, "faults", "expected an array of fault objects");
    }
    for(size_t i = 0; i < faults->size(); ++i) {
        ArmedFault f;
        if(!parse_fault((*faults)[i], "faults." + std::to_string(i), &f, err)) {
            return false;
        }
        out->faults.push_back(std::move(f));
    }
    return true;
}

// A checked fault joins those already armed; it counts calls of its op from now on.
void arm(Sim& s, ArmedFault fault) {
    fault.seen = 0;
    s.faults.push_back(std::move(fault));
}

// Replaces the state and arms the scenario's faults in their order.
void install(Sim& s, Scenario&& scenario) {
    s.state = std::move(scenario.state);
    for(auto& f : scenario.faults) {
        arm(s, std::move(f));
    }
}

bool load_state(const ojson& scenario, std::string* err) {
    Scenario fresh;
    if(!decode(scenario, &fresh, err)) {
        return false;
    }
    install(sim(), std::move(fresh));
    return true;
}

bool read_file(const std::string& path, ojson* out, std::string* err) {
    std::ifstream in(path);
    if(!in) {
        if(err != nullptr) {
            *err = path + ": cannot be read";
        }
        return false;
    }
    std::stringstream text;
    text << in.rdbuf();
    try {
        *out = ojson::parse(text.str());
    } catch(const nlohmann::json::exception& e) {
        if(err != nullptr) {
            *err = path + ": " + e.what();
        }
        return false;
    }
    return true;
}

} // namespace

Sim& sim() {
    static Sim* instance = [] {
        auto* s = new Sim;
        const char* no_log = std::getenv("CLNKSIM_NO_CALL_LOG");
        s->log_off = no_log != nullptr && *no_log != '\0';
        // A host that knows nothing of the simulator can still be given a network.
        if(const char* path = std::getenv("CLNKSIM_SCENARIO"); path != nullptr && *path != '\0') {
            ojson scenario;
            std::string err;
            Scenario fresh;
            if(read_file(path, &scenario, &err) && decode(scenario, &fresh, &err)) {
                install(*s, std::move(fresh));
            } else {
                std::fprintf(stderr, "clnksim: CLNKSIM_SCENARIO: %s\n", err.c_str());
            }
        }
        return s;
    }();
    return *instance;
}

std::string faultable_op(const std::string& name) {
    const std::string full = name.rfind("ClnkLib_", 0) == 0 ? name : "ClnkLib_" + name;
    for(const char* op : kFaultableOps) {
        if(full == op) {
            return full;
        }
    }
    return {};
}

FaultHit take_fault(const std::string& op) {
    FaultHit hit;
    auto& faults = sim().faults;
    for(auto it = faults.begin(); it != faults.end();) {
        if(it->fault.op != op) {
            ++it;
            continue;
        }
        const uint64_t n = it->seen++;
        if(n >= it->fault.skip && n < it->fault.skip + static_cast<uint64_t>(it->fault.times)) {
            const Fault& f = it->fault;
            if(f.rc != 0) {
                if(!hit.rc) {
                    hit.rc = f.rc; // the earliest armed failing fault decides the code
                }
            } else {
                if(f.flow_code) {
                    hit.flow_code = f.flow_code;
                }
                // Deltas add up modulo 2^32, as the counter they go into.
                hit.flow_update_count_delta += static_cast<uint32_t>(f.flow_update_count_delta);
                hit.sets.insert(hit.sets.end(), it->sets.begin(), it->sets.end());
            }
        }
        if(it->seen >= it->fault.skip + static_cast<uint64_t>(it->fault.times)) {
            it = faults.erase(it); // spent
        } else {
            ++it;
        }
    }
    return hit;
}

} // namespace detail

using detail::ojson;
using detail::sim;

namespace {

// Runs `body`, turning a JSON library exception (text that is not UTF-8, ...) into an error.
template <typename Body>
bool guarded(std::string* err, const char* what, Body&& body) {
    try {
        return body();
    } catch(const nlohmann::json::exception& e) {
        if(err != nullptr) {
            *err = std::string(what) + ": " + e.what();
        }
        return false;
    }
}

} // namespace

bool load(const nlohmann::json& scenario, std::string* err) {
    // nlohmann::json keeps object keys sorted: the interfaces come in name order.
    return guarded(err, "scenario", [&] { return detail::load_state(ojson::parse(scenario.dump()), err); });
}

bool load_ordered(const nlohmann::ordered_json& scenario, std::string* err) {
    return detail::load_state(scenario, err);
}

bool load_file(const std::string& path, std::string* err) {
    ojson scenario;
    if(!detail::read_file(path, &scenario, err)) {
        return false;
    }
    return detail::load_state(scenario, err);
}

bool patch(const nlohmann::json& merge_patch, std::string* err) {
    return guarded(err, "scenario", [&] {
        ojson current = detail::encode_scenario(sim().state);
        current.merge_patch(ojson::parse(merge_patch.dump()));
        return detail::load_state(current, err);
    });
}

nlohmann::json state() {
    return nlohmann::json::parse(detail::encode_scenario(sim().state).dump());
}

nlohmann::ordered_json state_ordered() {
    return detail::encode_scenario(sim().state);
}

Snapshot snapshot() {
    return std::make_shared<const detail::State>(sim().state);
}

void restore(const Snapshot& saved) {
    if(saved) {
        sim().state = *saved;
    }
}

bool arm_fault(const Fault& fault, std::string* err) {
    return guarded(err, "fault", [&] {
        detail::ArmedFault f{fault, {}, 0};
        if(!detail::check_fault(&f, ojson::parse(fault.set.dump()), "fault", err)) {
            return false;
        }
        detail::arm(sim(), std::move(f));
        return true;
    });
}

bool arm_fault(const nlohmann::json& fault, std::string* err) {
    return guarded(err, "fault", [&] {
        detail::ArmedFault f;
        if(!detail::parse_fault(ojson::parse(fault.dump()), "fault", &f, err)) {
            return false;
        }
        detail::arm(sim(), std::move(f));
        return true;
    });
}

namespace detail {

bool parse_fault(const ojson& fault, const std::string& path, ArmedFault* out, std::string* err) {
    if(!fault.is_object()) {
        return fail(err, path, "expected an object");
    }
    ArmedFault armed;
    Fault& f = armed.fault;
    ojson set;
    bool have_op = false;
    for(const auto& [key, value] : fault.items()) {
        const std::string p = path + "." + key;
        std::string why;
        int64_t s = 0;
        uint64_t u = 0;
        if(key == "op") {
            if(!value.is_string()) {
                return fail(err, p, "expected an operation name");
            }
            f.op = value.get<std::string>();
            have_op = true;
        } else if(key == "skip" || key == "times" || key == "flowCode") {
            if(!parse_int(value, 32, false, nullptr, &u, &why)) {
                return fail(err, p, why);
            }
            if(key == "skip") {
                f.skip = static_cast<uint32_t>(u);
            } else if(key == "times") {
                f.times = static_cast<uint32_t>(u);
            } else {
                f.flow_code = static_cast<uint32_t>(u);
            }
        } else if(key == "rc" || key == "flowUpdateCountDelta") {
            if(!parse_int(value, 32, true, &s, nullptr, &why)) {
                return fail(err, p, why);
            }
            (key == "rc" ? f.rc : f.flow_update_count_delta) = static_cast<int32_t>(s);
        } else if(key == "set") {
            set = value;
            f.set = nlohmann::json::parse(value.dump());
        } else {
            return fail(err, p, "unknown field");
        }
    }
    if(!have_op) {
        return fail(err, path + ".op", "missing");
    }
    if(!check_fault(&armed, set, path, err)) {
        return false;
    }
    *out = std::move(armed);
    return true;
}

} // namespace detail

void clear_faults() {
    sim().faults.clear();
}

void detail::log_call(Call call) {
    if(sim().log_off) {
        return;
    }
    std::vector<Call>& log = sim().calls;
    if(log.size() >= detail::kMaxLoggedCalls) {
        log.erase(log.begin(), log.begin() + detail::kMaxLoggedCalls / 2);
    }
    log.push_back(std::move(call));
}

const std::vector<Call>& calls() {
    return sim().calls;
}

std::vector<Call> take_calls() {
    std::vector<Call> out;
    out.swap(sim().calls);
    return out;
}

void clear_calls() {
    sim().calls.clear();
}

nlohmann::json call_to_json(const Call& call) {
    nlohmann::json out = nlohmann::json::object();
    out["op"] = call.op;
    out["args"] = call.args;
    out["rc"] = call.rc;
    return out;
}

int open_handles() {
    return static_cast<int>(sim().handles.size());
}

void reset() {
    auto& s = sim();
    s.state = detail::State{};
    s.handles.clear();
    s.faults.clear();
    s.calls.clear();
}

} // namespace clnksim
