// SPDX-License-Identifier: BSD-2-Clause-Patent
// Trace facility: formats a line, filters it by level and hands it to the sink.
#include "nolotrace.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

int g_level = TRACE_LEVEL_WARNING;
nolo_trace_sink_t g_sink = nullptr;
void* g_sink_priv = nullptr;

void to_stderr(int level, const char* zone, const char* line) {
    if(zone != nullptr) {
        std::fprintf(stderr, "<%d> %s: %s\n", level, zone, line);
    } else {
        std::fprintf(stderr, "<%d> %s\n", level, line);
    }
}

void emit(int level, const char* zone, const char* format, va_list ap) {
    if(level > g_level || format == nullptr) {
        return;
    }
    char small[1024];
    char* line = small;
    va_list copy;
    va_copy(copy, ap);
    int len = std::vsnprintf(small, sizeof(small), format, ap);
    if(len >= static_cast<int>(sizeof(small))) {
        line = static_cast<char*>(std::malloc(static_cast<size_t>(len) + 1));
        if(line != nullptr) {
            std::vsnprintf(line, static_cast<size_t>(len) + 1, format, copy);
        } else {
            line = small; // keep the truncated text rather than nothing
        }
    }
    va_end(copy);
    if(len < 0) {
        small[0] = '\0';
    }
    if(g_sink != nullptr) {
        g_sink(level, zone, line, g_sink_priv);
    } else {
        to_stderr(level, zone, line);
    }
    if(line != small) {
        std::free(line);
    }
}

} // namespace

extern "C" {

void noloTrace(int level, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    emit(level, nullptr, format, ap);
    va_end(ap);
}

void noloTraceZ(int level, const char* zone, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    emit(level, zone, format, ap);
    va_end(ap);
}

void noloTraceSetLevel(int level) {
    g_level = level;
}

int noloTraceGetLevel(void) {
    return g_level;
}

void noloTraceSetSink(nolo_trace_sink_t sink, void* priv) {
    g_sink = sink;
    g_sink_priv = priv;
}
}
