// SPDX-License-Identifier: BSD-2-Clause-Patent
// The module frame: logging, the function table and its common argument
// checks, the interface registry, the chip handle guard, the table caches and
// bounded text helpers. Every unit of the module builds on this header.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

#include <amxc/amxc.h>
#include <amxm/amxm.h>
#include <amxp/amxp_timer.h>

#include <clnkapi.h>
#include <nolotrace.h>

#include "mxl_moca.h"

#define MXL_EXPORT __attribute__((visibility("default")))

// ---- logging --------------------------------------------------------------------------------
// Every line is framed as: colour, zone (7 characters), colour, " - ", colour,
// "[mark]", colours, message, colour, " - ", colour, "(function@file:line)", colour.
// The colour strings are empty. Errors and warnings go through noloTrace,
// everything else through noloTraceZ with the zone.
#define MXL_ZONE "korvane"
#define MXL_FRAME_HEAD "%s%-7.7s%s - %s[%s]%s%s"
#define MXL_FRAME_TAIL "%s - %s(%s@%s:%d)%s"
#ifdef __FILE_NAME__
#define MXL_FILE __FILE_NAME__
#else
#define MXL_FILE __FILE__
#endif

// clang-format off
// The arguments that follow the level (and zone) of one framed line.
#define MXL_TRACE_ARGS_(mark, fmt, ...) \
    MXL_FRAME_HEAD fmt MXL_FRAME_TAIL, "", MXL_ZONE, "", "", mark, "", "" __VA_OPT__(, ) __VA_ARGS__, "", "", \
        __func__, MXL_FILE, __LINE__, ""

#define mxl_log_error(fmt, ...)   noloTrace(TRACE_LEVEL_ERROR, MXL_TRACE_ARGS_("x", fmt __VA_OPT__(, ) __VA_ARGS__))
#define mxl_log_warning(fmt, ...) noloTrace(TRACE_LEVEL_WARNING, MXL_TRACE_ARGS_("!", fmt __VA_OPT__(, ) __VA_ARGS__))
#define mxl_log_notice(fmt, ...)  noloTraceZ(TRACE_LEVEL_NOTICE, MXL_ZONE, MXL_TRACE_ARGS_("n", fmt __VA_OPT__(, ) __VA_ARGS__))
#define mxl_log_appinfo(fmt, ...) noloTraceZ(TRACE_LEVEL_APP_INFO, MXL_ZONE, MXL_TRACE_ARGS_("I", fmt __VA_OPT__(, ) __VA_ARGS__))
#define mxl_log_info(fmt, ...)    noloTraceZ(TRACE_LEVEL_INFO, MXL_ZONE, MXL_TRACE_ARGS_("i", fmt __VA_OPT__(, ) __VA_ARGS__))
#define mxl_log_debug(fmt, ...)   noloTraceZ(TRACE_LEVEL_DEBUG, MXL_ZONE, MXL_TRACE_ARGS_("d", fmt __VA_OPT__(, ) __VA_ARGS__))

// The same frame for a line logged on behalf of a caller: shared helpers pass
// their caller's function, file and line (defaulted with __builtin_FUNCTION()
// and friends), so that a line names the function that made the request.
#define MXL_CALLER_SITE \
    const char *site_func = __builtin_FUNCTION(), const char *site_file = __builtin_FILE(), \
    int site_line = __builtin_LINE()
// clang-format on
void mxl_trace_at(int level, const char* func, const char* file, int line, const char* fmt, ...)
    __attribute__((format(printf, 5, 6)));

// A caller's site as one value, for helpers that log on behalf of the
// function whose work they do: mxl_here() taken there names that function.
struct mxl_site_t {
    const char* func;
    const char* file;
    int line;
};
inline mxl_site_t mxl_here(MXL_CALLER_SITE) {
    return {site_func, site_file, site_line};
}
#define MXL_AT(site) (site).func, (site).file, (site).line
#define mxl_log_at(site, level, fmt, ...) mxl_trace_at(level, MXL_AT(site), fmt __VA_OPT__(, ) __VA_ARGS__)

