#!/usr/bin/env bash
# com-wire-session.sh PREFIX SERVER_EXE LINUX_BUILD WORKDIR
# The same client session through the two front doors: over the HTTP API of the Linux server on a
# pseudo-terminal, and through COM (wire-session.vbs under cscript) to TavKeloASM.exe under wine on
# COM1, each against a new Linux kelo-sim that logs the requests it receives. The session's own
# frames (the handshake's reads and writes, the written variable, DisConnect's) must be the same
# in both logs, in order; the poller's frames in between depend on timing and are set aside
# (D, C and the live variables from 200 up), after checking that both logs have them.
set -euo pipefail
export WINEPREFIX="$1" WINEDEBUG=-all
server_exe="$2"
linux_build="$3"
work="$4"
sim="$linux_build/src/kelo-sim"
linux_server="$linux_build/src/TavKeloASM"
for program in "$sim" "$linux_server"; do
  if [[ ! -x "$program" ]]; then
    echo "missing $program: build the Linux preset first (cmake --build --preset default)"
    [[ -n "${CI:-}" ]] && exit 1
    exit 77
  fi
done
rm -rf "$work"
mkdir -p "$work/linux-app"
cp "$(dirname "$0")/wire-session.vbs" "$work/"

pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wine "$server_exe" /UNREG </dev/null >/dev/null 2>&1 || true
}
trap cleanup EXIT

start_sim() {  # start_sim NAME: sets $pty and $sim_pid
  "$sim" --no-stdin --request-log "$work/$1.requests" </dev/null >"$work/$1.sim.out" \
    2>"$work/$1.sim.err" &
  sim_pid=$!
  pids+=($sim_pid)
  pty=""
  for _ in $(seq 100); do
    pty=$(sed -n 's/^kelo-sim: serving on \(\/dev\/pts\/[0-9]*\)$/\1/p' "$work/$1.sim.out")
    [[ -n "$pty" ]] && return 0
    sleep 0.1
  done
  echo "kelo-sim did not start"
  exit 1
}
free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }

# Over HTTP, to the Linux server.
start_sim http
port=$(free_port)
cp "$linux_server" "$work/linux-app/TavKeloASM"
"$work/linux-app/TavKeloASM" --port "1=$pty" --listen "127.0.0.1:$port" --instance wire-http \
  </dev/null >"$work/http.server.out" 2>&1 &
server_pid=$!
pids+=($server_pid)
api="http://127.0.0.1:$port/automation/objects"
for _ in $(seq 100); do curl -sf "http://127.0.0.1:$port/api/readings" >/dev/null && break; sleep 0.1; done
id=$(curl -sf -X POST -H 'Content-Type: application/json' -d '{}' "$api" | jq -r .id)
call() { curl -sf -X POST -H 'Content-Type: application/json' -d "$2" "$api/$id/methods/$1"; }
call Init '{"args": [true, 1, 9600, "N"]}' >/dev/null
[[ "$(call Connect '{"args": []}' | jq .result)" == true ]] || { echo "HTTP Connect failed"; exit 1; }
sleep 2
[[ "$(call SetSystemParameter '{"args": [2, 3175.5]}' | jq .result)" == 0 ]] ||
  { echo "HTTP SetSystemParameter failed"; exit 1; }
call DisConnect '{"args": []}' >/dev/null
curl -sf -X DELETE -H 'Content-Type: application/json' "$api/$id" >/dev/null || true
kill -TERM "$server_pid"; wait "$server_pid" || true
kill -TERM "$sim_pid"; wait "$sim_pid" || true

# Through COM, to the Windows server.
start_sim com
ln -sfn "$pty" "$WINEPREFIX/com1"
wine "$server_exe" /REG --listen "127.0.0.1:$(free_port)" --instance wire-com </dev/null \
  >"$work/reg.out" 2>&1
(cd "$work" && timeout 60 wine cscript wire-session.vbs </dev/null >"$work/com.out" 2>&1) || true
tr -d '\r' <"$work/com.out" | grep -qx '[0-9]* passed, 0 failed' ||
  { echo "the COM session failed:"; tr -d '\r' <"$work/com.out"; exit 1; }
for _ in $(seq 100); do  # the server ends by itself after the script's release
  pgrep -f 'TavKeloASM\.exe.*[-/]Embedding' >/dev/null || break
  sleep 0.1
done
kill -TERM "$sim_pid"; wait "$sim_pid" || true

status=0
for name in http com; do
  cut -d' ' -f2- "$work/$name.requests" >"$work/$name.frames"
  grep -qx 'D' "$work/$name.frames" && grep -q '^E2[0-9][0-9]$' "$work/$name.frames" ||
    { echo "no poll cycle in the $name log"; status=1; }
  grep -vxE 'D|C|E2[0-9][0-9]' "$work/$name.frames" >"$work/$name.session"
done
if ! diff -u "$work/http.session" "$work/com.session"; then
  echo "the COM session's frames differ from the HTTP session's (above)"
  status=1
fi
[[ $status == 0 ]] && echo "same session frames over HTTP (Linux) and COM (Windows):" \
  "$(tr '\n' ' ' <"$work/com.session")"
exit $status
