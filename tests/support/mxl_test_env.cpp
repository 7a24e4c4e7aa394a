#include "mxl_test_env.h"

#include <amxhost/amxhost.h>
#include <amxm/amxm.h>
#include <amxp/amxp_timer.h>
#include <nolotrace.h>
#include <timerclock/timerclock.h>

namespace mxltest {

namespace {

constexpr const char* SO_NAME = "mxl";
std::vector<LogLine> g_log;
amxm_shared_object_t* g_so = nullptr;

// "korvane - [x]message - (func@file:line)": zone, mark, message and function.
LogLine parse_line(int level, const char* zone, const char* text) {
    LogLine l;
    l.level = level;
    l.zone = zone != nullptr ? zone : "";
    l.line = text;
    const std::string& s = l.line;
    size_t open = s.find(" - [");
    size_t close = open == std::string::npos ? open : s.find(']', open);
    size_t tail = s.rfind(" - (");
    if(open == std::string::npos || close == std::string::npos || tail == std::string::npos || tail < close) {
        l.msg = s;
        return l;
    }
    l.mark = s.substr(open + 4, close - open - 4);
    l.msg = s.substr(close + 1, tail - close - 1);
    size_t at = s.rfind('@');
    l.func = s.substr(tail + 4, at == std::string::npos || at < tail ? std::string::npos : at - tail - 4);
    return l;
}

void capture(int level, const char* zone, const char* line, void*) {
    g_log.push_back(parse_line(level, zone, line));
}

void event_loop_pass() {
    amxp_timers_calculate();
    amxp_timers_check();
}

const char* type_name(uint32_t type) {
    switch(type) {
    case AMXC_VAR_ID_NULL: return "null";
    case AMXC_VAR_ID_CSTRING: return "cstring";
    case AMXC_VAR_ID_CSV_STRING: return "csv_string";
    case AMXC_VAR_ID_SSV_STRING: return "ssv_string";
    case AMXC_VAR_ID_BOOL: return "bool";
    case AMXC_VAR_ID_INT8: return "int8";
    case AMXC_VAR_ID_INT16: return "int16";
    case AMXC_VAR_ID_INT32: return "int32";
    case AMXC_VAR_ID_INT64: return "int64";
    case AMXC_VAR_ID_UINT8: return "uint8";
    case AMXC_VAR_ID_UINT16: return "uint16";
    case AMXC_VAR_ID_UINT32: return "uint32";
    case AMXC_VAR_ID_UINT64: return "uint64";
    case AMXC_VAR_ID_DOUBLE: return "double";
    case AMXC_VAR_ID_HTABLE: return "htable";
    case AMXC_VAR_ID_LIST: return "list";
    default: return "unknown";
    }
}

} // namespace

void json_to_var(const ojson& json, amxc_var_t* var) {
    if(json.is_object()) {
        amxc_var_set_type(var, AMXC_VAR_ID_HTABLE);
        for(const auto& [key, value] : json.items()) {
            json_to_var(value, amxc_var_add_new_key(var, key.c_str()));
        }
    } else if(json.is_array()) {
        amxc_var_set_type(var, AMXC_VAR_ID_LIST);
        for(const auto& value : json) {
            json_to_var(value, amxc_var_add_new(var));
        }
    } else if(json.is_string()) {
        amxc_var_set_cstring_t(var, json.get<std::string>().c_str());
    } else if(json.is_boolean()) {
        amxc_var_set_bool(var, json.get<bool>());
    } else if(json.is_number_unsigned()) {
        uint64_t v = json.get<uint64_t>();
        if(v <= UINT32_MAX) {
            amxc_var_set_uint32_t(var, static_cast<uint32_t>(v));
        } else {
            amxc_var_set_uint64_t(var, v);
        }
    } else if(json.is_number_integer()) {
        int64_t v = json.get<int64_t>();
        if(v >= INT32_MIN) {
            amxc_var_set_int32_t(var, static_cast<int32_t>(v));
        } else {
            amxc_var_set_int64_t(var, v);
        }
    } else {
        amxc_var_set_type(var, AMXC_VAR_ID_NULL);
    }
}

ojson var_to_json(const amxc_var_t* var) {
    if(var == nullptr) {
        return nullptr;
    }
    uint32_t type = amxc_var_type_of(var);
    ojson value;
    switch(type) {
    case AMXC_VAR_ID_NULL: value = nullptr; break;
    case AMXC_VAR_ID_CSTRING:
    case AMXC_VAR_ID_CSV_STRING:
    case AMXC_VAR_ID_SSV_STRING: value = amxc_var_constcast(cstring_t, var); break;
    case AMXC_VAR_ID_BOOL: value = amxc_var_constcast(bool, var); break;
    case AMXC_VAR_ID_INT8:
    case AMXC_VAR_ID_INT16:
    case AMXC_VAR_ID_INT32:
    case AMXC_VAR_ID_INT64: value = amxc_var_dyncast(int64_t, var); break;
    case AMXC_VAR_ID_UINT8:
    case AMXC_VAR_ID_UINT16:
    case AMXC_VAR_ID_UINT32:
    case AMXC_VAR_ID_UINT64: value = amxc_var_dyncast(uint64_t, var); break;
    case AMXC_VAR_ID_DOUBLE: value = amxc_var_constcast(double, var); break;
    case AMXC_VAR_ID_HTABLE:
        value = ojson::object();
        amxc_var_for_each(child, var) {
            value[amxc_var_key(child)] = var_to_json(child);
        }
        break;
    case AMXC_VAR_ID_LIST:
        value = ojson::array();
        amxc_var_for_each(child, var) {
            value.push_back(var_to_json(child));
        }
        break;
    default: value = nullptr; break;
    }
    return ojson::array({type_name(type), value});
}

std::vector<std::string> Outcome::messages(int level) const {
    std::vector<std::string> out;
    for(const LogLine& l : log) {
        if(l.level == level) {
            out.push_back(l.msg);
        }
    }
    return out;
}

std::vector<std::string> Outcome::errors() const {
    return messages(TRACE_LEVEL_ERROR);
}

std::vector<std::string> Outcome::chip_ops() const {
    std::vector<std::string> out;
    for(const clnksim::Call& c : chip) {
        out.push_back(c.op);
    }
    return out;
}

size_t Outcome::count_op(const std::string& op) const {
    size_t n = 0;
    for(const clnksim::Call& c : chip) {
        n += (c.op == op) ? 1 : 0;
    }
    return n;
}

std::vector<std::pair<std::string, std::string>> Outcome::keys() const {
    std::vector<std::pair<std::string, std::string>> out;
    if(ret.is_array() && ret[0] == "htable") {
        for(const auto& [key, typed] : ret[1].items()) {
            out.emplace_back(key, typed[0].get<std::string>());
        }
    }
    return out;
}

const ojson& Outcome::value(const std::string& key) const {
    static const ojson none;
    if(!ret.is_array() || ret[0] != "htable" || !ret[1].contains(key)) {
        ADD_FAILURE() << "result has no key " << key;
        return none;
    }
    return ret[1][key][1];
}

bool load_module() {
    noloTraceSetLevel(TRACE_LEVEL_DEBUG);
    noloTraceSetSink(capture, nullptr);
    return amxm_so_open(&g_so, SO_NAME, MXL_MODULE_PATH) == 0;
}

void unload_module() {
    if(g_so != nullptr) {
        amxm_so_close(&g_so);
    }
    event_loop_pass();
}

Outcome call(const std::string& function, const ojson& args, bool with_ret, bool null_args) {
    amxm_callback_t cb = amxhost_get_callback(SO_NAME, "moca-ctrl", function.c_str());
    Outcome out;
    if(cb == nullptr) {
        ADD_FAILURE() << "no registered function " << function;
        return out;
    }
    amxc_var_t args_var;
    amxc_var_t ret_var;
    amxc_var_init(&args_var);
    amxc_var_init(&ret_var);
    if(!null_args) {
        json_to_var(args, &args_var);
    }
    g_log.clear();
    clnksim::clear_calls();
    out.rc = cb(function.c_str(), null_args ? nullptr : &args_var, with_ret ? &ret_var : nullptr);
    event_loop_pass();
    out.ret = with_ret ? var_to_json(&ret_var) : ojson(nullptr);
    out.log = std::move(g_log);
    g_log.clear();
    out.chip = clnksim::take_calls();
    out.handles = clnksim::open_handles();
    amxc_var_clean(&args_var);
    amxc_var_clean(&ret_var);
    return out;
}

std::vector<LogLine> advance(uint64_t ms) {
    g_log.clear();
    while(ms > 0) {
        int64_t next = timerclock_next_expiry_ms();
        uint64_t step = (next < 0 || static_cast<uint64_t>(next) > ms) ? ms : static_cast<uint64_t>(next);
        timerclock_advance_ms(step);
        ms -= step;
        event_loop_pass();
        if(step == 0 && next == 0) {
            continue;    // an expired timer was handled; look again
        }
    }
    return take_log();
}

std::vector<LogLine> take_log() {
    std::vector<LogLine> out = std::move(g_log);
    g_log.clear();
    return out;
}

void sim(const ojson& scenario) {
    std::string err;
    ASSERT_TRUE(clnksim::load_ordered(scenario, &err)) << err;
}

void fault(const ojson& f) {
    std::string err;
    ASSERT_TRUE(clnksim::arm_fault(nlohmann::json::parse(f.dump()), &err)) << err;
}

void ModuleTest::SetUp() {
    clnksim::reset();
    timerclock_use_virtual(true);
    ASSERT_TRUE(load_module());
    take_log();
}

void ModuleTest::TearDown() {
    unload_module();
    take_log();
    EXPECT_EQ(clnksim::open_handles(), 0);
}

void ModuleTest::create(const std::string& name) {
    Outcome out = call("create-moca-iface", ojson{{"InternalName", name}});
    ASSERT_EQ(out.rc, 0);
}

} // namespace mxltest
