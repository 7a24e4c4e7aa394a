// The C translation unit's entry points (record_fields.c).
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "clnkapi.h"

#ifdef __cplusplus
extern "C" {
#endif

#define C_RECORD_COUNT 16
#define C_OPERATIONS_REFUSING_NULLS 21

extern const size_t c_record_sizes[C_RECORD_COUNT];

uint64_t c_sum_local_info(const ClnkLib_LocalInfo_t* p);
uint64_t c_sum_net_info(const ClnkLib_NetInfo_t* p);
uint64_t c_sum_profiles(const ClnkLib_PhyTxProfile_t* tx, const ClnkLib_PhyRxProfile_t* rx);
uint64_t c_sum_misc(const ClnkLib_EcbStats_t* e, const ClnkLib_PhyMisc_t* m, const ClnkLib_CdInfo_t* c);
uint64_t c_sum_data_stats(const ClnkLib_DataStats_t* p);
uint64_t c_sum_config(const ClnkLib_ClnkCfgV2_t* p);
uint64_t c_sum_margins(const ClnkLib_RlapmStaticCfgV2_t* r, const ClnkLib_SapmStaticCfgV2_t* s);
uint64_t c_sum_fmr(const ClnkLib_FmrInfo_t* p);
uint64_t c_sum_bridge(const ClnkLib_BridgeTable_t* t, uint32_t n);
uint64_t c_sum_flows(const ClnkLib_FlowListReq_t* req, const ClnkLib_FlowListRsp_t* rsp,
                     const ClnkLib_FlowQueryRsp_t* q);
uint64_t c_sum_handle_and_names(const ClnkLib_Handle_t* h, const ClnkLib_Name_t* n);
uint32_t c_mask_word(int opt);
int c_call_every_operation_with_nulls(void);

#ifdef __cplusplus
}
#endif
