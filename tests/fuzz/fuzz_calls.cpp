// SPDX-License-Identifier: BSD-2-Clause-Patent
// The module's eighteen functions under arbitrary use. The input is a program:
// each step calls a function with an argument variant built from the bytes
// (any key, any type, any Id, names of any length, NULL args or ret), moves
// the virtual clock on, arms a chip fault (a failure, or an answer with a field
// set to any value), or switches to another saved network, as a live network
// changes under a host's records.
// Every call's outcome is checked (fuzz_env.h). Each input starts from the
// same network with no record, so inputs are independent.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include <amxc/amxc.h>
#include <clnksim.h>
#include <nlohmann/json.hpp>

#include "fuzz_env.h"

namespace {

using fuzzenv::Fn;
using ojson = nlohmann::ordered_json;

// clang-format off
constexpr const char* arg_keys[] = {
    "InternalName", "Id", "Enable", "PreferredNC", "PrivacyEnabledSetting", "TpcTargetRateNper",
    "FreqCurrentMaskSetting", "KeyPassphrase", "TxPowerLimit", "PowerCntlPhyTarget", "BeaconPowerLimit",
    "NodeTabooMask", "internalname", "",
};
// clang-format on

constexpr const char* known_names[] = {"moca0", "moca1", "moca2", "", "moca0123456789a", "moca0123456789ab"};

// clang-format off
constexpr const char* chip_ops[] = {
    "ClnkLib_OpenByName", "ClnkLib_ListNames", "ClnkLib_GetLocalInfo", "ClnkLib_GetNetInfo",
    "ClnkLib_GetPhyTxProfile", "ClnkLib_GetPhyRxProfile", "ClnkLib_GetCdInfo", "ClnkLib_GetFmrInfo",
    "ClnkLib_GetBridgeTable", "ClnkLib_ListFlows", "ClnkLib_QueryFlow", "ClnkLib_GetClnkCfgV2Params",
    "ClnkLib_SetClnkCfgV2Params", "ClnkLib_Start", "ClnkLib_Stop", "ClnkLib_GetPhyMisc", "ClnkLib_GetEcbStats",
    "ClnkLib_GetDataStats", "ClnkLib_GetRlapmCfg", "ClnkLib_GetSapmCfg", "GetNetInfo", "ListFlows", "Close",
};
// clang-format on

// Fields of the chip's answers that a fault may set to any value, with the
// kind of value; # is replaced by a small index. This is how the network
// takes values no scenario would hold, without re-reading it.
enum class Val { u32, small, boolean };
struct AnswerField {
    const char* op;
    const char* path;
    Val val;
};
// clang-format off
constexpr AnswerField answer_fields[] = {
    {"ClnkLib_GetLocalInfo", "nodeId", Val::small}, {"ClnkLib_GetLocalInfo", "ncNodeId", Val::small},
    {"ClnkLib_GetLocalInfo", "backupNodeId", Val::small}, {"ClnkLib_GetLocalInfo", "lmoNodeId", Val::small},
    {"ClnkLib_GetLocalInfo", "linkStatus", Val::small}, {"ClnkLib_GetLocalInfo", "networkState", Val::small},
    {"ClnkLib_GetLocalInfo", "networkMocaVer", Val::u32}, {"ClnkLib_GetLocalInfo", "activeNodeBitmask", Val::u32},
    {"ClnkLib_GetLocalInfo", "sleepM1NodeBitmask", Val::u32}, {"ClnkLib_GetLocalInfo", "tabooMask", Val::u32},
    {"ClnkLib_GetNetInfo", "mocaVer", Val::u32}, {"ClnkLib_GetNetInfo", "protoSupport", Val::u32},
    {"ClnkLib_GetPhyTxProfile", "txProfileValid", Val::boolean}, {"ClnkLib_GetPhyTxProfile", "txPhyrate", Val::u32},
    {"ClnkLib_GetPhyRxProfile", "rxPhyrate", Val::u32}, {"ClnkLib_GetFmrInfo", "nodeMask", Val::u32},
    {"ClnkLib_GetFmrInfo", "nodeFmr.#.validInfo", Val::u32},
    {"ClnkLib_GetClnkCfgV2Params", "securityMode", Val::small},
    {"ClnkLib_GetClnkCfgV2Params", "tabooMask", Val::u32},
    {"ClnkLib_GetClnkCfgV2Params", "preferredNcMode", Val::small},
    {"ClnkLib_GetBridgeTable", "numEntries", Val::u32}, {"ClnkLib_GetBridgeTable", "entries.#.nodeId", Val::small},
    {"ClnkLib_GetRlapmCfg", "rlapmProfileId", Val::small},
    {"ClnkLib_GetRlapmCfg", "profiles.#.tbl.#.freq", Val::u32}, {"ClnkLib_GetSapmCfg", "sapmProfileId", Val::small},
    {"ClnkLib_GetSapmCfg", "profiles.#.tbl.#.scstart", Val::u32}, {"ClnkLib_GetDataStats", "txTotalPkts", Val::u32},
    {"ClnkLib_ListFlows", "totalFlowIdCount", Val::u32}, {"ClnkLib_ListFlows", "numReturnedFlowIds", Val::small},
    {"ClnkLib_QueryFlow", "leaseTimeLeft", Val::u32},
};
// clang-format on

std::string mac(uint32_t n) {
    char text[18];
    std::snprintf(text, sizeof(text), "00:11:22:33:%02x:%02x", (n >> 8) & 0xff, n & 0xff);
    return text;
}

struct Program {
    FuzzedDataProvider& in;
    const std::vector<clnksim::Snapshot>& networks;
    fuzzenv::Codes codes;

