#!/usr/bin/env bash
# Makes the case, runs it with both kinds of transport and draws the hump before and after.
#   examples/migrating_bed/run.sh [PATH_OF_DFL]
set -euo pipefail
cd "$(dirname "$0")"
dfl=$(realpath "${1:-../../build/dfl}")

python3 make_case.py
for case in formula lattice; do
  rm -f "$case.nei"
  "$dfl" "$case.pcf" --exit-code < /dev/null > "$case.log"
done
python3 look.py
