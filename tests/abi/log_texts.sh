#!/usr/bin/env bash
# Fails unless each log text stands exactly once in the code: readers in the field filter by these very characters.
# Usage: log_texts.sh LIST FOLDER...      LIST: one text a line, written as in the code, without the quotes
set -euo pipefail

list=$1
shift
code=$(find "$@" -type f \( -name '*.h' -o -name '*.cpp' \) -exec cat {} +)

failed=0
texts=0
while IFS= read -r text; do
  [ -n "$text" ] || continue
  texts=$((texts + 1))
  count=$(grep -oF -e "\"$text\"" <<<"$code" | wc -l) || true
  [ "$count" -eq 1 ] || { echo "\"$text\" stands $count times in the code, not once" >&2; failed=1; }
done <"$list"
((texts)) || { echo "$list is empty" >&2; exit 1; }
exit "$failed"
