#!/usr/bin/env bash
# Builds TavKeloASM when needed and runs it with the given options, e.g. scripts/run.sh --simulate
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
echo "Building TavKeloASM, kelo-sim and kelo (the first build takes a few minutes)..."
cmake --preset default >/dev/null
cmake --build --preset default --target TavKeloASM kelo-sim kelo
exec build/default/src/TavKeloASM "$@"
