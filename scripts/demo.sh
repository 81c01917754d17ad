#!/usr/bin/env bash
# Runs the demo as a user has it installed, with a real update waiting: the build's release 0.1 is
# copied into an install folder of the build tree (BUILD_DIR/demo/QJKit Demo), and a local version
# server publishes the signed package of release 0.2 (both made by examples/demo/release.cmake).
# With a display it starts the demo: Help > Check for Updates, then Update, installs 0.2 and starts
# it. Without one it runs the demo's scripted tour under Xvfb: a screenshot of each window, then the
# update itself, the Updater's window and the new version's about box.
#   scripts/demo.sh [BUILD_DIR] [--tour|--docs]
# --tour runs the tour even with a display (the test "demo_tour" does); --docs also copies the
# tour's screenshots into docs/images/ (as demo-*.png) for the README.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build=${1:-build}
mode=${2:-}
demo="$build/examples/demo/qjkit-demo"
if [[ ! -x "$demo" ]]; then
  echo "The demo was not built (QJKIT_BUILD_DEMO=OFF?); running the qjkit tour instead."
  exec "$root/scripts/tour.sh" "$build/tools/qjkit/qjkit"
fi
releases="$(cd "$build" && pwd)/demo"
if [[ ! -d "$releases/release-0.1" ]]; then
  echo "The demo's releases were not made (is minisign installed?): make deps, then make demo." >&2
  exit 1
fi
install="$releases/QJKit Demo"
shots="$(cd "$build" && pwd)/tour"

# Waits up to $1 seconds while a process matches the pgrep arguments that follow.
wait_while_running() {
  local seconds=$1 waited=0
  shift
  while pgrep "$@" >/dev/null && ((waited < seconds * 10)); do
    sleep 0.1
    waited=$((waited + 1))
  done
}

# Serves the version directory, runs the installed demo with the given arguments, and keeps serving
# while the Updater it may start runs and while the version the Updater started runs.
run_installed() {
  local log server url status=0
  log=$(mktemp)
  "$demo" --serve-versions "$releases/versions" >"$log" &
  server=$!
  for _ in $(seq 100); do
    url=$(sed -n 's/^Serving .* at \(http[^ ]*\)$/\1/p' "$log")
    [[ -n "$url" ]] && break
    sleep 0.1
  done
  if [[ -z "$url" ]]; then
    echo "demo: the version server did not start" >&2
    kill "$server" 2>/dev/null || true
    return 1
  fi
  echo "Serving the demo's versions at $url"
  QJKIT_DEMO_UPDATE_URL="$url" "$install/qjkit-demo" "$@" || status=$?
  sleep 0.5 # the Updater starts as the demo quits
  wait_while_running 120 -x Updater
  wait_while_running 86400 -f "$install/qjkit-demo"
  kill "$server" 2>/dev/null || true
  rm -f "$log"
  return "$status"
}

if [[ "$mode" == "--inside-xvfb" ]]; then
  run_installed --tour "$shots"
  exit
fi
command -v pgrep >/dev/null || { echo "pgrep is missing: apt-get install procps" >&2; exit 1; }

# Every run starts from release 0.1, so there is always an update to install.
rm -rf "$install" "$releases/.QJKit Demo.update"
cp -a "$releases/release-0.1" "$install"

if [[ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" && -z "$mode" ]]; then
  run_installed
  exit
fi
command -v xvfb-run >/dev/null || { echo "xvfb-run is missing: apt-get install xvfb xauth" >&2; exit 1; }

rm -rf "$shots"
mkdir -p "$shots"
runtime=$(mktemp -d)
chmod 700 "$runtime"
trap 'rm -rf "$runtime"' EXIT
echo "No display: touring the demo under Xvfb."
unset DISPLAY WAYLAND_DISPLAY
XDG_RUNTIME_DIR="$runtime" QT_QPA_PLATFORM=xcb \
  xvfb-run -a -s "-screen 0 1280x800x24" "$0" "$build" --inside-xvfb

version=$("$build/tools/qjkit/qjkit" plist get CFBundleShortVersionString "$install/Resources/Info.plist")
for shot in 08-updater 09-about-updated; do
  [[ -f "$shots/$shot.png" ]] || { echo "tour: failed: no $shot.png" >&2; exit 1; }
done
if [[ "$version" != "0.2" || -e "$releases/.QJKit Demo.update" ]]; then
  echo "tour: failed: the install folder holds version $version after the update" >&2
  exit 1
fi
echo "tour: done; the demo in $install was updated from 0.1 to $version"
echo "Tour screenshots:"
ls -1 "$shots"/*.png

if [[ "$mode" == "--docs" ]]; then
  mkdir -p "$root/docs/images"
  for shot in "$shots"/*.png; do
    name=$(basename "$shot" .png)
    cp "$shot" "$root/docs/images/demo-${name#[0-9][0-9]-}.png"
  done
  echo "Copied into docs/images/demo-*.png"
fi
