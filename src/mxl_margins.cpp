// SPDX-License-Identifier: BSD-2-Clause-Patent
// PHY margin tables: RLAPM (margins by receive level) and SAPM (margins by
// sub-carrier). Both tables have one shape: a counting routine on a handle of
// its own, a refill that reads the configuration, counts and flattens the rows
// in use into the cached table, and a report of one cached entry. The shape is
// written once below; a traits record per table gives what differs.
#include <span>
#include <type_traits>

#include "mxl_frame.h"

int rlapm_table_size(const char* ifname, uint32_t* profile_validity, uint32_t* num_entries);
int sapm_table_size(const char* ifname, uint32_t* profile_validity, uint32_t* num_entries);

namespace {

// The shared code below logs on behalf of the registered function or routine
// that it works for, whose site it is given.

constexpr uint32_t min_u32(uint32_t a, uint32_t b) {
    return (a < b) ? a : b;
}

// The status of every entry a refill writes; a fixed copy, since a full RLAPM
// refill writes it 8064 times.
constexpr char ACTIVE[] = "active";
template <size_t N>
void mark_active(char (&status)[N]) {
    static_assert(sizeof(ACTIVE) <= N);
    memcpy(status, ACTIVE, sizeof(ACTIVE));
}

// ---- per-table traits ---------------------------------------------------------------------

struct rlapm_kind {
    using cfg_t = ClnkLib_RlapmStaticCfgV2_t;
    using entry_t = mxl_moca_rlapm_entry_t;
    static constexpr const char* tag = "rlapm";
    static constexpr const char* read_op = "ClnkLib_GetRlapmCfg";
    static constexpr const char* size_fn = "rlapm_table_size";
    static constexpr const char* number_key = "RlapmNumberOfEntries";
    static constexpr mxl_fn_t number_fn = MXL_FN_RLAPM_NUMBER;
    static constexpr mxl_fn_t info_fn = MXL_FN_RLAPM_INFO;
    static constexpr uint32_t per_row = MAX_RX_LEVELS_PADDED; // one entry per receive level
    static constexpr size_t capacity = MOCA_MAX_RLAPM_ENTRIES;
    static constexpr bool close_after_failed_open = true;
    static constexpr int (*table_size)(const char*, uint32_t*, uint32_t*) = rlapm_table_size;

    static int32_t read(ClnkLib_Handle_t* h, cfg_t* cfg) { return ClnkLib_GetRlapmCfg(h, cfg); }
    static constexpr amxp_timer_t* mxl_moca_iface_t::*timer = &mxl_moca_iface_t::rlapm_timer;
    static constexpr unsigned validity_s = RLAPM_TABLE_DATA_VALIDITY_INTERVAL;
    static uint32_t& num(mxl_moca_iface_t& m) { return m.rlapm_num; }
    static std::span<entry_t, capacity> table(mxl_moca_iface_t& m) { return m.rlapm; }

    // The levels of one row; levels above 65 all report 65, margins are halved
    // and capped at 60.
    static void fill_row(std::span<entry_t, per_row> out, uint32_t profile, const MXL_MOCA_RLAPM_TABLE_V2_T& row,
                         uint32_t, const mxl_site_t&) {
        for(uint32_t r = 0; r < per_row; r++) {
            entry_t& e = out[r];
            e.enable = true;
            e.profile = profile;
            e.freq = row.freq;
            e.garpl = min_u32(r, MOCA_RLAPM_GARPL_MAX_VALUE);
            e.phy_margin = min_u32(row.phymargin[r] / 2u, MOCA_RLAPM_PHY_MARGIN_MAX_VALUE);
            mark_active(e.status);
        }
    }

    static void report_level(amxc_var_t* ret, const entry_t& e) {
        amxc_var_add_new_key_uint32_t(ret, "GlobalAggrRxPwrLevel", e.garpl);
        amxc_var_add_new_key_uint32_t(ret, "PhyMargin", e.phy_margin);
    }
};

// "v,v,...,v" of the first `count` margin bytes, each capped at 60.
void sapm_margin_text(char (&dst)[sizeof(mxl_moca_sapm_entry_t::phy_margin)],
                      const uint8_t (&margins)[MAX_MINI_SAPM_MARGIN_LEN], uint32_t count) {
    // A capped value has at most two digits: the whole list fits with room to spare.
    static_assert(3 * MAX_MINI_SAPM_MARGIN_LEN < sizeof(dst));
    size_t used = 0;
    for(uint32_t k = 0; k < count && k < MAX_MINI_SAPM_MARGIN_LEN; k++) {
        uint32_t v = min_u32(margins[k], MOCA_SAPM_PHY_MARGIN_MAX_VALUE);
        if(v >= 10) {
            dst[used++] = static_cast<char>('0' + v / 10);
        }
        dst[used++] = static_cast<char>('0' + v % 10);
        dst[used++] = ',';
    }
    // The last value's comma goes.
    dst[(used > 0) ? used - 1 : 0] = '\0';
}

struct sapm_kind {
    using cfg_t = ClnkLib_SapmStaticCfgV2_t;
    using entry_t = mxl_moca_sapm_entry_t;
    static constexpr const char* tag = "sapm";
    static constexpr const char* read_op = "ClnkLib_GetSapmCfg";
    static constexpr const char* size_fn = "sapm_table_size";
    static constexpr const char* number_key = "SapmNumberOfEntries";
    static constexpr mxl_fn_t number_fn = MXL_FN_SAPM_NUMBER;
    static constexpr mxl_fn_t info_fn = MXL_FN_SAPM_INFO;
    static constexpr uint32_t per_row = 1;
    static constexpr size_t capacity = MOCA_MAX_SAPM_ENTRIES;
    static constexpr bool close_after_failed_open = false;
    static constexpr int (*table_size)(const char*, uint32_t*, uint32_t*) = sapm_table_size;

