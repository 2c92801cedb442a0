#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# usage: docsExampleTest.sh PROGRAM OUTPUT_FILE
# The program ends well and prints what the document says. A message on the console begins with a carriage return, to
# cover a line of progress; documents leave it out.
set -euo pipefail
cd "$(mktemp -d)"
trap 'rm -rf "$PWD"' EXIT
"$1" | tr -d '\r' > printed
[[ ! -e $2 ]] || diff --unified --label document "$2" --label program printed
