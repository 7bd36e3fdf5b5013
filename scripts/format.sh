#!/usr/bin/env bash
# Formats the C++ sources with the repository's .clang-format, or checks them with --check (as CI
# does). Usage: scripts/format.sh [--check]
set -euo pipefail
cd "$(dirname "$0")/.."
command -v clang-format >/dev/null 2>&1 || scripts/deps.sh --format
mapfile -t files < <(git ls-files -- 'src/*.cpp' 'src/*.hpp' 'tests/*.cpp' 'tests/*.hpp' \
                                     'bench/*.cpp' 'bench/*.hpp')
if [[ "${1:-}" == "--check" ]]; then
  clang-format --dry-run --Werror "${files[@]}"
  echo "formatting: ${#files[@]} files as .clang-format wants them"
else
  clang-format -i "${files[@]}"
fi
