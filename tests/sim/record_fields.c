/* Every documented field of every ClnkLib record, read by name from C11. */
#include <stddef.h>

#include "record_fields.h"

#define MAC(m) ((uint64_t) (m).hi + (m).lo)

uint64_t c_sum_all_fields(const ClnkLib_Handle_t* h, const ClnkLib_Name_t* n, const ClnkLib_LocalInfo_t* li,
                          const ClnkLib_NetInfo_t* ni, const ClnkLib_PhyTxProfile_t* tx,
                          const ClnkLib_PhyRxProfile_t* rx, const ClnkLib_EcbStats_t* e, const ClnkLib_PhyMisc_t* m,
                          const ClnkLib_CdInfo_t* cd, const ClnkLib_DataStats_t* ds, const MXL_MOCA_CFG_V2_T* cfg,
                          const ClnkLib_RlapmStaticCfgV2_t* rl, const ClnkLib_SapmStaticCfgV2_t* sa,
                          const ClnkLib_FmrInfo_t* fmr, const ClnkLib_BridgeTable_t* bt,
                          const ClnkLib_FlowListReq_t* req, const ClnkLib_FlowListRsp_t* rsp,
                          const ClnkLib_FlowQueryRsp_t* q) {
    const ClnkLib_PFP_t* f = &q->pfp;
    size_t i, j, k;
    uint64_t s =
        (uint64_t) (h->ctx != NULL) + h->magic + (uint32_t) h->slot + (uint8_t) h->ifName[0] + (uint8_t) n->ifName[0];
    s += (uint64_t) li->nodeId + li->ncNodeId + li->backupNodeId + li->lmoNodeId + li->linkStatus + li->networkState +
         li->networkMocaVer + li->activeNodeBitmask + li->sleepM1NodeBitmask + li->sleepM2NodeBitmask +
         li->sleepM3NodeBitmask + (uint32_t) li->priChnOffset + (uint32_t) li->secChnOffset + li->tabooMask +
         li->macAddrHi + li->macAddrLo;
    for(i = 0; i < CLNK_SOC_VERSION_WORDS; ++i)
        s += li->socVersionStr[i];
    s += (uint64_t) ni->nodeId + ni->guidHi + ni->guidLo + ni->mocaVer + ni->protoSupport + ni->txDataFrameGood +
         ni->txDataFrameDropped + ni->rxDataFrameGood + ni->rxDataFrameBad;
    s += (uint64_t) tx->txProfileValid + tx->txPhyrate + tx->txTpcBackoff + tx->txNumSymbols + tx->txCp +
         rx->rxProfileValid + rx->rxPhyrate + rx->rxPwrLevel + rx->rxChnSnr + rx->rxNumSymbols + rx->rxCp;
    s += (uint64_t) e->debug0 + e->debug1 + e->debug2 + e->debug3 + e->debug4 + e->debug5 + e->debug6 + e->debug7 +
         e->debug8 + e->debug9 + e->debug10 + e->debug11 + e->debug12 + e->debug13 + e->debug14 + e->debug15;
    s += (uint64_t) m->currentOperatingFrequency + m->currentBand + m->txPowerDbm + cd->linkUpTimeInSecs +
         cd->resetCount + cd->resetLine + cd->resetEpc + cd->linkLostCount;
    s += ds->txTotalPkts + ds->txTotalBytes + ds->txDroppedPkts + ds->txBcastPkts + ds->txMcastPkts + ds->txBcastBytes +
         ds->txMcastBytes + ds->txUcastBytes + ds->txGoodPktsInLast60s + ds->txDroppedPktsInLast60s + ds->rxTotalPkts +
         ds->rxTotalBytes + ds->rxDroppedPkts + ds->rxBcastBytes + ds->rxMcastBytes + ds->rxUcastBytes +
         ds->rxGoodPktsInLast60s + ds->rxBadPktsInLast60s;
    for(i = 0; i < MAX_NUM_NODES; ++i)
        s += ds->txUcastPkts[i] + ds->rxBcastPkts[i] + ds->rxMcastPkts[i] + ds->rxUcastPkts[i];
    s += (uint64_t) cfg->preferredNcMode + cfg->lowPowerMode + cfg->reservedBits + cfg->securityMode + cfg->maxTxPwr +
         cfg->beaconTxPwr + cfg->reserved0 + cfg->tgtP2pNperRate + cfg->tgtP2pVlperRate + cfg->tgtP2p50Rate +
         cfg->lof16 + cfg->tabooOffset + cfg->tabooMask + cfg->channelMask + cfg->bandMask;
    for(i = 0; i < CLNK_NUM_PASSWORDS; ++i)
        for(k = 0; k < CLNK_PASSWORD_LEN; ++k)
            s += cfg->mocaPassword[i][k];
    s += (uint64_t) rl->rlapmmode + (uint32_t) rl->rlapmProfileId + sa->sapmmode + (uint32_t) sa->sapmProfileId;
    for(i = 0; i < MAX_RLAPM_PROFILES; ++i) {
        const MXL_MOCA_RLAPM_CFG_V2_T* p = &rl->profiles[i];
        s += p->rlapmmode;
        for(j = 0; j < MAX_RLAPM_FREQS; ++j) {
            const MXL_MOCA_RLAPM_TABLE_V2_T* row = &p->tbl[j];
            s += row->freq;
            for(k = 0; k < MAX_RX_LEVELS_PADDED; ++k)
                s += row->phymargin[k];
        }
    }
    for(i = 0; i < MAX_SAPM_PROFILES; ++i) {
        const MXL_MOCA_SAPM_CFG_V2_T* p = &sa->profiles[i];
        s += p->sapmmode;
        for(j = 0; j < MAX_SAPM_FREQS; ++j) {
            const MXL_MOCA_SAPM_TABLE_V2_T* row = &p->tbl[j];
            s += (uint64_t) row->freq + row->threshold + (uint32_t) row->scstart;
            for(k = 0; k < MAX_MINI_SAPM_MARGIN_LEN; ++k)
                s += row->phymargin[k];
        }
    }
    s += (uint64_t) fmr->numOfNodes + fmr->nodeMask;
    for(i = 0; i < MAX_NUM_NODES; ++i) {
        const ClnkLib_NodeFmr_t* nf = &fmr->nodeFmr[i];
        s += (uint64_t) nf->validInfo + nf->gapGcd + nf->ofdmbGcd + nf->rateGcd + nf->defTableNum;
        for(j = 0; j < MAX_NUM_NODES; ++j)
            s += (uint64_t) nf->p2p[j].gapNper + nf->p2p[j].gapVLper + nf->p2p[j].ofdmbNper + nf->p2p[j].ofdmbVLper +
                 nf->p2p[j].rateNper + nf->p2p[j].rateVLper;
        for(k = 0; k < CLNK_NUM_OFDMA; ++k)
            s += (uint64_t) nf->ofdma[k].ofdmaDefTab + nf->ofdma[k].ofdmaGap + nf->ofdma[k].ofdmaRate +
                 nf->ofdma[k].ofdmaSubchannels;
    }
    for(i = 0; i < MAX_BRIDGE_ENTRIES; ++i)
        s += (uint64_t) bt->entry[i].macAddrHi + bt->entry[i].macAddrLoIds;
    s += MAC(req->ingressGuid) + req->flowStartIndex + req->flowMaxReturn + rsp->flowCode + rsp->flowUpdateCount +
         rsp->totalFlowIdCount + rsp->numReturnedFlowIds;
    for(i = 0; i < MAX_FLOWS_IN_LIST; ++i)
        s += MAC(rsp->returnedFlowId[i]);
    s += q->flowCode + q->leaseTimeLeft + q->dfid + MAC(f->flowId) + f->tPktSize + MAC(f->ingressGuid) +
         MAC(f->egressGuid) + f->flowTag + MAC(f->packetDa) + f->tPeakDataRateKbps + f->tLeaseTimeSec + f->tBurstSize +
         f->maxLatencyMs + f->stAvgRatio + f->maxNumRetry + f->flowPer + f->inOrderDeliver + f->tProtocol +
         f->ingressClass + f->vlanTag + f->dscpMoca;
    return s;
}

