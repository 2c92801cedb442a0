#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: symbolTest.sh LIBRARY
# The library exports names of its own and nothing else.
set -euo pipefail

# Public functions that have no prefix, as the version map lists them.
bare='GetCPUCaps|copyAdapters|getLexTokenDataArray|parse|VN_SUCCESS|VN_FAIL|VN_TEST_SUCCESS|VN_TEST_FAIL|flipEndian|notify_vnString|readLine|setReportFunction|strcpy_safe|strlen_safe|throwFatalTemplateError'
own='(([^<(]* )?vn|operator.*vn|typeinfo (name )?for vn|(construction )?vtable for vn|VTT for vn|guard variable for vn'
own+="|($bare)\\("
own+='|TLS (init|wrapper) function for vn|(non-virtual|virtual|covariant return) thunk to vn)'

symbols=$(nm -D --defined-only --demangle "$1" | cut -d' ' -f3-)
grep -q '^vnGetLibraryVersion_base()' <<< "$symbols" || { echo "symbolTest: the library exports nothing" >&2; exit 1; }
if foreign=$(grep -vE "^$own" <<< "$symbols"); then
    printf 'symbolTest: the library exports foreign names:\n%s\n' "$foreign" >&2
    exit 1
fi
