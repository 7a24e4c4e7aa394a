// SPDX-License-Identifier: BSD-2-Clause-Patent
#include "tracelog.h"

#include <cstdio>

#ifdef MOCA_HOST_BOARD
#include <dlfcn.h>
#endif

#include <nolotrace.h>

namespace host {

namespace {

// The trace facility's level and sink controls. Our trace library has them; a
// board's is only known to offer noloTrace and noloTraceZ, so the board build
// looks them up at run time and goes on without what is missing.
using sink_fn = void (*)(int level, const char* zone, const char* line, void* priv);
struct TraceControls {
    int (*get_level)();
    void (*set_level)(int);
    void (*set_sink)(sink_fn, void*);
};

#ifdef MOCA_HOST_BOARD
template <typename F>
F look_up(const char* name) {
    return reinterpret_cast<F>(dlsym(RTLD_DEFAULT, name));
}

const TraceControls& trace_controls() {
    static const TraceControls controls = [] {
        TraceControls c{look_up<int (*)()>("noloTraceGetLevel"), look_up<void (*)(int)>("noloTraceSetLevel"),
                        look_up<void (*)(sink_fn, void*)>("noloTraceSetSink")};
        if(c.set_sink == nullptr || c.set_level == nullptr || c.get_level == nullptr) {
            // Said once, on standard error and in the board's own trace output.
            const char* what = "the trace library offers no noloTraceSetSink, noloTraceSetLevel or noloTraceGetLevel: "
                               "the module's log lines cannot be captured, they go where the trace library sends them";
            std::fprintf(stderr, "moca-host: %s\n", what);
            noloTrace(TRACE_LEVEL_WARNING, "moca-host: %s", what);
        }
        return c;
    }();
    return controls;
}
#else
const TraceControls& trace_controls() {
    static const TraceControls controls{noloTraceGetLevel, noloTraceSetLevel, noloTraceSetSink};
    return controls;
}
#endif

constexpr size_t zone_width = 7;
constexpr std::string_view head_separator = " - [";
constexpr std::string_view tail_separator = " - (";

std::string_view trim_right(std::string_view text) {
    while(!text.empty() && text.back() == ' ') {
        text.remove_suffix(1);
    }
    return text;
}

// Reads "MESSAGE - (FUNC@FILE:LINE)" from the end, so that a message may itself
// contain " - " or parentheses.
bool split_tail(std::string_view rest, std::string_view* msg, std::string_view* func) {
    if(rest.empty() || rest.back() != ')') {
        return false;
    }
    size_t sep = rest.rfind(tail_separator);
    if(sep == std::string_view::npos) {
        return false;
    }
    std::string_view where = rest.substr(sep + tail_separator.size());
    where.remove_suffix(1); // the closing parenthesis
    size_t at = where.find('@');
    size_t colon = where.rfind(':');
    if(at == std::string_view::npos || colon == std::string_view::npos || colon < at) {
        return false;
    }
    *msg = rest.substr(0, sep);
    *func = where.substr(0, at);
    return true;
}

} // namespace

const char* mark_for_level(int level) {
    switch(level) {
        case TRACE_LEVEL_ERROR: return "x";
        case TRACE_LEVEL_WARNING: return "!";
        case TRACE_LEVEL_NOTICE: return "n";
        case TRACE_LEVEL_APP_INFO: return "I";
        case TRACE_LEVEL_INFO: return "i";
        case TRACE_LEVEL_DEBUG: return "d";
        default: return "";
    }
}

TraceLine parse_trace_line(int level, const char* zone, std::string_view line) {
    TraceLine out;
    out.level = level;
    out.line = std::string(line);

    // ZONE(7) " - [" MARK "]" REST
    if(line.size() > zone_width + head_separator.size() &&
       line.substr(zone_width, head_separator.size()) == head_separator) {
        std::string_view after = line.substr(zone_width + head_separator.size());
        size_t close = after.find(']');
        std::string_view msg;
        std::string_view func;
        if(close != std::string_view::npos && split_tail(after.substr(close + 1), &msg, &func)) {
            out.zone = std::string(trim_right(line.substr(0, zone_width)));
            out.mark = std::string(after.substr(0, close));
            out.msg = std::string(msg);
            out.func = std::string(func);
            return out;
        }
    }
    out.zone = zone != nullptr ? zone : "";
    out.mark = mark_for_level(level);
    out.msg = std::string(line);
    return out;
}

json trace_line_to_json(const TraceLine& line) {
    json out = json::object();
    out["level"] = line.level;
    out["mark"] = line.mark;
    out["zone"] = line.zone;
    out["msg"] = line.msg;
    out["func"] = line.func;
    out["line"] = line.line;
    return out;
}

json trace_lines_to_json(const std::vector<TraceLine>& lines) {
    json out = json::array();
    for(const auto& line : lines) {
        out.push_back(trace_line_to_json(line));
    }
    return out;
}

TraceCapture::TraceCapture(int level) {
    const TraceControls& c = trace_controls();
    old_level_ = (c.get_level != nullptr) ? c.get_level() : level;
    if(c.set_level != nullptr) {
        c.set_level(level);
    }
    if(c.set_sink != nullptr) {
        c.set_sink(&TraceCapture::sink, this);
    }
}

TraceCapture::~TraceCapture() {
    const TraceControls& c = trace_controls();
    if(c.set_sink != nullptr) {
        c.set_sink(nullptr, nullptr);
    }
    if(c.set_level != nullptr) {
        c.set_level(old_level_);
    }
}

std::vector<TraceLine> TraceCapture::take() {
    std::vector<TraceLine> out;
    out.swap(lines_);
    return out;
}

void TraceCapture::sink(int level, const char* zone, const char* line, void* priv) {
    auto* self = static_cast<TraceCapture*>(priv);
    const char* text = line != nullptr ? line : "";
    if(self->echo_) {
        std::fprintf(stderr, "%s\n", text);
    }
    self->lines_.push_back(parse_trace_line(level, zone, text));
}

} // namespace host
