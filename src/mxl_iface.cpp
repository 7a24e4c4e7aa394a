// SPDX-License-Identifier: BSD-2-Clause-Patent
// Interface registry: creation, lookup and deletion of interface records with
// their six cache timers, and the cache mechanism the table functions share.
#include <cstdlib>

#include "mxl_frame.h"

namespace {

struct cache_timer_t {
    amxp_timer_t* mxl_moca_iface_t::*field;
    const char* name;
};

// Creation order; deletion at destruction runs in this order too.
constexpr cache_timer_t cache_timers[] = {
    {&mxl_moca_iface_t::rlapm_timer, "rlapm_timer"},     {&mxl_moca_iface_t::sapm_timer, "sapm_timer"},
    {&mxl_moca_iface_t::mesh_timer, "mesh_timer"},       {&mxl_moca_iface_t::flows_timer, "flows_timer"},
    {&mxl_moca_iface_t::bridges_timer, "bridges_timer"}, {&mxl_moca_iface_t::nodes_timer, "nodes_timer"},
};

// The creation steps log on behalf of mxl_iface_create, at `at`.
int mxl_iface_init(mxl_moca_iface_t* moca_if, const char* name, const mxl_site_t& at) {
    mxl_log_at(at, TRACE_LEVEL_INFO, "initializing mxl moca info for name: %s", name);
    // Interface names have at most 15 characters: the chip library's limit.
    if((name[0] == '\0') || (strnlen(name, MOCA_NAME_LEN) >= MOCA_NAME_LEN)) {
        return -1;
    }
    mxl_copy(moca_if->name, name);
    moca_if->enable = (mxl_iface_is_enabled(moca_if) != 0);
    mxl_log_at(at, TRACE_LEVEL_APP_INFO, "The interface '%s' is %s at init", name,
               moca_if->enable ? "enabled" : "disabled");
    return 0;
}

int mxl_iface_create_timers(mxl_moca_iface_t* moca_if, const mxl_site_t& at) {
    for(size_t i = 0; i < std::size(cache_timers); i++) {
        int rc = amxp_timer_new(&(moca_if->*cache_timers[i].field), table_cache_expire, nullptr);
        if(rc != 0) {
            mxl_log_at(at, TRACE_LEVEL_ERROR, "Failed to allocate %s: %d", cache_timers[i].name, rc);
            // After the first, the timers made so far go too, latest first.
            for(size_t j = (i > 0) ? std::size(cache_timers) : 0; j > 0; j--) {
                amxp_timer_delete(&(moca_if->*cache_timers[j - 1].field));
            }
            return rc;
        }
    }
    return 0;
}

} // namespace

mxl_moca_iface_t* find_mxl_moca_iface_by_name(const char* ifname) {
    if((mxl_moca_ifaces == nullptr) || (ifname == nullptr)) {
        return nullptr;
    }
    amxc_llist_iterate(it, mxl_moca_ifaces) {
        mxl_moca_iface_t* moca_if = amxc_container_of(it, mxl_moca_iface_t, it);
        if(strcmp(moca_if->name, ifname) == 0) {
            return moca_if;
        }
    }
    return nullptr;
}

// Only the code of the local-info read counts: none of its fields is used.
int mxl_iface_is_enabled(mxl_moca_iface_t* moca_if) {
    mxl_chip_t chip(moca_if->name);
    ClnkLib_LocalInfo_t info{};
    return (mxl_chip_open_local(chip, &info) == 0) ? 1 : 0;
}

void table_cache_expire(amxp_timer_t* /*timer*/, void* /*priv*/) {
    mxl_log_info("timer fired");
}

int mxl_iface_create(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_CREATE_IFACE, args, ret, &call) != 0) {
        return -1;
    }
    if(find_mxl_moca_iface_by_name(call.ifname) != nullptr) {
        mxl_log_notice("The mxl moca interface '%s' already exists", call.ifname);
        return 0;
    }
    mxl_log_info("creating mxl moca info for name: %s", call.ifname);
    auto* moca_if = static_cast<mxl_moca_iface_t*>(calloc(1, sizeof(mxl_moca_iface_t)));
    if(moca_if == nullptr) {
        mxl_log_error("Unable to allocate memory");
        return -1;
    }
    if(mxl_iface_init(moca_if, call.ifname, mxl_here()) != 0) {
        mxl_log_error("Failed to initialize mxl moca interface: %s", call.ifname);
        free(moca_if);
        return -1;
    }
    if(amxc_llist_append(mxl_moca_ifaces, &moca_if->it) != 0) {
        mxl_log_error("Unable to allocate memory");
        free(moca_if);
        return -1;
    }
    int rc = mxl_iface_create_timers(moca_if, mxl_here());
    if(rc != 0) {
        amxc_llist_it_take(&moca_if->it);
        free(moca_if);
        return rc;
    }
    mxl_log_notice("allocated mxl moca info for interface %s", moca_if->name);
    return 0;
}

int mxl_iface_destroy(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_DESTROY_IFACE, args, ret, &call) != 0) {
        return -1;
    }
    mxl_log_info("destroy mxl moca info for name: %s", call.ifname);
    mxl_moca_iface_t* moca_if = find_mxl_moca_iface_by_name(call.ifname);
    if(moca_if == nullptr) {
        mxl_log_error("mxl interface is not found");
        return -1;
    }
    mxl_log_notice("%s:Remove from the list and free memory", moca_if->name);
    amxc_llist_it_clean(&moca_if->it, mxl_iface_delete);
    return 0;
}

void mxl_iface_delete(amxc_llist_it_t* it) {
    mxl_moca_iface_t* moca_if = amxc_container_of(it, mxl_moca_iface_t, it);
    mxl_log_notice("deallocating mxl moca info for %s", moca_if->name);
    for(const cache_timer_t& timer : cache_timers) {
        amxp_timer_delete(&(moca_if->*timer.field));
    }
    free(moca_if);
}

void mxl_cache_arm(mxl_moca_iface_t* moca_if, const mxl_table_t& table, const char* site_func, const char* site_file,
                   int site_line) {
    amxp_timer_t* timer = moca_if->*table.timer;
    amxp_timer_start(timer, table.validity_s * 1000);
    if(table.fill != nullptr) {
        mxl_trace_at(TRACE_LEVEL_INFO, site_func, site_file, site_line, "armed timer for %d",
                     static_cast<int>(amxp_timer_remaining_time(timer)));
    }
}

int mxl_cache_refresh(mxl_moca_iface_t* moca_if, const mxl_table_t& table, bool* report, const char* site_func,
                      const char* site_file, int site_line) {
    if(amxp_timer_get_state(moca_if->*table.timer) == amxp_timer_running) {
        return 0;
    }
    if(table.routine != nullptr) {
        int rc = table.routine(moca_if);
        if(rc != 0) {
            mxl_trace_at(TRACE_LEVEL_ERROR, site_func, site_file, site_line, "%s", table.failure);
        }
        return rc;
    }
    mxl_chip_t chip(moca_if->name);
    int32_t rc = chip.open(false, site_func, site_file, site_line);
    if(rc != 0) {
        *report = false;
        return rc;
    }
    rc = table.fill(chip, moca_if, mxl_site_t{site_func, site_file, site_line});
    if(rc == 0) {
        mxl_cache_arm(moca_if, table, site_func, site_file, site_line);
    }
    return rc;
}
