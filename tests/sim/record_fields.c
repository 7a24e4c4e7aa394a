/* Every documented field of every ClnkLib record, read by name from C. */
#include <stddef.h>

#include "clnkapi.h"

#include "record_fields.h"

static uint64_t sum_mac(ClnkLib_MacAddr_t m) {
    return (uint64_t)m.hi + m.lo;
}

uint64_t c_sum_local_info(const ClnkLib_LocalInfo_t* p) {
    uint64_t s = (uint64_t)p->nodeId + p->ncNodeId + p->backupNodeId + p->lmoNodeId + p->linkStatus +
                 p->networkState + p->networkMocaVer + p->activeNodeBitmask + p->sleepM1NodeBitmask +
                 p->sleepM2NodeBitmask + p->sleepM3NodeBitmask + (uint32_t)p->priChnOffset +
                 (uint32_t)p->secChnOffset + p->tabooMask + p->macAddrHi + p->macAddrLo;
    for(size_t i = 0; i < CLNK_SOC_VERSION_WORDS; ++i) {
        s += p->socVersionStr[i];
    }
    return s;
}

uint64_t c_sum_net_info(const ClnkLib_NetInfo_t* p) {
    return (uint64_t)p->nodeId + p->guidHi + p->guidLo + p->mocaVer + p->protoSupport + p->txDataFrameGood +
           p->txDataFrameDropped + p->rxDataFrameGood + p->rxDataFrameBad;
}

uint64_t c_sum_profiles(const ClnkLib_PhyTxProfile_t* tx, const ClnkLib_PhyRxProfile_t* rx) {
    return (uint64_t)tx->txProfileValid + tx->txPhyrate + tx->txTpcBackoff + tx->txNumSymbols + tx->txCp +
           rx->rxProfileValid + rx->rxPhyrate + rx->rxPwrLevel + rx->rxChnSnr + rx->rxNumSymbols + rx->rxCp;
}

uint64_t c_sum_misc(const ClnkLib_EcbStats_t* e, const ClnkLib_PhyMisc_t* m, const ClnkLib_CdInfo_t* c) {
    return (uint64_t)e->debug0 + e->debug1 + e->debug2 + e->debug3 + e->debug4 + e->debug5 + e->debug6 +
           e->debug7 + e->debug8 + e->debug9 + e->debug10 + e->debug11 + e->debug12 + e->debug13 + e->debug14 +
           e->debug15 + m->currentOperatingFrequency + m->currentBand + m->txPowerDbm + c->linkUpTimeInSecs +
           c->resetCount + c->resetLine + c->resetEpc + c->linkLostCount;
}

uint64_t c_sum_data_stats(const ClnkLib_DataStats_t* p) {
    uint64_t s = p->txTotalPkts + p->txTotalBytes + p->txDroppedPkts + p->txBcastPkts + p->txMcastPkts +
                 p->txBcastBytes + p->txMcastBytes + p->txUcastBytes + p->txGoodPktsInLast60s +
                 p->txDroppedPktsInLast60s + p->rxTotalPkts + p->rxTotalBytes + p->rxDroppedPkts + p->rxBcastBytes +
                 p->rxMcastBytes + p->rxUcastBytes + p->rxGoodPktsInLast60s + p->rxBadPktsInLast60s;
    for(size_t i = 0; i < MAX_NUM_NODES; ++i) {
        s += p->txUcastPkts[i] + p->rxBcastPkts[i] + p->rxMcastPkts[i] + p->rxUcastPkts[i];
    }
    return s;
}

uint64_t c_sum_config(const ClnkLib_ClnkCfgV2_t* p) {
    const MXL_MOCA_CFG_V2_T* same = p;
    uint64_t s = (uint64_t)same->preferredNcMode + p->lowPowerMode + p->reservedBits + p->securityMode +
                 p->maxTxPwr + p->beaconTxPwr + p->reserved0 + p->tgtP2pNperRate + p->tgtP2pVlperRate +
                 p->tgtP2p50Rate + p->lof16 + p->tabooOffset + p->tabooMask + p->channelMask + p->bandMask;
    for(size_t i = 0; i < CLNK_NUM_PASSWORDS; ++i) {
        for(size_t k = 0; k < CLNK_PASSWORD_LEN; ++k) {
            s += p->mocaPassword[i][k];
        }
    }
    return s;
}

