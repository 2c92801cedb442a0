#!/bin/sh
# SPDX-License-Identifier: MIT
# make-log.sh LINES: writes the log of a web server that never was; the same one each time.
exec awk -v lines="${1:-1000}" '
function below(limit) { state = (state * 1103515245 + 12345) % 2147483648; return int(state / 65536) % limit }
BEGIN {
    state = 7
    split("GET GET GET POST HEAD", methods, " ")
    split("200 200 200 304 404 500", statuses, " ")
    for (i = 0; i < lines; ++i) {
        if (below(50) == 0) { print "not a request at all " i; continue }
        size = below(20) == 0 ? "-" : below(32768)
        line = sprintf("10.%d.%d.7 - %s [10/Oct/2009:13:%02d:36 +0000] \"%s /p%d/q%d.html%s\" %s %s",
            below(256), below(256), below(3) ? "-" : "user" below(9), below(60), methods[below(5) + 1],
            below(100), below(1000), below(10) ? " HTTP/1.1" : "", statuses[below(6) + 1], size)
        if (below(4)) line = line sprintf(" \"http://example.com/%d\" \"Agent/%d.0 (some; thing)\"", below(1000), below(9))
        print line
    }
}'
