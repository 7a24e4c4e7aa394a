// SPDX-License-Identifier: BSD-2-Clause-Patent
// "call": one function of the module, its result code and result variant.
#include <algorithm>
#include <cstdio>
#include <string>

#include "session.h"

namespace host {

namespace {

std::string scalar_text(const json& value) {
    if(value.is_string()) {
        return to_line(value); // quoted, so that an empty text shows
    }
    if(value.is_null()) {
        return "(null)";
    }
    return to_line(value);
}

// One line per key: name, type, value; tables and lists indented below their key.
void print_typed(const std::string& name, const json& typed, int depth, size_t name_width) {
    const std::string type = typed[0].get<std::string>();
    const json& value = typed[1];
    std::string indent(static_cast<size_t>(depth) * 2, ' ');
    std::string padded = name;
    if(padded.size() < name_width) {
        padded.resize(name_width, ' ');
    }
    if(type == "htable" || type == "list") {
        std::printf("%s%s  %s (%zu)\n", indent.c_str(), padded.c_str(), type.c_str(), value.size());
        size_t width = 0;
        if(type == "htable") {
            for(const auto& [key, child] : value.items()) {
                (void) child;
                width = std::max(width, key.size());
            }
            for(const auto& [key, child] : value.items()) {
                print_typed(key, child, depth + 1, width);
            }
        } else {
            size_t index = 0;
            width = std::to_string(value.size()).size() + 2;
            for(const auto& child : value) {
                print_typed("[" + std::to_string(index++) + "]", child, depth + 1, width);
            }
        }
        return;
    }
    std::printf("%s%s  %-10s  %s\n", indent.c_str(), padded.c_str(), type.c_str(), scalar_text(value).c_str());
}

void print_result(const std::string& function, int rc, const amxc_var_t* ret) {
    std::printf("%s: rc %d\n", function.c_str(), rc);
    json typed = variant_to_typed_json(ret, function);
    const std::string type = typed[0].get<std::string>();
    if(type == "null") {
        std::printf("  (no result)\n");
        return;
    }
    if(type == "htable") {
        size_t width = 0;
        for(const auto& [key, child] : typed[1].items()) {
            (void) child;
            width = std::max(width, key.size());
        }
        for(const auto& [key, child] : typed[1].items()) {
            print_typed(key, child, 1, width);
        }
        return;
    }
    print_typed("result", typed, 1, 0);
}

} // namespace

int run_call(const Options& opt) {
    std::string err;
    {
        // Bad values in KEY:TYPE=VALUE operands are command-line errors.
        Variant check;
        if(!json_to_variant(opt.call_args, check.get(), &err)) {
            std::fprintf(stderr, "moca-host: argument %s\n%s", err.c_str(), usage_text());
            return 2;
        }
    }
    Session session(opt, opt.trace_level >= 0 ? opt.trace_level : 200, true);
    if(!session.start()) {
        return 1;
    }
    if(!session.module().can_call(opt.function, &err)) {
        std::fprintf(stderr, "moca-host: %s\n%s", err.c_str(), usage_text());
        return 2;
    }
    if(opt.create) {
        Variant ret;
        int rc = 0;
        json args = json::object();
        args["InternalName"] = opt.create_ifname;
        if(!session.call("create-moca-iface", args, ret.get(), &rc, &err)) {
            std::fprintf(stderr, "moca-host: %s\n", err.c_str());
            return 1;
        }
        if(rc != 0) {
            std::fprintf(stderr, "moca-host: create-moca-iface for %s failed: rc %d\n", opt.create_ifname.c_str(), rc);
            return 1;
        }
    }

    Variant ret;
    int rc = 0;
    if(!session.call(opt.function, opt.call_args, ret.get(), &rc, &err)) {
        std::fprintf(stderr, "moca-host: %s\n", err.c_str());
        return 1;
    }
    if(opt.json_output) {
        json out = json::object();
        out["function"] = opt.function;
        out["rc"] = rc;
        out["ret"] = variant_to_typed_json(ret.get(), opt.function);
        std::printf("%s\n", to_line(out).c_str());
    } else {
        print_result(opt.function, rc, ret.get());
    }
    return rc == 0 ? 0 : 1;
}

} // namespace host
