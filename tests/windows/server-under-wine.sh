#!/usr/bin/env bash
# TavKeloASM.exe as a station runs it, under wine: started with --simulate from a folder App\Bin
# beside App\LOGS; its address printed; a property read over HTTP with curl from Linux; a second
# instance refused; the INI file beside the executable and the day's log in LOGS, with Windows
# paths; the start-up log lines the same as the Linux server's but for the paths; the orderly stop
# by WM_CLOSE (taskkill without /F), as the log's last lines show; kelo.exe runs.
#   server-under-wine.sh BINDIR WORKDIR LOGDIR [LINUX_SERVER]
# Every wine command reads /dev/null and writes files (see wine-prefix.sh). Waits are bounded.
set -uo pipefail
bindir="$1"
work="$2"
logs="$3"
linux_server="${4:-}"
: "${WINEPREFIX:?the wine prefix}"
export WINEDEBUG=-all
instance="winetest$$"

passed=0
failed=0
check() {  # check DESCRIPTION COMMAND...: one check, counted
  local what="$1"
  shift
  if "$@"; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "FAILED: $what" >&2
  fi
}
wait_for() {  # wait_for SECONDS FILE PATTERN: until FILE holds PATTERN (extended regex)
  local deadline=$((SECONDS + $1))
  while ((SECONDS < deadline)); do
    grep -qE "$3" "$2" 2>/dev/null && return 0
    sleep 0.2
  done
  return 1
}
finish() {
  echo "server-under-wine: $passed passed, $failed failed"
  ((failed == 0 && passed > 0))
  exit $?
}

# Nothing of an earlier run: an old server.out would show an old address.
rm -rf "$work" "$logs"
mkdir -p "$work/App/Bin" "$work/App/LOGS" "$logs"
# A station's folder: the program, and the LOGS folder beside its folder. Logging on, the rest of
# the INI file as the server writes it.
ln -f "$bindir/TavKeloASM.exe" "$work/App/Bin/" 2>/dev/null || cp "$bindir/TavKeloASM.exe" "$work/App/Bin/"
printf '[LogControl]\r\nRawSetting=1\r\n' >"$work/App/Bin/TavKeloASM.INI"
cd "$work"

# 1. Started, it prints where it serves.
wine App/Bin/TavKeloASM.exe --simulate --listen 127.0.0.1:0 --instance "$instance" \
  </dev/null >"$logs/server.out" 2>"$logs/server.err" &
server=$!
if ! wait_for 60 "$logs/server.out" 'serving http://127\.0\.0\.1:[0-9]+/'; then
  echo "FAILED: the server printed no address within 60 s" >&2
  cat "$logs/server.out" "$logs/server.err" >&2
  kill "$server" 2>/dev/null
  failed=$((failed + 1))
  finish
fi
address=$(grep -oE 'http://127\.0\.0\.1:[0-9]+' "$logs/server.out" | head -n 1)
winpid=$(grep -oE '\(pid [0-9]+\)' "$logs/server.out" | head -n 1 | tr -dc 0-9)
echo "serving at $address, Windows pid $winpid"

# 2. A client from Linux: an object, Init and Connect on the simulated port 1, a property, release.
json='Content-Type: application/json'
object=$(curl -s -m 10 -H "$json" -XPOST "$address/automation/objects" -d '{}')
id=$(sed -n 's/.*"id":"\([^"]*\)".*/\1/p' <<<"$object")
check "an object is created over HTTP ($object)" test -n "$id"
curl -s -m 10 -H "$json" -XPOST "$address/automation/objects/$id/methods/Init" \
  -d '{"args": [true, 1, 9600, "N"]}' >"$logs/init.json"
connected=$(curl -s -m 10 -H "$json" -XPOST "$address/automation/objects/$id/methods/Connect" -d '{}')
check "Connect answers true ($connected)" grep -q '"result":true' <<<"$connected"
speed=$(curl -s -m 10 "$address/automation/objects/$id/properties/PrimarySpeedMPH")
check "PrimarySpeedMPH reads a number ($speed)" grep -qE '^\{"value":-?[0-9.eE+-]+\}$' <<<"$speed"
curl -s -m 10 -XDELETE "$address/automation/objects/$id" >/dev/null

# 3. A second instance is refused, clearly, and goes.
timeout 60 wine App/Bin/TavKeloASM.exe --simulate --listen 127.0.0.1:0 --instance "$instance" \
  </dev/null >"$logs/second.out" 2>"$logs/second.err"
