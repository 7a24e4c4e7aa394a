// SPDX-License-Identifier: BSD-2-Clause-Patent
// What every command sets up: the trace capture, the simulated chip and the module.
#pragma once

#include <string>

#include "cli.h"
#include "module.h"
#include "tracelog.h"
#include "varjson.h"

namespace host {

class Session {
public:
    // Captures trace lines up to trace_level; echo writes them to standard error as they come.
    Session(const Options& opt, int trace_level, bool echo);

    // Loads the scenario given with --sim, then the module. Reports on standard error.
    bool start();

    Module& module() { return module_; }
    TraceCapture& trace() { return trace_; }

    // A call with an argument table built from JSON (argument form) into ret,
    // followed by one event-loop pass. Returns false when the function is missing.
    bool call(const std::string& function, const json& args, amxc_var_t* ret, int* rc, std::string* err);

    // One call as a script line reports it: {"rc", "ret", "log", "chip", "handles"},
    // with the trace lines and chip calls made by this call alone. args or ret may
    // be NULL; loop runs one event-loop pass after the call. Returns null JSON
    // (and sets *err) when the module is not loaded or lacks the function.
    // elapsed_ms, when given, receives the time of the module call alone.
    json traced_call(const std::string& function, amxc_var_t* args, amxc_var_t* ret, bool loop, std::string* err,
                     double* elapsed_ms = nullptr);

private:
    const Options& opt_;
    TraceCapture trace_;
    Module module_;
};

std::string default_module_path();

int run_call(const Options& opt);
int run_dump(const Options& opt);
int run_script(const Options& opt);
int run_health(const Options& opt);
int run_report(const Options& opt);
int run_check(const Options& opt);
// The answer to one script line (without the newline); empty for a blank line.
std::string run_script_line(Session& session, const std::string& text);
// The answer to one script line that is already parsed.
json answer_script_line(Session& session, const json& line);

} // namespace host
