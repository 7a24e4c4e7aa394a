// SPDX-License-Identifier: BSD-2-Clause-Patent
// Records, limits and constants of the MXL371x MoCA control module.
//
// The interface record holds everything the module keeps per interface: the
// last values read from the chip and the six cached tables with their timers.
// It is allocated zero-filled once per interface and never resized.
#pragma once

#include <cstdint>

#include <amxc/amxc.h>
#include <amxp/amxp_timer.h>

#include <clnkapi.h>

#include "mxl_moca_limits.h"

// ---- cache validity, seconds --------------------------------------------------------------
#define RLAPM_TABLE_DATA_VALIDITY_INTERVAL 10
#define SAPM_TABLE_DATA_VALIDITY_INTERVAL 10
#define NODES_TABLE_DATA_VALIDITY_INTERVAL 10
#define MESH_TABLE_DATA_VALIDITY_INTERVAL 10
#define BRIDGES_TABLE_DATA_VALIDITY_INTERVAL 10
#define FLOWS_TABLE_DATA_VALIDITY_INTERVAL 10

// ---- PHY profile types --------------------------------------------------------------------
#define MOCA1_UNICAST_PROFILE 0x7
#define MOCA1_BROADCAST_PROFILE 0x8
#define MOCA2_NPER_UNICAST_PROFILE 0xd
#define MOCA2_NPER_BROADCAST_PROFILE 0xe
#define MOCA2_NPER_UNICAST_BONDED_PROFILE 0x12

// ---- a node's version byte and protocol support bits (ClnkLib_NetInfo_t) ----------------------
#define MOCA_VERSION_MAJOR_BITS 0xF0
#define MOCA_VERSION_1 0x10
#define MOCA_VERSION_11 0x11
#define MOCA_PROTO_PREFERRED_NC 0x40
#define MOCA_PROTO_VERSION_BITS 0x180
#define MOCA_PROTO_MOCA12 0x80 // a 1.1 node that speaks 1.2
#define MOCA_PROTO_BONDING 0x200

// ---- fixed texts ----------------------------------------------------------------------------
#define VERSION_PKG_STR "MXL371x_MHOST_v3.11.25_FW_v1.18.16"

// The chip library delivers 64-bit counters with their 32-bit halves exchanged.
#define MOCA_MXL_SWAPLONG(x)                                                                                           \
    ((((uint64_t) (x) &0x00000000ffffffffULL) << 32) | (((uint64_t) (x) &0xffffffff00000000ULL) >> 32))

// ---- table records ------------------------------------------------------------------------
typedef struct {
    char mac_addr[MOCA_MAC_TEXT_LEN];
    uint32_t node_id;
    bool preferred_nc;
    char highest_version[16];
    uint32_t phy_tx_rate;
    uint32_t phy_rx_rate;
    uint32_t tx_power_control_reduction;
    uint32_t rx_power_level;
    uint32_t tx_bcast_rate;
    int32_t rx_bcast_power_level;
    uint64_t tx_packets;
    uint32_t tx_drops;
    uint64_t rx_packets;
    uint64_t rx_corrected;
    uint32_t rx_errored_and_missed_packets;
    bool bonding_capable;
    bool qam256_capable;
    uint32_t packet_aggr_capability;
    uint32_t rx_snr;
    uint32_t max_ingress_pqos_flows;
    uint32_t max_egress_pqos_flows;
    uint32_t aggr_size;
    uint32_t max_ae_num;
    char power_state[16];
    char power_state_capability[16];
    bool active;
    bool moca25_phy_capable;
} mxl_moca_node_t;

typedef struct {
    uint32_t tx_rate;
    uint32_t tx_rate_nper;
    uint32_t tx_rate_vlper;
} mxl_moca_mesh_entry_t;

typedef struct {
    mxl_moca_mesh_entry_t entry[MOCA_MAX_NODES]; // indexed by receiving node id
} mxl_moca_mesh_t;

typedef struct {
    uint32_t node_id;
    char mac_addresses[MOCA_MAX_BRIDGE_ENTRIES_PER_NODE * MOCA_MAC_TEXT_LEN];
} mxl_moca_bridge_t;

