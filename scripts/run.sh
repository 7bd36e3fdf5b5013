#!/usr/bin/env bash
# Builds TavKeloASM when needed and runs it with the given options, e.g. scripts/run.sh --simulate
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake --preset default >/dev/null
cmake --build --preset default --target TavKeloASM kelo-sim kelo >/dev/null 2>&1 ||
  cmake --build --preset default --target TavKeloASM
exec build/default/src/TavKeloASM "$@"
