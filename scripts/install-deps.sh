#!/usr/bin/env bash
# Installs the Debian packages given as arguments that are not installed yet.
# As root it installs them; otherwise it uses sudo when that needs no password; otherwise it prints
# the exact command to run and fails.
set -euo pipefail

missing=()
for package in "$@"; do
  status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

echo "Installing missing packages: ${missing[*]}"
install=(apt-get install -y --no-install-recommends "${missing[@]}")
if [[ $(id -u) -eq 0 ]]; then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  "${install[@]}"
elif command -v sudo >/dev/null && sudo -n true 2>/dev/null; then
  sudo env DEBIAN_FRONTEND=noninteractive apt-get update -qq
  sudo env DEBIAN_FRONTEND=noninteractive "${install[@]}"
else
  echo "These packages are needed. Install them with:" >&2
  echo "  sudo apt-get update && sudo ${install[*]}" >&2
  exit 1
fi
