#!/usr/bin/env bash
# Runs a program that must end with exit code 1 and print TEXT.
# Usage: notices.sh TEXT PROGRAM [ARGUMENTS]
set -euo pipefail

text=$1
shift
code=0
output=$("$@" 2>&1) || code=$?
printf '%s\n' "$output"
[ "$code" -eq 1 ] || { echo "notices: exit code $code instead of 1" >&2; exit 1; }
grep -qF -- "$text" <<<"$output" || { echo "notices: nothing like '$text'" >&2; exit 1; }
