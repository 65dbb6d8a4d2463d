#!/usr/bin/env bash
# Fuzzing campaign: builds the libFuzzer targets (the `fuzz` preset, clang with
# AddressSanitizer and UndefinedBehaviorSanitizer) and runs every target that
# has a seed corpus in fuzz/corpus/ for SECONDS each (default 30), two at a
# time. Any crash, leak, sanitizer report or timeout fails the run; the input
# that caused it is kept in build/fuzz/findings/ and belongs in the target's
# corpus together with a test that covers it.
#
#   ci/fuzz.sh [SECONDS] [TARGET...]
#
# KY_FUZZ_JOBS sets how many targets run at once (default 2).
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-30}
shift || true
jobs=${KY_FUZZ_JOBS:-2}

if (($# > 0)); then
  targets=("$@")
else
  targets=()
  for dir in fuzz/corpus/*/; do targets+=("$(basename "$dir")"); done
fi

cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j 2 --target "${targets[@]/%/_fuzz}"

findings=build/fuzz/findings
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$findings"

# New inputs go to a scratch corpus (the first directory); the committed seeds
# are read only.
run() {
  local t=$1
  mkdir -p "$work/$t"
  if build/fuzz/fuzz/"${t}"_fuzz -max_total_time="$seconds" -timeout=20 -print_final_stats=1 \
    -artifact_prefix="$findings/$t-" "$work/$t" "fuzz/corpus/$t" >"$work/$t.log" 2>&1; then
    echo "fuzz $t: ok, $(awk '/stat::number_of_executed_units/ {print $2}' "$work/$t.log") executions in ${seconds} s"
  else
    echo "fuzz $t: FAILED"
    tail -n 40 "$work/$t.log"
    return 1
  fi
}

status=0
running=0
for t in "${targets[@]}"; do
  if ((running >= jobs)); then
    wait -n || status=1
    running=$((running - 1))
  fi
  run "$t" &
  running=$((running + 1))
done
while ((running > 0)); do
  wait -n || status=1
  running=$((running - 1))
done

if ((status != 0)); then
  echo "fuzz: findings kept in $findings" >&2
fi
exit "$status"
