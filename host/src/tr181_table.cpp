// SPDX-License-Identifier: BSD-2-Clause-Patent
// The mapping of every result key to its Device.MoCA.Interface.{i}. parameter.
// Ranges, widths, units and enumerations are the data model's, Device:2.19.
#include <cstring>

#include "tr181.h"

namespace host::tr181 {

namespace {

constexpr int64_t u32_max = 4294967295;
constexpr int64_t phy_rate_max = 2048; // Mbps: the data model's MocaPhyRate
constexpr int64_t node_id_max = 15;

constexpr EnumName if_status[] = {{0, "Up"},         {1, "Down"},           {2, "Unknown"}, {3, "Dormant"},
                                  {4, "NotPresent"}, {5, "LowerLayerDown"}, {6, "Error"}};
constexpr EnumName power_states[] = {{0, "m0Active"}, {1, "m1LowPowerIdle"}, {2, "m2Standby"}, {3, "m3Sleep"}};
constexpr EnumName row_status[] = {{1, "active"},      {2, "notInService"},  {3, "notReady"},
                                   {4, "createAndGo"}, {5, "createAndWait"}, {6, "destroy"}};
constexpr EnumName ingress_rules[] = {{0, "ruleDAVLANtag4or5"},
                                      {4, "ruleDAonly"},
                                      {5, "ruleDAandDSCPnoVLAN"},
                                      {6, "ruleDAandVLANignoreDSCP"},
                                      {7, "ruleDAandVLANorDSCP"}};
// The module's own names at indexes 0 ("unknown") and above 17 ("undefined") have none here.
constexpr EnumName network_states[] = {{1, "beginNodeAdmissionState"},
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

constexpr const char* stat = "retrieve-stats-info";
constexpr const char* node = "retrieve-node-info";
constexpr const char* flow = "retrieve-flow-info";
constexpr const char* mesh = "retrieve-mesh-info";
constexpr const char* rlapm = "retrieve-rlapm-info";
constexpr const char* sapm = "retrieve-sapm-info";

Row text(const char* function, const char* key, const char* param, int64_t max_length) {
    return {function, key, param, Conv::text, "", 0, max_length};
}
Row plain(const char* function, const char* key, const char* param, const char* unit = "", int64_t min = 1,
          int64_t max = 0) {
    return {function, key, param, Conv::copy, unit, min, max};
}
Row scaled(const char* function, const char* key, const char* param, const char* given_unit, const char* unit,
           uint64_t factor) {
    return {function, key, param, Conv::scale, unit, 0, u32_max, factor, 0, {}, given_unit};
}
Row hex(const char* function, const char* key, const char* param, uint32_t bytes) {
    return {function, key, param, Conv::hex, "", 1, 0, 1, bytes};
}
Row named(const char* function, const char* key, const char* param, std::span<const EnumName> names,
          Conv conv = Conv::name) {
    return {function, key, param, conv, "", 1, 0, 1, 0, names};
}
Row node_id(const char* function, const char* key, const char* param) {
    return plain(function, key, param, "", 0, node_id_max);
}
Row phy_rate(const char* function, const char* key, const char* param) {
    return plain(function, key, param, "Mbps", 0, phy_rate_max);
}
Row other(const char* function, const char* key, const char* param, Conv conv, const char* unit = "") {
    return {function, key, param, conv, unit};
}

const Row table[] = {
    other("retrieve-static-info", "InternalName", "", Conv::extension),
    text("retrieve-static-info", "FirmwareVersion", "FirmwareVersion", 64),
    plain("retrieve-static-info", "SupportedBands", "SupportedBands"),
    plain("retrieve-static-info", "MaxBitRate", "MaxBitRate", "Mbps"),
    plain("retrieve-static-info", "AggregationSize", "AggregationSize", "bytes"),
    plain("retrieve-static-info", "AeNumber", "AeNumber"),
    plain("retrieve-static-info", "SupportedIngressPqosFlows", "SupportedIngressPqosFlows"),
    plain("retrieve-static-info", "SupportedEgressPqosFlows", "SupportedEgressPqosFlows"),
    text("retrieve-static-info", "HighestVersion", "HighestVersion", 64),
    hex("retrieve-static-info", "FreqCapabilityMask", "FreqCapabilityMask", 8),
    hex("retrieve-static-info", "NetworkTabooMask", "NetworkTabooMask", 8),
    plain("retrieve-static-info", "TxBcastPowerReduction", "TxBcastPowerReduction", "dB"),
    plain("retrieve-static-info", "QAM256Capable", "QAM256Capable"),
    plain("retrieve-static-info", "AvbSupport", "AvbSupport"),
    plain("retrieve-static-info", "PacketAggregationCapability", "PacketAggregationCapability", "packets"),

    plain("retrieve-cfg-info", "Enable", "Enable"),
    plain("retrieve-cfg-info", "PreferredNC", "PreferredNC"),
    plain("retrieve-cfg-info", "PrivacyEnabledSetting", "PrivacyEnabledSetting"),
    phy_rate("retrieve-cfg-info", "TpcTargetRateNper", "TpcTargetRateNper"),
    hex("retrieve-cfg-info", "FreqCurrentMaskSetting", "FreqCurrentMaskSetting", 8),
    other("retrieve-cfg-info", "KeyPassphrase", "KeyPassphrase", Conv::secret),
    plain("retrieve-cfg-info", "TxPowerLimit", "TxPowerLimit", "dB"),
    phy_rate("retrieve-cfg-info", "PowerCntlPhyTarget", "PowerCntlPhyTarget"),
    plain("retrieve-cfg-info", "BeaconPowerLimit", "BeaconPowerLimit", "dB"),
    hex("retrieve-cfg-info", "NodeTabooMask", "NodeTabooMask", 8),

    named("retrieve-dyn-info", "Status", "Status", if_status),
    hex("retrieve-dyn-info", "PasswordHash", "PasswordHash", 2),
    named("retrieve-dyn-info", "PowerStateCap", "PowerStateCap", power_states),
    other("retrieve-dyn-info", "LinkUpTime", "", Conv::extension, "seconds"),
    scaled("retrieve-dyn-info", "MaxIngressBW", "MaxIngressBW", "Mbps", "Kbps", 1000),
    scaled("retrieve-dyn-info", "MaxEgressBW", "MaxEgressBW", "Mbps", "Kbps", 1000),
    text("retrieve-dyn-info", "CurrentVersion", "CurrentVersion", 64),
    node_id("retrieve-dyn-info", "NetworkCoordinator", "NetworkCoordinator"),
    node_id("retrieve-dyn-info", "NodeID", "NodeID"),
    node_id("retrieve-dyn-info", "BackupNC", "BackupNC"),
    plain("retrieve-dyn-info", "NumNodes", "NumNodes", "", 0, 16),
    plain("retrieve-dyn-info", "PrivacyEnabled", "PrivacyEnabled"),
    hex("retrieve-dyn-info", "FreqCurrentMask", "FreqCurrentMask", 8),
    scaled("retrieve-dyn-info", "CurrentOperFreq", "CurrentOperFreq", "MHz", "Hz", 1000000),
    scaled("retrieve-dyn-info", "LastOperFreq", "LastOperFreq", "MHz", "Hz", 1000000),
    phy_rate("retrieve-dyn-info", "TxBcastRate", "TxBcastRate"),
    plain("retrieve-dyn-info", "ResetCount", "ResetCount"),
    plain("retrieve-dyn-info", "LinkDownCount", "LinkDownCount"),
    node_id("retrieve-dyn-info", "LmoNodeID", "LmoNodeID"),
    named("retrieve-dyn-info", "NetworkState", "NetworkState", network_states),
    plain("retrieve-dyn-info", "PrimaryChannelOffset", "PrimaryChannelOffset", "MHz"),
    plain("retrieve-dyn-info", "SecondaryChannelOffset", "SecondaryChannelOffset", "MHz"),
    text("retrieve-dyn-info", "ResetReason", "ResetReason", 80),
    text("retrieve-dyn-info", "NcVersion", "NcVersion", 64),
    hex("retrieve-dyn-info", "LinkState", "LinkState", 3),

    plain(stat, "BroadcastPacketsReceived", "Stats.BroadcastPacketsReceived", "packets"),
    plain(stat, "BroadcastPacketsSent", "Stats.BroadcastPacketsSent", "packets"),
    plain(stat, "BytesReceived", "Stats.BytesReceived", "bytes"),
    plain(stat, "BytesSent", "Stats.BytesSent", "bytes"),
    plain(stat, "DiscardPacketsReceived", "Stats.DiscardPacketsReceived", "packets"),
    plain(stat, "DiscardPacketsSent", "Stats.DiscardPacketsSent", "packets"),
    plain(stat, "ErrorsReceived", "Stats.ErrorsReceived", "packets"),
    plain(stat, "ErrorsSent", "Stats.ErrorsSent", "packets"),
    plain(stat, "MulticastPacketsReceived", "Stats.MulticastPacketsReceived", "packets"),
    plain(stat, "MulticastPacketsSent", "Stats.MulticastPacketsSent", "packets"),
    plain(stat, "PacketsReceived", "Stats.PacketsReceived", "packets"),
    plain(stat, "PacketsSent", "Stats.PacketsSent", "packets"),
    plain(stat, "UnicastPacketsReceived", "Stats.UnicastPacketsReceived", "packets"),
    plain(stat, "UnicastPacketsSent", "Stats.UnicastPacketsSent", "packets"),
    plain(stat, "UnknownProtoPacketsReceived", "Stats.UnknownProtoPacketsReceived", "packets"),

    plain("retrieve-qos-info", "EgressNumFlows", "QoS.EgressNumFlows"),
    plain("retrieve-qos-info", "IngressNumFlows", "QoS.IngressNumFlows"),

    text(flow, "FlowID", "QoS.FlowStats.{i}.FlowID", 17),
    text(flow, "PacketDA", "QoS.FlowStats.{i}.PacketDA", 17),
    plain(flow, "MaxRate", "QoS.FlowStats.{i}.MaxRate", "Kbps"),
    plain(flow, "MaxBurstSize", "QoS.FlowStats.{i}.MaxBurstSize"),
    plain(flow, "LeaseTime", "QoS.FlowStats.{i}.LeaseTime", "seconds"),
    plain(flow, "Tag", "QoS.FlowStats.{i}.Tag"),
    plain(flow, "LeaseTimeLeft", "QoS.FlowStats.{i}.LeaseTimeLeft", "seconds"),
    plain(flow, "FlowPackets", "QoS.FlowStats.{i}.FlowPackets"),
    text(flow, "IngressGuid", "QoS.FlowStats.{i}.IngressGuid", 17),
    text(flow, "EgressGuid", "QoS.FlowStats.{i}.EgressGuid", 17),
    plain(flow, "MaximumLatency", "QoS.FlowStats.{i}.MaximumLatency", "ms"),
    plain(flow, "ShortTermAvgRatio", "QoS.FlowStats.{i}.ShortTermAvgRatio"),
    plain(flow, "FlowPer", "QoS.FlowStats.{i}.FlowPer"),
    named(flow, "IngressClassify", "QoS.FlowStats.{i}.IngressClassify", ingress_rules, Conv::code_name),
    plain(flow, "VlanTag", "QoS.FlowStats.{i}.VlanTag"),
    plain(flow, "DscpMoca", "QoS.FlowStats.{i}.DscpMoca"),
    plain(flow, "Dfid", "QoS.FlowStats.{i}.Dfid"),

    text(node, "MACAddress", "AssociatedDevice.{i}.MACAddress", 17),
    node_id(node, "NodeID", "AssociatedDevice.{i}.NodeID"),
    plain(node, "PreferredNC", "AssociatedDevice.{i}.PreferredNC"),
    text(node, "HighestVersion", "AssociatedDevice.{i}.HighestVersion", 64),
    plain(node, "PHYTxRate", "AssociatedDevice.{i}.PHYTxRate", "Mbps"),
    plain(node, "PHYRxRate", "AssociatedDevice.{i}.PHYRxRate", "Mbps"),
    plain(node, "TxPowerControlReduction", "AssociatedDevice.{i}.TxPowerControlReduction", "dB"),
    plain(node, "RxPowerLevel", "AssociatedDevice.{i}.RxPowerLevel", "dBm"),
    phy_rate(node, "TxBcastRate", "AssociatedDevice.{i}.TxBcastRate"),
    {node, "RxBcastPowerLevel", "AssociatedDevice.{i}.RxBcastPowerLevel", Conv::negate, "dBm", -2147483648, 0},
    plain(node, "TxPackets", "AssociatedDevice.{i}.TxPackets"),
    plain(node, "TxDrops", "AssociatedDevice.{i}.TxDrops"),
    plain(node, "RxPackets", "AssociatedDevice.{i}.RxPackets"),
    plain(node, "RxCorrected", "AssociatedDevice.{i}.RxCorrected"),
    plain(node, "RxErroredAndMissedPackets", "AssociatedDevice.{i}.RxErroredAndMissedPackets"),
    plain(node, "BondingCapable", "AssociatedDevice.{i}.BondingCapable"),
    plain(node, "QAM256Capable", "AssociatedDevice.{i}.QAM256Capable"),
    plain(node, "PacketAggregationCapability", "AssociatedDevice.{i}.PacketAggregationCapability", "packets"),
    plain(node, "RxSNR", "AssociatedDevice.{i}.RxSNR", "dB"),
    plain(node, "Active", "AssociatedDevice.{i}.Active"),
    plain(node, "SupportedIngressPqosFlows", "AssociatedDevice.{i}.SupportedIngressPqosFlows"),
    plain(node, "SupportedEgressPqosFlows", "AssociatedDevice.{i}.SupportedEgressPqosFlows"),
    plain(node, "AggregationSize", "AssociatedDevice.{i}.AggregationSize", "bytes"),
    plain(node, "AeNumber", "AssociatedDevice.{i}.AeNumber"),
    named(node, "PowerState", "AssociatedDevice.{i}.PowerState", power_states),
    named(node, "PowerStateCapability", "AssociatedDevice.{i}.PowerStateCapability", power_states),
    plain(node, "Moca25PhyCapable", "AssociatedDevice.{i}.Moca25PhyCapable"),

    node_id(mesh, "TxNodeIndex", "Mesh.{i}.TxNodeIndex"),
    node_id(mesh, "RxNodeIndex", "Mesh.{i}.RxNodeIndex"),
    phy_rate(mesh, "TxRate", "Mesh.{i}.TxRate"),
    phy_rate(mesh, "TxRateNper", "Mesh.{i}.TxRateNper"),
    phy_rate(mesh, "TxRateVlper", "Mesh.{i}.TxRateVlper"),

    node_id("retrieve-bridge-info", "NodeIndex", "Bridge.{i}.NodeIndex"),
    plain("retrieve-bridge-info", "MACAddresses", "Bridge.{i}.MACAddresses"),

    plain("retrieve-rlapm-number", "RlapmNumberOfEntries", "RlapmNumberOfEntries"),
    plain(rlapm, "Enable", "Rlapm.{i}.Enable"),
    plain(rlapm, "Profile", "Rlapm.{i}.Profile"),
    plain(rlapm, "Frequency", "Rlapm.{i}.Frequency"),
    plain(rlapm, "GlobalAggrRxPwrLevel", "Rlapm.{i}.GlobalAggrRxPwrLevel", "-dBm", 0, 65),
    plain(rlapm, "PhyMargin", "Rlapm.{i}.PhyMargin", "0.5dB", 0, 60),
    named(rlapm, "Status", "Rlapm.{i}.Status", row_status),

    plain("retrieve-sapm-number", "SapmNumberOfEntries", "SapmNumberOfEntries"),
    plain(sapm, "Enable", "Sapm.{i}.Enable"),
    plain(sapm, "Profile", "Sapm.{i}.Profile"),
    plain(sapm, "Frequency", "Sapm.{i}.Frequency"),
    plain(sapm, "AggrRxPwrLevelThreshold", "Sapm.{i}.AggrRxPwrLevelThreshold", "-dBm", 0, 65),
    {sapm, "PhyMargin", "Sapm.{i}.PhyMargin", Conv::list, "0.5dB", 0, 120},
    named(sapm, "Status", "Sapm.{i}.Status", row_status),
};

} // namespace

std::span<const Row> rows() {
    return table;
}

const Row* find_param(const std::string& param) {
    for(const Row& r : table) {
        if(param == r.param && r.conv != Conv::extension) {
            return &r;
        }
    }
    return nullptr;
}

} // namespace host::tr181
