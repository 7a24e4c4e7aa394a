// SPDX-License-Identifier: BSD-2-Clause-Patent
// Writes the MoCA data model's definition (ODL) from the schema of the module's
// answers and the TR-181 definitions: every parameter the schema publishes, in
// the data model's order, with its type, range, size, enumeration and access,
// each table with its NumberOfEntries counter, and the interface's Name.
//   gen_odl TR181_JSON OUT_ODL
// Runs at build time only.
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "moca_schema.h"

using json = nlohmann::ordered_json; // keeps the data model's order

namespace {

const std::string root = "Device.MoCA.Interface.{i}.";

// The objects under an interface, in the order they are written; a table's
// counter lives in the object above it.
struct Object {
    std::string path; // relative to the interface, "" for the interface itself
    std::string name; // last name of the path
    bool table;
    std::vector<std::string> lines; // its parameters
};

std::string odl_type(const json& def) {
    const std::string t = def["type"];
    if(def.value("list", false)) {
        return "csv_string";
    }
    if(t == "unsignedInt") {
        return "uint32";
    }
    if(t == "unsignedLong") {
        return "uint64";
    }
    if(t == "int") {
        return "int32";
    }
    if(t == "boolean") {
        return "bool";
    }
    return "string"; // string, hexBinary
}

std::string odl_text(const std::string& s) {
    std::string out = "\"";
    for(char c : s) {
        if(c == '"' || c == '\\') {
            out += '\\';
        }
        out += c;
    }
    return out + "\"";
}

// The validation actions of a parameter: what the runtime refuses before
// anything reaches the plugin. A writable text's size and pattern are checked
// by the plugin (moca_check_text), which lets the definition's empty default
// through; read-only parameters keep the checks the plugin's own values pass.
std::vector<std::string> checks(const json& def) {
    std::vector<std::string> out;
    const bool list = def.value("list", false);
    const bool hex = def["type"] == "hexBinary";
    const bool writable = def["access"] == "readWrite";
    if(def.contains("range") && !list && def["range"].size() == 1) {
        const json& r = def["range"][0];
        if(r.contains("minInclusive") && r.contains("maxInclusive")) {
            out.push_back("check_range [" + r["minInclusive"].dump() + ", " + r["maxInclusive"].dump() + "]");
        } else if(r.contains("minInclusive")) {
            out.push_back("check_minimum " + r["minInclusive"].dump());
        } else if(r.contains("maxInclusive")) {
            out.push_back("check_maximum " + r["maxInclusive"].dump());
        }
    }
    const int scale = hex ? 2 : 1; // hexBinary sizes count bytes
    const json size = def.contains("size") && !list ? def["size"][0] : json::object();
    if(writable && (def["type"] == "string" || hex)) {
        std::string pattern = hex ? "([0-9A-Fa-f][0-9A-Fa-f])*" : "";
        if(!hex && def.contains("pattern") && def["pattern"].size() == 1) {
            pattern = def["pattern"][0];
        }
        out.push_back("moca_check_text { min = " + std::to_string(scale * size.value("minLength", 0)) +
                      ", max = " + std::to_string(scale * size.value("maxLength", 65535)) +
                      ", pattern = " + odl_text(pattern) + " }");
    } else if(size.contains("maxLength")) {
        out.push_back("check_maximum_length " + std::to_string(scale * size["maxLength"].get<int>()));
    }
    if(def.contains("enum") && !list) {
        std::string names;
        for(const auto& n : def["enum"]) {
            names += (names.empty() ? "" : ", ") + odl_text(n);
        }
        out.push_back("check_enum [" + names + "]");
    }
    return out;
}

// The value before the first read: one the checks accept.
std::string default_value(const json& def) {
    if(!def.contains("enum")) {
        return "";
    }
    const json& names = def["enum"];
    std::string pick = names[0];
    for(const auto& n : names) {
        if(n == "Unknown" || (def.contains("default") && n == def["default"])) {
            pick = n;
        }
    }
    return " = " + odl_text(pick);
}

} // namespace