status=$?
check "a second instance ends with status 3 (got $status)" test "$status" -eq 3
check "a second instance says why" grep -q "another instance is already running" "$logs/second.err"

# 4. The INI file beside the executable (the server wrote its default into it), the day's log in
# LOGS beside the executable's folder, named with Windows paths.
ini="$work/App/Bin/TavKeloASM.INI"
check "the INI file beside the executable is the one read and written" \
  grep -q "ZeroFillVariableNumber=True" "$ini"
log=$(ls "$work"/App/LOGS/KELO_*.LOG 2>/dev/null | head -n 1)
check "the day's log is in App/LOGS" test -n "$log"
log=${log:-/dev/null}
check "the log names the executable by its Windows path" \
  grep -qF "TavKeloASM-Me:'Z:${work//\//\\}\\App\\Bin\\TavKeloASM.exe'" "$log"
check "the log names itself by its Windows path" \
  grep -qF "TavKeloASM-Log:'Z:${work//\//\\}\\App\\LOGS\\KELO_" "$log"

# 5. The start-up lines as the Linux server writes them, paths and times aside.
startup() {  # startup LOGFILE: the first start-up block, line ends, stamps, times and paths masked
  tr -d '\r' <"$1" | sed -e 's/^[0-9]\{6\}\.[0-9][0-9]-//' |
    sed -n '/^TavKeloASM: Main - Ver/,/ - Exiting \.\.\./p' |
    sed -e "s/^TavKeloASM-Me:'.*'$/TavKeloASM-Me:'PATH'/" \
        -e "s/^TavKeloASM-Log:'.*'$/TavKeloASM-Log:'PATH'/" \
        -e 's/[0-9]\{4\}-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9]/TIME/g'
}
startup "$log" >"$logs/startup.windows"
check "the Windows start-up block is there" grep -q "Exiting" "$logs/startup.windows"
if [[ -n "$linux_server" && -x "$linux_server" ]]; then
  mkdir -p "$work/linux/App/Bin" "$work/linux/App/LOGS"
  cp "$linux_server" "$work/linux/App/Bin/TavKeloASM"
  printf '[LogControl]\r\nRawSetting=1\r\n' >"$work/linux/App/Bin/TavKeloASM.INI"
  "$work/linux/App/Bin/TavKeloASM" --simulate --listen 127.0.0.1:0 --instance "$instance.linux" \
    --no-history </dev/null >"$logs/linux.out" 2>"$logs/linux.err" &
  linux=$!
  wait_for 30 "$logs/linux.out" 'serving http' || echo "the Linux server did not start" >&2
  kill -TERM "$linux" 2>/dev/null
  wait "$linux"
  startup "$(ls "$work"/linux/App/LOGS/KELO_*.LOG | head -n 1)" >"$logs/startup.linux"
  check "the start-up lines are the Linux server's, paths aside" \
    diff -u "$logs/startup.linux" "$logs/startup.windows"
else
  echo "SKIPPED: the comparison with the Linux start-up lines: no Linux server at" \
       "'${linux_server:-(none given)}' (build the default preset's TavKeloASM)"
fi

# 6. The orderly stop: WM_CLOSE to the server's hidden window, as taskkill without /F sends it.
wine taskkill /PID "$winpid" </dev/null >"$logs/taskkill.out" 2>"$logs/taskkill.err"
check "taskkill reached the server's window" grep -q "Close message sent" "$logs/taskkill.out"
wait_for 30 "$logs/server.out" '^TavKeloASM: stopped'
check "the server says it stopped" grep -q "^TavKeloASM: stopped" "$logs/server.out"
deadline=$((SECONDS + 20))
while kill -0 "$server" 2>/dev/null && ((SECONDS < deadline)); do sleep 0.2; done
if kill -0 "$server" 2>/dev/null; then
  kill "$server"
  check "the server's process ends after the stop" false
fi
wait "$server"
check "the server ends with status 0 (got $?)" test "$?" -eq 0
check "the console's object is released in the log" \
  grep -q "clsKeloInterface: Class_Terminate - Complete" "$log"

# 7. The command-line client runs.
wine "$bindir/kelo.exe" --help </dev/null >"$logs/kelo.out" 2>"$logs/kelo.err"
check "kelo.exe --help ends with status 0" test "$?" -eq 0
check "kelo.exe --help describes the client" grep -q "kelo" "$logs/kelo.out"

finish