    template <typename T>
    T pick(const T* table, size_t n) {
        return table[in.ConsumeIntegralInRange<size_t>(0, n - 1)];
    }

    std::string name() {
        if(in.ConsumeBool()) {
            return in.ConsumeRandomLengthString(40);
        }
        return known_names[in.ConsumeIntegralInRange<size_t>(0, std::size(known_names) - 1)];
    }

    // Any variant: a scalar of every type, or a list or table of more.
    void value(amxc_var_t* v, int depth) {
        switch(in.ConsumeIntegralInRange<int>(0, depth < 2 ? 13 : 11)) {
            case 0: break;
            case 1: amxc_var_set_cstring_t(v, name().c_str()); break;
            case 2: amxc_var_set_csv_string_t(v, name().c_str()); break;
            case 3: amxc_var_set_bool(v, in.ConsumeBool()); break;
            case 4: amxc_var_set_int8_t(v, in.ConsumeIntegral<int8_t>()); break;
            case 5: amxc_var_set_uint16_t(v, in.ConsumeIntegral<uint16_t>()); break;
            case 6: amxc_var_set_int32_t(v, in.ConsumeIntegral<int32_t>()); break;
            case 7: amxc_var_set_uint32_t(v, in.ConsumeIntegral<uint32_t>()); break;
            case 8: amxc_var_set_int64_t(v, in.ConsumeIntegral<int64_t>()); break;
            case 9: amxc_var_set_uint64_t(v, in.ConsumeIntegral<uint64_t>()); break;
            case 10: amxc_var_set_double(v, in.ConsumeFloatingPoint<double>()); break;
            case 11: amxc_var_set_ssv_string_t(v, name().c_str()); break;
            case 12:
                amxc_var_set_type(v, AMXC_VAR_ID_LIST);
                for(int n = in.ConsumeIntegralInRange<int>(0, 3); n > 0; n--) {
                    value(amxc_var_add_new(v), depth + 1);
                }
                break;
            default: table(v, depth + 1); break;
        }
    }

    void table(amxc_var_t* v, int depth) {
        amxc_var_set_type(v, AMXC_VAR_ID_HTABLE);
        for(int n = in.ConsumeIntegralInRange<int>(0, 4); n > 0; n--) {
            std::string key = in.ConsumeBool() ? pick(arg_keys, std::size(arg_keys)) : in.ConsumeRandomLengthString(20);
            value(amxc_var_add_new_key(v, key.c_str()), depth);
        }
    }

