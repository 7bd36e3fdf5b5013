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
    # A persistent server first, so that the services wineboot starts (which would otherwise be
    # started by the first test program, holding CTest's pipes open) stay up for every test.
    mkdir -p "$WINEPREFIX"
    # A server left running by an earlier run would refuse to start a second one.
    wineserver -k </dev/null >/dev/null 2>&1 || true
    wineserver -w </dev/null >/dev/null 2>&1 || true
    wineserver -p </dev/null >"$logs/wineserver.out" 2>"$logs/wineserver.err"
    # Without 32-bit wine, wineboot reports the missing syswow64 and fails; the 64-bit prefix it
    # makes is whole all the same, as its registry shows (checked below).
    wineboot -i </dev/null >"$logs/wineboot.out" 2>"$logs/wineboot.err" || true
    # COM1 is the symbolic link "com1" in the prefix, which a serial test points at the
    # pseudo-terminal it serves; wine reads its port map when its server starts, so once more.
    wine reg add 'HKLM\Software\Wine\Ports' /v COM1 /t REG_SZ /d "$WINEPREFIX/com1" /f \
      </dev/null >>"$logs/wineboot.out" 2>>"$logs/wineboot.err"
    # No display here: wine's null graphics driver lets programs make (hidden) top-level windows,
    # which the server's stop by WM_CLOSE needs.
    wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /t REG_SZ /d null /f \
      </dev/null >>"$logs/wineboot.out" 2>>"$logs/wineboot.err"
    wineserver -k </dev/null >>"$logs/wineserver.out" 2>>"$logs/wineserver.err" || true
    wineserver -w </dev/null >>"$logs/wineserver.out" 2>>"$logs/wineserver.err" || true
    # The registry is on disk once the first server has ended.
    if [[ ! -f "$WINEPREFIX/system.reg" ]]; then
      echo "wineboot made no prefix in $WINEPREFIX; see $logs/wineboot.err" >&2
      exit 1
    fi
    wineserver -p </dev/null >>"$logs/wineserver.out" 2>>"$logs/wineserver.err"
    # The new server's services (rpcss among them, which any program using COM or OLE automation
    # needs) start here, with their streams on the log files, not under the first test program.
    wine wineboot </dev/null >>"$logs/wineboot.out" 2>>"$logs/wineboot.err" || true
    # The desktop process: the first program that makes a window (with the null driver, it can)
    # would otherwise start it, and it would hold that test's pipes open. Started here, with files.
    # A session of its own, so that it outlives this script's.
    setsid wine explorer.exe /desktop </dev/null >"$logs/desktop.out" 2>"$logs/desktop.err" &
    sleep 2
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
