#!/bin/sh
# SPDX-License-Identifier: BSD-2-Clause-Patent
# Checks what the OpenWrt recipe (openwrt/*/Makefile) relies on, without an SDK.
#   openwrt_recipe.sh installed CMAKE BUILD_DIR SOURCE_DIR WORK_DIR
#     a plain install of BUILD_DIR (prefix /usr) holds exactly the files the
#     recipe's packages take, and no chip or trace library
#   openwrt_recipe.sh sdk SOURCE_DIR WORK_DIR AMX_STAGE CHIP_LIBRARY
#     configures SOURCE_DIR for AArch64 the way the SDK's CMake rules do, with the
#     recipe's CMAKE_OPTIONS, against a staging folder holding the libamx libraries
#     of AMX_STAGE (<prefix>/usr/{include,lib/<multiarch>}), CHIP_LIBRARY behind
#     our chip-library header and a trace library of only what a board's offers;
#     builds, installs with DESTDIR, then compares the installed files with the
#     recipe's install sections and each file's NEEDED entries with its DEPENDS.
set -eu
mode="$1"
if [ "$mode" = installed ]; then
    cmake="$2" build="$3" source="$4" work="$5"
else
    source="$2" work="$3" amx_stage="$4" chip_library="$5"
fi
scratch=$(mktemp -d "$work/recipe.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
dest="$scratch/install" status=0
fail() { echo "FAIL: $*" >&2; status=1; }

# The licence files a recipe names are in the tree it builds from.
for f in $(sed -n 's/^PKG_LICENSE_FILES:=//p' "$source"/openwrt/*/Makefile); do
    [ -f "$source/$f" ] || fail "PKG_LICENSE_FILES names $f, which the tree lacks"
done

# "PACKAGE FILE" for every file a Package/*/install section takes from the install folder.
recipe_files() {
    for makefile in "$source"/openwrt/*/Makefile; do
        awk '/^define Package\/[^\/]+\/install$/ { split($2, p, "/"); pkg = p[2]; next }
             /^endef/ { pkg = "" }
             pkg != "" { for(i = 1; i <= NF; i++) if($i ~ /^\$\(PKG_INSTALL_DIR\)\//) {
                 sub(/^\$\(PKG_INSTALL_DIR\)/, "", $i); print pkg, $i } }' "$makefile"
    done | while read -r pkg path; do
        # A section may take a pattern or a folder: what it matches, file by file.
        for match in "$dest"$path; do
            if [ -d "$match" ]; then find "$match" ! -type d; else echo "$match"; fi
        done | sed "s|^$dest|$pkg |"
    done
}

compare_installed() {
    recipe_files | sort -k2 >"$scratch/recipe"
    (cd "$dest" && find . ! -type d | sed 's|^\.||' | sort) >"$scratch/installed"
    echo "installed:"; sed 's/^/  /' "$scratch/installed"
    awk '{ print $2 }' "$scratch/recipe" | sort -u | comm -3 - "$scratch/installed" >"$scratch/diff"
    [ -s "$scratch/diff" ] && fail "installed files and the recipe's install sections differ" \
        "(left: only in the recipe or missing; right: installed, in no package):" && cat "$scratch/diff" >&2
    grep -E 'lib(clnkapi|nolotrace)' "$scratch/installed" && fail "a chip or trace library was installed"
    [ -s "$scratch/installed" ] || fail "nothing was installed"
}

if [ "$mode" = installed ]; then
    DESTDIR="$dest" "$cmake" --install "$build" --prefix /usr >/dev/null
    compare_installed
    exit $status
fi

# The staging folder, laid out as an SDK's: usr/include and usr/lib.
staging="$scratch/staging" cross=aarch64-linux-gnu
mkdir -p "$staging/usr/include" "$staging/usr/lib" "$staging/usr/share/cmake"
cp -R "$amx_stage"/usr/include/amxc "$amx_stage"/usr/include/amxm "$amx_stage"/usr/include/amxp "$staging/usr/include/"
cp -P "$amx_stage"/usr/lib/*/libamx[cmp].so* "$staging/usr/lib/"
cp "$source/platform/clnkapi/include/clnkapi.h" "$source/tests/system/minimal_trace/nolotrace.h" "$staging/usr/include/"
cp "$chip_library" "$staging/usr/lib/libclnkapi.so.1" && ln -s libclnkapi.so.1 "$staging/usr/lib/libclnkapi.so"
$cross-gcc -shared -fPIC -O1 -Wl,-soname,libnolotrace.so -o "$staging/usr/lib/libnolotrace.so" \
    "$source/tests/system/minimal_trace/nolotrace.c"
# nlohmann-json as its package stages it: the headers and the CMake package files.
cp -R /usr/include/nlohmann "$staging/usr/include/"
cp -R /usr/share/cmake/nlohmann_json "$staging/usr/share/cmake/"

# The recipe's own options, with the staging folder put in.
options=$(sed -e ':a' -e '/\\$/N; s/\\\n//; ta' "$source"/openwrt/*/Makefile | sed -n 's/^CMAKE_OPTIONS *+= *//p' \
    | sed "s|\$(STAGING_DIR)|$staging|g")
echo "recipe options: $options"
tool() { command -v "$cross-$1"; }
flags="-Os -pipe -fno-caller-saves -fno-plt -fstack-protector -Wformat -Werror=format-security"
ldflags="-Wl,-z,now -Wl,-z,relro"
tree="$scratch/build"
mkdir -p "$tree"
# shellcheck disable=SC2086 # the options are separate words
(cd "$tree" && CFLAGS="$flags" CXXFLAGS="$flags" LDFLAGS="$ldflags" cmake --no-warn-unused-cli -G Ninja \
    -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_VERSION=1 -DCMAKE_SYSTEM_PROCESSOR=aarch64 \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_C_FLAGS_RELEASE=-DNDEBUG -DCMAKE_CXX_FLAGS_RELEASE=-DNDEBUG \
    -DCMAKE_C_COMPILER="$(tool gcc)" -DCMAKE_CXX_COMPILER="$(tool g++)" \
    -DCMAKE_AR="$(tool gcc-ar)" -DCMAKE_NM="$(tool gcc-nm)" -DCMAKE_RANLIB="$(tool gcc-ranlib)" \
    -DCMAKE_EXE_LINKER_FLAGS="$ldflags" -DCMAKE_MODULE_LINKER_FLAGS="$ldflags -Wl,-Bsymbolic-functions" \
    -DCMAKE_SHARED_LINKER_FLAGS="$ldflags -Wl,-Bsymbolic-functions" \
    -DCMAKE_FIND_ROOT_PATH="$staging/usr;/usr/$cross" -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER \
    -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY \
    -DCMAKE_STRIP=: -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_PREFIX_PATH="$staging" -DCMAKE_SKIP_RPATH=TRUE \
    -DCMAKE_EXPORT_NO_PACKAGE_REGISTRY=ON -DCMAKE_FIND_USE_PACKAGE_REGISTRY=FALSE \
    -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=FALSE $options "$source") >"$scratch/configure.log" 2>&1 \
    || { cat "$scratch/configure.log"; exit 1; }
ninja -C "$tree" >"$scratch/build.log" 2>&1 || { tail -40 "$scratch/build.log"; exit 1; }
DESTDIR="$dest" ninja -C "$tree" install >/dev/null
compare_installed

# Each file's NEEDED libraries come from the base system or from a package its
# package DEPENDS on.
provider() {
    case "$1" in
    libc.so* | libm.so* | ld-linux* | libgcc_s.so*) echo base ;;
    libstdc++.so*) echo libstdcpp ;;
    libamx[cmp].so* | libnolotrace.so* | libclnkapi.so*) echo "${1%%.so*}" ;;
    *) echo "unknown:$1" ;;
    esac
}
depends() {
    for makefile in "$source"/openwrt/*/Makefile; do
        awk -v want="$1" '/^define Package\// { pkg = $2; sub(/^Package\//, "", pkg) }
                           /^endef/ { pkg = "" }
                           pkg == want && /DEPENDS:=/ { sub(/.*DEPENDS:=/, ""); gsub(/\+/, ""); print }' "$makefile"
    done
}
while read -r pkg file; do
    file "$dest$file" | grep -q 'ARM aarch64' || fail "$file is not an AArch64 object"
    # What the SDK will package: the file stripped.
    $cross-strip -o "$scratch/stripped" "$dest$file"
    needed=$($cross-readelf -d "$dest$file" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
    echo "package $pkg: $file, $(stat -c %s "$scratch/stripped") bytes stripped, needs" $needed
    for lib in $needed; do
        p=$(provider "$lib")
        [ "$p" = base ] || echo " $(depends "$pkg") " | grep -q " $p " \
            || fail "$file needs $lib: package $pkg does not depend on $p"
    done
done <"$scratch/recipe"
READELF=$cross-readelf NM=$cross-nm "$source/tests/module/check_no_cxx_runtime.sh" \
    "$dest/usr/lib/amx/moca-ctrl/mxl-moca-ctrl.so" || status=1
exit $status
