#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Writes an XML property list of at least MEGABYTES million bytes to OUT: a library of document
records (strings with characters that need escaping, integers, reals, booleans, dates, data, arrays
and nested dictionaries). No randomness: the same arguments always give the same file.

    gen_plist.py MEGABYTES OUT"""
import datetime
import plistlib
import sys

WORDS = ("harbour", "lantern", "quay", "tide", "gull", "rope", "anchor", "mast", "keel", "chart",
         "north", "spray", "dock", "crane", "ferry", "buoy", "swell", "pier", "net", "sail")


def record(i):
    w = len(WORDS)
    return {
        "identifier": f"doc-{i:07d}",
        "title": f"Chapter {i}: {WORDS[i % w]} & {WORDS[(i * 7) % w]} <draft>",
        "wordCount": (i * 7919) % 100003,
        "progress": ((i * 37) % 1000) / 1000,
        "draft": i % 3 == 0,
        "modified": datetime.datetime(2021, 1, 1) + datetime.timedelta(seconds=i * 97),
        "checksum": bytes((i * k + k) % 256 for k in range(24)),
        "tags": [WORDS[(i + k) % w] for k in range(i % 5)],
        "outline": {"sections": i % 12, "open": i % 2 == 0, "summary": f"Section {i % 12} of {WORDS[i % w]}"},
    }


def main():
    target, out = float(sys.argv[1]) * 1e6, sys.argv[2]
    sample = len(plistlib.dumps({"documents": [record(i) for i in range(1000)]}, sort_keys=True))
    count = int(target / (sample / 1000)) + 1
    while True:
        data = plistlib.dumps({"name": "Bench Library", "version": 3, "documents": [record(i) for i in range(count)]},
                              fmt=plistlib.FMT_XML, sort_keys=True)
        if len(data) >= target:
            break
        count += int((target - len(data)) / (sample / 1000)) + 10
    with open(out, "wb") as f:
        f.write(data)


main()
