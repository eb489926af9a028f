#!/usr/bin/env bash
# Fails unless two libraries define the same dynamic symbols: one can stand in for the other.
# Usage: same_exports.sh LIBRARY LIBRARY
set -euo pipefail

here=$(dirname "$(readlink -f "$0")")
diff -U 0 <("$here/exports.sh" "$1") <("$here/exports.sh" "$2")
