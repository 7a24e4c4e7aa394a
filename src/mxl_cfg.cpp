// SPDX-License-Identifier: BSD-2-Clause-Patent
// Configuration: applying one setting to the chip by masked read, compare and
// write, and reporting the chip's configuration.
#include <cstdlib>

#include "mxl_frame.h"

namespace {

// What one "set-cfg-info" call works on. The mask and the configuration
// record start zeroed: a masked write sends only the options marked here.
// The settings' lines are logged on behalf of "set-cfg-info", at `at`.
struct cfg_call_t {
    mxl_chip_t& chip;
    mxl_moca_iface_t* iface;
    const char* ifname;
    mxl_site_t at;
    clnk_param_mask_t mask;
    ClnkLib_ClnkCfgV2_t cfg;
    bool commit;
};

struct cfg_setting_t;
using cfg_apply_fn = int32_t (*)(const cfg_setting_t& row, cfg_call_t& c, const amxc_var_t* value);

// One setting of "set-cfg-info".
struct cfg_setting_t {
    const char* key = nullptr;
    cfg_apply_fn apply = nullptr;
    bool text = false; // a key that holds no text is ignored
    // Option settings only: `take` stores the requested value in the record
    // and returns what the chip field should hold.
    uint32_t (*take)(const cfg_call_t& c, const amxc_var_t* value) = nullptr;
    const char* field = nullptr; // chip field, named in the info line
    uint32_t (*chip_get)(const ClnkLib_ClnkCfgV2_t& cfg) = nullptr;
    void (*chip_put)(ClnkLib_ClnkCfgV2_t& cfg, uint32_t v) = nullptr; // the assignment cuts v to the field
    uint32_t opt_first = 0;                                           // options marked in the mask
    uint32_t opt_last = 0;
    const char* read_label = nullptr; // nullptr: written without reading the chip
    bool hex = false;                 // info line shows the value in hexadecimal
};

int32_t apply_enable(const cfg_setting_t& /*row*/, cfg_call_t& c, const amxc_var_t* value) {
    mxl_moca_iface_t* m = c.iface;
    mxl_log_at(c.at, TRACE_LEVEL_INFO, "Set enable on %s %s", m->enable ? "enabled" : "disabled", c.ifname);
    bool wanted = amxc_var_get_bool(value);
    if(wanted == m->enable) {
        return 0;
    }
    int32_t rc = wanted ? MXL_CHIP_CALL_AT(c.at, c.chip, ClnkLib_Start) : MXL_CHIP_CALL_AT(c.at, c.chip, ClnkLib_Stop);
    if(rc == 0) {
        m->enable = wanted;
        mxl_log_at(c.at, TRACE_LEVEL_INFO, "%s: %s: returned rc=%d", c.ifname,
                   wanted ? "ClnkLib_Start" : "ClnkLib_Stop", rc);
    }
    return rc;
}

// Stores the value, reads the option from the chip (unless it is always
// written) and marks the record for writing only when the chip differs.
int32_t apply_option(const cfg_setting_t& row, cfg_call_t& c, const amxc_var_t* value) {
    uint32_t wanted = row.take(c, value);
    for(uint32_t opt = row.opt_first; opt <= row.opt_last; opt++) {
        SET_PARAM_BIT(&c.mask, opt);
    }
    if(row.read_label != nullptr) {
        int32_t rc = ClnkLib_GetClnkCfgV2Params(c.chip.h(), &c.mask, &c.cfg);
        if(rc != 0) {
            mxl_log_at(c.at, TRACE_LEVEL_ERROR, "%s: ClnkLib_GetClnkCfgV2Params for %s failed rc=%d", c.ifname,
                       row.read_label, rc);
            return rc;
        }
        if(row.chip_get(c.cfg) == wanted) {
            return 0;
        }
    }
    row.chip_put(c.cfg, wanted);
    uint32_t sent = row.chip_get(c.cfg);
    if(row.hex) {
        mxl_log_at(c.at, TRACE_LEVEL_INFO, "Set %s=0x%x", row.field, sent);
    } else {
        mxl_log_at(c.at, TRACE_LEVEL_INFO, "Set %s=%d", row.field, static_cast<int>(sent));
    }
    c.commit = true;
    return 0;
}

// Kept for reporting only: nothing goes to the chip.
int32_t apply_freq_mask(const cfg_setting_t& /*row*/, cfg_call_t& c, const amxc_var_t* value) {
    mxl_copy(c.iface->freq_cur_mask, amxc_var_get_const_cstring_t(value));
    mxl_log_at(c.at, TRACE_LEVEL_INFO, "Set freq_cur_mask=%s", c.iface->freq_cur_mask);
    return 0;
}

// The pass phrase goes into every band's slot that differs from it. The
// slots are not read first, so they are compared with the cleared record.
int32_t apply_passphrase(const cfg_setting_t& /*row*/, cfg_call_t& c, const amxc_var_t* value) {
    const char* phrase = c.iface->keyphrase;
    static_assert(sizeof(c.iface->keyphrase) <= CLNK_PASSWORD_LEN);
    mxl_copy(c.iface->keyphrase, amxc_var_get_const_cstring_t(value));
    for(uint32_t slot = 0; slot < CLNK_NUM_PASSWORDS; slot++) {
        char* text = reinterpret_cast<char*>(c.cfg.mocaPassword[slot]);
        if(strncmp(text, phrase, CLNK_PASSWORD_LEN) == 0) {
            continue;
        }
        uint32_t opt = OPT_MOCA_PASSWD_D + slot;
        SET_PARAM_BIT(&c.mask, opt);
        c.commit = true;
        mxl_log_at(c.at, TRACE_LEVEL_INFO, "Set keyphrase=%s for band %d", phrase, static_cast<int>(opt));
        memcpy(text, phrase, strlen(phrase) + 1);
    }
    return 0;
}

uint32_t take_preferred_nc(const cfg_call_t& c, const amxc_var_t* value) {
    c.iface->preferred_nc = amxc_var_get_bool(value);
    return c.iface->preferred_nc ? 1 : 0;
}

uint32_t take_privacy(const cfg_call_t& c, const amxc_var_t* value) {
    c.iface->privacy_enabled = amxc_var_get_bool(value);
    return c.iface->privacy_enabled ? 0xFF : 0x00;
}

uint32_t take_tpc_target(const cfg_call_t& c, const amxc_var_t* value) {
    return c.iface->tpc_phy_rate_nper = amxc_var_get_uint32_t(value);
}

uint32_t take_tx_power_limit(const cfg_call_t& c, const amxc_var_t* value) {
    return c.iface->tx_power_limit = amxc_var_get_uint32_t(value);
}

uint32_t take_phy_target(const cfg_call_t& c, const amxc_var_t* value) {
    return c.iface->power_cntl_phy_target = amxc_var_get_uint32_t(value);
}

uint32_t take_beacon_power(const cfg_call_t& c, const amxc_var_t* value) {
    uint32_t v = amxc_var_get_uint32_t(value);
    c.iface->beacon_power_limit = static_cast<int32_t>(v);
    return v;
}

// The text is kept as given (cut to the field); the chip gets its number, base 16, low 24 bits.
uint32_t take_taboo_mask(const cfg_call_t& c, const amxc_var_t* value) {
    mxl_moca_iface_t* m = c.iface;
    mxl_copy(m->node_taboo_mask, amxc_var_get_const_cstring_t(value));
    mxl_log_at(c.at, TRACE_LEVEL_INFO, "Set node_taboo_mask=%s", m->node_taboo_mask);
    return static_cast<uint32_t>(strtoul(m->node_taboo_mask, nullptr, 16)) & 0xFFFFFFu;
}

// Accessors of a configuration record field (bit fields have no address).
// clang-format off
#define CFG_FIELD(f)                                                                               \
    .field = #f, .chip_get = [](const ClnkLib_ClnkCfgV2_t& cfg) -> uint32_t { return cfg.f; },       \
    .chip_put = [](ClnkLib_ClnkCfgV2_t& cfg, uint32_t v) { cfg.f = static_cast<decltype(cfg.f)>(v); }
#define CFG_OPTION(opt) .opt_first = (opt), .opt_last = (opt)

// The settings in the order their keys are looked for; the first present one is applied.
constexpr cfg_setting_t cfg_settings[] = {
    {.key = "Enable", .apply = apply_enable},
    {.key = "PreferredNC", .apply = apply_option, .take = take_preferred_nc, CFG_FIELD(preferredNcMode),
     CFG_OPTION(OPT_PREFER_NC_MODE), .read_label = "PreferredNC"},
    {.key = "PrivacyEnabledSetting", .apply = apply_option, .take = take_privacy, CFG_FIELD(securityMode),
     .opt_first = OPT_SECURITY_MODE, .opt_last = OPT_SECURITY_MODE_CUSTOM, .hex = true},
    {.key = "TpcTargetRateNper", .apply = apply_option, .take = take_tpc_target, CFG_FIELD(tgtP2pNperRate),
     CFG_OPTION(OPT_TARGETP2PRATENPER), .read_label = "tgtP2pNperRate"},
    {.key = "FreqCurrentMaskSetting", .apply = apply_freq_mask, .text = true},
    {.key = "KeyPassphrase", .apply = apply_passphrase, .text = true},
    {.key = "TxPowerLimit", .apply = apply_option, .take = take_tx_power_limit, CFG_FIELD(maxTxPwr),
     CFG_OPTION(OPT_MAX_TX_POW), .read_label = "maxTxPwr"},
    {.key = "PowerCntlPhyTarget", .apply = apply_option, .take = take_phy_target, CFG_FIELD(tgtP2p50Rate),
     CFG_OPTION(OPT_TARGETP2PRATE50), .read_label = "tgtP2p50Rate"},
    {.key = "BeaconPowerLimit", .apply = apply_option, .take = take_beacon_power, CFG_FIELD(beaconTxPwr),
     CFG_OPTION(OPT_BEACON_TX_POW), .read_label = "beaconTxPwr"},
    {.key = "NodeTabooMask", .apply = apply_option, .text = true, .take = take_taboo_mask, CFG_FIELD(tabooMask),
     CFG_OPTION(OPT_TABOO_MASK), .read_label = "tabooMask", .hex = true},
};

#undef CFG_FIELD
#undef CFG_OPTION
// clang-format on

} // namespace

