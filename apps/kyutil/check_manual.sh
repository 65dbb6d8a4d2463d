#!/usr/bin/env bash
# Checks the generated kyutil.1 and kyutil.bash-completion in BUILD_DIR.
#   check_manual.sh KYUTIL BUILD_DIR
set -euo pipefail
kyutil=$1 dir=$2
fail() { echo "$*"; exit 1; }

warnings=$(groff -ww -z -man "$dir/kyutil.1" 2>&1)
[ -z "$warnings" ] || fail "groff: $warnings"
cmp -s <(gzip -dc "$dir/kyutil.1.gz") "$dir/kyutil.1" || fail "kyutil.1.gz differs from kyutil.1"
commands=$("$kyutil" help | awk '/^commands:/ {on = 1; next} on && /^  [^ ]/ {print $1}')
[ -n "$commands" ] || fail "no commands in kyutil help"
for c in $commands; do
  grep -qx ".SS $c" "$dir/kyutil.1" || fail "kyutil.1 lacks the command $c"
done

# shellcheck disable=SC1091
source "$dir/kyutil.bash-completion"
complete_words() {  # the candidates bash offers for the words given, last one being typed
  COMP_WORDS=("$@")
  COMP_CWORD=$(($# - 1))
  _kyutil
  echo "${COMPREPLY[*]:-}"
}
check() {  # check "expected" words...
  local want=$1 got
  shift
  got=$(complete_words "$@")
  [ "$got" = "$want" ] || fail "completing '$*': expected '$want', got '$got'"
}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
touch "$scratch/input.bin"
check "$(echo help $commands)" kyutil ""
check "transcode" kyutil help tra
check "--level" kyutil log --le
check "$scratch/input.bin" kyutil log --file "$scratch/in"
check "" kyutil log --level ""
check "$scratch/input.bin" kyutil hexdump "$scratch/in"
echo "manual and completion check passed"
