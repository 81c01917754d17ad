#!/usr/bin/env bash
# SPDX-License-Identifier: LGPL-2.1-or-later
# Runs the examples of docs/ that need no window (built from examples/docs into DIR); each checks
# that the library behaves as its guide says and exits non-zero when it does not. The update example
# asks examples/samples/updates, served on 127.0.0.1 for the occasion.
#
#   scripts/run-doc-examples.sh DIR
set -euo pipefail
source "$(dirname "$0")/lib/common.sh"
dir=$1
cd "$(dirname "$0")/.."

for example in foundation text diff collections coding lifecycle; do
  echo "== ${example}_example"
  "$dir/${example}_example"
done

serve_directory examples/samples/updates
port=$serve_port
echo "== update_example"
"$dir/update_example" "http://127.0.0.1:$port/AppServices/Versions/"
echo "docs examples: all ran as their guides say"