int main(int argc, char** argv) {
    if(argc != 3) {
        std::fprintf(stderr, "usage: gen_odl TR181_JSON OUT_ODL\n");
        return 2;
    }
    std::ifstream in(argv[1]);
    const json definitions = json::parse(in);
    const json& params = definitions["parameters"];

    std::vector<Object> objects;
    std::map<std::string, size_t> index;
    auto object = [&](const std::string& path) -> Object& {
        auto it = index.find(path);
        if(it == index.end()) {
            std::string trimmed = path.substr(0, path.size() - (path.size() >= 5 && path.ends_with(".{i}.") ? 5 : 1));
            const bool table = path.ends_with(".{i}.");
            std::string name = trimmed.substr(trimmed.rfind('.') == std::string::npos ? 0 : trimmed.rfind('.') + 1);
            index[path] = objects.size();
            objects.push_back({path, name, table, {}});
            return objects.back();
        }
        return objects[it->second];
    };
    object("").lines.push_back("%read-only string Name {\n    on action validate call check_maximum_length 64;\n}");

    for(const auto& item : params.items()) {
        const std::string rel = item.key().substr(root.size());
        const moca_schema_key_t* key = moca_schema_param(rel.c_str(), nullptr);
        if(key == nullptr || key->conv == MOCA_CONV_NONE || key->conv == MOCA_CONV_WITHHELD) {
            continue;
        }
        const size_t dot = rel.rfind('.');
        const std::string path = dot == std::string::npos ? "" : rel.substr(0, dot + 1);
        const std::string name = rel.substr(dot == std::string::npos ? 0 : dot + 1);
        // A table's counter is the runtime's own, kept with the instances.
        if(name.ends_with("NumberOfEntries")) {
            continue;
        }
        const json& def = item.value();
        const bool writable = def["access"] == "readWrite";
        std::string line = std::string(writable ? "" : "%read-only ") + odl_type(def) + " " + name + default_value(def);
        std::vector<std::string> actions = checks(def);
        if(writable) {
            actions.push_back("moca_write_setting");
        }
        if(actions.empty()) {
            line += ";";
        } else {
            line += " {";
            for(const std::string& a : actions) {
                const bool write = a == "moca_write_setting";
                line += "\n    on action " + std::string(write ? "write" : "validate") + " call " + a + ";";
            }
            line += "\n}";
        }
        object(path).lines.push_back(line);
    }

    // The tree: children under parents, in the order first seen.
    std::string body;
    std::function<void(const std::string&, int)> emit = [&](const std::string& parent, int depth) {
        const std::string pad(4 * depth, ' ');
        for(const Object& o : objects) {
            if(o.path.empty() || o.path == parent) {
                continue;
            }
            // direct child: the parent's path plus one name (and "{i}." for a table)
            if(!o.path.starts_with(parent) || o.path.substr(parent.size()) != o.name + (o.table ? ".{i}." : ".")) {
                continue;
            }
            body += pad + "%read-only object " + o.name + (o.table ? "[] {\n" : " {\n");
            if(o.table) {
                body += pad + "    counted with " + o.name + "NumberOfEntries;\n";
            }
            body += pad + "    on action write call moca_write_object;\n";
            for(const std::string& l : o.lines) {
                std::string indented = pad + "    ";
                for(char c : l) {
                    indented += c;
                    if(c == '\n') {
                        indented += pad + "    ";
                    }
                }
                body += indented + "\n";
            }
            emit(o.path, depth + 1);
            body += pad + "}\n";
        }
    };
    // Objects whose parent holds no parameter (QoS.FlowStats under QoS) need it anyway.
    for(size_t i = 0; i < objects.size(); ++i) {
        const std::string p = objects[i].path;
        const size_t cut = p.rfind('.', p.size() - (objects[i].table ? 6 : 2));
        if(!p.empty() && cut != std::string::npos) {
            object(p.substr(0, cut + 1));
        }
    }
    std::string iface;
    for(const std::string& l : objects[index[""]].lines) {
        std::string indented = "            ";
        for(char c : l) {
            indented += c;
            if(c == '\n') {
                indented += "            ";
            }
        }
        iface += indented + "\n";
    }
    emit("", 3);

    std::ofstream out(argv[2]);
    out << "// The MoCA data model, Device.MoCA. of TR-181 (published as MoCA.): the parameters\n"
           "// the control module supplies. Written by gen_odl from the schema of the module's\n"
           "// answers and the TR-181 definitions; do not edit.\n"
           "%define {\n"
           "    %read-only object MoCA {\n"
           "        %read-only object Interface[] {\n"
           "            counted with InterfaceNumberOfEntries;\n"
           "            on action write call moca_write_object;\n"
        << iface << body
        << "        }\n"
           "    }\n"
           "}\n";
    return out ? 0 : 1;
}
