// SPDX-License-Identifier: BSD-2-Clause-Patent
// Module entry: load and unload hooks, the function table and the common
// argument checks that every registered function runs first.
#include "mxl_frame.h"

amxc_llist_t* mxl_moca_ifaces = nullptr;

namespace {

constexpr const char* NODE_ID_RANGE = "Passed nodeid is out of range";
constexpr const char* ENTRY_ID_RANGE = "Passed entryId is out of range";
constexpr const char* ENTRY_ID_ZERO = "Passed zero entryIde";
constexpr const char* FLOW_ID_RANGE = "Passed flowId is out of range";

} // namespace

// Registration order is part of the module's interface.
const mxl_function_t mxl_functions[MXL_FN_COUNT] = {
    {"create-moca-iface", mxl_iface_create, false, false, 0, nullptr, nullptr},
    {"destroy-moca-iface", mxl_iface_destroy, false, false, 0, nullptr, nullptr},
    {"set-cfg-info", mxl_cfg_info_set, false, true, 0, nullptr, nullptr},
    {"retrieve-cfg-info", mxl_cfg_info_retrieve, true, true, 0, nullptr, nullptr},
    {"retrieve-static-info", mxl_static_info_retrieve, true, true, 0, nullptr, nullptr},
    {"retrieve-dyn-info", mxl_dyn_info_retrieve, true, true, 0, nullptr, nullptr},
    {"retrieve-qos-info", mxl_qos_info_retrieve, true, true, 0, nullptr, nullptr},
    {"retrieve-flow-info", mxl_flow_info_retrieve, true, true, MOCA_MAX_FLOWS, FLOW_ID_RANGE, FLOW_ID_RANGE},
    {"retrieve-rlapm-number", mxl_rlapm_entries_number, true, true, 0, nullptr, nullptr},
    {"retrieve-rlapm-info", mxl_rlapm_info_retrieve, true, true, MOCA_MAX_RLAPM_ENTRIES, ENTRY_ID_ZERO, ENTRY_ID_RANGE},
    {"retrieve-sapm-number", mxl_sapm_entries_number, true, true, 0, nullptr, nullptr},
    {"retrieve-sapm-info", mxl_sapm_info_retrieve, true, true, MOCA_MAX_SAPM_ENTRIES, ENTRY_ID_ZERO, ENTRY_ID_RANGE},
    {"retrieve-node-info", mxl_node_info_retrieve, true, true, MOCA_MAX_NODES, NODE_ID_RANGE, NODE_ID_RANGE},
    {"retrieve-mesh-info", mxl_mesh_info_retrieve, true, true, MOCA_MAX_NODES* MOCA_MAX_NODES, ENTRY_ID_RANGE,
     ENTRY_ID_RANGE},
    {"retrieve-bridge-info", mxl_bridge_info_retrieve, true, true, MOCA_MAX_NODES, NODE_ID_RANGE, NODE_ID_RANGE},
    {"retrieve-stats-info", mxl_stats_retrieve, true, true, 0, nullptr, nullptr},
    {"is-available", mxl_is_available, true, false, 0, nullptr, nullptr},
    {"is-present", mxl_is_present, true, false, 0, nullptr, nullptr},
};

int mxl_prologue(mxl_fn_t fn, const amxc_var_t* args, const amxc_var_t* ret, mxl_call_t* call, const char* site_func,
                 const char* site_file, int site_line) {
    const mxl_function_t& row = mxl_functions[fn];
#define MXL_REFUSE(msg)                                                                                                \
    do {                                                                                                               \
        mxl_trace_at(TRACE_LEVEL_ERROR, site_func, site_file, site_line, "%s", msg);                                   \
        return -1;                                                                                                     \
    } while(0)

    *call = mxl_call_t{};
    if(row.checks_ret && (ret == nullptr)) {
        return -1;
    }
    if(args == nullptr) {
        MXL_REFUSE("Passed args is NULL");
    }
    if(amxc_var_type_of(args) != AMXC_VAR_ID_HTABLE) {
        MXL_REFUSE("args is not an htable");
    }
    call->ifname = amxc_var_get_const_cstring_t(amxc_var_get_key(args, "InternalName", AMXC_VAR_FLAG_DEFAULT));
    if(call->ifname == nullptr) {
        MXL_REFUSE("Passed interface name is NULL");
    }
    if(row.id_max != 0) {
        uint32_t id = amxc_var_get_uint32_t(amxc_var_get_key(args, "Id", AMXC_VAR_FLAG_DEFAULT));
        if(id == 0) {
            MXL_REFUSE(row.id_zero_msg);
        }
        if(id > row.id_max) {
            MXL_REFUSE(row.id_range_msg);
        }
        call->index = id - 1;
    }
    if(row.looks_up) {
        call->iface = find_mxl_moca_iface_by_name(call->ifname);
        if(call->iface == nullptr) {
            MXL_REFUSE("Unable to find a mxl iface by name");
        }
    }
    return 0;
#undef MXL_REFUSE
}

int mxl_prologue_open(mxl_fn_t fn, const amxc_var_t* args, const amxc_var_t* ret, mxl_call_t* call, mxl_chip_t& chip,
                      const char* request, bool request_first, const char* site_func, const char* site_file,
                      int site_line) {
    if(mxl_prologue(fn, args, ret, call, site_func, site_file, site_line) != 0) {
        return -1;
    }
    mxl_copy(chip.name, call->iface->name);
    if((request != nullptr) && request_first) {
        mxl_trace_at(TRACE_LEVEL_INFO, site_func, site_file, site_line, request, chip.name);
    }
    int32_t rc = chip.open(false, site_func, site_file, site_line);
    if((rc == 0) && (request != nullptr) && !request_first) {
        mxl_trace_at(TRACE_LEVEL_INFO, site_func, site_file, site_line, request, chip.name);
    }
    return rc;
}

AMXM_CONSTRUCTOR mxl_module_start(void) {
    amxm_shared_object_t* so = amxm_so_get_current();
    amxm_module_t* mod = nullptr;

    amxc_llist_new(&mxl_moca_ifaces);
    amxm_module_register(&mod, so, "moca-ctrl");
    for(const mxl_function_t& row : mxl_functions) {
        amxm_module_add_function(mod, row.name, row.handler);
    }
    mxl_log_notice("Module loaded");
    return 0;
}

AMXM_DESTRUCTOR mxl_module_stop(void) {
    mxl_log_notice("Module stopped");
    amxc_llist_delete(&mxl_moca_ifaces, mxl_iface_delete);
    return 0;
}
