#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a consumer against it,
# once through find_package and once through pkg-config, then runs both.
#   check_install.sh BUILD_DIR SCRATCH_DIR CXX "SANITIZE_FLAGS"
set -euo pipefail
build=$1 scratch=$2 cxx=$3 flags=${4:-}
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$scratch"
mkdir -p "$scratch"
prefix=$scratch/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in include/ky/strings.h include/ky/memory.h; do test -f "$prefix/$f"; done
libdir=$(dirname "$(find "$prefix" -name 'libvokyutil.so.1' | head -n1)")
test -L "$libdir/libvokyutil.so" && test -L "$libdir/libvokymem.so.1"

cmake -S "$here/consumer" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
"$scratch/consumer/consumer"

export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046,SC2086
"$cxx" $flags "$here/consumer/main.cpp" -o "$scratch/consumer_pc" \
  $(pkg-config --cflags --libs vokyutil) -Wl,-rpath,"$libdir"
"$scratch/consumer_pc"
echo "install check passed"
