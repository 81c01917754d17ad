#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Times QJKit's Blowfish beside OpenSSL's (BF_encrypt, BF_set_key) and QJKit's coding of 1 MB, and
# prints the medians of five runs (CPU time) as markdown table rows with ratios.
# Usage: bench/coding/compare.sh [BUILD_DIR]   (configured with -DQJKIT_BUILD_BENCH=ON)
set -euo pipefail
build=${1:-build}
bin="$build/bench/coding/bench_coding"
if [[ ! -x "$bin" ]]; then
  echo "compare.sh: $bin is missing; configure with -DQJKIT_BUILD_BENCH=ON and build bench_coding" >&2
  exit 2
fi
json=$(mktemp)
trap 'rm -f "$json"' EXIT
"$bin" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true --benchmark_format=json >"$json"

python3 - "$json" <<'PY'
import json, sys

runs = {}
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    if b.get("aggregate_name") == "median":
        scale = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[b["time_unit"]]
        runs[b["run_name"]] = (b["cpu_time"] * scale, b.get("bytes_per_second"))

def rate(name):
    return runs[name][1] / 1e6 if name in runs else None

def micros(name):
    return runs[name][0] * 1e6 if name in runs else None

def row(what, ours, theirs, unit, higher_is_better):
    if theirs is None:
        print(f"| {what} | {ours:.1f} {unit} | — | — |")
        return
    ratio = ours / theirs if higher_is_better else theirs / ours
    print(f"| {what} | {ours:.1f} {unit} | {theirs:.1f} {unit} | {ratio:.2f}× {'faster' if ratio >= 1 else 'slower'} |")

print("| Blowfish | QJKit | OpenSSL | QJKit vs OpenSSL |")
print("|---|---|---|---|")
row("Block encryption, 8-byte blocks", rate("QJKit_EncryptBlocks"), rate("OpenSSL_EncryptBlocks"), "MB/s", True)
row("Key schedule, 16-byte key", micros("QJKit_KeySchedule"), micros("OpenSSL_KeySchedule"), "µs", False)
row("Encode 1 MB of property-list text (plain bytes)", rate("QJKit_Encode1MB"), None, "MB/s", True)
row("Encode 1 MB, data form (QByteArray)", rate("QJKit_EncodeData1MB"), None, "MB/s", True)
row("Decode 1 MB of property-list text (plain bytes)", rate("QJKit_Decode1MB"), None, "MB/s", True)
row("Decode 1 MB, every chunk different (plain bytes)", rate("QJKit_DecodeDistinctChunks1MB"), None, "MB/s", True)
PY
