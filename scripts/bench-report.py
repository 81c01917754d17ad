#!/usr/bin/env python3
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs every side-by-side comparison under bench/ and the Google Benchmark programs against a
build configured with -DQJKIT_BUILD_BENCH=ON, measures how diff and statistics time grow with the
input, plots that, and writes everything, with the machine and the tool versions, to one markdown
report. `make bench` runs it.

    scripts/bench-report.py BUILD_DIR [REPORT]            measures, then writes REPORT
    scripts/bench-report.py --render BUILD_DIR [REPORT]   writes REPORT again from the last run's figures

REPORT defaults to docs/performance.md; the plot goes to images/ beside it. The figures of a run are
kept in BUILD_DIR/bench-report.json, so the text around them can be changed without measuring again.
Every figure in the report comes from one run.
"""
import datetime
import json
import os
import platform
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def log(message):
    print(f"bench-report: {message}", file=sys.stderr, flush=True)


def run(command, **kwargs):
    """Runs COMMAND and answers its standard output; standard error passes through."""
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **kwargs).stdout


def first_line(command):
    try:
        out = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=30).stdout
        return out.strip().splitlines()[0] if out.strip() else "?"
    except (OSError, subprocess.SubprocessError):
        return "not installed"


def package_version(package):
    out = subprocess.run(["dpkg-query", "-W", "-f=${Version}", package], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, text=True).stdout
    return out or "not installed"


# ---------------------------------------------------------------------------------------------
# The machine


def machine():
    cpu = "?"
    for line in run(["lscpu"]).splitlines():
        if line.startswith("Model name:"):
            cpu = line.split(":", 1)[1].strip()
    memory = "?"
    for line in Path("/proc/meminfo").read_text().splitlines():
        if line.startswith("MemTotal:"):
            memory = f"{int(line.split()[1]) / 1024 / 1024:.1f} GiB"
    os_name = platform.platform()
    release = Path("/etc/os-release")
    if release.exists():
        fields = dict(line.split("=", 1) for line in release.read_text().splitlines() if "=" in line)
        os_name = fields.get("PRETTY_NAME", os_name).strip('"')
    return [
        ("CPU", cpu),
        ("Cores", f"{os.cpu_count()} (shared with other work on this machine; load average "
                  f"{os.getloadavg()[0]:.1f} when the run started)"),
        ("Memory", memory),
        ("OS", f"{os_name}, Linux {platform.release()}"),
    ]


def versions(build):
    cache = (Path(build) / "CMakeCache.txt").read_text()
    build_type = re.search(r"^CMAKE_BUILD_TYPE:\w+=(.*)$", cache, re.M)
    compiler = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", cache, re.M)
    return [
        ("QJKit build", f"{build_type.group(1) if build_type else '?'}, "
                        f"{first_line([compiler.group(1) if compiler else 'c++', '--version'])}"),
        ("Qt", package_version("qt6-base-dev")),
        ("Google Benchmark", package_version("libbenchmark-dev")),
        ("wc, sort", first_line(["wc", "--version"])),
        ("wdiff", first_line(["wdiff", "--version"])),
        ("git", first_line(["git", "--version"])),
        ("OpenSSL (libssl-dev)", package_version("libssl-dev")),
        ("Python", first_line(["python3", "--version"])),
        ("plistutil (libplist-utils)", package_version("libplist-utils")),
        ("libplist (libplist-dev)", package_version("libplist-dev")),
        ("curl", " ".join(first_line(["curl", "--version"]).split()[:2])),
        ("gnuplot", first_line(["gnuplot", "--version"])),
    ]


# ---------------------------------------------------------------------------------------------
# Side-by-side comparisons: bench/*/compare.sh, each printing markdown rows


def compare(script, *arguments):
    log(f"running {script} {' '.join(arguments)}")
    start = time.monotonic()
    out = run(["bash", str(ROOT / script), *arguments], cwd=ROOT)
    log(f"{script} took {time.monotonic() - start:.0f} s")
    return out.strip()


def seconds(cell):
    match = re.search(r"([0-9]+(?:\.[0-9]+)?) s\b", cell)
    return float(match.group(1)) if match else None


def cells(line):
    """The cells of a markdown table row; an escaped pipe stays inside its cell."""
    return [c.strip().replace("\\|", "|") for c in re.split(r"(?<!\\)\|", line.strip().strip("|"))]


def is_separator(line):
    return set(line.strip()) <= set("|-: ")


def tables(text):
    """The markdown tables in TEXT, each as (header cells or None, data rows)."""
    blocks, block = [], []
    for line in text.splitlines() + [""]:
        if line.startswith("|"):
            block.append(line)
        elif block:
            if len(block) >= 2 and is_separator(block[1]):
                blocks.append((cells(block[0]), [cells(row) for row in block[2:]]))
            else:
                blocks.append((None, [cells(row) for row in block]))
            block = []
    return blocks


def table_rows(text):
    """The data rows of every markdown table in TEXT."""
    return [row for _, rows in tables(text) for row in rows]


def summary_text(output):
    """Rows of bench/text/compare.sh: task | `qjkit …` T s | `tool` T s | ratio."""
    rows = []
    for row in table_rows(output):
        if len(row) >= 4 and row[1].startswith("`qjkit"):
            ours, theirs = seconds(row[1]), seconds(row[2])
            tool = re.match(r"`([^`]+)`", row[2]).group(1)
            rows.append((row[0], f"{ours:.2f} s", f"{tool}: {theirs:.2f} s", theirs / ours))
    return rows


def summary_diff(output):
    """Rows of bench/diff/compare.sh: words | MB | tool | time | CPU | memory | ÷ input | ÷ qjkit's."""
    rows, ours = [], {}
    for row in table_rows(output):
        if len(row) < 8:
            continue
        words, tool, wall, peak = row[0], row[2], float(row[3]), float(row[5])
        if tool == "qjkit":
            ours[words] = (wall, peak)
        elif words in ours:
            name = {"wdiff": "wdiff", "git": "git diff --word-diff", "diff": "GNU diff"}[tool]
            kind = "line" if words.endswith("lines") else "word"
            count = words.removesuffix(", lines")
            rows.append((f"{kind} diff of {count} words a side", f"{ours[words][0]:.3f} s, {ours[words][1]:.0f} MB",
                         f"{name}: {wall:.3f} s, {peak:.0f} MB", wall / ours[words][0]))
    return rows


