// SPDX-License-Identifier: BSD-2-Clause-Patent
// Conversions of the mapping, the published view of a walk and the mapping's
// documentation.
#include "tr181.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <map>
#include <set>

namespace host::tr181 {

namespace {

const std::string root = "Device.MoCA.Interface.{i}.";

bool has_range(const Row& r) {
    return r.min <= r.max;
}

std::string range_text(const Row& r) {
    return std::to_string(r.min) + " to " + std::to_string(r.max);
}

bool in_range(const Row& r, int64_t v) {
    return !has_range(r) || (v >= r.min && v <= r.max);
}

// A JSON integer as int64, or nullopt when it is none or does not fit.
std::optional<int64_t> integer(const json& v) {
    if(v.is_number_unsigned()) {
        uint64_t u = v.get<uint64_t>();
        return u <= static_cast<uint64_t>(std::numeric_limits<int64_t>::max()) ? std::optional<int64_t>(u)
                                                                               : std::nullopt;
    }
    return v.is_number_integer() ? std::optional<int64_t>(v.get<int64_t>()) : std::nullopt;
}

bool all_of(const std::string& s, int (*is)(int)) {
    return std::all_of(s.begin(), s.end(), [&](char c) { return is(static_cast<unsigned char>(c)) != 0; });
}

std::optional<json> fail(std::string* why, std::string text) {
    *why = std::move(text);
    return std::nullopt;
}

std::optional<json> text(const Row& r, const json& v, std::string* why) {
    if(!v.is_string()) {
        return fail(why, "not a text");
    }
    const int64_t length = static_cast<int64_t>(v.get<std::string>().size());
    return in_range(r, length) ? std::optional<json>(v) : fail(why, "longer than " + std::to_string(r.max));
}

std::optional<json> copy(const Row& r, const json& v, std::string* why) {
    if(v.is_boolean() || (v.is_string() && !has_range(r))) {
        return v;
    }
    if(!v.is_number_integer()) {
        return fail(why, "not a value");
    }
    auto n = integer(v);
    if(has_range(r) && (!n || !in_range(r, *n))) {
        return fail(why, "outside " + range_text(r));
    }
    return v;
}

std::optional<json> scale(const Row& r, const json& v, std::string* why) {
    auto signed_n = integer(v);
    if(!signed_n || *signed_n < 0) {
        return fail(why, "not an unsigned number");
    }
    const auto n = static_cast<uint64_t>(*signed_n);
    if(n > static_cast<uint64_t>(r.max) / r.factor) {
        return fail(why, "times " + std::to_string(r.factor) + " exceeds " + std::to_string(r.max));
    }
    return json(n * r.factor);
}

std::optional<json> negate(const Row& r, const json& v, std::string* why) {
    auto n = integer(v);
    if(!n || *n < 0 || -*n < r.min) {
        return fail(why, "not a magnitude from 0 to " + std::to_string(-r.min));
    }
    return json(-*n);
}

std::optional<json> hex(const Row& r, const json& v, std::string* why) {
    std::string digits = v.is_string() ? v.get<std::string>() : "";
    if(digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        digits.erase(0, 2);
    }
    const size_t width = 2 * size_t{r.bytes};
    if(digits.empty() || digits.size() > width || !all_of(digits, isxdigit)) {
        return fail(why, "not a hexadecimal number of at most " + std::to_string(width) + " digits");
    }
    return json(std::string(width - digits.size(), '0') + digits);
}

std::optional<json> code_name(const Row& r, const json& v, std::string* why) {
    const std::string digits = v.is_string() ? v.get<std::string>() : "";
    if(digits.empty() || digits.size() > 8 || !all_of(digits, isxdigit)) {
        return fail(why, "not a hexadecimal code");
    }
    const auto code = static_cast<uint32_t>(std::stoul(digits, nullptr, 16));
    for(const EnumName& n : r.names) {
        if(n.code == code) {
            return json(n.name);
        }
    }
    return fail(why, "code " + std::to_string(code) + " has no name");
}

std::optional<json> name(const Row& r, const json& v, std::string* why) {
    const std::string text = v.is_string() ? v.get<std::string>() : "";
    for(const EnumName& n : r.names) {
        if(text == n.name) {
            return v;
        }
    }
    return fail(why, "not a name of the enumeration");
}

std::optional<json> list(const Row& r, const json& v, std::string* why) {
    if(!v.is_string()) {
        return fail(why, "not a list");
    }
    const std::string text = v.get<std::string>();
    for(size_t start = 0; start < text.size();) {
        size_t end = std::min(text.find(',', start), text.size());
        const std::string item = text.substr(start, end - start);
        if(item.empty() || item.size() > 18 || !all_of(item, isdigit) || !in_range(r, std::stoll(item))) {
            return fail(why, "item \"" + item + "\" is not a number from " + range_text(r));
        }
        start = end + 1;
    }
    return v;
}

std::string names_text(const Row& r, bool with_codes) {
    std::string out;
    for(const EnumName& n : r.names) {
        out += (out.empty() ? "" : ", ") + (with_codes ? std::to_string(n.code) + " " : std::string()) + n.name;
    }
    return out;
}

// The path of a row's parameter for one call: the interface is instance 1, a
// table entry the Id it was read with.
std::string path_of(const Row& r, uint32_t id) {
    std::string param = r.param;
    if(size_t at = param.find("{i}"); at != std::string::npos) {
        param.replace(at, 3, std::to_string(id));
    }
    return "Device.MoCA.Interface.1." + param;
}

// Whether a table entry holds something a manager publishes.
bool published(const DumpCall& c, const std::vector<uint64_t>& nodes) {
    auto in_network = [&](uint64_t id) { return std::find(nodes.begin(), nodes.end(), id) != nodes.end(); };
    if(c.function == "retrieve-node-info") {
        return c.flag("Active");
    }
    if(c.function == "retrieve-mesh-info") {
        const uint64_t tx = c.number("TxNodeIndex");
        const uint64_t rx = c.number("RxNodeIndex");
        return tx != rx && in_network(tx) && in_network(rx);
    }
    if(c.function == "retrieve-bridge-info") {
        return !c.text("MACAddresses").empty();
    }
    if(c.function == "retrieve-flow-info") {
        return !c.text("FlowID").empty();
    }
    return true;
}

std::string call_label(const DumpCall& c) {
    return c.id == 0 ? c.function : c.function + " Id=" + std::to_string(c.id);
}

} // namespace

std::string rule(const Row& r) {
    switch(r.conv) {
        case Conv::copy:
            if(!has_range(r)) {
                return "as given";
            }
            return "as given, " + range_text(r);
        case Conv::text: return "as given, at most " + std::to_string(r.max) + " characters";
        case Conv::scale:
            return std::string(r.given_unit) + " to " + r.unit + ": times " + std::to_string(r.factor) + ", at most " +
                   std::to_string(r.max);
        case Conv::negate: return "magnitude below 0 dBm, published negative";
        case Conv::hex: return "hexadecimal number, zero-padded to hexBinary of " + std::to_string(r.bytes) + " bytes";
        case Conv::code_name: return "hexadecimal code to name: " + names_text(r, true);
        case Conv::name: return "one of " + names_text(r, false);
        case Conv::list: return "comma-separated numbers, each " + range_text(r);
        case Conv::secret: return "secured: always the empty string";
        case Conv::extension: return "not published: no parameter in the data model";
    }
    return "";
}

std::optional<json> convert(const Row& r, const json& value, std::string* why) {
    switch(r.conv) {
        case Conv::copy: return copy(r, value, why);
        case Conv::text: return text(r, value, why);
        case Conv::scale: return scale(r, value, why);
        case Conv::negate: return negate(r, value, why);
        case Conv::hex: return hex(r, value, why);
        case Conv::code_name: return code_name(r, value, why);
        case Conv::name: return name(r, value, why);
        case Conv::list: return list(r, value, why);
        case Conv::secret: return json("");
        case Conv::extension: break;
    }
    return fail(why, "not published");
}

std::vector<Published> view(const DumpRun& run, std::FILE* warnings) {
    std::vector<Published> out;
    const std::vector<uint64_t> nodes = run.network_nodes();
    for(const DumpCall& c : run.calls) {
        if(!c.ok()) {
            std::fprintf(warnings, "moca-host: nothing published from %s: rc %d\n", call_label(c).c_str(), c.rc());
            continue;
        }
        if(!published(c, nodes)) {
            continue;
        }
        for(const Row& r : rows()) {
            const json* typed = c.function == r.function ? c.key(r.key) : nullptr;
            if(typed == nullptr || r.conv == Conv::extension) {
                continue;
            }
            const std::string path = path_of(r, c.id);
            std::string why;
            if(auto value = convert(r, (*typed)[1], &why)) {
                out.push_back({path, std::move(*value)});
            } else {
                std::fprintf(warnings, "moca-host: left out %s: %s %s=%s: %s (rule: %s)\n", path.c_str(),
                             call_label(c).c_str(), r.key, to_line((*typed)[1]).c_str(), why.c_str(), rule(r).c_str());
            }
        }
    }
    return out;
}

void print_view(const DumpRun& run, bool as_json, std::FILE* out, std::FILE* warnings) {
    const std::vector<Published> values = view(run, warnings);
    if(as_json) {
        json object = json::object();
        for(const Published& p : values) {
            object[p.path] = p.value;
        }
        std::fprintf(out, "%s\n", object.dump(1).c_str());
        return;
    }
    size_t width = 0;
    for(const Published& p : values) {
        width = std::max(width, p.path.size());
    }
    for(const Published& p : values) {
        const std::string text = p.value.is_string() ? p.value.get<std::string>() : to_line(p.value);
        std::fprintf(out, "%-*s  %s\n", static_cast<int>(width), p.path.c_str(), text.empty() ? "\"\"" : text.c_str());
    }
}

std::string mapping_doc(const json& parameters) {
    std::string doc =
        "# The TR-181 view of an interface\n\n"
        "<!-- Made from the mapping table in host/src/tr181_table.cpp; a test fails when this file differs.\n"
        "     Rewrite it with: MXL_WRITE_TR181_DOC=1 build/bin/host_tr181_tests -->\n\n"
        "`moca-host dump IFNAME --tr181 [--json]` publishes the interface the way a MoCA manager does in\n"
        "the Broadband Forum's TR-181 data model (Device:2.19), under `Device.MoCA.Interface.{i}.`. The\n"
        "interface is instance 1; an entry of a table is numbered by the `Id` it was read with. Only the\n"
        "entries that hold something are published: active nodes, mesh cells between two nodes of the\n"
        "network, listed flows, nodes with bridged addresses, every RLAPM and SAPM entry. A value that\n"
        "cannot be converted (no name for an enumeration code, out of the parameter's range, not\n"
        "hexadecimal) is left out, with one warning line on standard error naming the key, the value and\n"
        "the rule. `KeyPassphrase` is secured: it is always published as the empty string.\n"
        "`is-present` and `is-available` answer a boolean and `create-moca-iface`, `destroy-moca-iface`\n"
        "and `set-cfg-info` report nothing: they have no row.\n\n"
        "## Mapping\n\n"
        "Parameters relative to `Device.MoCA.Interface.{i}.`; the unit is the published value's.\n\n"
        "| Function | Result key | Parameter | Unit | Conversion |\n|---|---|---|---|---|\n";
    std::string extensions;
    std::set<std::string> supplied;
    for(const Row& r : rows()) {
        if(r.conv == Conv::extension) {
            extensions += "| " + std::string(r.function) + " | " + r.key + " | " + r.unit + " |\n";
            continue;
        }
        supplied.insert(r.param);
        doc += "| " + std::string(r.function) + " | " + r.key + " | " + r.param + " | " + r.unit + " | " + rule(r) +
               " |\n";
    }
    doc += "\n## Extensions\n\nResult keys with no parameter in the data model; the view does not publish them.\n\n"
           "| Function | Result key | Unit |\n|---|---|---|\n" +
           extensions;
    std::map<std::string, std::string> missing; // object -> its parameters
    size_t count = 0;
    for(const auto& item : parameters.items()) {
        const std::string param = item.key().substr(std::min(item.key().size(), root.size()));
        if(supplied.count(param) != 0) {
            continue;
        }
        ++count;
        size_t dot = param.rfind('.');
        std::string object = root + (dot == std::string::npos ? "" : param.substr(0, dot + 1));
        std::string& names = missing[object];
        names += (names.empty() ? "" : ", ") + param.substr(dot == std::string::npos ? 0 : dot + 1);
    }
    doc += "\n## Not supplied\n\n" + std::to_string(count) + " of the " + std::to_string(parameters.size()) +
           " parameters of `Device.MoCA.Interface.{i}.` have no result key of the module:\n\n";
    for(const auto& [object, names] : missing) {
        doc += "- `" + object + "`: " + names + "\n";
    }
    return doc;
}

} // namespace host::tr181
