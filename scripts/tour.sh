#!/usr/bin/env bash
# A short tour of the qjkit tool on the sample files in examples/samples.
set -euo pipefail
qjkit=${1:-build/tools/qjkit/qjkit}
samples="$(dirname "$0")/../examples/samples"
step() { printf '\n\033[1m$ %s\033[0m\n' "$*"; "$@" || true; }

step "$qjkit" --version
step "$qjkit" plist get name "$samples/settings.plist"
step "$qjkit" plist get window.width "$samples/settings.plist"
step "$qjkit" plist get recentFiles "$samples/settings.plist"
step "$qjkit" plist convert "$samples/legacy.plist"
# Each subsystem adds its own steps in scripts/tour.d/.
for extra in "$(dirname "$0")"/tour.d/*.sh; do
  [[ -e "$extra" ]] && source "$extra"
done
echo
