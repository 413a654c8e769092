#!/usr/bin/env bash
# Installs what is missing, builds DFL and runs an example; says where the results are.
# usage: scripts/run_example.sh NAME [CONTROL ...]
#   NAME      a folder of examples/
#   CONTROL   control files of it, without ".pcf"; all of them if none is named
set -euo pipefail
cd "$(dirname "$0")/.."
if [ $# -lt 1 ] || [ ! -d "examples/$1" ]; then
  echo "usage: scripts/run_example.sh NAME [CONTROL ...]"
  echo "examples: $(cd examples && echo */ | tr -d /)"
  exit 1
fi
name=$1
shift
# shellcheck source=scripts/install.sh
. scripts/install.sh

cmake --preset release
cmake --build --preset release -j "$(nproc)" --target dfl

cd "examples/$name"
if [ $# -eq 0 ]; then
  for file in *.pcf; do set -- "$@" "${file%.pcf}"; done
fi
for control in "$@"; do
  echo
  echo "examples/$name/$control.pcf"
  # The console shows one line a step; only messages and the end are kept here.
  ../../build/dfl "$control.pcf" --exit-code < /dev/null | tr '\r' '\n' |
    grep -E 'Run stop|WARNING|ERROR|Trap ' || true
  status=${PIPESTATUS[0]}
  if [ "$status" -ne 0 ]; then
    echo "examples/$name/$control.pcf stopped with status $status: see its .err file"
    exit "$status"
  fi
  sed -n '/^All sources/,/check/p' "${control}_balance.txt"
done
echo "The results are in examples/$name."
[ ! -f README.md ] || echo "Its README.md says what is where and what to look at."
