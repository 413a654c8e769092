#!/usr/bin/env bash
# Makes mesh and flow, runs the passage and, if matplotlib is there, draws it.
set -euo pipefail
cd "$(dirname "$0")"
dfl=../../build/dfl
if [ ! -x "$dfl" ]; then
  (cd ../.. && cmake --preset release && cmake --build --preset release --target dfl)
fi
python3 make_channel.py
"$dfl" ship_channel.pcf --exit-code < /dev/null
if python3 -c 'import matplotlib' 2> /dev/null; then
  python3 plot_passage.py
else
  echo "python3-matplotlib is not installed: no picture"
fi
