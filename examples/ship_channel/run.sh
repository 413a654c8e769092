#!/usr/bin/env bash
# Makes mesh and flow, runs the passage, tells what came of it and, with matplotlib, draws it.
# usage: run.sh [PATH_OF_DFL]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
# shellcheck source=scripts/example.sh
. "$here/../../scripts/example.sh"
cd "$here"

"$python" make_channel.py
rm -f ship_channel.nei
run_control ship_channel
sed -n '/^All sources/,/check/p' ship_channel_balance.txt
echo
"$python" look.py
