#!/usr/bin/env bash
# Installs the Debian packages lumDC builds, tests and benchmarks with: the
# toolchain, GoogleTest, Google Benchmark, and the peer libraries used as test
# oracles and benchmark rivals. Does nothing when all are present already.
set -euo pipefail

packages=(
  g++ cmake ninja-build pkg-config clang libclang-rt-14-dev python3
  libgtest-dev libbenchmark-dev
  gzip zlib1g-dev libdeflate-dev libisal-dev liblz4-dev liblzo2-dev libbz2-dev libzfp-dev libdivsufsort-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
