#!/usr/bin/env bash
# com-clients.sh PREFIX SERVER_EXE CLIENT_EXE CLIENT_VBS LINUX_BUILD WORKDIR
# TavKeloASM.exe as the COM server of existing inspection programs, under wine, against the Linux
# kelo-sim on a pseudo-terminal that the prefix maps to COM1:
#   /REG registers the class (COM starts the server with the arguments given and -Embedding);
#   the C++ client connects, checks its calls late- and early-bound, and holds its object while
#   the VBScript client runs its whole session (warm-up and coastdown to completion): one server
#   process serves both, and its HTTP API shows the same engine (the coastdown they ran); after
#   the last release the server ends by itself; /UNREG leaves no keys.
set -euo pipefail
export WINEPREFIX="$1" WINEDEBUG=-all
server="$2"
client="$3"
script="$4"
linux_build="$5"
work="$6"
sim="$linux_build/src/kelo-sim"
if [[ ! -x "$sim" ]]; then
  echo "missing $sim: build the Linux preset first (cmake --build --preset default)"
  [[ -n "${CI:-}" ]] && exit 1
  exit 77
fi
rm -rf "$work"
mkdir -p "$work"
cp "$script" "$work/kelo-client.vbs"  # cscript takes a relative path, not a Unix one

pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wine "$server" /UNREG </dev/null >/dev/null 2>&1 || true
}
trap cleanup EXIT

# The server as COM started it (its command line ends with -Embedding).
server_count() { pgrep -fc 'TavKeloASM\.exe.*[-/]Embedding' || true; }
if [[ "$(server_count)" != 0 ]]; then
  echo "a TavKeloASM.exe is running already"
  exit 1
fi

# A light rotor, so that the coastdown's windows pass in seconds.
"$sim" --no-stdin --inertia-kg 300 --motor-force 2000 </dev/null >"$work/sim.out" 2>"$work/sim.err" &
pids+=($!)
pty=""
for _ in $(seq 100); do
  pty=$(sed -n 's/^kelo-sim: serving on \(\/dev\/pts\/[0-9]*\)$/\1/p' "$work/sim.out")
  [[ -n "$pty" ]] && break
  sleep 0.1
done
[[ -n "$pty" ]] || { echo "kelo-sim did not start"; cat "$work/sim.err"; exit 1; }
ln -sfn "$pty" "$WINEPREFIX/com1"

http_port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
wine "$server" /REG --listen "127.0.0.1:$http_port" --instance com-clients </dev/null >"$work/reg.out" 2>&1
cat "$work/reg.out"
wine reg query 'HKLM\Software\Classes\TavKeloASM.clsKeloInterface\CLSID' </dev/null \
  >"$work/reg-query.out" 2>&1 || { echo "/REG wrote no ProgID"; exit 1; }

wine "$client" 1 --hold 'Z:'"${work//\//\\}"'\release' </dev/null >"$work/client.out" 2>&1 &
client_pid=$!
pids+=($client_pid)
for _ in $(seq 300); do
  grep -q "holding\|passed" "$work/client.out" && break
  sleep 0.1
done
(cd "$work" && timeout 240 wine cscript kelo-client.vbs 1 </dev/null >"$work/vbs.out" 2>&1) || true
tr -d '\r' <"$work/vbs.out"
servers_during=$(server_count)
# The HTTP API of the same process shows the same engine: the coastdown the VBScript ran, completed,
# and the status replies of the link the COM clients connected (the script's DisConnect has closed
# it for both since: they share it).
first=$(curl -sf "http://127.0.0.1:$http_port/api/readings" || echo '{}')
http_view=$(jq -n --argjson a "$first" \
  '$a.test.started == 3 and $a.test.completion == 3 and $a.counters.statusReplies > 10')
touch "$work/release"
wait "$client_pid" || true
tr -d '\r' <"$work/client.out"

status=0
tr -d '\r' <"$work/vbs.out" | grep -qE '^[0-9]+ passed, 0 failed$' || { echo "the VBScript client failed"; status=1; }
tr -d '\r' <"$work/client.out" | grep -qE '^[0-9]+ passed, 0 failed$' || { echo "the C++ client failed"; status=1; }
if [[ "$http_view" != true ]]; then
  echo "the HTTP API did not show the COM clients' engine: $first"
  status=1
fi
if [[ "$servers_during" != 1 ]]; then
  echo "$servers_during server processes served the two clients, not one"
  status=1
fi
# The last release: the server ends after its grace (2 s) and drain, by itself.
for _ in $(seq 150); do
  [[ "$(server_count)" == 0 ]] && break
  sleep 0.1
done
if [[ "$(server_count)" != 0 ]]; then
  echo "the server did not end after the last client released its object"
  status=1
fi

wine "$server" /UNREG </dev/null >"$work/unreg.out" 2>&1
cat "$work/unreg.out"
for key in 'TavKeloASM.clsKeloInterface' 'CLSID\{4CD467F0-3609-446F-9061-CB82BC90D4B2}' \
           'TypeLib\{8694772F-205D-4676-88D8-CDB928B7E86A}'; do
  if wine reg query "HKLM\\Software\\Classes\\$key" </dev/null >/dev/null 2>&1; then
    echo "/UNREG left HKLM\\Software\\Classes\\$key"
    status=1
  fi
done
[[ $status == 0 ]] && echo "COM clients: both passed, one server (its HTTP API on the same engine), ended by itself, no keys left"
exit $status
