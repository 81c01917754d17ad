#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Writes OUT/old.txt and OUT/new.txt: WORDS words of text-like prose (a vocabulary of made-up
words drawn with a Zipf-like frequency, twelve words a line) that differ in 1% of their words.
With --distinct, every word of both texts is a different one (no word matches: the engine's
tables hold every word). The same arguments always give the same files."""
import os
import random
import sys

words, out = int(sys.argv[1]), sys.argv[2]
rng = random.Random(20240611)
if sys.argv[3:] == ["--distinct"]:
    os.makedirs(out, exist_ok=True)
    for name, mark in (("old.txt", "o"), ("new.txt", "n")):
        text = ["".join(rng.choices("abcdefghijklmnopqrstuvwxyz", k=6)) + mark + str(i) for i in range(words)]
        with open(os.path.join(out, name), "w", encoding="utf-8") as f:
            for start in range(0, words, 12):
                f.write(" ".join(text[start:start + 12]) + "\n")
    sys.exit(0)
letters = "etaoinshrdlcumwfgypbvkjxqz"
weights = [12, 9, 8, 8, 7, 7, 6, 6, 6, 4, 4, 3, 3, 2, 2, 2, 2, 2, 2, 1, 1, 1, 1, 1, 1, 1]
lengths = [1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 7, 8, 9, 10]
vocabulary = list(dict.fromkeys("".join(rng.choices(letters, weights, k=rng.choice(lengths))) for _ in range(40000)))
rng.shuffle(vocabulary)
cumulative, total = [], 0.0
for rank in range(len(vocabulary)):
    total += 1.0 / (rank + 1)
    cumulative.append(total)

old = rng.choices(vocabulary, cum_weights=cumulative, k=words)
new = list(old)
for position in rng.sample(range(words), words // 100):
    replacement = old[position]
    while replacement == old[position]:
        replacement = rng.choice(vocabulary)
    new[position] = replacement

os.makedirs(out, exist_ok=True)
for name, text in (("old.txt", old), ("new.txt", new)):
    with open(os.path.join(out, name), "w", encoding="utf-8") as f:
        for start in range(0, words, 12):
            f.write(" ".join(text[start:start + 12]) + "\n")
