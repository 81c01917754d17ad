#!/usr/bin/env bash
# Takes a screenshot of the update window under Xvfb: serves the sample version directory
# (examples/samples/updates) on 127.0.0.1 and runs the example program qjkit-update-window against it.
#   scripts/screenshots-update.sh [BUILD_DIR] [OUTPUT.png]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build=${1:-$root/build}
out=${2:-$root/docs/images/update-window.png}
program="$build/examples/update-window/qjkit-update-window"
[[ -x "$program" ]] || { echo "missing $program: build first (cmake --build $build)" >&2; exit 1; }
command -v xvfb-run >/dev/null || { echo "xvfb-run is missing: apt-get install xvfb xauth" >&2; exit 1; }

port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
python3 -m http.server "$port" --bind 127.0.0.1 --directory "$root/examples/samples/updates" >/dev/null 2>&1 &
server=$!
trap 'kill "$server" 2>/dev/null || true' EXIT
for _ in $(seq 50); do
  python3 -c "import socket; socket.create_connection(('127.0.0.1', $port), 1)" 2>/dev/null && break
  sleep 0.1
done

mkdir -p "$(dirname "$out")"
runtime=$(mktemp -d)
chmod 700 "$runtime"
XDG_RUNTIME_DIR="$runtime" QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1024x768x24" \
  "$program" --base-url "http://127.0.0.1:$port/AppServices/Versions/" --screenshot "$out"
rm -rf "$runtime"
