// SPDX-License-Identifier: BSD-2-Clause-Patent
/* The module's functions and result keys, with their TR-181 parameters.
 * Ranges, widths, units, access and enumerations of the parameters are the
 * data model's (Device:2.19); the table sizes are the module's. */
#include <string.h>

#include "mxl_moca_limits.h"
#include "moca_schema.h"

_Static_assert(MOCA_SCHEMA_TEXT_SIZE == MOCA_SAPM_MARGIN_TEXT_LEN, "the longest published text is a SAPM margin list");

#define COUNT(a) ((uint32_t) (sizeof(a) / sizeof((a)[0])))

/* Short forms of the rows below. */
#define RO MOCA_ACCESS_READ_ONLY
#define RW MOCA_ACCESS_READ_WRITE
#define BOOL MOCA_TYPE_BOOL
#define U32 MOCA_TYPE_UINT32
#define I32 MOCA_TYPE_INT32
#define U64 MOCA_TYPE_UINT64
#define STR MOCA_TYPE_CSTRING
#define CSV MOCA_TYPE_CSV_STRING

#define U32_MAX 4294967295LL
#define PHY_RATE_MAX 2048 /* Mbps: the data model's MocaPhyRate */
#define NODE_ID_MAX 15

/* Parameter conversions, after the key's name, type, unit, display and rank.
 * Each sets every text field once, so that none is NULL but a missing param. */
#define PARAM(p, a, c, u) .param = (p), .access = (a), .conv = (c), .param_unit = (u), .given_unit = ""
#define NO_PARAM .param = NULL, .param_unit = "", .given_unit = ""
#define COPY(p, a) PARAM(p, a, MOCA_CONV_COPY, "")
#define COPY_UNIT(p, a, u) PARAM(p, a, MOCA_CONV_COPY, u)
#define RANGE(p, a, lo, hi, u) PARAM(p, a, MOCA_CONV_COPY, u), .min = (lo), .max = (hi)
#define NODE_ID(p) RANGE(p, RO, 0, NODE_ID_MAX, "")
#define PHY_RATE(p, a) RANGE(p, a, 0, PHY_RATE_MAX, "Mbps")
#define TEXT(p, n) PARAM(p, RO, MOCA_CONV_TEXT, ""), .max = (n)
#define HEX(p, a, n) PARAM(p, a, MOCA_CONV_HEX, ""), .bytes = (n)
#define SCALE(p, a, from, to, f)                                                                                       \
    .param = (p), .access = (a), .conv = MOCA_CONV_SCALE, .param_unit = (to), .given_unit = (from), .max = U32_MAX,    \
    .factor = (f)
#define NAMED(p, c, list) PARAM(p, RO, c, ""), .names = (list), .name_count = COUNT(list)
#define NAME(p, list) NAMED(p, MOCA_CONV_NAME, list)

static const moca_schema_name_t if_status[] = {{0, "Up"},         {1, "Down"},           {2, "Unknown"}, {3, "Dormant"},
                                               {4, "NotPresent"}, {5, "LowerLayerDown"}, {6, "Error"}};
static const moca_schema_name_t power_states[] = {
    {0, "m0Active"}, {1, "m1LowPowerIdle"}, {2, "m2Standby"}, {3, "m3Sleep"}};
static const moca_schema_name_t row_status[] = {{1, "active"},      {2, "notInService"},  {3, "notReady"},
                                                {4, "createAndGo"}, {5, "createAndWait"}, {6, "destroy"}};
static const moca_schema_name_t ingress_rules[] = {{0, "ruleDAVLANtag4or5"},
                                                   {4, "ruleDAonly"},
                                                   {5, "ruleDAandDSCPnoVLAN"},
                                                   {6, "ruleDAandVLANignoreDSCP"},
                                                   {7, "ruleDAandVLANorDSCP"}};
