// SPDX-License-Identifier: BSD-2-Clause-Patent
/* A trace library with only what a board's is known to offer: noloTrace,
 * noloTraceZ and the level numbers. */
#pragma once

#define TRACE_LEVEL_ERROR 100
#define TRACE_LEVEL_WARNING 200
#define TRACE_LEVEL_NOTICE 300
#define TRACE_LEVEL_APP_INFO 350
#define TRACE_LEVEL_INFO 400
#define TRACE_LEVEL_DEBUG 500

#ifdef __cplusplus
extern "C" {
#endif
void noloTrace(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));
void noloTraceZ(int level, const char* zone, const char* format, ...) __attribute__((format(printf, 3, 4)));
#ifdef __cplusplus
}
#endif
