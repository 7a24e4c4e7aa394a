#include "mxl_test_env.h"

#include <amxhost/amxhost.h>
#include <amxm/amxm.h>
#include <amxp/amxp_timer.h>
#include <nolotrace.h>
#include "eventloop.h"
#include "varjson.h"

namespace mxltest {

namespace {

constexpr const char* SO_NAME = "mxl";
std::vector<LogLine> g_log;
amxm_shared_object_t* g_so = nullptr;

void capture(int level, const char* zone, const char* line, void*) {
    g_log.push_back(host::parse_trace_line(level, zone, line));
}

} // namespace

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
    host::loop_pass();
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
        std::string err;
        EXPECT_TRUE(host::json_to_variant(args, &args_var, &err)) << err;
    }
    g_log.clear();
    clnksim::clear_calls();
    out.rc = cb(function.c_str(), null_args ? nullptr : &args_var, with_ret ? &ret_var : nullptr);
    host::loop_pass();
    out.ret = with_ret ? host::variant_to_typed_json(&ret_var) : ojson(nullptr);
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
    host::advance_virtual_clock(ms);
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
    host::use_virtual_clock(true);
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