    // Mostly a well-formed argument table with a name and maybe an Id, with
    // arbitrary further keys; sometimes anything at all.
    void args(amxc_var_t* v) {
        if(in.ConsumeIntegralInRange<int>(0, 7) == 0) {
            value(v, 0);
            return;
        }
        amxc_var_set_type(v, AMXC_VAR_ID_HTABLE);
        amxc_var_add_new_key_cstring_t(v, "InternalName", name().c_str());
        if(in.ConsumeBool()) {
            uint32_t id =
                in.ConsumeBool() ? in.ConsumeIntegralInRange<uint32_t>(0, 300) : in.ConsumeIntegral<uint32_t>();
            amxc_var_add_new_key_uint32_t(v, "Id", id);
        }
        for(int n = in.ConsumeIntegralInRange<int>(0, 3); n > 0; n--) {
            value(amxc_var_add_new_key(v, pick(arg_keys, std::size(arg_keys))), 1);
        }
    }

    void call() {
        Fn fn = static_cast<Fn>(in.ConsumeIntegralInRange<unsigned>(0, static_cast<unsigned>(Fn::count) - 1));
        int mode = in.ConsumeIntegralInRange<int>(0, 15);
        amxc_var_t a;
        amxc_var_t r;
        amxc_var_init(&a);
        amxc_var_init(&r);
        if(mode != 0) {
            args(&a);
        }
        if(mode == 2) {
            value(&r, 1); // a ret that already holds something
        }
        fuzzenv::call(fn, mode == 0 ? nullptr : &a, mode == 1 ? nullptr : &r, codes);
        amxc_var_clean(&a);
        amxc_var_clean(&r);
    }

    int32_t fault_code() {
        switch(in.ConsumeIntegralInRange<int>(0, 3)) {
            case 0: return -1;
            case 1: return 0;
            case 2: return in.ConsumeIntegralInRange<int32_t>(-6, 6);
            default: return in.ConsumeIntegral<int32_t>();
        }
    }

    void fault() {
        clnksim::Fault f;
        f.op = in.ConsumeBool() ? pick(chip_ops, std::size(chip_ops)) : in.ConsumeRandomLengthString(24);
        f.skip = in.ConsumeIntegralInRange<uint32_t>(0, in.ConsumeBool() ? 8 : 300);
        f.times = in.ConsumeBool() ? 1 : in.ConsumeIntegral<uint32_t>();
        f.rc = fault_code();
        if(in.ConsumeBool()) {
            f.flow_code = in.ConsumeBool() ? in.ConsumeIntegralInRange<uint32_t>(0, 8) : in.ConsumeIntegral<uint32_t>();
        }
        f.flow_update_count_delta =
            in.ConsumeBool() ? in.ConsumeIntegralInRange<int32_t>(-2, 2) : in.ConsumeIntegral<int32_t>();
        std::string err;
        if(clnksim::arm_fault(f, &err)) {
            codes.armed.insert(f.rc);
        }
    }

    // A fault that lets the call answer, with one field of the answer set to any value.
    void answer_fault() {
        const AnswerField field = pick(answer_fields, std::size(answer_fields));
        std::string path;
        for(const char* c = field.path; *c != 0; ++c) {
            path += *c == '#' ? std::to_string(in.ConsumeIntegralInRange<uint32_t>(0, 15)) : std::string(1, *c);
        }
        clnksim::Fault f;
        f.op = field.op;
        f.skip = in.ConsumeIntegralInRange<uint32_t>(0, 8);
        f.times = in.ConsumeBool() ? 1 : in.ConsumeIntegral<uint32_t>();
        f.rc = 0;
        switch(field.val) {
            case Val::u32: f.set[path] = in.ConsumeIntegral<uint32_t>(); break;
            case Val::small: f.set[path] = in.ConsumeIntegralInRange<uint32_t>(0, 40); break;
            case Val::boolean: f.set[path] = in.ConsumeBool() ? 1 : 0; break;
        }
        std::string err;
        clnksim::arm_fault(f, &err);
    }

