#!/usr/bin/env bash
# Builds the libFuzzer targets (the fuzz preset, clang) and runs each for SECONDS (default 60) on
# a copy of its seed corpus from tests/data/fuzz; fails on the first finding. Usage:
# scripts/fuzz.sh [SECONDS]. A finding's input is left in build/fuzz/findings/<target>/.
# The runs start from a fixed seed (FUZZ_SEED, default 1), so that CI explores the same inputs
# every time and a landing is never decided by chance; FUZZ_SEED=0 picks a new seed each run, for
# exploring by hand.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-60}"
targets=(reply_fuzzer request_frame_fuzzer ini_fuzzer api_fuzzer)

scripts/deps.sh --fuzz
launcher=()
command -v ccache >/dev/null 2>&1 && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake --preset fuzz "${launcher[@]}" >/dev/null
cmake --build --preset fuzz -j"${FUZZ_JOBS:-2}" --target "${targets[@]}"

for target in "${targets[@]}"; do
  corpus="build/fuzz/corpus/$target"
  findings="build/fuzz/findings/$target"
  rm -rf "$corpus" "$findings"
  mkdir -p "$corpus" "$findings"
  cp tests/data/fuzz/"$target"/* "$corpus"/
  echo "--- $target: $seconds s"
  if ! "build/fuzz/tests/fuzz/$target" -max_total_time="$seconds" -seed="${FUZZ_SEED:-1}" \
      -print_final_stats=1 \
      -artifact_prefix="$findings/" "$corpus" > "build/fuzz/$target.log" 2>&1; then
    tail -n 60 "build/fuzz/$target.log"
    echo "$target found a problem; the input is in $findings/" >&2
    exit 1
  fi
  grep -E '^#[0-9]+.*DONE|stat::number_of_executed_units' "build/fuzz/$target.log" || true
done
