// A walk over all eighteen functions, their refills and their failure paths,
// checked two ways: every trace line names the function that owns its message
// (a table of messages and the functions that log them), and every record the
// module hands the chip library to fill starts zeroed, so that what a library
// leaves unwritten is never judged on leftover memory.
#include <dlfcn.h>
#include <sys/time.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include <clnkapi.h>

#include "mxl_test_env.h"

using namespace mxltest;

namespace {

using names = std::set<std::string>;

// A message format and the functions that log it.
struct Message {
    const char* format;
    names funcs;
};

const names PROLOGUE_USERS = {"mxl_iface_create", "mxl_iface_destroy", "mxl_cfg_info_set", "mxl_cfg_info_retrieve",
                              "mxl_static_info_retrieve", "mxl_dyn_info_retrieve", "mxl_qos_info_retrieve",
                              "mxl_flow_info_retrieve", "mxl_rlapm_entries_number", "mxl_rlapm_info_retrieve",
                              "mxl_sapm_entries_number", "mxl_sapm_info_retrieve", "mxl_node_info_retrieve",
                              "mxl_mesh_info_retrieve", "mxl_bridge_info_retrieve", "mxl_stats_retrieve",
                              "mxl_is_available", "mxl_is_present"};

const std::vector<Message> MESSAGES = {
    {"Module loaded", {"mxl_module_start"}},
    {"Module stopped", {"mxl_module_stop"}},
    {"Passed args is NULL", PROLOGUE_USERS},
    {"args is not an htable", PROLOGUE_USERS},
    {"Passed interface name is NULL", PROLOGUE_USERS},
    {"Unable to find a mxl iface by name", PROLOGUE_USERS},
    {"Passed nodeid is out of range", {"mxl_node_info_retrieve", "mxl_bridge_info_retrieve"}},
    {"Passed entryId is out of range", {"mxl_mesh_info_retrieve", "mxl_rlapm_info_retrieve", "mxl_sapm_info_retrieve"}},
    {"Passed zero entryIde", {"mxl_rlapm_info_retrieve", "mxl_sapm_info_retrieve"}},
    {"Passed flowId is out of range", {"mxl_flow_info_retrieve"}},
    {"%s: ClnkLib_OpenByName failed with rc=%d",
     {"mxl_iface_is_enabled", "mxl_cfg_info_set", "mxl_cfg_info_retrieve", "mxl_static_info_retrieve",
      "mxl_dyn_info_retrieve", "mxl_stats_retrieve", "mxl_get_nodes_info", "mxl_mesh_info_retrieve",
      "mxl_get_bridges_info", "rlapm_table_size", "mxl_rlapm_info_retrieve", "sapm_table_size",
      "mxl_sapm_info_retrieve", "mxl_get_flows"}},
    {"%s: ClnkLib_GetLocalInfo failed with rc=%d",
     {"mxl_iface_is_enabled", "mxl_static_info_retrieve", "mxl_dyn_info_retrieve", "mxl_get_nodes_info",
      "mxl_mesh_info_retrieve", "mxl_get_bridges_info", "mxl_get_flows"}},
    // creation and destruction
    {"The mxl moca interface '%s' already exists", {"mxl_iface_create"}},
    {"creating mxl moca info for name: %s", {"mxl_iface_create"}},
    {"initializing mxl moca info for name: %s", {"mxl_iface_create"}},
    {"Failed to initialize mxl moca interface: %s", {"mxl_iface_create"}},
    {"The interface '%s' is %s at init", {"mxl_iface_create"}},
    {"allocated mxl moca info for interface %s", {"mxl_iface_create"}},
    {"Unable to allocate memory", {"mxl_iface_create"}},
    {"Failed to allocate %s: %d", {"mxl_iface_create"}},
    {"moca_if is NULL", {"mxl_get_nodes_info", "mxl_get_bridges_info", "mxl_get_flows"}},
    {"destroy mxl moca info for name: %s", {"mxl_iface_destroy"}},
    {"mxl interface is not found", {"mxl_iface_destroy"}},
    {"%s:Remove from the list and free memory", {"mxl_iface_destroy"}},
    {"deallocating mxl moca info for %s", {"mxl_iface_delete"}},
    {"timer fired", {"table_cache_expire"}},
    {"armed timer for %d", {"mxl_rlapm_info_retrieve", "mxl_sapm_info_retrieve", "mxl_mesh_info_retrieve"}},
    // configuration
    {"Setting for interface: %s", {"mxl_cfg_info_set"}},
    {"Set enable on %s %s", {"mxl_cfg_info_set"}},
    {"%s: ClnkLib_Start failed with rc=%d", {"mxl_cfg_info_set"}},
    {"%s: ClnkLib_Stop failed with rc=%d", {"mxl_cfg_info_set"}},
    {"%s: ClnkLib_Start: returned rc=%d", {"mxl_cfg_info_set"}},
    {"%s: ClnkLib_Stop: returned rc=%d", {"mxl_cfg_info_set"}},
    {"Set preferredNcMode=%d", {"mxl_cfg_info_set"}},
    {"Set securityMode=0x%x", {"mxl_cfg_info_set"}},
    {"Set tgtP2pNperRate=%d", {"mxl_cfg_info_set"}},
    {"Set freq_cur_mask=%s", {"mxl_cfg_info_set"}},
    {"Set keyphrase=%s for band %d", {"mxl_cfg_info_set"}},
    {"Set maxTxPwr=%d", {"mxl_cfg_info_set"}},
    {"Set tgtP2p50Rate=%d", {"mxl_cfg_info_set"}},
    {"Set beaconTxPwr=%d", {"mxl_cfg_info_set"}},
    {"Set node_taboo_mask=%s", {"mxl_cfg_info_set"}},
    {"Set tabooMask=0x%x", {"mxl_cfg_info_set"}},
    {"%s: ClnkLib_GetClnkCfgV2Params for %s failed rc=%d", {"mxl_cfg_info_set"}},
    {"Loading data to chip...", {"mxl_cfg_info_set"}},
    {"%s: ClnkLib_SetClnkCfgV2Params for PreferredNC failed rc=%d", {"mxl_cfg_info_set"}},
    {"get cfg data for %s", {"mxl_cfg_info_retrieve"}},
    {"%s: ClnkLib_GetClnkCfgV2 failed with rc=%d", {"mxl_cfg_info_retrieve", "mxl_dyn_info_retrieve"}},
    // interface status
    {"Get static data for %s", {"mxl_static_info_retrieve"}},
    {"%s: ClnkLib_GetNetInfo failed with rc=%d", {"mxl_static_info_retrieve"}},
    {"%s: ClnkLib_GetPhyTxProfile failed with rc=%d", {"mxl_static_info_retrieve", "mxl_dyn_info_retrieve"}},
    {"get dyn data for %s", {"mxl_dyn_info_retrieve"}},
    {"%s: ClnkLib_GetPhyMisc failed with rc=%d", {"mxl_dyn_info_retrieve"}},
    {"%s: ClnkLib_GetCdInfo failed with rc=%d", {"mxl_dyn_info_retrieve"}},
    {"%s: ClnkLib_GetDataStats failed with rc=%d", {"mxl_stats_retrieve"}},
    {"'ClnkLib_ListNames' failed to execute", {"mxl_is_present"}},
    // associated nodes
    {"get node id %d data for %s", {"mxl_node_info_retrieve"}},
    {"mxl_get_nodes_info failed", {"mxl_node_info_retrieve"}},
    {"%s: link is down - all nodes are inactive", {"mxl_get_nodes_info", "mxl_mesh_info_retrieve", "mxl_get_flows"}},
    {"Get node info network_node_mask=0x%x", {"mxl_get_nodes_info"}},
    {"%s: ClnkLib_GetNetInfo for nodeId=%d failed with rc=%d", {"mxl_get_nodes_info"}},
    {"%s: ClnkLib_GetPhyTxProfile for nodeId=%d failed with rc=%d", {"mxl_get_nodes_info"}},
    {"%s: ClnkLib_GetPhyRxProfile for nodeId=%d failed with rc=%d", {"mxl_get_nodes_info"}},
    {"%s: found node %d with mac: %s", {"mxl_get_nodes_info"}},
    // mesh
    {"get mesh for id %d data for %s, timer state=%d", {"mxl_mesh_info_retrieve"}},
    {"%s: ClnkLib_GetFmrInfo failed with rc=%d", {"mxl_mesh_info_retrieve"}},
    // bridges
    {"get bridge for node id %d data for %s, timer state=%d", {"mxl_bridge_info_retrieve"}},
    {"mxl_get_bridges_info failed", {"mxl_bridge_info_retrieve"}},
    {"%s: ClnkLib_GetBridgeTable for Src Unicast failed with rc=%d", {"mxl_get_bridges_info"}},
    {"%s: ClnkLib_GetBridgeTable for Src multicast failed with rc=%d", {"mxl_get_bridges_info"}},
    {"%s: ClnkLib_GetBridgeTable for Dst Unicast failed with rc=%d", {"mxl_get_bridges_info"}},
    {"%s: found %d src unicast bridge entries for local node_id: %d", {"mxl_get_bridges_info"}},
    {"%s: found %d src mcast bridge entries for local node_id: %d", {"mxl_get_bridges_info"}},
    {"%s: dropped %d bridge entries beyond %d per node (nodes 0x%x)", {"mxl_get_bridges_info"}},
    // margin tables
    {"%s: ClnkLib_GetRlapmCfg failed with rc=%d", {"rlapm_table_size", "mxl_rlapm_info_retrieve"}},
    {"%s: rlapm_table_size failed with rc=%d", {"mxl_rlapm_entries_number", "mxl_rlapm_info_retrieve"}},
    {"get rlapm for id %d data for %s, timer state=%d", {"mxl_rlapm_info_retrieve"}},
    {"%s: ClnkLib_GetSapmCfg failed with rc=%d", {"sapm_table_size", "mxl_sapm_info_retrieve"}},
    {"%s: sapm_table_size failed with rc=%d", {"mxl_sapm_entries_number", "mxl_sapm_info_retrieve"}},
    {"get sapm for id %d data for %s, timer state=%d", {"mxl_sapm_info_retrieve"}},
    {"Sapm entry[%d] sc_index_max:%d MAX_MINI_SAPM_MARGIN_LEN %d", {"mxl_sapm_info_retrieve"}},
    // flows
    {"get PQoS flows number for %s, timer state=%d", {"mxl_qos_info_retrieve"}},
    {"get flowId for id %d data for %s, timer state=%d", {"mxl_flow_info_retrieve"}},
    {"mxl_get_flows failed", {"mxl_qos_info_retrieve", "mxl_flow_info_retrieve"}},
    {"Get (ingress) node info for node_id:%d", {"mxl_get_flows"}},
    {"%s: found %d flows on node %d", {"mxl_get_flows"}},
    {"TotalFlows: %d", {"mxl_get_flows"}},
    {"%s: flow table full (%d slots), %d flows not stored", {"mxl_get_flows"}},
    {"ClnkLib_QueryFlow(,flowId=%s)-->", {"mxl_get_flows"}},
    {"  -->  retval:%d .flowCode:%s (0x%x)", {"mxl_get_flows"}},
    {" Unexpected fail: last retval:%d flowCode:0x%x (%s): %d left...", {"mxl_get_flows"}},
    {"Too many fail- last retval:%d flowCode:0x%x (%s)", {"mxl_get_flows"}},
    {"ClnkLib_GetNetInfo failed on %d ith rc=%d", {"clnkqos_NFLIter_init"}},
    {"ClnkLib_ListFlows(,ingressGuid=%s,flowStartIndex=%d,flowMaxReturn=%d)-->", {"clnkqos_NFLIter_next"}},
    {"  -->  retval:%d .flowCode:%s(0x%x), .flowUpdateCount:%d .totalFlowIdCount:%d .numReturnedFlowIds:%d",
     {"clnkqos_NFLIter_next"}},
    {"  List timeout, flowCode 0x%x (%s)", {"clnkqos_NFLIter_next"}},
    {"  M1.0 node NOT PQOS capable, IngressID=%s", {"clnkqos_NFLIter_next"}},
    {"  List fail, flowCode 0x%x (%s)", {"clnkqos_NFLIter_next"}},
    {"  Unexpected list retval %d, %d retries left...", {"clnkqos_NFLIter_next"}},
    {"%d retries exausted. retval:%d flowCode:0x%x (%s)", {"clnkqos_NFLIter_next"}},
    {"Detected flows changed in mid op, %d != %d, aborting.", {"clnkqos_NFLIter_next"}},
    {"Timer: Spin for %dms...", {"clnkqos_Timer_spin"}},
    {"Timer: Spin done.", {"clnkqos_Timer_spin"}},
};

// Messages the walk cannot bring about: a failing C library or timer
// library, a refill without a record.
const std::set<std::string> UNREACHED = {"Unable to allocate memory", "Failed to allocate %s: %d", "moca_if is NULL"};

// The functions (and the routines they run) that each call may log from.
const std::map<std::string, names> CALL_FUNCS = {
    {"create-moca-iface", {"mxl_iface_create", "mxl_iface_is_enabled"}},
    {"destroy-moca-iface", {"mxl_iface_destroy", "mxl_iface_delete"}},
    {"set-cfg-info", {"mxl_cfg_info_set"}},
    {"retrieve-cfg-info", {"mxl_cfg_info_retrieve"}},
    {"retrieve-static-info", {"mxl_static_info_retrieve"}},
    {"retrieve-dyn-info", {"mxl_dyn_info_retrieve"}},
    {"retrieve-qos-info",
     {"mxl_qos_info_retrieve", "mxl_get_flows", "clnkqos_NFLIter_init", "clnkqos_NFLIter_next", "clnkqos_Timer_spin"}},
    {"retrieve-flow-info",
     {"mxl_flow_info_retrieve", "mxl_get_flows", "clnkqos_NFLIter_init", "clnkqos_NFLIter_next", "clnkqos_Timer_spin"}},
    {"retrieve-rlapm-number", {"mxl_rlapm_entries_number", "rlapm_table_size"}},
    {"retrieve-rlapm-info", {"mxl_rlapm_info_retrieve", "rlapm_table_size"}},
    {"retrieve-sapm-number", {"mxl_sapm_entries_number", "sapm_table_size"}},
    {"retrieve-sapm-info", {"mxl_sapm_info_retrieve", "sapm_table_size"}},
    {"retrieve-node-info", {"mxl_node_info_retrieve", "mxl_get_nodes_info"}},
    {"retrieve-mesh-info", {"mxl_mesh_info_retrieve"}},
    {"retrieve-bridge-info", {"mxl_bridge_info_retrieve", "mxl_get_bridges_info"}},
    {"retrieve-stats-info", {"mxl_stats_retrieve"}},
    {"is-available", {"mxl_is_available"}},
    {"is-present", {"mxl_is_present"}},
};

// A printf format as a pattern of the texts it prints.
std::regex format_regex(const std::string& format) {
    static const std::regex conv(R"(%[-#0-9.]*(?:[dux]|s))");
    static const std::regex special(R"([.^$|()\[\]{}*+?\\])");
    std::string out;
    size_t pos = 0;
    for(std::sregex_iterator it(format.begin(), format.end(), conv), end; it != end; ++it) {
        out += std::regex_replace(format.substr(pos, it->position() - pos), special, R"(\$&)");
        const std::string c = it->str();
        out += (c.back() == 's') ? "(.*)" : (c.back() == 'x') ? "(0x)?[0-9a-fA-F]+" : "-?[0-9]+";
        pos = it->position() + it->length();
    }
    out += std::regex_replace(format.substr(pos), special, R"(\$&)");
    return std::regex(out);
}

class FullWalk : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        for(const Message& m : MESSAGES) {
            patterns_.emplace_back(format_regex(m.format), &m);
        }
        std::ifstream in(MXL_EXAMPLES_DIR "/home-network.json");
        home_ = ojson::parse(in);
        sim(home_);
    }

    // Checks every line against the message table and the functions `allowed`.
    void check(const std::vector<LogLine>& lines, const names& allowed, const std::string& what) {
        for(const LogLine& l : lines) {
            const Message* found = nullptr;
            for(const auto& [re, m] : patterns_) {
                if((m->funcs.count(l.func) != 0) && std::regex_match(l.msg, re)) {
                    found = m;
                    break;
                }
            }
            if(found == nullptr) {
                ADD_FAILURE() << what << ": \"" << l.msg << "\" logged by " << l.func;
                continue;
            }
            EXPECT_TRUE(allowed.count(l.func) != 0) << what << ": \"" << l.msg << "\" logged by " << l.func;
            seen_.insert(found->format);
        }
    }

    Outcome run(const std::string& fn, const ojson& args, const ojson& armed = nullptr) {
        if(!armed.is_null()) {
            fault(armed);
        }
        Outcome out = call(fn, args);
        check(out.log, CALL_FUNCS.at(fn), fn + " " + args.dump() + (armed.is_null() ? "" : " " + armed.dump()));
        clnksim::clear_faults();
        return out;
    }

    // One call with a fault armed, after the timers ran out (a refill is made).
    Outcome run_stale(const std::string& fn, const ojson& args, const ojson& armed) {
        check(advance(11000), {"table_cache_expire"}, "expiry");
        return run(fn, args, armed);
    }

    void patch(const ojson& p) {
        std::string err;
        ASSERT_TRUE(clnksim::patch(nlohmann::json::parse(p.dump()), &err)) << err;
    }

    void walk();

    std::vector<std::pair<std::regex, const Message*>> patterns_;
    std::set<std::string> seen_;
    ojson home_;
};

