// SPDX-License-Identifier: BSD-2-Clause-Patent
// Interface status: static and dynamic information, traffic statistics,
// presence and availability of a chip interface.
#include <bit>

#include "mxl_frame.h"

// Names of the MoCA network states, indexed by the chip's state number.
constexpr const char* moca_network_states[] = {
    "unknown",
    "beginNodeAdmissionState",
    "newNodeTypeOneProbeTxState",
    "newNodeTypeOneProbeRxState",
    "newGcdDistributionState",
    "beginPhyProfileState",
    "steadyState",
    "typeThreeProbeState",
    "lmoTypeOneProbeState",
    "lmoNodeGcdDistributionState",
    "beginLmoPhyProfileState",
    "lmoGcdTypeOneProbeLinkState",
    "alternateChannelQuietLineState",
    "alternateChannelEvmProbeState",
    "unsolicitedProbeReportState",
    "beginUnsolicitedPhyProfileState",
    "rxDeterminedProbeState",
    "calibrationState",
};

namespace {

constexpr const char* SUPPORTED_BANDS = "bandFCBL,bandFSAT,bandE,bandExD";
// The maximum bit rate is known only from this firmware on.
constexpr uint8_t MAXBITRATE_FW_MAJOR = 1;
constexpr uint8_t MAXBITRATE_FW_MINOR = 18;
constexpr uint8_t MAXBITRATE_FW_PATCH = 16;
constexpr uint32_t ECB_BITRATE_2500 = 0x6; // bits 1 and 2 of debug15
constexpr uint32_t NODE_ID_BITS = (1u << MOCA_MAX_NODES) - 1;
constexpr uint32_t MAX_LISTED_NAMES = 16;

// Whether the chip's firmware version text is at least major.minor.patch.
// The text comes four characters to a word, first character in the top byte.
bool mxl_firmware_version_gte(const ClnkLib_LocalInfo_t* info, uint8_t major, uint8_t minor, uint8_t patch) {
    constexpr size_t LEN = 4 * CLNK_SOC_VERSION_WORDS;
    char text[LEN + 1];
    for(size_t i = 0; i < LEN; i++) {
        text[i] = static_cast<char>((info->socVersionStr[i / 4] >> (24 - 8 * (i % 4))) & 0xFF);
    }
    text[LEN] = '\0';
    signed char found[3] = {0, 0, 0};
    sscanf(text, "%hhd.%hhd.%hhd", &found[0], &found[1], &found[2]);
    const uint8_t f_major = static_cast<uint8_t>(found[0]);
    const uint8_t f_minor = static_cast<uint8_t>(found[1]);
    const uint8_t f_patch = static_cast<uint8_t>(found[2]);
    if(f_major != major) {
        return f_major > major;
    }
    if(f_minor != minor) {
        return f_minor > minor;
    }
    return f_patch >= patch;
}

// Low 32 bits of the sum of 16 per-node counters, each delivered with its halves exchanged.
uint32_t mxl_stats_sum(const uint64_t (&arr)[MAX_NUM_NODES]) {
    uint64_t sum = 0;
    for(uint64_t counter : arr) {
        sum += MOCA_MXL_SWAPLONG(counter);
    }
    return static_cast<uint32_t>(sum);
}

uint64_t swapped(uint64_t counter) {
    return MOCA_MXL_SWAPLONG(counter);
}

// 32-bit keys take the low half of the swapped counter.
uint32_t swapped_low(uint64_t counter) {
    return static_cast<uint32_t>(MOCA_MXL_SWAPLONG(counter));
}

uint32_t moca_max_bitrate(mxl_chip_t& chip, const ClnkLib_LocalInfo_t& local) {
    if(!mxl_firmware_version_gte(&local, MAXBITRATE_FW_MAJOR, MAXBITRATE_FW_MINOR, MAXBITRATE_FW_PATCH)) {
        return 0;
    }
    // The read's code is not examined: a failed read leaves the zeroed record.
    ClnkLib_EcbStats_t ecb{};
    (void) ClnkLib_GetEcbStats(chip.h(), 0, &ecb);
    return ((ecb.debug15 & ECB_BITRATE_2500) == ECB_BITRATE_2500) ? 2500 : 1000;
}

} // namespace

