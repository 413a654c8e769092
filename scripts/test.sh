#!/usr/bin/env bash
# Installs what is missing, builds with warnings as errors, runs the tests, and runs them once more
# under the address and undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/install.sh
jobs=$(nproc)

cmake --preset release
cmake --build --preset release -j "$jobs"
ctest --preset release -j "$jobs"

cmake --preset sanitize
cmake --build --preset sanitize -j "$jobs"
ctest --preset sanitize -j "$jobs"
