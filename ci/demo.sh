#!/usr/bin/env bash
# Builds everything (library, kyutil, tests, benchmarks) and runs the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
ci/deps.sh
cmake --workflow --preset default
build/default/apps/kyutil/kyutil demo
