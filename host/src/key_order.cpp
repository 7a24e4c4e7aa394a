// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "key_order.h"

#include <map>
#include <vector>

namespace host {

namespace {

const std::map<std::string, std::vector<std::string>, std::less<>> reported_keys{

    {"retrieve-static-info",
     {"InternalName", "FirmwareVersion", "SupportedBands", "MaxBitRate", "AggregationSize", "AeNumber",
      "SupportedIngressPqosFlows", "SupportedEgressPqosFlows", "HighestVersion", "FreqCapabilityMask",
      "NetworkTabooMask", "TxBcastPowerReduction", "QAM256Capable", "AvbSupport", "PacketAggregationCapability"}},
    {"retrieve-cfg-info",
     {"Enable", "PreferredNC", "PrivacyEnabledSetting", "TpcTargetRateNper", "FreqCurrentMaskSetting", "KeyPassphrase",
      "TxPowerLimit", "PowerCntlPhyTarget", "BeaconPowerLimit", "NodeTabooMask"}},
    {"retrieve-dyn-info",
     {"Status",
      "PasswordHash",
      "PowerStateCap",
      "LinkUpTime",
      "MaxIngressBW",
      "MaxEgressBW",
      "CurrentVersion",
      "NetworkCoordinator",
      "NodeID",
      "BackupNC",
      "NumNodes",
      "PrivacyEnabled",
      "FreqCurrentMask",
      "CurrentOperFreq",
      "LastOperFreq",
      "TxBcastRate",
      "ResetCount",
      "LinkDownCount",
      "LmoNodeID",
      "NetworkState",
      "PrimaryChannelOffset",
      "SecondaryChannelOffset",
      "ResetReason",
      "NcVersion",
      "LinkState"}},
    {"retrieve-stats-info",
     {"BroadcastPacketsReceived", "BroadcastPacketsSent", "BytesReceived", "BytesSent", "DiscardPacketsReceived",
      "DiscardPacketsSent", "ErrorsReceived", "ErrorsSent", "MulticastPacketsReceived", "MulticastPacketsSent",
      "PacketsReceived", "PacketsSent", "UnicastPacketsReceived", "UnicastPacketsSent", "UnknownProtoPacketsReceived"}},
    {"retrieve-qos-info", {"EgressNumFlows", "IngressNumFlows"}},
    {"retrieve-flow-info",
     {"FlowID", "PacketDA", "MaxRate", "MaxBurstSize", "LeaseTime", "Tag", "LeaseTimeLeft", "FlowPackets",
      "IngressGuid", "EgressGuid", "MaximumLatency", "ShortTermAvgRatio", "FlowPer", "IngressClassify", "VlanTag",
      "DscpMoca", "Dfid"}},
    {"retrieve-node-info",
     {"MACAddress",
      "NodeID",
      "PreferredNC",
      "HighestVersion",
      "PHYTxRate",
      "PHYRxRate",
      "TxPowerControlReduction",
      "RxPowerLevel",
      "TxBcastRate",
      "RxBcastPowerLevel",
      "TxPackets",
      "TxDrops",
      "RxPackets",
      "RxCorrected",
      "RxErroredAndMissedPackets",
      "BondingCapable",
      "QAM256Capable",
      "PacketAggregationCapability",
      "RxSNR",
      "Active",
      "SupportedIngressPqosFlows",
      "SupportedEgressPqosFlows",
      "AggregationSize",
      "AeNumber",
      "PowerState",
      "PowerStateCapability",
      "Moca25PhyCapable"}},
    {"retrieve-mesh-info", {"TxNodeIndex", "RxNodeIndex", "TxRate", "TxRateNper", "TxRateVlper"}},
    {"retrieve-bridge-info", {"NodeIndex", "MACAddresses"}},
    {"retrieve-rlapm-number", {"RlapmNumberOfEntries"}},
    {"retrieve-rlapm-info", {"Enable", "Profile", "Frequency", "GlobalAggrRxPwrLevel", "PhyMargin", "Status"}},
    {"retrieve-sapm-number", {"SapmNumberOfEntries"}},
    {"retrieve-sapm-info", {"Enable", "Profile", "Frequency", "AggrRxPwrLevelThreshold", "PhyMargin", "Status"}}};

} // namespace

std::span<const std::string> documented_key_order(std::string_view function) {
    auto documented = reported_keys.find(function);
    return documented != reported_keys.end() ? std::span<const std::string>(documented->second)
                                             : std::span<const std::string>();
}

} // namespace host
