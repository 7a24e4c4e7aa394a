#!/bin/sh
# Compares the JSON dump of a scenario by the build machine's moca-host with
# the dump by this build's moca-host (run through the emulator), without the
# elapsed time. Word size and byte order of the target must not show.
#   compare_native_dump.sh NATIVE_HOST SCENARIO HOST_COMMAND...
set -eu
native=$1 scenario=$2
shift 2
if [ ! -x "$native" ]; then
    echo "no moca-host for the build machine at $native (build the default preset first)" >&2
    exit 1
fi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
dump() {
    "$@" --sim "$scenario" dump moca0 --json | sed -E 's/"elapsed_ms":[-+.0-9eE]+//'
}
dump "$native" >"$scratch/native.json"
dump "$@" >"$scratch/target.json"
for side in native target; do
    if ! grep -q '"summary"' "$scratch/$side.json"; then
        echo "the $side moca-host made no complete dump" >&2
        exit 1
    fi
done
if ! cmp "$scratch/native.json" "$scratch/target.json"; then
    diff "$scratch/native.json" "$scratch/target.json" | head -40
    exit 1
fi
echo "dump of $(basename "$scenario"): $(wc -c <"$scratch/native.json") bytes, identical"
