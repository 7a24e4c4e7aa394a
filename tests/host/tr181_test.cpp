// SPDX-License-Identifier: BSD-2-Clause-Patent
// The TR-181 view: what dump --tr181 publishes for every example obeys the data
// model's own definitions, the conversions hold at their edges, and the mapping's
// document is the one the table makes.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>

#include "host_binary.h"
#include "tr181.h"

namespace {

using host::json;
namespace tr181 = host::tr181;

const json model = json::parse(std::ifstream(TR181_MODEL))["parameters"];
const std::string root = "Device.MoCA.Interface.{i}.";
const std::regex comma(",");

// What breaks the definition: type, size, range (with step), enumeration, pattern, secured.
std::string item_violation(const json& def, const json& v) {
    const std::string type = def["type"];
    if(type == "boolean") {
        return v.is_boolean() ? "" : "not a boolean";
    }
    if(type == "unsignedInt" || type == "unsignedLong" || type == "int") {
        const bool fits = type == "int"
                              ? v.is_number_integer() && v.get<int64_t>() >= INT32_MIN && v.get<int64_t>() <= INT32_MAX
                              : (v.is_number_unsigned() || (v.is_number_integer() && v >= 0)) &&
                                    (type == "unsignedLong" || v <= UINT32_MAX);
        bool in_range = !def.contains("range");
        for(const json& r : def.value("range", json::array())) {
            const int64_t lo = r.value("minInclusive", INT64_MIN), hi = r.value("maxInclusive", INT64_MAX);
            const int64_t n = fits ? v.get<int64_t>() : 0;
            in_range = in_range || (n >= lo && n <= hi && (n - lo) % r.value("step", 1) == 0);
        }
        return !fits ? "not a " + type : !in_range ? "out of range" : "";
    }
    if(!v.is_string()) {
        return "not a string";
    }
    const std::string s = v;
    if(type == "hexBinary" && (s.size() % 2 != 0 || !std::regex_match(s, std::regex("[0-9A-Fa-f]*")))) {
        return "not hexBinary";
    }
    const size_t length = type == "hexBinary" ? s.size() / 2 : s.size();
    bool sized = !def.contains("size"), matched = !def.contains("pattern");
    for(const json& z : def.value("size", json::array())) {
        sized = sized || (length >= z.value("minLength", 0u) && length <= z.value("maxLength", SIZE_MAX));
    }
    for(const std::string p : def.value("pattern", json::array())) {
        matched = matched || std::regex_match(s, std::regex(p));
    }
    const json names = def.value("enum", json::array());
    const bool listed = names.empty() || std::find(names.begin(), names.end(), v) != names.end();
    return !sized ? "wrong size" : !matched ? "no pattern matches" : !listed ? "not in the enumeration" : "";
}

std::string violation(const json& def, const json& v) {
    if(def.value("secured", false)) {
        return v == "" ? "" : "secured, yet not empty";
    }
    if(def["type"] == "boolean" || !def.contains("list")) {
        return item_violation(def, v);
    }
    if(!v.is_string()) {
        return "not a list";
    }
    const std::string s = v;
    for(std::sregex_token_iterator it(s.begin(), s.end(), comma, -1), last; it != last; ++it) {
        const std::string item = *it;
        const bool number = def["type"] != "string" && std::regex_match(item, std::regex("[0-9]+"));
        if(std::string why = item_violation(def, number ? json::parse(item) : json(item)); !why.empty()) {
            return "item " + item + ": " + why;
        }
    }
    return "";
}

class Tr181View : public MocaHostRun {};

// Every path of every example interface's view is a parameter of the data model
// whose definition its value obeys, in the unit the definition gives; every key
// the module reports has a row; the pass phrase appears in no form of the view.
TEST_F(Tr181View, EveryExampleValidatesAgainstTheDataModel) {
    size_t values = 0;
    for(const auto& file : std::filesystem::directory_iterator(MXL_EXAMPLES_DIR)) {
        const json scenario = json::parse(std::ifstream(file.path()));
        const std::string sim = "--sim '" + file.path().string() + "' ";
        for(const auto& [ifname, iface] : scenario["interfaces"].items()) {
            const std::string where = file.path().filename().string() + " " + ifname;
            const Outcome r = run(sim + "dump " + ifname + " --tr181 --json");
            const json view = json::parse(r.out);
            // Left out only what the module cannot give rightly: masks never stored, its fixed
            // pass phrase hash "QRST", flow codes without a name.
            std::smatch m;
            for(std::string e = r.err; std::regex_search(e, m, std::regex("left out [^:]*\\.([A-Za-z]+):"));
                e = m.suffix()) {
                EXPECT_TRUE(
                    std::regex_match(std::string(m[1]), std::regex("Freq.*Mask.*|PasswordHash|IngressClassify")))
                    << where << ": " << m[0];
            }
            std::map<std::string, std::set<std::string>> instances; // of AssociatedDevice and Mesh
            for(const auto& [path, value] : view.items()) {
                const std::string param = std::regex_replace(path, std::regex("\\.[0-9]+\\."), ".{i}.");
                ASSERT_TRUE(model.contains(param) && path.rfind("Device.MoCA.Interface.1.", 0) == 0) << where << path;
                EXPECT_EQ(violation(model[param], value), "") << where << ": " << path << " = " << value;
                const tr181::Row* row = tr181::find_param(param.substr(root.size()));
                ASSERT_NE(row, nullptr) << param;
                EXPECT_EQ(row->unit, model[param].value("units", model[param].value("desc_units", ""))) << param;
                if(std::regex_search(path, m, std::regex("(AssociatedDevice|Mesh)\\.([0-9]+)\\."))) {
                    instances[m[1]].insert(m[2]);
                }
                ++values;
            }
            // One entry per remote node of the network, one mesh cell per ordered pair of its nodes.
            const size_t n = view.value("Device.MoCA.Interface.1.NumNodes", 0u);
            EXPECT_EQ(instances["AssociatedDevice"].size(), n - 1) << where;
            EXPECT_EQ(instances["Mesh"].size(), n * (n - 1)) << where;
            const json dump = json::parse(run(sim + "--show-secrets dump --json " + ifname).out);
            std::string secret;
            for(const json& call : dump["calls"]) {
                if(!call.contains("ret") || call["ret"][0] != "htable") {
                    continue;
                }
                for(const auto& [key, typed] : call["ret"][1].items()) {
                    const auto rows = tr181::rows();
                    EXPECT_TRUE(
                        std::any_of(rows.begin(), rows.end(),
                                    [&](const tr181::Row& r) { return call["call"] == r.function && key == r.key; }))
                        << call["call"] << " " << key;
                    secret = key == "KeyPassphrase" ? typed[1].get<std::string>() : secret;
                }
            }
            for(const char* form : {"dump --tr181 ", "dump --tr181 --json ", "--show-secrets dump --tr181 "}) {
                EXPECT_TRUE(secret.empty() || run(sim + form + ifname).out.find(secret) == std::string::npos) << form;
            }
        }
    }
    EXPECT_GT(values, 1000u);
}

// Made-up module answers at the edges of each conversion; nullptr: left out.
TEST(Tr181Convert, EdgesOfEachConversion) {
    const json none;
    const struct {
        const char* param;
        json in;
        json out;
    } cases[] = {{"CurrentOperFreq", 0, 0},
                 {"CurrentOperFreq", 4294, 4294000000u},
                 {"LastOperFreq", 4295, none},
                 {"MaxIngressBW", 4294967, 4294967000u},
                 {"Mesh.{i}.TxRate", 2048, 2048},
                 {"Mesh.{i}.TxRateVlper", 2049, none},
                 {"Stats.BytesSent", UINT64_MAX, UINT64_MAX},
                 {"NumNodes", 17, none},
                 {"AssociatedDevice.{i}.RxBcastPowerLevel", 0, 0},
                 {"AssociatedDevice.{i}.RxBcastPowerLevel", INT32_MAX, -INT32_MAX},
                 {"AssociatedDevice.{i}.RxBcastPowerLevel", -1, none},
                 {"QoS.FlowStats.{i}.IngressClassify", "0", "ruleDAVLANtag4or5"},
                 {"QoS.FlowStats.{i}.IngressClassify", "4", "ruleDAonly"},
                 {"QoS.FlowStats.{i}.IngressClassify", "5", "ruleDAandDSCPnoVLAN"},
                 {"QoS.FlowStats.{i}.IngressClassify", "6", "ruleDAandVLANignoreDSCP"},
                 {"QoS.FlowStats.{i}.IngressClassify", "7", "ruleDAandVLANorDSCP"},
                 {"QoS.FlowStats.{i}.IngressClassify", "1", none},
                 {"NetworkState", "calibrationState", "calibrationState"},
                 {"NetworkState", "unknown", none},
                 {"NetworkState", "undefined", none},
                 {"PasswordHash", "QRST", none},
                 {"PasswordHash", "0x1F", "001F"},
                 {"FreqCurrentMaskSetting", "", none},
                 {"FreqCurrentMask", "3c000", "000000000003c000"},
                 {"KeyPassphrase", "99999999988888888", ""},
                 {"Sapm.{i}.PhyMargin", "0,120", "0,120"},
                 {"Sapm.{i}.PhyMargin", "60,121", none},
                 {"ResetReason", std::string(81, 'r'), none}};
    for(const auto& c : cases) {
        const tr181::Row* row = tr181::find_param(c.param);
        ASSERT_NE(row, nullptr) << c.param;
        std::string why;
        const auto out = tr181::convert(*row, c.in, &why);
        EXPECT_EQ(out.value_or(none), c.out) << c.param << " " << c.in;
        EXPECT_EQ(why.empty(), out.has_value()) << c.param << " " << c.in;
        if(out) {
            EXPECT_EQ(violation(model[root + c.param], *out), "") << c.param << " " << *out;
        }
    }
}

// A value left out is named on one warning line: path, key, value and rule.
TEST(Tr181Convert, ALeftOutValueGivesOneWarningLine) {
    host::DumpRun run;
    run.calls.resize(1);
    run.calls[0].function = "retrieve-flow-info";
    run.calls[0].id = 3;
    run.calls[0].result = {
        {"rc", 0},
        {"ret", {"htable", {{"FlowID", {"cstring", "02:40:b8:9a:00:02"}}, {"IngressClassify", {"cstring", "1"}}}}}};
    char text[1024] = {};
    std::FILE* warnings = fmemopen(text, sizeof(text) - 1, "w");
    const auto published = tr181::view(run, warnings);
    std::fclose(warnings);
    ASSERT_EQ(published.size(), 1u);
    EXPECT_EQ(published[0].path, "Device.MoCA.Interface.1.QoS.FlowStats.3.FlowID");
    EXPECT_TRUE(
        std::regex_match(text, std::regex("[^\\n]*FlowStats.3.IngressClassify.*IngressClassify=\"1\".*rule: .*\\n")))
        << text;
}

// docs/tr181.md is what the table makes; MXL_WRITE_TR181_DOC=1 rewrites it.
TEST(Tr181Doc, MatchesTheTable) {
    const std::string doc = tr181::mapping_doc(model);
    if(std::getenv("MXL_WRITE_TR181_DOC") != nullptr) {
        std::ofstream(TR181_DOC) << doc;
    }
    std::stringstream file;
    file << std::ifstream(TR181_DOC).rdbuf();
    EXPECT_EQ(file.str(), doc) << "docs/tr181.md differs from the table: MXL_WRITE_TR181_DOC=1 rewrites it";
}

} // namespace
