#!/usr/bin/env bash
# Installs what is missing to build and test the tree on Debian 12; with "checks" also what the other
# checks of .ci/run need. Safe to run again at any time.
set -euo pipefail
packages=(g++ cmake ninja-build pkg-config libssl-dev libevent-dev libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev openssl ca-certificates bats python3)
[ "${1:-}" = checks ] && packages+=(git clang clang-format clang-tidy libclang-rt-14-dev)
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0
sudo=''
[ "$(id -u)" -eq 0 ] || sudo=sudo
echo "installing: ${missing[*]}" >&2
$sudo apt-get update -qq >&2
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