def summary_coding(output):
    """Rows of bench/coding/compare.sh: what | ours unit | theirs unit | ratio."""
    rows = []
    for row in table_rows(output):
        if len(row) < 4 or row[2] == "—":
            continue
        ours, unit = row[1].split(" ", 1)
        theirs = row[2].split(" ", 1)[0]
        faster = float(ours) / float(theirs) if unit == "MB/s" else float(theirs) / float(ours)
        rows.append((f"Blowfish: {row[0].lower()}", row[1], f"OpenSSL: {row[2]}", faster))
    return rows


def summary_seconds(tool, subject):
    """Rows whose second and third cells hold seconds: task | ours | theirs | ..."""

    def parse(output):
        rows = []
        for row in table_rows(output):
            if len(row) >= 3 and seconds(row[1]) and seconds(row[2]):
                ours, theirs = seconds(row[1]), seconds(row[2])
                rows.append((f"{subject}: {row[0]}", f"{ours:.3f} s", f"{tool}: {theirs:.3f} s", theirs / ours))
        return rows

    return parse


def summary_plist(output):
    """Tables of bench/foundation/compare.sh: tool | time | CPU | memory | other ÷ qjkit [| memory ÷ file];
    qjkit first. Each other tool's row, with both sides' peak memory."""
    rows = []
    for header, data in tables(output):
        if not header or not data or not data[0][0].startswith("`qjkit"):
            continue
        job = header[0][0].lower() + header[0][1:]
        ours = float(data[0][1])
        ours_cell = f"{ours:.2f} s, {float(data[0][3]):.0f} MB"
        for row in data[1:]:
            if row[0].startswith("`qjkit"):
                continue
            name = ("libplist" if "plist_from_xml" in row[0]
                    else "plistlib" if "plistlib" in row[0]
                    else "plistutil, through binary" if "bin" in row[0] else "plistutil")
            rows.append(("property list: " + job.replace(" xml", " XML"), ours_cell,
                         f"{name}: {float(row[1]):.2f} s, {float(row[3]):.0f} MB", float(row[1]) / ours))
    return rows


