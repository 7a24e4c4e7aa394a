// SPDX-License-Identifier: BSD-2-Clause-Patent
/*
 * ClnkLib: control library of the MXL371x MoCA chip family.
 *
 * Every operation takes the caller's handle first (except ClnkLib_ListNames)
 * and returns 0 on success or a negative code. The library delivers
 * 64-bit counters with their two 32-bit halves exchanged, the firmware version
 * text four characters to a 32-bit word (first character in the most
 * significant byte), and GUIDs / MAC addresses as two words: bytes 1-4 in the
 * first (most significant first), bytes 5-6 in the upper 16 bits of the second.
 */
#ifndef CLNKAPI_H
#define CLNKAPI_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- limits ---------------------------------------------------------------------------- */
#define MAX_NUM_NODES 16
#define CLNK_IFNAME_LEN 16
#define MAX_BRIDGE_ENTRIES 192
#define MAX_FLOWS_IN_LIST 32
#define CLNK_NUM_PASSWORDS 8
#define CLNK_PASSWORD_LEN 18
#define CLNK_SOC_VERSION_WORDS 6
#define CLNK_NUM_PARAM_WORDS 9
#define CLNK_NUM_ECB_DEBUG 16
#define CLNK_NUM_OFDMA 3

#define MAX_RLAPM_PROFILES 16
#define MAX_RLAPM_FREQS 6
#define MAX_RX_LEVELS 81
#define MAX_RX_LEVELS_PADDED 84
#define MAX_SAPM_PROFILES 16
#define MAX_SAPM_FREQS 4
#define MAX_MINI_SAPM_MARGIN_LEN 256

/* ---- result codes ---------------------------------------------------------------------- */
#define CLNK_OK 0
#define CLNK_ERR_GENERIC (-1)
#define CLNK_ERR_NO_DEVICE (-2) /* no such interface, or it cannot be opened */
#define CLNK_ERR_BAD_PARAM (-3) /* NULL pointer, bad handle, bad argument */
#define CLNK_ERR_NO_NODE (-4)   /* node id not in the network */
#define CLNK_ERR_TIMEOUT (-5)   /* the chip did not answer in time */

/* ---- handles and names ----------------------------------------------------------------- */
typedef struct {
    void* ctx;      /* library-private */
    uint32_t magic; /* set by a successful open, cleared by close */
    int32_t slot;
    char ifName[CLNK_IFNAME_LEN];
} ClnkLib_Handle_t;

typedef struct {
    char ifName[CLNK_IFNAME_LEN];
} ClnkLib_Name_t;

typedef struct {
    uint32_t hi; /* bytes 1-4, most significant first */
    uint32_t lo; /* bytes 5-6 in bits 31-16 */
} ClnkLib_MacAddr_t;

/* ---- local node and network ------------------------------------------------------------ */
typedef struct {
    uint32_t nodeId;
    uint32_t ncNodeId;
    uint32_t backupNodeId;
    uint32_t lmoNodeId;
    uint32_t linkStatus; /* 0 = link down */
    uint32_t networkState;
    uint32_t networkMocaVer; /* major in bits 7-4, minor in bits 3-0 */
    uint32_t activeNodeBitmask;
    uint32_t sleepM1NodeBitmask;
    uint32_t sleepM2NodeBitmask;
    uint32_t sleepM3NodeBitmask;
    int32_t priChnOffset;
    int32_t secChnOffset;
    uint32_t tabooMask;
    uint32_t socVersionStr[CLNK_SOC_VERSION_WORDS];
    uint32_t macAddrHi; /* the local node's own GUID */
    uint32_t macAddrLo;
} ClnkLib_LocalInfo_t;

typedef struct {
    uint32_t nodeId;
    uint32_t guidHi;
    uint32_t guidLo;
    uint32_t mocaVer;
    uint32_t protoSupport;    /* 0x40 preferred NC, 0x180 version bits, 0x200 bonding */
    uint64_t txDataFrameGood; /* 64-bit counters: halves exchanged */
    uint64_t txDataFrameDropped;
    uint64_t rxDataFrameGood;
    uint64_t rxDataFrameBad;
} ClnkLib_NetInfo_t;