    void run() {
        while(in.remaining_bytes() > 0) {
            const int step = in.ConsumeIntegral<uint8_t>();
            if(step < 16) {
                fuzzenv::advance(in.ConsumeIntegralInRange<uint64_t>(0, 25000));
            } else if(step < 32) {
                fault();
            } else if(step < 36) {
                fuzzenv::move_wall_clock(in.ConsumeIntegralInRange<int64_t>(-5'000'000, 5'000'000));
            } else if(step < 40) {
                clnksim::restore(networks[in.ConsumeIntegralInRange<size_t>(0, networks.size() - 1)]);
            } else if(step < 48) {
                answer_fault();
            } else {
                call();
            }
        }
    }
};

// The networks a program starts from: the example (most programs), the same
// with sixteen nodes, and no interface at all; then the example changed.
std::vector<ojson> scenarios() {
    std::vector<ojson> out;
    ojson example = ojson::parse(std::ifstream(MXL_EXAMPLE_SCENARIO));
    out.push_back(example);
    ojson full = example;
    ojson& moca0 = full["interfaces"]["moca0"];
    ojson node = moca0["nodes"]["2"];
    node.erase("flows");
    for(uint32_t id = 0; id < 16; id++) {
        std::string key = std::to_string(id);
        if(!moca0["nodes"].contains(key)) {
            node["netInfo"]["guid"] = mac(id);
            moca0["nodes"][key] = node;
        }
    }
    moca0["localInfo"]["activeNodeBitmask"] = "0xffff";
    moca0["localInfo"]["sleepM1NodeBitmask"] = 0;
    out.push_back(full);
    out.push_back(ojson{{"interfaces", ojson::object()}});
    // The example changed the ways a live network changes under a host's records.
    const char* changes[] = {
        R"({"nodes": {"2": null}, "localInfo": {"activeNodeBitmask": "0x0b"}})",         // a node leaves
        R"({"started": false, "localInfo": {"linkStatus": 0, "activeNodeBitmask": 0}})", // link down
        R"({"present": false})",                                                         // interface gone
        R"({"nodes": {"0": {"flows": {"flowUpdateCount": 8, "list": [{"flowId": "01:00:5e:00:00:09"}]}},
                      "1": {"flows": null}}})",                                          // flows change
        R"({"localInfo": {"nodeId": 3, "ncNodeId": 2, "sleepM1NodeBitmask": 0}})",       // new NC, node wakes
        R"({"nodes": {"5": {"netInfo": {"guid": "00:11:22:33:00:05", "mocaVer": "0x20"}}},
            "localInfo": {"activeNodeBitmask": "0x2f"}})",                               // a node joins
        R"({"nodes": {"1": {"netInfo": {"mocaVer": "0x10"}}}})",                         // a node is MoCA 1.0
        R"({"rlapm": null, "sapm": null, "bridgeTables": null})",                        // tables emptied
        R"({"openable": false})",                                                        // cannot be opened
    };
    for(const char* change : changes) {
        ojson changed = example;
        changed["interfaces"]["moca0"].merge_patch(ojson::parse(change));
        out.push_back(changed);
    }
    // More bridge addresses than a report lists, some of nodes that are not there.
    ojson bridged = example;
    ojson& entries = bridged["interfaces"]["moca0"]["bridgeTables"]["ucastDst"] = ojson::array();
    for(uint32_t n = 0; n < 70; n++) {
        entries.push_back({{"mac", mac(0x100 + n)}, {"nodeId", n % 7}});
    }
    out.push_back(bridged);
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Each network is loaded once; an input starts from a saved copy of it,
    // which costs far less than a load.
    static const std::vector<clnksim::Snapshot> networks = [] {
        fuzzenv::init();
        std::vector<clnksim::Snapshot> saved;
        for(const ojson& scenario : scenarios()) {
            std::string err;
            if(!clnksim::load_ordered(scenario, &err)) {
                fuzzenv::finding("scenario: %s", err.c_str());
            }
            saved.push_back(clnksim::snapshot());
        }
        return saved;
    }();
    FuzzedDataProvider in(data, size);
    Program program{in, networks, {}};
    const uint8_t pick = in.ConsumeIntegral<uint8_t>();
    clnksim::restore(networks[pick < 200 ? 0 : (pick < 235 ? 1 : 2)]);
    program.run();
    clnksim::clear_faults();
    clnksim::clear_calls();
    fuzzenv::destroy_records(program.codes);
    return 0;
}
