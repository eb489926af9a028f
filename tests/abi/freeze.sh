#!/usr/bin/env bash
# Writes what a library's users can see of it: functions, classes with sizes and virtual tables, types of parameters.
# Needs debug information. Usage: freeze.sh LIBRARY OUT
set -euo pipefail

here=$(dirname "$(readlink -f "$0")")
root=$here/../..
# Nothing of the machine or the compiler's version gets in: no paths, no places, none of the standard library's types.
abidw --exported-interfaces-only --drop-private-types --suppressions "$here/frozen.suppressions" \
  --headers-dir "$root/include" --headers-dir "$root/VQFramework" --headers-dir "$root/VQBluetooth" \
  --no-comp-dir-path --no-corpus-path --no-show-locs --no-elf-needed --type-id-style hash --out-file "$2" "$1"