typedef struct {
    uint32_t txProfileValid;
    uint32_t txPhyrate;
    uint32_t txTpcBackoff;
    uint32_t txNumSymbols;
    uint32_t txCp;
} ClnkLib_PhyTxProfile_t;

typedef struct {
    uint32_t rxProfileValid;
    uint32_t rxPhyrate;
    uint32_t rxPwrLevel;
    uint32_t rxChnSnr;
    uint32_t rxNumSymbols;
    uint32_t rxCp;
} ClnkLib_PhyRxProfile_t;

typedef struct {
    uint32_t debug0, debug1, debug2, debug3, debug4, debug5, debug6, debug7;
    uint32_t debug8, debug9, debug10, debug11, debug12, debug13, debug14, debug15;
} ClnkLib_EcbStats_t;

typedef struct {
    uint32_t currentOperatingFrequency;
    uint32_t currentBand;
    uint32_t txPowerDbm;
} ClnkLib_PhyMisc_t;

typedef struct {
    uint32_t linkUpTimeInSecs;
    uint32_t resetCount;
    uint32_t resetLine;
    uint32_t resetEpc;
    uint32_t linkLostCount;
} ClnkLib_CdInfo_t;

typedef struct {
    uint64_t txTotalPkts;
    uint64_t txTotalBytes;
    uint64_t txDroppedPkts;
    uint64_t txBcastPkts;
    uint64_t txMcastPkts;
    uint64_t txUcastPkts[MAX_NUM_NODES];
    uint64_t txBcastBytes;
    uint64_t txMcastBytes;
    uint64_t txUcastBytes;
    uint64_t txGoodPktsInLast60s;
    uint64_t txDroppedPktsInLast60s;
    uint64_t rxTotalPkts;
    uint64_t rxTotalBytes;
    uint64_t rxDroppedPkts;
    uint64_t rxBcastPkts[MAX_NUM_NODES];
    uint64_t rxMcastPkts[MAX_NUM_NODES];
    uint64_t rxUcastPkts[MAX_NUM_NODES];
    uint64_t rxBcastBytes;
    uint64_t rxMcastBytes;
    uint64_t rxUcastBytes;
    uint64_t rxGoodPktsInLast60s;
    uint64_t rxBadPktsInLast60s;
} ClnkLib_DataStats_t;

/* ---- configuration --------------------------------------------------------------------- */
typedef struct MXL_MOCA_CFG_V2 {
    uint32_t preferredNcMode : 1;
    uint32_t lowPowerMode : 1;
    uint32_t reservedBits : 30;
    uint8_t securityMode;
    uint8_t maxTxPwr;
    uint8_t beaconTxPwr;
    uint8_t reserved0;
    uint8_t mocaPassword[CLNK_NUM_PASSWORDS][CLNK_PASSWORD_LEN];
    uint16_t tgtP2pNperRate;
    uint16_t tgtP2pVlperRate;
    uint16_t tgtP2p50Rate;
    uint16_t lof16;
    uint32_t tabooOffset : 8; /* one 32-bit word: offset in bits 7-0, */
    uint32_t tabooMask : 24;  /* mask in bits 31-8 */
    uint32_t channelMask;
    uint32_t bandMask;
} ClnkLib_ClnkCfgV2_t;
typedef ClnkLib_ClnkCfgV2_t MXL_MOCA_CFG_V2_T;

typedef struct {
    uint32_t words[CLNK_NUM_PARAM_WORDS];
} clnk_param_mask_t;

#define SET_PARAM_BIT(pmask, opt) ((pmask)->words[(opt) / 32] |= (1u << ((opt) % 32)))
#define TEST_PARAM_BIT(pmask, opt) ((((pmask)->words[(opt) / 32]) >> ((opt) % 32)) & 1u)

