#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Times "qjkit diff --type words" beside wdiff and "git diff --no-index --word-diff" on the same
# generated texts (1,000,000 and 2,000,000 words, differing in 1% of their words), "--type lines"
# beside GNU diff, and the memory of two texts whose words all differ, and prints markdown table
# rows: the best wall time of three runs and its CPU time, peak memory, and the ratios.
#
#   bench/diff/compare.sh [QJKIT]     (default: build-bench/tools/qjkit/qjkit, a RelWithDebInfo build)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
qjkit=$(realpath "${1:-build-bench/tools/qjkit/qjkit}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# best_of_3 CMD...: runs CMD three times; sets $best (the shortest wall time, s), $cpu (user + system
# time of that run, s) and $peak (the largest peak resident memory, MB).
best_of_3() {
  best= cpu= peak=0
  for _ in 1 2 3; do
    local start=$EPOCHREALTIME
    /usr/bin/time -v -o "$work/time" "$@" > "$work/out" 2> /dev/null || [[ $? -eq 1 ]]
    local wall rss used
    wall=$(awk -v a="$start" -v b="$EPOCHREALTIME" 'BEGIN {printf "%.3f", b - a}')
    used=$(awk -F': ' '/User time|System time/ {s += $2} END {printf "%.2f", s}' "$work/time")
    rss=$(awk -F': ' '/Maximum resident set size/ {printf "%.1f", $2 / 1024}' "$work/time")
    if [[ -z "$best" ]] || awk -v a="$wall" -v b="$best" 'BEGIN {exit !(a < b)}'; then best=$wall cpu=$used; fi
    if awk -v a="$rss" -v b="$peak" 'BEGIN {exit !(a > b)}'; then peak=$rss; fi
  done
}

echo "| words a side | input (MB) | tool | time (s) | CPU (s) | peak memory (MB) | memory ÷ input | time ÷ qjkit's |"
echo "|---|---|---|---|---|---|---|---|"
declare -A qjkit_time
# case: words, generator option, qjkit's type, the other tools
for case in "1000000 - words wdiff git" "2000000 - words wdiff git" "1000000 - lines diff" "850000 --distinct words"; do
  read -r words option type others <<< "$case"
  dir="$work/$words$option"
  python3 "$here/gen_texts.py" "$words" "$dir" $([[ $option == - ]] || echo "$option")
  input=$(stat -c %s "$dir/old.txt" "$dir/new.txt" | awk '{s += $1} END {printf "%.1f", s / 1048576}')
  label=$(sed ':a;s/\B[0-9]\{3\}\>/,&/;ta' <<< "$words")
  [[ $type == lines ]] && label+=", lines"
  [[ $option == --distinct ]] && label+=", all distinct"
  for tool in qjkit $others; do
    case $tool in
      qjkit) best_of_3 "$qjkit" diff --type "$type" "$dir/old.txt" "$dir/new.txt" ;;
      wdiff) best_of_3 wdiff "$dir/old.txt" "$dir/new.txt" ;;
      git) best_of_3 git diff --no-index --word-diff "$dir/old.txt" "$dir/new.txt" ;;
      diff) best_of_3 diff "$dir/old.txt" "$dir/new.txt" ;;
    esac
    [[ $tool == qjkit ]] && qjkit_time[$label]=$best
    ratio=$(awk -v a="$best" -v b="${qjkit_time[$label]}" 'BEGIN {printf "%.1f", a / b}')
    memory=$(awk -v a="$peak" -v b="$input" 'BEGIN {printf "%.1f", a / b}')
    echo "| $label | $input | $tool | $best | $cpu | $peak | $memory | $ratio |"
  done
  rm -rf "$dir"
done
ratio=$(awk -v a="${qjkit_time[2,000,000]}" -v b="${qjkit_time[1,000,000]}" 'BEGIN {printf "%.2f", a / b}')
echo
echo "qjkit: 2,000,000 words take $ratio × the time of 1,000,000."
