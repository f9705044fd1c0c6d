#!/usr/bin/env bash
# Installs what is missing to build and test the tree on Debian 12; with "checks" also what the other
# checks of .ci/run need, with "packages" what makes Debian packages, with "docs" what makes pages of the headers. Safe to
# run again at any time.
set -euo pipefail
packages=(g++ cmake ninja-build pkg-config libssl-dev libevent-dev libgtest-dev libgmock-dev libbenchmark-dev
          libcli11-dev nlohmann-json3-dev libcurl4-openssl-dev libldap-dev openssl ca-certificates bats python3
          python3-jsonschema                       # holds documents of the command against their schema
          python3-cryptography-vectors             # NIST's test suite of paths
          gnutls-bin libnss3-tools                 # other makers of keys, certificates and containers
          nginx-light slapd ldap-utils)            # servers that tests start for themselves
[ "${1:-}" = checks ] && packages+=(git clang clang-format clang-tidy libclang-rt-14-dev)
[ "${1:-}" = docs ] && packages=(doxygen)
[ "${1:-}" = packages ] && packages+=(git dpkg-dev debhelper lintian)
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0
sudo=''
[ "$(id -u)" -eq 0 ] || sudo=sudo
echo "installing: ${missing[*]}" >&2
$sudo apt-get update -qq >&2
# Installing a server starts it as a service, and asks what for. Here it does neither.
policy=/usr/sbin/policy-rc.d
if [ ! -e "$policy" ]; then
  trap '$sudo rm -f "$policy"' EXIT
  printf '#!/bin/sh\nexit 101\n' | $sudo tee "$policy" >/dev/null
  $sudo chmod 755 "$policy"
fi
echo 'slapd slapd/no_configuration boolean true' | $sudo debconf-set-selections
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
for service in nginx slapd; do   # not after the next boot, either
  case " ${missing[*]} " in *" $service"*) command -v systemctl >/dev/null && $sudo systemctl disable "$service" >&2 || true ;; esac
done