/* The module's own names at 0 ("unknown") and above 17 ("undefined") have none here. */
static const moca_schema_name_t network_states[] = {{1, "beginNodeAdmissionState"},
                                                    {2, "newNodeTypeOneProbeTxState"},
                                                    {3, "newNodeTypeOneProbeRxState"},
                                                    {4, "newGcdDistributionState"},
                                                    {5, "beginPhyProfileState"},
                                                    {6, "steadyState"},
                                                    {7, "typeThreeProbeState"},
                                                    {8, "lmoTypeOneProbeState"},
                                                    {9, "lmoNodeGcdDistributionState"},
                                                    {10, "beginLmoPhyProfileState"},
                                                    {11, "lmoGcdTypeOneProbeLinkState"},
                                                    {12, "alternateChannelQuietLineState"},
                                                    {13, "alternateChannelEvmProbeState"},
                                                    {14, "unsolicitedProbeReportState"},
                                                    {15, "beginUnsolicitedPhyProfileState"},
                                                    {16, "rxDeterminedProbeState"},
                                                    {17, "calibrationState"}};

static const moca_schema_key_t cfg_keys[] = {
    {"Enable", BOOL, "", 0, 1, COPY("Enable", RW)},
    {"PreferredNC", BOOL, "", 0, 11, COPY("PreferredNC", RW)},
    {"PrivacyEnabledSetting", BOOL, "", 0, 13, COPY("PrivacyEnabledSetting", RW)},
    {"TpcTargetRateNper", U32, "Mbps", 0, 0, PHY_RATE("TpcTargetRateNper", RW)},
    {"FreqCurrentMaskSetting", STR, "", 0, 16, HEX("FreqCurrentMaskSetting", RW, 8)},
    {"KeyPassphrase", STR, "", 0, 20, PARAM("KeyPassphrase", RW, MOCA_CONV_SECRET, "")},
    {"TxPowerLimit", U32, "dBm", 0, 21, COPY_UNIT("TxPowerLimit", RW, "dB")},
    {"PowerCntlPhyTarget", U32, "Mbps", 0, 22, PHY_RATE("PowerCntlPhyTarget", RW)},
    {"BeaconPowerLimit", U32, "dBm", 0, 23, COPY_UNIT("BeaconPowerLimit", RW, "dB")},
    {"NodeTabooMask", STR, "", 0, 25, HEX("NodeTabooMask", RO, 8)},
};

static const moca_schema_key_t static_keys[] = {
    {"InternalName", STR, "", 0, 0, NO_PARAM},
    {"FirmwareVersion", STR, "", 0, 3, TEXT("FirmwareVersion", 64)},
    {"SupportedBands", STR, "", 0, 0, COPY("SupportedBands", RO)},
    {"MaxBitRate", U32, "Mbps", 0, 4, COPY_UNIT("MaxBitRate", RO, "Mbps")},
    {"AggregationSize", U32, "", 0, 0, COPY_UNIT("AggregationSize", RO, "bytes")},
    {"AeNumber", U32, "", 0, 0, COPY("AeNumber", RO)},
    {"SupportedIngressPqosFlows", U32, "", 0, 0, COPY("SupportedIngressPqosFlows", RO)},
    {"SupportedEgressPqosFlows", U32, "", 0, 0, COPY("SupportedEgressPqosFlows", RO)},
    {"HighestVersion", STR, "", 0, 7, TEXT("HighestVersion", 64)},
    {"FreqCapabilityMask", STR, "", 0, 15, HEX("FreqCapabilityMask", RO, 8)},
    {"NetworkTabooMask", STR, "", 0, 24, HEX("NetworkTabooMask", RO, 8)},
    {"TxBcastPowerReduction", U32, "dB", 0, 27, COPY_UNIT("TxBcastPowerReduction", RO, "dB")},
    {"QAM256Capable", BOOL, "", 0, 28, COPY("QAM256Capable", RO)},
    {"AvbSupport", BOOL, "", 0, 0, COPY("AvbSupport", RO)},
    {"PacketAggregationCapability", U32, "", 0, 29, COPY_UNIT("PacketAggregationCapability", RO, "packets")},
};

