# Shared by the Windows tests' scripts (sourced): the Linux programs they run and a simulator on a
# new pseudo-terminal. Expects $work (the test's folder) to exist.

# need_programs PATH...: each must be there (the Linux build's); skipped (77) otherwise, failed
# under CI.
need_programs() {
  local program
  for program in "$@"; do
    if [[ ! -x "$program" ]]; then
      echo "missing $program: build the Linux preset first (cmake --build --preset default)"
      [[ -n "${CI:-}" ]] && exit 1
      exit 77
    fi
  done
}

# start_sim SIM NAME [ARGS...]: kelo-sim on a new pseudo-terminal, its output in $work/NAME.sim.*;
# sets $pty and $sim_pid.
start_sim() {
  local sim="$1" name="$2"
  shift 2
  "$sim" --no-stdin "$@" </dev/null >"$work/$name.sim.out" 2>"$work/$name.sim.err" &
  sim_pid=$!
  pty=""
  for _ in $(seq 100); do
    pty=$(sed -n 's/^kelo-sim: serving on \(\/dev\/pts\/[0-9]*\)$/\1/p' "$work/$name.sim.out")
    [[ -n "$pty" ]] && return 0
    sleep 0.1
  done
  echo "kelo-sim did not start: $(cat "$work/$name.sim.err")"
  exit 1
}

stop_sim() {
  if [[ -n "${sim_pid:-}" ]]; then
    kill -TERM "$sim_pid" 2>/dev/null || true
    wait "$sim_pid" 2>/dev/null || true
    sim_pid=""
  fi
}

free_port() {
  python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}
