// Cost of a typical function result: an htable variant of 27 typed keys is
// built, every key is read back, and the variant is destroyed.
#include <array>
#include <cstdint>

#include <benchmark/benchmark.h>

#include <amxc/amxc.h>

namespace {

enum class Kind { Text, Flag, U32, I32, U64 };

struct Key {
    const char* name;
    Kind kind;
};

constexpr std::array<Key, 27> keys = {{
    {"Name", Kind::Text},
    {"Alias", Kind::Text},
    {"Status", Kind::Text},
    {"MACAddress", Kind::Text},
    {"FirmwareVersion", Kind::Text},
    {"HighestVersion", Kind::Text},
    {"CurrentVersion", Kind::Text},
    {"FreqCapabilityMask", Kind::Text},
    {"NodeIDs", Kind::Text},
    {"Enable", Kind::Flag},
    {"Upstream", Kind::Flag},
    {"PrivacyEnabled", Kind::Flag},
    {"QAM256Capable", Kind::Flag},
    {"PreferredNC", Kind::Flag},
    {"MaxBitRate", Kind::U32},
    {"LastChange", Kind::U32},
    {"CurrentOperFreq", Kind::U32},
    {"NetworkCoordinator", Kind::U32},
    {"NodeID", Kind::U32},
    {"BackupNC", Kind::U32},
    {"TxPowerLimit", Kind::I32},
    {"PowerCntlPhyTarget", Kind::I32},
    {"BeaconPowerLimit", Kind::I32},
    {"BytesSent", Kind::U64},
    {"BytesReceived", Kind::U64},
    {"PacketsSent", Kind::U64},
    {"PacketsReceived", Kind::U64},
}};

void BM_HtableResultBuildReadDestroy(benchmark::State& state) {
    uint64_t sum = 0;
    for(auto _ : state) {
        amxc_var_t* ret = nullptr;
        amxc_var_new(&ret);
        amxc_var_set_type(ret, AMXC_VAR_ID_HTABLE);
        uint32_t n = 0;
        for(const Key& key : keys) {
            n++;
            switch(key.kind) {
                case Kind::Text: amxc_var_add_key(cstring_t, ret, key.name, "moca0-value"); break;
                case Kind::Flag: amxc_var_add_key(bool, ret, key.name, (n & 1) != 0); break;
                case Kind::U32: amxc_var_add_key(uint32_t, ret, key.name, n * 1000); break;
                case Kind::I32: amxc_var_add_key(int32_t, ret, key.name, -static_cast<int32_t>(n)); break;
                case Kind::U64: amxc_var_add_key(uint64_t, ret, key.name, uint64_t{n} << 33); break;
            }
        }
        for(const Key& key : keys) {
            switch(key.kind) {
                case Kind::Text: sum += GET_CHAR(ret, key.name)[0]; break;
                case Kind::Flag: sum += GET_BOOL(ret, key.name) ? 1 : 0; break;
                case Kind::U32: sum += GET_UINT32(ret, key.name); break;
                case Kind::I32: sum += static_cast<uint32_t>(GET_INT32(ret, key.name)); break;
                case Kind::U64: sum += amxc_var_dyncast(uint64_t, GET_ARG(ret, key.name)); break;
            }
        }
        amxc_var_delete(&ret);
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_HtableResultBuildReadDestroy);
BENCHMARK_MAIN();