int mxl_static_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    mxl_chip_t chip;
    if(int rc = mxl_prologue_open(MXL_FN_RETRIEVE_STATIC, args, ret, &call, chip, "Get static data for %s", false);
       rc != 0) {
        return rc;
    }
    mxl_moca_iface_t* m = call.iface;
    ClnkLib_LocalInfo_t local{};
    ClnkLib_NetInfo_t net{};
    ClnkLib_PhyTxProfile_t bcast{};
    int32_t rc = MXL_CHIP_CALL(chip, ClnkLib_GetLocalInfo, &local);
    rc = (rc != 0) ? rc : MXL_CHIP_CALL(chip, ClnkLib_GetNetInfo, local.nodeId, &net);
    rc = (rc != 0)
             ? rc
             : MXL_CHIP_CALL(chip, ClnkLib_GetPhyTxProfile, local.nodeId, MOCA2_NPER_BROADCAST_PROFILE, 0, &bcast);
    if(rc != 0) {
        return rc;
    }

    mxl_copy(m->firmware_version, VERSION_PKG_STR);
    mxl_copy(m->supported_bands, SUPPORTED_BANDS);
    mxl_highest_version_text(m->highest_version, net);
    mxl_format(m->net_taboo_mask, "%016X", local.tabooMask);
    m->tx_bcast_power_reduction = (bcast.txProfileValid == 1) ? bcast.txTpcBackoff : 0;
    m->aggr_size = 0;
    m->max_ae_num = 0;
    m->max_ingress_pqos_flows = 0;
    m->max_egress_pqos_flows = 0;
    m->avb_capable = false;
    m->maxbitrate = moca_max_bitrate(chip, local);

    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_cstring_t(ret, "InternalName", m->name);
    amxc_var_add_new_key_cstring_t(ret, "FirmwareVersion", m->firmware_version);
    amxc_var_add_new_key_cstring_t(ret, "SupportedBands", m->supported_bands);
    amxc_var_add_new_key_uint32_t(ret, "MaxBitRate", m->maxbitrate);
    amxc_var_add_new_key_uint32_t(ret, "AggregationSize", m->aggr_size);
    amxc_var_add_new_key_uint32_t(ret, "AeNumber", m->max_ae_num);
    amxc_var_add_new_key_uint32_t(ret, "SupportedIngressPqosFlows", m->max_ingress_pqos_flows);
    amxc_var_add_new_key_uint32_t(ret, "SupportedEgressPqosFlows", m->max_egress_pqos_flows);
    amxc_var_add_new_key_cstring_t(ret, "HighestVersion", m->highest_version);
    amxc_var_add_new_key_cstring_t(ret, "FreqCapabilityMask", m->freq_cap_mask);
    amxc_var_add_new_key_cstring_t(ret, "NetworkTabooMask", m->net_taboo_mask);
    amxc_var_add_new_key_uint32_t(ret, "TxBcastPowerReduction", m->tx_bcast_power_reduction);
    amxc_var_add_new_key_bool(ret, "QAM256Capable", m->qam256_capable);
    amxc_var_add_new_key_bool(ret, "AvbSupport", m->avb_capable);
    amxc_var_add_new_key_uint32_t(ret, "PacketAggregationCapability", m->packet_aggr_capability);
    return 0;
}