static const moca_schema_key_t dyn_keys[] = {
    {"Status", STR, "", 0, 2, NAME("Status", if_status)},
    {"PasswordHash", STR, "", 0, 0, PARAM("PasswordHash", RO, MOCA_CONV_WITHHELD, "")},
    {"PowerStateCap", STR, "", 0, 0, NAME("PowerStateCap", power_states)},
    {"LinkUpTime", U32, "s", MOCA_SHOW_DURATION, 0, NO_PARAM},
    {"MaxIngressBW", U32, "Mbps", 0, 5, SCALE("MaxIngressBW", RO, "Mbps", "Kbps", 1000)},
    {"MaxEgressBW", U32, "Mbps", 0, 6, SCALE("MaxEgressBW", RO, "Mbps", "Kbps", 1000)},
    {"CurrentVersion", STR, "", 0, 8, TEXT("CurrentVersion", 64)},
    {"NetworkCoordinator", U32, "", 0, 9, NODE_ID("NetworkCoordinator")},
    {"NodeID", U32, "", 0, 10, NODE_ID("NodeID")},
    {"BackupNC", U32, "", 0, 12, NODE_ID("BackupNC")},
    {"NumNodes", U32, "", 0, 0, RANGE("NumNodes", RO, 0, MOCA_MAX_NODES, "")},
    {"PrivacyEnabled", BOOL, "", 0, 14, COPY("PrivacyEnabled", RO)},
    {"FreqCurrentMask", STR, "", 0, 17, HEX("FreqCurrentMask", RO, 8)},
    {"CurrentOperFreq", U32, "MHz", 0, 18, SCALE("CurrentOperFreq", RO, "MHz", "Hz", 1000000)},
    {"LastOperFreq", U32, "MHz", 0, 19, SCALE("LastOperFreq", RW, "MHz", "Hz", 1000000)},
    {"TxBcastRate", U32, "Mbps", 0, 26, PHY_RATE("TxBcastRate", RO)},
    {"ResetCount", U32, "", 0, 0, COPY("ResetCount", RO)},
    {"LinkDownCount", U32, "", 0, 0, COPY("LinkDownCount", RO)},
    {"LmoNodeID", U32, "", 0, 0, NODE_ID("LmoNodeID")},
    {"NetworkState", STR, "", 0, 0, NAME("NetworkState", network_states)},
    {"PrimaryChannelOffset", I32, "MHz", 0, 0, COPY_UNIT("PrimaryChannelOffset", RO, "MHz")},
    {"SecondaryChannelOffset", I32, "MHz", 0, 0, COPY_UNIT("SecondaryChannelOffset", RO, "MHz")},
    {"ResetReason", STR, "", 0, 0, TEXT("ResetReason", 80)},
    {"NcVersion", STR, "", 0, 0, TEXT("NcVersion", 64)},
    {"LinkState", STR, "", 0, 0, HEX("LinkState", RO, 3)},
};

#define STAT(k, t, r, u)                                                                                               \
    { k, t, "", 0, r, COPY_UNIT("Stats." k, RO, u) }
static const moca_schema_key_t stats_keys[] = {
    STAT("BroadcastPacketsReceived", U64, 14, "packets"),
    STAT("BroadcastPacketsSent", U64, 13, "packets"),
    STAT("BytesReceived", U64, 2, "bytes"),
    STAT("BytesSent", U64, 1, "bytes"),
    STAT("DiscardPacketsReceived", U32, 10, "packets"),
    STAT("DiscardPacketsSent", U32, 9, "packets"),
    STAT("ErrorsReceived", U32, 6, "packets"),
    STAT("ErrorsSent", U32, 5, "packets"),
    STAT("MulticastPacketsReceived", U64, 12, "packets"),
    STAT("MulticastPacketsSent", U64, 11, "packets"),
    STAT("PacketsReceived", U64, 4, "packets"),
    STAT("PacketsSent", U64, 3, "packets"),
    STAT("UnicastPacketsReceived", U64, 8, "packets"),
    STAT("UnicastPacketsSent", U64, 7, "packets"),
    STAT("UnknownProtoPacketsReceived", U32, 15, "packets"),
};

static const moca_schema_key_t qos_keys[] = {
    {"EgressNumFlows", U32, "", 0, 0, COPY("QoS.EgressNumFlows", RO)},
    {"IngressNumFlows", U32, "", 0, 0, COPY("QoS.IngressNumFlows", RO)},
};

