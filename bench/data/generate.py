#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Deterministic input data for the benchmarks.

usage: generate.py [--quick] FOLDER

Writes, with fixed seeds (the same bytes on every machine):
  keys.txt   1,000,000 distinct short keys, one a line
  blob.bin   100 MB of mildly compressible bytes
  words.txt  20 MB of text, some 50,000 different words, the most frequent ones far ahead
  source.txt 20 MB of C-like source text
  big.xml    20 MB of XML
  small.xml  20 KB of XML
  records.json, record.json  arrays of records, 20 MB and 20 KB
With --quick a hundredth of it.
"""
import os
import random
import struct
import sys

WORDS = ("alpha bravo carbon delta ember forest garden harbor island jungle "
         "kernel ladder magnet needle orchid pepper quartz river saddle timber "
         "umbrella valley window yellow zephyr anchor bridge castle dragon "
         "engine falcon glacier hammer ivory jacket kettle lantern mirror "
         "notebook ocean pencil quiver rocket silver tunnel velvet whisper "
         "a of to in the and is it on as by or be an at").split()
ACCENTED = ["caf\u00e9", "na\u00efve", "\u00fcber", "se\u00f1or", "\u0441\u043b\u043e\u0432\u043e"]


def keys(path, count, seed):
    rnd = random.Random(seed)
    seen = set()
    while len(seen) < count:
        r = rnd.random()
        if r < 0.5:
            k = "%s.%s%d" % (rnd.choice(WORDS), rnd.choice(WORDS), rnd.randint(0, 99999))
        elif r < 0.8:
            k = "%s_%d" % (rnd.choice(WORDS), rnd.randint(0, 9999999))
        else:
            k = "%016x" % rnd.getrandbits(64)
        seen.add(k)
    rows = sorted(seen)
    rnd.shuffle(rows)
    with open(path, "w", encoding="ascii", newline="\n") as f:
        f.write("\n".join(rows) + "\n")


def blob(path, size, seed):
    rnd = random.Random(seed)
    block = bytearray()
    while len(block) < 1_000_000:
        block += struct.pack(">I", rnd.getrandbits(32))
        block += rnd.choice(WORDS).encode()
    block = bytes(block[:1_000_000])
    with open(path, "wb") as f:
        for _ in range(size // len(block)):
            f.write(block)


def words(path, size, seed):
    """Text whose word frequencies fall as those of a language do: one over the rank."""
    rnd = random.Random(seed)
    vocabulary = []
    seen = set()
    while len(vocabulary) < 50_000:
        word = "".join(rnd.choice("etaoinshrdlucmfwypvbgkjqxz"[:rnd.randint(8, 26)])
                       for _ in range(min(2 + len(vocabulary) // 5_000 + rnd.randint(0, 6), 14)))
        if word not in seen:
            seen.add(word)
            vocabulary.append(word)
    total, weights = 0.0, []
    for rank in range(len(vocabulary)):
        total += 1.0 / (rank + 3)
        weights.append(total)
    written = 0
    with open(path, "w", encoding="ascii", newline="\n") as f:
        while written < size:
            line = rnd.choices(vocabulary, cum_weights=weights, k=rnd.randint(6, 16))
            if rnd.random() < 0.3:
                line[0] = line[0].capitalize()
            if rnd.random() < 0.1:
                line.insert(3, str(rnd.randint(0, 9999)))
            text = " ".join(line) + rnd.choice((".", ",", ";", "", "")) + "\n"
            f.write(text)
            written += len(text)


def sentence(rnd, low, high):
    return " ".join(rnd.choice(WORDS) for _ in range(rnd.randint(low, high)))


def source(path, size, seed):
    rnd = random.Random(seed)
    out, total = [], 0

    def name():
        return rnd.choice(WORDS) + rnd.choice(("", "_" + rnd.choice(WORDS), str(rnd.randint(0, 99))))

    def number():
        r = rnd.random()
        if r < 0.7:
            return str(rnd.randint(0, 99999))
        return "%.3f" % rnd.uniform(0, 1000)

    def operand():
        r = rnd.random()
        if r < 0.6:
            return name()
        if r < 0.9:
            return number()
        return '"%s"' % sentence(rnd, 1, 5)

    ops = ("+", "-", "*", "/", "<<", ">>", "==", "!=", "<=", ">=", "&&", "||", "<", ">", "&", "|")
    while total < size:
        lines = ["// %s\n" % sentence(rnd, 3, 9),
                 "int %s(int %s, int %s)\n{\n" % (name(), name(), name())]
        for _ in range(rnd.randint(2, 12)):
            r = rnd.random()
            if r < 0.5:
                lines.append("    %s = %s %s %s;\n" % (name(), operand(), rnd.choice(ops), operand()))
            elif r < 0.7:
                lines.append("    if (%s %s %s) { %s(%s, %s); }\n"
                             % (name(), rnd.choice(ops), operand(), name(), operand(), operand()))
            elif r < 0.8:
                lines.append("    /* %s */\n" % sentence(rnd, 2, 12))
            elif r < 0.9:
                lines.append("    %s[%s] += %s;\n" % (name(), number(), operand()))
            else:
                lines.append("    while (%s) %s->%s();\n" % (name(), name(), name()))
        lines.append("    return %s;\n}\n\n" % operand())
        text = "".join(lines)
        total += len(text)
        out.append(text)
    with open(path, "w", encoding="ascii", newline="\n") as f:
        f.write("".join(out))


def xml_record(rnd, i, out):
    out.append('  <item id="i%d" kind="%s" weight="%.3f">\n'
               % (i, rnd.choice(WORDS), rnd.uniform(0, 1000)))
    out.append('    <title lang="en">%s</title>\n' % sentence(rnd, 2, 6))
    text = sentence(rnd, 8, 40)
    if rnd.random() < 0.25:
        text += " salt &amp; pepper"
    if rnd.random() < 0.10:
        text += " " + rnd.choice(ACCENTED)
    out.append('    <body>%s <em>%s</em> %s<br/>%s</body>\n'
               % (text, rnd.choice(WORDS), sentence(rnd, 1, 8), sentence(rnd, 1, 8)))
    if rnd.random() < 0.15:
        out.append('    <!-- %s -->\n' % sentence(rnd, 3, 10))
    if rnd.random() < 0.10:
        out.append('    <script><![CDATA[if (a < b && b > %d) { %s }]]></script>\n'
                   % (rnd.randint(0, 99), sentence(rnd, 3, 10)))
    out.append('    <tags>')
    for _ in range(rnd.randint(0, 5)):
        out.append('<t n="%d" v="%s &amp; %s"/>' % (rnd.randint(0, 999), rnd.choice(WORDS), rnd.choice(WORDS))
                   if rnd.random() < 0.1 else
                   '<t n="%d" v="%s"/>' % (rnd.randint(0, 999), rnd.choice(WORDS)))
    out.append('</tags>\n')
    out.append('    <pos x="%d" y="%d" z="%d"/>\n'
               % tuple(rnd.randint(-10000, 10000) for _ in range(3)))
    out.append('  </item>\n')


def xml(path, size, seed):
    rnd = random.Random(seed)
    out = ['<?xml version="1.0" encoding="UTF-8"?>\n<catalogue version="1.0">\n']
    total, i = 0, 0
    while total < size:
        part = []
        xml_record(rnd, i, part)
        text = "".join(part)
        total += len(text)
        out.append(text)
        i += 1
    out.append('</catalogue>\n')
    with open(path, "w", encoding="utf-8", newline="\n") as f:
        f.write("".join(out))


def json_record(rnd, i):
    text = sentence(rnd, 5, 25)
    if rnd.random() < 0.2:
        text += '\\n\\"quoted\\" \\u00e9'
    if rnd.random() < 0.1:
        text += " " + rnd.choice(ACCENTED)
    tags = ",".join('"%s"' % rnd.choice(WORDS) for _ in range(rnd.randint(0, 5)))
    nums = ",".join("%d" % rnd.randint(-100000, 100000) for _ in range(rnd.randint(0, 8)))
    return ('{"id":%d,"name":"%s","active":%s,"ratio":%.6f,"score":%.3f,'
            '"parent":%s,"text":"%s","tags":[%s],"values":[%s],'
            '"pos":{"x":%.4f,"y":%.4f,"label":"%s"}}'
            % (i, rnd.choice(WORDS), rnd.choice(("true", "false")),
               rnd.random(), rnd.uniform(-1000, 1000),
               "null" if rnd.random() < 0.3 else str(rnd.randint(0, i + 1)),
               text, tags, nums, rnd.uniform(-180, 180), rnd.uniform(-90, 90),
               rnd.choice(WORDS)))


def records(path, size, seed):
    rnd = random.Random(seed)
    rows, total = [], 0
    while total < size:
        rows.append(json_record(rnd, len(rows)))
        total += len(rows[-1])
    with open(path, "w", encoding="utf-8", newline="\n") as f:
        f.write("[" + ",".join(rows) + "]")


# name, writer, size, seed
FILES = (
    ("keys.txt", keys, 1_000_000, 15),
    ("blob.bin", blob, 100_000_000, 17),
    ("words.txt", words, 20_000_000, 19),
    ("source.txt", source, 20_000_000, 14),
    ("big.xml", xml, 20_000_000, 11),
    ("small.xml", xml, 20_000, 12),
    ("records.json", records, 20_000_000, 13),
    ("record.json", records, 20_000, 13),
)


def main():
    args = [a for a in sys.argv[1:] if a != "--quick"]
    if len(args) != 1:
        sys.exit(__doc__)
    part = 100 if "--quick" in sys.argv else 1
    os.makedirs(args[0], exist_ok=True)
    for name, write, size, seed in FILES:
        path = os.path.join(args[0], name)
        # Under another name until it is complete, so that an interrupted run leaves nothing that looks whole.
        write(path + ".part", size // part, seed)
        os.replace(path + ".part", path)
        print("%-12s %12d" % (name, os.path.getsize(path)))


if __name__ == "__main__":
    main()
