#!/usr/bin/env bash
# clang-format over the tree: --check reports, no argument rewrites.
set -euo pipefail
cd "$(dirname "$0")/.."
files=$(git ls-files '*.c' '*.cpp' '*.h' 2>/dev/null || find include src tests bench fuzz apps -name '*.[ch]' -o -name '*.cpp')
if [ "${1:-}" = "--check" ]; then
  clang-format --dry-run -Werror $files
else
  clang-format -i $files
fi
