// SPDX-License-Identifier: BSD-2-Clause-Patent
/*
 * Trace facility: leveled, zoned trace lines.
 *
 * Lines go to standard error by default, one per call, when their level is at
 * or below the current level. A sink replaces standard error, so that a host
 * or a test can capture each line with its level and zone.
 */
#ifndef NOLOTRACE_H
#define NOLOTRACE_H

#ifdef __cplusplus
extern "C" {
#endif

#define TRACE_LEVEL_ERROR 100
#define TRACE_LEVEL_WARNING 200
#define TRACE_LEVEL_NOTICE 300
#define TRACE_LEVEL_APP_INFO 350
#define TRACE_LEVEL_INFO 400
#define TRACE_LEVEL_DEBUG 500

/* Receives one formatted line (no trailing newline); zone is NULL for noloTrace. */
typedef void (*nolo_trace_sink_t)(int level, const char* zone, const char* line, void* priv);

void noloTrace(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void noloTraceZ(int level, const char* zone, const char* format, ...) __attribute__((format(printf, 3, 4)));

/* Lines above this level are dropped (default TRACE_LEVEL_WARNING). */
void noloTraceSetLevel(int level);
int noloTraceGetLevel(void);

/* NULL restores the standard error output. */
void noloTraceSetSink(nolo_trace_sink_t sink, void* priv);

#ifdef __cplusplus
}
#endif

#endif
