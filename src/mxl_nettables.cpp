// SPDX-License-Identifier: BSD-2-Clause-Patent
// Network tables: the associated nodes, the mesh of PHY rates between nodes and
// the nodes' bridge tables. Each is read whole from the chip, kept in the
// interface record and served from there while its timer runs.
#include <span>

#include "mxl_frame.h"

namespace {

constexpr uint32_t BRIDGE_NODE_ID_BITS = 0xFFFF;
constexpr uint32_t FMR_REQUEST_FLAGS = 2;
constexpr const char* POWER_STATE_ACTIVE = "m0Active";

bool has_node(uint32_t mask, uint32_t node) {
    return ((mask >> node) & 1u) != 0;
}

// ---- associated nodes ---------------------------------------------------------------------

// One transmit/receive PHY profile pair of a node.
struct profile_pair_t {
    ClnkLib_PhyTxProfile_t tx;
    ClnkLib_PhyRxProfile_t rx;

    bool valid() const { return (tx.txProfileValid != 0) && (rx.rxProfileValid != 0); }
};

// A profile type to try; bonded profiles only for nodes that can bond.
struct profile_choice_t {
    uint32_t type;
    bool bonded_only;
};

// Profiles per node kind, in reading order: each next one replaces the pair
// read so far only while that pair is not valid.
struct profile_plan_t {
    std::span<const profile_choice_t> bcast;
    std::span<const profile_choice_t> ucast;
};

constexpr profile_choice_t MOCA1_BCAST[] = {{MOCA1_BROADCAST_PROFILE, false}};
constexpr profile_choice_t MOCA1_UCAST[] = {{MOCA1_UNICAST_PROFILE, false}};
constexpr profile_choice_t MOCA2_BCAST[] = {{MOCA2_NPER_BROADCAST_PROFILE, false}, {MOCA1_BROADCAST_PROFILE, false}};
constexpr profile_choice_t MOCA2_UCAST[] = {
    {MOCA2_NPER_UNICAST_BONDED_PROFILE, true}, {MOCA2_NPER_UNICAST_PROFILE, false}, {MOCA1_UNICAST_PROFILE, false}};
constexpr profile_plan_t MOCA1_PLAN{MOCA1_BCAST, MOCA1_UCAST};
constexpr profile_plan_t MOCA2_PLAN{MOCA2_BCAST, MOCA2_UCAST};

// The helpers of a refill log on behalf of the function doing the refill, at `at`.
int32_t read_profile_pair(mxl_chip_t& chip, uint32_t node, uint32_t type, profile_pair_t* pair, const mxl_site_t& at) {
    *pair = profile_pair_t{};
    int32_t rc = ClnkLib_GetPhyTxProfile(chip.h(), node, type, 0, &pair->tx);
    if(rc != 0) {
        mxl_log_at(at, TRACE_LEVEL_ERROR, "%s: ClnkLib_GetPhyTxProfile for nodeId=%d failed with rc=%d", chip.name,
                   node, rc);
        return rc;
    }
    rc = ClnkLib_GetPhyRxProfile(chip.h(), node, type, 0, &pair->rx);
    if(rc != 0) {
        mxl_log_at(at, TRACE_LEVEL_ERROR, "%s: ClnkLib_GetPhyRxProfile for nodeId=%d failed with rc=%d", chip.name,
                   node, rc);
    }
    return rc;
}

// Reads the choices in order until a valid pair; the last pair read is kept
// even when it is not valid.
int32_t select_profile(mxl_chip_t& chip, uint32_t node, std::span<const profile_choice_t> choices, bool bonding,
                       profile_pair_t* pair, const mxl_site_t& at) {
    bool read = false;
    for(const profile_choice_t& choice : choices) {
        if(choice.bonded_only && !bonding) {
            continue;
        }
        if(read && pair->valid()) {
            break;
        }
        if(int32_t rc = read_profile_pair(chip, node, choice.type, pair, at); rc != 0) {
            return rc;
        }
        read = true;
    }
    return 0;
}

template <typename T>
T if_valid(uint32_t valid, T value) {
    return (valid != 0) ? value : T{};
}

// Fills a cleared slot from what the chip told about its node.
void fill_node(mxl_moca_node_t* slot, const ClnkLib_NetInfo_t& net, const profile_pair_t& bcast,
               const profile_pair_t& ucast) {
    slot->active = true;
    mxl_highest_version_text(slot->highest_version, net);
    slot->moca25_phy_capable = (strcmp(slot->highest_version, "2.5") == 0);
    mxl_mac_text(slot->mac_addr, net.guidHi, net.guidLo);
    slot->preferred_nc = (net.protoSupport & MOCA_PROTO_PREFERRED_NC) != 0;
    slot->bonding_capable = (net.protoSupport & MOCA_PROTO_BONDING) != 0;

    slot->tx_bcast_rate = if_valid(bcast.tx.txProfileValid, bcast.tx.txPhyrate);
    slot->rx_bcast_power_level = if_valid(bcast.rx.rxProfileValid, static_cast<int32_t>(bcast.rx.rxPwrLevel));
    slot->phy_tx_rate = if_valid(ucast.tx.txProfileValid, ucast.tx.txPhyrate);
    slot->tx_power_control_reduction = if_valid(ucast.tx.txProfileValid, ucast.tx.txTpcBackoff);
    slot->phy_rx_rate = if_valid(ucast.rx.rxProfileValid, ucast.rx.rxPhyrate);
    slot->rx_power_level = if_valid(ucast.rx.rxProfileValid, ucast.rx.rxPwrLevel);
    slot->rx_snr = if_valid(ucast.rx.rxProfileValid, ucast.rx.rxChnSnr);

    slot->tx_packets = MOCA_MXL_SWAPLONG(net.txDataFrameGood);
    slot->tx_drops = static_cast<uint32_t>(MOCA_MXL_SWAPLONG(net.txDataFrameDropped));
    slot->rx_packets = MOCA_MXL_SWAPLONG(net.rxDataFrameGood);
    slot->rx_corrected = MOCA_MXL_SWAPLONG(net.rxDataFrameBad);
    slot->rx_errored_and_missed_packets = static_cast<uint32_t>(MOCA_MXL_SWAPLONG(net.rxDataFrameBad));

    mxl_copy(slot->power_state, POWER_STATE_ACTIVE);
    mxl_copy(slot->power_state_capability, POWER_STATE_ACTIVE);
}

// Reads one remote node; its slot is written only once every read succeeded.
int32_t read_node(mxl_chip_t& chip, uint32_t node, mxl_moca_node_t* slot, const mxl_site_t& at) {
    ClnkLib_NetInfo_t net{};
    int32_t rc = ClnkLib_GetNetInfo(chip.h(), node, &net);
    if(rc != 0) {
        mxl_log_at(at, TRACE_LEVEL_ERROR, "%s: ClnkLib_GetNetInfo for nodeId=%d failed with rc=%d", chip.name, node,
                   rc);
        return rc;
    }
    const profile_plan_t& plan = ((net.mocaVer & MOCA_VERSION_MAJOR_BITS) == MOCA_VERSION_1) ? MOCA1_PLAN : MOCA2_PLAN;
    const bool bonding = (net.protoSupport & MOCA_PROTO_BONDING) != 0;
    profile_pair_t bcast{};
    profile_pair_t ucast{};
    rc = select_profile(chip, node, plan.bcast, bonding, &bcast, at);
    if(rc == 0) {
        rc = select_profile(chip, node, plan.ucast, bonding, &ucast, at);
    }
    if(rc == 0) {
        fill_node(slot, net, bcast, ucast);
    }
    return rc;
}

void add_node_keys(amxc_var_t* ret, const mxl_moca_node_t& node) {
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_cstring_t(ret, "MACAddress", node.mac_addr);
    amxc_var_add_new_key_uint32_t(ret, "NodeID", node.node_id);
    amxc_var_add_new_key_bool(ret, "PreferredNC", node.preferred_nc);
    amxc_var_add_new_key_cstring_t(ret, "HighestVersion", node.highest_version);
    amxc_var_add_new_key_uint32_t(ret, "PHYTxRate", node.phy_tx_rate);
    amxc_var_add_new_key_uint32_t(ret, "PHYRxRate", node.phy_rx_rate);
    amxc_var_add_new_key_uint32_t(ret, "TxPowerControlReduction", node.tx_power_control_reduction);
    amxc_var_add_new_key_uint32_t(ret, "RxPowerLevel", node.rx_power_level);
    amxc_var_add_new_key_uint32_t(ret, "TxBcastRate", node.tx_bcast_rate);
    amxc_var_add_new_key_int32_t(ret, "RxBcastPowerLevel", node.rx_bcast_power_level);
    amxc_var_add_new_key_uint64_t(ret, "TxPackets", node.tx_packets);
    amxc_var_add_new_key_uint32_t(ret, "TxDrops", node.tx_drops);
    amxc_var_add_new_key_uint64_t(ret, "RxPackets", node.rx_packets);
    amxc_var_add_new_key_uint64_t(ret, "RxCorrected", node.rx_corrected);
    amxc_var_add_new_key_uint32_t(ret, "RxErroredAndMissedPackets", node.rx_errored_and_missed_packets);
    amxc_var_add_new_key_bool(ret, "BondingCapable", node.bonding_capable);
    amxc_var_add_new_key_bool(ret, "QAM256Capable", node.qam256_capable);
    amxc_var_add_new_key_uint32_t(ret, "PacketAggregationCapability", node.packet_aggr_capability);
    amxc_var_add_new_key_uint32_t(ret, "RxSNR", node.rx_snr);
    amxc_var_add_new_key_bool(ret, "Active", node.active);
    amxc_var_add_new_key_uint32_t(ret, "SupportedIngressPqosFlows", node.max_ingress_pqos_flows);
    amxc_var_add_new_key_uint32_t(ret, "SupportedEgressPqosFlows", node.max_egress_pqos_flows);
    amxc_var_add_new_key_uint32_t(ret, "AggregationSize", node.aggr_size);
    amxc_var_add_new_key_uint32_t(ret, "AeNumber", node.max_ae_num);
    amxc_var_add_new_key_cstring_t(ret, "PowerState", node.power_state);
    amxc_var_add_new_key_cstring_t(ret, "PowerStateCapability", node.power_state_capability);
    amxc_var_add_new_key_bool(ret, "Moca25PhyCapable", node.moca25_phy_capable);
}

// ---- mesh of PHY rates --------------------------------------------------------------------

// Row `node` of the mesh from one FMR request for that node alone. The record
// is the report's, zeroed once and reused for every request.
int32_t read_mesh_row(mxl_chip_t& chip, uint32_t node, ClnkLib_FmrInfo_t* fmr, mxl_moca_mesh_t* row,
                      const mxl_site_t& at) {
    if(int32_t rc = MXL_CHIP_CALL_AT(at, chip, ClnkLib_GetFmrInfo, 1u << node, FMR_REQUEST_FLAGS, fmr); rc != 0) {
        return rc;
    }
    const ClnkLib_NodeFmr_t& rates = fmr->nodeFmr[node];
    if(rates.validInfo == 0) {
        return 0;
    }
    for(uint32_t rx = 0; rx < MOCA_MAX_NODES; rx++) {
        row->entry[rx] = {rates.p2p[rx].rateNper, rates.p2p[rx].rateNper, rates.p2p[rx].rateVLper};
    }
    return 0;
}

// Rebuilds the whole mesh on the report's handle; rows of nodes before a
// failing request stay rebuilt. A failed local-info read keeps the old mesh.
int32_t rebuild_mesh(mxl_chip_t& chip, mxl_moca_iface_t* moca_if, const mxl_site_t& at) {
    ClnkLib_LocalInfo_t local{};
    if(int32_t rc = MXL_CHIP_CALL_AT(at, chip, ClnkLib_GetLocalInfo, &local); rc != 0) {
        return rc;
    }
    memset(moca_if->meshes, 0, sizeof(moca_if->meshes));
    if(local.linkStatus == 0) {
        mxl_log_at(at, TRACE_LEVEL_INFO, "%s: link is down - all nodes are inactive", chip.name);
    } else {
        ClnkLib_FmrInfo_t fmr{};
        for(uint32_t node = 0; node < MOCA_MAX_NODES; node++) {
            if(!has_node(local.activeNodeBitmask, node)) {
                continue;
            }
            if(int32_t rc = read_mesh_row(chip, node, &fmr, &moca_if->meshes[node], at); rc != 0) {
                return rc;
            }
        }
    }
    return 0;
}

void add_mesh_keys(amxc_var_t* ret, uint32_t tx, uint32_t rx, const mxl_moca_mesh_entry_t& cell) {
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_uint32_t(ret, "TxNodeIndex", tx);
    amxc_var_add_new_key_uint32_t(ret, "RxNodeIndex", rx);
    amxc_var_add_new_key_uint32_t(ret, "TxRate", cell.tx_rate);
    amxc_var_add_new_key_uint32_t(ret, "TxRateNper", cell.tx_rate_nper);
    amxc_var_add_new_key_uint32_t(ret, "TxRateVlper", cell.tx_rate_vlper);
}

// ---- bridge tables ------------------------------------------------------------------------

// A node's address list while it is built: every address is followed by a
// comma (removed when the list is closed), except the last one that fits.
struct bridge_list_t {
    mxl_moca_bridge_t* slot;
    uint32_t count;
    uint32_t dropped;
};

void bridge_list_add(bridge_list_t* list, const ClnkLib_BridgeEntry_t& entry) {
    if(list->count >= MOCA_MAX_BRIDGE_ENTRIES_PER_NODE) {
        list->dropped++;
        return;
    }
    char mac_addr[MOCA_MAC_TEXT_LEN];
    mxl_mac_text(mac_addr, entry.macAddrHi, entry.macAddrLoIds);
    mxl_append(list->slot->mac_addresses, mac_addr);
    list->count++;
    if(list->count < MOCA_MAX_BRIDGE_ENTRIES_PER_NODE) {
        mxl_append(list->slot->mac_addresses, ",");
    }
}

void bridge_list_close(bridge_list_t* list) {
    size_t len = strnlen(list->slot->mac_addresses, sizeof(list->slot->mac_addresses));
    if((len > 0) && (list->slot->mac_addresses[len - 1] == ',')) {
        list->slot->mac_addresses[len - 1] = '\0';
    }
}

// One bridge table of the chip into the refill's record, reused for every
// request; *count is the number of entries the chip reported, which may
// exceed the record's room.
int32_t read_bridge_table(mxl_chip_t& chip, uint32_t type, const char* kind, ClnkLib_BridgeTable_t* table,
                          uint32_t* count, const mxl_site_t& at) {
    *count = 0;
    int32_t rc = ClnkLib_GetBridgeTable(chip.h(), type, 0, count, table);
    if(rc != 0) {
        mxl_log_at(at, TRACE_LEVEL_ERROR, "%s: ClnkLib_GetBridgeTable for %s failed with rc=%d", chip.name, kind, rc);
    }
    return rc;
}

// The entries of a table that are read: never more than the record holds.
uint32_t bridge_entries_held(uint32_t count) {
    return (count < MAX_BRIDGE_ENTRIES) ? count : MAX_BRIDGE_ENTRIES;
}

// The local node bridges its own source addresses: unicast, then multicast.
int32_t list_local_bridges(mxl_chip_t& chip, uint32_t node, ClnkLib_BridgeTable_t* table, bridge_list_t* list,
                           const mxl_site_t& at) {
    uint32_t count = 0;
    int32_t rc = read_bridge_table(chip, CLNK_BRIDGE_UCAST_SRC, "Src Unicast", table, &count, at);
    if(rc != 0) {
        return rc;
    }
    mxl_log_at(at, TRACE_LEVEL_INFO, "%s: found %d src unicast bridge entries for local node_id: %d", chip.name, count,
               node);
    for(uint32_t i = 0; i < bridge_entries_held(count); i++) {
        bridge_list_add(list, table->entry[i]);
    }
    rc = read_bridge_table(chip, CLNK_BRIDGE_MCAST_SRC, "Src multicast", table, &count, at);
    if(rc != 0) {
        return rc;
    }
    mxl_log_at(at, TRACE_LEVEL_INFO, "%s: found %d src mcast bridge entries for local node_id: %d", chip.name, count,
               node);
    for(uint32_t i = 0; i < bridge_entries_held(count); i++) {
        bridge_list_add(list, table->entry[i]);
    }
    return 0;
}

// A remote node's addresses are the destination entries carrying its node id.
int32_t list_remote_bridges(mxl_chip_t& chip, uint32_t node, ClnkLib_BridgeTable_t* table, bridge_list_t* list,
                            const mxl_site_t& at) {
    uint32_t count = 0;
    int32_t rc = read_bridge_table(chip, CLNK_BRIDGE_UCAST_DST, "Dst Unicast", table, &count, at);
    if(rc != 0) {
        return rc;
    }
    for(uint32_t i = 0; i < bridge_entries_held(count); i++) {
        if((table->entry[i].macAddrLoIds & BRIDGE_NODE_ID_BITS) == node) {
            bridge_list_add(list, table->entry[i]);
        }
    }
    return 0;
}

// Fills the cleared bridge slots node by node; stops at the first failing request.
int32_t fill_bridges(mxl_chip_t& chip, mxl_moca_iface_t* moca_if, const ClnkLib_LocalInfo_t& local,
                     uint32_t* dropped_mask, uint32_t* dropped, const mxl_site_t& at) {
    ClnkLib_BridgeTable_t table{};
    for(uint32_t node = 0; node < MOCA_MAX_NODES; node++) {
        bridge_list_t list{&moca_if->bridges[node], 0, 0};
        list.slot->node_id = node;
        if(!has_node(local.activeNodeBitmask, node)) {
            continue;
        }
        int32_t rc = (node == local.nodeId) ? list_local_bridges(chip, node, &table, &list, at)
                                            : list_remote_bridges(chip, node, &table, &list, at);
        if(list.dropped > 0) {
            *dropped_mask |= 1u << node;
            *dropped += list.dropped;
        }
        if(rc != 0) {
            return rc;
        }
        bridge_list_close(&list);
    }
    return 0;
}

constexpr mxl_table_t NODES_TABLE{&mxl_moca_iface_t::nodes_timer, NODES_TABLE_DATA_VALIDITY_INTERVAL,
                                  mxl_get_nodes_info, "mxl_get_nodes_info failed", nullptr};
constexpr mxl_table_t MESH_TABLE{&mxl_moca_iface_t::mesh_timer, MESH_TABLE_DATA_VALIDITY_INTERVAL, nullptr, nullptr,
                                 rebuild_mesh};
constexpr mxl_table_t BRIDGES_TABLE{&mxl_moca_iface_t::bridges_timer, BRIDGES_TABLE_DATA_VALIDITY_INTERVAL,
                                    mxl_get_bridges_info, "mxl_get_bridges_info failed", nullptr};

} // namespace