#define FLOW(k) "QoS.FlowStats.{i}." k
static const moca_schema_key_t flow_keys[] = {
    {"FlowID", STR, "", 0, 0, TEXT(FLOW("FlowID"), 17)},
    {"PacketDA", STR, "", 0, 0, TEXT(FLOW("PacketDA"), 17)},
    {"MaxRate", U32, "kbps", 0, 0, COPY_UNIT(FLOW("MaxRate"), RO, "Kbps")},
    {"MaxBurstSize", U32, "", 0, 0, COPY(FLOW("MaxBurstSize"), RO)},
    {"LeaseTime", U32, "s", 0, 0, COPY_UNIT(FLOW("LeaseTime"), RO, "seconds")},
    {"Tag", U32, "", 0, 0, COPY(FLOW("Tag"), RO)},
    {"LeaseTimeLeft", U32, "s", 0, 0, COPY_UNIT(FLOW("LeaseTimeLeft"), RO, "seconds")},
    {"FlowPackets", U32, "", 0, 0, COPY(FLOW("FlowPackets"), RO)},
    {"IngressGuid", STR, "", 0, 0, TEXT(FLOW("IngressGuid"), 17)},
    {"EgressGuid", STR, "", 0, 0, TEXT(FLOW("EgressGuid"), 17)},
    {"MaximumLatency", U32, "ms", 0, 0, COPY_UNIT(FLOW("MaximumLatency"), RO, "ms")},
    {"ShortTermAvgRatio", U32, "", 0, 0, COPY(FLOW("ShortTermAvgRatio"), RO)},
    {"FlowPer", U32, "", 0, 0, COPY(FLOW("FlowPer"), RO)},
    {"IngressClassify", STR, "", 0, 0, NAMED(FLOW("IngressClassify"), MOCA_CONV_CODE_NAME, ingress_rules)},
    {"VlanTag", U32, "", 0, 0, COPY(FLOW("VlanTag"), RO)},
    {"DscpMoca", U32, "", 0, 0, COPY(FLOW("DscpMoca"), RO)},
    {"Dfid", U32, "", 0, 0, COPY(FLOW("Dfid"), RO)},
};

#define NODE(k) "AssociatedDevice.{i}." k
static const moca_schema_key_t node_keys[] = {
    {"MACAddress", STR, "", 0, 0, TEXT(NODE("MACAddress"), 17)},
    {"NodeID", U32, "", 0, 0, NODE_ID(NODE("NodeID"))},
    {"PreferredNC", BOOL, "", 0, 0, COPY(NODE("PreferredNC"), RO)},
    {"HighestVersion", STR, "", 0, 0, TEXT(NODE("HighestVersion"), 64)},
    {"PHYTxRate", U32, "Mbps", 0, 0, COPY_UNIT(NODE("PHYTxRate"), RO, "Mbps")},
    {"PHYRxRate", U32, "Mbps", 0, 0, COPY_UNIT(NODE("PHYRxRate"), RO, "Mbps")},
    {"TxPowerControlReduction", U32, "dB", 0, 0, COPY_UNIT(NODE("TxPowerControlReduction"), RO, "dB")},
    {"RxPowerLevel", U32, "dBm", MOCA_SHOW_BELOW_ZERO, 0, COPY_UNIT(NODE("RxPowerLevel"), RO, "dBm")},
    {"TxBcastRate", U32, "Mbps", 0, 0, PHY_RATE(NODE("TxBcastRate"), RO)},
    {"RxBcastPowerLevel", I32, "dBm", MOCA_SHOW_BELOW_ZERO, 0,
     PARAM(NODE("RxBcastPowerLevel"), RO, MOCA_CONV_NEGATE, "dBm"), .min = -2147483648LL, .max = 0},
    {"TxPackets", U64, "", 0, 0, COPY(NODE("TxPackets"), RO)},
    {"TxDrops", U32, "", 0, 0, COPY(NODE("TxDrops"), RO)},
    {"RxPackets", U64, "", 0, 0, COPY(NODE("RxPackets"), RO)},
    {"RxCorrected", U64, "", 0, 0, COPY(NODE("RxCorrected"), RO)},
    {"RxErroredAndMissedPackets", U32, "", 0, 0, COPY(NODE("RxErroredAndMissedPackets"), RO)},
    {"BondingCapable", BOOL, "", 0, 0, COPY(NODE("BondingCapable"), RO)},
    {"QAM256Capable", BOOL, "", 0, 0, COPY(NODE("QAM256Capable"), RO)},
    {"PacketAggregationCapability", U32, "", 0, 0, COPY_UNIT(NODE("PacketAggregationCapability"), RO, "packets")},
    {"RxSNR", U32, "dB", 0, 0, COPY_UNIT(NODE("RxSNR"), RO, "dB")},
    {"Active", BOOL, "", 0, 0, COPY(NODE("Active"), RO)},
    {"SupportedIngressPqosFlows", U32, "", 0, 0, COPY(NODE("SupportedIngressPqosFlows"), RO)},
    {"SupportedEgressPqosFlows", U32, "", 0, 0, COPY(NODE("SupportedEgressPqosFlows"), RO)},
    {"AggregationSize", U32, "", 0, 0, COPY_UNIT(NODE("AggregationSize"), RO, "bytes")},
    {"AeNumber", U32, "", 0, 0, COPY(NODE("AeNumber"), RO)},
    {"PowerState", STR, "", 0, 0, NAME(NODE("PowerState"), power_states)},
    {"PowerStateCapability", STR, "", 0, 0, NAME(NODE("PowerStateCapability"), power_states)},
    {"Moca25PhyCapable", BOOL, "", 0, 0, COPY(NODE("Moca25PhyCapable"), RO)},
};

