#!/usr/bin/env bash
# Takes screenshots of the about box under a virtual X server: the example program opens it from its
# Help menu and saves docs/images/about-start.png (just opened), about-scrolling.png (credits
# scrolling) and about-over-window.png (the whole screen).
#
#   scripts/screenshots-about.sh [BUILD_DIR]     (default: build; the widgets must be built)
set -euo pipefail
cd "$(dirname "$0")/.."
build_dir=${1:-build}
program=$build_dir/examples/aboutbox/qjkit-aboutbox
[[ -x $program ]] || { echo "missing $program: build the project first" >&2; exit 1; }
scripts/install-deps.sh xvfb xauth

runtime=$(mktemp -d)
trap 'rm -rf "$runtime"' EXIT
chmod 700 "$runtime"
mkdir -p docs/images
XDG_RUNTIME_DIR=$runtime QT_QPA_PLATFORM=xcb \
  xvfb-run -a -s "-screen 0 1024x640x24" "$program" --screenshot-dir docs/images
