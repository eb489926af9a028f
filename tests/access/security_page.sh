#!/usr/bin/env bash
# Fails where the page on security names a test that there is not, or names none.
# Usage: security_page.sh PAGE FOLDER      FOLDER: the tests' sources
set -euo pipefail

page=$1
folder=$2
sources=$(find "$folder" -name '*_test.cpp' -exec cat {} +)

# shellcheck disable=SC2016  # the quotes are Markdown's
named=$(grep -oE '`[A-Z][A-Za-z]+\.[a-z0-9][a-z0-9_]+`' "$page" | tr -d '`' | grep -vE '\.(log|ini)$' | sort -u) || true
[ -n "$named" ] || { echo "$page names no test" >&2; exit 1; }

failed=0
while IFS=. read -r suite name; do
  # A test's head may stand on two lines.
  grep -qzE "TEST(_F|_P)?\($suite,[[:space:]]*$name\)" <<<"$sources" || {
    echo "$page: there is no test $suite.$name" >&2
    failed=1
  }
done <<<"$named"
exit "$failed"
