#!/usr/bin/env bash
# Every test: installs what is missing and checks the format; runs the logger
# and clock suites under ThreadSanitizer; then builds under AddressSanitizer
# and UndefinedBehaviorSanitizer with -Werror and runs the suites, the
# C99/C++11 header checks, the ABI check, the install check and the fuzz
# corpus replays.
set -euo pipefail
cd "$(dirname "$0")/.."
ci/deps.sh
ci/format.sh --check

# ThreadSanitizer over the logger and the clocks, whose process-wide state is
# shared by every thread that logs. Only these suites: the build stays short.
cmake --preset tsan
cmake --build --preset tsan --target log_test platform_test
build/tsan/tests/log_test --gtest_brief=1
build/tsan/tests/platform_test --gtest_brief=1

# Last, so that its summary closes the run.
cmake --workflow --preset ci
