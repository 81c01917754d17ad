#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Runs the examples of docs/ that need no window (built from examples/docs into DIR); each checks
# that the library behaves as its guide says and exits non-zero when it does not. The update example
# asks examples/samples/updates, served on 127.0.0.1 for the occasion.
#
#   scripts/run-doc-examples.sh DIR
set -euo pipefail
dir=$1
cd "$(dirname "$0")/.."

for example in foundation text diff collections coding lifecycle; do
  echo "== ${example}_example"
  "$dir/${example}_example"
done

port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
python3 -m http.server "$port" --bind 127.0.0.1 --directory examples/samples/updates > /dev/null 2>&1 &
server=$!
trap 'kill "$server" 2> /dev/null || true' EXIT
for _ in $(seq 50); do
  python3 -c "import socket; socket.create_connection(('127.0.0.1', $port), 1)" 2> /dev/null && break
  sleep 0.1
done
echo "== update_example"
"$dir/update_example" "http://127.0.0.1:$port/AppServices/Versions/"
echo "docs examples: all ran as their guides say"
