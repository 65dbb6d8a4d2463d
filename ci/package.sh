#!/usr/bin/env bash
# Builds the Debian packages (libvokymem1, libvokyutil1, libvokyutil-dev,
# kyutil) from the package preset into build/package, then checks them.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset package >/dev/null
cmake --build --preset package -j 2
(cd build/package && rm -f ./*.deb && cpack -G DEB >/dev/null)
tests/package/check_packages.sh build/package build/package/check
