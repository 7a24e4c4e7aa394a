// SPDX-License-Identifier: BSD-2-Clause-Patent
// Command line of moca-host: options, the command and its operands.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace host {

using json = nlohmann::ordered_json;

enum class Command { none, help, call, dump, script, health, report, check };

struct Options {
    Command command = Command::none;
    std::string module_path;   // empty: the default module built beside the host
    std::string sim_path;      // empty: no scenario loaded
    std::string create_ifname; // call only: create this record first
    bool create = false;
    bool json_output = false;
    bool show_secrets = false;       // dump, health, report: print the pass phrase as it is
    bool tr181 = false;              // dump: the parameters a manager publishes, in TR-181 form
    int trace_level = -1;            // -1: keep the default (errors and warnings)
    std::string function;            // call
    json call_args = json::object(); // call: KEY=VALUE pairs in script argument form
    bool write = false;              // check --write: also write each setting's current value
    std::string ifname;              // dump, health, report, check
    std::string output_path;         // report: -o FILE; empty: standard output
    std::string script_path;         // script; empty: standard input
};

// Parses argv[1..]. On a bad command line returns nullopt and sets *err to
// a one-line reason (the caller prints it with the usage text).
std::optional<Options> parse_command_line(const std::vector<std::string>& args, std::string* err);

// The exit status for a bad command line: 3 when it names health, report or check,
// whose statuses 0-2 grade what they judged, 2 for the other commands.
int usage_error_status(const std::vector<std::string>& args);

// One KEY=VALUE (or KEY:TYPE=VALUE) operand of "call", as the JSON form that
// script arguments use: plain JSON for the implicit types, {"$type", "$value"}
// for an explicit one. Returns false and sets *err when the operand is malformed.
bool parse_key_value(const std::string& operand, std::string* key, json* value, std::string* err);

const char* usage_text();

} // namespace host
