#!/bin/sh
# Installs the "platform" component of a build into a scratch prefix, builds
# the module alone against that prefix (MXL_SYSTEM_LIBS), and checks what the
# module links and where it looks for it.
#   build_against_installed.sh CMAKE BUILD_DIR SOURCE_DIR WORK_DIR GENERATOR MAKE_PROGRAM CC CXX
set -eu
cmake="$1" build="$2" source="$3" generator="$5" make_program="$6" cc="$7" cxx="$8"
scratch=$(mktemp -d "$4/scratch.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
prefix="$scratch/prefix"
tree="$scratch/build"

unset DESTDIR
"$cmake" --install "$build" --component platform --prefix "$prefix" >/dev/null
"$cmake" -S "$source" -B "$tree" -G "$generator" -DCMAKE_MAKE_PROGRAM="$make_program" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DMXL_SYSTEM_LIBS=ON -DMXL_SYSTEM_PREFIX="$prefix" -DMXL_WERROR=ON >"$scratch/configure.log" 2>&1 \
    || { cat "$scratch/configure.log"; exit 1; }
"$cmake" --build "$tree" >"$scratch/build.log" 2>&1 || { cat "$scratch/build.log"; exit 1; }

module="$tree/lib/mxl-moca-ctrl.so"
dynamic=$(readelf -d "$module")
needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
echo "NEEDED: $(echo $needed)"
status=0
for lib in libamxm libamxc libnolotrace libclnkapi libc; do
    if ! echo "$needed" | grep -q "^$lib\.so"; then
        echo "missing NEEDED $lib" >&2
        status=1
    fi
done
# No C++ runtime (gateways lack one); libamxp's timers come from the host process.
for lib in 'libstdc++' 'libc++' libamxp; do
    if echo "$needed" | grep -qF "$lib.so"; then
        echo "unexpected NEEDED $lib" >&2
        status=1
    fi
done
# The SDK prefix is not where the libraries live on the target.
if echo "$dynamic" | grep -E '\((RPATH|RUNPATH)\)'; then
    echo "module carries a library search path" >&2
    status=1
fi
exit $status
