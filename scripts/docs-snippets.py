#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Keeps the code the guides in docs/ quote identical to the compiled examples in examples/docs/.

A guide quotes a snippet with a marker line followed by a fenced code block:

    <!-- snippet: examples/docs/diff_example.cpp#compare -->
    ```cpp
    ...
    ```

and the source marks the snippet with `//! [compare]` lines before and after it (the markers
Doxygen's \\snippet command reads too). The quote is the lines between the markers, with their
common indentation removed.

    scripts/docs-snippets.py            checks every quote; exit 1 when one differs from its source
    scripts/docs-snippets.py --update   rewrites the quotes from the sources
"""
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MARKER = re.compile(r"^<!-- snippet: (\S+)#(\S+) -->$")


def snippet(source, name):
    lines = (ROOT / source).read_text().splitlines()
    marks = [i for i, line in enumerate(lines) if line.strip() == f"//! [{name}]"]
    if len(marks) != 2:
        raise ValueError(f"{source}: expected two '//! [{name}]' lines, found {len(marks)}")
    body = lines[marks[0] + 1:marks[1]]
    indent = min((len(line) - len(line.lstrip()) for line in body if line.strip()), default=0)
    return [line[indent:] for line in body]


def process(guide, update):
    """Answers the problems found in GUIDE; with UPDATE, rewrites its stale quotes."""
    lines = guide.read_text().splitlines()
    problems, out, i = [], [], 0
    while i < len(lines):
        out.append(lines[i])
        match = MARKER.match(lines[i])
        i += 1
        if not match:
            continue
        where = f"{guide.relative_to(ROOT)}:{i}"
        if i >= len(lines) or not lines[i].startswith("```"):
            problems.append(f"{where}: the snippet marker is not followed by a fenced code block")
            continue
        end = next((j for j in range(i + 1, len(lines)) if lines[j].startswith("```")), None)
        if end is None:
            problems.append(f"{where}: the code block is not closed")
            continue
        try:
            wanted = snippet(match.group(1), match.group(2))
        except (OSError, ValueError) as error:
            problems.append(f"{where}: {error}")
            wanted = lines[i + 1:end]
        if lines[i + 1:end] != wanted:
            problems.append(f"{where}: the quote of {match.group(1)}#{match.group(2)} differs from its source")
        out += [lines[i], *wanted, lines[end]]
        i = end + 1
    if update:
        guide.write_text("\n".join(out) + "\n")
    return problems


def main():
    update = sys.argv[1:] == ["--update"]
    if sys.argv[1:] and not update:
        sys.exit(__doc__)
    problems = []
    for guide in sorted((ROOT / "docs").glob("*.md")):
        problems += process(guide, update)
    if update:
        # Stale quotes are rewritten now; anything else still needs a hand.
        for problem in problems:
            print(f"docs-snippets: {problem}" + (": quoted again" if problem.endswith("its source") else ""),
                  file=sys.stderr)
        sys.exit(1 if any(not problem.endswith("its source") for problem in problems) else 0)
    for problem in problems:
        print(f"docs-snippets: {problem}", file=sys.stderr)
    if problems:
        print("docs-snippets: run scripts/docs-snippets.py --update to quote the sources again", file=sys.stderr)
        sys.exit(1)


main()