    static int32_t read(ClnkLib_Handle_t* h, cfg_t* cfg) { return ClnkLib_GetSapmCfg(h, cfg); }
    static constexpr amxp_timer_t* mxl_moca_iface_t::*timer = &mxl_moca_iface_t::sapm_timer;
    static constexpr unsigned validity_s = SAPM_TABLE_DATA_VALIDITY_INTERVAL;
    static uint32_t& num(mxl_moca_iface_t& m) { return m.sapm_num; }
    static std::span<entry_t, capacity> table(mxl_moca_iface_t& m) { return m.sapm; }

    // Margins of the sub-carriers from `scstart` on, taken from the start of
    // the row's array. A start beyond the array leaves no margin at all.
    static uint32_t margin_count(int32_t scstart) {
        if(scstart <= 0) {
            return MAX_MINI_SAPM_MARGIN_LEN;
        }
        return (scstart < MAX_MINI_SAPM_MARGIN_LEN) ? MAX_MINI_SAPM_MARGIN_LEN - static_cast<uint32_t>(scstart) : 0;
    }

    static void fill_row(std::span<entry_t, per_row> out, uint32_t profile, const MXL_MOCA_SAPM_TABLE_V2_T& row,
                         uint32_t index, const mxl_site_t& site) {
        entry_t& e = out[0];
        uint32_t count = margin_count(row.scstart);
        sapm_margin_text(e.phy_margin, row.phymargin, count);
        mxl_log_at(site, TRACE_LEVEL_INFO, "Sapm entry[%d] sc_index_max:%d MAX_MINI_SAPM_MARGIN_LEN %d",
                   static_cast<int>(index), static_cast<int>(count), MAX_MINI_SAPM_MARGIN_LEN);
        e.enable = true;
        e.profile = profile;
        e.freq = row.freq;
        e.aggr_rx_pwr_level_threshold = min_u32(row.threshold, MOCA_SAPM_ARPLTHLD_MAX_VALUE);
        mark_active(e.status);
    }

