#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs two builds of "qjkit diff" on the same random inputs and reports every case where their
exit status, standard output or standard error differ. Used to check that a faster build still
answers byte for byte what an earlier one did.

    scripts/diff-crosscheck.py REFERENCE_QJKIT CANDIDATE_QJKIT [CASES] [SEED]

The inputs mix ASCII words, every comparison type's separators and marks, tabs and carriage
returns, characters of two, three and four UTF-8 bytes (so that the scan, limited to the UTF-16
length, stops inside a character), byte order marks at the start and inside, control characters,
NUL bytes, JSON and HTML specials, invalid UTF-8, empty texts, standard input, and texts long
enough for the command's threaded paths."""
import os
import random
import subprocess
import sys
import tempfile

PIECES = [
    "a", "b", "c", "the", "word", "Word", "x", "y", "lorem", "ipsum", "dolor",
    "é", "café", "ß", "中文", "字", "😀", "a😀b", "\u2028", "\u00a0", "\ufeff", "\ufeffa", "\ufeff\ufeff",
    "!", ",", ".", "?", ":", "(", ")", "a,b", "(x)", "end.", "Yes!", "!!", "x.y",
    "\t", "a\tb", "\r", "line\r", '"', "\\", '"q"', "<", ">", "&", "'", "<b>&amp;",
    "\x01", "\x1f", "\x7f", "\x00", "a\x00b", "\x0b\x0c",
]
SEPARATORS = [" ", " ", " ", "\n", "  ", "\n\n", " \n", ""]
INVALID = [b"\xff", b"\xc3", b"\xc0\x80", b"\xed\xa0\x80", b"\xf4\x90\x80\x80", b"\xe2\x82", b"\x80"]
TYPES = ["words", "lines", "punctuation", "0", "1", "2", "7", "-3"]


def text(rng, count, pieces):
    out = []
    for _ in range(count):
        out.append(rng.choice(pieces))
        out.append(rng.choice(SEPARATORS))
    return "".join(out)


def mutate(rng, old, pieces):
    words = old.split(" ")
    for _ in range(rng.randint(0, max(1, len(words) // 10))):
        action = rng.randrange(4)
        position = rng.randrange(len(words) + 1)
        if action == 0 and position < len(words):
            words[position] = rng.choice(pieces)
        elif action == 1:
            words.insert(position, rng.choice(pieces))
        elif action == 2 and position < len(words):
            del words[position]
        else:
            rng.shuffle(words[position:position + 5])
    return " ".join(words)


def encoded(rng, s):
    data = s.encode("utf-8", "surrogatepass")
    if rng.random() < 0.1:
        data = b"\xef\xbb\xbf" + data
    if rng.random() < 0.06 and data:
        cut = rng.randrange(len(data) + 1)
        data = data[:cut] + rng.choice(INVALID) + data[cut:]
    return data


def case(rng, size):
    pieces = rng.sample(PIECES, rng.randint(2, len(PIECES))) if rng.random() < 0.7 else PIECES[:10]
    old = text(rng, size, pieces)
    shape = rng.random()
    if shape < 0.1:
        new = old
    elif shape < 0.2:
        new = text(rng, size, pieces)
    elif shape < 0.25:
        new = ""
    elif shape < 0.3:
        old, new = "", old
    else:
        new = mutate(rng, old, pieces)
    return encoded(rng, old), encoded(rng, new)


def run(tool, args, stdin, cwd):
    p = subprocess.run([tool, "diff"] + args, input=stdin, capture_output=True, cwd=cwd, timeout=120)
    return p.returncode, p.stdout, p.stderr


def main():
    reference, candidate = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    cases = int(sys.argv[3]) if len(sys.argv) > 3 else 2000
    rng = random.Random(int(sys.argv[4]) if len(sys.argv) > 4 else 1)
    failures = 0
    with tempfile.TemporaryDirectory() as work:
        for n in range(cases):
            roll = rng.random()
            size = rng.choice([0, 1, 2, 3, 5, 10, 40]) if roll < 0.75 else rng.choice([2000, 30000, 120000])
            old, new = case(rng, size)
            with open(os.path.join(work, "old"), "wb") as f:
                f.write(old)
            with open(os.path.join(work, "new"), "wb") as f:
                f.write(new)
            args = []
            if rng.random() < 0.9:
                args += ["--type", rng.choice(TYPES)] if rng.random() < 0.5 else ["--type=" + rng.choice(TYPES)]
            if rng.random() < 0.2:
                args.append("--html")
            files, stdin = ["old", "new"], None
            roll = rng.random()
            if roll < 0.1:
                files, stdin = ["-", "new"], old
            elif roll < 0.2:
                files, stdin = ["old", "-"], new
            elif roll < 0.22:
                files = ["old", "missing"]
            elif roll < 0.24:
                files = ["missing", "new"]
            elif roll < 0.25:
                files = ["-", "-"]
            elif roll < 0.27:
                files = ["old", "/dev/null"]
            if rng.random() < 0.01:
                args = ["--type=chars"]
            args += files
            a = run(reference, args, stdin, work)
            b = run(candidate, args, stdin, work)
            if a != b:
                failures += 1
                keep = os.path.join(tempfile.gettempdir(), "diff-crosscheck-%d" % n)
                os.makedirs(keep, exist_ok=True)
                for name, data in (("old", old), ("new", new)):
                    with open(os.path.join(keep, name), "wb") as f:
                        f.write(data)
                print("case %d differs: qjkit diff %s (inputs kept in %s)" % (n, " ".join(args), keep))
                for label, x, y in (("status", a[0], b[0]), ("stdout", a[1], b[1]), ("stderr", a[2], b[2])):
                    if x != y:
                        print("  %s: %r\n     vs %r" % (label, x[:300] if label != "status" else x,
                                                      y[:300] if label != "status" else y))
                if failures >= 10:
                    break
    print("%d cases, %d differing" % (n + 1, failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
