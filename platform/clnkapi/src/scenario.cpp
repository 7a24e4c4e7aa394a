// Scenario codec: JSON in the documented form <-> the simulator's state.
//
// Each chip record is described once by a table of its fields (name, width,
// place in the record); decoding and encoding both walk that table, so the
// two directions cannot drift apart. docs/scenario.md describes the format.
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

const char* const kBridgeTableNames[kNumBridgeTables] = {"ucastDst", "mcastDst", "pqosFlow",
                                                         "ucastSrc", "mcastSrc"};

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

namespace {

std::string join(const std::string& path, const std::string& key) {
    return path.empty() ? key : path + "." + key;
}

// ---- field tables ------------------------------------------------------------------------

enum class K { U8, U16, U32, I32, U64, Rec, Mac, Text, Custom };

struct Desc;
using CustomSet = bool (*)(void* rec, const ojson& v, const std::string& path, std::string* err);
using CustomGet = ojson (*)(const void* rec);   // null: nothing to write

struct Field {
    const char* name;
    K kind;
    size_t off = 0;
    size_t count = 0;              // 0: scalar, else the array length
    size_t stride = 0;             // element size of a record array
    const Desc* sub = nullptr;     // K::Rec
    size_t off2 = 0;               // K::Mac: the second word
    const char* raw_hi = nullptr;  // K::Mac: names of the raw words, if the record has them
    const char* raw_lo = nullptr;
    CustomSet set = nullptr;
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

Field num(const char* name, K kind, size_t off, size_t count = 0) {
    Field f{name, kind};
    f.off = off;
    f.count = count;
    return f;
}

Field rec(const char* name, size_t off, const Desc* sub, size_t count, size_t stride) {
    Field f{name, K::Rec};
    f.off = off;
    f.sub = sub;
    f.count = count;
    f.stride = stride;
    return f;
}

Field mac(const char* name, size_t hi, size_t lo, const char* raw_hi = nullptr,
          const char* raw_lo = nullptr) {
    Field f{name, K::Mac};
    f.off = hi;
    f.off2 = lo;
    f.raw_hi = raw_hi;
    f.raw_lo = raw_lo;
    return f;
}

Field custom(const char* name, CustomSet set, CustomGet get) {
    Field f{name, K::Custom};
    f.set = set;
    f.get = get;
    return f;
}

#define NUM(T, F, KIND) num(#F, K::KIND, offsetof(T, F))
#define ARR(T, F, KIND, N) num(#F, K::KIND, offsetof(T, F), N)

const Desc kLocalInfo{{
    NUM(ClnkLib_LocalInfo_t, nodeId, U32),
    NUM(ClnkLib_LocalInfo_t, ncNodeId, U32),
    NUM(ClnkLib_LocalInfo_t, backupNodeId, U32),
    NUM(ClnkLib_LocalInfo_t, lmoNodeId, U32),
    NUM(ClnkLib_LocalInfo_t, linkStatus, U32),
    NUM(ClnkLib_LocalInfo_t, networkState, U32),
    NUM(ClnkLib_LocalInfo_t, networkMocaVer, U32),
    NUM(ClnkLib_LocalInfo_t, activeNodeBitmask, U32),
    NUM(ClnkLib_LocalInfo_t, sleepM1NodeBitmask, U32),
    NUM(ClnkLib_LocalInfo_t, sleepM2NodeBitmask, U32),
    NUM(ClnkLib_LocalInfo_t, sleepM3NodeBitmask, U32),
    NUM(ClnkLib_LocalInfo_t, priChnOffset, I32),
    NUM(ClnkLib_LocalInfo_t, secChnOffset, I32),
    NUM(ClnkLib_LocalInfo_t, tabooMask, U32),
    num("socVersionStr", K::Text, offsetof(ClnkLib_LocalInfo_t, socVersionStr), CLNK_SOC_VERSION_WORDS),
    mac("mac", offsetof(ClnkLib_LocalInfo_t, macAddrHi), offsetof(ClnkLib_LocalInfo_t, macAddrLo),
        "macAddrHi", "macAddrLo"),
    NUM(ClnkLib_LocalInfo_t, macAddrHi, U32),
    NUM(ClnkLib_LocalInfo_t, macAddrLo, U32),
}};

const Desc kNetInfo{{
    NUM(ClnkLib_NetInfo_t, nodeId, U32),
    mac("guid", offsetof(ClnkLib_NetInfo_t, guidHi), offsetof(ClnkLib_NetInfo_t, guidLo), "guidHi",
        "guidLo"),
    NUM(ClnkLib_NetInfo_t, guidHi, U32),
    NUM(ClnkLib_NetInfo_t, guidLo, U32),
    NUM(ClnkLib_NetInfo_t, mocaVer, U32),
    NUM(ClnkLib_NetInfo_t, protoSupport, U32),
    NUM(ClnkLib_NetInfo_t, txDataFrameGood, U64),
    NUM(ClnkLib_NetInfo_t, txDataFrameDropped, U64),
    NUM(ClnkLib_NetInfo_t, rxDataFrameGood, U64),
    NUM(ClnkLib_NetInfo_t, rxDataFrameBad, U64),
}};

const Desc kTxProfile{{
    NUM(ClnkLib_PhyTxProfile_t, txProfileValid, U32),
    NUM(ClnkLib_PhyTxProfile_t, txPhyrate, U32),
    NUM(ClnkLib_PhyTxProfile_t, txTpcBackoff, U32),
    NUM(ClnkLib_PhyTxProfile_t, txNumSymbols, U32),
    NUM(ClnkLib_PhyTxProfile_t, txCp, U32),
}};

const Desc kRxProfile{{
    NUM(ClnkLib_PhyRxProfile_t, rxProfileValid, U32),
    NUM(ClnkLib_PhyRxProfile_t, rxPhyrate, U32),
    NUM(ClnkLib_PhyRxProfile_t, rxPwrLevel, U32),
    NUM(ClnkLib_PhyRxProfile_t, rxChnSnr, U32),
    NUM(ClnkLib_PhyRxProfile_t, rxNumSymbols, U32),
    NUM(ClnkLib_PhyRxProfile_t, rxCp, U32),
}};

const Desc kCdInfo{{
    NUM(ClnkLib_CdInfo_t, linkUpTimeInSecs, U32),
    NUM(ClnkLib_CdInfo_t, resetCount, U32),
    NUM(ClnkLib_CdInfo_t, resetLine, U32),
    NUM(ClnkLib_CdInfo_t, resetEpc, U32),
    NUM(ClnkLib_CdInfo_t, linkLostCount, U32),
}};

const Desc kPhyMisc{{
    NUM(ClnkLib_PhyMisc_t, currentOperatingFrequency, U32),
    NUM(ClnkLib_PhyMisc_t, currentBand, U32),
    NUM(ClnkLib_PhyMisc_t, txPowerDbm, U32),
}};

const Desc kEcbStats{{
    NUM(ClnkLib_EcbStats_t, debug0, U32), NUM(ClnkLib_EcbStats_t, debug1, U32),
    NUM(ClnkLib_EcbStats_t, debug2, U32), NUM(ClnkLib_EcbStats_t, debug3, U32),
    NUM(ClnkLib_EcbStats_t, debug4, U32), NUM(ClnkLib_EcbStats_t, debug5, U32),
    NUM(ClnkLib_EcbStats_t, debug6, U32), NUM(ClnkLib_EcbStats_t, debug7, U32),
    NUM(ClnkLib_EcbStats_t, debug8, U32), NUM(ClnkLib_EcbStats_t, debug9, U32),
    NUM(ClnkLib_EcbStats_t, debug10, U32), NUM(ClnkLib_EcbStats_t, debug11, U32),
    NUM(ClnkLib_EcbStats_t, debug12, U32), NUM(ClnkLib_EcbStats_t, debug13, U32),
    NUM(ClnkLib_EcbStats_t, debug14, U32), NUM(ClnkLib_EcbStats_t, debug15, U32),
}};

const Desc kDataStats{{
    NUM(ClnkLib_DataStats_t, txTotalPkts, U64),
    NUM(ClnkLib_DataStats_t, txTotalBytes, U64),
    NUM(ClnkLib_DataStats_t, txDroppedPkts, U64),
    NUM(ClnkLib_DataStats_t, txBcastPkts, U64),
    NUM(ClnkLib_DataStats_t, txMcastPkts, U64),
    ARR(ClnkLib_DataStats_t, txUcastPkts, U64, MAX_NUM_NODES),
    NUM(ClnkLib_DataStats_t, txBcastBytes, U64),
    NUM(ClnkLib_DataStats_t, txMcastBytes, U64),
    NUM(ClnkLib_DataStats_t, txUcastBytes, U64),
    NUM(ClnkLib_DataStats_t, txGoodPktsInLast60s, U64),
    NUM(ClnkLib_DataStats_t, txDroppedPktsInLast60s, U64),
    NUM(ClnkLib_DataStats_t, rxTotalPkts, U64),
    NUM(ClnkLib_DataStats_t, rxTotalBytes, U64),
    NUM(ClnkLib_DataStats_t, rxDroppedPkts, U64),
    ARR(ClnkLib_DataStats_t, rxBcastPkts, U64, MAX_NUM_NODES),
    ARR(ClnkLib_DataStats_t, rxMcastPkts, U64, MAX_NUM_NODES),
    ARR(ClnkLib_DataStats_t, rxUcastPkts, U64, MAX_NUM_NODES),
    NUM(ClnkLib_DataStats_t, rxBcastBytes, U64),
    NUM(ClnkLib_DataStats_t, rxMcastBytes, U64),
    NUM(ClnkLib_DataStats_t, rxUcastBytes, U64),
    NUM(ClnkLib_DataStats_t, rxGoodPktsInLast60s, U64),
    NUM(ClnkLib_DataStats_t, rxBadPktsInLast60s, U64),
}};

const Desc kFmrP2p{{
    NUM(ClnkLib_FmrP2p_t, gapNper, U16),
    NUM(ClnkLib_FmrP2p_t, gapVLper, U16),
    NUM(ClnkLib_FmrP2p_t, ofdmbNper, U16),
    NUM(ClnkLib_FmrP2p_t, ofdmbVLper, U16),
    NUM(ClnkLib_FmrP2p_t, rateNper, U16),
    NUM(ClnkLib_FmrP2p_t, rateVLper, U16),
}};

const Desc kFmrOfdma{{
    NUM(ClnkLib_FmrOfdma_t, ofdmaDefTab, U16),
    NUM(ClnkLib_FmrOfdma_t, ofdmaGap, U16),
    NUM(ClnkLib_FmrOfdma_t, ofdmaRate, U16),
    NUM(ClnkLib_FmrOfdma_t, ofdmaSubchannels, U16),
}};

const Desc kNodeFmr{{
    NUM(ClnkLib_NodeFmr_t, validInfo, U32),
    rec("p2p", offsetof(ClnkLib_NodeFmr_t, p2p), &kFmrP2p, MAX_NUM_NODES, sizeof(ClnkLib_FmrP2p_t)),
    NUM(ClnkLib_NodeFmr_t, gapGcd, U16),
    NUM(ClnkLib_NodeFmr_t, ofdmbGcd, U16),
    NUM(ClnkLib_NodeFmr_t, rateGcd, U16),
    NUM(ClnkLib_NodeFmr_t, defTableNum, U16),
    rec("ofdma", offsetof(ClnkLib_NodeFmr_t, ofdma), &kFmrOfdma, CLNK_NUM_OFDMA,
        sizeof(ClnkLib_FmrOfdma_t)),
}};

const Desc kRlapmRow{{
    NUM(MXL_MOCA_RLAPM_TABLE_V2_T, freq, U32),
    ARR(MXL_MOCA_RLAPM_TABLE_V2_T, phymargin, U8, MAX_RX_LEVELS_PADDED),
}};

const Desc kRlapmProfile{{
    NUM(MXL_MOCA_RLAPM_CFG_V2_T, rlapmmode, U32),
    rec("tbl", offsetof(MXL_MOCA_RLAPM_CFG_V2_T, tbl), &kRlapmRow, MAX_RLAPM_FREQS,
        sizeof(MXL_MOCA_RLAPM_TABLE_V2_T)),
}};

const Desc kRlapm{{
    NUM(ClnkLib_RlapmStaticCfgV2_t, rlapmmode, U32),
    NUM(ClnkLib_RlapmStaticCfgV2_t, rlapmProfileId, I32),
    rec("profiles", offsetof(ClnkLib_RlapmStaticCfgV2_t, profiles), &kRlapmProfile,
        MAX_RLAPM_PROFILES, sizeof(ClnkLib_RlapmCfgV2_t)),
}};

const Desc kSapmRow{{
    NUM(MXL_MOCA_SAPM_TABLE_V2_T, freq, U32),
    NUM(MXL_MOCA_SAPM_TABLE_V2_T, threshold, U32),
    NUM(MXL_MOCA_SAPM_TABLE_V2_T, scstart, I32),
    ARR(MXL_MOCA_SAPM_TABLE_V2_T, phymargin, U8, MAX_MINI_SAPM_MARGIN_LEN),
}};

const Desc kSapmProfile{{
    NUM(MXL_MOCA_SAPM_CFG_V2_T, sapmmode, U32),
    rec("tbl", offsetof(MXL_MOCA_SAPM_CFG_V2_T, tbl), &kSapmRow, MAX_SAPM_FREQS,
        sizeof(MXL_MOCA_SAPM_TABLE_V2_T)),
}};

const Desc kSapm{{
    NUM(ClnkLib_SapmStaticCfgV2_t, sapmmode, U32),
    NUM(ClnkLib_SapmStaticCfgV2_t, sapmProfileId, I32),
    rec("profiles", offsetof(ClnkLib_SapmStaticCfgV2_t, profiles), &kSapmProfile,
        MAX_SAPM_PROFILES, sizeof(ClnkLib_SapmCfgV2_t)),
}};

#define PFP_OFF(F) (offsetof(Flow, pfp) + offsetof(ClnkLib_PFP_t, F))
#define PFP_NUM(F) num(#F, K::U32, PFP_OFF(F))
#define PFP_MAC(F) mac(#F, PFP_OFF(F) + offsetof(ClnkLib_MacAddr_t, hi), PFP_OFF(F) + offsetof(ClnkLib_MacAddr_t, lo))

const Desc kFlow{{
    PFP_MAC(flowId),
    PFP_MAC(packetDa),
    PFP_MAC(ingressGuid),
    PFP_MAC(egressGuid),
    PFP_NUM(tPktSize),
    PFP_NUM(flowTag),
    PFP_NUM(tPeakDataRateKbps),
    PFP_NUM(tLeaseTimeSec),
    PFP_NUM(tBurstSize),
    PFP_NUM(maxLatencyMs),
    PFP_NUM(stAvgRatio),
    PFP_NUM(maxNumRetry),
    PFP_NUM(flowPer),
    PFP_NUM(inOrderDeliver),
    PFP_NUM(tProtocol),
    PFP_NUM(ingressClass),
    PFP_NUM(vlanTag),
    PFP_NUM(dscpMoca),
    NUM(Flow, leaseTimeLeft, U32),
    NUM(Flow, dfid, U32),
}};

// The configuration record has bit fields and pass phrase texts: small setters and getters.
bool num_value(const ojson& v, unsigned bits, const std::string& path, std::string* err, uint64_t* out) {
    std::string why;
    if(!parse_int(v, bits, false, nullptr, out, &why)) {
        return fail(err, path, why);
    }
    return true;
}

#define CFG_BITS(F, BITS)                                                                         \
    custom(                                                                                       \
        #F,                                                                                       \
        [](void* r, const ojson& v, const std::string& p, std::string* e) {                      \
            uint64_t u = 0;                                                                       \
            if(!num_value(v, BITS, p, e, &u)) {                                                   \
                return false;                                                                     \
            }                                                                                     \
            static_cast<ClnkLib_ClnkCfgV2_t*>(r)->F = static_cast<uint32_t>(u) & ((1ull << BITS) - 1); \
            return true;                                                                          \
        },                                                                                        \
        [](const void* r) {                                                                       \
            uint32_t x = static_cast<const ClnkLib_ClnkCfgV2_t*>(r)->F;                          \
            return x != 0 ? ojson(x) : ojson();                                                   \
        })

// A pass phrase slot: text of at most 17 characters, or (for bytes that are not
// printable ASCII, as a caller may write them) an array of at most 17 byte values.
bool set_password(uint8_t* slot, const ojson& v, const std::string& path, std::string* err) {
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
            if(!num_value(v[len], 8, join(path, std::to_string(len)), err, &u)) {
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

ojson password_json(const uint8_t* slot) {
    const size_t len = strnlen(reinterpret_cast<const char*>(slot), CLNK_PASSWORD_LEN);
    bool printable = true;
    for(size_t i = 0; i < len; ++i) {
        printable = printable && slot[i] >= 0x20 && slot[i] <= 0x7e;
    }
    if(printable) {
        return std::string(reinterpret_cast<const char*>(slot), len);
    }
    ojson bytes = ojson::array();
    for(size_t i = 0; i < len; ++i) {
        bytes.push_back(slot[i]);
    }
    return bytes;
}

bool for_each_index(const ojson& v, size_t count, const std::string& path, std::string* err,
                    const std::function<bool(size_t, const ojson&, const std::string&)>& fn);

const Desc kConfig{{
    CFG_BITS(preferredNcMode, 1),
    CFG_BITS(lowPowerMode, 1),
    CFG_BITS(reservedBits, 30),
    NUM(ClnkLib_ClnkCfgV2_t, securityMode, U8),
    NUM(ClnkLib_ClnkCfgV2_t, maxTxPwr, U8),
    NUM(ClnkLib_ClnkCfgV2_t, beaconTxPwr, U8),
    NUM(ClnkLib_ClnkCfgV2_t, reserved0, U8),
    custom(
        "mocaPassword",
        [](void* r, const ojson& v, const std::string& p, std::string* e) {
            auto* cfg = static_cast<ClnkLib_ClnkCfgV2_t*>(r);
            return for_each_index(v, CLNK_NUM_PASSWORDS, p, e,
                                  [&](size_t i, const ojson& item, const std::string& ip) {
                                      return set_password(cfg->mocaPassword[i], item, ip, e);
                                  });
        },
        [](const void* r) {
            const auto* cfg = static_cast<const ClnkLib_ClnkCfgV2_t*>(r);
            ojson out = ojson::object();
            for(size_t i = 0; i < CLNK_NUM_PASSWORDS; ++i) {
                if(cfg->mocaPassword[i][0] != 0) {
                    out[std::to_string(i)] = password_json(cfg->mocaPassword[i]);
                }
            }
            return out.empty() ? ojson() : out;
        }),
    NUM(ClnkLib_ClnkCfgV2_t, tgtP2pNperRate, U16),
    NUM(ClnkLib_ClnkCfgV2_t, tgtP2pVlperRate, U16),
    NUM(ClnkLib_ClnkCfgV2_t, tgtP2p50Rate, U16),
    NUM(ClnkLib_ClnkCfgV2_t, lof16, U16),
    CFG_BITS(tabooOffset, 8),
    CFG_BITS(tabooMask, 24),
    NUM(ClnkLib_ClnkCfgV2_t, channelMask, U32),
    NUM(ClnkLib_ClnkCfgV2_t, bandMask, U32),
}};

// ---- decoding ----------------------------------------------------------------------------

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
                return fail(err, join(path, key),
                            "index out of range (a decimal index below " + std::to_string(count) + ")");
            }
            if(!fn(i, item, join(path, key))) {
                return false;
            }
        }
        return true;
    }
    return fail(err, path, "expected an array or an object keyed by index");
}

