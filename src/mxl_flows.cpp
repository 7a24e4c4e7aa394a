// SPDX-License-Identifier: BSD-2-Clause-Patent
// PQoS flows: listing every active node's flows from the chip in batches of
// ids, querying each flow, and the two reports served from the cached table.
#include <sys/time.h>

#include "mxl_frame.h"

namespace {

constexpr uint32_t NFL_MAX_BATCHES = 0xFFFF;   // batch budget per node
constexpr uint32_t LIST_TIMEOUT_WAIT_MS = 100; // busy wait after a list timeout

// Walks the flow ids of one ingress node, fetching them from the chip in batches.
// rsp.flowCode holds CLNKLIB_FLOWCODE_INTERNAL_ERROR until the first batch is
// fetched. The response lives across attempts and batches: a failed request
// leaves what the previous one answered.
struct clnkqos_NFLIter_t {
    uint32_t batchesRemaining;
    uint32_t nextLogicalIdx;   // list position of the next id to hand out
    ClnkLib_FlowListReq_t req; // request of the latest batch
    ClnkLib_FlowListRsp_t rsp; // response of the latest batch
};

// A deadline on the wall clock.
struct clnkqos_Timer_t {
    struct timeval expire;
};

constexpr struct {
    ClnkLib_FlowCode_t code;
    const char* name;
} flow_code_names[] = {
    {CLNKLIB_FLOWCODE_SUCCESS, "FLOWCODE_SUCCESS"},
    {CLNKLIB_FLOWCODE_TIMEOUT, "FLOWCODE_TIMEOUT"},
    {CLNKLIB_FLOWCODE_QOS_UNAVAIL, "FLOWCODE_QOS_UNAVAIL"},
    {CLNKLIB_FLOWCODE_UNKNOWN, "FLOWCODE_UNKNOWN"},
    {CLNKLIB_FLOWCODE_INTERNAL_ERROR, "FLOWCODE_INTERNAL_ERROR"},
    {CLNKLIB_FLOWCODE_FLOW_EXISTS, "FLOWCODE_FLOW_EXISTS"},
    {CLNKLIB_FLOWCODE_NO_SUCH_FLOW, "FLOWCODE_NO_SUCH_FLOW"},
    {CLNKLIB_FLOWCODE_TOO_MANY_FLOWS, "FLOWCODE_TOO_MANY_FLOWS"},
    {CLNKLIB_FLOWCODE_TOO_MANY_MCAST_F, "FLOWCODE_TOO_MANY_MCAST_F"},
    {CLNKLIB_FLOWCODE_BAD_INGRESS_CFY, "FLOWCODE_BAD_INGRESS_CFY"},
    {CLNKLIB_FLOWCODE_UNUSABLE_DA, "FLOWCODE_UNUSABLE_DA"},
    {CLNKLIB_FLOWCODE_INVALID_DA, "FLOWCODE_INVALID_DA"},
    {CLNKLIB_FLOWCODE_INGRESS_M1, "FLOWCODE_INGRESS_M1"},
    {CLNKLIB_FLOWCODE_BAD_INGR, "FLOWCODE_BAD_INGR"},
    {CLNKLIB_FLOWCODE_BAD_EGR, "FLOWCODE_BAD_EGR"},
    {CLNKLIB_FLOWCODE_INGR_BW_UNAVAIL, "FLOWCODE_INGR_BW_UNAVAIL"},
    {CLNKLIB_FLOWCODE_EGR_BW_UNAVAIL, "FLOWCODE_EGR_BW_UNAVAIL"},
    {CLNKLIB_FLOWCODE_NW_STPS_UNAVAIL, "FLOWCODE_NW_STPS_UNAVAIL"},
    {CLNKLIB_FLOWCODE_NW_TXPS_UNAVAIL, "FLOWCODE_NW_TXPS_UNAVAIL"},
    {CLNKLIB_FLOWCODE_BAD_RETRANS, "FLOWCODE_BAD_RETRANS"},
    {CLNKLIB_FLOWCODE_LEASE_EXPR_SOON, "FLOWCODE_LEASE_EXPR_SOON"},
    {CLNKLIB_FLOWCODE_BAD_PEAK_BW, "FLOWCODE_BAD_PEAK_BW"},
    {CLNKLIB_FLOWCODE_BAD_BURST_SIZE, "FLOWCODE_BAD_BURST_SIZE"},
    {CLNKLIB_FLOWCODE_BAD_M20_TSPEC, "FLOWCODE_BAD_M20_TSPEC"},
    {CLNKLIB_FLOWCODE_INVALID_FLOW_ID, "FLOWCODE_INVALID_FLOW_ID"},
    {CLNKLIB_FLOWCODE_DRIVER_ERROR, "FLOWCODE_DRIVER_ERROR"},
    {CLNKLIB_FLOWCODE_BAD_M11_TSPEC, "FLOWCODE_BAD_M11_TSPEC"},
    {CLNKLIB_FLOWCODE_INVALID_DSCP, "FLOWCODE_INVALID_DSCP"},
    {CLNKLIB_FLOWCODE_INVALID_VLAN, "FLOWCODE_INVALID_VLAN"},
    {CLNKLIB_FLOWCODE_INVALID_ICR, "FLOWCODE_INVALID_ICR"},
    {CLNKLIB_FLOWCODE_UNUSABLE_LINK, "FLOWCODE_UNUSABLE_LINK"},
};

// Address text for trace lines; each call overwrites the previous text.
char printMac[MOCA_MAC_TEXT_LEN];

const char* clnkqos_getFlowCodeString(ClnkLib_FlowCode_t flowCode) {
    for(const auto& entry : flow_code_names) {
        if(entry.code == flowCode) {
            return entry.name;
        }
    }
    return "";
}

const char* clnkqos_macToString(uint32_t hi, uint32_t lo) {
    mxl_mac_text(printMac, hi, lo);
    return printMac;
}

// ---- deadline timer ---------------------------------------------------------------------------

void clnkqos_Timer_start(clnkqos_Timer_t* instancePtr, uint32_t milliseconds) {
    struct timeval& expire = instancePtr->expire;
    gettimeofday(&expire, nullptr);
    expire.tv_sec += milliseconds / 1000;
    expire.tv_usec += static_cast<suseconds_t>(milliseconds % 1000) * 1000;
    if(expire.tv_usec > 1000000) {
        expire.tv_usec -= 1000000;
        expire.tv_sec += 1;
    }
}

uint32_t clnkqos_Timer_msRemaining(const clnkqos_Timer_t* instancePtr) {
    const struct timeval& expire = instancePtr->expire;
    struct timeval now {};
    gettimeofday(&now, nullptr);
    if((expire.tv_sec < now.tv_sec) || ((expire.tv_sec == now.tv_sec) && (now.tv_usec > expire.tv_usec))) {
        return 0;
    }
    int64_t ms = static_cast<int64_t>(expire.tv_sec - now.tv_sec) * 1000 + expire.tv_usec / 1000 - now.tv_usec / 1000;
    return static_cast<uint32_t>(ms);
}

// Busy-waits on the wall clock. A clock set back while waiting would stretch
// the wait by the step, so the deadline is set afresh when that is seen.
void clnkqos_Timer_spin(uint32_t ms) {
    mxl_log_info("Timer: Spin for %dms...", ms);
    clnkqos_Timer_t timer;
    clnkqos_Timer_start(&timer, ms);
    for(uint32_t left = clnkqos_Timer_msRemaining(&timer); left != 0; left = clnkqos_Timer_msRemaining(&timer)) {
        if(left > ms) {
            clnkqos_Timer_start(&timer, ms);
        }
    }
    mxl_log_info("Timer: Spin done.");
}

// ---- node flow list iterator ----------------------------------------------------------------

int clnkqos_NFLIter_init(ClnkLib_Handle_t* pHandle, clnkqos_NFLIter_t* pIter, uint32_t ingressNodeId,
                         uint32_t maxBatches, ClnkLib_MacAddr_t* pIngressGuidOut) {
    ClnkLib_NetInfo_t net_info{};
    int32_t rc = ClnkLib_GetNetInfo(pHandle, ingressNodeId, &net_info);
    if(rc != 0) {
        mxl_log_error("ClnkLib_GetNetInfo failed on %d ith rc=%d", ingressNodeId, rc);
        return rc;
    }
    pIter->batchesRemaining = maxBatches;
    pIter->nextLogicalIdx = 0;
    pIter->req.ingressGuid = ClnkLib_MacAddr_t{net_info.guidHi, net_info.guidLo};
    pIter->rsp.flowCode = CLNKLIB_FLOWCODE_INTERNAL_ERROR;
    if(pIngressGuidOut != nullptr) {
        *pIngressGuidOut = pIter->req.ingressGuid;
    }
    return 0;
}

// Whether the next id lies beyond the latest batch. An id before the batch
// wraps to a huge offset and counts as beyond; a batch never hands out more
// ids than the array holds.
bool nfl_batch_used_up(const clnkqos_NFLIter_t* it) {
    const uint32_t size =
        (it->rsp.numReturnedFlowIds < MAX_FLOWS_IN_LIST) ? it->rsp.numReturnedFlowIds : uint32_t{MAX_FLOWS_IN_LIST};
    return it->nextLogicalIdx - it->req.flowStartIndex >= size;
}

// A batch was answered with success: it is good unless the node's list
// changed since the previous batch. The batch helpers log on behalf of
// clnkqos_NFLIter_next, at `at`.
bool nfl_accept_batch(clnkqos_NFLIter_t* it, bool first_time, uint32_t previous_count, const mxl_site_t& at) {
    if(!first_time && (it->rsp.flowUpdateCount != previous_count)) {
        mxl_log_at(at, TRACE_LEVEL_ERROR, "Detected flows changed in mid op, %d != %d, aborting.", previous_count,
                   it->rsp.flowUpdateCount);
        return false;
    }
    it->batchesRemaining--;
    return true;
}

// Fetches the batch that starts at nextLogicalIdx, with up to `retries` attempts.
bool nfl_fetch_batch(ClnkLib_Handle_t* handle, clnkqos_NFLIter_t* it, uint32_t retries, uint32_t max_ids,
                     bool first_time, const mxl_site_t& at) {
    const uint32_t previous_count = it->rsp.flowUpdateCount;
    ClnkLib_FlowListReq_t& req = it->req;
    ClnkLib_FlowListRsp_t& rsp = it->rsp;
    int32_t rc = 0;
    for(uint32_t left = retries; left > 0; left--) {
        req.flowMaxReturn = max_ids;
        req.flowStartIndex = it->nextLogicalIdx;
        mxl_log_at(at, TRACE_LEVEL_INFO, "ClnkLib_ListFlows(,ingressGuid=%s,flowStartIndex=%d,flowMaxReturn=%d)-->",
                   clnkqos_macToString(req.ingressGuid.hi, req.ingressGuid.lo), req.flowStartIndex, req.flowMaxReturn);
        rc = ClnkLib_ListFlows(handle, &req, &rsp);
        mxl_log_at(at, TRACE_LEVEL_INFO,
                   "  -->  retval:%d .flowCode:%s(0x%x), .flowUpdateCount:%d .totalFlowIdCount:%d "
                   ".numReturnedFlowIds:%d",
                   rc, clnkqos_getFlowCodeString(rsp.flowCode), rsp.flowCode, rsp.flowUpdateCount, rsp.totalFlowIdCount,
                   rsp.numReturnedFlowIds);
        if(rc != 0) {
            mxl_log_at(at, TRACE_LEVEL_INFO, "  Unexpected list retval %d, %d retries left...", rc, left);
        } else if(rsp.flowCode == CLNKLIB_FLOWCODE_SUCCESS) {
            return nfl_accept_batch(it, first_time, previous_count, at);
        } else if(rsp.flowCode == CLNKLIB_FLOWCODE_TIMEOUT) {
            mxl_log_at(at, TRACE_LEVEL_INFO, "  List timeout, flowCode 0x%x (%s)", rsp.flowCode,
                       clnkqos_getFlowCodeString(rsp.flowCode));
            clnkqos_Timer_spin(LIST_TIMEOUT_WAIT_MS);
        } else if(rsp.flowCode == CLNKLIB_FLOWCODE_QOS_UNAVAIL) {
            mxl_log_at(at, TRACE_LEVEL_INFO, "  M1.0 node NOT PQOS capable, IngressID=%s",
                       clnkqos_macToString(req.ingressGuid.hi, req.ingressGuid.lo));
            return false;
        } else {
            mxl_log_at(at, TRACE_LEVEL_INFO, "  List fail, flowCode 0x%x (%s)", rsp.flowCode,
                       clnkqos_getFlowCodeString(rsp.flowCode));
        }
    }
    mxl_log_at(at, TRACE_LEVEL_ERROR, "%d retries exausted. retval:%d flowCode:0x%x (%s)", retries, rc, rsp.flowCode,
               clnkqos_getFlowCodeString(rsp.flowCode));
    return false;
}

bool clnkqos_NFLIter_next(ClnkLib_Handle_t* pHandle, clnkqos_NFLIter_t* pIter, uint32_t retries,
                          uint32_t maxFlowsPerQuery, ClnkLib_MacAddr_t* pMacAddrOut) {
    const bool first_time = (pIter->rsp.flowCode == CLNKLIB_FLOWCODE_INTERNAL_ERROR);
    const bool done = (pIter->nextLogicalIdx >= pIter->rsp.totalFlowIdCount);
    if(done && !first_time) {
        return false;
    }
    // The budget is tested first: once it is spent, ids left in the batch are not handed out.
    if(pIter->batchesRemaining == 0) {
        return false;
    }
    if((first_time || nfl_batch_used_up(pIter)) &&
       !nfl_fetch_batch(pHandle, pIter, retries, maxFlowsPerQuery, first_time, mxl_here())) {
        return false;
    }
    if(nfl_batch_used_up(pIter)) {
        return false;
    }
    *pMacAddrOut = pIter->rsp.returnedFlowId[pIter->nextLogicalIdx - pIter->req.flowStartIndex];
    pIter->nextLogicalIdx++;
    return true;
}

// ---- the listing ----------------------------------------------------------------------------

// Where one listing puts the flows it finds; its lines are logged on behalf
// of mxl_get_flows, at `at`.
struct flow_listing_t {
    ClnkLib_Handle_t* handle;
    mxl_moca_iface_t* moca_if;
    mxl_site_t at;
    uint32_t stored;     // records written: the next free slot
    uint32_t not_stored; // flows counted but beyond the table
};

void mxl_flow_fill(mxl_moca_flow_t* flow, const ClnkLib_FlowQueryRsp_t& rsp) {
    const ClnkLib_PFP_t& pfp = rsp.pfp;
    mxl_mac_text(flow->flow_id, pfp.flowId.hi, pfp.flowId.lo);
    mxl_mac_text(flow->packet_da, pfp.packetDa.hi, pfp.packetDa.lo);
    flow->max_rate = pfp.tPeakDataRateKbps;
    flow->max_burst_size = pfp.tBurstSize;
    flow->lease_time = pfp.tLeaseTimeSec;
    flow->tag = pfp.flowTag;
    flow->lease_time_left = rsp.leaseTimeLeft;
    mxl_mac_text(flow->ingress_guid, pfp.ingressGuid.hi, pfp.ingressGuid.lo);
    mxl_mac_text(flow->egress_guid, pfp.egressGuid.hi, pfp.egressGuid.lo);
    flow->max_latency = pfp.maxLatencyMs;
    flow->short_term_avg_ratio = pfp.stAvgRatio;
    flow->flow_per = pfp.flowPer;
    mxl_format(flow->ingress_classify, "%x", pfp.ingressClass);
    flow->vlan_tag = pfp.vlanTag;
    flow->dscp = pfp.dscpMoca;
    flow->dfid = rsp.dfid;
}

// Queries one flow into `flow`, with up to six immediate attempts. False when
// every attempt failed.
bool mxl_query_flow(const flow_listing_t* listing, ClnkLib_MacAddr_t* flow_id, mxl_moca_flow_t* flow) {
    const mxl_site_t& at = listing->at;
    ClnkLib_FlowQueryRsp_t rsp{}; // kept between attempts; only its code is preset
    int32_t rc = 0;
    for(uint32_t left = MAX_RETRIES_FOR_QOS_OPERATION; left > 0;) {
        rsp.flowCode = CLNKLIB_FLOWCODE_DRIVER_ERROR;
        mxl_log_at(at, TRACE_LEVEL_INFO, "ClnkLib_QueryFlow(,flowId=%s)-->",
                   clnkqos_macToString(flow_id->hi, flow_id->lo));
        rc = ClnkLib_QueryFlow(listing->handle, flow_id, &rsp);
        mxl_log_at(at, TRACE_LEVEL_INFO, "  -->  retval:%d .flowCode:%s (0x%x)", rc,
                   clnkqos_getFlowCodeString(rsp.flowCode), rsp.flowCode);
        if((rc == 0) && (rsp.flowCode == CLNKLIB_FLOWCODE_SUCCESS)) {
            mxl_flow_fill(flow, rsp);
            return true;
        }
        left--;
        mxl_log_at(at, TRACE_LEVEL_INFO, " Unexpected fail: last retval:%d flowCode:0x%x (%s): %d left...", rc,
                   rsp.flowCode, clnkqos_getFlowCodeString(rsp.flowCode), left);
    }
    mxl_log_at(at, TRACE_LEVEL_ERROR, "Too many fail- last retval:%d flowCode:0x%x (%s)", rc, rsp.flowCode,
               clnkqos_getFlowCodeString(rsp.flowCode));
    return false;
}

// Lists the flows that enter the network at one node into *count. A node
// whose GUID can't be read has none. Flows beyond the table are counted
// without being queried. False when a query gave up: the listing ends there.
bool mxl_list_node_flows(flow_listing_t* listing, uint32_t node_id, uint32_t* count) {
    clnkqos_NFLIter_t iter{};
    ClnkLib_MacAddr_t guid{};
    ClnkLib_MacAddr_t flow_id{};
    *count = 0;
    if(clnkqos_NFLIter_init(listing->handle, &iter, node_id, NFL_MAX_BATCHES, &guid) != 0) {
        return true;
    }
    while(clnkqos_NFLIter_next(listing->handle, &iter, MAX_RETRIES_FOR_QOS_OPERATION, MAX_FLOWIDS_PER_LIST, &flow_id)) {
        if(listing->stored >= MOCA_MAX_FLOWS) {
            listing->not_stored++;
        } else if(mxl_query_flow(listing, &flow_id, &listing->moca_if->flows[listing->stored])) {
            listing->stored++;
        } else {
            return false;
        }
        (*count)++;
    }
    return true;
}

// Lists every active node's flows, lowest node id first, into the table and
// *total. False when the listing was abandoned.
bool mxl_list_network_flows(flow_listing_t* listing, const ClnkLib_LocalInfo_t& local, uint32_t* total) {
    mxl_moca_iface_t* moca_if = listing->moca_if;
    for(uint32_t node_id = 0; node_id < MOCA_MAX_NODES; node_id++) {
        if((local.activeNodeBitmask & (1u << node_id)) == 0) {
            continue;
        }
        mxl_log_at(listing->at, TRACE_LEVEL_INFO, "Get (ingress) node info for node_id:%d", node_id);
        uint32_t count = 0;
        if(!mxl_list_node_flows(listing, node_id, &count)) {
            return false;
        }
        *total += count;
        mxl_log_at(listing->at, TRACE_LEVEL_INFO, "%s: found %d flows on node %d", moca_if->name, count, node_id);
        if(node_id == local.nodeId) {
            moca_if->ingress_num_flows = count;
        }
    }
    if(listing->not_stored != 0) {
        mxl_log_at(listing->at, TRACE_LEVEL_WARNING, "%s: flow table full (%d slots), %d flows not stored",
                   moca_if->name, MOCA_MAX_FLOWS, listing->not_stored);
    }
    return true;
}

void mxl_flow_to_var(amxc_var_t* ret, const mxl_moca_flow_t& flow) {
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_cstring_t(ret, "FlowID", flow.flow_id);
    amxc_var_add_new_key_cstring_t(ret, "PacketDA", flow.packet_da);
    amxc_var_add_new_key_uint32_t(ret, "MaxRate", flow.max_rate);
    amxc_var_add_new_key_uint32_t(ret, "MaxBurstSize", flow.max_burst_size);
    amxc_var_add_new_key_uint32_t(ret, "LeaseTime", flow.lease_time);
    amxc_var_add_new_key_uint32_t(ret, "Tag", flow.tag);
    amxc_var_add_new_key_uint32_t(ret, "LeaseTimeLeft", flow.lease_time_left);
    amxc_var_add_new_key_uint32_t(ret, "FlowPackets", flow.flow_packets);
    amxc_var_add_new_key_cstring_t(ret, "IngressGuid", flow.ingress_guid);
    amxc_var_add_new_key_cstring_t(ret, "EgressGuid", flow.egress_guid);
    amxc_var_add_new_key_uint32_t(ret, "MaximumLatency", flow.max_latency);
    amxc_var_add_new_key_uint32_t(ret, "ShortTermAvgRatio", flow.short_term_avg_ratio);
    amxc_var_add_new_key_uint32_t(ret, "FlowPer", flow.flow_per);
    amxc_var_add_new_key_cstring_t(ret, "IngressClassify", flow.ingress_classify);
    amxc_var_add_new_key_uint32_t(ret, "VlanTag", flow.vlan_tag);
    amxc_var_add_new_key_uint32_t(ret, "DscpMoca", flow.dscp);
    amxc_var_add_new_key_uint32_t(ret, "Dfid", flow.dfid);
}

constexpr mxl_table_t FLOWS_TABLE{&mxl_moca_iface_t::flows_timer, FLOWS_TABLE_DATA_VALIDITY_INTERVAL, mxl_get_flows,
                                  "mxl_get_flows failed", nullptr};

} // namespace

