// SPDX-License-Identifier: BSD-2-Clause-Patent
/* The chip library header compiled as plain C11, and every operation called
 * with NULL arguments. */
#include <stddef.h>

#include "clnkapi.h"

/* 21 when every operation refuses. */
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
