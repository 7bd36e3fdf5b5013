#!/usr/bin/env bash
# The wine prefix of the Windows tests: wine-prefix.sh start|stop PREFIX LOGDIR.
# Every wine command here reads /dev/null and writes files: wine's background services inherit the
# standard streams, and a pipe of CTest's left open would hold the fixture until its time-out.
set -euo pipefail
action="$1"
export WINEPREFIX="$2"
logs="$3"
export WINEDEBUG=-all
mkdir -p "$logs"
case "$action" in
  start)
    mkdir -p "$WINEPREFIX"  # wineserver starts in the prefix's folder; wineboot fills it
    # A persistent server first, so that the services wineboot starts (which would otherwise be
    # started by the first test program, holding CTest's pipes open) stay up for every test.
    # (It fails when a server of this prefix still runs, which serves as well.)
    wineserver -p </dev/null >"$logs/wineserver.out" 2>"$logs/wineserver.err" || true
    # Without 32-bit wine, wineboot reports the missing syswow64 and fails; the 64-bit prefix it
    # makes is whole all the same, as its system folder shows (the persistent server writes the
    # registry files only later).
    wineboot -i </dev/null >"$logs/wineboot.out" 2>"$logs/wineboot.err" || true
    if [[ ! -f "$WINEPREFIX/drive_c/windows/system32/kernel32.dll" ]]; then
      echo "wineboot made no prefix in $WINEPREFIX; see $logs/wineboot.err" >&2
      exit 1
    fi
    # No display here: wine's null graphics driver lets programs make (hidden) top-level windows,
    # which the server's stop by WM_CLOSE needs.
    wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /t REG_SZ /d null /f \
      </dev/null >"$logs/reg.out" 2>"$logs/reg.err"
    echo "wine prefix ready: $WINEPREFIX"
    ;;
  stop)
    wineserver -k </dev/null >>"$logs/wineserver.out" 2>>"$logs/wineserver.err" || true
    echo "wineserver stopped"
    ;;
  *)
    echo "usage: $0 start|stop PREFIX LOGDIR" >&2
    exit 2
    ;;
esac