// Refreshes the cached flow table of `moca_if` from the chip.
int mxl_get_flows(mxl_moca_iface_t* moca_if) {
    mxl_chip_t chip;
    ClnkLib_LocalInfo_t local{};
    if(int32_t rc = mxl_refill_start(moca_if, chip, &local); rc != 0) {
        return rc;
    }
    moca_if->ingress_num_flows = 0;
    moca_if->egress_num_flows = 0;
    memset(moca_if->flows, 0, sizeof(moca_if->flows));
    uint32_t total = 0;
    if(local.linkStatus == 0) {
        mxl_log_info("%s: link is down - all nodes are inactive", chip.name);
    } else {
        flow_listing_t listing{chip.h(), moca_if, mxl_here(), 0, 0};
        if(!mxl_list_network_flows(&listing, local, &total)) {
            return 0; // abandoned: the next request lists again
        }
    }
    mxl_cache_arm(moca_if, FLOWS_TABLE);
    mxl_log_info("TotalFlows: %d", total);
    return 0;
}

int mxl_qos_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_RETRIEVE_QOS, args, ret, &call) != 0) {
        return -1;
    }
    mxl_moca_iface_t* moca_if = call.iface;
    mxl_log_info("get PQoS flows number for %s, timer state=%d", moca_if->name,
                 amxp_timer_get_state(moca_if->flows_timer));
    int rc = mxl_cache_refresh(moca_if, FLOWS_TABLE);
    amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
    amxc_var_add_new_key_uint32_t(ret, "EgressNumFlows", moca_if->egress_num_flows);
    amxc_var_add_new_key_uint32_t(ret, "IngressNumFlows", moca_if->ingress_num_flows);
    return rc;
}

int mxl_flow_info_retrieve(const char* /*function_name*/, amxc_var_t* args, amxc_var_t* ret) {
    mxl_call_t call;
    if(mxl_prologue(MXL_FN_RETRIEVE_FLOW, args, ret, &call) != 0) {
        return -1;
    }
    mxl_moca_iface_t* moca_if = call.iface;
    mxl_log_info("get flowId for id %d data for %s, timer state=%d", call.index, moca_if->name,
                 amxp_timer_get_state(moca_if->flows_timer));
    int rc = mxl_cache_refresh(moca_if, FLOWS_TABLE);
    mxl_flow_to_var(ret, moca_if->flows[call.index]);
    return rc;
}