// ---- associated nodes ---------------------------------------------------------------------

int mxl_get_nodes_info(mxl_moca_iface_t* moca_if) {
    mxl_chip_t chip;
    ClnkLib_LocalInfo_t local{};
    if(int32_t rc = mxl_refill_start(moca_if, chip, &local); rc != 0) {
        return rc;
    }
    memset(moca_if->nodes, 0, sizeof(moca_if->nodes));
    if(local.linkStatus == 0) {
        mxl_log_info("%s: link is down - all nodes are inactive", moca_if->name);
        return 0;
    }
    // Sleeping nodes are still members of the network.
    const uint32_t network_node_mask =
        local.activeNodeBitmask | local.sleepM1NodeBitmask | local.sleepM2NodeBitmask | local.sleepM3NodeBitmask;
    for(uint32_t node = 0; node < MOCA_MAX_NODES; node++) {
        mxl_moca_node_t* slot = &moca_if->nodes[node];
        slot->node_id = node;
        if((node == local.nodeId) || !has_node(network_node_mask, node)) {
            continue;
        }
        mxl_log_info("Get node info network_node_mask=0x%x", network_node_mask);
        if(int32_t rc = read_node(chip, node, slot, mxl_here()); rc != 0) {
            return rc;
        }
        mxl_log_info("%s: found node %d with mac: %s", moca_if->name, slot->node_id, slot->mac_addr);
    }
    mxl_cache_arm(moca_if, NODES_TABLE);
    return 0;
}