# ---------------------------------------------------------------------------------------------
# Google Benchmark programs


def google_benchmark(program, *arguments):
    log(f"running {program}")
    with tempfile.NamedTemporaryFile(suffix=".json") as out:
        environment = dict(os.environ, QT_QPA_PLATFORM="offscreen")
        subprocess.run([program, f"--benchmark_out={out.name}", "--benchmark_out_format=json", *arguments],
                       check=True, stdout=subprocess.DEVNULL, env=environment)
        return json.load(open(out.name))["benchmarks"]


def duration(value, unit):
    value *= {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[unit]
    if value >= 1:
        return f"{value:.2f} s"
    if value >= 1e-3:
        return f"{value * 1e3:.2f} ms"
    if value >= 1e-6:
        return f"{value * 1e6:.2f} µs"
    return f"{value * 1e9:.0f} ns"


def benchmark_table(results):
    lines = ["| Benchmark | Wall time | CPU time | Throughput |", "|---|---|---|---|"]
    for b in results:
        if b.get("run_type") == "aggregate":
            continue
        if b.get("error_occurred"):
            lines.append(f"| `{b['name']}` | failed: {b.get('error_message', '?')} | | |")
            continue
        rate = ""
        if "bytes_per_second" in b:
            rate = f"{b['bytes_per_second'] / 1e6:.1f} MB/s"
        elif "items_per_second" in b:
            items = b["items_per_second"]
            rate = (f"{items / 1e6:.2f} M items/s" if items >= 1e6
                    else f"{items / 1e3:.1f} k items/s" if items >= 1e3 else f"{items:.0f} items/s")
        lines.append(f"| `{b['name']}` | {duration(b['real_time'], b['time_unit'])} | "
                     f"{duration(b['cpu_time'], b['time_unit'])} | {rate} |")
    return "\n".join(lines)


# ---------------------------------------------------------------------------------------------
# Growth with the input size, and its plot


def median_seconds(command, repeats=3):
    times = []
    for _ in range(repeats):
        start = time.perf_counter()
        subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
        times.append(time.perf_counter() - start)
    return statistics.median(times)


def scaling(build, work):
    qjkit = str(Path(build) / "tools/qjkit/qjkit")
    textgen = str(Path(build) / "bench/text/textgen")
    rows = []
    for words in (250_000, 500_000, 1_000_000, 2_000_000, 4_000_000):
        folder = Path(work) / f"diff-{words}"
        subprocess.run([sys.executable, str(ROOT / "bench/diff/gen_texts.py"), str(words), str(folder)], check=True)
        size = ((folder / "old.txt").stat().st_size + (folder / "new.txt").stat().st_size) / 1e6
        t = median_seconds([qjkit, "diff", "--type", "words", str(folder / "old.txt"), str(folder / "new.txt")])
        rows.append(("diff", f"{words:,} words a side", size, t))
        log(f"diff of {words} words: {t:.3f} s")
        shutil.rmtree(folder)
    for megabytes in (12, 25, 50, 100, 200):
        path = Path(work) / f"prose-{megabytes}.txt"
        with open(path, "wb") as out:
            subprocess.run([textgen, "prose", str(megabytes)], check=True, stdout=out)
        t = median_seconds([qjkit, "stats", str(path)])
        rows.append(("stats", f"{megabytes} MB of prose", path.stat().st_size / 1e6, t))
        log(f"statistics of {megabytes} MB: {t:.3f} s")
        path.unlink()
    # Fitting grew with the square of the text; a command argument holds at most 128 KiB.
    words = "harbour lantern kettle notebook letter station window river ".split()
    for units in (8_000, 16_000, 32_000, 64_000, 128_000):
        text = " ".join(words[i % len(words)] for i in range(units))[: units - 1]
        t = median_seconds([qjkit, "fit", "--keep-start", "--width", "100", text])
        rows.append(("fit", f"{units:,} units", units * 2 / 1e6, t))
        log(f"fit of {units} units: {t:.3f} s")
    return rows


def plot(rows, png):
    with tempfile.TemporaryDirectory() as work:
        for kind in ("diff", "stats", "fit"):
            with open(Path(work) / f"{kind}.dat", "w") as data:
                for k, _, size, t in rows:
                    if k == kind:
                        data.write(f"{size} {t}\n")
        script = f"""
set terminal pngcairo size 900,560 font "DejaVu Sans,11"
set output "{png}"
set title "Time against input size (qjkit, median of three runs)"
set xlabel "input size (MB, both texts for a diff)"
set ylabel "wall time (s)"
set logscale xy
set grid
set key top left
set format x "%g"
set format y "%g"
plot "{work}/diff.dat" using 1:2 with linespoints lw 2 pt 7 title "qjkit diff --type words", \\
     "{work}/stats.dat" using 1:2 with linespoints lw 2 pt 5 title "qjkit stats", \\
     "{work}/fit.dat" using 1:2 with linespoints lw 2 pt 9 title "qjkit fit --keep-start (UTF-16 MB)"
"""
        subprocess.run(["gnuplot"], input=script, text=True, check=True)


def growth(rows, kind):
    """How many times the largest input is the smallest, and how many times as long it takes."""
    points = [(size, t) for k, _, size, t in rows if k == kind]
    (s0, t0), (s1, t1) = points[0], points[-1]
    return s1 / s0, t1 / t0


# ---------------------------------------------------------------------------------------------


# The side-by-side comparisons: key, title, script, its argument (the build folder or the qjkit
# program), what it measures, the summary parser, and a header for scripts that print rows only.
COMPARISONS = [
    ("text", "Text: statistics and natural sort", "bench/text/compare.sh", "build",
     "A generated 100 MB UTF-8 prose file and a file of 1,000,000 file-name-like lines; the median "
     "wall-clock time of five runs of each command, in the `C.UTF-8` locale so that `wc -m` and "
     "`sort -V` work on characters. Ratio = QJKit's time ÷ the other tool's (below 1: QJKit is "
     "faster). The in-process rows are `bench_text`'s counting speed (`wholeLines` measures every "
     "paragraph's whole line again). `qjkit sort` uses a stable merge sort of its own, because two "
     "names that differ only in letter case compare as equal.",
     summary_text, None),
    ("diff", "Differences: word and line diff", "bench/diff/compare.sh", "qjkit",
     "Two generated texts of 1,000,000 and of 2,000,000 words a side (made-up words with a natural "
     "frequency spread, twelve to a line; the new text differs in 1% of the words), compared with "
     "`qjkit diff --type words`, `wdiff` and `git diff --no-index --word-diff`, and as lines with "
     "`qjkit diff --type lines` and GNU `diff`; then two texts of 850,000 words a side that share no "
     "word, for the engine's memory at its largest (every word in its tables); the best wall time "
     "of three runs with its CPU time and the largest peak memory. Last column: the tool's time ÷ "
     "qjkit's (above 1: qjkit is faster). `git diff --word-diff` compares lines first and splits only "
     "the changed lines into words, while the difference engine matches every word of both texts "
     "against the other text wherever it stands, and its output is about three times as long "
     "(unchanged runs are written on both sides). The files are mapped and handed to the engine as "
     "UTF-8, validated while their UTF-16 length is counted and cut into tokens on two threads; the "
     "first comparison numbers each text's distinct words once, and the JSON is written from the "
     "texts' bytes by two threads. Peak memory holds the mapped files, a copy of each cut into "
     "tokens, the token pointers and the engine's per-token tables.",
     summary_diff, None),
    ("coding", "Coding: Blowfish", "bench/coding/compare.sh", "build",
     "Google Benchmark, medians of five runs in CPU time, MB = 10^6 bytes; OpenSSL from Debian's "
     "`libssl-dev`, its low-level `BF_encrypt` and `BF_set_key`. Coding keys its context once per "
     "call (the key schedule row). A byte always codes to the same chunk under one key, so encoding "
     "enciphers each distinct byte once and copies its chunk; decoding remembers recently deciphered "
     "chunks, and input whose every chunk differs (the last row) is deciphered block by block.",
     summary_coding, None),
    ("collections", "Collections: key paths and merging", "bench/collections/compare.sh", "qjkit",
     "A generated tree of 10 keys per level, 5 levels deep (100,000 leaves, about 4 MB of XML); "
     "the whole command, best of three runs, beside the same job written with Python's plistlib. "
     "Ratio = plistlib's time ÷ qjkit's (above 1: qjkit is faster).",
     summary_seconds("plistlib", "collections"), "| Task | qjkit | plistlib | plistlib ÷ qjkit |"),
    ("plist", "Property lists: reading and writing XML", "bench/foundation/compare.sh", "build",
     "One generated XML property list of 78 MB (`bench/foundation/gen_plist.py`: 110,000 document "
     "records holding strings that need escaping, integers, reals, booleans, dates, data, arrays and "
     "nested dictionaries), read and written back as XML by `qjkit plist convert`, by libplist's own "
     "functions (`bench/foundation/plist_peer.c`: `plist_from_xml`, then `plist_to_xml`), by Python's "
     "plistlib (`plistlib.load`, then `plistlib.dumps(…, fmt=FMT_XML, sort_keys=True)`) and by "
     "plistutil. Given an XML file and `-f xml`, plistutil copies its input without parsing it, so "
     "its row converts to its binary format and back in a pipe; the second table starts from that "
     "binary file. The third reads a list just under the reader's limit of 256 MiB, and writes it "
     "again or (`plist get`) only reads it. Median wall time of three runs, the CPU time of that run, "
     "the largest peak memory (MB = 2^20 bytes here) and that peak ÷ the file's size. qjkit maps the "
     "file and lets go of the pages it has read, and writes the XML a piece at a time, so its peak is "
     "mostly the values read.",
     summary_plist, None),
    ("update", "Update check", "bench/update/compare.sh", "build",
     "Generated version folders served on 127.0.0.1 by the demo's version server (HTTP/1.1, "
     "connections kept open, as production servers keep them) and by `python3 -m http.server` "
     "(HTTP/1.0, a new connection per request); `qjkit check-update` beside `curl` fetching the same "
     "files in one process, one after another. qjkit fetches the records four at a time, which "
     "hides a remote server's latency; the Python server runs one request at a time under its "
     "interpreter lock and hands it between threads every few milliseconds, so concurrent requests "
     "gain nothing there and its time dominates both sides. Ratio = qjkit's time ÷ curl's.",
     summary_seconds("curl", "update check"), "| Versions | qjkit | curl | qjkit ÷ curl |"),
]

# The Google Benchmark programs: key, title, what the reader needs to know.
IN_PROCESS = [
    ("foundation", "Property lists (`bench_foundation`)",
     "`QJPropertyListSerialization` writing and reading the XML of N document records (the records "
     "of the 78 MB comparison; 1,000 records are about 0.7 MB). `readMutableXml` makes mutable "
     "containers."),
    ("diff", "Difference engine (`bench_diff`)",
     "`Dict` (set every old token, then get every new one), `DiffEngine::diff` and "
     "`QJDifferenceEngine` with type words (split both texts, compute the differences), for N tokens "
     "a side; the new side differs in 1% of the tokens."),
    ("collections", "Collections (`bench_collections`)",
     "Merging (`recursiveAddEntriesFromDictionary`) and listing key paths (`allKeyPaths`) of trees "
     "with 10 keys per level and N levels, and of chains N levels deep. Both grow linearly with the "
     "number of entries: a merge visits each entry of the overlay once (plus the copies of immutable "
     "containers it meets), and listing keeps one growing path instead of a prefix per level."),
    ("update", "Update check against a local server (`bench_update`)",
     "One whole check, from the host lookup to the last record, against the demo's version server "
     "on 127.0.0.1 (which keeps connections open), with N newer versions, every one fetched (the default "
     "limit of 100 is raised to N): the index and one record per version, four requests at a time; "
     "the items are the requests. `BM_NewerVersions` picks and orders the newer builds of an index "
     "of N keys."),
    ("demo", "The demo's statistics while typing (`bench_demo`)",
     "One keystroke and its Backspace in the middle of a 1 MB document in the demo's "
     "`QPlainTextEdit` (offscreen): with the running statistics of the status bar attached, without "
     "them, and counting the whole text again instead (`toPlainText()` and one `countForRange`). "
     "The first two differ by what the status bar adds to a keystroke: it counts the touched "
     "paragraph out and in and moves its copy of the text."),
]


def measure(build):
    qjkit = str(Path(build) / "tools/qjkit/qjkit")
    figures = {
        "started": datetime.datetime.now(datetime.timezone.utc).isoformat(),
        "machine": machine(),
        "versions": versions(build),
        "comparisons": {},
        "in_process": {},
    }
    for key, _, script, argument, *_ in COMPARISONS:
        figures["comparisons"][key] = compare(script, build if argument == "build" else qjkit)
    for key, *_ in IN_PROCESS:
        program = Path(build) / f"bench/{key}/bench_{key}"
        if program.exists():
            figures["in_process"][key] = google_benchmark(str(program))
    log("measuring growth with the input size")
    with tempfile.TemporaryDirectory(dir=build) as work:
        figures["growth"] = scaling(build, work)
    figures["finished"] = datetime.datetime.now(datetime.timezone.utc).isoformat()
    return figures


def render(figures, report):
    started = datetime.datetime.fromisoformat(figures["started"])
    finished = datetime.datetime.fromisoformat(figures["finished"])
    growth_rows = [tuple(row) for row in figures["growth"]]
    images = report.parent / "images"
    images.mkdir(parents=True, exist_ok=True)
    plot(growth_rows, images / "scaling.png")

    sections = []
    for key, title, script, argument, explanation, summarise, header in COMPARISONS:
        output = figures["comparisons"].get(key)
        if output is None:
            continue
        # Some scripts print their rows without a header; give the table one.
        lines = output.splitlines()
        if header and output.startswith("|") and not (len(lines) >= 2 and is_separator(lines[1])):
            output = header + "\n" + "|---" * header.count("|", 1) + "|\n" + output
        shown = f"{script} {'BUILD_DIR' if argument == 'build' else 'QJKIT'}"
        sections.append((title, shown, explanation, output, summarise(output)))

    out = []
    w = out.append
    w("# Performance")
    w("")
    w(f"Generated by `make bench` (`scripts/bench-report.py`) on {started:%Y-%m-%d}, from "
      f"{started:%H:%M} to {finished:%H:%M} UTC. Every figure on this page comes from that one run; run "
      "`make bench` to measure your own machine.")
    w("")
    w("| Machine | |")
    w("|---|---|")
    for key, value in figures["machine"] + figures["versions"]:
        w(f"| {key} | {value} |")
    w("")
    w("## Summary")
    w("")
    w("Speed-up = the other tool's time ÷ QJKit's for the same job on the same input (for throughput, "
      "QJKit's rate ÷ the other's): above 1, QJKit is faster. The sections below give every figure and "
      "how it was taken.")
    w("")
    w("| Job | QJKit | Other tool | Speed-up |")
    w("|---|---|---|---|")
    for _, _, _, _, rows in sections:
        for job, ours, theirs, faster in rows:
            w(f"| {job} | {ours} | {theirs} | {faster:.2f}× |")
    w("")
    w("## Growth with the input size")
    w("")
    w("![Time of qjkit diff and qjkit stats against input size](images/scaling.png)")
    w("")
    w("| Command | Input | Size (MB) | Time (s) | Time per MB (ms) |")
    w("|---|---|---|---|---|")
    for kind, label, size, t in growth_rows:
        command = {"diff": "qjkit diff --type words", "stats": "qjkit stats", "fit": "qjkit fit --keep-start --width 100"}[kind]
        w(f"| `{command}` | {label} | {size:.1f} | {t:.3f} | {t / size * 1e3:.1f} |")
    w("")
    diff_size, diff_time = growth(growth_rows, "diff")
    stats_size, stats_time = growth(growth_rows, "stats")
    w(f"The largest diff input is {diff_size:.1f} times the smallest and takes {diff_time:.1f} times as long; "
      f"for statistics, {stats_size:.1f} times the input takes {stats_time:.1f} times as long. Both grow "
      "linearly (process start-up and reading weigh a little more on the small inputs): the difference "
      "engine does a constant-time table lookup per token, and statistics are one pass over the text. "
      "The diff inputs come from `bench/diff/gen_texts.py`, the prose from `bench/text/textgen`; each "
      "point is the median of three runs of the whole command, reading the files included.")
    for title, shown, explanation, output, _ in sections:
        w("")
        w(f"## {title}")
        w("")
        w(f"`{shown}`: {explanation}")
        w("")
        w(output)
    w("")
    w("## In-process benchmarks")
    w("")
    w("Google Benchmark programs under `bench/` (built with `-DQJKIT_BUILD_BENCH=ON`), each run once with "
      "its default settings; `/N` after a name is its size argument.")
    for key, title, explanation in IN_PROCESS:
        if key in figures["in_process"]:
            w("")
            w(f"### {title}")
            w("")
            w(explanation)
            w("")
            w(benchmark_table(figures["in_process"][key]))
    w("")
    report.write_text("\n".join(out))
    if report == (ROOT / "docs/performance.md").resolve():
        update_readme(sections, started)
    log(f"wrote {report} and {images / 'scaling.png'}")


README_BEGIN = "<!-- performance-summary: written by make bench -->"
README_END = "<!-- performance-summary end -->"


def update_readme(sections, started):
    """Replaces the summary table between the README's markers with this run's."""
    readme = ROOT / "README.md"
    text = readme.read_text()
    if README_BEGIN not in text or README_END not in text:
        return
    rows = [f"Measured on {started:%Y-%m-%d} by `make bench`; speed-up = the other tool's time ÷ QJKit's "
            "(above 1: QJKit is faster).", "", "| Job | QJKit | Other tool | Speed-up |", "|---|---|---|---|"]
    for _, _, _, _, summary in sections:
        rows += [f"| {job} | {ours} | {theirs} | {faster:.2f}× |" for job, ours, theirs, faster in summary]
    head, rest = text.split(README_BEGIN, 1)
    readme.write_text(head + README_BEGIN + "\n" + "\n".join(rows) + "\n" + README_END + rest.split(README_END, 1)[1])
    log(f"updated the summary in {readme}")


def main():
    arguments = sys.argv[1:]
    rerender = arguments[:1] == ["--render"]
    if rerender:
        arguments = arguments[1:]
    if len(arguments) not in (1, 2):
        sys.exit(__doc__)
    build = os.path.abspath(arguments[0])
    report = Path(arguments[1] if len(arguments) == 2 else ROOT / "docs/performance.md").resolve()
    saved = Path(build) / "bench-report.json"
    if rerender:
        figures = json.loads(saved.read_text())
    else:
        figures = measure(build)
        saved.write_text(json.dumps(figures, indent=1))
    render(figures, report)


main()