uint64_t c_sum_margins(const ClnkLib_RlapmStaticCfgV2_t* r, const ClnkLib_SapmStaticCfgV2_t* sp) {
    uint64_t s = (uint64_t)r->rlapmmode + (uint32_t)r->rlapmProfileId + sp->sapmmode + (uint32_t)sp->sapmProfileId;
    for(size_t p = 0; p < MAX_RLAPM_PROFILES; ++p) {
        const MXL_MOCA_RLAPM_CFG_V2_T* prof = &r->profiles[p];
        s += prof->rlapmmode;
        for(size_t f = 0; f < MAX_RLAPM_FREQS; ++f) {
            const MXL_MOCA_RLAPM_TABLE_V2_T* row = &prof->tbl[f];
            s += row->freq;
            for(size_t k = 0; k < MAX_RX_LEVELS_PADDED; ++k) {
                s += row->phymargin[k];
            }
        }
    }
    for(size_t p = 0; p < MAX_SAPM_PROFILES; ++p) {
        const MXL_MOCA_SAPM_CFG_V2_T* prof = &sp->profiles[p];
        s += prof->sapmmode;
        for(size_t f = 0; f < MAX_SAPM_FREQS; ++f) {
            const MXL_MOCA_SAPM_TABLE_V2_T* row = &prof->tbl[f];
            s += row->freq + row->threshold + (uint32_t)row->scstart;
            for(size_t k = 0; k < MAX_MINI_SAPM_MARGIN_LEN; ++k) {
                s += row->phymargin[k];
            }
        }
    }
    return s;
}

uint64_t c_sum_fmr(const ClnkLib_FmrInfo_t* p) {
    uint64_t s = (uint64_t)p->numOfNodes + p->nodeMask;
    for(size_t i = 0; i < MAX_NUM_NODES; ++i) {
        const ClnkLib_NodeFmr_t* n = &p->nodeFmr[i];
        s += n->validInfo + n->gapGcd + n->ofdmbGcd + n->rateGcd + n->defTableNum;
        for(size_t j = 0; j < MAX_NUM_NODES; ++j) {
            const ClnkLib_FmrP2p_t* q = &n->p2p[j];
            s += (uint64_t)q->gapNper + q->gapVLper + q->ofdmbNper + q->ofdmbVLper + q->rateNper + q->rateVLper;
        }
        for(size_t k = 0; k < CLNK_NUM_OFDMA; ++k) {
            const ClnkLib_FmrOfdma_t* o = &n->ofdma[k];
            s += (uint64_t)o->ofdmaDefTab + o->ofdmaGap + o->ofdmaRate + o->ofdmaSubchannels;
        }
    }
    return s;
}

uint64_t c_sum_bridge(const ClnkLib_BridgeTable_t* t, uint32_t n) {
    uint64_t s = 0;
    for(uint32_t i = 0; i < n && i < MAX_BRIDGE_ENTRIES; ++i) {
        s += (uint64_t)t->entry[i].macAddrHi + t->entry[i].macAddrLoIds;
    }
    return s;
}

uint64_t c_sum_flows(const ClnkLib_FlowListReq_t* req, const ClnkLib_FlowListRsp_t* rsp,
                     const ClnkLib_FlowQueryRsp_t* q) {
    const ClnkLib_PFP_t* f = &q->pfp;
    uint64_t s = sum_mac(req->ingressGuid) + req->flowStartIndex + req->flowMaxReturn + rsp->flowCode +
                 rsp->flowUpdateCount + rsp->totalFlowIdCount + rsp->numReturnedFlowIds;
    for(size_t i = 0; i < MAX_FLOWS_IN_LIST; ++i) {
        s += sum_mac(rsp->returnedFlowId[i]);
    }
    s += q->flowCode + q->leaseTimeLeft + q->dfid + sum_mac(f->flowId) + f->tPktSize + sum_mac(f->ingressGuid) +
         sum_mac(f->egressGuid) + f->flowTag + sum_mac(f->packetDa) + f->tPeakDataRateKbps + f->tLeaseTimeSec +
         f->tBurstSize + f->maxLatencyMs + f->stAvgRatio + f->maxNumRetry + f->flowPer + f->inOrderDeliver +
         f->tProtocol + f->ingressClass + f->vlanTag + f->dscpMoca;
    return s;
}

