#!/usr/bin/env bash
# Makes the case, runs it with both kinds of transport, tells what became of the hump and, with
# matplotlib, draws it.
# usage: run.sh [PATH_OF_DFL]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/example.sh
. "$here/../../scripts/example.sh"
cd "$here"

"$python" make_case.py
for case in formula lattice; do
  rm -f "$case.nei"
  run_control "$case"
done
echo
"$python" look.py
