// SPDX-License-Identifier: BSD-2-Clause-Patent
// The ClnkLib operations, answered from the simulator's live state.
//
// Every call goes through run(): the armed faults see it first, then the
// operation answers, then the call is logged with its identifying arguments.
// Records are packed here the way the chip delivers them: 64-bit counters with
// their halves exchanged; text and addresses are already kept packed.
#include <algorithm>
#include <cstring>

#include "clnkapi.h"
#include "sim_core.h"

using nlohmann::json;
using namespace clnksim::detail;

namespace {

constexpr uint32_t kHandleMagic = 0x434c4e4bu; // "CLNK"
constexpr uint32_t kMoca10 = 0x10;             // the one version without PQoS
constexpr uint32_t kFmrFlags = 2;              // the one flags value of an FMR read

uint64_t swap_halves(uint64_t v) {
    return (v << 32) | (v >> 32);
}

// `answer`: the record the call fills, where an armed fault may set fields of it.
// `known_flags`: whether the read flags of a call that takes them are the ones
// the library knows (0; 2 for the FMR read); like a chip's, it refuses others.
// The flags are not logged.
template <typename Body>
int32_t run(const char* op, json args, Body&& body, void* answer = nullptr, bool known_flags = true) {
    const FaultHit hit = take_fault(op);
    const int32_t rc = hit.rc ? *hit.rc : !known_flags ? CLNK_ERR_BAD_PARAM : body(hit);
    if(rc == CLNK_OK && answer != nullptr && !hit.sets.empty()) {
        apply_sets(hit.sets, answer);
    }
    log_call(clnksim::Call{op, std::move(args), json(rc)});
    return rc;
}

// The interface behind an open handle, or nullptr with the code to answer.
Iface* iface_of(const ClnkLib_Handle_t* h, int32_t* rc) {
    *rc = CLNK_ERR_BAD_PARAM;
    if(h == nullptr || h->magic != kHandleMagic) {
        return nullptr;
    }
    auto& s = sim();
    const auto it = s.handles.find(h->slot);
    if(it == s.handles.end()) {
        return nullptr;
    }
    Iface* ifc = s.state.find(it->second);
    if(ifc == nullptr || !ifc->present) {
        *rc = CLNK_ERR_NO_DEVICE; // the interface went away while the handle was open
        return nullptr;
    }
    *rc = CLNK_OK;
    return ifc;
}

const Node* node_of(const Iface& ifc, uint32_t node_id) {
    const auto it = ifc.nodes.find(node_id);
    return it == ifc.nodes.end() ? nullptr : &it->second;
}

// Answers a read of interface-wide data: checks the handle and the output pointer.
template <typename T, typename Fill>
int32_t read_iface(const ClnkLib_Handle_t* h, T* out, Fill&& fill) {
    int32_t rc = 0;
    Iface* ifc = iface_of(h, &rc);
    if(ifc == nullptr) {
        return rc;
    }
    if(out == nullptr) {
        return CLNK_ERR_BAD_PARAM;
    }
    fill(*ifc, *out);
    return CLNK_OK;
}

// Same for a read about one node of the network.
template <typename T, typename Fill>
int32_t read_node(const ClnkLib_Handle_t* h, uint32_t node_id, T* out, Fill&& fill) {
    int32_t rc = 0;
    Iface* ifc = iface_of(h, &rc);
    if(ifc == nullptr) {
        return rc;
    }
    if(out == nullptr) {
        return CLNK_ERR_BAD_PARAM;
    }
    const Node* n = node_of(*ifc, node_id);
    if(n == nullptr) {
        return CLNK_ERR_NO_NODE;
    }
    fill(*n, *out);
    return CLNK_OK;
}

json mask_args(const clnk_param_mask_t* m) {
    if(m == nullptr) {
        return json::array({nullptr});
    }
    json a = json::array();
    for(uint32_t w : m->words) {
        a.push_back(w);
    }
    return a;
}

// Copies the options whose bits are set in the mask, and nothing else.
void copy_options(const clnk_param_mask_t& m, const ClnkLib_ClnkCfgV2_t& from, ClnkLib_ClnkCfgV2_t& to) {
    for(int opt = OPT_MOCA_PASSWD_D; opt <= OPT_MOCA_PASSWD_CUSTOM; ++opt) {
        if(TEST_PARAM_BIT(&m, opt)) {
            std::memcpy(to.mocaPassword[opt - OPT_MOCA_PASSWD_D], from.mocaPassword[opt - OPT_MOCA_PASSWD_D],
                        CLNK_PASSWORD_LEN);
        }
    }
    if(TEST_PARAM_BIT(&m, OPT_PREFER_NC_MODE)) {
        to.preferredNcMode = from.preferredNcMode;
    }
    for(int opt = OPT_SECURITY_MODE; opt <= OPT_SECURITY_MODE_CUSTOM; ++opt) {
        if(TEST_PARAM_BIT(&m, opt)) {
            to.securityMode = from.securityMode; // one privacy mode serves every band
        }
    }
    if(TEST_PARAM_BIT(&m, OPT_TABOO_MASK)) {
        to.tabooOffset = from.tabooOffset;
        to.tabooMask = from.tabooMask;
    }
    if(TEST_PARAM_BIT(&m, OPT_BEACON_TX_POW)) {
        to.beaconTxPwr = from.beaconTxPwr;
    }
    if(TEST_PARAM_BIT(&m, OPT_MAX_TX_POW)) {
        to.maxTxPwr = from.maxTxPwr;
    }
    if(TEST_PARAM_BIT(&m, OPT_TARGETP2PRATE50)) {
        to.tgtP2p50Rate = from.tgtP2p50Rate;
    }
    if(TEST_PARAM_BIT(&m, OPT_TARGETP2PRATENPER)) {
        to.tgtP2pNperRate = from.tgtP2pNperRate;
    }
}

// A pass phrase slot keeps at most 17 characters, terminated, zero after the end.
void tidy_password(uint8_t* slot) {
    slot[CLNK_PASSWORD_LEN - 1] = 0;
    const size_t len = strnlen(reinterpret_cast<const char*>(slot), CLNK_PASSWORD_LEN);
    std::memset(slot + len, 0, CLNK_PASSWORD_LEN - len);
}

// The interface name as the caller gave it, as JSON text (bytes that are not UTF-8 replaced).
json name_arg(const char* name) {
    if(name == nullptr) {
        return json(nullptr);
    }
    return json::parse(json(std::string(name)).dump(-1, ' ', false, json::error_handler_t::replace));
}

bool same_address(const ClnkLib_MacAddr_t& a, uint32_t hi, uint32_t lo) {
    return a.hi == hi && (a.lo & 0xFFFF0000u) == (lo & 0xFFFF0000u);
}

} // namespace

