#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: tools/demo.sh FOLDER-OF-EXAMPLES
# The tour: the program vn, which the caller has put into the PATH, on real files, and the example programs.
set -euo pipefail
examples=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# show COMMAND...: as it would be typed, and what it prints
show()
{
    printf '\n$ %s\n' "$(printf '%q ' "$@")"
    "$@"
}

title() { printf '\n--- %s\n' "$1"; }

title "The program vn"
show vn help

title "The format engine: typed arguments, positions, padding"
show vn format '%-10s|%6d|%x|%f' chair 42 255 1.5
show vn format '%2$s comes before %1$s' b a
show vn format '%u is 2^64-1, and %e is a large number' 18446744073709551615 6.02214076e23

title "The most frequent words of this project's documents"
show vn words --top 8 README.md CHANGELOG.md docs/*.md
licences=(/usr/share/common-licenses/*)
if [[ -f ${licences[0]} ]]; then
    title "The most frequent words of the licences on this system, counted by two threads"
    show vn words --top 8 --threads 2 "${licences[@]}"
fi

title "Streams: a copy, and what a full disk leads to"
show vn copy README.md "$work/copy.md"
cmp README.md "$work/copy.md" && echo "the copy is the same, byte by byte"
show vn copy README.md /dev/full || echo "(ended with $?)"
show vn cat missing.txt || echo "(ended with $?)"

title "URLs: random bytes into a file, and the parts of a URL"
show vn copy dummy:1000000 "file:$work/noise.bin"
stat -c '%s bytes' "$work/noise.bin"
show vn url 'http://host/dir/file.txt?a=1&b=2'

title "Reading text: tokens, a format, a grammar"
printf 'size = 640 x 480 // pixels\n' > "$work/size.txt"
show vn tokens "$work/size.txt"
show vn scan '%i = %l x %l' "$(cat "$work/size.txt")"
show vn scan '%l,%l' 1024 || echo "(ended with $?)"
printf 'list ::= item (%s item)* ;\nitem ::= $ fIdent fPush ;\n' "','" > "$work/list.rules"
printf 'red,green,blue' > "$work/list.txt"
show cat "$work/list.rules"
show vn match "$work/list.rules" list "$work/list.txt"

title "Dynamic values: their bytes on a stream"
show vn value num 12
show vn value array "[1, 'a', [yes]]"

title "A message of each level"
VANTOR_ASSERT=ignore show "$examples/messages"

title "A thread that hangs, ended by its watchdog"
show "$examples/watchdog"

title "A leak, found by the lost memory report"
show "$examples/leak"
