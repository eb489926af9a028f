#!/usr/bin/env bash
# Fails where programs that were built against the frozen interface may not run with the library. Usage:
# same_abi.sh LIBRARY FROZEN
set -euo pipefail

here=$(dirname "$(readlink -f "$0")")
now=$(mktemp)
trap 'rm -f "$now"' EXIT
"$here/freeze.sh" "$1" "$now"
if ! difference=$(abidiff --no-show-locs --suppressions "$here/frozen.suppressions" "$2" "$now"); then
  printf '%s\n' "$difference" "The interface is frozen: docs/abi-policy.md. If the change is meant: script/update-exports" >&2
  exit 1
fi
