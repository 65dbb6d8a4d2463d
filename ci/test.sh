#!/usr/bin/env bash
# Every test: installs what is missing and checks the format; runs the logger
# and clock suites and a log stress run under ThreadSanitizer; fuzzes each
# target for 30 s (the transcoding one also 10 s at each lower kernel level);
# then builds under AddressSanitizer and UndefinedBehaviorSanitizer with
# -Werror and runs the suites (transcoding at every kernel level), the
# C99/C++11 header checks, the ABI check, the install check and the fuzz
# corpus replays. Between them, the Debian packages are built and checked.
set -euo pipefail
cd "$(dirname "$0")/.."
ci/deps.sh
ci/format.sh --check

# ThreadSanitizer over every suite whose family keeps state or locks shared
# by threads (the logger, the clocks, the random engine and UUIDs, the last two
# both in random_test), and a short log stress run. Only these: the build
# stays short. A family that adds such state adds its suite here.
tsan_suites=(log_test platform_test file_fault_test random_test exceptions_test)
cmake --preset tsan
cmake --build --preset tsan --target "${tsan_suites[@]}" log_stress
for suite in "${tsan_suites[@]}"; do build/tsan/tests/"$suite" --gtest_brief=1; done
build/tsan/tests/log_stress --processes 4 --threads 4 --records 8000

# Every fuzz target for 30 s with its seed corpus; a finding fails the run.
ci/fuzz.sh 30
# The transcoding target again at each lower kernel level than the CPU's best.
for level in scalar sse2 avx2; do KY_UTF_KERNEL=$level ci/fuzz.sh 10 utf; done

# The Debian packages from an optimised build: each holds exactly its files,
# and a C99 consumer builds against the unpacked -dev tree.
ci/package.sh

# Last, so that its summary closes the run.
cmake --workflow --preset ci