unsigned bits_of(K kind) {
    switch(kind) {
    case K::U8: return 8;
    case K::U16: return 16;
    case K::U64: return 64;
    default: return 32;
    }
}

bool decode_record(const ojson& obj, const Desc& d, void* base, const std::string& path, std::string* err);

// The members of an object, those whose key satisfies `first` ahead of the rest.
template <typename Pred>
std::vector<std::pair<std::string, const ojson*>> friendly_first(const ojson& obj, Pred first) {
    std::vector<std::pair<std::string, const ojson*>> out;
    for(const auto& [key, v] : obj.items()) {
        out.emplace_back(key, &v);
    }
    std::stable_partition(out.begin(), out.end(), [&](const auto& kv) { return first(kv.first); });
    return out;
}

bool decode_element(const Field& f, const ojson& v, char* where, const std::string& path, std::string* err) {
    switch(f.kind) {
    case K::U8:
    case K::U16:
    case K::U32:
    case K::U64:
    case K::I32: {
        int64_t s = 0;
        uint64_t u = 0;
        std::string why;
        if(!parse_int(v, bits_of(f.kind), f.kind == K::I32, &s, &u, &why)) {
            return fail(err, path, why);
        }
        switch(f.kind) {
        case K::U8: { auto x = static_cast<uint8_t>(u); std::memcpy(where, &x, sizeof x); break; }
        case K::U16: { auto x = static_cast<uint16_t>(u); std::memcpy(where, &x, sizeof x); break; }
        case K::U32: { auto x = static_cast<uint32_t>(u); std::memcpy(where, &x, sizeof x); break; }
        case K::U64: std::memcpy(where, &u, sizeof u); break;
        default: { auto x = static_cast<int32_t>(s); std::memcpy(where, &x, sizeof x); break; }
        }
        return true;
    }
    case K::Rec:
        return decode_record(v, *f.sub, where, path, err);
    default:
        return fail(err, path, "internal: unexpected field kind");
    }
}

