#!/usr/bin/env bash
# Runs the demo application. With a display it starts the demo with its local version server;
# without one it runs the demo's scripted tour under Xvfb, which saves a screenshot of each window.
#   scripts/demo.sh [BUILD_DIR] [--docs]
# --docs also copies the tour's screenshots into docs/images/ (as demo-*.png) for the README.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build=${1:-build}
docs=${2:-}
demo="$build/examples/demo/qjkit-demo"
if [[ ! -x "$demo" ]]; then
  echo "The demo was not built (QJKIT_BUILD_DEMO=OFF?); running the qjkit tour instead."
  exec "$root/scripts/tour.sh" "$build/tools/qjkit/qjkit"
fi
if [[ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" && -z "$docs" ]]; then
  exec "$demo" --local-updates
fi
command -v xvfb-run >/dev/null || { echo "xvfb-run is missing: apt-get install xvfb xauth" >&2; exit 1; }

shots="$(cd "$build" && pwd)/tour"
rm -rf "$shots"
mkdir -p "$shots"
runtime=$(mktemp -d)
chmod 700 "$runtime"
trap 'rm -rf "$runtime"' EXIT
echo "No display: touring the demo under Xvfb."
unset DISPLAY WAYLAND_DISPLAY
XDG_RUNTIME_DIR="$runtime" QT_QPA_PLATFORM=xcb \
  xvfb-run -a -s "-screen 0 1280x800x24" "$demo" --local-updates --tour "$shots"
echo "Tour screenshots:"
ls -1 "$shots"/*.png

if [[ "$docs" == "--docs" ]]; then
  mkdir -p "$root/docs/images"
  for shot in "$shots"/*.png; do
    name=$(basename "$shot" .png)
    cp "$shot" "$root/docs/images/demo-${name#[0-9][0-9]-}.png"
  done
  echo "Copied into docs/images/demo-*.png"
fi
