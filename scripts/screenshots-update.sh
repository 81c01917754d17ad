#!/usr/bin/env bash
# Takes a screenshot of the update window under Xvfb: serves the sample version directory
# (examples/samples/updates) on 127.0.0.1 and runs the example program qjkit-update-window against it.
#   scripts/screenshots-update.sh [BUILD_DIR] [OUTPUT.png]
set -euo pipefail
source "$(dirname "$0")/lib/common.sh"
root="$(cd "$(dirname "$0")/.." && pwd)"
build=${1:-$root/build}
out=${2:-$root/docs/images/update-window.png}
program="$build/examples/update-window/qjkit-update-window"
[[ -x "$program" ]] || { echo "missing $program: build first (cmake --build $build)" >&2; exit 1; }
command -v xvfb-run >/dev/null || { echo "xvfb-run is missing: apt-get install xvfb xauth" >&2; exit 1; }

serve_directory "$root/examples/samples/updates"
port=$serve_port

mkdir -p "$(dirname "$out")"
runtime=$(mktemp -d)
chmod 700 "$runtime"
XDG_RUNTIME_DIR="$runtime" QT_QPA_PLATFORM=xcb xvfb-run -a -s "-screen 0 1024x768x24" \
  "$program" --base-url "http://127.0.0.1:$port/AppServices/Versions/" --screenshot "$out"
rm -rf "$runtime"
