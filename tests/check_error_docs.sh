#!/usr/bin/env bash
# Every error number the plug-in can answer (the enum of platform/errors.h) has its row in
# docs/errors.md, so that a user who meets one can look it up.
#   check_error_docs.sh [SOURCE_ROOT]
set -u
root=${1:-$(cd "$(dirname "$0")/.." && pwd)}
fail=0
for number in $(sed -n 's/^ *k[A-Za-z]* = \(-[0-9]*\),.*/\1/p' "$root/platform/errors.h"); do
  if ! grep -q -- "^| $number |" "$root/docs/errors.md"; then
    echo "docs/errors.md has no row for $number ($(grep -o "k[A-Za-z]* = $number," "$root/platform/errors.h"))"
    fail=1
  fi
done
[ $fail -eq 0 ] && echo "every error number is in docs/errors.md"
exit $fail
