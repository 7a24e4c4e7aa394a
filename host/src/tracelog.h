// SPDX-License-Identifier: BSD-2-Clause-Patent
// Capture of trace lines and reading the module's line frame back.
//
// The module frames each message as
//     ZONE(7, blank padded) " - " "[" MARK "]" MESSAGE " - " "(" FUNC "@" FILE ":" LINE ")"
// (colour strings empty), e.g. "korvane - [n]Module loaded - (mxl_module_start@mxl_module.cpp:40)".
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace host {

using json = nlohmann::ordered_json;

struct TraceLine {
    int level = 0;
    std::string zone;
    std::string mark;
    std::string msg;
    std::string func;
    std::string line; // the whole line as traced
};

// Splits a traced line into its frame parts. A line that does not carry the
// frame keeps its whole text as the message, the zone it was traced with
// (empty for none), the mark of its level and an empty function.
TraceLine parse_trace_line(int level, const char* zone, std::string_view line);

// {"level", "mark", "zone", "msg", "func", "line"} in that order.
json trace_line_to_json(const TraceLine& line);
json trace_lines_to_json(const std::vector<TraceLine>& lines);

// The one-letter mark of a trace level ("x" error ... "d" debug), "" if none.
const char* mark_for_level(int level);

// Routes every trace line up to a level into this object while it lives;
// restores standard error output afterwards. One instance at a time.
class TraceCapture {
public:
    explicit TraceCapture(int level);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    // Lines captured since the last take (or construction), in order.
    std::vector<TraceLine> take();
    void clear() { lines_.clear(); }

    // Also write each line to standard error as it comes.
    void set_echo(bool echo) { echo_ = echo; }

private:
    static void sink(int level, const char* zone, const char* line, void* priv);
    std::vector<TraceLine> lines_;
    int old_level_;
    bool echo_ = false;
};

} // namespace host