int mxl_cfg_info_set(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    mxl_chip_t chip;
    if(int rc = mxl_prologue_open(MXL_FN_SET_CFG, args, ret, &call, chip, "Setting for interface: %s", true); rc != 0) {
        return rc;
    }
    cfg_call_t c{chip, call.iface, call.ifname, mxl_here(), {}, {}, false};
    for(const cfg_setting_t& row : cfg_settings) {
        const amxc_var_t* value = amxc_var_get_key(args, row.key, AMXC_VAR_FLAG_DEFAULT);
        if(value == nullptr) {
            continue;
        }
        if(row.text && (amxc_var_get_const_cstring_t(value) == nullptr)) {
            return 0;
        }
        int32_t rc = row.apply(row, c, value);
        if((rc != 0) || !c.commit) {
            return rc;
        }
        mxl_log_info("Loading data to chip...");
        rc = ClnkLib_SetClnkCfgV2Params(chip.h(), &c.mask, &c.cfg);
        if(rc != 0) {
            // One text for every key: hosts match on it.
            mxl_log_error("%s: ClnkLib_SetClnkCfgV2Params for PreferredNC failed rc=%d", call.ifname, rc);
        }
        return rc;
    }
    return 0;
}

int mxl_cfg_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    mxl_chip_t chip;
    if(int rc = mxl_prologue_open(MXL_FN_RETRIEVE_CFG, args, ret, &call, chip, "get cfg data for %s", false); rc != 0) {
        return rc;
    }
    mxl_moca_iface_t* m = call.iface;
    ClnkLib_ClnkCfgV2_t cfg{};
    if(int32_t rc = MXL_CHIP_CALL(chip, ClnkLib_GetClnkCfgV2, 0, &cfg); rc != 0) {
        return rc;
    }

    m->preferred_nc = (cfg.preferredNcMode != 0);
    m->privacy_enabled = (cfg.securityMode != 0);
    m->tpc_phy_rate_nper = cfg.tgtP2pNperRate;
    // The band slot whose pass phrase is reported.
    constexpr size_t REPORTED_PASSWORD_SLOT = 5;
    static_assert(REPORTED_PASSWORD_SLOT < CLNK_NUM_PASSWORDS && sizeof(m->keyphrase) <= CLNK_PASSWORD_LEN);
    mxl_copy(m->keyphrase, reinterpret_cast<const char*>(cfg.mocaPassword[REPORTED_PASSWORD_SLOT]));
    m->tx_power_limit = cfg.maxTxPwr;
    m->power_cntl_phy_target = cfg.tgtP2p50Rate;
    m->beacon_power_limit = cfg.beaconTxPwr;
    mxl_format(m->node_taboo_mask, "%016X", static_cast<unsigned>(cfg.tabooMask));

    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_bool(ret, "Enable", m->enable);
    amxc_var_add_new_key_bool(ret, "PreferredNC", m->preferred_nc);
    amxc_var_add_new_key_bool(ret, "PrivacyEnabledSetting", m->privacy_enabled);
    amxc_var_add_new_key_uint32_t(ret, "TpcTargetRateNper", m->tpc_phy_rate_nper);
    amxc_var_add_new_key_cstring_t(ret, "FreqCurrentMaskSetting", m->freq_cur_mask);
    amxc_var_add_new_key_cstring_t(ret, "KeyPassphrase", m->keyphrase);
    amxc_var_add_new_key_uint32_t(ret, "TxPowerLimit", m->tx_power_limit);
    amxc_var_add_new_key_uint32_t(ret, "PowerCntlPhyTarget", m->power_cntl_phy_target);
    amxc_var_add_new_key_uint32_t(ret, "BeaconPowerLimit", static_cast<uint32_t>(m->beacon_power_limit));
    amxc_var_add_new_key_cstring_t(ret, "NodeTabooMask", m->node_taboo_mask);
    return 0;
}