int mxl_node_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_RETRIEVE_NODE, args, ret, &call) != 0) {
        return -1;
    }
    mxl_log_info("get node id %d data for %s", call.index, call.ifname);
    int rc = mxl_cache_refresh(call.iface, NODES_TABLE);
    add_node_keys(ret, call.iface->nodes[call.index]);
    return rc;
}

// ---- mesh of PHY rates --------------------------------------------------------------------

int mxl_mesh_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_RETRIEVE_MESH, args, ret, &call) != 0) {
        return -1;
    }
    mxl_moca_iface_t* moca_if = call.iface;
    const uint32_t tx = call.index >> 4;
    const uint32_t rx = call.index & 0xF;
    mxl_log_info("get mesh for id %d data for %s, timer state=%d", call.index, call.ifname,
                 static_cast<int>(amxp_timer_get_state(moca_if->mesh_timer)));
    bool report = true;
    int rc = mxl_cache_refresh(moca_if, MESH_TABLE, &report);
    if(!report) {
        return rc; // no chip at all: ret stays as given
    }
    add_mesh_keys(ret, tx, rx, moca_if->meshes[tx].entry[rx]);
    return rc;
}

// ---- bridge tables ------------------------------------------------------------------------

int mxl_get_bridges_info(mxl_moca_iface_t* moca_if) {
    mxl_chip_t chip;
    ClnkLib_LocalInfo_t local{};
    if(int32_t rc = mxl_refill_start(moca_if, chip, &local); rc != 0) {
        return rc;
    }
    memset(moca_if->bridges, 0, sizeof(moca_if->bridges));
    uint32_t dropped_mask = 0;
    uint32_t dropped = 0;
    int32_t rc = fill_bridges(chip, moca_if, local, &dropped_mask, &dropped, mxl_here());
    if(dropped > 0) {
        mxl_log_warning("%s: dropped %u bridge entries beyond %d per node (nodes 0x%04x)", moca_if->name, dropped,
                        MOCA_MAX_BRIDGE_ENTRIES_PER_NODE, dropped_mask);
    }
    if(rc != 0) {
        return rc;
    }
    mxl_cache_arm(moca_if, BRIDGES_TABLE);
    return 0;
}

int mxl_bridge_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_RETRIEVE_BRIDGE, args, ret, &call) != 0) {
        return -1;
    }
    mxl_moca_iface_t* moca_if = call.iface;
    mxl_log_info("get bridge for node id %d data for %s, timer state=%d", call.index, call.ifname,
                 static_cast<int>(amxp_timer_get_state(moca_if->bridges_timer)));
    int rc = mxl_cache_refresh(moca_if, BRIDGES_TABLE);
    const mxl_moca_bridge_t& slot = moca_if->bridges[call.index];
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_uint32_t(ret, "NodeIndex", slot.node_id);
    amxc_var_add_new_key_csv_string_t(ret, "MACAddresses", slot.mac_addresses);
    return rc;
}
