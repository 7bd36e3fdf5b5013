#!/usr/bin/env bash
# com-port-session.sh PREFIX LOGDIR SESSION_EXE LINUX_BUILD WORKDIR
# One scripted session (kelo-wire-session) through the Linux build on a pseudo-terminal and through
# the Windows build on COM1 (the prefix's "com1" link, pointed at a second pseudo-terminal), each
# against a new Linux kelo-sim that logs the requests it receives. Both sessions must succeed, and
# the two request logs must be the same frame by frame (times aside). Then the bad cases of the
# Win32 comm channel, through kelo-sim.exe serving on a COM port: a port that does not exist is
# refused with the system's reason, and a line whose far end goes away ends it with "COM1 lost".
set -euo pipefail
export WINEPREFIX="$1" WINEDEBUG=-all
logs="$2"
session_exe="$3"
linux_build="$4"
work="$5"
sim="$linux_build/src/kelo-sim"
linux_session="$linux_build/tests/kelo-wire-session"
source "$(dirname "$0")/lib.sh"
need_programs "$sim" "$linux_session"
rm -rf "$work"
mkdir -p "$work/linux" "$work/windows"
trap stop_sim EXIT

run_session() {  # run_session NAME COMMAND...: the session's report must end "0 failed"
  local name="$1"
  shift
  if ! timeout 60 "$@" </dev/null >"$work/$name.session.out" 2>"$work/$name.session.err" ||
     ! tr -d "\r" <"$work/$name.session.out" | grep -qx "0 failed"; then
    echo "the $name session failed:"
    cat "$work/$name.session.out" "$work/$name.session.err"
    exit 1
  fi
  cat "$work/$name.session.out"
}

start_sim "$sim" linux --request-log "$work/linux.requests"
run_session linux "$linux_session" "$pty" "$work/linux"
stop_sim

start_sim "$sim" windows --request-log "$work/windows.requests"
ln -sfn "$pty" "$WINEPREFIX/com1"
run_session windows wine "$session_exe" COM1 "$(winepath -w "$work/windows" 2>/dev/null)"
stop_sim

cut -d' ' -f2- "$work/linux.requests" >"$work/linux.frames"
cut -d' ' -f2- "$work/windows.requests" >"$work/windows.frames"
if ! diff -u "$work/linux.frames" "$work/windows.frames"; then
  echo "the Windows build's requests differ from the Linux build's (above)"
  exit 1
fi
echo "same $(wc -l <"$work/linux.frames") requests from both builds: $(tr '\n' ' ' <"$work/linux.frames")"

sim_exe="$(dirname "$session_exe")/../src/kelo-sim.exe"
if timeout 30 wine "$sim_exe" --device COM7 --no-stdin </dev/null >"$work/nocom.out" 2>&1 ||
   ! grep -q "cannot open COM7: COM7: .*(error 2)" "$work/nocom.out"; then
  echo "a missing COM7 was not refused clearly:"
  cat "$work/nocom.out"
  exit 1
fi
echo "missing port: $(head -1 "$work/nocom.out")"

start_sim "$sim" vanish --request-log "$work/vanish.requests"
ln -sfn "$pty" "$WINEPREFIX/com1"
wine "$sim_exe" --device COM1 --no-stdin </dev/null >"$work/vanish.out" 2>&1 &
windows_sim=$!
for _ in $(seq 100); do
  grep -q "serving on COM1" "$work/vanish.out" && break
  sleep 0.1
done
stop_sim  # the far end of COM1 goes away
if ! timeout 20 tail --pid="$windows_sim" -f /dev/null || ! grep -q "COM1 lost" "$work/vanish.out"; then
  echo "kelo-sim.exe did not see COM1 vanish:"
  cat "$work/vanish.out"
  kill "$windows_sim" 2>/dev/null || true
  exit 1
fi
echo "vanished line: $(grep "COM1 lost" "$work/vanish.out")"
