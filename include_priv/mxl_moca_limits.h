// SPDX-License-Identifier: BSD-2-Clause-Patent
// Limits of the MXL371x MoCA control module's tables and texts. Plain C: the
// schema of the module's answers, which C code links, sizes its tables from here.
#ifndef MXL_MOCA_LIMITS_H
#define MXL_MOCA_LIMITS_H

#include <clnkapi.h>

// ---- limits -----------------------------------------------------------------------------
#define MOCA_MAX_NODES 16
#define MOCA_MAX_FLOWS 16
#define MOCA_MAX_BRIDGE_ENTRIES_PER_NODE 64
#define MOCA_MAX_RLAPM_ENTRIES (MAX_RLAPM_PROFILES * MAX_RLAPM_FREQS * MAX_RX_LEVELS_PADDED)
#define MOCA_MAX_SAPM_ENTRIES (MAX_SAPM_PROFILES * MAX_SAPM_FREQS)

#define MOCA_RLAPM_GARPL_MAX_VALUE 65
#define MOCA_RLAPM_PHY_MARGIN_MAX_VALUE 60
#define MOCA_SAPM_ARPLTHLD_MAX_VALUE 65
#define MOCA_SAPM_PHY_MARGIN_MAX_VALUE 60

#define MAX_FLOWIDS_PER_LIST 32
#define MAX_RETRIES_FOR_QOS_OPERATION 6

#define MOCA_NAME_LEN 16     // 15 characters and the terminator
#define MOCA_MAC_TEXT_LEN 18 // "aa:bb:cc:dd:ee:ff" and the terminator

// Entries of the mesh: one per ordered pair of node ids.
#define MOCA_MAX_MESH_ENTRIES (MOCA_MAX_NODES * MOCA_MAX_NODES)
// A SAPM entry's margins as text: up to 256 values of at most 3 digits and a comma, and the terminator.
#define MOCA_SAPM_MARGIN_TEXT_LEN (4 * MAX_MINI_SAPM_MARGIN_LEN + 1)

#endif
