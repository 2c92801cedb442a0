#!/bin/sh
# SPDX-License-Identifier: MIT
# check.sh PROGRAM LINES: compares what the program counts in a log with what awk counts.
set -eu
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The log as awk counts it.
count() {
    awk '
    /^not/ { next }
    {
        split($0, quoted, "\"")
        split(quoted[2], request, " ")
        split(quoted[3], numbers, " ")
        ++requests
        bytes += numbers[2] + 0
        ++counts["method " request[1]]
        ++counts["status " numbers[1]]
    }
    END {
        print "lines " NR
        print "requests " requests + 0
        printf "bytes %d\n", bytes
        for (name in counts) print name " " counts[name] | "sort"
    }' "$1"
}

sh "$here/make-log.sh" "$2" > "$work/access.log"
sh "$here/make-log.sh" 20 | head -c -1 > "$work/cut.log" # the last line has no line feed
printf 'not a' > "$work/other.log"
for log in other cut access; do
    "$1" "$here/accesslog.rules" "$work/$log.log" > "$work/ours"
    count "$work/$log.log" > "$work/theirs"
    diff "$work/theirs" "$work/ours"
done
cat "$work/ours"

# A line that the parser can't go back over ends it with an error.
awk 'BEGIN { printf "1.2.3.4 - - [x] \"GET /"; for (i = 0; i < 60000; ++i) printf "a"; print "\" 200 1" }' > "$work/long"
status=0
"$1" "$here/accesslog.rules" "$work/long" > /dev/null 2> "$work/error" || status=$?
test "$status" = 1
test -s "$work/error"
