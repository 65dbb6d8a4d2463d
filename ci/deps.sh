#!/usr/bin/env bash
# Installs what the build, the tests and the benchmarks need on a fresh Debian
# machine; does nothing when all of it is there.
set -euo pipefail
packages=(cmake ninja-build g++ clang libclang-rt-14-dev pkgconf python3 clang-format
  libgtest-dev libgmock-dev libbenchmark-dev libicu-dev libspdlog-dev xxd
  doxygen groff man-db dpkg-dev file gzip)
packages+=(libabsl-dev)  # peer of the splitters in bench/split_bench.cpp
packages+=(uuid-dev)     # peer of the UUID generator in bench/random_bench.cpp
packages+=(libglib2.0-dev)  # peer of the Base64 codec in bench/codec_bench.cpp
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo=sudo
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
