#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for FUZZ_SECONDS (default 60) on a copy of
# its seed corpus. New findings are left as crash-*/leak-*/timeout-* files in build-fuzz/findings.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-60}
build=${FUZZ_BUILD_DIR:-build-fuzz}
only=${1:-}
CC=clang CXX=clang++ cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQJKIT_BUILD_FUZZ=ON \
  -DQJKIT_BUILD_TESTS=OFF -DQJKIT_BUILD_WIDGETS=OFF -DQJKIT_BUILD_DEMO=OFF > /dev/null
cmake --build "$build" -j "$(nproc)"
mkdir -p "$build/findings"
status=0
for target in "$build"/fuzz/fuzz_*; do
  [[ -f "$target" && -x "$target" ]] || continue
  name=$(basename "$target"); corpus_name=${name#fuzz_}
  [[ -z "$only" || "$only" == "$corpus_name" ]] || continue
  corpus="$build/corpus/$corpus_name"
  mkdir -p "$corpus"
  [[ -d fuzz/corpus/$corpus_name ]] && cp -n fuzz/corpus/"$corpus_name"/* "$corpus"/ 2>/dev/null || true
  # fuzz/<target>.options: extra libFuzzer flags for one target, one per line.
  extra=()
  [[ -f fuzz/$name.options ]] && mapfile -t extra < <(grep -v '^#' "fuzz/$name.options")
  echo "== $name: ${seconds}s"
  if ! "$target" "$corpus" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=65536 \
        "${extra[@]}" -artifact_prefix="$build/findings/$name-" -print_final_stats=1 2>"$build/findings/$name.log"; then
    echo "   FAILED: see $build/findings/$name.log"; status=1
  fi
  grep -E "stat::number_of_executed_units|cov:" "$build/findings/$name.log" | tail -2 | sed 's/^/   /'
done
exit $status
