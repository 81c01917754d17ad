#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Times reading and writing a 78 MB XML property list (read it, write it back as XML) with
# `qjkit plist convert`, libplist's own functions (plist_peer: plist_from_xml, then plist_to_xml),
# Python's plistlib and plistutil, on the same generated file, and prints markdown table rows: the
# median wall time of RUNS runs, its CPU time, peak memory, the ratio (the other tool's time ÷
# qjkit's: above 1 means qjkit is faster) and peak memory ÷ the file's size.
#
# plistutil copies its input unparsed when the input is already in the format asked for, so its
# XML-to-XML row goes through its binary format in a pipe (XML to binary, binary to XML). The same
# list in the binary format, converted to XML by qjkit and by plistutil, is timed as well, and a list
# as large as the reader takes (256 MiB), read and written, and read alone, beside libplist.
#
#   bench/foundation/compare.sh [BUILD_DIR] [RUNS]     (default: build, 3)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:-build}
runs=${2:-3}
qjkit=$build/tools/qjkit/qjkit
peer=$build/bench/foundation/plist_peer
[[ -x $qjkit ]] || { echo "compare.sh: $qjkit is missing; build it first" >&2; exit 2; }
[[ -x $peer ]] || { echo "compare.sh: $peer is missing; build it (Debian: libplist-dev)" >&2; exit 2; }
for tool in python3 plistutil; do
  command -v $tool > /dev/null || { echo "compare.sh: $tool is missing (Debian: python3, libplist-utils)" >&2; exit 2; }
done

data=$build/bench-data
mkdir -p "$data"
plist=$data/library-78MB.plist
[[ -s $plist ]] || python3 "$here/gen_plist.py" 78 "$plist"
# Just under the reader's limit of 256 MiB (268,435,456 bytes).
limit=$data/library-256MiB.plist
[[ -s $limit ]] || python3 "$here/gen_plist.py" 267.4 "$limit"
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

megabytes() { awk -v s="$(stat -c %s "$1")" 'BEGIN {printf "%.1f", s / 1e6}'; }
# row LABEL [FILE]: prints the last measurement as a table row with its ratio to $ours and, given
# the input FILE, its peak memory ÷ the file's size.
row() {
  local share=""
  [[ -n ${2:-} ]] && share=$(awk -v p="$peak" -v s="$(stat -c %s "$2")" 'BEGIN {printf "%.2f", p * 1048576 / s}')
  awk -v l="$1" -v m="$median" -v c="$cpu" -v p="$peak" -v o="$ours" -v s="$share" \
    'BEGIN {printf "| %s | %s | %s | %s | %.2f |%s\n", l, m, c, p, m / o, (s == "" ? "" : " " s " |")}'
}
header='| Time (s) | CPU (s) | Peak memory (MB) | Other ÷ qjkit |'
peername='libplist (`plist_from_xml`, then `plist_to_xml`)'

echo "| Read + write XML, $(megabytes "$plist") MB $header Peak ÷ file |"
echo "|---|---|---|---|---|---|"
measure qjkit "$qjkit" plist convert "$plist"
ours=$median
row '`qjkit plist convert`' "$plist"
measure peer "$peer" "$plist"
row "$peername" "$plist"
measure plistlib python3 -c "$pyconvert" "$plist"
row 'Python plistlib (`load`, then `dumps` with `sort_keys`)' "$plist"
# Its XML reading grows faster than its input (minutes at this size): one run.
runs=1 measure plistutil bash -c 'plistutil -i "$1" -f bin | plistutil -f xml' plistutil "$plist"
row '`plistutil -f bin \| plistutil -f xml` (XML to binary to XML, one run)' "$plist"
echo
same() { cmp -s "$work/qjkit.out" "$work/$1.out" && echo "byte-identical to" || echo "different from"; }
echo "Outputs: qjkit's XML ($(stat -c %s "$work/qjkit.out") bytes) is $(same plistlib) plistlib's, $(same peer) libplist's and $(same plistutil) plistutil's."

binary=$work/library.bplist
plistutil -i "$plist" -o "$binary" -f bin
echo
echo "| Read binary, write XML, same list ($(megabytes "$binary") MB) $header"
echo "|---|---|---|---|---|"
measure qjkit-binary "$qjkit" plist convert "$binary"
ours=$median
row '`qjkit plist convert`'
measure plistutil-binary plistutil -i "$binary" -f xml
row '`plistutil -f xml`'

echo
echo "| Read + write XML at the size limit, $(megabytes "$limit") MB $header Peak ÷ file |"
echo "|---|---|---|---|---|---|"
measure qjkit-limit "$qjkit" plist convert "$limit"
ours=$median
row '`qjkit plist convert`' "$limit"
measure qjkit-limit-read "$qjkit" plist get name "$limit"
row '`qjkit plist get name` (reading alone)' "$limit"
measure peer-limit "$peer" "$limit"
row "$peername" "$limit"
