#!/usr/bin/env bash
# Installs the Debian packages that building (and, with --test, testing) TavKelo needs, when any
# is missing. Usage: scripts/deps.sh [--test]
set -euo pipefail

packages=(cmake ninja-build g++ pkg-config libcpp-httplib-dev nlohmann-json3-dev libcli11-dev
          libgtest-dev libgmock-dev libbenchmark-dev)
if [[ "${1:-}" == "--test" ]]; then
  # Browser tests drive Debian's Chromium with playwright-core from npm; the e2e tests use socat.
  packages+=(chromium nodejs npm socat)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [[ ${#missing[@]} -eq 0 ]]; then
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
