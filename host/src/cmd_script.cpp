// SPDX-License-Identifier: BSD-2-Clause-Patent
// "script": one JSON object per input line, one JSON object per output line.
//
//   {"call": F, "args": A, "ret": false, "loop": false} -> {"rc", "ret", "log", "chip", "handles"}
//   {"advance": MS}                                      -> {"log"}
//   {"sim": SCENARIO} / {"sim_patch": PATCH} / {"fault": {...}} -> {"ok": true}
//   {"unload": true} / {"load": true}                    -> {"log"}
// A line that can't be carried out gets {"error": "..."}; the script goes on.
#include <array>
#include <exception>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string_view>

#include <nolotrace.h>

#include "chip.h"
#include "eventloop.h"
#include "session.h"

namespace host {

namespace {

constexpr std::array<std::string_view, 7> commands{"call", "advance", "sim", "sim_patch", "fault", "unload", "load"};

json error_line(const std::string& what) {
    json out = json::object();
    out["error"] = what;
    return out;
}

json malformed_line(const json::exception& e) {
    return error_line(std::string("malformed line: ") + e.what());
}

json log_line(TraceCapture& trace) {
    json out = json::object();
    out["log"] = trace_lines_to_json(trace.take());
    return out;
}

bool only_keys(const json& line, std::initializer_list<std::string_view> allowed, std::string* err) {
    for(const auto& [key, value] : line.items()) {
        (void) value;
        bool ok = false;
        for(auto a : allowed) {
            ok = ok || key == a;
        }
        if(!ok) {
            *err = "unexpected key '" + key + "'";
            return false;
        }
    }
    return true;
}

class ScriptRunner {
public:
    explicit ScriptRunner(Session& session) : session_(session) {}

    json run_line(const json& line);

private:
    json do_call(const json& line);
    json do_advance(const json& line);
    json do_sim(const json& line, const std::string& command);
    json do_fault(const json& line);
    json do_module(const json& line, bool load);

