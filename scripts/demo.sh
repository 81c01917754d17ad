#!/usr/bin/env bash
# Runs the demo application; without a display, runs its scripted tour under Xvfb.
# Until the demo exists, runs the qjkit tour on the sample files.
set -euo pipefail
build=${1:-build}
demo="$build/examples/demo/qjkit-demo"
if [[ ! -x "$demo" ]]; then
  exec "$(dirname "$0")/tour.sh" "$build/tools/qjkit/qjkit"
fi
if [[ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]]; then
  exec "$demo" --local-updates
fi
shots="$build/tour"
mkdir -p "$shots"
xvfb-run -a -s "-screen 0 1280x800x24" "$demo" --local-updates --tour "$shots"
echo "Tour screenshots: $shots"
