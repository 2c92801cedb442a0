#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Reads the XML documents that this machine's packages have installed, with vn and with xmllint.

usage: realDocumentsTest.py VN FOLDER [MOST] [ROOT...]

Where vn refuses a document that xmllint reads, the reason must be one of the known limits (docs/xml.md), and what
vn writes of those that it reads must be read by xmllint, but for what is known. Prints how many there are of each
kind. Without xmllint, or without documents, nothing is tested, and it ends with 77. Takes at most MOST documents
(default 300, 0 for all), evenly from all that there are.
"""
import collections
import concurrent.futures
import os
import re
import shutil
import subprocess
import sys

SUFFIXES = (".xml", ".svg", ".ui", ".xsl", ".xslt", ".rng", ".xsd", ".gir", ".docbook", ".xhtml", ".glade", ".page",
            ".theme.xml", ".qrc", ".ts", ".dtd.xml", ".conf", ".policy", ".rss", ".mml", ".dae", ".xmp")
ROOTS = ("/usr/share", "/etc")
LARGEST = 30_000_000
SKIPPED = 77


def find(roots):
    found = []
    for root in roots:
        for folder, _, names in os.walk(root):
            for name in names:
                path = os.path.join(folder, name)
                if name.endswith(SUFFIXES) and os.path.isfile(path) and not os.path.islink(path):
                    found.append(path)
    return sorted(found)


def is_document(path):
    """Whether it begins like XML: a suffix says little."""
    try:
        if not 0 < os.path.getsize(path) <= LARGEST:
            return False
        with open(path, "rb") as file:
            start = file.read(200)
    except OSError:
        return False
    return start.startswith((b"\xff\xfe", b"\xfe\xff")) or re.match(rb"(\xef\xbb\xbf)?\s*<[?!A-Za-z_]", start)


def text_of(path):
    with open(path, "rb") as file:
        data = file.read()
    if data[:2] in (b"\xff\xfe", b"\xfe\xff"):
        return data.decode("utf-16", "replace")
    found = re.match(rb"\s*(?:\xef\xbb\xbf)?<\?xml[^>]*encoding\s*=\s*[\"']([A-Za-z0-9._-]+)", data)
    try:
        return data.decode(found.group(1).decode() if found else "utf-8", "replace")
    except LookupError:
        return data.decode("latin-1")


def subset_of(text):
    """The internal subset of the document type."""
    found = re.search(r"<!DOCTYPE[^\[>]*\[(.*?)\]\s*>", text, re.S)
    return re.sub(r"<!--.*?-->", "", found.group(1), flags=re.S) if found else ""


def attributes_of(text):
    text = re.sub(r"<!--.*?-->|<!\[CDATA\[.*?\]\]>|<\?.*?\?>", "", text, flags=re.S)
    return re.findall(r"\s[^\s<>=\"']+\s*=\s*(\"[^\"<]*\"|'[^'<]*')", text)


def refusal(path, error):
    """Which of the limits it is that makes vn refuse a document; None for another reason."""
    text = text_of(path)
    subset = subset_of(text)
    if "Too large 'CharData'" in error or "Too large 'CData'" in error or "Too large 'Comment'" in error:
        return "a text of more than 65,535 tokens or bytes"
    if "Too large" in error:
        return "an attribute or instruction of more than 65,535 tokens or bytes"
    if "<!ENTITY" in subset:
        return "declares an entity"
    if re.search(r"%[A-Za-z_:]", subset):
        return "refers to a parameter entity"
    if re.search(r"<\?xml[^\s?]", text, re.I):
        return "an instruction whose target begins with xml"
    if re.search(r"[>;]\]+<[A-Za-z_:]", text):
        return "a text of ] alone before an element"
    if re.search(r"</?[^\s<>/!?]*[^\x00-\x7f]|\s[^\s<>=\"']*[^\x00-\x7f][^\s<>=\"']*\s*=\s*[\"']", text):
        return "a name with a character beyond the short lists"
    if "Too deep" in error:
        return "nests deeper than the limit"
    return None


def rejection(path, error, written):
    """What is known about a document whose written form xmllint refuses."""
    if re.search(r"Entity '[^']*' not defined", error):
        return "an entity of its document type, which is not written"
    if any('"' in value[1:-1] or "&quot;" in value or "&amp;quot;" in value for value in attributes_of(text_of(path))):
        return "a double quote in an attribute"
    return None


def lint(path):
    done = subprocess.run(["xmllint", "--noout", "--nonet", "--huge", path], capture_output=True, text=True,
                          errors="replace", timeout=120)
    return done.returncode == 0, done.stderr


def test(vn, folder, number, path):
    """The kind of the document, and whether that is a failure."""
    is_read, error = lint(path)
    with open(os.path.join(folder, "%d.xml" % number), "wb") as out:
        done = subprocess.run([vn, "xml", "--no-include", "file:" + path], stdout=out, stderr=subprocess.PIPE,
                              timeout=120)
    written, our_error = out.name, done.stderr.decode("utf-8", "replace")
    try:
        if done.returncode not in (0, 1):
            return "vn ended with %d" % done.returncode, True
        if done.returncode == 1:
            if not is_read:
                return "refused by both", False
            kind = refusal(path, our_error)
            return ("refused by vn: " + kind, False) if kind else ("refused by vn: " + our_error.strip(), True)
        if not is_read:
            return "read by vn only", False
        is_read, error = lint(written)
        if is_read:
            return "read by both, and what is written, too", False
        kind = rejection(path, error, written)
        return ("written form refused: " + kind, False) if kind else ("written form refused: " + error[:300], True)
    finally:
        os.remove(written)


def main():
    vn, folder = sys.argv[1], sys.argv[2]
    most = int(sys.argv[3]) if len(sys.argv) > 3 else 300
    if not shutil.which("xmllint"):
        print("skipped: no xmllint")
        return SKIPPED
    paths = [path for path in find(sys.argv[4:] or ROOTS) if is_document(path)]
    if most and len(paths) > most:
        paths = [paths[i * len(paths) // most] for i in range(most)]
    if not paths:
        print("skipped: no documents")
        return SKIPPED
    os.makedirs(folder, exist_ok=True)
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        results = list(pool.map(lambda item: test(vn, folder, *item), enumerate(paths)))
    for kind, count in collections.Counter(kind for kind, _ in results).most_common():
        print("%6d  %s" % (count, kind))
    failures = [(path, kind) for path, (kind, failed) in zip(paths, results) if failed]
    for path, kind in failures[:20]:
        print("%s: %s" % (path, kind))
    print("%d documents, %d failures" % (len(paths), len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
