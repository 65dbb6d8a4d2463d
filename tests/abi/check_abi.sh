#!/usr/bin/env bash
# Compares the dynamic symbols a library exports with the committed lists, and
# checks that libvokyutil leaves allocation to the ky_* hooks and prints
# nothing itself.
#   check_abi.sh LIBRARY LIST...
# LIST files hold one demangled symbol a line; '#' lines are comments. The
# symbols of all lists together must equal the library's exports.
set -euo pipefail
lib=$1
shift

actual=$(nm -DC --defined-only "$lib" | awk '$2 != "A"' | cut -d' ' -f3- |
  sed -E 's/@@?[A-Za-z0-9_.]+$//' | LC_ALL=C sort -u)
expected=$(cat "$@" | grep -v -e '^#' -e '^$' | LC_ALL=C sort -u)

status=0
if ! diff -u <(echo "$expected") <(echo "$actual") >/tmp/ky_abi_diff.$$; then
  echo "exported symbols of $lib differ from the lists ('-' missing, '+' unexpected):"
  grep -E '^[-+][^-+]' /tmp/ky_abi_diff.$$ || true
  status=1
fi
rm -f /tmp/ky_abi_diff.$$

case "$(basename "$lib")" in
  libvokyutil.so*)
    forbidden=$(nm -D --undefined-only "$lib" | awk '{print $2}' | sed 's/@.*//' |
      grep -xE 'malloc|calloc|realloc|free|strdup|strndup|printf|vprintf|puts|putchar|stdout' || true)
    if [ -n "$forbidden" ]; then
      echo "$lib calls what it must leave to ky_malloc/ky_free or to the caller:"
      echo "$forbidden"
      status=1
    fi
    ;;
esac
[ $status -eq 0 ] && echo "$(echo "$actual" | wc -l) exported symbols match"
exit $status
