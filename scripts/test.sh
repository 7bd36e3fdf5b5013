#!/usr/bin/env bash
# Builds TavKelo and runs every test. Usage: scripts/test.sh [default|sanitize|tsan|windows]
# The tsan preset builds and runs only the server, client and end-to-end tests. The windows preset
# cross-builds with mingw-w64 and runs the tests under wine; its COM-port test also runs the Linux
# programs of the default preset, so build that first.
# Installs the Debian and npm packages that the build and the tests need when they are missing.
set -euo pipefail
cd "$(dirname "$0")/.."
preset="${1:-default}"

scripts/deps.sh --test
if [[ "$preset" == windows ]]; then
  scripts/deps.sh --windows
fi
if [[ -f tests/e2e/browser/package.json ]]; then
  # playwright-core only: it drives Debian's Chromium and downloads no browser of its own.
  (cd tests/e2e/browser && npm ci --no-audit --no-fund --loglevel=error)
fi

cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset" -j "$(nproc)" --output-on-failure