static const moca_schema_key_t mesh_keys[] = {
    {"TxNodeIndex", U32, "", 0, 0, NODE_ID("Mesh.{i}.TxNodeIndex")},
    {"RxNodeIndex", U32, "", 0, 0, NODE_ID("Mesh.{i}.RxNodeIndex")},
    {"TxRate", U32, "Mbps", 0, 0, PHY_RATE("Mesh.{i}.TxRate", RO)},
    {"TxRateNper", U32, "Mbps", 0, 0, PHY_RATE("Mesh.{i}.TxRateNper", RO)},
    {"TxRateVlper", U32, "Mbps", 0, 0, PHY_RATE("Mesh.{i}.TxRateVlper", RO)},
};

static const moca_schema_key_t bridge_keys[] = {
    {"NodeIndex", U32, "", 0, 0, NODE_ID("Bridge.{i}.NodeIndex")},
    {"MACAddresses", CSV, "", 0, 0, COPY("Bridge.{i}.MACAddresses", RO)},
};

static const moca_schema_key_t rlapm_number_keys[] = {
    {"RlapmNumberOfEntries", U32, "", 0, 0, COPY("RlapmNumberOfEntries", RO)},
};

static const moca_schema_key_t rlapm_keys[] = {
    {"Enable", BOOL, "", 0, 0, COPY("Rlapm.{i}.Enable", RW)},
    {"Profile", U32, "", 0, 0, COPY("Rlapm.{i}.Profile", RW)},
    {"Frequency", U32, "MHz", 0, 0, COPY("Rlapm.{i}.Frequency", RW)},
    {"GlobalAggrRxPwrLevel", U32, "dBm", MOCA_SHOW_BELOW_ZERO, 0,
     RANGE("Rlapm.{i}.GlobalAggrRxPwrLevel", RW, 0, MOCA_RLAPM_GARPL_MAX_VALUE, "-dBm")},
    {"PhyMargin", U32, "", MOCA_SHOW_RUNS, 0,
     RANGE("Rlapm.{i}.PhyMargin", RW, 0, MOCA_RLAPM_PHY_MARGIN_MAX_VALUE, "0.5dB")},
    {"Status", STR, "", 0, 0, NAME("Rlapm.{i}.Status", row_status)},
};

static const moca_schema_key_t sapm_number_keys[] = {
    {"SapmNumberOfEntries", U32, "", 0, 0, COPY("SapmNumberOfEntries", RO)},
};

static const moca_schema_key_t sapm_keys[] = {
    {"Enable", BOOL, "", 0, 0, COPY("Sapm.{i}.Enable", RW)},
    {"Profile", U32, "", 0, 0, COPY("Sapm.{i}.Profile", RW)},
    {"Frequency", U32, "MHz", 0, 0, COPY("Sapm.{i}.Frequency", RW)},
    {"AggrRxPwrLevelThreshold", U32, "dBm", MOCA_SHOW_BELOW_ZERO, 0,
     RANGE("Sapm.{i}.AggrRxPwrLevelThreshold", RW, 0, MOCA_SAPM_ARPLTHLD_MAX_VALUE, "-dBm")},
    {"PhyMargin", STR, "", MOCA_SHOW_RUNS, 0, PARAM("Sapm.{i}.PhyMargin", RW, MOCA_CONV_LIST, "0.5dB"), .min = 0,
     .max = 2 * MOCA_SAPM_PHY_MARGIN_MAX_VALUE},
    {"Status", STR, "", 0, 0, NAME("Sapm.{i}.Status", row_status)},
};

