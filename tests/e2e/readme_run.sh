#!/usr/bin/env bash
# Runs the README's first command as written, `scripts/run.sh --simulate`, and checks that the
# address it prints serves a working simulated dyne: the dashboard page, readings from a connected
# link, and the roll speed rising while a simulated driver holds 30 mph. Stops the server with
# SIGTERM and expects it to end cleanly. Used by CI after the normal build's tests.
set -euo pipefail
cd "$(dirname "$0")/../.."

out=$(mktemp)
scripts/run.sh --simulate >"$out" 2>&1 &
pid=$!
cleanup() { kill "$pid" 2>/dev/null || true; rm -f "$out"; }
trap cleanup EXIT
fail() { echo "readme_run: $*" >&2; echo "--- server output ---" >&2; cat "$out" >&2; exit 1; }

# The address it prints (the build may run first).
url=""
for _ in $(seq 1 1200); do
  url=$(grep -oE 'serving http://[0-9.:]+/' "$out" | head -n1 | cut -d' ' -f2 || true)
  [[ -n "$url" ]] && break
  kill -0 "$pid" 2>/dev/null || fail "the server ended before it printed its address"
  sleep 0.5
done
[[ -n "$url" ]] || fail "no address printed within 10 minutes"
echo "readme_run: serving at $url"

kelo=(build/default/src/kelo --server "$url")
page=$(mktemp)
"${kelo[@]}" readings >"$page" || fail "kelo readings failed"
grep -qE '"connected": ?true' "$page" || fail "the console is not connected: $(cat "$page")"
grep -qE '"simulated": ?true' "$page" || fail "not a simulated dyne"
rm -f "$page"

"${kelo[@]}" sim drive speed 30 >/dev/null || fail "kelo sim drive speed 30 failed"
speed=0
for _ in $(seq 1 100); do
  speed=$("${kelo[@]}" readings | grep -oE '"speedMph": ?[0-9.]+' | grep -oE '[0-9.]+$')
  awk -v s="$speed" 'BEGIN { exit !(s > 25) }' && break
  sleep 0.2
done
awk -v s="$speed" 'BEGIN { exit !(s > 25) }' || fail "the roll speed did not rise (last $speed mph)"
echo "readme_run: the rolls turn at $speed mph"
"${kelo[@]}" sim drive off >/dev/null

kill -TERM "$pid"
status=0
wait "$pid" || status=$?
[[ $status -eq 0 ]] || fail "the server ended with status $status after SIGTERM"
grep -q "TavKeloASM: stopped" "$out" || fail "no clean stop"
echo "readme_run: the README's server command works as written"
