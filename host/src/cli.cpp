// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "cli.h"

#include <cstdlib>

#include "varjson.h"

namespace host {

namespace {

bool take_value(const std::vector<std::string>& args, size_t* i, const std::string& name,
                const std::string& inline_value, bool has_inline, std::string* value, std::string* err) {
    if(has_inline) {
        *value = inline_value;
        return true;
    }
    if(*i + 1 >= args.size()) {
        *err = "option " + name + " needs a value";
        return false;
    }
    *value = args[++*i];
    return true;
}

} // namespace

bool parse_key_value(const std::string& operand, std::string* key, json* value, std::string* err) {
    size_t eq = operand.find('=');
    if(eq == std::string::npos) {
        *err = "argument '" + operand + "' is not KEY=VALUE";
        return false;
    }
    std::string left = operand.substr(0, eq);
    std::string text = operand.substr(eq + 1);
    size_t colon = left.rfind(':');
    if(colon != std::string::npos) {
        std::string type = left.substr(colon + 1);
        if(!is_variant_type_label(type) || type == "htable" || type == "list") {
            *err = "argument '" + operand + "': unknown type '" + type + "'";
            return false;
        }
        *key = left.substr(0, colon);
        if(type == "null") {
            *value = json{{"$type", "null"}};
        } else {
            *value = json{{"$type", type}, {"$value", text}};
        }
    } else {
        *key = left;
        json number;
        if(text == "true" || text == "false") {
            *value = (text == "true");
        } else if(parse_integer_text(text, &number)) {
            *value = number;
        } else {
            *value = text;
        }
    }
    if(key->empty()) {
        *err = "argument '" + operand + "' has an empty key";
        return false;
    }
    return true;
}

namespace {

// The options and operands of a command line. A bad option is remembered (the
// first one) and the scan goes on, so that the command word is known anyway.
struct Scan {
    Options opt;
    std::vector<std::string> operands;
    bool json_flag = false;
    bool write_flag = false;
    bool help = false;
    std::string err;
};

Scan scan(const std::vector<std::string>& args) {
    Scan sc;
    Options& opt = sc.opt;
    bool options_done = false;
    for(size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if(options_done || arg.size() < 2 || arg[0] != '-') {
            sc.operands.push_back(arg);
            continue;
        }
        if(arg == "--") {
            options_done = true;
            continue;
        }
        if(arg == "-h" || arg == "--help") {
            sc.help = true;
            return sc;
        }
        std::string name = arg;
        std::string inline_value;
        bool has_inline = false;
        size_t eq = arg.find('=');
        if(arg.rfind("--", 0) == 0 && eq != std::string::npos) {
            name = arg.substr(0, eq);
            inline_value = arg.substr(eq + 1);
            has_inline = true;
        }
        std::string err;
        std::string value;
        if(name == "--json" && !has_inline) {
            sc.json_flag = true;
        } else if(name == "--show-secrets" && !has_inline) {
            opt.show_secrets = true;
        } else if(name == "--tr181" && !has_inline) {
            opt.tr181 = true;
        } else if(name == "--write" && !has_inline) {
            sc.write_flag = true;
        } else if(name == "--module") {
            take_value(args, &i, name, inline_value, has_inline, &opt.module_path, &err);
        } else if(name == "--sim") {
            take_value(args, &i, name, inline_value, has_inline, &opt.sim_path, &err);
        } else if(name == "-o" || name == "--output") {
            take_value(args, &i, name, inline_value, has_inline, &opt.output_path, &err);
        } else if(name == "--create") {
            take_value(args, &i, name, inline_value, has_inline, &opt.create_ifname, &err);
            opt.create = true;
        } else if(name == "--trace") {
            if(take_value(args, &i, name, inline_value, has_inline, &value, &err)) {
                char* end = nullptr;
                long level = std::strtol(value.c_str(), &end, 10);
                if(value.empty() || *end != '\0' || level < 0 || level > 1000) {
                    err = "--trace needs a level from 0 to 1000";
                }
                opt.trace_level = static_cast<int>(level);
            }
        } else {
            err = "unknown option " + arg;
        }
        if(sc.err.empty()) {
            sc.err = err;
        }
    }
    return sc;
}

} // namespace

int usage_error_status(const std::vector<std::string>& args) {
    Scan sc = scan(args);
    bool grading =
        !sc.operands.empty() && (sc.operands[0] == "health" || sc.operands[0] == "report" || sc.operands[0] == "check");
    return grading ? 3 : 2;
}

std::optional<Options> parse_command_line(const std::vector<std::string>& args, std::string* err) {
    Scan sc = scan(args);
    Options& opt = sc.opt;
    if(sc.help) {
        opt.command = Command::help;
        return opt;
    }
    if(!sc.err.empty()) {
        *err = sc.err;
        return std::nullopt;
    }
    const std::vector<std::string>& operands = sc.operands;

    if(operands.empty()) {
        *err = "no command given";
        return std::nullopt;
    }
    const std::string& command = operands[0];
    if(command == "call") {
        if(operands.size() < 2) {
            *err = "call needs a FUNCTION";
            return std::nullopt;
        }
        opt.command = Command::call;
        opt.function = operands[1];
        for(size_t i = 2; i < operands.size(); ++i) {
            std::string key;
            json value;
            if(!parse_key_value(operands[i], &key, &value, err)) {
                return std::nullopt;
            }
            if(opt.call_args.contains(key)) {
                *err = "argument '" + key + "' given twice";
                return std::nullopt;
            }
            opt.call_args[key] = value;
        }
    } else if(command == "dump") {
        if(operands.size() != 2) {
            *err = "dump needs exactly one IFNAME";
            return std::nullopt;
        }
        opt.command = Command::dump;
        opt.ifname = operands[1];
    } else if(command == "health" || command == "report" || command == "check") {
        if(operands.size() != 2) {
            *err = command + " needs exactly one IFNAME";
            return std::nullopt;
        }
        opt.command = command == "health" ? Command::health : command == "report" ? Command::report : Command::check;
        opt.ifname = operands[1];
    } else if(command == "script") {
        if(operands.size() > 2) {
            *err = "script takes at most one FILE";
            return std::nullopt;
        }
        opt.command = Command::script;
        if(operands.size() == 2 && operands[1] != "-") {
            opt.script_path = operands[1];
        }
    } else {
        *err = "unknown command '" + command + "'";
        return std::nullopt;
    }
    if(opt.create && opt.command != Command::call) {
        *err = "--create goes with call only";
        return std::nullopt;
    }
    // A script's lines carry their own results and logs: the output options have no part there.
    if(opt.command == Command::script && (sc.json_flag || opt.trace_level >= 0)) {
        *err = "script takes neither --json nor --trace: its result lines are JSON and keep every trace line";
        return std::nullopt;
    }
    if(opt.create && opt.create_ifname.empty()) {
        *err = "--create needs an interface name";
        return std::nullopt;
    }
    if(!opt.output_path.empty() && opt.command != Command::report) {
        *err = "-o goes with report only";
        return std::nullopt;
    }
    if(sc.json_flag && opt.command == Command::report) {
        *err = "report writes HTML; --json goes with call, dump and health";
        return std::nullopt;
    }
    if(opt.show_secrets && opt.command != Command::dump && opt.command != Command::health &&
       opt.command != Command::report) {
        *err = "--show-secrets goes with dump, health and report";
        return std::nullopt;
    }
    if(opt.tr181 && opt.command != Command::dump) {
        *err = "--tr181 goes with dump only";
        return std::nullopt;
    }
    if(sc.write_flag && opt.command != Command::check) {
        *err = "--write goes with check only";
        return std::nullopt;
    }
    opt.write = sc.write_flag;
    opt.json_output = sc.json_flag;
    return opt;
}

const char* usage_text() {
    return "usage: moca-host [OPTIONS] call FUNCTION [KEY=VALUE ...]\n"
           "       moca-host [OPTIONS] dump IFNAME [--tr181]\n"
           "       moca-host [OPTIONS] script [FILE]\n"
           "       moca-host [OPTIONS] health IFNAME\n"
           "       moca-host [OPTIONS] report IFNAME [-o FILE.html]\n"
           "       moca-host [OPTIONS] check IFNAME [--write]\n"
           "\n"
           "Loads the MoCA control module through libamxm and talks to it the way a\n"
           "data-model host does.\n"
           "\n"
           "commands:\n"
           "  call FUNCTION [KEY=VALUE ...]\n"
           "        one call of FUNCTION of module \"moca-ctrl\"; prints the result code and\n"
           "        the result variant. The exit status is 0 exactly when the code is 0.\n"
           "        KEY=VALUE pairs make the argument table: true/false give a bool,\n"
           "        decimal or 0x integers a uint32 (uint64 when larger, int32/int64 when\n"
           "        negative), anything else a cstring. KEY:TYPE=VALUE gives an explicit\n"
           "        type: cstring, csv_string, ssv_string, bool, int8, int16, int32, int64,\n"
           "        uint8, uint16, uint32, uint64, double, null. Text made of digits (a\n"
           "        pass phrase, a mask) needs it: KeyPassphrase:cstring=99999999988888888.\n"
           "  dump IFNAME\n"
           "        creates the interface, reads every report, walks every table and\n"
           "        destroys the interface again; prints data-model paths and values,\n"
           "        failed calls inline (\"!\" lines), and per function the calls, failures\n"
           "        and chip calls. --json: every call as its script line (call, args)\n"
           "        with the script's result (rc, ret, log, chip, handles).\n"
           "        The exit status is 0 exactly when every call returned 0.\n"
           "        --tr181: the interface as a MoCA manager publishes it, as TR-181\n"
           "        Device.MoCA.Interface.1. paths and values (docs/tr181.md); a value that\n"
           "        cannot be converted is left out with a warning on standard error.\n"
           "        With --json: one flat JSON object of path to value.\n"
           "  health IFNAME\n"
           "        reads the interface as dump does and judges it: weak, missing and\n"
           "        lopsided links, nodes holding the network to an old MoCA version,\n"
           "        error ratios, link losses and resets, receive levels and SNR,\n"
           "        sleeping nodes, flows whose lease runs out or that their link cannot\n"
           "        carry. One finding per line with its severity (ok, warning, problem)\n"
           "        and numbers; --json: the findings as one JSON document.\n"
           "        The exit status is the worst severity: 0 ok, 1 warning, 2 problem;\n"
           "        3 when the network could not be judged (bad command line, no module).\n"
           "  report IFNAME [-o FILE.html]\n"
           "        the same findings, the node table and the mesh as a heat map in one\n"
           "        self-contained HTML page (standard output without -o). Exit status\n"
           "        as for health.\n"
           "  check IFNAME [--write]\n"
           "        bring-up check: drives every function as the manager does (reports,\n"
           "        statistics twice a second apart, every table cold and warm) and judges\n"
           "        whether module, chip library and chip agree: result codes and keys,\n"
           "        cross-report consistency, counters, PHY rates, the cache contract and\n"
           "        time per function (docs/integration.md). One line per check: PASS,\n"
           "        WARN, FAIL (or SKIP). --write also writes each setting's current value,\n"
           "        which must make no chip write. --json: one JSON document.\n"
           "        The exit status is the worst: 0 pass, 1 warn, 2 fail; 3 when nothing\n"
           "        could be checked (bad command line, no module).\n"
           "  script [FILE]\n"
           "        runs a JSON-lines script (standard input without FILE) on a virtual\n"
           "        clock; one JSON result line per input line.\n"
#ifdef MOCA_HOST_BOARD
           "        Not in this build for a board: it needs the simulator, as --sim does.\n"
#endif
           "\n"
           "options:\n"
           "  --module PATH      the module to load (default: the one built with the host)\n"
           "  --sim SCENARIO     load a simulator scenario (JSON file) before anything else\n"
           "  --create IFNAME    call: create the interface record first\n"
           "  -o, --output FILE  report: write the page to FILE\n"
           "  --json             call, dump, health, check: print JSON instead of text\n"
           "  --write            check: also write each setting's current value\n"
           "  --tr181            dump: TR-181 paths and values, as a manager publishes them\n"
           "  --trace LEVEL      call, dump, health, report: trace lines up to LEVEL go to\n"
           "                     standard error\n"
           "                     (call: default 200, errors and warnings; the others:\n"
           "                     kept with each call, up to 200 unless LEVEL is given)\n"
           "  --show-secrets     dump, health, report: print the pass phrase; without it they\n"
           "                     show only that one is set and its length\n"
           "  -h, --help         this text\n";
}

} // namespace host
