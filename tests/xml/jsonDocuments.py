#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Reads the JSON documents of this machine with `vn json`, in both forms, and with Python, and compares the values.

usage: jsonDocuments.py VN [FOLDER...]

Prints a table of what was read alike, and what was not and why, which docs/json.md explains. A difference without
such a reason is a failure. Exits with 77 when there are no documents in the folders.
"""
import collections
import json
import os
import re
import subprocess
import sys

FOLDERS = ("/usr/share/iso-codes/json", "/usr/share", "/usr/lib", "/usr/local/lib")
FILES = 250
LARGEST = 20_000_000
SKIPPED = 77
SHOWN = 20


def documents(folders):
    found = []
    for folder in folders:
        for path, _, names in sorted(os.walk(folder)):
            for name in sorted(names):
                file = os.path.join(path, name)
                if name.endswith(".json") and file not in found and os.path.isfile(file) \
                        and os.path.getsize(file) <= LARGEST:
                    found.append(file)
                    if len(found) == FILES:
                        return found
    return found


def run(*command):
    done = subprocess.run(command, capture_output=True, timeout=300)
    return done.returncode, done.stdout.decode("utf-8", "surrogatepass"), done.stderr.decode("utf-8", "replace")


def refuse_constant(word):
    raise ValueError(word)


def python_value(data):
    """The value, or None when Python refuses the text; its NaN and Infinity are no JSON."""
    try:
        return json.loads(data.decode("utf-8-sig"), parse_constant=refuse_constant),
    except (ValueError, RecursionError):
        return None


def texts(value):
    if isinstance(value, str):
        yield value
    elif isinstance(value, list):
        for one in value:
            yield from texts(one)
    elif isinstance(value, dict):
        for key, one in value.items():
            yield key
            yield from texts(one)


def numbers(value):
    if isinstance(value, (int, float)) and not isinstance(value, bool):
        yield value
    for one in value if isinstance(value, list) else value.values() if isinstance(value, dict) else ():
        yield from numbers(one)


def limit(value):
    """Why both forms refuse a value."""
    if any(len(text.encode("utf-8", "surrogatepass")) > 65535 for text in texts(value)):
        return "a text of more than 65535 bytes"
    if any(isinstance(n, float) and n in (float("inf"), float("-inf")) for n in numbers(value)):
        return "a number beyond a double"
    return None


def strict_reason(value):
    if any(isinstance(n, int) and not -2**63 <= n < 2**63 for n in numbers(value)):
        return "an integer beyond 64 bits"
    if any(0xD800 <= ord(c) <= 0xDFFF for text in texts(value) for c in text):
        return "half a surrogate pair"
    return limit(value)


def wide_reason(value, text):
    if re.search(r'(?<!\\)(?:\\\\)+"', text):
        return "a backslash before the last quote"
    return limit(value)


def wide(value):
    """What the wide form makes of a value: words are texts, numbers are doubles."""
    if value is None or isinstance(value, bool):
        return json.dumps(value)
    if isinstance(value, (int, float)):
        return float(value)
    if isinstance(value, list):
        return [wide(one) for one in value]
    if isinstance(value, dict):
        return {key: wide(one) for key, one in value.items()}
    return value


def tree(text):
    """The value that `vn json --value` shows."""
    lines = text.split("\n")[:-1]
    place = 0

    def node(depth):
        nonlocal place
        line = lines[place][2 * depth:]
        place += 1
        key = None
        if depth:
            end = json.decoder.scanstring(line, 1)[1] if line[0] == '"' else line.index(":")
            key = json.loads(line[:end])
            line = line[end + 2:]
        tag, _, shown = line.partition(" ")
        if tag in ("array", "cont"):
            children = []
            while place < len(lines) and lines[place].startswith("  " * (depth + 1)):
                children.append(node(depth + 1))
            return key, dict(children) if tag == "cont" else [value for _, value in children]
        return key, float(shown) if tag == "num" else wide(json.loads(shown))

    return node(0)[1]


def same(left, right):
    """Equal, and of the same types."""
    if isinstance(left, dict) and isinstance(right, dict):
        return left.keys() == right.keys() and all(same(left[key], right[key]) for key in left)
    if isinstance(left, list) and isinstance(right, list):
        return len(left) == len(right) and all(map(same, left, right))
    if isinstance(left, bool) or isinstance(right, bool):
        return left is right
    return left == right


def compare(vn, file, form, expected, reason):
    if form == "strict":
        code, output, error = run(vn, "json", "--strict", file)
        value = python_value(output.encode("utf-8", "surrogatepass")) if code == 0 else None
        equal = expected and value and same(expected[0], value[0])
    else:
        code, output, error = run(vn, "json", "--value", file)
        equal = expected and code == 0 and same(wide(expected[0]), tree(output))
    if code not in (0, 1):
        return "FAILED: ended with %d" % code
    if expected is None:
        if code == 1:
            return "no JSON, refused"
        return "no JSON, taken" if form == "wide" else "FAILED: no JSON, taken"
    if equal:
        return "the same"
    return reason or "FAILED: " + (error.strip() or "another value")


def main():
    vn = sys.argv[1]
    files = documents(sys.argv[2:] or FOLDERS)
    if not files:
        print("skipped: no JSON documents on this machine")
        return SKIPPED
    table = collections.Counter()
    failures = 0
    for file in files:
        with open(file, "rb") as source:
            data = source.read()
        expected = python_value(data)
        text = data.decode("utf-8", "replace")
        for form in ("wide", "strict"):
            reason = None
            if expected:
                reason = strict_reason(expected[0]) if form == "strict" else wide_reason(expected[0], text)
            result = compare(vn, file, form, expected, reason)
            if result.startswith("FAILED"):
                failures += 1
            if result.startswith("FAILED") and failures <= SHOWN:
                print("%s, %s: %s" % (file, form, result))
            table[form, result.split(":")[0]] += 1
    print("%d documents" % len(files))
    for (form, result), count in sorted(table.items()):
        print("  %-7s %6d  %s" % (form, count, result))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