typedef struct {
    bool enable;
    uint32_t profile;
    uint32_t freq;
    uint32_t garpl;
    uint32_t phy_margin;
    char status[16];
} mxl_moca_rlapm_entry_t;

typedef struct {
    bool enable;
    uint32_t profile;
    uint32_t freq;
    uint32_t aggr_rx_pwr_level_threshold;
    char phy_margin[4 * MAX_MINI_SAPM_MARGIN_LEN + 1];
    char status[16];
} mxl_moca_sapm_entry_t;

typedef struct {
    char flow_id[MOCA_MAC_TEXT_LEN];
    char packet_da[MOCA_MAC_TEXT_LEN];
    uint32_t max_rate;
    uint32_t max_burst_size;
    uint32_t lease_time;
    uint32_t tag;
    uint32_t lease_time_left;
    uint32_t flow_packets;
    char ingress_guid[MOCA_MAC_TEXT_LEN];
    char egress_guid[MOCA_MAC_TEXT_LEN];
    uint32_t max_latency;
    uint32_t short_term_avg_ratio;
    uint32_t flow_per;
    char ingress_classify[64];
    uint32_t vlan_tag;
    uint32_t dscp;
    uint32_t dfid;
} mxl_moca_flow_t;

// ---- the interface record -----------------------------------------------------------------
typedef struct {
    char name[MOCA_NAME_LEN];
    char firmware_version[64];
    char supported_bands[128];
    uint32_t maxbitrate;
    uint32_t aggr_size;
    uint32_t max_ae_num;
    uint32_t max_ingress_pqos_flows;
    uint32_t max_egress_pqos_flows;
    char highest_version[16];
    char freq_cap_mask[17];
    char net_taboo_mask[17];
    uint32_t tx_bcast_power_reduction;
    bool qam256_capable;
    bool avb_capable;
    uint32_t packet_aggr_capability;
    bool enable;
    bool preferred_nc;
    bool privacy_enabled;
    uint32_t tpc_phy_rate_nper;
    char freq_cur_mask[17];
    char keyphrase[18];
    uint32_t tx_power_limit;
    uint32_t power_cntl_phy_target;
    int32_t beacon_power_limit;
    char node_taboo_mask[17];
    amxp_timer_t* rlapm_timer;
    uint32_t rlapm_num;
    mxl_moca_rlapm_entry_t rlapm[MOCA_MAX_RLAPM_ENTRIES];
    amxp_timer_t* sapm_timer;
    uint32_t sapm_num;
    mxl_moca_sapm_entry_t sapm[MOCA_MAX_SAPM_ENTRIES];
    char status[8];
    char pass_hash[5];
    char power_state_capability[16];
    uint32_t linkup_time;
    uint32_t max_ingress_bw;
    uint32_t max_egress_bw;
    char current_version[16];
    uint32_t network_coord;
    uint32_t node_id;
    uint32_t backup_nc;
    uint32_t num_nodes;
    uint32_t cur_oper_freq;
    uint32_t last_oper_freq;
    uint32_t tx_bcast_rate;
    uint32_t reset_count;
    uint32_t link_down_count;
    uint32_t lmo_node_id;
    char network_state[32];
    int32_t primary_chan_offset;
    int32_t secondary_chan_offset;
    char reset_reason[80];
    char nc_version[64];
    char link_state[7];
    uint32_t ingress_num_flows;
    uint32_t egress_num_flows;
    amxp_timer_t* flows_timer;
    mxl_moca_flow_t flows[MOCA_MAX_FLOWS];
    amxp_timer_t* nodes_timer;
    mxl_moca_node_t nodes[MOCA_MAX_NODES];
    amxp_timer_t* mesh_timer;
    mxl_moca_mesh_t meshes[MOCA_MAX_NODES];
    amxp_timer_t* bridges_timer;
    mxl_moca_bridge_t bridges[MOCA_MAX_NODES];
    amxc_llist_it_t it;
} mxl_moca_iface_t;

static_assert(MOCA_MAX_RLAPM_ENTRIES == 8064);
static_assert(MOCA_MAX_SAPM_ENTRIES == 64);
static_assert(sizeof(((mxl_moca_bridge_t*) nullptr)->mac_addresses) == 1152);
static_assert(sizeof(((mxl_moca_sapm_entry_t*) nullptr)->phy_margin) == 1025);
