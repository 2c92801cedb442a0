#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Counts the tokens of this machine's C headers with regular expressions and compares with the library.

usage: headers.py PROGRAM [FOLDER]

PROGRAM is test_lex_headers. Exits with 77 when there are no headers in FOLDER (/usr/include).
"""
import os
import re
import subprocess
import sys

FILES = 4000
SKIPPED = 77

TOKENS = re.compile(rb"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<error>/\*.*\Z|[+-]?[0-9]+(?:\.[0-9]*)?[eE][+-]?(?![+-]?[0-9])
        |"(?:\\.|[^"\\])*\\?\Z|'(?:\\.|[^'\\])*\\?\Z)
  | (?P<identifier>[A-Za-z_\x80-\xff][A-Za-z0-9_\x80-\xff]*)
  | (?P<hex>[+-]?0[xX][0-9a-fA-F]*)
  | (?P<real>[+-]?[0-9]+(?:\.[0-9]*(?:[eE][+-]?[0-9]+)?|[eE][+-]?[0-9]+))
  | (?P<integer>[+-]?[0-9]+)
  | (?P<string>"(?:\\.|[^"\\])*")
  | (?P<quoted>'(?:\\.|[^'\\])*')
  | (?P<space>[ \t\r\n]+)
  | (?P<token>.)
""", re.DOTALL | re.VERBOSE)


def count(text):
    counts = {}
    for match in TOKENS.finditer(text):
        kind = match.lastgroup
        if kind in ("hex", "integer"):
            digits = match.group().lstrip(b"+-")
            value = int(digits[2:] or b"0", 16) if kind == "hex" else int(digits)
            kind = "large" if value % 2**64 >= 2**32 else "integer"
        counts[kind] = counts.get(kind, 0) + 1
    return counts


def main():
    folder = sys.argv[2] if len(sys.argv) > 2 else "/usr/include"
    names = sorted(os.path.join(path, name) for path, _, files in os.walk(folder) for name in files
                   if name.endswith(".h") and os.path.isfile(os.path.join(path, name)))[:FILES]
    if not names:
        return SKIPPED
    result = subprocess.run([sys.argv[1]], input="\n".join(names) + "\n", capture_output=True, text=True, check=True)
    kinds, *lines = [line.split() for line in result.stdout.splitlines()]
    failures, total, size = 0, {}, 0
    if len(lines) != len(names):
        sys.exit("%d files, %d answers" % (len(names), len(lines)))
    for name, line in zip(names, lines):
        with open(name, "rb") as f:
            text = f.read()
        expected, found = count(text), dict(zip(kinds, map(int, line)))
        size += len(text)
        for kind in kinds:
            total[kind] = total.get(kind, 0) + found[kind]
            if expected.get(kind, 0) != found[kind]:
                failures += 1
                print("%s: %d of the kind %s, not %d" % (name, found[kind], kind, expected.get(kind, 0)))
    print("%d files, %d bytes: %s" % (len(names), size, total))
    return 1 if failures else 0


sys.exit(main())
