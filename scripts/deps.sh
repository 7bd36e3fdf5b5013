#!/usr/bin/env bash
# Installs the Debian packages that building (and, with --test, testing) TavKelo needs, when any
# is missing. Usage: scripts/deps.sh [--test|--format|--fuzz|--windows]
set -euo pipefail

missing=()
need_package() {  # need_package PACKAGE: installed as a Debian package
  dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed" || missing+=("$1")
}
need_command() {  # need_command COMMAND PACKAGE...: the command, from wherever it came
  local cmd="$1"
  shift
  command -v "$cmd" >/dev/null 2>&1 || missing+=("$@")
}

for p in cmake ninja-build g++ pkg-config libcpp-httplib-dev nlohmann-json3-dev libcli11-dev \
         libmosquitto-dev libsqlite3-dev libjs-chart.js libgtest-dev libgmock-dev \
         libbenchmark-dev; do
  need_package "$p"
done
if [[ "${1:-}" == "--test" || "${1:-}" == "--format" ]]; then
  need_package clang-format  # the formatting check of CI
fi
if [[ "${1:-}" == "--fuzz" ]]; then
  # libFuzzer and the sanitizers' runtimes come with clang's runtime package.
  need_command clang++ clang
  need_package libclang-rt-14-dev
fi
if [[ "${1:-}" == "--windows" ]]; then
  # The Windows build: mingw-w64's compiler with posix threads, its tools (widl, windres), wine to
  # run the tests, wine's IDL files, and GoogleTest's source to build it for the target.
  # dpkg-dev unpacks the HTTP library's source package (see fetch_httplib_source).
  for p in g++-mingw-w64-x86-64-posix mingw-w64-tools wine wine64 libwine-dev googletest \
           dpkg-dev; do
    need_package "$p"
  done
fi
if [[ "${1:-}" == "--test" ]]; then
  # Browser tests drive Debian's Chromium with playwright-core from npm; the end-to-end tests and
  # the README's examples use socat. Node.js may come from Debian or from elsewhere with its npm.
  [[ -x /usr/bin/chromium ]] || missing+=(chromium)
  need_command socat socat
  # The HTTPS test makes its certificate with openssl.
  [[ -x /usr/bin/openssl ]] || missing+=(openssl)
  # The telemetry tests: a real MQTT broker and subscriber, and Prometheus's metrics checker.
  need_package mosquitto
  need_package mosquitto-clients
  need_command promtool prometheus
  # The history's kill test checks the file with the sqlite3 shell.
  need_command sqlite3 sqlite3
  if ! command -v node >/dev/null 2>&1 || ! command -v npm >/dev/null 2>&1; then
    missing+=(nodejs npm)
  fi
fi

# The Windows build's HTTP library: Debian's libcpp-httplib-dev carries a declarations-only header
# (its code is in a Linux shared library), so the whole header comes from Debian's source package,
# with Debian's patches applied, into build/deps/ (never committed). A deb-src entry is added for
# the distribution's own archive when there is none.
fetch_httplib_source() {
  local root deps
  root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
  deps="$root/build/deps"
  if compgen -G "$deps/cpp-httplib-*/httplib.h" >/dev/null; then
    return 0
  fi
  local as_root=()
  [[ $(id -u) -ne 0 ]] && as_root=(sudo)
  if ! grep -rqsE '^(deb-src |Types:.*deb-src)' /etc/apt/sources.list /etc/apt/sources.list.d/; then
    echo "Adding deb-src entries for the distribution's archive (the HTTP library's source)"
    local debian=/etc/apt/sources.list.d/debian.sources
    if [[ -f "$debian" ]]; then
      sed 's/^Types: deb$/Types: deb-src/' "$debian" |
        "${as_root[@]}" tee /etc/apt/sources.list.d/debian-src.sources >/dev/null
    else
      sed -n 's/^deb /deb-src /p' /etc/apt/sources.list |
        "${as_root[@]}" tee /etc/apt/sources.list.d/debian-src.list >/dev/null
    fi
    "${as_root[@]}" apt-get update -q
  fi
  mkdir -p "$deps"
  # apt-get source unpacks with dpkg-source, which applies Debian's patches.
  (cd "$deps" && apt-get source -q cpp-httplib)
  if ! compgen -G "$deps/cpp-httplib-*/httplib.h" >/dev/null; then
    echo "apt-get source cpp-httplib left no httplib.h in $deps" >&2
    exit 1
  fi
}

node_check() {  # playwright-core needs Node.js 20 or later
  if [[ "${1:-}" == "--test" ]] && command -v node >/dev/null 2>&1; then
    local major
    major=$(node -p 'process.versions.node.split(".")[0]' 2>/dev/null || echo 0)
    if (( major < 20 )); then
      echo "The browser tests need Node.js 20 or later; this machine has $(node --version)." >&2
      echo "Install a newer Node.js (with its npm) and run the tests again." >&2
      exit 1
    fi
  fi
}

if [[ ${#missing[@]} -eq 0 ]]; then
  node_check "${1:-}"
  [[ "${1:-}" == "--windows" ]] && fetch_httplib_source
  exit 0
fi

echo "Installing missing packages: ${missing[*]}"
sudo_cmd=()
if [[ $(id -u) -ne 0 ]]; then
  if command -v sudo >/dev/null; then sudo_cmd=(sudo); else
    echo "These packages are missing and this user cannot install them: ${missing[*]}" >&2
    exit 1
  fi
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -q
"${sudo_cmd[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
node_check "${1:-}"
[[ "${1:-}" == "--windows" ]] && fetch_httplib_source
exit 0