int mxl_dyn_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    mxl_chip_t chip;
    if(int rc = mxl_prologue_open(MXL_FN_RETRIEVE_DYN, args, ret, &call, chip, "get dyn data for %s", false); rc != 0) {
        return rc;
    }
    mxl_moca_iface_t* m = call.iface;
    ClnkLib_LocalInfo_t local{};
    ClnkLib_ClnkCfgV2_t cfg{};
    ClnkLib_PhyMisc_t misc{};
    ClnkLib_PhyTxProfile_t bcast{};
    ClnkLib_CdInfo_t cd{};
    int32_t rc = MXL_CHIP_CALL(chip, ClnkLib_GetLocalInfo, &local);
    rc = (rc != 0) ? rc : MXL_CHIP_CALL(chip, ClnkLib_GetClnkCfgV2, 0, &cfg);
    rc = (rc != 0) ? rc : MXL_CHIP_CALL(chip, ClnkLib_GetPhyMisc, &misc);
    rc = (rc != 0)
             ? rc
             : MXL_CHIP_CALL(chip, ClnkLib_GetPhyTxProfile, local.nodeId, MOCA2_NPER_BROADCAST_PROFILE, 0, &bcast);
    rc = (rc != 0) ? rc : MXL_CHIP_CALL(chip, ClnkLib_GetCdInfo, local.nodeId, &cd);
    if(rc != 0) {
        return rc;
    }

    mxl_copy(m->status, (local.linkStatus != 0) ? "Up" : "Down");
    mxl_copy(m->pass_hash, "QRST");
    m->linkup_time = cd.linkUpTimeInSecs;
    m->max_ingress_bw = 0;
    m->max_egress_bw = 0;
    mxl_version_text(m->current_version, local.networkMocaVer);
    m->network_coord = local.ncNodeId;
    m->node_id = local.nodeId;
    m->backup_nc = local.backupNodeId;
    const uint32_t present = (local.activeNodeBitmask | local.sleepM1NodeBitmask) & NODE_ID_BITS;
    m->num_nodes = static_cast<uint32_t>(std::popcount(present));
    m->last_oper_freq = cfg.lof16;
    m->privacy_enabled = (cfg.securityMode != 0);
    m->cur_oper_freq = misc.currentOperatingFrequency;
    m->tx_bcast_rate = (bcast.txProfileValid == 1) ? bcast.txPhyrate : 0;
    mxl_copy(m->power_state_capability, "m0Active");
    m->reset_count = cd.resetCount;
    m->link_down_count = cd.linkLostCount;
    m->lmo_node_id = local.lmoNodeId;
    const bool known_state = local.networkState < std::size(moca_network_states);
    mxl_copy(m->network_state, known_state ? moca_network_states[local.networkState] : "undefined");
    m->primary_chan_offset = local.priChnOffset;
    m->secondary_chan_offset = local.secChnOffset;
    mxl_format(m->reset_reason, "MXL MoCA Reset reason code: %d / %#x", static_cast<int>(cd.resetLine), cd.resetEpc);
    mxl_copy(m->nc_version, "");
    mxl_copy(m->link_state, "000000");

    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_cstring_t(ret, "Status", m->status);
    amxc_var_add_new_key_cstring_t(ret, "PasswordHash", m->pass_hash);
    amxc_var_add_new_key_cstring_t(ret, "PowerStateCap", m->power_state_capability);
    amxc_var_add_new_key_uint32_t(ret, "LinkUpTime", m->linkup_time);
    amxc_var_add_new_key_uint32_t(ret, "MaxIngressBW", m->max_ingress_bw);
    amxc_var_add_new_key_uint32_t(ret, "MaxEgressBW", m->max_egress_bw);
    amxc_var_add_new_key_cstring_t(ret, "CurrentVersion", m->current_version);
    amxc_var_add_new_key_uint32_t(ret, "NetworkCoordinator", m->network_coord);
    amxc_var_add_new_key_uint32_t(ret, "NodeID", m->node_id);
    amxc_var_add_new_key_uint32_t(ret, "BackupNC", m->backup_nc);
    amxc_var_add_new_key_uint32_t(ret, "NumNodes", m->num_nodes);
    amxc_var_add_new_key_bool(ret, "PrivacyEnabled", m->privacy_enabled);
    amxc_var_add_new_key_cstring_t(ret, "FreqCurrentMask", m->freq_cur_mask);
    amxc_var_add_new_key_uint32_t(ret, "CurrentOperFreq", m->cur_oper_freq);
    amxc_var_add_new_key_uint32_t(ret, "LastOperFreq", m->last_oper_freq);
    amxc_var_add_new_key_uint32_t(ret, "TxBcastRate", m->tx_bcast_rate);
    amxc_var_add_new_key_uint32_t(ret, "ResetCount", m->reset_count);
    amxc_var_add_new_key_uint32_t(ret, "LinkDownCount", m->link_down_count);
    amxc_var_add_new_key_uint32_t(ret, "LmoNodeID", m->lmo_node_id);
    amxc_var_add_new_key_cstring_t(ret, "NetworkState", m->network_state);
    amxc_var_add_new_key_int32_t(ret, "PrimaryChannelOffset", m->primary_chan_offset);
    amxc_var_add_new_key_int32_t(ret, "SecondaryChannelOffset", m->secondary_chan_offset);
    amxc_var_add_new_key_cstring_t(ret, "ResetReason", m->reset_reason);
    amxc_var_add_new_key_cstring_t(ret, "NcVersion", m->nc_version);
    amxc_var_add_new_key_cstring_t(ret, "LinkState", m->link_state);
    return 0;
}

