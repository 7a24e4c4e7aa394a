// SPDX-License-Identifier: BSD-2-Clause-Patent
// The chip is the vendor's: it has no control interface, so the host can only
// say that scenarios, patches and faults need the simulator build. Its calls
// are counted by interposition: the host defines every ClnkLib_* operation the
// module uses, exported from the executable, so that the module (which takes
// them from the process) calls these; each notes the call and forwards it to
// the chip library's own (dlsym RTLD_NEXT).
#include "chip.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>

#include <clnkapi.h>

namespace host::chip {

namespace {

json& call_log() {
    static json log = json::array();
    return log;
}

void note(const char* op, json rc) {
    call_log().push_back({{"op", op}, {"args", json::array()}, {"rc", std::move(rc)}});
}

// The chip library's own operation; a library without it cannot be counted through.
template <typename F>
F next(const char* name) {
    void* f = dlsym(RTLD_NEXT, name);
    if(f == nullptr) {
        std::fprintf(stderr, "moca-host: the chip library has no %s\n", name);
        std::abort();
    }
    return reinterpret_cast<F>(f);
}

bool no_simulator(std::string* err) {
    *err = "this moca-host is built for a board: no simulator (--sim, sim, sim_patch, fault)";
    return false;
}

} // namespace

bool load_scenario_file(const std::string&, std::string* err) {
    return no_simulator(err);
}

bool load_scenario(const json&, std::string* err) {
    return no_simulator(err);
}

bool patch_state(const json&, std::string* err) {
    return no_simulator(err);
}

bool arm_fault(const json&, std::string* err) {
    return no_simulator(err);
}

void clear_calls() {
    call_log() = json::array();
}

json take_calls() {
    json out = std::move(call_log());
    clear_calls();
    return out;
}

int open_handles() {
    return 0;
}

bool counts_calls() {
    return true;
}

} // namespace host::chip

// Each operation with its parameters: counted, then forwarded.
#define MOCA_HOST_FORWARD(name, params, args)                                                                          \
    extern "C" int32_t name params {                                                                                   \
        static const auto real = host::chip::next<int32_t(*) params>(#name);                                           \
        const int32_t rc = real args;                                                                                  \
        host::chip::note(#name, rc);                                                                                   \
        return rc;                                                                                                     \
    }

MOCA_HOST_FORWARD(ClnkLib_OpenByName, (ClnkLib_Handle_t * h, const char* name), (h, name))
MOCA_HOST_FORWARD(ClnkLib_ListNames, (ClnkLib_Name_t * names, uint32_t capacity), (names, capacity))
MOCA_HOST_FORWARD(ClnkLib_GetLocalInfo, (ClnkLib_Handle_t * h, ClnkLib_LocalInfo_t* p), (h, p))
MOCA_HOST_FORWARD(ClnkLib_GetNetInfo, (ClnkLib_Handle_t * h, uint32_t node, ClnkLib_NetInfo_t* p), (h, node, p))
MOCA_HOST_FORWARD(ClnkLib_GetPhyTxProfile,
                  (ClnkLib_Handle_t * h, uint32_t node, uint32_t type, uint32_t flags, ClnkLib_PhyTxProfile_t* p),
                  (h, node, type, flags, p))
MOCA_HOST_FORWARD(ClnkLib_GetPhyRxProfile,
                  (ClnkLib_Handle_t * h, uint32_t node, uint32_t type, uint32_t flags, ClnkLib_PhyRxProfile_t* p),
                  (h, node, type, flags, p))
MOCA_HOST_FORWARD(ClnkLib_GetEcbStats, (ClnkLib_Handle_t * h, uint32_t flags, ClnkLib_EcbStats_t* p), (h, flags, p))
MOCA_HOST_FORWARD(ClnkLib_GetClnkCfgV2, (ClnkLib_Handle_t * h, uint32_t flags, ClnkLib_ClnkCfgV2_t* p), (h, flags, p))
MOCA_HOST_FORWARD(ClnkLib_GetClnkCfgV2Params,
                  (ClnkLib_Handle_t * h, const clnk_param_mask_t* m, ClnkLib_ClnkCfgV2_t* p), (h, m, p))
MOCA_HOST_FORWARD(ClnkLib_SetClnkCfgV2Params,
                  (ClnkLib_Handle_t * h, const clnk_param_mask_t* m, const ClnkLib_ClnkCfgV2_t* p), (h, m, p))
MOCA_HOST_FORWARD(ClnkLib_Stop, (ClnkLib_Handle_t * h), (h))
MOCA_HOST_FORWARD(ClnkLib_Start, (ClnkLib_Handle_t * h), (h))
MOCA_HOST_FORWARD(ClnkLib_GetPhyMisc, (ClnkLib_Handle_t * h, ClnkLib_PhyMisc_t* p), (h, p))
MOCA_HOST_FORWARD(ClnkLib_GetCdInfo, (ClnkLib_Handle_t * h, uint32_t node, ClnkLib_CdInfo_t* p), (h, node, p))
MOCA_HOST_FORWARD(ClnkLib_GetDataStats, (ClnkLib_Handle_t * h, uint32_t flags, ClnkLib_DataStats_t* p), (h, flags, p))
MOCA_HOST_FORWARD(ClnkLib_GetRlapmCfg, (ClnkLib_Handle_t * h, ClnkLib_RlapmStaticCfgV2_t* p), (h, p))
MOCA_HOST_FORWARD(ClnkLib_GetSapmCfg, (ClnkLib_Handle_t * h, ClnkLib_SapmStaticCfgV2_t* p), (h, p))
MOCA_HOST_FORWARD(ClnkLib_GetFmrInfo, (ClnkLib_Handle_t * h, uint32_t mask, uint32_t flags, ClnkLib_FmrInfo_t* p),
                  (h, mask, flags, p))
MOCA_HOST_FORWARD(ClnkLib_GetBridgeTable,
                  (ClnkLib_Handle_t * h, uint32_t type, uint32_t flags, uint32_t* n, ClnkLib_BridgeTable_t* p),
                  (h, type, flags, n, p))
MOCA_HOST_FORWARD(ClnkLib_ListFlows, (ClnkLib_Handle_t * h, ClnkLib_FlowListReq_t* req, ClnkLib_FlowListRsp_t* rsp),
                  (h, req, rsp))
MOCA_HOST_FORWARD(ClnkLib_QueryFlow, (ClnkLib_Handle_t * h, ClnkLib_MacAddr_t* id, ClnkLib_FlowQueryRsp_t* rsp),
                  (h, id, rsp))

extern "C" void ClnkLib_Close(ClnkLib_Handle_t* h) {
    static const auto real = host::chip::next<void (*)(ClnkLib_Handle_t*)>("ClnkLib_Close");
    real(h);
    host::chip::note("ClnkLib_Close", nullptr);
}
