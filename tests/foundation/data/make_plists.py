#!/usr/bin/env python3
"""Writes random property lists with Python's plistlib, each as XML and as binary.

usage: make_plists.py OUTDIR COUNT SEED
For case N: N.xml (XML, keys sorted) and N.bplist (binary). The tests read both with QJKit and
check that QJKit writes the XML form back byte for byte.
"""
import datetime
import plistlib
import random
import sys

STRINGS = ["", "plain", "two words", "caf\u00e9", "a & b < c > d", "tab\there", "line\nbreak",
           "cr\rhere", "crlf\r\nhere", "\uff01fullwidth", "\U0001F600 face", "\u00e9t\u00e9", "Z", "a",
           "\u2028sep", "quote\"s", "apos'", "]]>", "<![CDATA[x]]>"]


def leaf(rng):
    kind = rng.randrange(8)
    if kind == 0:
        return rng.choice(STRINGS) + str(rng.randrange(100))
    if kind == 1:
        return rng.choice([0, 1, -1, 42, -(2 ** 63), 2 ** 63 - 1, 2 ** 64 - 1, 2 ** 40, rng.randrange(-10 ** 12, 10 ** 12)])
    if kind == 2:
        return rng.choice([True, False])
    if kind == 3:
        return rng.choice([0.1, 2.5, -0.0, 1e16, 1e-5, 123456.789, float("inf"), rng.uniform(-1e6, 1e6)])
    if kind == 4:
        return bytes(rng.randrange(256) for _ in range(rng.choice([0, 1, 2, 3, 33, 34, 57, 100, 200])))
    if kind == 5:
        return datetime.datetime(rng.randrange(1950, 2100), rng.randrange(1, 13), rng.randrange(1, 29),
                                 rng.randrange(24), rng.randrange(60), rng.randrange(60))
    return rng.choice(STRINGS)


def tree(rng, depth):
    if depth > 5 or rng.random() < 0.3:
        return leaf(rng)
    if rng.random() < 0.5:
        return [tree(rng, depth + 1) for _ in range(rng.randrange(5))]
    return {rng.choice(STRINGS) + str(rng.randrange(20)): tree(rng, depth + 1) for _ in range(rng.randrange(6))}


def main():
    out, count, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    rng = random.Random(seed)
    for n in range(count):
        root = tree(rng, 0)
        if n % 3 == 0:
            root = {"root": root, "n": n}
        with open(f"{out}/{n}.xml", "wb") as f:
            f.write(plistlib.dumps(root, fmt=plistlib.FMT_XML, sort_keys=True))
        with open(f"{out}/{n}.bplist", "wb") as f:
            f.write(plistlib.dumps(root, fmt=plistlib.FMT_BINARY, sort_keys=True))


main()
