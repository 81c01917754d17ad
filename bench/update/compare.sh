#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Times `qjkit check-update` beside curl fetching the same files (the index and every record, one
# process, one connection at a time) from the same local server, and prints markdown table rows
# with the ratio (qjkit time / curl time; below 1 means qjkit is faster).
#
#   bench/update/compare.sh [BUILD_DIR] [RUNS]
#
# Two servers on 127.0.0.1 serve a generated directory of 100 and of 1000 versions newer than the
# installed build: the demo's version server (HTTP/1.1, connections kept open, as a production server
# keeps them) and python3 -m http.server (HTTP/1.0, a connection per request, one interpreter lock,
# which makes concurrent requests wait on each other). Each command runs RUNS times (default 15, a
# check lasting a few hundredths of a second); the median wall-clock time is reported.
set -euo pipefail
source "$(dirname "$0")/../../scripts/lib/common.sh"
build=${1:-build}
runs=${2:-15}
qjkit=$build/tools/qjkit/qjkit
[[ -x $qjkit ]] || { echo "compare.sh: $qjkit is missing; build it first" >&2; exit 2; }
command -v curl >/dev/null || { echo "compare.sh: curl is missing" >&2; exit 2; }

data=$build/bench-data/updates
dir=$data/AppServices/Versions/benchwriter
if [[ ! -s $dir/info.plist ]]; then
  mkdir -p "$dir"
  header='<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">'
  {
    echo "$header"; echo "<dict>"
    for ((i = 0; i <= 1000; i++)); do
      key=$((1000 + i))
      printf '\t<key>%s</key>\n\t<dict>\n\t\t<key>date</key>\n\t\t<string>2026-11-21</string>\n\t</dict>\n' "$key"
      printf '%s\n<dict>\n\t<key>en</key>\n\t<string>Release %s: faster saving and fixes.</string>\n\t<key>version</key>\n\t<string>5.%s</string>\n</dict>\n</plist>\n' \
        "$header" "$i" "$i" > "$dir/$key.plist"
    done
    echo "</dict>"; echo "</plist>"
  } > "$dir/info.plist"
fi

demo=$build/examples/demo/qjkit-demo
[[ -x $demo ]] || { echo "compare.sh: $demo is missing; build it first" >&2; exit 2; }
"$demo" --serve-versions "$data/AppServices/Versions" > "$data/server.out" 2> /dev/null &
demo_server=$!
serve_directory "$data"
trap "kill $demo_server 2> /dev/null || true; $(trap -p EXIT | sed "s/^trap -- '//; s/' EXIT$//")" EXIT
for _ in $(seq 50); do grep -q 'http://' "$data/server.out" && break; sleep 0.1; done
version_server=$(grep -o 'http://[^ ]*' "$data/server.out")
[[ -n $version_server ]] || { echo "compare.sh: the version server did not start" >&2; exit 2; }

for server in "version server" "python http.server"; do
base=$version_server
[[ $server == python* ]] && base="http://127.0.0.1:$serve_port/AppServices/Versions/"
for count in 100 1000; do
  build_installed=$((2000 - count))
  # qjkit fetches the index and the records of the newest 100 at most; curl fetches as many files.
  listed=$("$qjkit" check-update --base-url "$base" --name "Bench Writer" --build "$build_installed" | grep -o '"key"' | wc -l)
  urls=("${base}benchwriter/info.plist")
  for ((k = 2000; k > build_installed && ${#urls[@]} <= listed; k--)); do
    urls+=("${base}benchwriter/$k.plist")
  done
  ours=$(median "$qjkit" check-update --base-url "$base" --name "Bench Writer" --build "$build_installed")
  theirs=$(median curl -sf "${urls[@]}")
  awk -v n="$count" -v l="$listed" -v t1="$ours" -v t2="$theirs" -v r=$(( ${#urls[@]} )) \
    -v s="$server" 'BEGIN { printf "| %d newer versions (%d listed), %s | `qjkit check-update` %.3f s | `curl` %d files %.3f s | %.2f |\n", n, l, s, t1, r, t2, t1 / t2 }'
done
done
