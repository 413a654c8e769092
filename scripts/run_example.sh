#!/usr/bin/env bash
# Installs what is missing, builds DFL and runs an example; says where the results are.
# usage: scripts/run_example.sh NAME [CONTROL ...]
#   NAME      a folder of examples/
#   CONTROL   control files of it, without ".pcf"; all of them if none is named
# An example with a run.sh of its own is left to it: it makes its data and runs as a whole.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ $# -lt 1 ] || [ ! -d "examples/$1" ]; then
  echo "usage: scripts/run_example.sh NAME [CONTROL ...]"
  echo "examples: $(cd examples && echo */ | tr -d /)"
  exit 1
fi
name=$1
shift
more_packages=""
[ ! -x "examples/$name/run.sh" ] || more_packages="python3-matplotlib"  # for its picture
# shellcheck source=scripts/install.sh
. scripts/install.sh

cmake --preset release
cmake --build --preset release -j "$(nproc)" --target dfl

echo
if [ -x "examples/$name/run.sh" ]; then
  [ $# -eq 0 ] || echo "examples/$name/run.sh runs all control files of the example"
  "examples/$name/run.sh" build/dfl
else
  # shellcheck source=scripts/example.sh
  . scripts/example.sh build/dfl
  cd "examples/$name"
  if [ $# -eq 0 ]; then
    for file in *.pcf; do set -- "$@" "${file%.pcf}"; done
  fi
  for control in "$@"; do
    run_control "$control"
    sed -n '/^All sources/,/check/p' "${control}_balance.txt"
  done
  cd ../..
fi
echo "The results are in examples/$name."
[ ! -f "examples/$name/README.md" ] || echo "Its README.md says what is where and what to look at."
