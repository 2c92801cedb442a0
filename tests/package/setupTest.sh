#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: setupTest.sh SOURCE_DIR WORK_DIR
# The set-up on machines that lack tools: each is a folder of commands that is the whole PATH.
set -euo pipefail
setup=$1/tools/setup work=$2

fail() { echo "setupTest: $*" >&2; exit 1; }

# machine NAME USER_ID: a machine that has a compiler and cmake, but neither ninja nor ccache.
machine()
{
    rm -rf "$work/$1"
    mkdir -p "$work/$1"
    local tool
    for tool in bash env touch; do
        ln -s "$(command -v $tool)" "$work/$1/$tool"
    done
    for tool in c++ cmake; do
        fake "$1" "$tool" "exit 0"
    done
    fake "$1" id "echo $2"
}

# fake MACHINE NAME BODY: a command of that machine.
fake()
{
    printf '#!/bin/bash\n%s\n' "$3" > "$work/$1/$2"
    chmod +x "$work/$1/$2"
}

# expect MACHINE STATUS TEXT
expect()
{
    local output status=0
    output=$(PATH="$work/$1" bash "$setup" build 2>&1) || status=$?
    [[ $status == "$2" ]] || fail "$1: ended with $status and: $output"
    [[ $output == *"$3"* ]] || fail "$1: said: $output"
}

machine noDebian 0
expect noDebian 1 "no apt-get here. Please install: ninja-build ccache"

machine noRoot 1000
fake noRoot apt-get "touch $work/noRoot/called"
expect noRoot 1 "neither root nor sudo. Please install: ninja-build ccache"
[[ ! -e $work/noRoot/called ]] || fail "noRoot: apt-get was called"

machine noNetwork 0
fake noNetwork apt-get '[[ "$*" != *update* ]]'
expect noNetwork 1 "the package lists can't be fetched. Please install: ninja-build ccache"

machine works 0
# Its apt-get takes nothing but the two missing packages, and their tools are there afterwards.
fake works ninja "exit 0"
fake works ccache "exit 0"
mkdir "$work/works/later"
mv "$work/works/ninja" "$work/works/ccache" "$work/works/later"
ln -s "$(command -v mv)" "$work/works/mv"
fake works apt-get '[[ $* == *update* ]] || { [[ $* == *" ninja-build ccache" && $* != *cmake* ]] && mv "${0%/*}"/later/* "${0%/*}"; }'
expect works 0 "installing ninja-build ccache"
expect works 0 ""