int mxl_stats_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    ClnkLib_DataStats_t stats{};
    mxl_call_t call;
    mxl_chip_t chip;
    if(int rc = mxl_prologue_open(MXL_FN_RETRIEVE_STATS, args, ret, &call, chip, nullptr, false); rc != 0) {
        return rc;
    }
    if(int32_t rc = MXL_CHIP_CALL(chip, ClnkLib_GetDataStats, 0, &stats); rc != 0) {
        return rc;
    }
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_uint64_t(ret, "BroadcastPacketsReceived", mxl_stats_sum(stats.rxBcastPkts));
    amxc_var_add_new_key_uint64_t(ret, "BroadcastPacketsSent", swapped(stats.txBcastPkts));
    amxc_var_add_new_key_uint64_t(ret, "BytesReceived", swapped(stats.rxTotalBytes));
    amxc_var_add_new_key_uint64_t(ret, "BytesSent", swapped(stats.txTotalBytes));
    amxc_var_add_new_key_uint32_t(ret, "DiscardPacketsReceived", swapped_low(stats.rxDroppedPkts));
    amxc_var_add_new_key_uint32_t(ret, "DiscardPacketsSent", swapped_low(stats.txDroppedPkts));
    amxc_var_add_new_key_uint32_t(ret, "ErrorsReceived", swapped_low(stats.rxDroppedPkts));
    amxc_var_add_new_key_uint32_t(ret, "ErrorsSent", swapped_low(stats.txDroppedPkts));
    amxc_var_add_new_key_uint64_t(ret, "MulticastPacketsReceived", mxl_stats_sum(stats.rxMcastPkts));
    amxc_var_add_new_key_uint64_t(ret, "MulticastPacketsSent", swapped(stats.txMcastPkts));
    amxc_var_add_new_key_uint64_t(ret, "PacketsReceived", swapped(stats.rxTotalPkts));
    amxc_var_add_new_key_uint64_t(ret, "PacketsSent", swapped(stats.txTotalPkts));
    amxc_var_add_new_key_uint64_t(ret, "UnicastPacketsReceived", mxl_stats_sum(stats.rxUcastPkts));
    amxc_var_add_new_key_uint64_t(ret, "UnicastPacketsSent", mxl_stats_sum(stats.txUcastPkts));
    amxc_var_add_new_key_uint32_t(ret, "UnknownProtoPacketsReceived", 0);
    return 0;
}

int mxl_is_available(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_IS_AVAILABLE, args, ret, &call) != 0) {
        return -1;
    }
    // A name that can't be opened is an answer, not an error: no log line.
    mxl_chip_t chip(call.ifname);
    return amxc_var_set_bool(ret, chip.open(true) == 0);
}

int mxl_is_present(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_IS_PRESENT, args, ret, &call) != 0) {
        return -1;
    }
    char name[MOCA_NAME_LEN];
    mxl_copy(name, call.ifname);
    ClnkLib_Name_t names[MAX_LISTED_NAMES] = {};
    int32_t count = ClnkLib_ListNames(names, MAX_LISTED_NAMES);
    if(count < 0) {
        mxl_log_error("'ClnkLib_ListNames' failed to execute");
        return count;
    }
    bool found = false;
    for(int32_t i = 0; (i < count) && (static_cast<uint32_t>(i) < MAX_LISTED_NAMES); i++) {
        found = found || (strncmp(names[i].ifName, name, sizeof(names[i].ifName)) == 0);
    }
    amxc_var_set_bool(ret, found);
    return 0;
}
