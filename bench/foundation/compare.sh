#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Times reading and writing a 50 MB XML property list (read it, write it back as XML) with
# `qjkit plist convert`, Python's plistlib and plistutil, on the same generated file, and prints
# markdown table rows: the median wall time of RUNS runs, its CPU time, peak memory, and the ratio
# (the other tool's time ÷ qjkit's: above 1 means qjkit is faster).
#
# plistutil copies its input unparsed when the input is already in the format asked for, so its
# XML-to-XML row goes through its binary format in a pipe (XML to binary, binary to XML). The same
# list in the binary format, converted to XML by qjkit and by plistutil, is timed as well.
#
#   bench/foundation/compare.sh [BUILD_DIR] [RUNS]     (default: build, 3)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-build}
runs=${2:-3}
qjkit=$build/tools/qjkit/qjkit
[[ -x $qjkit ]] || { echo "compare.sh: $qjkit is missing; build it first" >&2; exit 2; }
for tool in python3 plistutil; do
  command -v $tool > /dev/null || { echo "compare.sh: $tool is missing (Debian: python3, libplist-utils)" >&2; exit 2; }
done

data=$build/bench-data
mkdir -p "$data"
plist=$data/library-50MB.plist
[[ -s $plist ]] || python3 "$here/gen_plist.py" 50 "$plist"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# measure NAME CMD...: runs CMD RUNS times (its output goes to $work/NAME.out); sets $median (wall
# seconds), $cpu (user + system seconds of the median run) and $peak (largest resident set, MB).
measure() {
  local name=$1 runs_out=()
  shift
  peak=0
  for ((i = 0; i < runs; i++)); do
    local start=$EPOCHREALTIME
    /usr/bin/time -f '%U %S %M' -o "$work/time" "$@" > "$work/$name.out"
    local wall used rss
    wall=$(awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN {printf "%.3f", b - a}')
    read -r used rss < <(awk '{printf "%.2f %.1f\n", $1 + $2, $3 / 1024}' "$work/time")
    runs_out+=("$wall $used")
    peak=$(awk -v a="$rss" -v b="$peak" 'BEGIN {print (a > b ? a : b)}')
  done
  read -r median cpu < <(printf '%s\n' "${runs_out[@]}" | sort -n | awk '{a[NR] = $0} END {print a[int((NR + 1) / 2)]}')
}

pyconvert='import plistlib, sys
with open(sys.argv[1], "rb") as f:
    plist = plistlib.load(f)
sys.stdout.buffer.write(plistlib.dumps(plist, fmt=plistlib.FMT_XML, sort_keys=True))'

size=$(stat -c %s "$plist")
mb=$(awk -v s="$size" 'BEGIN {printf "%.1f", s / 1e6}')
# row LABEL: prints the last measurement as a table row with its ratio to $ours.
row() {
  awk -v l="$1" -v m="$median" -v c="$cpu" -v p="$peak" -v o="$ours" \
    'BEGIN {printf "| %s | %s | %s | %s | %.2f |\n", l, m, c, p, m / o}'
}

echo "| Read + write XML, $mb MB | Time (s) | CPU (s) | Peak memory (MB) | Other ÷ qjkit |"
echo "|---|---|---|---|---|"
measure qjkit "$qjkit" plist convert "$plist"
ours=$median
row '`qjkit plist convert`'
measure plistlib python3 -c "$pyconvert" "$plist"
row 'Python plistlib (`load`, then `dumps` with `sort_keys`)'
measure plistutil bash -c 'plistutil -i "$1" -f bin | plistutil -f xml' plistutil "$plist"
row '`plistutil -f bin \| plistutil -f xml` (XML to binary to XML)'

binary=$work/library.bplist
plistutil -i "$plist" -o "$binary" -f bin
echo
echo "| Read binary, write XML, same list ($(awk -v s="$(stat -c %s "$binary")" 'BEGIN {printf "%.1f", s / 1e6}') MB) | Time (s) | CPU (s) | Peak memory (MB) | Other ÷ qjkit |"
echo "|---|---|---|---|---|"
measure qjkit-binary "$qjkit" plist convert "$binary"
ours=$median
row '`qjkit plist convert`'
measure plistutil-binary plistutil -i "$binary" -f xml
row '`plistutil -f xml`'

echo
same() { cmp -s "$work/qjkit.out" "$work/$1.out" && echo "byte-identical to" || echo "different from"; }
echo "Outputs: qjkit's XML ($(stat -c %s "$work/qjkit.out") bytes) is $(same plistlib) plistlib's and $(same plistutil) plistutil's."
