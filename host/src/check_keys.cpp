// SPDX-License-Identifier: BSD-2-Clause-Patent
// The keys each function documents for its result, with their variant types.
#include <sstream>

#include "check.h"

namespace host {

namespace {

struct KeyGroup {
    const char* function;
    const char* type;
    const char* keys; // separated by blanks
};

const KeyGroup documented_keys[] = {
    {"retrieve-cfg-info", "bool", "Enable PreferredNC PrivacyEnabledSetting"},
    {"retrieve-cfg-info", "uint32", "TpcTargetRateNper TxPowerLimit PowerCntlPhyTarget BeaconPowerLimit"},
    {"retrieve-cfg-info", "cstring", "FreqCurrentMaskSetting KeyPassphrase NodeTabooMask"},
    {"retrieve-static-info", "cstring",
     "InternalName FirmwareVersion SupportedBands HighestVersion FreqCapabilityMask NetworkTabooMask"},
    {"retrieve-static-info", "uint32",
     "MaxBitRate AggregationSize AeNumber SupportedIngressPqosFlows SupportedEgressPqosFlows "
     "TxBcastPowerReduction PacketAggregationCapability"},
    {"retrieve-static-info", "bool", "QAM256Capable AvbSupport"},
    {"retrieve-dyn-info", "cstring",
     "Status PasswordHash PowerStateCap CurrentVersion FreqCurrentMask NetworkState ResetReason NcVersion LinkState"},
    {"retrieve-dyn-info", "uint32",
     "LinkUpTime MaxIngressBW MaxEgressBW NetworkCoordinator NodeID BackupNC NumNodes CurrentOperFreq "
     "LastOperFreq TxBcastRate ResetCount LinkDownCount LmoNodeID"},
    {"retrieve-dyn-info", "bool", "PrivacyEnabled"},
    {"retrieve-dyn-info", "int32", "PrimaryChannelOffset SecondaryChannelOffset"},
    {"retrieve-stats-info", "uint64",
     "BroadcastPacketsReceived BroadcastPacketsSent BytesReceived BytesSent MulticastPacketsReceived "
     "MulticastPacketsSent PacketsReceived PacketsSent UnicastPacketsReceived UnicastPacketsSent"},
    {"retrieve-stats-info", "uint32",
     "DiscardPacketsReceived DiscardPacketsSent ErrorsReceived ErrorsSent UnknownProtoPacketsReceived"},
    {"retrieve-node-info", "cstring", "MACAddress HighestVersion PowerState PowerStateCapability"},
    {"retrieve-node-info", "uint32",
     "NodeID PHYTxRate PHYRxRate TxPowerControlReduction RxPowerLevel TxBcastRate TxDrops "
     "RxErroredAndMissedPackets PacketAggregationCapability RxSNR SupportedIngressPqosFlows "
     "SupportedEgressPqosFlows AggregationSize AeNumber"},
    {"retrieve-node-info", "int32", "RxBcastPowerLevel"},
    {"retrieve-node-info", "uint64", "TxPackets RxPackets RxCorrected"},
    {"retrieve-node-info", "bool", "PreferredNC BondingCapable QAM256Capable Active Moca25PhyCapable"},
    {"retrieve-mesh-info", "uint32", "TxNodeIndex RxNodeIndex TxRate TxRateNper TxRateVlper"},
    {"retrieve-bridge-info", "uint32", "NodeIndex"},
    {"retrieve-bridge-info", "csv_string", "MACAddresses"},
    {"retrieve-rlapm-number", "uint32", "RlapmNumberOfEntries"},
    {"retrieve-rlapm-info", "bool", "Enable"},
    {"retrieve-rlapm-info", "uint32", "Profile Frequency GlobalAggrRxPwrLevel PhyMargin"},
    {"retrieve-rlapm-info", "cstring", "Status"},
    {"retrieve-sapm-number", "uint32", "SapmNumberOfEntries"},
    {"retrieve-sapm-info", "bool", "Enable"},
    {"retrieve-sapm-info", "uint32", "Profile Frequency AggrRxPwrLevelThreshold"},
    {"retrieve-sapm-info", "cstring", "PhyMargin Status"},
    {"retrieve-qos-info", "uint32", "EgressNumFlows IngressNumFlows"},
    {"retrieve-flow-info", "cstring", "FlowID PacketDA IngressGuid EgressGuid IngressClassify"},
    {"retrieve-flow-info", "uint32",
     "MaxRate MaxBurstSize LeaseTime Tag LeaseTimeLeft FlowPackets MaximumLatency ShortTermAvgRatio FlowPer "
     "VlanTag DscpMoca Dfid"},
};

std::string where(const DumpCall& c) {
    return c.function + (c.id != 0 ? " Id=" + std::to_string(c.id) : std::string());
}

} // namespace

std::vector<std::string> key_problems(const DumpCall& c) {
    std::vector<std::string> out;
    const json& ret = c.ret();
    if(c.function == "is-present" || c.function == "is-available") {
        if(ret[0] != "bool") {
            out.push_back(where(c) + ": answers " + ret[0].get<std::string>() + ", not bool");
        }
        return out;
    }
    size_t documented = 0;
    for(const auto& g : documented_keys) {
        if(c.function != g.function) {
            continue;
        }
        if(ret[0] != "htable") {
            out.push_back(where(c) + ": answers " + ret[0].get<std::string>() + ", not a table of keys");
            return out;
        }
        std::istringstream keys(g.keys);
        for(std::string key; keys >> key;) {
            ++documented;
            const json* v = c.key(key);
            if(v == nullptr) {
                out.push_back(where(c) + ": no key " + key);
            } else if((*v)[0] != g.type) {
                out.push_back(where(c) + ": " + key + " is " + (*v)[0].get<std::string>() + ", not " + g.type);
            }
        }
    }
    if(documented > 0) {
        for(const auto& [key, value] : ret[1].items()) {
            bool known = false;
            for(const auto& g : documented_keys) {
                known = known || (c.function == g.function &&
                                  (" " + std::string(g.keys) + " ").find(" " + key + " ") != std::string::npos);
            }
            if(!known) {
                out.push_back(where(c) + ": undocumented key " + key);
            }
        }
    }
    return out;
}

} // namespace host
