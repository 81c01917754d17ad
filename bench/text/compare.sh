#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Times qjkit's text commands beside the usual tools on the same generated inputs and prints markdown
# table rows with the ratios (QJKit time / other tool's time; below 1 means QJKit is faster).
#
#   bench/text/compare.sh [BUILD_DIR] [RUNS]
#
# BUILD_DIR must be configured with -DQJKIT_BUILD_BENCH=ON (default: build). Inputs are generated
# deterministically into BUILD_DIR/bench-data the first time. Each command runs RUNS times (default 5)
# and its median wall-clock time is reported.
set -euo pipefail
source "$(dirname "$0")/../../scripts/lib/common.sh"
build=${1:-build}
runs=${2:-5}
qjkit=$build/tools/qjkit/qjkit
textgen=$build/bench/text/textgen
bench=$build/bench/text/bench_text
for tool in "$qjkit" "$textgen"; do
  [[ -x $tool ]] || { echo "compare.sh: $tool is missing; configure $build with -DQJKIT_BUILD_BENCH=ON and build it" >&2; exit 2; }
done

data=$build/bench-data
mkdir -p "$data"
prose=$data/prose-100MB.txt
names=$data/names-1M.txt
[[ -s $prose ]] || "$textgen" prose 100 > "$prose"
[[ -s $names ]] || "$textgen" names 1000000 > "$names"

# wc -m and sort need a UTF-8 locale to count and compare characters rather than bytes.
export LC_ALL=C.UTF-8

row() { # task, our command text, our time, their command text, their time
  awk -v task="$1" -v ours="$2" -v t1="$3" -v theirs="$4" -v t2="$5" \
    'BEGIN { printf "| %s | `%s` %.2f s | `%s` %.2f s | %.2f |\n", task, ours, t1, theirs, t2, t1 / t2 }'
}

# Sanity: both count the same words (the prose has no whitespace beyond space, tab and line feed).
ours_words=$("$qjkit" stats "$prose" | sed 's/.*"words":\([0-9]*\).*/\1/')
their_words=$(wc -w < "$prose")
[[ $ours_words == "$their_words" ]] || echo "compare.sh: word counts differ: qjkit $ours_words, wc $their_words" >&2
[[ $("$qjkit" sort "$names" | wc -l) == 1000000 ]] || echo "compare.sh: qjkit sort lost lines" >&2

echo "| Task | QJKit | Other tool | Ratio |"
echo "|---|---|---|---|"
row "statistics of 100 MB of UTF-8 prose" "qjkit stats" "$(median "$qjkit" stats "$prose")" \
    "wc -lwm" "$(median wc -lwm "$prose")"
row "natural sort of 1,000,000 file names" "qjkit sort" "$(median "$qjkit" sort "$names")" \
    "sort -V" "$(median sort -V "$names")"

if [[ -x $bench ]]; then
  "$bench" --benchmark_filter='countForRange' --benchmark_format=csv 2> /dev/null |
    awk -F, '/^"countForRange/ { gsub(/"/, "", $1); printf "| in-process `%s` | %.2f GB/s of UTF-16 text | | |\n", $1, $6 / 1e9 }'
fi
