#!/usr/bin/env bash
# The reference check must fail on an undocumented entry and name it at its
# own line, while every documented form in the fixture passes unremarked.
#   check_gate.sh DOXYGEN DOXYFILE
set -uo pipefail
doxygen=$1 doxyfile=$2
log=$(cd "$(dirname "$doxyfile")" && "$doxygen" "$doxyfile" 2>&1)
status=$?
warnings=$(grep -E ': (warning|error): ' <<<"$log" | sed -E 's#^.*/fixture.h#fixture.h#; s#: error: #: warning: #')
expected='fixture.h:24: warning: Member ky_fixture_bare(int x) (function) of file fixture.h is not documented.'
if [ "$status" -eq 0 ]; then
  echo "doxygen passed a header with an undocumented entry"; exit 1
fi
if [ "$warnings" != "$expected" ]; then
  printf 'expected only:\n%s\ngot:\n%s\n' "$expected" "$log"; exit 1
fi
echo "docs gate passed"
