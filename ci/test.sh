#!/usr/bin/env bash
# Every test: installs what is missing, checks the format, then builds under
# AddressSanitizer and UndefinedBehaviorSanitizer with -Werror and runs the
# suites, the C99/C++11 header checks, the ABI check, the install check and
# the fuzz corpus replays.
set -euo pipefail
cd "$(dirname "$0")/.."
ci/deps.sh
ci/format.sh --check
cmake --workflow --preset ci