#define OPT_MOCA_PASSWD_D 52
#define OPT_MOCA_PASSWD_D_LO 53
#define OPT_MOCA_PASSWD_D_HI 54
#define OPT_MOCA_PASSWD_E 55
#define OPT_MOCA_PASSWD_F_SAT 56
#define OPT_MOCA_PASSWD_F_CBL 57
#define OPT_MOCA_PASSWD_H 58
#define OPT_MOCA_PASSWD_CUSTOM 59
#define OPT_PREFER_NC_MODE 69
#define OPT_SECURITY_MODE 70
#define OPT_SECURITY_MODE_D 71
#define OPT_SECURITY_MODE_D_LO 72
#define OPT_SECURITY_MODE_D_HI 73
#define OPT_SECURITY_MODE_E 74
#define OPT_SECURITY_MODE_F_SAT 75
#define OPT_SECURITY_MODE_F_CBL 76
#define OPT_SECURITY_MODE_H 77
#define OPT_SECURITY_MODE_CUSTOM 78
#define OPT_TABOO_MASK 138
#define OPT_BEACON_TX_POW 158
#define OPT_MAX_TX_POW 162
#define OPT_TARGETP2PRATE50 199
#define OPT_TARGETP2PRATENPER 200

/* ---- PHY margin tables ----------------------------------------------------------------- */
typedef struct {
    uint32_t freq; /* 0: row not in use */
    uint8_t phymargin[MAX_RX_LEVELS_PADDED];
} MXL_MOCA_RLAPM_TABLE_V2_T;

typedef struct {
    uint32_t rlapmmode;
    MXL_MOCA_RLAPM_TABLE_V2_T tbl[MAX_RLAPM_FREQS];
} MXL_MOCA_RLAPM_CFG_V2_T;
typedef MXL_MOCA_RLAPM_CFG_V2_T ClnkLib_RlapmCfgV2_t;

typedef struct {
    uint32_t rlapmmode;
    int32_t rlapmProfileId;
    ClnkLib_RlapmCfgV2_t profiles[MAX_RLAPM_PROFILES];
} ClnkLib_RlapmStaticCfgV2_t;

typedef struct {
    uint32_t freq; /* 0: row not in use */
    uint32_t threshold;
    int32_t scstart;
    uint8_t phymargin[MAX_MINI_SAPM_MARGIN_LEN];
} MXL_MOCA_SAPM_TABLE_V2_T;

typedef struct {
    uint32_t sapmmode;
    MXL_MOCA_SAPM_TABLE_V2_T tbl[MAX_SAPM_FREQS];
} MXL_MOCA_SAPM_CFG_V2_T;
typedef MXL_MOCA_SAPM_CFG_V2_T ClnkLib_SapmCfgV2_t;

typedef struct {
    uint32_t sapmmode;
    int32_t sapmProfileId;
    ClnkLib_SapmCfgV2_t profiles[MAX_SAPM_PROFILES];
} ClnkLib_SapmStaticCfgV2_t;

/* ---- full mesh rates ------------------------------------------------------------------- */
typedef struct {
    uint16_t gapNper;
    uint16_t gapVLper;
    uint16_t ofdmbNper;
    uint16_t ofdmbVLper;
    uint16_t rateNper;
    uint16_t rateVLper;
} ClnkLib_FmrP2p_t;

typedef struct {
    uint16_t ofdmaDefTab;
    uint16_t ofdmaGap;
    uint16_t ofdmaRate;
    uint16_t ofdmaSubchannels;
} ClnkLib_FmrOfdma_t;

typedef struct {
    uint32_t validInfo;
    ClnkLib_FmrP2p_t p2p[MAX_NUM_NODES];
    uint16_t gapGcd;
    uint16_t ofdmbGcd;
    uint16_t rateGcd;
    uint16_t defTableNum;
    ClnkLib_FmrOfdma_t ofdma[CLNK_NUM_OFDMA];
} ClnkLib_NodeFmr_t;

typedef struct {
    uint32_t numOfNodes;
    uint32_t nodeMask;
    ClnkLib_NodeFmr_t nodeFmr[MAX_NUM_NODES];
} ClnkLib_FmrInfo_t;

/* ---- bridge tables --------------------------------------------------------------------- */
#define CLNK_BRIDGE_UCAST_DST 0
#define CLNK_BRIDGE_MCAST_DST 1
#define CLNK_BRIDGE_PQOS_FLOW 2
#define CLNK_BRIDGE_UCAST_SRC 3
#define CLNK_BRIDGE_MCAST_SRC 4

