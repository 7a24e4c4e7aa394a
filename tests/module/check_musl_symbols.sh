#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause-Patent
# Fails when the module needs a symbol that neither musl's C library nor the
# given platform libraries export. Built against glibc's headers, a module can
# carry glibc-only names (fortified __*_chk variants, __isoc23_* and the like)
# that the loader on a musl board cannot bind.
#   check_musl_symbols.sh MODULE MUSL_LIBC PLATFORM_LIBRARY...
# READELF: the readelf to use (any GNU readelf reads every ELF machine).
set -eu
readelf=${READELF:-readelf}
module=$1 musl=$2
shift 2

# Dynamic symbols as "BIND SECTION NAME", without version suffixes.
dynsyms() {
    "$readelf" --dyn-syms -W "$1" |
        awk '$1 ~ /^[0-9]+:$/ && NF >= 8 { sub(/@.*/, "", $8); print $5, $7, $8 }'
}
exports() {
    for lib in "$@"; do
        dynsyms "$lib" | awk '$2 != "UND" && $1 != "LOCAL" { print $3 }'
    done | sort -u
}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Weak references may stay unbound (the start files' __gmon_start__ and the like).
dynsyms "$module" | awk '$2 == "UND" && $1 == "GLOBAL" { print $3 }' | sort -u >"$scratch/needed"
exports "$musl" >"$scratch/libc"
exports "$@" >"$scratch/platform"

missing=$(sort -u "$scratch/libc" "$scratch/platform" | comm -23 "$scratch/needed" -)
if [ -n "$missing" ]; then
    echo "needs symbols that musl and the platform libraries do not export:" $missing >&2
    exit 1
fi
echo "from musl's libc:" $(comm -12 "$scratch/needed" "$scratch/libc")
