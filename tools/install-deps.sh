#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need,
# skipping those already present. Runs apt-get as root (through sudo when the
# caller is not root).
set -euo pipefail
packages=(cmake make g++ gfortran pkg-config liblapack-dev libgtest-dev libgmock-dev
          libbenchmark-dev libmpfr-dev libgmp-dev libboost-dev libflint-arb-dev python3 python3-numpy python3-pytest help2man clang
          libclang-rt-14-dev)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