typedef struct {
    uint32_t macAddrHi;    /* MAC bytes 1-4 */
    uint32_t macAddrLoIds; /* MAC bytes 5-6 in bits 31-16, node id in bits 15-0 */
} ClnkLib_BridgeEntry_t;

typedef struct {
    ClnkLib_BridgeEntry_t entry[MAX_BRIDGE_ENTRIES];
} ClnkLib_BridgeTable_t;

/* ---- PQoS flows ------------------------------------------------------------------------ */
typedef uint32_t ClnkLib_FlowCode_t;
enum {
    CLNKLIB_FLOWCODE_SUCCESS = 1,
    CLNKLIB_FLOWCODE_TIMEOUT = 8,
    CLNKLIB_FLOWCODE_QOS_UNAVAIL = 12,
    CLNKLIB_FLOWCODE_UNKNOWN = 16,
    CLNKLIB_FLOWCODE_INTERNAL_ERROR = 20,
    CLNKLIB_FLOWCODE_FLOW_EXISTS = 28,
    CLNKLIB_FLOWCODE_NO_SUCH_FLOW = 32,
    CLNKLIB_FLOWCODE_TOO_MANY_FLOWS = 36,
    CLNKLIB_FLOWCODE_TOO_MANY_MCAST_F = 37,
    CLNKLIB_FLOWCODE_BAD_INGRESS_CFY = 38,
    CLNKLIB_FLOWCODE_UNUSABLE_DA = 40,
    CLNKLIB_FLOWCODE_INVALID_DA = 41,
    CLNKLIB_FLOWCODE_INGRESS_M1 = 42,
    CLNKLIB_FLOWCODE_BAD_INGR = 44,
    CLNKLIB_FLOWCODE_BAD_EGR = 48,
    CLNKLIB_FLOWCODE_INGR_BW_UNAVAIL = 52,
    CLNKLIB_FLOWCODE_EGR_BW_UNAVAIL = 56,
    CLNKLIB_FLOWCODE_NW_STPS_UNAVAIL = 60,
    CLNKLIB_FLOWCODE_NW_TXPS_UNAVAIL = 64,
    CLNKLIB_FLOWCODE_BAD_RETRANS = 66,
    CLNKLIB_FLOWCODE_LEASE_EXPR_SOON = 68,
    CLNKLIB_FLOWCODE_BAD_PEAK_BW = 80,
    CLNKLIB_FLOWCODE_BAD_BURST_SIZE = 84,
    CLNKLIB_FLOWCODE_BAD_M20_TSPEC = 88,
    CLNKLIB_FLOWCODE_INVALID_FLOW_ID = 92,
    CLNKLIB_FLOWCODE_DRIVER_ERROR = 96,
    CLNKLIB_FLOWCODE_BAD_M11_TSPEC = 100,
    CLNKLIB_FLOWCODE_INVALID_DSCP = 104,
    CLNKLIB_FLOWCODE_INVALID_VLAN = 108,
    CLNKLIB_FLOWCODE_INVALID_ICR = 112,
    CLNKLIB_FLOWCODE_UNUSABLE_LINK = 116
};

typedef struct {
    ClnkLib_MacAddr_t ingressGuid;
    uint32_t flowStartIndex;
    uint32_t flowMaxReturn;
} ClnkLib_FlowListReq_t;

typedef struct {
    ClnkLib_FlowCode_t flowCode;
    uint32_t flowUpdateCount;
    uint32_t totalFlowIdCount;
    uint32_t numReturnedFlowIds;
    ClnkLib_MacAddr_t returnedFlowId[MAX_FLOWS_IN_LIST];
} ClnkLib_FlowListRsp_t;

typedef struct {
    ClnkLib_MacAddr_t flowId;
    uint32_t tPktSize;
    ClnkLib_MacAddr_t ingressGuid;
    ClnkLib_MacAddr_t egressGuid;
    uint32_t flowTag;
    ClnkLib_MacAddr_t packetDa;
    uint32_t tPeakDataRateKbps;
    uint32_t tLeaseTimeSec;
    uint32_t tBurstSize;
    uint32_t maxLatencyMs;
    uint32_t stAvgRatio;
    uint32_t maxNumRetry;
    uint32_t flowPer;
    uint32_t inOrderDeliver;
    uint32_t tProtocol;
    uint32_t ingressClass;
    uint32_t vlanTag;
    uint32_t dscpMoca;
} ClnkLib_PFP_t;