    Session& session_;
};

json ScriptRunner::run_line(const json& line) {
    if(!line.is_object()) {
        return error_line("a script line must be a JSON object");
    }
    std::string command;
    for(auto c : commands) {
        if(line.contains(std::string(c))) {
            if(!command.empty()) {
                return error_line("one command per line: both '" + command + "' and '" + std::string(c) + "'");
            }
            command = std::string(c);
        }
    }
    if(command.empty()) {
        return error_line("no command: expected one of call, advance, sim, sim_patch, fault, unload, load");
    }
    if(command == "call") {
        return do_call(line);
    }
    if(command == "advance") {
        return do_advance(line);
    }
    if(command == "fault") {
        return do_fault(line);
    }
    if(command == "unload" || command == "load") {
        return do_module(line, command == "load");
    }
    return do_sim(line, command);
}

json ScriptRunner::do_call(const json& line) {
    std::string err;
    if(!only_keys(line, {"call", "args", "ret", "loop"}, &err)) {
        return error_line(err);
    }
    const json& function = line["call"];
    if(!function.is_string()) {
        return error_line("'call' must name a function");
    }
    bool with_ret = true;
    bool with_loop = true;
    if(line.contains("ret")) {
        if(!line["ret"].is_boolean()) {
            return error_line("'ret' must be true or false");
        }
        with_ret = line["ret"].get<bool>();
    }
    if(line.contains("loop")) {
        if(!line["loop"].is_boolean()) {
            return error_line("'loop' must be true or false");
        }
        with_loop = line["loop"].get<bool>();
    }
    const std::string name = function.get<std::string>();
    if(!session_.module().can_call(name, &err)) {
        return error_line(err);
    }

    Variant args;
    Variant ret;
    if(line.contains("args") && !json_to_variant(line["args"], args.get(), &err)) {
        return error_line("args " + err);
    }
    amxc_var_t* args_ptr = line.contains("args") ? args.get() : nullptr;
    amxc_var_t* ret_ptr = with_ret ? ret.get() : nullptr;

    json out = session_.traced_call(name, args_ptr, ret_ptr, with_loop, &err);
    return out.is_null() ? error_line(err) : out;
}

json ScriptRunner::do_advance(const json& line) {
    std::string err;
    if(!only_keys(line, {"advance"}, &err)) {
        return error_line(err);
    }
    const json& ms = line["advance"];
    if(!ms.is_number_unsigned() && !(ms.is_number_integer() && ms.get<int64_t>() >= 0)) {
        return error_line("'advance' takes a number of milliseconds (a non-negative integer)");
    }
    session_.trace().clear();
    advance_virtual_clock(ms.get<uint64_t>());
    return log_line(session_.trace());
}

json ScriptRunner::do_sim(const json& line, const std::string& command) {
    std::string err;
    if(!only_keys(line, {command}, &err)) {
        return error_line(err);
    }
    const json& value = line[command];
    bool ok = false;
    if(command == "sim") {
        if(value.is_string()) {
            ok = chip::load_scenario_file(value.get<std::string>(), &err);
        } else if(value.is_object()) {
            ok = chip::load_scenario(value, &err);
        } else {
            return error_line("'sim' takes a scenario object (or the path of a scenario file)");
        }
    } else {
        if(!value.is_object()) {
            return error_line("'sim_patch' takes a merge patch object");
        }
        ok = chip::patch_state(value, &err);
    }
    if(!ok) {
        return error_line(err);
    }
    return json{{"ok", true}};
}

json ScriptRunner::do_fault(const json& line) {
    std::string err;
    if(!only_keys(line, {"fault"}, &err)) {
        return error_line(err);
    }
    if(!line["fault"].is_object()) {
        return error_line("'fault' takes an object {\"op\", \"skip\", \"times\", \"rc\", ...}");
    }
    if(!chip::arm_fault(line["fault"], &err)) {
        return error_line(err);
    }
    return json{{"ok", true}};
}

json ScriptRunner::do_module(const json& line, bool load) {
    const std::string command = load ? "load" : "unload";
    std::string err;
    if(!only_keys(line, {command}, &err)) {
        return error_line(err);
    }
    if(line[command] != true) {
        return error_line("'" + command + "' must be true");
    }
    session_.trace().clear();
    bool ok = load ? session_.module().open(&err) : session_.module().close(&err);
    if(!ok) {
        session_.trace().clear();
        return error_line(err);
    }
    return log_line(session_.trace());
}

bool blank(const std::string& text) {
    return text.find_first_not_of(" \t\r\n\f\v") == std::string::npos;
}

} // namespace

json answer_script_line(Session& session, const json& line) {
    try {
        return ScriptRunner(session).run_line(line);
    } catch(const json::exception& e) {
        return malformed_line(e);
    } catch(const std::exception& e) {
        return error_line(e.what());
    }
}

std::string run_script_line(Session& session, const std::string& text) {
    if(blank(text)) {
        return std::string();
    }
    json line;
    try {
        line = json::parse(text);
    } catch(const json::exception& e) {
        return to_line(malformed_line(e));
    }
    return to_line(answer_script_line(session, line));
}

int run_script(const Options& opt) {
    std::ifstream file;
    std::istream* in = &std::cin;
    if(!opt.script_path.empty()) {
        file.open(opt.script_path);
        if(!file) {
            std::fprintf(stderr, "moca-host: cannot open script %s\n", opt.script_path.c_str());
            return 1;
        }
        in = &file;
    }

    use_virtual_clock(true);
    Session session(opt, TRACE_LEVEL_DEBUG, false);
    if(!session.start()) {
        return 1;
    }
    std::string text;
    while(std::getline(*in, text)) {
        std::string out = run_script_line(session, text);
        if(out.empty()) {
            continue;
        }
        std::fwrite(out.data(), 1, out.size(), stdout);
        std::fputc('\n', stdout);
        std::fflush(stdout);
    }
    return 0;
}

} // namespace host
