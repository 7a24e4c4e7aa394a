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
    "ClnkLib_OpenByName",      "ClnkLib_ListNames",       "ClnkLib_GetLocalInfo",
    "ClnkLib_GetNetInfo",      "ClnkLib_GetPhyTxProfile", "ClnkLib_GetPhyRxProfile",
    "ClnkLib_GetEcbStats",     "ClnkLib_GetClnkCfgV2",    "ClnkLib_GetClnkCfgV2Params",
    "ClnkLib_SetClnkCfgV2Params", "ClnkLib_Stop",         "ClnkLib_Start",
    "ClnkLib_GetPhyMisc",      "ClnkLib_GetCdInfo",       "ClnkLib_GetDataStats",
    "ClnkLib_GetRlapmCfg",     "ClnkLib_GetSapmCfg",      "ClnkLib_GetFmrInfo",
    "ClnkLib_GetBridgeTable",  "ClnkLib_ListFlows",       "ClnkLib_QueryFlow",
};

bool load_state(const ojson& scenario, std::string* err) {
    State fresh;
    if(!decode_scenario(scenario, fresh, err)) {
        return false;
    }
    sim().state = std::move(fresh);
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

}  // namespace

Sim& sim() {
    static Sim* instance = [] {
        auto* s = new Sim;
        // A host that knows nothing of the simulator can still be given a network.
        if(const char* path = std::getenv("CLNKSIM_SCENARIO"); path != nullptr && *path != '\0') {
            ojson scenario;
            std::string err;
            State fresh;
            if(read_file(path, &scenario, &err) && decode_scenario(scenario, fresh, &err)) {
                s->state = std::move(fresh);
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
                    hit.rc = f.rc;   // the earliest armed failing fault decides the code
                }
            } else {
                if(f.flow_code) {
                    hit.flow_code = f.flow_code;
                }
                hit.flow_update_count_delta += f.flow_update_count_delta;
            }
        }
        if(it->seen >= it->fault.skip + static_cast<uint64_t>(it->fault.times)) {
            it = faults.erase(it);   // spent
        } else {
            ++it;
        }
    }
    return hit;
}

}  // namespace detail

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

}  // namespace

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

bool arm_fault(const Fault& fault, std::string* err) {
    const std::string op = detail::faultable_op(fault.op);
    if(op.empty()) {
        if(err != nullptr) {
            *err = "fault.op: \"" + fault.op + "\" is not an operation that can fail";
        }
        return false;
    }
    const bool flow_op = op == "ClnkLib_ListFlows" || op == "ClnkLib_QueryFlow";
    if(fault.flow_code && !flow_op) {
        if(err != nullptr) {
            *err = "fault.flowCode: only ClnkLib_ListFlows and ClnkLib_QueryFlow answer a flow code";
        }
        return false;
    }
    if(fault.flow_update_count_delta != 0 && op != "ClnkLib_ListFlows") {
        if(err != nullptr) {
            *err = "fault.flowUpdateCountDelta: only ClnkLib_ListFlows reports a flowUpdateCount";
        }
        return false;
    }
    detail::ArmedFault armed{fault, 0};
    armed.fault.op = op;
    sim().faults.push_back(armed);
    return true;
}

bool arm_fault(const nlohmann::json& fault, std::string* err) {
    return guarded(err, "fault", [&] { return detail::arm_fault_json(fault, err); });
}

namespace detail {

bool arm_fault_json(const nlohmann::json& fault, std::string* err) {
    auto fail = [err](const std::string& path, const std::string& what) {
        if(err != nullptr) {
            *err = path + ": " + what;
        }
        return false;
    };
    if(!fault.is_object()) {
        return fail("fault", "expected an object");
    }
    Fault f;
    bool have_op = false;
    for(const auto& [key, v] : fault.items()) {
        const std::string path = "fault." + key;
        const ojson value = ojson::parse(v.dump());   // the number parser reads ordered JSON
        std::string why;
        int64_t s = 0;
        uint64_t u = 0;
        if(key == "op") {
            if(!v.is_string()) {
                return fail(path, "expected an operation name");
            }
            f.op = v.get<std::string>();
            have_op = true;
        } else if(key == "skip" || key == "times" || key == "flowCode") {
            if(!detail::parse_int(value, 32, false, nullptr, &u, &why)) {
                return fail(path, why);
            }
            if(key == "skip") {
                f.skip = static_cast<uint32_t>(u);
            } else if(key == "times") {
                f.times = static_cast<uint32_t>(u);
            } else {
                f.flow_code = static_cast<uint32_t>(u);
            }
        } else if(key == "rc" || key == "flowUpdateCountDelta") {
            if(!detail::parse_int(value, 32, true, &s, nullptr, &why)) {
                return fail(path, why);
            }
            (key == "rc" ? f.rc : f.flow_update_count_delta) = static_cast<int32_t>(s);
        } else {
            return fail(path, "unknown field");
        }
    }
    if(!have_op) {
        return fail("fault.op", "missing");
    }
    return clnksim::arm_fault(f, err);
}

}  // namespace detail

void clear_faults() {
    sim().faults.clear();
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

}  // namespace clnksim