// ---- load and unload hooks, registered functions ----------------------------------------------
int mxl_module_start(void);
int mxl_module_stop(void);
int mxl_iface_create(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_iface_destroy(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_cfg_info_set(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_cfg_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_static_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_dyn_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_qos_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_flow_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_rlapm_entries_number(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_rlapm_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_sapm_entries_number(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_sapm_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_node_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_mesh_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_bridge_info_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_stats_retrieve(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_is_available(const char* function_name, amxc_var_t* args, amxc_var_t* ret);
int mxl_is_present(const char* function_name, amxc_var_t* args, amxc_var_t* ret);

// Rows of the function table, in registration order.
enum mxl_fn_t : uint8_t {
    MXL_FN_CREATE_IFACE,
    MXL_FN_DESTROY_IFACE,
    MXL_FN_SET_CFG,
    MXL_FN_RETRIEVE_CFG,
    MXL_FN_RETRIEVE_STATIC,
    MXL_FN_RETRIEVE_DYN,
    MXL_FN_RETRIEVE_QOS,
    MXL_FN_RETRIEVE_FLOW,
    MXL_FN_RLAPM_NUMBER,
    MXL_FN_RLAPM_INFO,
    MXL_FN_SAPM_NUMBER,
    MXL_FN_SAPM_INFO,
    MXL_FN_RETRIEVE_NODE,
    MXL_FN_RETRIEVE_MESH,
    MXL_FN_RETRIEVE_BRIDGE,
    MXL_FN_RETRIEVE_STATS,
    MXL_FN_IS_AVAILABLE,
    MXL_FN_IS_PRESENT,
    MXL_FN_COUNT
};

// What the common checks need to know of one registered function.
typedef struct {
    const char* name; // registered name
    amxm_callback_t handler;
    bool checks_ret;          // an absent ret is refused (silently, -1)
    bool looks_up;            // the record is found ("Unable to find a mxl iface by name")
    uint32_t id_max;          // 0: no "Id" argument; else "Id" must be 1..id_max
    const char* id_zero_msg;  // error for "Id" 0 or missing
    const char* id_range_msg; // error for "Id" above id_max
} mxl_function_t;

extern const mxl_function_t mxl_functions[MXL_FN_COUNT];

// What the common checks hand to the function body.
typedef struct {
    const char* ifname;      // "InternalName", owned by args
    mxl_moca_iface_t* iface; // the record (rows that look it up)
    uint32_t index;          // "Id" - 1 (rows with an "Id")
} mxl_call_t;

// Runs the common checks of row `fn` in order: ret, args, htable, "InternalName",
// "Id", record. Returns 0, or -1 after logging the failure once (an absent ret
// is not logged). Nothing is written into ret.
int mxl_prologue(mxl_fn_t fn, const amxc_var_t* args, const amxc_var_t* ret, mxl_call_t* call, MXL_CALLER_SITE);

struct mxl_chip_t;
// The opening steps of a registered function that works on the chip: the
// common checks, `chip` opened on the record's name, and the request line
// (none when null) logged before the open when `request_first`, else after it.
// Returns 0, or -1 for a bad call or the open's code, logged once.
int mxl_prologue_open(mxl_fn_t fn, const amxc_var_t* args, const amxc_var_t* ret, mxl_call_t* call, mxl_chip_t& chip,
                      const char* request, bool request_first, MXL_CALLER_SITE);

// ---- registry ---------------------------------------------------------------------------------
extern amxc_llist_t* mxl_moca_ifaces;
mxl_moca_iface_t* find_mxl_moca_iface_by_name(const char* ifname);
void mxl_iface_delete(amxc_llist_it_t* it);
int mxl_iface_is_enabled(mxl_moca_iface_t* moca_if);
void table_cache_expire(amxp_timer_t* timer, void* priv);

// ---- table caches -------------------------------------------------------------------------------
// How one cached table is refilled when its timer does not run (a table is
// fresh only while it runs). Nodes, bridges and flows have a refill routine
// of their own that opens the chip and arms the timer; the report logs
// `failure` when it fails. The mesh and margin tables are refilled inside
// their report by `fill`, on a handle opened for it.
typedef struct {
    amxp_timer_t* mxl_moca_iface_t::*timer;
    unsigned validity_s; // the table's *_TABLE_DATA_VALIDITY_INTERVAL
    int (*routine)(mxl_moca_iface_t* moca_if);
    const char* failure;
    int32_t (*fill)(mxl_chip_t& chip, mxl_moca_iface_t* moca_if, const mxl_site_t& at);
} mxl_table_t;

int mxl_get_nodes_info(mxl_moca_iface_t* moca_if);
int mxl_get_bridges_info(mxl_moca_iface_t* moca_if);
int mxl_get_flows(mxl_moca_iface_t* moca_if);

// Refills a table unless its timer runs. Returns 0 or the refill's code;
// *report (required for a table filled inside its report) is false when the
// report's own open failed: nothing is to be reported then.
int mxl_cache_refresh(mxl_moca_iface_t* moca_if, const mxl_table_t& table, bool* report = nullptr, MXL_CALLER_SITE);
// Marks a refilled table fresh; a table refilled inside its report logs
// "armed timer for %d".
void mxl_cache_arm(mxl_moca_iface_t* moca_if, const mxl_table_t& table, MXL_CALLER_SITE);

// ---- chip handle ------------------------------------------------------------------------------
// One chip library handle for the length of one call: the name is cut to 15
// characters, the handle is closed on every path out of the scope.
struct mxl_chip_t {
    ClnkLib_Handle_t handle{};
    char name[MOCA_NAME_LEN]{};
    bool opened = false;
    bool attempted = false;
    bool close_after_failed_open = false; // some routines close even a handle whose open failed

    explicit mxl_chip_t(const char* ifname = nullptr);
    ~mxl_chip_t();
    mxl_chip_t(const mxl_chip_t&) = delete;
    mxl_chip_t& operator=(const mxl_chip_t&) = delete;

    // ClnkLib_OpenByName; a failure is logged "%s: ClnkLib_OpenByName failed with rc=%d"
    // unless `quiet`. Returns the library's code.
    int32_t open(bool quiet = false, MXL_CALLER_SITE);
    void close();
    ClnkLib_Handle_t* h() { return &handle; }
    // Passes a chip library code on; a failure is logged once at error level
    // as "<name>: <op> failed with rc=<code>".
    int32_t check(int32_t rc, const char* op, MXL_CALLER_SITE);
};

// Makes one chip library request on the guard's handle and checks its code:
// if(int32_t rc = MXL_CHIP_CALL(chip, ClnkLib_GetLocalInfo, &info); rc != 0) ...
#define MXL_CHIP_CALL(chip, op, ...) (chip).check(op((chip).h() __VA_OPT__(, ) __VA_ARGS__), #op)
// The same on behalf of the function at `site`.
#define MXL_CHIP_CALL_AT(site, chip, op, ...) (chip).check(op((chip).h() __VA_OPT__(, ) __VA_ARGS__), #op, MXL_AT(site))

// The start of a table refill: opens the chip and reads the local node's view
// of the network. Returns 0 or the code of the failing request, logged once;
// `chip.opened` tells an open failure from a failed read.
int32_t mxl_chip_open_local(mxl_chip_t& chip, ClnkLib_LocalInfo_t* local, MXL_CALLER_SITE);
// The start of a refill routine: without a record "moca_if is NULL" and -1;
// otherwise as mxl_chip_open_local on the record's name.
int32_t mxl_refill_start(const mxl_moca_iface_t* moca_if, mxl_chip_t& chip, ClnkLib_LocalInfo_t* local,
                         MXL_CALLER_SITE);

// ---- text helpers -----------------------------------------------------------------------------
// Copies at most N-1 characters and always terminates. A NULL source gives "".
template <size_t N>
inline void mxl_copy(char (&dst)[N], const char* src) {
    size_t i = 0;
    if(src != nullptr) {
        for(; i + 1 < N && src[i] != '\0'; i++) {
            dst[i] = src[i];
        }
    }
    dst[i] = '\0';
}

// snprintf bounded by the destination array.
template <size_t N>
__attribute__((format(printf, 2, 3))) inline int mxl_format(char (&dst)[N], const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    int len = vsnprintf(dst, N, fmt, ap);
    va_end(ap);
    return len;
}

// Appends src when it fits whole; returns false (and changes nothing) otherwise.
template <size_t N>
inline bool mxl_append(char (&dst)[N], const char* src) {
    size_t used = strnlen(dst, N);
    size_t add = strlen(src);
    if(used + add + 1 > N) {
        return false;
    }
    memcpy(dst + used, src, add + 1);
    return true;
}

// "aa:bb:cc:dd:ee:ff" from the chip library's two-word form.
void mxl_mac_text(char (&dst)[MOCA_MAC_TEXT_LEN], uint32_t hi, uint32_t lo);
// "%d.%d" of a MoCA version byte (major in bits 7-4, minor in bits 3-0).
void mxl_version_text(char (&dst)[16], uint32_t moca_ver);
// A node's highest MoCA version: "1.2" for a MoCA 1.1 node announcing the 1.2
// protocol bits, its version byte's text otherwise.
void mxl_highest_version_text(char (&dst)[16], const ClnkLib_NetInfo_t& net);
