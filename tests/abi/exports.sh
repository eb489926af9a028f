#!/usr/bin/env bash
# Prints the demangled dynamic symbols that a library defines; given a list, compares them with it and prints nothing.
# Usage: exports.sh LIBRARY [LIST]
set -euo pipefail

symbols=$(nm -D --defined-only "$1" | sed -E 's/^[0-9a-f]+ //')
# "A" is the version node itself. Every other symbol belongs to one.
if unversioned=$(grep -vE '^A |@@' <<<"$symbols"); then
  printf '%s\n' "$1: symbols without a version:" "$unversioned" >&2
  exit 1
fi
exports=$(sed -nE 's/^[B-Zb-z] (.*)@@.*/\1/p' <<<"$symbols" | c++filt | LC_ALL=C sort -u)
if (($# < 2)); then
  printf '%s\n' "$exports"
elif ! difference=$(diff --label "$2" --label "$1" -U 0 "$2" - <<<"$exports"); then
  printf '%s\n' "$difference" "The library's exports are its interface. If the change is meant: script/update-exports" >&2
  exit 1
fi
