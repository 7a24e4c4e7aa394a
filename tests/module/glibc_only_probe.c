// SPDX-License-Identifier: BSD-2-Clause-Patent
/* Uses names that only glibc exports, as a fortified build against glibc's
 * headers produces them, beside sscanf (glibc's headers turn it into
 * __isoc99_sscanf, which musl exports too). The musl check must reject
 * exactly the first two. */
#include <stdarg.h>
#include <stddef.h>
#include <stdio.h>

int __vsnprintf_chk(char* s, size_t maxlen, int flag, size_t slen, const char* format, va_list ap);
unsigned long __isoc23_strtoul(const char* text, char** end, int base);

int probe_format(char* buf, size_t len, const char* format, ...) {
    va_list ap;
    va_start(ap, format);
    int n = __vsnprintf_chk(buf, len, 1, len, format, ap);
    va_end(ap);
    return n;
}

unsigned long probe_parse(const char* text) {
    unsigned value = 0;
    return sscanf(text, "%x", &value) == 1 ? value : __isoc23_strtoul(text, NULL, 16);
}
