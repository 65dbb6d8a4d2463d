#!/usr/bin/env bash
# Unpacks the Debian packages into a scratch root, checks that each holds
# exactly its files, and builds and runs a C99 consumer against the unpacked
# -dev tree through pkg-config and through find_package.
#   check_packages.sh DEB_DIR SCRATCH_DIR
set -euo pipefail
debs=$(cd "$1" && pwd)
mkdir -p "$2"
scratch=$(cd "$2" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
src=$(cd "$here/../.." && pwd)
fail() { echo "package check: $*"; exit 1; }
rm -rf "$scratch"
mkdir -p "$scratch"
root=$scratch/root
version=$(sed -n 's/^project(vokyutil VERSION \([0-9.]*\).*/\1/p' "$src/CMakeLists.txt")
major=${version%%.*}
lib=usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)

# What each package must hold, no more and no less; the headers are whatever
# include/ky holds, so a new family's header is expected without an edit here.
expect() {
  case $1 in
    libvokymem$major) printf '%s\n' "$lib/libvokymem.so.$major" "$lib/libvokymem.so.$version" ;;
    libvokyutil$major) printf '%s\n' "$lib/libvokyutil.so.$major" "$lib/libvokyutil.so.$version" ;;
    libvokyutil-dev)
      (cd "$src/include" && find ky -name '*.h' | sed 's#^#usr/include/#')
      printf '%s\n' "$lib/libvokymem.so" "$lib/libvokyutil.so" "$lib/pkgconfig/vokyutil.pc" \
        "$lib/cmake/vokyutil/vokyutilConfig.cmake" "$lib/cmake/vokyutil/vokyutilConfigVersion.cmake" \
        "$lib/cmake/vokyutil/vokyutilTargets.cmake" \
        "$lib/cmake/vokyutil/vokyutilTargets-relwithdebinfo.cmake"
      ;;
    kyutil)
      printf '%s\n' usr/bin/kyutil usr/share/man/man1/kyutil.1.gz \
        usr/share/bash-completion/completions/kyutil
      ;;
  esac
}

for package in "libvokymem$major" "libvokyutil$major" libvokyutil-dev kyutil; do
  deb=$(find "$debs" -maxdepth 1 -name "${package}_${version}-*.deb" | head -n1)
  [ -n "$deb" ] || fail "no $package package in $debs"
  diff -u <(expect "$package" | sort) \
    <(dpkg-deb -c "$deb" | awk '$1 !~ /^d/ {print $6}' | sed 's#^\./##' | sort) ||
    fail "$package does not hold exactly its files"
  dpkg-deb -x "$deb" "$root"
  echo "$package: $(stat -c %s "$deb") bytes, $(dpkg-deb -f "$deb" Installed-Size) KiB installed;" \
    "depends: $(dpkg-deb -f "$deb" Depends)"
done
dpkg-deb -f "$debs/libvokyutil-dev_"*.deb Depends | grep -q "libvokymem$major (= $version-" ||
  fail "libvokyutil-dev must depend on libvokymem$major of its own version"
dpkg-deb -f "$debs/libvokyutil${major}_"*.deb Depends | grep -q 'libstdc++6' ||
  fail "libvokyutil$major lacks its computed C++ runtime dependency"
test -e "$(readlink -f "$root/$lib/libvokyutil.so")" || fail "libvokyutil.so dangles"

export LD_LIBRARY_PATH=$root/$lib
export PKG_CONFIG_PATH=$root/$lib/pkgconfig PKG_CONFIG_SYSROOT_DIR=
# shellcheck disable=SC2046
cc -std=c99 -pedantic -Wall -Wextra -Werror "$here/consumer/main.c" -o "$scratch/consumer_pc" \
  $(pkg-config --cflags --libs vokyutil)
"$scratch/consumer_pc"

cmake -S "$here/consumer" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$root/usr" \
  -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF >/dev/null
cmake --build "$scratch/consumer" >/dev/null
"$scratch/consumer/consumer"
"$root/usr/bin/kyutil" format '{0} ready' kyutil
echo "package check passed"
