#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause-Patent
# Fails when the module lists a C++ runtime library or needs its symbols.
# READELF, NM: the tools to use (a cross toolchain's for a module of another machine).
set -eu
module="$1"
readelf=${READELF:-readelf}
nm=${NM:-nm}
if "$readelf" -d "$module" | grep -E 'NEEDED.*(libstdc\+\+|libc\+\+)'; then
    echo "module needs a C++ runtime library" >&2
    exit 1
fi
# operator new/delete, exception and RTTI support, std:: out-of-line code
if "$nm" -D --undefined-only "$module" | grep -v "@GLIBC" | grep -E ' (_Zn[wa]|_Zd[la]|__cxa_|__gxx_|_ZTV|_ZTI|_ZSt|_ZNSt)'; then
    echo "module uses C++ runtime symbols" >&2
    exit 1
fi
echo "no C++ runtime needed: $("$readelf" -d "$module" | grep NEEDED | sed 's/.*\[\(.*\)\]/\1/' | tr '\n' ' ')"
