// Entry points of the C translation unit record_fields.c.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "clnkapi.h"

#ifdef __cplusplus
extern "C" {
#endif

#define C_RECORD_COUNT 9
extern const size_t c_record_sizes[C_RECORD_COUNT];

uint64_t c_sum_all_fields(const ClnkLib_Handle_t* h, const ClnkLib_Name_t* n, const ClnkLib_LocalInfo_t* li,
                          const ClnkLib_NetInfo_t* ni, const ClnkLib_PhyTxProfile_t* tx,
                          const ClnkLib_PhyRxProfile_t* rx, const ClnkLib_EcbStats_t* e, const ClnkLib_PhyMisc_t* m,
                          const ClnkLib_CdInfo_t* cd, const ClnkLib_DataStats_t* ds, const MXL_MOCA_CFG_V2_T* cfg,
                          const ClnkLib_RlapmStaticCfgV2_t* rl, const ClnkLib_SapmStaticCfgV2_t* sa,
                          const ClnkLib_FmrInfo_t* fmr, const ClnkLib_BridgeTable_t* bt,
                          const ClnkLib_FlowListReq_t* req, const ClnkLib_FlowListRsp_t* rsp,
                          const ClnkLib_FlowQueryRsp_t* q);
uint32_t c_taboo_mask_word(void);
int c_refusals_of_null_calls(void); // 21 when every operation refuses

#ifdef __cplusplus
}
#endif