bool decode_text(const Field& f, const ojson& v, char* base, const std::string& path, std::string* err) {
    uint32_t words[CLNK_SOC_VERSION_WORDS] = {};
    const size_t max_chars = f.count * 4;
    if(v.is_string()) {
        const auto& s = v.get_ref<const std::string&>();
        if(s.size() > max_chars) {
            return fail(err, path, "text longer than " + std::to_string(max_chars) + " characters");
        }
        for(size_t i = 0; i < s.size(); ++i) {
            words[i / 4] |= static_cast<uint32_t>(static_cast<uint8_t>(s[i])) << (24 - 8 * (i % 4));
        }
    } else if(v.is_array()) {
        if(v.size() > f.count) {
            return fail(err, path, "more than " + std::to_string(f.count) + " words");
        }
        for(size_t i = 0; i < v.size(); ++i) {
            uint64_t u = 0;
            if(!num_value(v[i], 32, join(path, std::to_string(i)), err, &u)) {
                return false;
            }
            words[i] = static_cast<uint32_t>(u);
        }
    } else {
        return fail(err, path, "expected a text or an array of words");
    }
    std::memcpy(base + f.off, words, f.count * sizeof(uint32_t));
    return true;
}

bool decode_record(const ojson& obj, const Desc& d, void* rec, const std::string& path, std::string* err) {
    if(!obj.is_object()) {
        return fail(err, path, "expected an object");
    }
    char* base = static_cast<char*>(rec);
    // Friendly forms first: raw words given beside them win, so that a patch can
    // change one word of an address that the state shows in its friendly form.
    for(const auto& [key, vp] : friendly_first(obj, [&d](const std::string& k) {
            const Field* f = d.find(k);
            return f != nullptr && f->kind == K::Mac;
        })) {
        const ojson& v = *vp;
        const Field* f = d.find(key);
        const std::string p = join(path, key);
        if(f == nullptr) {
            return fail(err, p, "unknown field");
        }
        bool ok = true;
        switch(f->kind) {
        case K::Mac: {
            uint32_t hi = 0;
            uint32_t lo = 0;
            if(!v.is_string() || !parse_mac(v.get_ref<const std::string&>(), &hi, &lo)) {
                return fail(err, p, "malformed MAC address (want \"aa:bb:cc:dd:ee:ff\")");
            }
            std::memcpy(base + f->off, &hi, sizeof hi);
            std::memcpy(base + f->off2, &lo, sizeof lo);
            break;
        }
        case K::Text:
            ok = decode_text(*f, v, base, p, err);
            break;
        case K::Custom:
            ok = f->set(rec, v, p, err);
            break;
        default:
            if(f->count == 0) {
                ok = decode_element(*f, v, base + f->off, p, err);
            } else {
                const size_t stride = f->kind == K::Rec ? f->stride : bits_of(f->kind) / 8;
                ok = for_each_index(v, f->count, p, err, [&](size_t i, const ojson& item, const std::string& ip) {
                    return decode_element(*f, item, base + f->off + i * stride, ip, err);
                });
            }
            break;
        }
        if(!ok) {
            return false;
        }
    }
    return true;
}