uint64_t c_sum_handle_and_names(const ClnkLib_Handle_t* h, const ClnkLib_Name_t* n) {
    return (uint64_t)(h->ctx != NULL) + h->magic + (uint32_t)h->slot + (uint8_t)h->ifName[0] + (uint8_t)n->ifName[0];
}

uint32_t c_mask_word(int opt) {
    clnk_param_mask_t m = {{0}};
    SET_PARAM_BIT(&m, opt);
    return TEST_PARAM_BIT(&m, opt) ? m.words[opt / 32] : 0u;
}

/* Sizes as a C compiler lays the records out, to compare with C++. */
const size_t c_record_sizes[C_RECORD_COUNT] = {
    sizeof(ClnkLib_Handle_t),      sizeof(ClnkLib_LocalInfo_t),        sizeof(ClnkLib_NetInfo_t),
    sizeof(ClnkLib_PhyTxProfile_t), sizeof(ClnkLib_PhyRxProfile_t),    sizeof(ClnkLib_EcbStats_t),
    sizeof(ClnkLib_PhyMisc_t),     sizeof(ClnkLib_CdInfo_t),           sizeof(ClnkLib_DataStats_t),
    sizeof(ClnkLib_ClnkCfgV2_t),   sizeof(ClnkLib_RlapmStaticCfgV2_t), sizeof(ClnkLib_SapmStaticCfgV2_t),
    sizeof(ClnkLib_FmrInfo_t),     sizeof(ClnkLib_BridgeTable_t),      sizeof(ClnkLib_FlowListRsp_t),
    sizeof(ClnkLib_FlowQueryRsp_t),
};

/* Every operation, called from C with NULL arguments: each must refuse, not crash. */
int c_call_every_operation_with_nulls(void) {
    int refused = 0;
    refused += ClnkLib_OpenByName(NULL, NULL) < 0;
    ClnkLib_Close(NULL);
    refused += ClnkLib_ListNames(NULL, 4) < 0;
    refused += ClnkLib_GetLocalInfo(NULL, NULL) < 0;
    refused += ClnkLib_GetNetInfo(NULL, 0, NULL) < 0;
    refused += ClnkLib_GetPhyTxProfile(NULL, 0, 0xd, 0, NULL) < 0;
    refused += ClnkLib_GetPhyRxProfile(NULL, 0, 0xd, 0, NULL) < 0;
    refused += ClnkLib_GetEcbStats(NULL, 0, NULL) < 0;
    refused += ClnkLib_GetClnkCfgV2(NULL, 0, NULL) < 0;
    refused += ClnkLib_GetClnkCfgV2Params(NULL, NULL, NULL) < 0;
    refused += ClnkLib_SetClnkCfgV2Params(NULL, NULL, NULL) < 0;
    refused += ClnkLib_Stop(NULL) < 0;
    refused += ClnkLib_Start(NULL) < 0;
    refused += ClnkLib_GetPhyMisc(NULL, NULL) < 0;
    refused += ClnkLib_GetCdInfo(NULL, 0, NULL) < 0;
    refused += ClnkLib_GetDataStats(NULL, 0, NULL) < 0;
    refused += ClnkLib_GetRlapmCfg(NULL, NULL) < 0;
    refused += ClnkLib_GetSapmCfg(NULL, NULL) < 0;
    refused += ClnkLib_GetFmrInfo(NULL, 1, 2, NULL) < 0;
    refused += ClnkLib_GetBridgeTable(NULL, 0, 0, NULL, NULL) < 0;
    refused += ClnkLib_ListFlows(NULL, NULL, NULL) < 0;
    refused += ClnkLib_QueryFlow(NULL, NULL, NULL) < 0;
    return refused;
}