    static void report_level(amxc_var_t* ret, const entry_t& e) {
        amxc_var_add_new_key_uint32_t(ret, "AggrRxPwrLevelThreshold", e.aggr_rx_pwr_level_threshold);
        amxc_var_add_new_key_cstring_t(ret, "PhyMargin", e.phy_margin);
    }
};

// ---- the shared shape -----------------------------------------------------------------------

template <class K>
constexpr uint32_t profile_count = std::extent_v<decltype(K::cfg_t::profiles)>;
template <class K>
constexpr uint32_t row_count = std::extent_v<decltype(K::cfg_t::profiles[0].tbl)>;

// Every row of every profile in use fits the cached table.
static_assert(profile_count<rlapm_kind> * row_count<rlapm_kind> * rlapm_kind::per_row == rlapm_kind::capacity);
static_assert(profile_count<sapm_kind> * row_count<sapm_kind> * sapm_kind::per_row == sapm_kind::capacity);
static_assert(profile_count<rlapm_kind> <= 32 && profile_count<sapm_kind> <= 32);

// Counts the rows in use on a handle of its own: bit p of the mask for every
// profile p with a row in use, per_row entries per row. The outputs are
// written only on success.
template <class K>
int table_size(const char* ifname, uint32_t* profile_validity, uint32_t* num_entries, const mxl_site_t& site) {
    mxl_chip_t chip(ifname);
    chip.close_after_failed_open = K::close_after_failed_open;
    int32_t rc = chip.open(false, MXL_AT(site));
    if(rc != 0) {
        return rc;
    }
    typename K::cfg_t cfg{};
    rc = chip.check(K::read(chip.h(), &cfg), K::read_op, MXL_AT(site));
    if(rc != 0) {
        return rc;
    }
    uint32_t mask = 0;
    uint32_t count = 0;
    for(uint32_t p = 0; p < profile_count<K>; p++) {
        for(const auto& row : cfg.profiles[p].tbl) {
            if(row.freq != 0) {
                count += K::per_row;
                mask |= 1u << p;
            }
        }
    }
    *profile_validity = mask;
    *num_entries = count;
    return 0;
}

// Writes per_row entries for every row in use of `cfg` in the profiles of
// `mask`, in profile then row order, from the start of the cached table.
template <class K>
void flatten(const typename K::cfg_t& cfg, uint32_t mask, std::span<typename K::entry_t, K::capacity> table,
             const mxl_site_t& site) {
    uint32_t i = 0;
    for(uint32_t p = 0; p < profile_count<K>; p++) {
        if((mask & (1u << p)) == 0) {
            continue;
        }
        for(const auto& row : cfg.profiles[p].tbl) {
            if(row.freq != 0) {
                K::fill_row(table.subspan(i).template first<K::per_row>(), p, row, i, site);
                i += K::per_row;
            }
        }
    }
}

// Reads the configuration on the report's open handle, counts it again on a
// second handle and rebuilds the cached table. A failed read leaves the table
// as it was.
template <class K>
int32_t refill(mxl_chip_t& chip, mxl_moca_iface_t* moca_if, const mxl_site_t& site) {
    typename K::cfg_t cfg{};
    int32_t rc = chip.check(K::read(chip.h(), &cfg), K::read_op, MXL_AT(site));
    if(rc != 0) {
        return rc;
    }
    uint32_t mask = 0;
    rc = K::table_size(chip.name, &mask, &K::num(*moca_if));
    if(rc != 0) {
        mxl_log_at(site, TRACE_LEVEL_ERROR, "%s: %s failed with rc=%d", chip.name, K::size_fn, rc);
        return rc;
    }
    flatten<K>(cfg, mask, K::table(*moca_if), site);
    return 0;
}

template <class K>
constexpr mxl_table_t cache_table{K::timer, K::validity_s, nullptr, nullptr, refill<K>};

template <class K>
void report_entry(amxc_var_t* ret, const typename K::entry_t& e) {
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_bool(ret, "Enable", e.enable);
    amxc_var_add_new_key_uint32_t(ret, "Profile", e.profile);
    amxc_var_add_new_key_uint32_t(ret, "Frequency", e.freq);
    K::report_level(ret, e);
    amxc_var_add_new_key_cstring_t(ret, "Status", e.status);
}

// "retrieve-*-number": counts on the chip on every call, whatever the cache.
template <class K>
int entries_number(amxc_var_t* args, amxc_var_t* ret, const mxl_site_t& site) {
    mxl_call_t call;
    if(mxl_prologue(K::number_fn, args, ret, &call, MXL_AT(site)) != 0) {
        return -1;
    }
    uint32_t mask = 0;
    int rc = K::table_size(call.ifname, &mask, &K::num(*call.iface));
    if(rc != 0) {
        mxl_log_at(site, TRACE_LEVEL_ERROR, "%s: %s failed with rc=%d", call.ifname, K::size_fn, rc);
    }
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_uint32_t(ret, K::number_key, K::num(*call.iface));
    return rc;
}

// "retrieve-*-info": one entry, from the cache while its timer runs, after a
// refill otherwise. After a failed refill the cached entry is still reported.
template <class K>
int info_retrieve(amxc_var_t* args, amxc_var_t* ret, const mxl_site_t& site) {
    mxl_call_t call;
    if(mxl_prologue(K::info_fn, args, ret, &call, MXL_AT(site)) != 0) {
        return -1;
    }
    mxl_moca_iface_t& moca_if = *call.iface;
    mxl_log_at(site, TRACE_LEVEL_INFO, "get %s for id %d data for %s, timer state=%d", K::tag,
               static_cast<int>(call.index), moca_if.name, static_cast<int>(amxp_timer_get_state(moca_if.*K::timer)));
    bool report = true;
    int rc = mxl_cache_refresh(&moca_if, cache_table<K>, &report, MXL_AT(site));
    if(!report) {
        return rc;
    }
    // The prologue bounds the index by the table's capacity.
    report_entry<K>(ret, K::table(moca_if)[call.index]);
    return rc;
}

} // namespace

int rlapm_table_size(const char* ifname, uint32_t* profile_validity, uint32_t* num_entries) {
    return table_size<rlapm_kind>(ifname, profile_validity, num_entries, mxl_here());
}

int sapm_table_size(const char* ifname, uint32_t* profile_validity, uint32_t* num_entries) {
    return table_size<sapm_kind>(ifname, profile_validity, num_entries, mxl_here());
}

int mxl_rlapm_entries_number(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    return entries_number<rlapm_kind>(args, ret, mxl_here());
}

int mxl_rlapm_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    return info_retrieve<rlapm_kind>(args, ret, mxl_here());
}

int mxl_sapm_entries_number(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    return entries_number<sapm_kind>(args, ret, mxl_here());
}

int mxl_sapm_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    return info_retrieve<sapm_kind>(args, ret, mxl_here());
}