bool decode_bool(const ojson& v, const std::string& path, std::string* err, bool* out) {
    if(!v.is_boolean()) {
        return fail(err, path, "expected true or false");
    }
    *out = v.get<bool>();
    return true;
}

bool decode_bridge_entry(const ojson& v, const std::string& path, std::string* err, ClnkLib_BridgeEntry_t* e) {
    if(!v.is_object()) {
        return fail(err, path, "expected an object");
    }
    *e = ClnkLib_BridgeEntry_t{};
    // mac and nodeId first; raw words given beside them win.
    for(const auto& [key, ip] : friendly_first(v, [](const std::string& k) { return k == "mac" || k == "nodeId"; })) {
        const ojson& item = *ip;
        const std::string p = join(path, key);
        uint64_t u = 0;
        if(key == "mac") {
            uint32_t hi = 0;
            uint32_t lo = 0;
            if(!item.is_string() || !parse_mac(item.get_ref<const std::string&>(), &hi, &lo)) {
                return fail(err, p, "malformed MAC address (want \"aa:bb:cc:dd:ee:ff\")");
            }
            e->macAddrHi = hi;
            e->macAddrLoIds = (e->macAddrLoIds & 0xFFFFu) | lo;
        } else if(key == "nodeId") {
            if(!num_value(item, 16, p, err, &u)) {
                return false;
            }
            e->macAddrLoIds = (e->macAddrLoIds & 0xFFFF0000u) | static_cast<uint32_t>(u);
        } else if(key == "macAddrHi" || key == "macAddrLoIds") {
            if(!num_value(item, 32, p, err, &u)) {
                return false;
            }
            (key == "macAddrHi" ? e->macAddrHi : e->macAddrLoIds) = static_cast<uint32_t>(u);
        } else {
            return fail(err, p, "unknown field");
        }
    }
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
            if(!num_value(item, 32, p, err, &u)) {
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
                if(!decode_record(item[i], kFlow, &f, fp, err)) {
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
            ok = decode_record(item, kNetInfo, &node->net, p, err);
            if(ok && item.contains("nodeId") && node->net.nodeId != id) {
                return fail(err, join(p, "nodeId"), "differs from the node's key " + std::to_string(id));
            }
        } else if(key == "txProfiles" || key == "rxProfiles") {
            const bool tx = key == "txProfiles";
            ok = for_each_index(item, kMaxProfileTypes, p, err, [&](size_t i, const ojson& pv, const std::string& pp) {
                const auto type = static_cast<uint32_t>(i);
                return tx ? decode_record(pv, kTxProfile, &node->tx[type], pp, err)
                          : decode_record(pv, kRxProfile, &node->rx[type], pp, err);
            });
        } else if(key == "cdInfo") {
            ok = decode_record(item, kCdInfo, &node->cd, p, err);
        } else if(key == "fmr") {
            ok = decode_record(item, kNodeFmr, &node->fmr, p, err);
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

bool decode_iface(const ojson& v, const std::string& path, std::string* err, Iface* ifc) {
    if(!v.is_object()) {
        return fail(err, path, "expected an object");
    }
    for(const auto& [key, item] : v.items()) {
        const std::string p = join(path, key);
        bool ok = true;
        if(key == "present") {
            ok = decode_bool(item, p, err, &ifc->present);
        } else if(key == "openable") {
            ok = decode_bool(item, p, err, &ifc->openable);
        } else if(key == "started") {
            ok = decode_bool(item, p, err, &ifc->started);
        } else if(key == "localInfo") {
            ok = decode_record(item, kLocalInfo, &ifc->local, p, err);
        } else if(key == "config") {
            ok = decode_record(item, kConfig, &ifc->cfg, p, err);
        } else if(key == "phyMisc") {
            ok = decode_record(item, kPhyMisc, &ifc->misc, p, err);
        } else if(key == "ecbStats") {
            ok = decode_record(item, kEcbStats, &ifc->ecb, p, err);
        } else if(key == "dataStats") {
            ok = decode_record(item, kDataStats, &ifc->stats, p, err);
        } else if(key == "rlapm") {
            ok = decode_record(item, kRlapm, &ifc->rlapm, p, err);
        } else if(key == "sapm") {
            ok = decode_record(item, kSapm, &ifc->sapm, p, err);
        } else if(key == "nodes") {
            ok = for_each_index(item, MAX_NUM_NODES, p, err, [&](size_t i, const ojson& nv, const std::string& np) {
                const auto id = static_cast<uint32_t>(i);
                return decode_node(nv, id, np, err, &ifc->nodes[id]);
            });
        } else if(key == "bridgeTables") {
            if(!item.is_object()) {
                return fail(err, p, "expected an object");
            }
            for(const auto& [tname, tv] : item.items()) {
                const std::string tp = join(p, tname);
                int t = 0;
                while(t < kNumBridgeTables && tname != kBridgeTableNames[t]) {
                    ++t;
                }
                if(t == kNumBridgeTables) {
                    return fail(err, tp, "unknown bridge table (ucastDst, mcastDst, pqosFlow, ucastSrc, mcastSrc)");
                }
                if(!tv.is_array()) {
                    return fail(err, tp, "expected an array of entries");
                }
                if(tv.size() > MAX_BRIDGE_ENTRIES) {
                    return fail(err, tp, "more than " + std::to_string(MAX_BRIDGE_ENTRIES) + " entries");
                }
                auto& table = ifc->bridge[static_cast<size_t>(t)];
                table.assign(tv.size(), ClnkLib_BridgeEntry_t{});
                for(size_t i = 0; i < tv.size(); ++i) {
                    if(!decode_bridge_entry(tv[i], join(tp, std::to_string(i)), err, &table[i])) {
                        return false;
                    }
                }
            }
        } else {
            return fail(err, p, "unknown field");
        }
        if(!ok) {
            return false;
        }
    }
    // Flow ids name one flow of the whole network.
    std::set<std::pair<uint32_t, uint32_t>> ids;
    for(const auto& [id, node] : ifc->nodes) {
        for(size_t i = 0; i < node.flows.size(); ++i) {
            const auto& fid = node.flows[i].pfp.flowId;
            if(!ids.insert({fid.hi, fid.lo}).second) {
                return fail(err, join(path, "nodes." + std::to_string(id) + ".flows.list." + std::to_string(i) + ".flowId"),
                            "duplicate flow id " + mac_text(fid.hi, fid.lo));
            }
        }
    }
    return true;
}

// ---- encoding ----------------------------------------------------------------------------

ojson number_json(uint64_t u) {
    // Beyond 2^53 a JSON number is not exact in every reader: write it as text.
    if(u > (1ull << 53)) {
        return ojson(std::to_string(u));
    }
    return ojson(u);
}

ojson encode_record(const void* rec, const Desc& d);

ojson encode_element(const Field& f, const char* where) {
    switch(f.kind) {
    case K::U8: { uint8_t x; std::memcpy(&x, where, sizeof x); return x ? ojson(x) : ojson(); }
    case K::U16: { uint16_t x; std::memcpy(&x, where, sizeof x); return x ? ojson(x) : ojson(); }
    case K::U32: { uint32_t x; std::memcpy(&x, where, sizeof x); return x ? ojson(x) : ojson(); }
    case K::I32: { int32_t x; std::memcpy(&x, where, sizeof x); return x ? ojson(x) : ojson(); }
    case K::U64: { uint64_t x; std::memcpy(&x, where, sizeof x); return x ? number_json(x) : ojson(); }
    case K::Rec: {
        ojson o = encode_record(where, *f.sub);
        return o.empty() ? ojson() : o;
    }
    default: return ojson();
    }
}

ojson encode_text(const Field& f, const char* base) {
    uint32_t words[CLNK_SOC_VERSION_WORDS] = {};
    std::memcpy(words, base + f.off, f.count * sizeof(uint32_t));
    std::string s;
    bool ended = false;
    bool clean = true;
    for(size_t i = 0; i < f.count * 4; ++i) {
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
    for(size_t i = 0; i < f.count; ++i) {
        arr.push_back(words[i]);
    }
    return arr;
}

ojson encode_record(const void* rec, const Desc& d) {
    const char* base = static_cast<const char*>(rec);
    ojson out = ojson::object();
    std::set<std::string> skip;
    for(const auto& f : d.fields) {
        if(skip.count(f.name) != 0) {
            continue;
        }
        ojson v;
        switch(f.kind) {
        case K::Mac: {
            uint32_t hi = 0;
            uint32_t lo = 0;
            std::memcpy(&hi, base + f.off, sizeof hi);
            std::memcpy(&lo, base + f.off2, sizeof lo);
            if((lo & 0xFFFFu) != 0 && f.raw_hi != nullptr) {
                continue;   // not an address alone: the raw words carry it
            }
            if(f.raw_hi != nullptr) {
                skip.insert(f.raw_hi);
                skip.insert(f.raw_lo);
            }
            if(hi != 0 || lo != 0) {
                v = mac_text(hi, lo);
            }
            break;
        }
        case K::Text:
            v = encode_text(f, base);
            break;
        case K::Custom:
            v = f.get(rec);
            break;
        default:
            if(f.count == 0) {
                v = encode_element(f, base + f.off);
            } else if(f.kind == K::U8) {
                // Byte arrays (margins) read best as one JSON array without its trailing zeros.
                const auto* bytes = reinterpret_cast<const uint8_t*>(base + f.off);
                size_t n = f.count;
                while(n > 0 && bytes[n - 1] == 0) {
                    --n;
                }
                if(n > 0) {
                    v = ojson::array();
                    for(size_t i = 0; i < n; ++i) {
                        v.push_back(bytes[i]);
                    }
                }
            } else {
                const size_t stride = f.kind == K::Rec ? f.stride : bits_of(f.kind) / 8;
                ojson items = ojson::object();
                for(size_t i = 0; i < f.count; ++i) {
                    ojson item = encode_element(f, base + f.off + i * stride);
                    if(!item.is_null()) {
                        items[std::to_string(i)] = std::move(item);
                    }
                }
                if(!items.empty()) {
                    v = std::move(items);
                }
            }
            break;
        }
        if(!v.is_null()) {
            out[f.name] = std::move(v);
        }
    }
    return out;
}

template <typename T>
bool all_zero(const T& rec) {
    const auto* p = reinterpret_cast<const unsigned char*>(&rec);
    for(size_t i = 0; i < sizeof(T); ++i) {
        if(p[i] != 0) {
            return false;
        }
    }
    return true;
}

ojson encode_node(const Node& n) {
    ojson out = ojson::object();
    ojson net = encode_record(&n.net, kNetInfo);
    net.erase("nodeId");
    if(!net.empty()) {
        out["netInfo"] = std::move(net);
    }
    ojson tx = ojson::object();
    for(const auto& [type, p] : n.tx) {
        if(!all_zero(p)) {
            tx[std::to_string(type)] = encode_record(&p, kTxProfile);
        }
    }
    if(!tx.empty()) {
        out["txProfiles"] = std::move(tx);
    }
    ojson rx = ojson::object();
    for(const auto& [type, p] : n.rx) {
        if(!all_zero(p)) {
            rx[std::to_string(type)] = encode_record(&p, kRxProfile);
        }
    }
    if(!rx.empty()) {
        out["rxProfiles"] = std::move(rx);
    }
    if(!all_zero(n.cd)) {
        out["cdInfo"] = encode_record(&n.cd, kCdInfo);
    }
    if(!all_zero(n.fmr)) {
        out["fmr"] = encode_record(&n.fmr, kNodeFmr);
    }
    if(n.flowUpdateCount != 0 || !n.flows.empty()) {
        ojson flows = ojson::object();
        flows["flowUpdateCount"] = n.flowUpdateCount;
        flows["list"] = ojson::array();
        for(const auto& f : n.flows) {
            ojson fo = encode_record(&f, kFlow);
            if(!fo.contains("flowId")) {
                // The zero address is still an id: keep it so that the flow stays a flow.
                ojson withId = ojson::object();
                withId["flowId"] = mac_text(0, 0);
                withId.update(fo);
                fo = std::move(withId);
            }
            flows["list"].push_back(std::move(fo));
        }
        out["flows"] = std::move(flows);
    }
    return out;
}

template <typename T>
void put_record(ojson& out, const char* key, const T& rec, const Desc& d) {
    ojson o = encode_record(&rec, d);
    if(!o.empty()) {
        out[key] = std::move(o);
    }
}

}  // namespace

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
    const std::string range = " does not fit a " + std::to_string(bits) + "-bit " +
                              (is_signed ? "signed" : "unsigned") + " field";
    const std::string shown = v.is_string() ? v.get<std::string>() : v.dump();
    if(is_signed) {
        const uint64_t limit = 1ull << (bits - 1);
        if((!negative && mag >= limit) || (negative && mag > limit)) {
            *why = "value " + shown + range;
            return false;
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
        *why = "value " + shown + range;
        return false;
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
    std::snprintf(buf, sizeof buf, "%02x:%02x:%02x:%02x:%02x:%02x", hi >> 24, (hi >> 16) & 0xFF,
                  (hi >> 8) & 0xFF, hi & 0xFF, lo >> 24, (lo >> 16) & 0xFF);
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
                arr.push_back({{"mac", mac_text(e.macAddrHi, e.macAddrLoIds & 0xFFFF0000u)},
                               {"nodeId", e.macAddrLoIds & 0xFFFFu}});
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

}  // namespace clnksim::detail