const ojson MOCA0 = {{"InternalName", "moca0"}};

// A list timeout makes the listing busy-wait on the wall clock: here the
// clock moves 10 ms at every reading.
uint64_t g_clock_us = 0;

// Reads whose output record held anything but zeros when it was handed over.
std::vector<std::string> g_unclean;

template <typename T>
void expect_zeroed(const char* op, const T* record, size_t count = 1) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(record);
    if(std::any_of(bytes, bytes + sizeof(T) * count, [](unsigned char b) { return b != 0; })) {
        g_unclean.push_back(op);
    }
}

template <typename F>
F real(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" int gettimeofday(struct timeval* __restrict tv, void* __restrict) noexcept {
    g_clock_us += 10000;
    *tv = {static_cast<time_t>(g_clock_us / 1000000), static_cast<suseconds_t>(g_clock_us % 1000000)};
    return 0;
}

// The chip library's reads, seen on their way from the module to the simulator.
#define MXL_CHECKED_READ(op, check, ...)                                                     \
    extern "C" int32_t op(__VA_ARGS__) {                                                     \
        check;                                                                               \
        static auto next = real<decltype(&op)>(#op);
#define MXL_FORWARD(...) \
        return next(__VA_ARGS__);                                                            \
    }

MXL_CHECKED_READ(ClnkLib_ListNames, expect_zeroed(__func__, n, cap), ClnkLib_Name_t* n, uint32_t cap)
MXL_FORWARD(n, cap)
MXL_CHECKED_READ(ClnkLib_GetLocalInfo, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, ClnkLib_LocalInfo_t* p)
MXL_FORWARD(h, p)
MXL_CHECKED_READ(ClnkLib_GetNetInfo, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, uint32_t n, ClnkLib_NetInfo_t* p)
MXL_FORWARD(h, n, p)
MXL_CHECKED_READ(ClnkLib_GetPhyTxProfile, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, uint32_t n, uint32_t t,
                 uint32_t f, ClnkLib_PhyTxProfile_t* p)
MXL_FORWARD(h, n, t, f, p)
MXL_CHECKED_READ(ClnkLib_GetPhyRxProfile, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, uint32_t n, uint32_t t,
                 uint32_t f, ClnkLib_PhyRxProfile_t* p)
MXL_FORWARD(h, n, t, f, p)
MXL_CHECKED_READ(ClnkLib_GetEcbStats, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, uint32_t f, ClnkLib_EcbStats_t* p)
MXL_FORWARD(h, f, p)
MXL_CHECKED_READ(ClnkLib_GetClnkCfgV2, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, uint32_t f,
                 ClnkLib_ClnkCfgV2_t* p)
MXL_FORWARD(h, f, p)
MXL_CHECKED_READ(ClnkLib_GetClnkCfgV2Params, expect_zeroed(__func__, p), ClnkLib_Handle_t* h,
                 const clnk_param_mask_t* m, ClnkLib_ClnkCfgV2_t* p)
MXL_FORWARD(h, m, p)
MXL_CHECKED_READ(ClnkLib_GetPhyMisc, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, ClnkLib_PhyMisc_t* p)
MXL_FORWARD(h, p)
MXL_CHECKED_READ(ClnkLib_GetCdInfo, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, uint32_t n, ClnkLib_CdInfo_t* p)
MXL_FORWARD(h, n, p)
MXL_CHECKED_READ(ClnkLib_GetDataStats, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, uint32_t f,
                 ClnkLib_DataStats_t* p)
MXL_FORWARD(h, f, p)
MXL_CHECKED_READ(ClnkLib_GetRlapmCfg, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, ClnkLib_RlapmStaticCfgV2_t* p)
MXL_FORWARD(h, p)
MXL_CHECKED_READ(ClnkLib_GetSapmCfg, expect_zeroed(__func__, p), ClnkLib_Handle_t* h, ClnkLib_SapmStaticCfgV2_t* p)
MXL_FORWARD(h, p)
// The FMR record, the bridge table and the flow responses are reused from one
// request to the next (a kept flow code tells a retry what the last one gave).
MXL_CHECKED_READ(ClnkLib_GetBridgeTable, expect_zeroed(__func__, c), ClnkLib_Handle_t* h, uint32_t t, uint32_t f,
                 uint32_t* c, ClnkLib_BridgeTable_t* p)
MXL_FORWARD(h, t, f, c, p)

#undef MXL_CHECKED_READ
#undef MXL_FORWARD

namespace {

ojson with_id(uint32_t id) {
    return {{"InternalName", "moca0"}, {"Id", id}};
}

void FullWalk::walk() {
    // Loading and unloading.
    unload_module();
    check(take_log(), {"mxl_module_stop"}, "unload");
    ASSERT_TRUE(load_module());
    check(take_log(), {"mxl_module_start"}, "load");

    // Records: creation, the reachability test, refusals.
    run("create-moca-iface", MOCA0);
    run("create-moca-iface", MOCA0);
    run("create-moca-iface", {{"InternalName", ""}});
    run("create-moca-iface", {{"InternalName", "nochip"}});
    run("create-moca-iface", {{"InternalName", "moca1"}}, {{"op", "GetLocalInfo"}, {"rc", -4}});

    // Every function's common refusals.
    for(const auto& [fn, funcs] : CALL_FUNCS) {
        Outcome none = call(fn, nullptr, true, true);
        check(none.log, funcs, fn);
        run(fn, ojson::array({1}));
        run(fn, ojson::object());
        run(fn, {{"InternalName", "absent"}, {"Id", 1}});
        if(fn.find("-moca-iface") == std::string::npos) {
            run(fn, {{"InternalName", "moca0"}, {"Id", 0}});
            run(fn, {{"InternalName", "moca0"}, {"Id", 9000}});
        }
    }

    // The whole walk, twice: from the chip, then from the caches.
    for(int pass = 0; pass < 2; pass++) {
        for(const auto& [fn, funcs] : CALL_FUNCS) {
            if(fn.find("-moca-iface") == std::string::npos && fn != "set-cfg-info") {
                run(fn, MOCA0);
            }
        }
        for(uint32_t id = 1; id <= 16; id++) {
            run("retrieve-node-info", with_id(id));
            run("retrieve-bridge-info", with_id(id));
            run("retrieve-flow-info", with_id(id));
        }
        for(uint32_t id = 1; id <= 256; id += 17) {
            run("retrieve-mesh-info", with_id(id));
        }
        for(uint32_t id = 1; id <= 64; id += 9) {
            run("retrieve-rlapm-info", with_id(id));
            run("retrieve-sapm-info", with_id(id));
        }
    }

    // Every setting, and the chip failures on the way.
    const ojson settings[] = {
        {{"Enable", false}},          {{"Enable", true}},
        {{"PreferredNC", false}},     {{"PrivacyEnabledSetting", true}},
        {{"TpcTargetRateNper", 1}},   {{"FreqCurrentMaskSetting", "0x15"}},
        {{"KeyPassphrase", "abc"}},   {{"TxPowerLimit", 3}},
        {{"PowerCntlPhyTarget", 2}},  {{"BeaconPowerLimit", 1}},
        {{"NodeTabooMask", "ff"}},
    };
    for(const ojson& s : settings) {
        ojson args = s;
        args["InternalName"] = "moca0";
        run("set-cfg-info", args);
    }
    run("set-cfg-info", {{"InternalName", "moca0"}, {"Enable", false}}, {{"op", "Stop"}});
    run("set-cfg-info", {{"InternalName", "moca0"}, {"Enable", false}});
    run("set-cfg-info", {{"InternalName", "moca0"}, {"Enable", true}}, {{"op", "Start"}});
    run("set-cfg-info", {{"InternalName", "moca0"}, {"Enable", true}});
    run("set-cfg-info", {{"InternalName", "moca0"}, {"PreferredNC", true}}, {{"op", "GetClnkCfgV2Params"}});
    run("set-cfg-info", {{"InternalName", "moca0"}, {"TxPowerLimit", 9}}, {{"op", "SetClnkCfgV2Params"}});

    // The reads of the status functions, one failing at a time.
    const std::pair<const char*, std::vector<const char*>> reads[] = {
        {"retrieve-cfg-info", {"GetClnkCfgV2"}},
        {"retrieve-static-info", {"GetLocalInfo", "GetNetInfo", "GetPhyTxProfile"}},
        {"retrieve-dyn-info", {"GetLocalInfo", "GetClnkCfgV2", "GetPhyMisc", "GetPhyTxProfile", "GetCdInfo"}},
        {"retrieve-stats-info", {"GetDataStats"}},
        {"is-present", {"ListNames"}},
    };
    for(const auto& [fn, ops] : reads) {
        for(const char* op : ops) {
            run(fn, MOCA0, {{"op", op}});
        }
    }
    for(const auto& [fn, funcs] : CALL_FUNCS) {
        if(fn != "create-moca-iface" && fn != "destroy-moca-iface") {
            run_stale(fn, with_id(1), {{"op", "OpenByName"}});
        }
    }

    // The table refills, failing at each of their requests.
    const std::pair<const char*, std::vector<ojson>> refills[] = {
        {"retrieve-node-info",
         {{{"op", "GetLocalInfo"}}, {{"op", "GetNetInfo"}}, {{"op", "GetPhyTxProfile"}}, {{"op", "GetPhyRxProfile"}}}},
        {"retrieve-mesh-info", {{{"op", "GetLocalInfo"}}, {{"op", "GetFmrInfo"}, {"skip", 1}}}},
        {"retrieve-bridge-info",
         {{{"op", "GetLocalInfo"}},
          {{"op", "GetBridgeTable"}},
          {{"op", "GetBridgeTable"}, {"skip", 1}},
          {{"op", "GetBridgeTable"}, {"skip", 2}}}},
        {"retrieve-rlapm-info", {{{"op", "GetRlapmCfg"}}, {{"op", "GetRlapmCfg"}, {"skip", 1}}}},
        {"retrieve-rlapm-number", {{{"op", "GetRlapmCfg"}}}},
        {"retrieve-sapm-info", {{{"op", "GetSapmCfg"}}, {{"op", "GetSapmCfg"}, {"skip", 1}}}},
        {"retrieve-sapm-number", {{{"op", "GetSapmCfg"}}}},
        {"retrieve-qos-info",
         {{{"op", "GetLocalInfo"}},
          {{"op", "GetNetInfo"}},
          {{"op", "ListFlows"}, {"rc", 0}, {"flowCode", 8}},
          {{"op", "ListFlows"}, {"rc", 0}, {"flowCode", 12}},
          {{"op", "ListFlows"}, {"rc", 0}, {"flowCode", 16}},
          {{"op", "ListFlows"}, {"times", 6}},
          {{"op", "QueryFlow"}, {"times", 6}}}},
    };
    for(const auto& [fn, faults] : refills) {
        for(const ojson& f : faults) {
            run_stale(fn, with_id(1), f);
        }
    }

    // A node of 40 flows whose list changes between its two batches; a
    // local node with more bridge entries than a node's list holds.
    ojson many = ojson::array();
    for(int k = 0; k < 40; k++) {
        char id[18];
        snprintf(id, sizeof(id), "02:00:00:00:00:%02x", k);
        many.push_back({{"flowId", id}, {"ingressGuid", "40:b8:9a:12:4c:e0"}});
    }
    ojson src = ojson::array();
    for(int k = 0; k < 70; k++) {
        char mac[18];
        snprintf(mac, sizeof(mac), "02:00:00:00:01:%02x", k);
        src.push_back({{"mac", mac}, {"nodeId", 0}});
    }
    patch({{"interfaces",
            {{"moca0", {{"nodes", {{"0", {{"flows", {{"list", many}}}}}}}, {"bridgeTables", {{"ucastSrc", src}}}}}}}});
    run_stale("retrieve-qos-info", MOCA0, {{"op", "ListFlows"}, {"skip", 1}, {"rc", 0}, {"flowUpdateCountDelta", 1}});
    run_stale("retrieve-qos-info", MOCA0, nullptr);
    run("retrieve-bridge-info", with_id(1));

    // The link down, for each table that tests it.
    patch({{"interfaces", {{"moca0", {{"localInfo", {{"linkStatus", 0}}}}}}}});
    for(const char* fn : {"retrieve-node-info", "retrieve-mesh-info", "retrieve-qos-info"}) {
        run_stale(fn, with_id(1), nullptr);
    }

    // Destruction, and unloading with records alive.
    run("destroy-moca-iface", MOCA0);
    run("destroy-moca-iface", MOCA0);
    unload_module();
    check(take_log(), {"mxl_module_stop", "mxl_iface_delete"}, "unload with records");
    ASSERT_TRUE(load_module());
    take_log();
}

TEST_F(FullWalk, EveryLineNamesItsFunction) {
    walk();
    for(const Message& m : MESSAGES) {
        if(UNREACHED.count(m.format) == 0) {
            EXPECT_TRUE(seen_.count(m.format) != 0) << "never logged: " << m.format;
        }
    }
}

TEST_F(FullWalk, EveryRecordReadFromTheChipStartsZeroed) {
    g_unclean.clear();
    walk();
    EXPECT_EQ(g_unclean, std::vector<std::string>{});
}

// A chip that counts more bridge entries than its table holds: the line shows
// the count it gave, the list holds what fits.
TEST_F(FullWalk, BridgeCountIsLoggedAsTheChipGaveIt) {
    create("moca0");
    fault({{"op", "GetBridgeTable"}, {"rc", 0}, {"times", 2}, {"set", {{"numEntries", 300}}}});
    Outcome out = call("retrieve-bridge-info", with_id(1));
    EXPECT_EQ(out.rc, 0);
    const std::vector<std::string> infos = out.messages(TRACE_LEVEL_INFO);
    EXPECT_NE(std::find(infos.begin(), infos.end(), "moca0: found 300 src unicast bridge entries for local node_id: 0"),
              infos.end());
    EXPECT_NE(std::find(infos.begin(), infos.end(), "moca0: found 300 src mcast bridge entries for local node_id: 0"),
              infos.end());
    const std::string list = out.value("MACAddresses").get<std::string>();
    EXPECT_EQ(std::count(list.begin(), list.end(), ','), 63);
}

} // namespace
