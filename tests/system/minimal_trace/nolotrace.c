// SPDX-License-Identifier: BSD-2-Clause-Patent
/* Errors and warnings to standard error, the rest dropped. */
#include "nolotrace.h"

#include <stdarg.h>
#include <stdio.h>

static void emit(int level, const char* format, va_list ap) {
    if(level <= TRACE_LEVEL_WARNING) {
        fprintf(stderr, "<%d> ", level);
        vfprintf(stderr, format, ap);
        fputc('\n', stderr);
    }
}

void noloTrace(int level, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    emit(level, format, ap);
    va_end(ap);
}

void noloTraceZ(int level, const char* zone, const char* format, ...) {
    va_list ap;
    (void) zone;
    va_start(ap, format);
    emit(level, format, ap);
    va_end(ap);
}