extern "C" {

int32_t ClnkLib_OpenByName(ClnkLib_Handle_t* pHandle, const char* ifName) {
    if(pHandle != nullptr) {
        // Whatever happens next, the handle is not open unless this call opens it:
        // a later close of it is then harmless.
        *pHandle = ClnkLib_Handle_t{};
        pHandle->slot = -1;
    }
    json args = json::array({name_arg(ifName)});
    return run("ClnkLib_OpenByName", std::move(args), [&](const FaultHit&) -> int32_t {
        if(pHandle == nullptr || ifName == nullptr) {
            return CLNK_ERR_BAD_PARAM;
        }
        auto& s = sim();
        const Iface* ifc = s.state.find(ifName);
        if(ifc == nullptr || !ifc->present || !ifc->openable) {
            return CLNK_ERR_NO_DEVICE;
        }
        const int32_t slot = s.next_slot++;
        s.handles[slot] = ifc->name;
        pHandle->ctx = nullptr;
        pHandle->magic = kHandleMagic;
        pHandle->slot = slot;
        std::strncpy(pHandle->ifName, ifc->name.c_str(), CLNK_IFNAME_LEN - 1);
        return CLNK_OK;
    });
}

void ClnkLib_Close(ClnkLib_Handle_t* pHandle) {
    if(pHandle != nullptr) {
        if(pHandle->magic == kHandleMagic) {
            sim().handles.erase(pHandle->slot);
        }
        pHandle->magic = 0;
        pHandle->slot = -1;
    }
    log_call(clnksim::Call{"ClnkLib_Close", json::array(), json(nullptr)});
}

int32_t ClnkLib_ListNames(ClnkLib_Name_t* names, uint32_t capacity) {
    return run("ClnkLib_ListNames", json::array({capacity}), [&](const FaultHit&) -> int32_t {
        if(names == nullptr && capacity > 0) {
            return CLNK_ERR_BAD_PARAM;
        }
        uint32_t n = 0;
        for(const auto& ifc : sim().state.ifaces) {
            if(!ifc.present || n >= capacity) {
                continue;
            }
            std::memset(names[n].ifName, 0, CLNK_IFNAME_LEN);
            std::strncpy(names[n].ifName, ifc.name.c_str(), CLNK_IFNAME_LEN - 1);
            ++n;
        }
        return static_cast<int32_t>(n);
    });
}

int32_t ClnkLib_GetLocalInfo(ClnkLib_Handle_t* pHandle, ClnkLib_LocalInfo_t* pInfo) {
    return run(
        "ClnkLib_GetLocalInfo", json::array(),
        [&](const FaultHit&) {
            return read_iface(pHandle, pInfo, [](const Iface& ifc, ClnkLib_LocalInfo_t& out) {
                out = ifc.local;
                if(!ifc.started) {
                    out.linkStatus = 0; // a stopped chip has no link
                }
            });
        },
        pInfo);
}

int32_t ClnkLib_GetNetInfo(ClnkLib_Handle_t* pHandle, uint32_t nodeId, ClnkLib_NetInfo_t* pInfo) {
    return run(
        "ClnkLib_GetNetInfo", json::array({nodeId}),
        [&](const FaultHit&) {
            return read_node(pHandle, nodeId, pInfo, [](const Node& n, ClnkLib_NetInfo_t& out) {
                out = n.net;
                out.txDataFrameGood = swap_halves(out.txDataFrameGood);
                out.txDataFrameDropped = swap_halves(out.txDataFrameDropped);
                out.rxDataFrameGood = swap_halves(out.rxDataFrameGood);
                out.rxDataFrameBad = swap_halves(out.rxDataFrameBad);
            });
        },
        pInfo);
}

int32_t ClnkLib_GetPhyTxProfile(ClnkLib_Handle_t* pHandle, uint32_t nodeId, uint32_t profileType, uint32_t flags,
                                ClnkLib_PhyTxProfile_t* pProfile) {
    return run(
        "ClnkLib_GetPhyTxProfile", json::array({nodeId, profileType}),
        [&](const FaultHit&) {
            return read_node(pHandle, nodeId, pProfile, [&](const Node& n, ClnkLib_PhyTxProfile_t& out) {
                const auto it = n.tx.find(profileType);
                out = it == n.tx.end() ? ClnkLib_PhyTxProfile_t{} : it->second;
            });
        },
        pProfile, flags == 0);
}

int32_t ClnkLib_GetPhyRxProfile(ClnkLib_Handle_t* pHandle, uint32_t nodeId, uint32_t profileType, uint32_t flags,
                                ClnkLib_PhyRxProfile_t* pProfile) {
    return run(
        "ClnkLib_GetPhyRxProfile", json::array({nodeId, profileType}),
        [&](const FaultHit&) {
            return read_node(pHandle, nodeId, pProfile, [&](const Node& n, ClnkLib_PhyRxProfile_t& out) {
                const auto it = n.rx.find(profileType);
                out = it == n.rx.end() ? ClnkLib_PhyRxProfile_t{} : it->second;
            });
        },
        pProfile, flags == 0);
}

int32_t ClnkLib_GetEcbStats(ClnkLib_Handle_t* pHandle, uint32_t flags, ClnkLib_EcbStats_t* pStats) {
    return run(
        "ClnkLib_GetEcbStats", json::array(),
        [&](const FaultHit&) {
            return read_iface(pHandle, pStats, [](const Iface& ifc, ClnkLib_EcbStats_t& out) { out = ifc.ecb; });
        },
        pStats, flags == 0);
}

int32_t ClnkLib_GetClnkCfgV2(ClnkLib_Handle_t* pHandle, uint32_t flags, ClnkLib_ClnkCfgV2_t* pCfg) {
    return run(
        "ClnkLib_GetClnkCfgV2", json::array(),
        [&](const FaultHit&) {
            return read_iface(pHandle, pCfg, [](const Iface& ifc, ClnkLib_ClnkCfgV2_t& out) { out = ifc.cfg; });
        },
        pCfg, flags == 0);
}

int32_t ClnkLib_GetClnkCfgV2Params(ClnkLib_Handle_t* pHandle, const clnk_param_mask_t* pMask,
                                   ClnkLib_ClnkCfgV2_t* pCfg) {
    return run(
        "ClnkLib_GetClnkCfgV2Params", mask_args(pMask),
        [&](const FaultHit&) -> int32_t {
            if(pMask == nullptr) {
                int32_t rc = 0;
                return iface_of(pHandle, &rc) == nullptr ? rc : CLNK_ERR_BAD_PARAM;
            }
            return read_iface(pHandle, pCfg,
                              [&](const Iface& ifc, ClnkLib_ClnkCfgV2_t& out) { copy_options(*pMask, ifc.cfg, out); });
        },
        pCfg);
}

int32_t ClnkLib_SetClnkCfgV2Params(ClnkLib_Handle_t* pHandle, const clnk_param_mask_t* pMask,
                                   const ClnkLib_ClnkCfgV2_t* pCfg) {
    return run("ClnkLib_SetClnkCfgV2Params", mask_args(pMask), [&](const FaultHit&) -> int32_t {
        int32_t rc = 0;
        Iface* ifc = iface_of(pHandle, &rc);
        if(ifc == nullptr) {
            return rc;
        }
        if(pMask == nullptr || pCfg == nullptr) {
            return CLNK_ERR_BAD_PARAM;
        }
        copy_options(*pMask, *pCfg, ifc->cfg);
        for(auto& slot : ifc->cfg.mocaPassword) {
            tidy_password(slot);
        }
        return CLNK_OK;
    });
}

int32_t ClnkLib_Stop(ClnkLib_Handle_t* pHandle) {
    return run("ClnkLib_Stop", json::array(), [&](const FaultHit&) {
        int32_t rc = 0;
        if(Iface* ifc = iface_of(pHandle, &rc); ifc != nullptr) {
            ifc->started = false;
        }
        return rc;
    });
}

int32_t ClnkLib_Start(ClnkLib_Handle_t* pHandle) {
    return run("ClnkLib_Start", json::array(), [&](const FaultHit&) {
        int32_t rc = 0;
        if(Iface* ifc = iface_of(pHandle, &rc); ifc != nullptr) {
            ifc->started = true;
        }
        return rc;
    });
}

int32_t ClnkLib_GetPhyMisc(ClnkLib_Handle_t* pHandle, ClnkLib_PhyMisc_t* pMisc) {
    return run(
        "ClnkLib_GetPhyMisc", json::array(),
        [&](const FaultHit&) {
            return read_iface(pHandle, pMisc, [](const Iface& ifc, ClnkLib_PhyMisc_t& out) { out = ifc.misc; });
        },
        pMisc);
}

int32_t ClnkLib_GetCdInfo(ClnkLib_Handle_t* pHandle, uint32_t nodeId, ClnkLib_CdInfo_t* pInfo) {
    return run(
        "ClnkLib_GetCdInfo", json::array({nodeId}),
        [&](const FaultHit&) {
            return read_node(pHandle, nodeId, pInfo, [](const Node& n, ClnkLib_CdInfo_t& out) { out = n.cd; });
        },
        pInfo);
}

int32_t ClnkLib_GetDataStats(ClnkLib_Handle_t* pHandle, uint32_t flags, ClnkLib_DataStats_t* pStats) {
    static_assert(sizeof(ClnkLib_DataStats_t) % sizeof(uint64_t) == 0, "counters only");
    return run(
        "ClnkLib_GetDataStats", json::array(),
        [&](const FaultHit&) {
            return read_iface(pHandle, pStats, [](const Iface& ifc, ClnkLib_DataStats_t& out) {
                // The record is nothing but 64-bit counters: exchange the halves of each.
                const auto* src = reinterpret_cast<const unsigned char*>(&ifc.stats);
                auto* dst = reinterpret_cast<unsigned char*>(&out);
                for(size_t off = 0; off < sizeof(ClnkLib_DataStats_t); off += sizeof(uint64_t)) {
                    uint64_t v = 0;
                    std::memcpy(&v, src + off, sizeof v);
                    v = swap_halves(v);
                    std::memcpy(dst + off, &v, sizeof v);
                }
            });
        },
        pStats, flags == 0);
}

int32_t ClnkLib_GetRlapmCfg(ClnkLib_Handle_t* pHandle, ClnkLib_RlapmStaticCfgV2_t* pCfg) {
    return run(
        "ClnkLib_GetRlapmCfg", json::array(),
        [&](const FaultHit&) {
            return read_iface(pHandle, pCfg,
                              [](const Iface& ifc, ClnkLib_RlapmStaticCfgV2_t& out) { out = ifc.rlapm; });
        },
        pCfg);
}

int32_t ClnkLib_GetSapmCfg(ClnkLib_Handle_t* pHandle, ClnkLib_SapmStaticCfgV2_t* pCfg) {
    return run(
        "ClnkLib_GetSapmCfg", json::array(),
        [&](const FaultHit&) {
            return read_iface(pHandle, pCfg, [](const Iface& ifc, ClnkLib_SapmStaticCfgV2_t& out) { out = ifc.sapm; });
        },
        pCfg);
}

int32_t ClnkLib_GetFmrInfo(ClnkLib_Handle_t* pHandle, uint32_t nodeMask, uint32_t flags, ClnkLib_FmrInfo_t* pFmr) {
    return run(
        "ClnkLib_GetFmrInfo", json::array({nodeMask}),
        [&](const FaultHit&) -> int32_t {
            int32_t rc = 0;
            Iface* ifc = iface_of(pHandle, &rc);
            if(ifc == nullptr) {
                return rc;
            }
            if(pFmr == nullptr || nodeMask == 0 || (nodeMask >> MAX_NUM_NODES) != 0) {
                return CLNK_ERR_BAD_PARAM;
            }
            for(uint32_t i = 0; i < MAX_NUM_NODES; ++i) {
                if(((nodeMask >> i) & 1u) != 0 && node_of(*ifc, i) == nullptr) {
                    return CLNK_ERR_NO_NODE;
                }
            }
            // Only the elements of the nodes asked for are written.
            uint32_t count = 0;
            for(uint32_t i = 0; i < MAX_NUM_NODES; ++i) {
                if(((nodeMask >> i) & 1u) != 0) {
                    pFmr->nodeFmr[i] = node_of(*ifc, i)->fmr;
                    ++count;
                }
            }
            pFmr->numOfNodes = count;
            pFmr->nodeMask = nodeMask;
            return CLNK_OK;
        },
        pFmr, flags == kFmrFlags);
}

int32_t ClnkLib_GetBridgeTable(ClnkLib_Handle_t* pHandle, uint32_t tableType, uint32_t flags, uint32_t* pNumEntries,
                               ClnkLib_BridgeTable_t* pTable) {
    return run(
        "ClnkLib_GetBridgeTable", json::array({tableType}),
        [&](const FaultHit& hit) -> int32_t {
            int32_t rc = 0;
            Iface* ifc = iface_of(pHandle, &rc);
            if(ifc == nullptr) {
                return rc;
            }
            if(pNumEntries == nullptr || pTable == nullptr || tableType >= static_cast<uint32_t>(kNumBridgeTables)) {
                return CLNK_ERR_BAD_PARAM;
            }
            const auto& table = ifc->bridge[tableType];
            const size_t n = std::min<size_t>(table.size(), MAX_BRIDGE_ENTRIES);
            std::copy_n(table.begin(), n, pTable->entry); // entries past the count are not touched
            *pNumEntries = static_cast<uint32_t>(n);
            if(!hit.sets.empty()) {
                // The count and the entries are set as one answer.
                BridgeAnswer answer{};
                answer.numEntries = *pNumEntries;
                std::copy_n(pTable->entry, MAX_BRIDGE_ENTRIES, answer.entries);
                apply_sets(hit.sets, &answer);
                *pNumEntries = answer.numEntries;
                std::copy_n(answer.entries, MAX_BRIDGE_ENTRIES, pTable->entry);
            }
            return CLNK_OK;
        },
        nullptr, flags == 0);
}

int32_t ClnkLib_ListFlows(ClnkLib_Handle_t* pHandle, ClnkLib_FlowListReq_t* pReq, ClnkLib_FlowListRsp_t* pRsp) {
    json args = pReq == nullptr ? json::array({nullptr})
                                : json::array({mac_text(pReq->ingressGuid.hi, pReq->ingressGuid.lo),
                                               pReq->flowStartIndex, pReq->flowMaxReturn});
    return run(
        "ClnkLib_ListFlows", std::move(args),
        [&](const FaultHit& hit) -> int32_t {
            int32_t rc = 0;
            Iface* ifc = iface_of(pHandle, &rc);
            if(ifc == nullptr) {
                return rc;
            }
            if(pReq == nullptr || pRsp == nullptr) {
                return CLNK_ERR_BAD_PARAM;
            }
            ClnkLib_FlowListRsp_t rsp{};
            const Node* ingress = nullptr;
            for(const auto& [id, n] : ifc->nodes) {
                if(same_address(pReq->ingressGuid, n.net.guidHi, n.net.guidLo)) {
                    ingress = &n;
                    break;
                }
            }
            if(ingress == nullptr) {
                rsp.flowCode = CLNKLIB_FLOWCODE_BAD_INGR;
            } else {
                rsp.flowUpdateCount = ingress->flowUpdateCount;
                rsp.totalFlowIdCount = static_cast<uint32_t>(ingress->flows.size());
                if(ingress->net.mocaVer == kMoca10) {
                    rsp.flowCode = CLNKLIB_FLOWCODE_QOS_UNAVAIL; // PQoS came with MoCA 1.1
                    rsp.totalFlowIdCount = 0;
                } else {
                    rsp.flowCode = CLNKLIB_FLOWCODE_SUCCESS;
                    const size_t max = std::min<uint32_t>(pReq->flowMaxReturn, MAX_FLOWS_IN_LIST);
                    for(size_t i = pReq->flowStartIndex; i < ingress->flows.size() && rsp.numReturnedFlowIds < max;
                        ++i) {
                        rsp.returnedFlowId[rsp.numReturnedFlowIds++] = ingress->flows[i].pfp.flowId;
                    }
                }
            }
            if(hit.flow_code) {
                rsp.flowCode = *hit.flow_code;
            }
            rsp.flowUpdateCount += hit.flow_update_count_delta;
            if(rsp.flowCode != CLNKLIB_FLOWCODE_SUCCESS) {
                rsp.numReturnedFlowIds = 0;
                std::memset(rsp.returnedFlowId, 0, sizeof rsp.returnedFlowId);
            }
            *pRsp = rsp;
            return CLNK_OK;
        },
        pRsp);
}

int32_t ClnkLib_QueryFlow(ClnkLib_Handle_t* pHandle, ClnkLib_MacAddr_t* pFlowId, ClnkLib_FlowQueryRsp_t* pRsp) {
    json args = json::array({pFlowId != nullptr ? json(mac_text(pFlowId->hi, pFlowId->lo)) : json(nullptr)});
    return run(
        "ClnkLib_QueryFlow", std::move(args),
        [&](const FaultHit& hit) -> int32_t {
            int32_t rc = 0;
            Iface* ifc = iface_of(pHandle, &rc);
            if(ifc == nullptr) {
                return rc;
            }
            if(pFlowId == nullptr || pRsp == nullptr) {
                return CLNK_ERR_BAD_PARAM;
            }
            ClnkLib_FlowQueryRsp_t rsp{};
            rsp.flowCode = CLNKLIB_FLOWCODE_NO_SUCH_FLOW;
            for(const auto& [id, n] : ifc->nodes) {
                for(const auto& f : n.flows) {
                    if(rsp.flowCode != CLNKLIB_FLOWCODE_SUCCESS &&
                       same_address(*pFlowId, f.pfp.flowId.hi, f.pfp.flowId.lo)) {
                        rsp.flowCode = CLNKLIB_FLOWCODE_SUCCESS;
                        rsp.pfp = f.pfp;
                        rsp.leaseTimeLeft = f.leaseTimeLeft;
                        rsp.dfid = f.dfid;
                    }
                }
            }
            if(hit.flow_code) {
                rsp.flowCode = *hit.flow_code;
            }
            *pRsp = rsp;
            return CLNK_OK;
        },
        pRsp);
}

} // extern "C"
