// SPDX-License-Identifier: BSD-2-Clause-Patent
// Scenario codec: JSON in the documented form <-> the simulator's state.
//
// Each chip record is described once by a table of its fields (name, place, width,
// signedness, form); one decoder and one encoder walk those tables, and a fault's "set"
// resolves its paths against the same tables, so the three cannot drift apart.
// docs/scenario.md describes the format.
#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <set>

#include "sim_model.h"

namespace clnksim::detail {

const char* const kBridgeTableNames[kNumBridgeTables] = {"ucastDst", "mcastDst", "pqosFlow", "ucastSrc", "mcastSrc"};

Iface* State::find(const std::string& name) {
    for(auto& i : ifaces) {
        if(i.name == name) {
            return &i;
        }
    }
    return nullptr;
}

bool fail(std::string* err, const std::string& path, const std::string& what) {
    if(err != nullptr) {
        *err = (path.empty() ? std::string("scenario") : path) + ": " + what;
    }
    return false;
}

// ---- field tables ------------------------------------------------------------------------

// How a field reads in JSON. Int: a number of `width` bytes; Bits: `bits` bits from
// `shift` of the 32-bit word; Mac: an address in the word pair at off / off2; Text: the
// version text; Pass: a pass phrase slot; Rec: a nested record; Custom: a C bit field.
enum class Form : uint8_t { Int, Bits, Mac, Text, Pass, Rec, Custom };

// Flags. Raw: a word that a friendly form beside it shows (read after it, so that it
// wins; written only where the friendly form cannot carry it). Keep: written even when
// zero. RawOwner: a Mac whose low word may carry more than the address (then the raw
// words are written instead).
constexpr uint8_t kRaw = 1;
constexpr uint8_t kKeep = 2;
constexpr uint8_t kRawOwner = 4;

struct Desc;
using CustomSet = bool (*)(void* rec, const ojson& v, const std::string& path, std::string* err);
using CustomGet = ojson (*)(const void* rec); // null: nothing to write

struct Field {
    const char* name;
    Form form;
    size_t off = 0;
    uint8_t width = 4; // Int: bytes
    bool is_signed = false;
    uint8_t flags = 0;
    size_t count = 0;          // 0: scalar, else the array length
    size_t stride = 0;         // array element size
    const Desc* sub = nullptr; // Rec
    size_t off2 = 0;           // Mac: the low word
    uint8_t shift = 0;         // Bits
    uint8_t bits = 0;
    CustomSet set = nullptr; // Custom
    CustomGet get = nullptr;
};

struct Desc {
    std::vector<Field> fields;
    const Field* find(const std::string& name) const {
        for(const auto& f : fields) {
            if(name == f.name) {
                return &f;
            }
        }
        return nullptr;
    }
};

namespace {

std::string join(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

template <typename T>
Field num(const char* name, size_t off, bool is_signed = false, size_t count = 0, uint8_t flags = 0) {
    Field f{name, Form::Int};
    f.off = off;
    f.width = sizeof(T);
    f.is_signed = is_signed;
    f.count = count;
    f.stride = sizeof(T);
    f.flags = flags;
    return f;
}

Field rec(const char* name, size_t off, const Desc* sub, size_t count, size_t stride) {
    Field f{name, Form::Rec};
    f.off = off;
    f.sub = sub;
    f.count = count;
    f.stride = stride;
    return f;
}

Field mac(const char* name, size_t hi, size_t lo, uint8_t flags = 0, size_t count = 0) {
    Field f{name, Form::Mac};
    f.off = hi;
    f.off2 = lo;
    f.flags = flags;
    f.count = count;
    f.stride = sizeof(ClnkLib_MacAddr_t);
    return f;
}

Field custom(const char* name, uint8_t nbits, CustomSet set, CustomGet get) {
    Field f{name, Form::Custom};
    f.bits = nbits;
    f.set = set;
    f.get = get;
    return f;
}

// A record's fields placed `base` bytes further in (a record embedded in another).
std::vector<Field> at(std::vector<Field> fields, size_t base) {
    for(auto& f : fields) {
        f.off += base;
        f.off2 += base;
    }
    return fields;
}

std::vector<Field> operator+(std::vector<Field> a, const std::vector<Field>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Fields of one type, each named after its member: U32(T, a, b, c) lists a, b and c of T.
#define SIM_PARENS ()
#define SIM_EXPAND(...) SIM_EXPAND3(SIM_EXPAND3(SIM_EXPAND3(SIM_EXPAND3(__VA_ARGS__))))
#define SIM_EXPAND3(...) SIM_EXPAND2(SIM_EXPAND2(SIM_EXPAND2(SIM_EXPAND2(__VA_ARGS__))))
#define SIM_EXPAND2(...) SIM_EXPAND1(SIM_EXPAND1(SIM_EXPAND1(SIM_EXPAND1(__VA_ARGS__))))
#define SIM_EXPAND1(...) __VA_ARGS__
#define SIM_FIELDS(T, C, S, ...) __VA_OPT__(SIM_EXPAND(SIM_FIELDS_STEP(T, C, S, __VA_ARGS__)))
#define SIM_FIELDS_STEP(T, C, S, F, ...)                                                                               \
    num<C>(#F, offsetof(T, F), S), __VA_OPT__(SIM_FIELDS_AGAIN SIM_PARENS(T, C, S, __VA_ARGS__))
#define SIM_FIELDS_AGAIN() SIM_FIELDS_STEP
#define U8(T, ...) SIM_FIELDS(T, uint8_t, false, __VA_ARGS__)
#define U16(T, ...) SIM_FIELDS(T, uint16_t, false, __VA_ARGS__)
#define U32(T, ...) SIM_FIELDS(T, uint32_t, false, __VA_ARGS__)
#define I32(T, ...) SIM_FIELDS(T, int32_t, true, __VA_ARGS__)
#define U64(T, ...) SIM_FIELDS(T, uint64_t, false, __VA_ARGS__)
// An array member of N elements of C.
#define ARR(T, F, C, N) num<C>(#F, offsetof(T, F), false, N)
// A member that is an array of records described by SUB.
#define REC(T, F, SUB) rec(#F, offsetof(T, F), &SUB, sizeof(T::F) / sizeof(T::F[0]), sizeof(T::F[0]))
#define RAW(T, F) num<uint32_t>(#F, offsetof(T, F), false, 0, kRaw)
#define MAC_OF(T, F)                                                                                                   \
    mac(#F, offsetof(T, F) + offsetof(ClnkLib_MacAddr_t, hi), offsetof(T, F) + offsetof(ClnkLib_MacAddr_t, lo))

using LI = ClnkLib_LocalInfo_t;
const Desc kLocalInfo{{U32(LI, nodeId, ncNodeId, backupNodeId, lmoNodeId, linkStatus, networkState, networkMocaVer,
                           activeNodeBitmask, sleepM1NodeBitmask, sleepM2NodeBitmask, sleepM3NodeBitmask)
                           I32(LI, priChnOffset, secChnOffset)
                               U32(LI, tabooMask)[]{Field f{"socVersionStr", Form::Text};
f.off = offsetof(LI, socVersionStr);
f.width = sizeof(LI::socVersionStr);
return f;
} // namespace
(), mac("mac", offsetof(LI, macAddrHi), offsetof(LI, macAddrLo), kRawOwner), RAW(LI, macAddrHi), RAW(LI, macAddrLo),
} // namespace clnksim::detail
}
;

using NI = ClnkLib_NetInfo_t;
const Desc kNetInfo{{U32(NI, nodeId) mac("guid", offsetof(NI, guidHi), offsetof(NI, guidLo), kRawOwner),
                     RAW(NI, guidHi), RAW(NI, guidLo),
                     U32(NI, mocaVer, protoSupport)
                         U64(NI, txDataFrameGood, txDataFrameDropped, rxDataFrameGood, rxDataFrameBad)}};

const Desc kTxProfile{{U32(ClnkLib_PhyTxProfile_t, txProfileValid, txPhyrate, txTpcBackoff, txNumSymbols, txCp)}};
const Desc kRxProfile{
    {U32(ClnkLib_PhyRxProfile_t, rxProfileValid, rxPhyrate, rxPwrLevel, rxChnSnr, rxNumSymbols, rxCp)}};
const Desc kCdInfo{{U32(ClnkLib_CdInfo_t, linkUpTimeInSecs, resetCount, resetLine, resetEpc, linkLostCount)}};
const Desc kPhyMisc{{U32(ClnkLib_PhyMisc_t, currentOperatingFrequency, currentBand, txPowerDbm)}};
const Desc kEcbStats{{U32(ClnkLib_EcbStats_t, debug0, debug1, debug2, debug3, debug4, debug5, debug6, debug7, debug8,
                          debug9, debug10, debug11, debug12, debug13, debug14, debug15)}};

using DS = ClnkLib_DataStats_t;
const Desc kDataStats{{U64(DS, txTotalPkts, txTotalBytes, txDroppedPkts, txBcastPkts, txMcastPkts)
                           ARR(DS, txUcastPkts, uint64_t, MAX_NUM_NODES),
                       U64(DS, txBcastBytes, txMcastBytes, txUcastBytes, txGoodPktsInLast60s, txDroppedPktsInLast60s,
                           rxTotalPkts, rxTotalBytes, rxDroppedPkts) ARR(DS, rxBcastPkts, uint64_t, MAX_NUM_NODES),
                       ARR(DS, rxMcastPkts, uint64_t, MAX_NUM_NODES), ARR(DS, rxUcastPkts, uint64_t, MAX_NUM_NODES),
                       U64(DS, rxBcastBytes, rxMcastBytes, rxUcastBytes, rxGoodPktsInLast60s, rxBadPktsInLast60s)}};

const Desc kFmrP2p{{U16(ClnkLib_FmrP2p_t, gapNper, gapVLper, ofdmbNper, ofdmbVLper, rateNper, rateVLper)}};
const Desc kFmrOfdma{{U16(ClnkLib_FmrOfdma_t, ofdmaDefTab, ofdmaGap, ofdmaRate, ofdmaSubchannels)}};

using NF = ClnkLib_NodeFmr_t;
const Desc kNodeFmr{{
    U32(NF, validInfo) REC(NF, p2p, kFmrP2p),
    U16(NF, gapGcd, ofdmbGcd, rateGcd, defTableNum) REC(NF, ofdma, kFmrOfdma),
}};

using RR = MXL_MOCA_RLAPM_TABLE_V2_T;
using RP = MXL_MOCA_RLAPM_CFG_V2_T;
using RC = ClnkLib_RlapmStaticCfgV2_t;
const Desc kRlapmRow{{U32(RR, freq) ARR(RR, phymargin, uint8_t, MAX_RX_LEVELS_PADDED)}};
const Desc kRlapmProfile{{U32(RP, rlapmmode) REC(RP, tbl, kRlapmRow)}};
const Desc kRlapm{{U32(RC, rlapmmode) I32(RC, rlapmProfileId) REC(RC, profiles, kRlapmProfile)}};

using SR = MXL_MOCA_SAPM_TABLE_V2_T;
using SP = MXL_MOCA_SAPM_CFG_V2_T;
using SC = ClnkLib_SapmStaticCfgV2_t;
const Desc kSapmRow{{U32(SR, freq, threshold) I32(SR, scstart) ARR(SR, phymargin, uint8_t, MAX_MINI_SAPM_MARGIN_LEN)}};
const Desc kSapmProfile{{U32(SP, sapmmode) REC(SP, tbl, kSapmRow)}};
const Desc kSapm{{U32(SC, sapmmode) I32(SC, sapmProfileId) REC(SC, profiles, kSapmProfile)}};

using PFP = ClnkLib_PFP_t;
const std::vector<Field> kPfpFields{
    MAC_OF(PFP, flowId), MAC_OF(PFP, packetDa), MAC_OF(PFP, ingressGuid), MAC_OF(PFP, egressGuid),
    U32(PFP, tPktSize, flowTag, tPeakDataRateKbps, tLeaseTimeSec, tBurstSize, maxLatencyMs, stAvgRatio, maxNumRetry,
        flowPer, inOrderDeliver, tProtocol, ingressClass, vlanTag, dscpMoca)};

// A flow of the scenario: its parameters (the flow id always written) and what the chip adds.
const Desc kFlow{[] {
    auto fields = at(kPfpFields, offsetof(Flow, pfp)) + std::vector<Field>{U32(Flow, leaseTimeLeft, dfid)};
    fields.front().flags |= kKeep;
    return fields;
}()};

using BE = ClnkLib_BridgeEntry_t;
// The address is bytes 1-4 and the top half of the second word; the node id its bottom half.
const Desc kBridgeEntry{{
    mac("mac", offsetof(BE, macAddrHi), offsetof(BE, macAddrLoIds), kKeep),
    [] {
        Field f{"nodeId", Form::Bits};
        f.off = offsetof(BE, macAddrLoIds);
        f.bits = 16;
        f.flags = kKeep;
        return f;
    }(),
    RAW(BE, macAddrHi),
    RAW(BE, macAddrLoIds),
}};

bool parse_index(const std::string& key, size_t count, size_t* out) {
    if(key.empty() || key.size() > 6) {
        return false;
    }
    size_t v = 0;
    for(char c : key) {
        if(c < '0' || c > '9') {
            return false;
        }
        v = v * 10 + static_cast<size_t>(c - '0');
    }
    if(key.size() > 1 && key[0] == '0') {
        return false;
    }
    *out = v;
    return v < count;
}

std::string index_range(size_t count) {
    return "index out of range (a decimal index below " + std::to_string(count) + ")";
}

// An array indexed by node id, profile, row, ...: a JSON array of at most
// `count` items, or an object keyed by the index in decimal.
bool for_each_index(const ojson& v, size_t count, const std::string& path, std::string* err,
                    const std::function<bool(size_t, const ojson&, const std::string&)>& fn) {
    if(v.is_array()) {
        if(v.size() > count) {
            return fail(err, path, "more than " + std::to_string(count) + " items");
        }
        for(size_t i = 0; i < v.size(); ++i) {
            if(!fn(i, v[i], join(path, std::to_string(i)))) {
                return false;
            }
        }
        return true;
    }
    if(v.is_object()) {
        for(const auto& [key, item] : v.items()) {
            size_t i = 0;
            if(!parse_index(key, count, &i)) {
                return fail(err, join(path, key), index_range(count));
            }
            if(!fn(i, item, join(path, key))) {
                return false;
            }
        }
        return true;
    }
    return fail(err, path, "expected an array or an object keyed by index");
}

bool num_value(const ojson& v, unsigned nbits, bool is_signed, const std::string& path, std::string* err,
               uint64_t* out) {
    std::string why;
    if(!parse_int(v, nbits, is_signed, nullptr, out, &why)) {
        return fail(err, path, why);
    }
    return true;
}

void store_int(char* at, unsigned width, uint64_t u) {
    switch(width) {
        case 1: {
            auto x = static_cast<uint8_t>(u);
            std::memcpy(at, &x, 1);
            break;
        }
        case 2: {
            auto x = static_cast<uint16_t>(u);
            std::memcpy(at, &x, 2);
            break;
        }
        case 4: {
            auto x = static_cast<uint32_t>(u);
            std::memcpy(at, &x, 4);
            break;
        }
        default: std::memcpy(at, &u, 8); break;
    }
}

// The value at `at`, sign-extended for a signed field.
uint64_t load_int(const char* at, unsigned width, bool is_signed) {
    uint64_t u = 0;
    switch(width) {
        case 1: {
            uint8_t x;
            std::memcpy(&x, at, 1);
            u = x;
            break;
        }
        case 2: {
            uint16_t x;
            std::memcpy(&x, at, 2);
            u = x;
            break;
        }
        case 4: {
            uint32_t x;
            std::memcpy(&x, at, 4);
            u = x;
            break;
        }
        default: std::memcpy(&u, at, 8); return u;
    }
    const unsigned shift = 64 - 8 * width;
    return is_signed ? static_cast<uint64_t>(static_cast<int64_t>(u << shift) >> shift) : u;
}

uint32_t load_word(const char* at) {
    uint32_t w = 0;
    std::memcpy(&w, at, sizeof w);
    return w;
}

// ---- pass phrases and the configuration record's bit fields ----------------------------------

// A pass phrase slot: text of at most 17 characters, or (for bytes that are not
// printable ASCII, as a caller may write them) an array of at most 17 byte values.
bool set_password(char* slot, const ojson& v, const std::string& path, std::string* err) {
    uint8_t bytes[CLNK_PASSWORD_LEN] = {};
    size_t len = 0;
    if(v.is_string()) {
        const auto& s = v.get_ref<const std::string&>();
        if(s.size() > CLNK_PASSWORD_LEN - 1) {
            return fail(err, path, "pass phrase longer than 17 characters");
        }
        len = s.size();
        std::memcpy(bytes, s.data(), len);
    } else if(v.is_array()) {
        if(v.size() > CLNK_PASSWORD_LEN - 1) {
            return fail(err, path, "pass phrase longer than 17 characters");
        }
        for(; len < v.size(); ++len) {
            uint64_t u = 0;
            if(!num_value(v[len], 8, false, join(path, std::to_string(len)), err, &u)) {
                return false;
            }
            bytes[len] = static_cast<uint8_t>(u);
        }
    } else {
        return fail(err, path, "expected a pass phrase text");
    }
    if(std::memchr(bytes, 0, len) != nullptr) {
        return fail(err, path, "pass phrase holds a NUL character");
    }
    std::memcpy(slot, bytes, CLNK_PASSWORD_LEN);
    return true;
}

ojson password_json(const char* slot) {
    const size_t len = strnlen(slot, CLNK_PASSWORD_LEN);
    bool printable = true;
    for(size_t i = 0; i < len; ++i) {
        printable = printable && slot[i] >= 0x20 && slot[i] <= 0x7e;
    }
    if(printable) {
        return std::string(slot, len);
    }
    ojson bytes = ojson::array();
    for(size_t i = 0; i < len; ++i) {
        bytes.push_back(static_cast<uint8_t>(slot[i]));
    }
    return bytes;
}

#define CFG_BITS(F, BITS)                                                                                              \
    custom(                                                                                                            \
        #F, BITS,                                                                                                      \
        [](void* r, const ojson& v, const std::string& p, std::string* e) {                                            \
            uint64_t u = 0;                                                                                            \
            if(!num_value(v, BITS, false, p, e, &u)) {                                                                 \
                return false;                                                                                          \
            }                                                                                                          \
            static_cast<ClnkLib_ClnkCfgV2_t*>(r)->F = static_cast<uint32_t>(u) & ((1ull << BITS) - 1);                 \
            return true;                                                                                               \
        },                                                                                                             \
        [](const void* r) {                                                                                            \
            uint32_t x = static_cast<const ClnkLib_ClnkCfgV2_t*>(r)->F;                                                \
            return x != 0 ? ojson(x) : ojson();                                                                        \
        })

using CFG = ClnkLib_ClnkCfgV2_t;
const Desc kConfig{{CFG_BITS(preferredNcMode, 1), CFG_BITS(lowPowerMode, 1), CFG_BITS(reservedBits, 30),
                    U8(CFG, securityMode, maxTxPwr, beaconTxPwr, reserved0)[]{Field f{"mocaPassword", Form::Pass};
f.off = offsetof(CFG, mocaPassword);
f.count = CLNK_NUM_PASSWORDS;
f.stride = CLNK_PASSWORD_LEN;
return f;
}
(), U16(CFG, tgtP2pNperRate, tgtP2pVlperRate, tgtP2p50Rate, lof16) CFG_BITS(tabooOffset, 8), CFG_BITS(tabooMask, 24),
    U32(CFG, channelMask, bandMask)
}
}
;

// ---- answers of the chip operations, for a fault's "set" -----------------------------------

const Desc kFmrInfo{{
    U32(ClnkLib_FmrInfo_t, numOfNodes, nodeMask) REC(ClnkLib_FmrInfo_t, nodeFmr, kNodeFmr),
}};

static_assert(sizeof(ClnkLib_FlowCode_t) == sizeof(uint32_t), "flow codes are words");
using FL = ClnkLib_FlowListRsp_t;
const Desc kFlowList{{
    U32(FL, flowCode, flowUpdateCount, totalFlowIdCount, numReturnedFlowIds)
        mac("returnedFlowId", offsetof(FL, returnedFlowId) + offsetof(ClnkLib_MacAddr_t, hi),
            offsetof(FL, returnedFlowId) + offsetof(ClnkLib_MacAddr_t, lo), 0, MAX_FLOWS_IN_LIST),
}};

const Desc kPfp{kPfpFields};
using FQ = ClnkLib_FlowQueryRsp_t;
const Desc kFlowQuery{{U32(FQ, flowCode, leaseTimeLeft) rec("pfp", offsetof(FQ, pfp), &kPfp, 0, 0), U32(FQ, dfid)}};

const Desc kBridgeAnswer{{
    U32(BridgeAnswer, numEntries) REC(BridgeAnswer, entries, kBridgeEntry),
}};

struct Response {
    const char* op;
    const Desc* desc;
    size_t size;
};

const Response kResponses[] = {
    {"ClnkLib_GetLocalInfo", &kLocalInfo, sizeof(ClnkLib_LocalInfo_t)},
    {"ClnkLib_GetNetInfo", &kNetInfo, sizeof(ClnkLib_NetInfo_t)},
    {"ClnkLib_GetPhyTxProfile", &kTxProfile, sizeof(ClnkLib_PhyTxProfile_t)},
    {"ClnkLib_GetPhyRxProfile", &kRxProfile, sizeof(ClnkLib_PhyRxProfile_t)},
    {"ClnkLib_GetEcbStats", &kEcbStats, sizeof(ClnkLib_EcbStats_t)},
    {"ClnkLib_GetClnkCfgV2", &kConfig, sizeof(ClnkLib_ClnkCfgV2_t)},
    {"ClnkLib_GetClnkCfgV2Params", &kConfig, sizeof(ClnkLib_ClnkCfgV2_t)},
    {"ClnkLib_GetPhyMisc", &kPhyMisc, sizeof(ClnkLib_PhyMisc_t)},
    {"ClnkLib_GetCdInfo", &kCdInfo, sizeof(ClnkLib_CdInfo_t)},
    {"ClnkLib_GetDataStats", &kDataStats, sizeof(ClnkLib_DataStats_t)},
    {"ClnkLib_GetRlapmCfg", &kRlapm, sizeof(ClnkLib_RlapmStaticCfgV2_t)},
    {"ClnkLib_GetSapmCfg", &kSapm, sizeof(ClnkLib_SapmStaticCfgV2_t)},
    {"ClnkLib_GetFmrInfo", &kFmrInfo, sizeof(ClnkLib_FmrInfo_t)},
    {"ClnkLib_GetBridgeTable", &kBridgeAnswer, sizeof(BridgeAnswer)},
    {"ClnkLib_ListFlows", &kFlowList, sizeof(ClnkLib_FlowListRsp_t)},
    {"ClnkLib_QueryFlow", &kFlowQuery, sizeof(ClnkLib_FlowQueryRsp_t)},
};

// ---- decoding ----------------------------------------------------------------------------

bool decode_record(const ojson& obj, const Desc& d, char* base, const std::string& path, std::string* err);

bool decode_text(const Field& f, const ojson& v, char* at, const std::string& path, std::string* err) {
    uint32_t words[CLNK_SOC_VERSION_WORDS] = {};
    const size_t nwords = f.width / sizeof(uint32_t);
    if(v.is_string()) {
        const auto& s = v.get_ref<const std::string&>();
        if(s.size() > f.width) {
            return fail(err, path, "text longer than " + std::to_string(f.width) + " characters");
        }
        for(size_t i = 0; i < s.size(); ++i) {
            words[i / 4] |= static_cast<uint32_t>(static_cast<uint8_t>(s[i])) << (24 - 8 * (i % 4));
        }
    } else if(v.is_array()) {
        if(v.size() > nwords) {
            return fail(err, path, "more than " + std::to_string(nwords) + " words");
        }
        for(size_t i = 0; i < v.size(); ++i) {
            uint64_t u = 0;
            if(!num_value(v[i], 32, false, join(path, std::to_string(i)), err, &u)) {
                return false;
            }
            words[i] = static_cast<uint32_t>(u);
        }
    } else {
        return fail(err, path, "expected a text or an array of words");
    }
    std::memcpy(at, words, f.width);
    return true;
}

// One value of field `f` (one element of an array field) into the record at `at`.
bool decode_value(const Field& f, const ojson& v, char* at, const std::string& path, std::string* err) {
    uint64_t u = 0;
    switch(f.form) {
        case Form::Int:
            if(!num_value(v, 8u * f.width, f.is_signed, path, err, &u)) {
                return false;
            }
            store_int(at, f.width, u);
            return true;
        case Form::Bits: {
            if(!num_value(v, f.bits, false, path, err, &u)) {
                return false;
            }
            const uint32_t mask = static_cast<uint32_t>(((1ull << f.bits) - 1) << f.shift);
            const uint32_t word = (load_word(at) & ~mask) | (static_cast<uint32_t>(u << f.shift) & mask);
            std::memcpy(at, &word, sizeof word);
            return true;
        }
        case Form::Mac: {
            uint32_t hi = 0;
            uint32_t lo = 0;
            if(!v.is_string() || !parse_mac(v.get_ref<const std::string&>(), &hi, &lo)) {
                return fail(err, path, "malformed MAC address (want \"aa:bb:cc:dd:ee:ff\")");
            }
            char* lo_at = at + (f.off2 - f.off);
            lo |= load_word(lo_at) & 0xFFFFu; // the low half of the word is not the address's
            std::memcpy(at, &hi, sizeof hi);
            std::memcpy(lo_at, &lo, sizeof lo);
            return true;
        }
        case Form::Text: return decode_text(f, v, at, path, err);
        case Form::Pass: return set_password(at, v, path, err);
        case Form::Rec: return decode_record(v, *f.sub, at, path, err);
        case Form::Custom: return f.set(at - f.off, v, path, err);
    }
    return false;
}

// Field `f` of the record at `base`: a value, or the elements of an array.
bool decode_field(const Field& f, const ojson& v, char* base, const std::string& path, std::string* err) {
    if(f.count == 0) {
        return decode_value(f, v, base + f.off, path, err);
    }
    return for_each_index(v, f.count, path, err, [&](size_t i, const ojson& item, const std::string& ip) {
        return decode_value(f, item, base + f.off + i * f.stride, ip, err);
    });
}

bool decode_record(const ojson& obj, const Desc& d, char* base, const std::string& path, std::string* err) {
    if(!obj.is_object()) {
        return fail(err, path, "expected an object");
    }
    // Friendly forms first: raw words given beside them win, so that a patch can
    // change one word of an address that the state shows in its friendly form.
    for(const bool raw : {false, true}) {
        for(const auto& [key, v] : obj.items()) {
            const Field* f = d.find(key);
            if(f == nullptr) {
                return fail(err, join(path, key), "unknown field");
            }
            if(((f->flags & kRaw) != 0) == raw && !decode_field(*f, v, base, join(path, key), err)) {
                return false;
            }
        }
    }
    return true;
}

template <typename T>
bool decode_into(const ojson& obj, const Desc& d, T* rec, const std::string& path, std::string* err) {
    return decode_record(obj, d, reinterpret_cast<char*>(rec), path, err);
}

bool decode_bool(const ojson& v, const std::string& path, std::string* err, bool* out) {
    if(!v.is_boolean()) {
        return fail(err, path, "expected true or false");
    }
    *out = v.get<bool>();
    return true;
}

bool decode_flows(const ojson& v, const std::string& path, std::string* err, Node* node) {
    if(!v.is_object()) {
        return fail(err, path, "expected an object");
    }
    for(const auto& [key, item] : v.items()) {
        const std::string p = join(path, key);
        if(key == "flowUpdateCount") {
            uint64_t u = 0;
            if(!num_value(item, 32, false, p, err, &u)) {
                return false;
            }
            node->flowUpdateCount = static_cast<uint32_t>(u);
        } else if(key == "list") {
            if(!item.is_array()) {
                return fail(err, p, "expected an array of flows");
            }
            if(item.size() > kMaxFlowsPerNode) {
                return fail(err, p, "more than " + std::to_string(kMaxFlowsPerNode) + " flows");
            }
            for(size_t i = 0; i < item.size(); ++i) {
                Flow f;
                const std::string fp = join(p, std::to_string(i));
                if(!decode_into(item[i], kFlow, &f, fp, err)) {
                    return false;
                }
                if(!item[i].contains("flowId")) {
                    return fail(err, fp, "a flow needs a flowId");
                }
                node->flows.push_back(f);
            }
        } else {
            return fail(err, p, "unknown field");
        }
    }
    return true;
}

bool decode_node(const ojson& v, uint32_t id, const std::string& path, std::string* err, Node* node) {
    if(!v.is_object()) {
        return fail(err, path, "expected an object");
    }
    for(const auto& [key, item] : v.items()) {
        const std::string p = join(path, key);
        bool ok = true;
        if(key == "netInfo") {
            ok = decode_into(item, kNetInfo, &node->net, p, err);
            if(ok && item.contains("nodeId") && node->net.nodeId != id) {
                return fail(err, join(p, "nodeId"), "differs from the node's key " + std::to_string(id));
            }
        } else if(key == "txProfiles" || key == "rxProfiles") {
            const bool tx = key == "txProfiles";
            ok = for_each_index(item, kMaxProfileTypes, p, err, [&](size_t i, const ojson& pv, const std::string& pp) {
                const auto type = static_cast<uint32_t>(i);
                return tx ? decode_into(pv, kTxProfile, &node->tx[type], pp, err)
                          : decode_into(pv, kRxProfile, &node->rx[type], pp, err);
            });
        } else if(key == "cdInfo") {
            ok = decode_into(item, kCdInfo, &node->cd, p, err);
        } else if(key == "fmr") {
            ok = decode_into(item, kNodeFmr, &node->fmr, p, err);
        } else if(key == "flows") {
            ok = decode_flows(item, p, err, node);
        } else {
            return fail(err, p, "unknown field");
        }
        if(!ok) {
            return false;
        }
    }
    node->net.nodeId = id;
    return true;
}

bool decode_bridge_tables(const ojson& v, const std::string& path, std::string* err, Iface* ifc) {
    if(!v.is_object()) {
        return fail(err, path, "expected an object");
    }
    for(const auto& [tname, tv] : v.items()) {
        const std::string tp = join(path, tname);
        const std::string& table_name = tname; // a lambda may not capture a structured binding before clang 16
        const auto* name = std::find_if(std::begin(kBridgeTableNames), std::end(kBridgeTableNames),
                                        [&](const char* n) { return table_name == n; });
        if(name == std::end(kBridgeTableNames)) {
            return fail(err, tp, "unknown bridge table (ucastDst, mcastDst, pqosFlow, ucastSrc, mcastSrc)");
        }
        if(!tv.is_array()) {
            return fail(err, tp, "expected an array of entries");
        }
        if(tv.size() > MAX_BRIDGE_ENTRIES) {
            return fail(err, tp, "more than " + std::to_string(MAX_BRIDGE_ENTRIES) + " entries");
        }
        auto& table = ifc->bridge[static_cast<size_t>(name - std::begin(kBridgeTableNames))];
        table.assign(tv.size(), ClnkLib_BridgeEntry_t{});
        for(size_t i = 0; i < tv.size(); ++i) {
            if(!decode_into(tv[i], kBridgeEntry, &table[i], join(tp, std::to_string(i)), err)) {
                return false;
            }
        }
    }
    return true;
}

// Flow ids name one flow of the whole network.
bool check_flow_ids(const Iface& ifc, const std::string& path, std::string* err) {
    std::set<std::pair<uint32_t, uint32_t>> ids;
    for(const auto& [id, node] : ifc.nodes) {
        for(size_t i = 0; i < node.flows.size(); ++i) {
            const auto& fid = node.flows[i].pfp.flowId;
            if(!ids.insert({fid.hi, fid.lo}).second) {
                return fail(err,
                            join(path, "nodes." + std::to_string(id) + ".flows.list." + std::to_string(i) + ".flowId"),
                            "duplicate flow id " + mac_text(fid.hi, fid.lo));
            }
        }
    }
    return true;
}

bool decode_iface(const ojson& v, const std::string& path, std::string* err, Iface* ifc) {
    if(!v.is_object()) {
        return fail(err, path, "expected an object");
    }
    for(const auto& [key, item] : v.items()) {
        const std::string p = join(path, key);
        bool ok = true;
        if(key == "present" || key == "openable" || key == "started") {
            ok = decode_bool(item, p, err,
                             key == "present"    ? &ifc->present
                             : key == "openable" ? &ifc->openable
                                                 : &ifc->started);
        } else if(key == "localInfo") {
            ok = decode_into(item, kLocalInfo, &ifc->local, p, err);
        } else if(key == "config") {
            ok = decode_into(item, kConfig, &ifc->cfg, p, err);
        } else if(key == "phyMisc") {
            ok = decode_into(item, kPhyMisc, &ifc->misc, p, err);
        } else if(key == "ecbStats") {
            ok = decode_into(item, kEcbStats, &ifc->ecb, p, err);
        } else if(key == "dataStats") {
            ok = decode_into(item, kDataStats, &ifc->stats, p, err);
        } else if(key == "rlapm") {
            ok = decode_into(item, kRlapm, &ifc->rlapm, p, err);
        } else if(key == "sapm") {
            ok = decode_into(item, kSapm, &ifc->sapm, p, err);
        } else if(key == "nodes") {
            ok = for_each_index(item, MAX_NUM_NODES, p, err, [&](size_t i, const ojson& nv, const std::string& np) {
                const auto id = static_cast<uint32_t>(i);
                return decode_node(nv, id, np, err, &ifc->nodes[id]);
            });
        } else if(key == "bridgeTables") {
            ok = decode_bridge_tables(item, p, err, ifc);
        } else {
            return fail(err, p, "unknown field");
        }
        if(!ok) {
            return false;
        }
    }
    return check_flow_ids(*ifc, path, err);
}

// ---- encoding ----------------------------------------------------------------------------

ojson number_json(uint64_t u) {
    // Beyond 2^53 a JSON number is not exact in every reader: write it as text.
    if(u > (1ull << 53)) {
        return ojson(std::to_string(u));
    }
    return ojson(u);
}

ojson encode_record(const char* base, const Desc& d);

ojson encode_text(const Field& f, const char* at) {
    uint32_t words[CLNK_SOC_VERSION_WORDS] = {};
    const size_t nwords = f.width / sizeof(uint32_t);
    std::memcpy(words, at, f.width);
    std::string s;
    bool ended = false;
    bool clean = true;
    for(size_t i = 0; i < f.width; ++i) {
        auto c = static_cast<unsigned char>(words[i / 4] >> (24 - 8 * (i % 4)));
        if(c == 0) {
            ended = true;
        } else if(ended || c < 0x20 || c > 0x7e) {
            clean = false;
        } else {
            s.push_back(static_cast<char>(c));
        }
    }
    if(clean) {
        return s.empty() ? ojson() : ojson(s);
    }
    ojson arr = ojson::array();
    for(size_t i = 0; i < nwords; ++i) {
        arr.push_back(words[i]);
    }
    return arr;
}

// One value of field `f` at `at`; null for zero (left out of the sparse form).
ojson encode_value(const Field& f, const char* at) {
    switch(f.form) {
        case Form::Int: {
            const uint64_t u = load_int(at, f.width, f.is_signed);
            if(u == 0) {
                return ojson();
            }
            return f.is_signed ? ojson(static_cast<int64_t>(u)) : number_json(u);
        }
        case Form::Bits: {
            const uint32_t x = (load_word(at) >> f.shift) & static_cast<uint32_t>((1ull << f.bits) - 1);
            return x != 0 ? ojson(x) : ojson();
        }
        case Form::Mac: {
            const uint32_t hi = load_word(at);
            const uint32_t lo = load_word(at + (f.off2 - f.off)) & 0xFFFF0000u;
            return hi != 0 || lo != 0 ? ojson(mac_text(hi, lo)) : ojson();
        }
        case Form::Text: return encode_text(f, at);
        case Form::Pass: return *at != 0 ? password_json(at) : ojson();
        case Form::Rec: {
            ojson o = encode_record(at, *f.sub);
            return o.empty() ? ojson() : o;
        }
        case Form::Custom: return f.get(at - f.off);
    }
    return ojson();
}

ojson encode_field(const Field& f, const char* base) {
    if(f.count == 0) {
        ojson v = encode_value(f, base + f.off);
        if(v.is_null() && (f.flags & kKeep) != 0) {
            v = f.form == Form::Mac ? ojson(mac_text(0, 0)) : ojson(0);
        }
        return v;
    }
    if(f.form == Form::Int && f.width == 1) {
        // Byte arrays (margins) read best as one JSON array without its trailing zeros.
        const char* bytes = base + f.off;
        size_t n = f.count;
        while(n > 0 && bytes[n - 1] == 0) {
            --n;
        }
        ojson v;
        for(size_t i = 0; i < n; ++i) {
            v.push_back(static_cast<uint8_t>(bytes[i]));
        }
        return v;
    }
    ojson items = ojson::object();
    for(size_t i = 0; i < f.count; ++i) {
        ojson item = encode_value(f, base + f.off + i * f.stride);
        if(!item.is_null()) {
            items[std::to_string(i)] = std::move(item);
        }
    }
    return items.empty() ? ojson() : items;
}

// A raw word is written only where the address beside it cannot carry it.
bool raw_words_needed(const char* base, const Desc& d) {
    return std::any_of(d.fields.begin(), d.fields.end(), [base](const Field& f) {
        return (f.flags & kRawOwner) != 0 && (load_word(base + f.off2) & 0xFFFFu) != 0;
    });
}

ojson encode_record(const char* base, const Desc& d) {
    const bool raw = raw_words_needed(base, d);
    ojson out = ojson::object();
    for(const auto& f : d.fields) {
        if((f.flags & kRaw) != 0 ? !raw : (raw && (f.flags & kRawOwner) != 0)) {
            continue;
        }
        ojson v = encode_field(f, base);
        if(!v.is_null()) {
            out[f.name] = std::move(v);
        }
    }
    return out;
}

template <typename T>
ojson encode(const T& rec, const Desc& d) {
    return encode_record(reinterpret_cast<const char*>(&rec), d);
}

template <typename T>
bool all_zero(const T& rec) {
    const auto* p = reinterpret_cast<const unsigned char*>(&rec);
    return std::all_of(p, p + sizeof(T), [](unsigned char c) { return c == 0; });
}

// Records keyed by profile type, those with anything set.
template <typename T>
void put_profiles(ojson& out, const char* key, const std::map<uint32_t, T>& profiles, const Desc& d) {
    ojson o = ojson::object();
    for(const auto& [type, p] : profiles) {
        if(!all_zero(p)) {
            o[std::to_string(type)] = encode(p, d);
        }
    }
    if(!o.empty()) {
        out[key] = std::move(o);
    }
}

template <typename T>
void put_record(ojson& out, const char* key, const T& rec, const Desc& d) {
    ojson o = encode(rec, d);
    if(!o.empty()) {
        out[key] = std::move(o);
    }
}

ojson encode_node(const Node& n) {
    ojson out = ojson::object();
    ojson net = encode(n.net, kNetInfo);
    net.erase("nodeId");
    if(!net.empty()) {
        out["netInfo"] = std::move(net);
    }
    put_profiles(out, "txProfiles", n.tx, kTxProfile);
    put_profiles(out, "rxProfiles", n.rx, kRxProfile);
    if(!all_zero(n.cd)) {
        out["cdInfo"] = encode(n.cd, kCdInfo);
    }
    if(!all_zero(n.fmr)) {
        out["fmr"] = encode(n.fmr, kNodeFmr);
    }
    if(n.flowUpdateCount != 0 || !n.flows.empty()) {
        ojson flows = ojson::object();
        flows["flowUpdateCount"] = n.flowUpdateCount;
        flows["list"] = ojson::array();
        for(const auto& f : n.flows) {
            flows["list"].push_back(encode(f, kFlow));
        }
        out["flows"] = std::move(flows);
    }
    return out;
}

// ---- a fault's "set" ---------------------------------------------------------------------

// One byte of a pass phrase slot, reached as "mocaPassword.N.K": lets a set leave out the end.
const Field kPassByte = num<uint8_t>("byte", 0);

std::vector<std::string> split_path(const std::string& dotted) {
    std::vector<std::string> out;
    size_t start = 0;
    for(size_t dot = dotted.find('.'); dot != std::string::npos; dot = dotted.find('.', start)) {
        out.push_back(dotted.substr(start, dot - start));
        start = dot + 1;
    }
    out.push_back(dotted.substr(start));
    return out;
}

// "entries.3.nodeId" within record `d`: the field and where its value lies in the record.
bool resolve(const Desc& top, const std::string& dotted, const std::string& path, FieldSet* out, std::string* err) {
    const auto seg = split_path(dotted);
    const Desc* d = &top;
    size_t base = 0;
    for(size_t i = 0; i < seg.size(); ++i) {
        const Field* f = d->find(seg[i]);
        if(f == nullptr) {
            return fail(err, path, "unknown field \"" + seg[i] + "\"");
        }
        size_t at = base + f->off;
        const bool indexed = f->count > 0 && i + 1 < seg.size();
        if(indexed) {
            size_t idx = 0;
            if(!parse_index(seg[++i], f->count, &idx)) {
                return fail(err, path, "\"" + seg[i] + "\": " + index_range(f->count));
            }
            at += idx * f->stride;
        }
        if(i + 1 == seg.size()) {
            *out = FieldSet{f, indexed ? at : base, indexed, ojson()};
            return true;
        }
        if(indexed && f->form == Form::Pass) {
            size_t b = 0;
            if(!parse_index(seg[++i], CLNK_PASSWORD_LEN, &b) || i + 1 != seg.size()) {
                return fail(err, path, "a pass phrase byte is \"mocaPassword.N.K\", K below 18");
            }
            *out = FieldSet{&kPassByte, at + b, true, ojson()};
            return true;
        }
        if(f->form != Form::Rec || (f->count > 0 && !indexed)) {
            return fail(err, path, "\"" + seg[i] + "\" has no field \"" + seg[i + 1] + "\"");
        }
        d = f->sub;
        base = at;
    }
    return false;
}

bool apply_set(const FieldSet& s, char* rsp, const std::string& path, std::string* err) {
    if(s.element) {
        return decode_value(*s.field, s.value, rsp + s.at, path, err);
    }
    return decode_field(*s.field, s.value, rsp + s.at, path, err);
}

// The chip delivers every 64-bit counter with its halves exchanged: so does a set one.
void swap_counters(const FieldSet& s, char* base) {
    if(s.field->form != Form::Int || s.field->width != 8) {
        return;
    }
    const size_t n = s.element || s.field->count == 0 ? 1 : s.field->count;
    char* first = base + s.at + (s.element ? 0 : s.field->off);
    for(size_t i = 0; i < n; ++i) {
        const uint64_t v = load_int(first + i * 8, 8, false);
        store_int(first + i * 8, 8, (v << 32) | (v >> 32));
    }
}

} // namespace

bool parse_sets(const std::string& op, const ojson& set, const std::string& path, std::vector<FieldSet>* out,
                std::string* err) {
    const auto* r =
        std::find_if(std::begin(kResponses), std::end(kResponses), [&](const Response& x) { return op == x.op; });
    if(r == std::end(kResponses)) {
        return fail(err, path, op + " answers no record to set");
    }
    if(!set.is_object()) {
        return fail(err, path, "expected an object of field paths and values");
    }
    // Each value is checked by writing it into a scratch answer.
    std::vector<char> scratch(r->size);
    for(const auto& [key, value] : set.items()) {
        const std::string p = join(path, key);
        FieldSet s;
        if(!resolve(*r->desc, key, p, &s, err)) {
            return false;
        }
        s.value = value;
        if(!apply_set(s, scratch.data(), p, err)) {
            return false;
        }
        out->push_back(std::move(s));
    }
    return true;
}

void apply_sets(const std::vector<FieldSet>& sets, void* rsp) {
    char* base = static_cast<char*>(rsp);
    for(const auto& s : sets) {
        // Counters are set as true values: unpacked, written, packed again.
        swap_counters(s, base);
        apply_set(s, base, "", nullptr); // checked when armed: cannot fail
        swap_counters(s, base);
    }
}

bool parse_int(const ojson& v, unsigned bits, bool is_signed, int64_t* out_signed, uint64_t* out_unsigned,
               std::string* why) {
    bool negative = false;
    uint64_t mag = 0;
    if(v.is_number_unsigned()) {
        mag = v.get<uint64_t>();
    } else if(v.is_number_integer()) {
        const int64_t s = v.get<int64_t>();
        negative = s < 0;
        mag = negative ? static_cast<uint64_t>(-(s + 1)) + 1 : static_cast<uint64_t>(s);
    } else if(v.is_string()) {
        const auto& s = v.get_ref<const std::string&>();
        const char* p = s.c_str();
        if(*p == '-') {
            negative = true;
            ++p;
        }
        if(*p < '0' || *p > '9') {
            *why = "not a number: \"" + s + "\"";
            return false;
        }
        errno = 0;
        char* end = nullptr;
        mag = std::strtoull(p, &end, 0);
        if(errno == ERANGE) {
            *why = "value out of range: \"" + s + "\"";
            return false;
        }
        if(end == p || *end != '\0') {
            *why = "not a number: \"" + s + "\"";
            return false;
        }
    } else if(v.is_number_float()) {
        *why = "expected an integer";
        return false;
    } else {
        *why = "expected a number";
        return false;
    }
    // The message is built only for a value that does not fit: loads parse many numbers.
    const auto out_of_range = [&] {
        *why = "value " + (v.is_string() ? v.get<std::string>() : v.dump()) + " does not fit a " +
               std::to_string(bits) + "-bit " + (is_signed ? "signed" : "unsigned") + " field";
        return false;
    };
    if(is_signed) {
        const uint64_t limit = 1ull << (bits - 1);
        if((!negative && mag >= limit) || (negative && mag > limit)) {
            return out_of_range();
        }
        const int64_t s = negative ? -static_cast<int64_t>(mag - 1) - 1 : static_cast<int64_t>(mag);
        if(out_signed != nullptr) {
            *out_signed = s;
        }
        if(out_unsigned != nullptr) {
            *out_unsigned = static_cast<uint64_t>(s);
        }
        return true;
    }
    if((negative && mag != 0) || (bits < 64 && mag >= (1ull << bits))) {
        return out_of_range();
    }
    if(out_unsigned != nullptr) {
        *out_unsigned = mag;
    }
    if(out_signed != nullptr) {
        *out_signed = static_cast<int64_t>(mag);
    }
    return true;
}

bool parse_mac(const std::string& text, uint32_t* hi, uint32_t* lo) {
    if(text.size() != 17) {
        return false;
    }
    uint8_t b[6] = {};
    for(size_t i = 0; i < 6; ++i) {
        if(i > 0 && text[i * 3 - 1] != ':') {
            return false;
        }
        unsigned v = 0;
        for(size_t k = 0; k < 2; ++k) {
            const char c = text[i * 3 + k];
            v <<= 4;
            if(c >= '0' && c <= '9') {
                v |= static_cast<unsigned>(c - '0');
            } else if(c >= 'a' && c <= 'f') {
                v |= static_cast<unsigned>(c - 'a' + 10);
            } else if(c >= 'A' && c <= 'F') {
                v |= static_cast<unsigned>(c - 'A' + 10);
            } else {
                return false;
            }
        }
        b[i] = static_cast<uint8_t>(v);
    }
    *hi = (uint32_t{b[0]} << 24) | (uint32_t{b[1]} << 16) | (uint32_t{b[2]} << 8) | b[3];
    *lo = (uint32_t{b[4]} << 24) | (uint32_t{b[5]} << 16);
    return true;
}

std::string mac_text(uint32_t hi, uint32_t lo) {
    char buf[18];
    std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", hi >> 24, (hi >> 16) & 0xFF, (hi >> 8) & 0xFF,
                  hi & 0xFF, lo >> 24, (lo >> 16) & 0xFF);
    return buf;
}

bool decode_scenario(const ojson& scenario, State& out, std::string* err) {
    out = State{};
    if(!scenario.is_object()) {
        return fail(err, "", "expected an object with \"interfaces\"");
    }
    for(const auto& [key, v] : scenario.items()) {
        if(key != "interfaces") {
            return fail(err, key, "unknown field");
        }
        if(!v.is_object()) {
            return fail(err, key, "expected an object keyed by interface name");
        }
        for(const auto& [name, iv] : v.items()) {
            const std::string p = join(key, name);
            if(name.empty() || name.size() >= CLNK_IFNAME_LEN || name.find('\0') != std::string::npos) {
                return fail(err, p, "interface name must have 1 to 15 characters");
            }
            Iface ifc;
            ifc.name = name;
            if(!decode_iface(iv, p, err, &ifc)) {
                return false;
            }
            out.ifaces.push_back(std::move(ifc));
        }
    }
    return true;
}

ojson encode_scenario(const State& state) {
    ojson ifaces = ojson::object();
    for(const auto& ifc : state.ifaces) {
        ojson o = ojson::object();
        o["present"] = ifc.present;
        o["openable"] = ifc.openable;
        o["started"] = ifc.started;
        put_record(o, "localInfo", ifc.local, kLocalInfo);
        put_record(o, "config", ifc.cfg, kConfig);
        put_record(o, "phyMisc", ifc.misc, kPhyMisc);
        put_record(o, "ecbStats", ifc.ecb, kEcbStats);
        put_record(o, "dataStats", ifc.stats, kDataStats);
        if(!ifc.nodes.empty()) {
            ojson nodes = ojson::object();
            for(const auto& [id, n] : ifc.nodes) {
                nodes[std::to_string(id)] = encode_node(n);
            }
            o["nodes"] = std::move(nodes);
        }
        ojson tables = ojson::object();
        for(int t = 0; t < kNumBridgeTables; ++t) {
            const auto& table = ifc.bridge[static_cast<size_t>(t)];
            if(table.empty()) {
                continue;
            }
            ojson arr = ojson::array();
            for(const auto& e : table) {
                arr.push_back(encode(e, kBridgeEntry));
            }
            tables[kBridgeTableNames[t]] = std::move(arr);
        }
        if(!tables.empty()) {
            o["bridgeTables"] = std::move(tables);
        }
        put_record(o, "rlapm", ifc.rlapm, kRlapm);
        put_record(o, "sapm", ifc.sapm, kSapm);
        ifaces[ifc.name] = std::move(o);
    }
    ojson out = ojson::object();
    out["interfaces"] = std::move(ifaces);
    return out;
}

} // namespace clnksim::detail
