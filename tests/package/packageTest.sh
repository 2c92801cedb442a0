#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: packageTest.sh SOURCE_DIR BUILD_DIR WORK_DIR shared|static CXX VERSION
# Installs the library from BUILD_DIR, moves the installed folder, and builds and runs the examples against it,
# once by the CMake package and once by pkg-config.
set -euo pipefail
source=$1 build=$2 work=$3 kind=$4 cxx=$5 version=$6

fail() { echo "packageTest: $*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/installed" > "$work/install.log" || { cat "$work/install.log"; exit 1; }
mkdir "$work/another place"
mv "$work/installed" "$work/another place/vnBase"
prefix="$work/another place/vnBase"

# What names the place of the build or of the first installation breaks as soon as either is gone.
if grep -rIl -e "$build" -e "$work/installed" "$prefix"; then
    fail "the files above name a folder of this build"
fi

cmake -S "$source/examples" -B "$work/examples" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_PREFIX_PATH="$prefix" > "$work/configure.log" || { cat "$work/configure.log"; exit 1; }
cmake --build "$work/examples" -j2
ctest --test-dir "$work/examples" --output-on-failure --no-tests=error
library=$(find "$prefix" -name 'libvnBase.*' -type f)

# checkProgram PROGRAM: links the kind of library that was asked for, and the whole of it.
checkProgram()
{
    local linked=static missing
    if readelf -d "$1" | grep -q 'NEEDED.*libvnBase'; then
        linked=shared
    fi
    [[ $linked == "$kind" ]] || fail "$1 links the $linked library"
    [[ $kind == static ]] || return 0
    # Files of the archive that nobody names must be there too: they register what they offer when they start.
    missing=$(comm -23 <(nm --defined-only "$library" | awk '$2 == "T" {print $3}' | sort -u) \
                       <(nm --defined-only "$1" | awk 'NF == 3 {print $3}' | sort -u))
    [[ -z $missing ]] || fail "$1 lacks parts of the library: $missing"
}

checkProgram "$work/examples/first"

if command -v pkg-config > /dev/null; then
    export PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name vnBase.pc)")
    [[ $(pkg-config --modversion vnBase) == "$version" ]] || fail "pkg-config tells another version"
    eval "flags=($(pkg-config --cflags --libs vnBase))"
    "$cxx" -std=c++17 "$source/examples/first/main.cpp" -o "$work/first" "${flags[@]}"
    checkProgram "$work/first"
    printed=$(LD_LIBRARY_PATH=$(dirname "$library") "$work/first")
    [[ $printed == *"models/chair is a model"* ]] || fail "the program of pkg-config printed: $printed"
else
    echo "packageTest: pkg-config is not installed, its file was not tried"
fi
