#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause-Patent
# Builds the module and the board moca-host (MXL_SYSTEM_LIBS) against the build's
# "platform" component installed in a scratch prefix beside the libamx libraries of
# the build's third-party staging folder, with a trace library of only
# what a board's offers; checks what the module links, and runs the board host on
# the installed simulator: its dump and its check must match the simulator build's.
#   build_against_installed.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR GENERATOR MAKE_PROGRAM CC CXX [EXE_LDFLAGS]
# EXE_LDFLAGS: for the host, e.g. the sanitizer runtime a sanitizer build's libraries need first.
set -eu
cmake="$1" build="$2" source="$3" generator="$5" make_program="$6" cc="$7" cxx="$8" exe_ldflags="${9:-}"
scratch=$(mktemp -d "$4/scratch.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
prefix="$scratch/prefix" tree="$scratch/build" status=0
fail() { echo "$*" >&2; status=1; }

unset DESTDIR
"$cmake" --install "$build" --component platform --prefix "$prefix" >/dev/null
stage="$build/third_party/stage/usr"
cp -R "$stage/include/amxc" "$stage/include/amxp" "$stage/include/amxm" "$prefix/include/"
cp -P "$stage"/lib/*/libamx[cpm].so* "$prefix/lib/"
cp "$source/tests/system/minimal_trace/nolotrace.h" "$prefix/include/nolotrace.h"
"$cc" -shared -fPIC -O1 -Wl,-soname,libnolotrace.so -o "$prefix/lib/libnolotrace.so" \
    "$source/tests/system/minimal_trace/nolotrace.c"
"$cmake" -S "$source" -B "$tree" -G "$generator" -DCMAKE_MAKE_PROGRAM="$make_program" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DMXL_SYSTEM_LIBS=ON -DMXL_SYSTEM_PREFIX="$prefix" -DMXL_WERROR=ON -DCMAKE_EXE_LINKER_FLAGS="$exe_ldflags" \
    >"$scratch/configure.log" 2>&1 || { cat "$scratch/configure.log"; exit 1; }
"$cmake" --build "$tree" >"$scratch/build.log" 2>&1 || { cat "$scratch/build.log"; exit 1; }

module="$tree/lib/mxl-moca-ctrl.so"
dynamic=$(readelf -d "$module")
needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
echo "NEEDED: $(echo $needed)"
for lib in libamxm libamxc libnolotrace libclnkapi libc; do
    echo "$needed" | grep -q "^$lib\.so" || fail "missing NEEDED $lib"
done
# No C++ runtime (gateways lack one), and libamxp's timers come from the host process.
"$source/tests/module/check_no_cxx_runtime.sh" "$module" >/dev/null || status=1
echo "$needed" | grep -qF "libamxp.so" && fail "unexpected NEEDED libamxp"
# The SDK prefix is not where the libraries live on the target.
echo "$dynamic" | grep -E '\((RPATH|RUNPATH)\)' && fail "module carries a library search path"

# The board host: nothing of the simulator's control or of our own host headers.
host="$tree/bin/moca-host" native="$build/bin/moca-host" home="$source/examples/home-network.json"
[ -x "$host" ] || { echo "board moca-host not built" >&2; exit 1; }
nm -uC "$host" | grep -E 'clnksim::' && fail "board moca-host uses interfaces a board lacks"
nm -D --defined-only "$host" | grep -wE 'setitimer|getitimer' && fail "board moca-host replaces the process's interval timer"
# A board's loader finds the libraries in its default path; here it is told.
board() { s=$1; shift; LD_LIBRARY_PATH="$prefix/lib" CLNKSIM_SCENARIO="$s" "$host" --module "$module" "$@" 2>&1; }
dump=$(board "$home" dump moca0) || { echo "$dump" | tail -20; fail "board moca-host: dump moca0 failed"; }
echo "$dump" | grep -qF 'MoCA.Interface.moca0.AssociatedDevice.2.PHYTxRate' || fail "board dump lacks the node table"
# The board host counts chip calls by interposing the chip library: as many as the simulator's log.
counts() { echo "$1" | sed -n 's/^# Read in [0-9.]* ms: //p'; }
native_counts=$(counts "$("$native" --sim "$home" dump moca0 2>&1 || true)")
[ -n "$(counts "$dump")" ] && [ "$(counts "$dump")" = "$native_counts" ] \
    || fail "board moca-host counts '$(counts "$dump")', the simulator build '$native_counts'"
# check's cache verdict is the simulator build's: on the example network, and on one whose
# flow listing is abandoned (six failed queries), so that a table is read twice.
abandoned="$scratch/abandoned.json"
sed '1s/^{/{"faults": [{"op": "QueryFlow", "times": 6}], /' "$home" >"$abandoned"
for scenario in "$home" "$abandoned"; do
    on_board=$(board "$scenario" check moca0 | grep '^  [A-Z]*  cache ' || true)
    on_sim=$("$native" --sim "$scenario" check moca0 2>&1 | grep '^  [A-Z]*  cache ' || true)
    echo "board: $on_board"
    [ -n "$on_board" ] && [ "$on_board" = "$on_sim" ] \
        || fail "check's cache verdict differs: board '$on_board', simulator '$on_sim'"
done
# Without the trace controls the host says once that it cannot capture the lines.
said=$(echo "$dump" | grep -c '^moca-host: .*log lines cannot be captured' || true)
[ "$said" -eq 1 ] || fail "board moca-host said $said times that log lines cannot be captured"
rc=0
refusal=$("$host" --module "$module" script </dev/null 2>&1) || rc=$?
[ "$rc" -eq 2 ] && echo "$refusal" | grep -q 'script is not available: this moca-host is built for a board' \
    || fail "board moca-host script: status $rc, said: $refusal"
exit $status