#define NOTHING(f)                                                                                                     \
    { f, MOCA_TYPE_NONE, 0, NULL, 0 }
#define ANSWER(t)                                                                                                      \
    { "is-" t, BOOL, 0, NULL, 0 }
#define REPORT(f, keys)                                                                                                \
    { f, MOCA_TYPE_HTABLE, 0, keys, COUNT(keys) }
#define ENTRY(f, n, keys)                                                                                              \
    { f, MOCA_TYPE_HTABLE, n, keys, COUNT(keys) }

const moca_schema_function_t moca_schema_functions[] = {
    NOTHING("create-moca-iface"),
    NOTHING("destroy-moca-iface"),
    NOTHING("set-cfg-info"),
    REPORT("retrieve-cfg-info", cfg_keys),
    REPORT("retrieve-static-info", static_keys),
    REPORT("retrieve-dyn-info", dyn_keys),
    REPORT("retrieve-qos-info", qos_keys),
    ENTRY("retrieve-flow-info", MOCA_MAX_FLOWS, flow_keys),
    REPORT("retrieve-rlapm-number", rlapm_number_keys),
    ENTRY("retrieve-rlapm-info", MOCA_MAX_RLAPM_ENTRIES, rlapm_keys),
    REPORT("retrieve-sapm-number", sapm_number_keys),
    ENTRY("retrieve-sapm-info", MOCA_MAX_SAPM_ENTRIES, sapm_keys),
    ENTRY("retrieve-node-info", MOCA_MAX_NODES, node_keys),
    ENTRY("retrieve-mesh-info", MOCA_MAX_MESH_ENTRIES, mesh_keys),
    ENTRY("retrieve-bridge-info", MOCA_MAX_NODES, bridge_keys),
    REPORT("retrieve-stats-info", stats_keys),
    ANSWER("available"),
    ANSWER("present"),
};

const uint32_t moca_schema_function_count = COUNT(moca_schema_functions);

const moca_schema_function_t* moca_schema_function(const char* name) {
    for(uint32_t i = 0; name != NULL && i < moca_schema_function_count; ++i) {
        if(strcmp(moca_schema_functions[i].name, name) == 0) {
            return &moca_schema_functions[i];
        }
    }
    return NULL;
}

const moca_schema_key_t* moca_schema_key(const moca_schema_function_t* function, const char* key) {
    for(uint32_t i = 0; function != NULL && key != NULL && i < function->key_count; ++i) {
        if(strcmp(function->keys[i].key, key) == 0) {
            return &function->keys[i];
        }
    }
    return NULL;
}

const moca_schema_key_t* moca_schema_param(const char* param, const moca_schema_function_t** function) {
    for(uint32_t f = 0; param != NULL && f < moca_schema_function_count; ++f) {
        const moca_schema_function_t* fn = &moca_schema_functions[f];
        for(uint32_t k = 0; k < fn->key_count; ++k) {
            if(fn->keys[k].param != NULL && strcmp(fn->keys[k].param, param) == 0) {
                if(function != NULL) {
                    *function = fn;
                }
                return &fn->keys[k];
            }
        }
    }
    return NULL;
}

const char* moca_schema_type_name(moca_schema_type_t type) {
    switch(type) {
        case MOCA_TYPE_BOOL: return "bool";
        case MOCA_TYPE_UINT32: return "uint32";
        case MOCA_TYPE_INT32: return "int32";
        case MOCA_TYPE_UINT64: return "uint64";
        case MOCA_TYPE_CSTRING: return "cstring";
        case MOCA_TYPE_CSV_STRING: return "csv_string";
        case MOCA_TYPE_HTABLE: return "htable";
        case MOCA_TYPE_NONE: break;
    }
    return "null";
}