typedef struct {
    ClnkLib_FlowCode_t flowCode;
    uint32_t leaseTimeLeft;
    ClnkLib_PFP_t pfp;
    uint32_t dfid;
} ClnkLib_FlowQueryRsp_t;

/* ---- operations ------------------------------------------------------------------------ */
int32_t ClnkLib_OpenByName(ClnkLib_Handle_t* pHandle, const char* ifName);
void ClnkLib_Close(ClnkLib_Handle_t* pHandle);
int32_t ClnkLib_ListNames(ClnkLib_Name_t* names, uint32_t capacity);

int32_t ClnkLib_GetLocalInfo(ClnkLib_Handle_t* pHandle, ClnkLib_LocalInfo_t* pInfo);
int32_t ClnkLib_GetNetInfo(ClnkLib_Handle_t* pHandle, uint32_t nodeId, ClnkLib_NetInfo_t* pInfo);
int32_t ClnkLib_GetPhyTxProfile(ClnkLib_Handle_t* pHandle, uint32_t nodeId, uint32_t profileType, uint32_t flags,
                                ClnkLib_PhyTxProfile_t* pProfile);
int32_t ClnkLib_GetPhyRxProfile(ClnkLib_Handle_t* pHandle, uint32_t nodeId, uint32_t profileType, uint32_t flags,
                                ClnkLib_PhyRxProfile_t* pProfile);
int32_t ClnkLib_GetEcbStats(ClnkLib_Handle_t* pHandle, uint32_t flags, ClnkLib_EcbStats_t* pStats);
int32_t ClnkLib_GetClnkCfgV2(ClnkLib_Handle_t* pHandle, uint32_t flags, ClnkLib_ClnkCfgV2_t* pCfg);
int32_t ClnkLib_GetClnkCfgV2Params(ClnkLib_Handle_t* pHandle, const clnk_param_mask_t* pMask,
                                   ClnkLib_ClnkCfgV2_t* pCfg);
int32_t ClnkLib_SetClnkCfgV2Params(ClnkLib_Handle_t* pHandle, const clnk_param_mask_t* pMask,
                                   const ClnkLib_ClnkCfgV2_t* pCfg);
int32_t ClnkLib_Stop(ClnkLib_Handle_t* pHandle);
int32_t ClnkLib_Start(ClnkLib_Handle_t* pHandle);
int32_t ClnkLib_GetPhyMisc(ClnkLib_Handle_t* pHandle, ClnkLib_PhyMisc_t* pMisc);
int32_t ClnkLib_GetCdInfo(ClnkLib_Handle_t* pHandle, uint32_t nodeId, ClnkLib_CdInfo_t* pInfo);
int32_t ClnkLib_GetDataStats(ClnkLib_Handle_t* pHandle, uint32_t flags, ClnkLib_DataStats_t* pStats);
int32_t ClnkLib_GetRlapmCfg(ClnkLib_Handle_t* pHandle, ClnkLib_RlapmStaticCfgV2_t* pCfg);
int32_t ClnkLib_GetSapmCfg(ClnkLib_Handle_t* pHandle, ClnkLib_SapmStaticCfgV2_t* pCfg);
int32_t ClnkLib_GetFmrInfo(ClnkLib_Handle_t* pHandle, uint32_t nodeMask, uint32_t flags, ClnkLib_FmrInfo_t* pFmr);
int32_t ClnkLib_GetBridgeTable(ClnkLib_Handle_t* pHandle, uint32_t tableType, uint32_t flags, uint32_t* pNumEntries,
                               ClnkLib_BridgeTable_t* pTable);
int32_t ClnkLib_ListFlows(ClnkLib_Handle_t* pHandle, ClnkLib_FlowListReq_t* pReq, ClnkLib_FlowListRsp_t* pRsp);
int32_t ClnkLib_QueryFlow(ClnkLib_Handle_t* pHandle, ClnkLib_MacAddr_t* pFlowId, ClnkLib_FlowQueryRsp_t* pRsp);

#ifdef __cplusplus
}
#endif

#endif