uint32_t c_taboo_mask_word(void) {
    clnk_param_mask_t m = {{0}};
    SET_PARAM_BIT(&m, OPT_TABOO_MASK);
    return TEST_PARAM_BIT(&m, OPT_TABOO_MASK) ? m.words[OPT_TABOO_MASK / 32] : 0u;
}

const size_t c_record_sizes[C_RECORD_COUNT] = {
    sizeof(ClnkLib_Handle_t),          sizeof(ClnkLib_LocalInfo_t), sizeof(ClnkLib_NetInfo_t),
    sizeof(ClnkLib_DataStats_t),       sizeof(ClnkLib_ClnkCfgV2_t), sizeof(ClnkLib_RlapmStaticCfgV2_t),
    sizeof(ClnkLib_SapmStaticCfgV2_t), sizeof(ClnkLib_FmrInfo_t),   sizeof(ClnkLib_FlowQueryRsp_t),
};

/* Every operation called from C with NULL arguments: each must refuse, none may crash. */
int c_refusals_of_null_calls(void) {
    ClnkLib_Close(NULL);
    return (ClnkLib_OpenByName(NULL, NULL) < 0) + (ClnkLib_ListNames(NULL, 4) < 0) +
           (ClnkLib_GetLocalInfo(NULL, NULL) < 0) + (ClnkLib_GetNetInfo(NULL, 0, NULL) < 0) +
           (ClnkLib_GetPhyTxProfile(NULL, 0, 0xd, 0, NULL) < 0) + (ClnkLib_GetPhyRxProfile(NULL, 0, 0xd, 0, NULL) < 0) +
           (ClnkLib_GetEcbStats(NULL, 0, NULL) < 0) + (ClnkLib_GetClnkCfgV2(NULL, 0, NULL) < 0) +
           (ClnkLib_GetClnkCfgV2Params(NULL, NULL, NULL) < 0) + (ClnkLib_SetClnkCfgV2Params(NULL, NULL, NULL) < 0) +
           (ClnkLib_Stop(NULL) < 0) + (ClnkLib_Start(NULL) < 0) + (ClnkLib_GetPhyMisc(NULL, NULL) < 0) +
           (ClnkLib_GetCdInfo(NULL, 0, NULL) < 0) + (ClnkLib_GetDataStats(NULL, 0, NULL) < 0) +
           (ClnkLib_GetRlapmCfg(NULL, NULL) < 0) + (ClnkLib_GetSapmCfg(NULL, NULL) < 0) +
           (ClnkLib_GetFmrInfo(NULL, 1, 2, NULL) < 0) + (ClnkLib_GetBridgeTable(NULL, 0, 0, NULL, NULL) < 0) +
           (ClnkLib_ListFlows(NULL, NULL, NULL) < 0) + (ClnkLib_QueryFlow(NULL, NULL, NULL) < 0);
}
