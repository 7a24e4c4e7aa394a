#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause-Patent
# The JSON dump of a scenario by the build machine's moca-host and by this
# build's (run through the emulator), without the elapsed time, must be equal:
# word size and byte order of the target must not show.
#   compare_native_dump.sh NATIVE_HOST SCENARIO HOST_COMMAND...
set -eu
native=$1 scenario=$2
shift 2
[ -x "$native" ] || { echo "no moca-host for the build machine at $native (build the default preset first)" >&2; exit 1; }
dump() { "$@" --sim "$scenario" dump moca0 --json | sed -E 's/"elapsed_ms":[-+.0-9eE]+//'; }
native_dump=$(dump "$native") target_dump=$(dump "$@")
case $native_dump in *'"summary"'*) ;; *) echo "the native moca-host made no complete dump" >&2; exit 1 ;; esac
if [ "$native_dump" != "$target_dump" ]; then
    echo "$native_dump" >"${TMPDIR:-/tmp}/native.$$" && echo "$target_dump" | diff "${TMPDIR:-/tmp}/native.$$" - | head -40
    rm -f "${TMPDIR:-/tmp}/native.$$"
    exit 1
fi
echo "dump of $(basename "$scenario"): ${#native_dump} bytes, identical"
