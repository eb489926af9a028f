#!/usr/bin/env bash
# The records' layout on the head unit's own machine (LinkAppCommon/private/HeadUnitLayout.cpp) holds as it stands, and
# would not hold with two fields in another order.
# Usage: tests/arm/string_abi.sh [COMPILER]      (none: arm-linux-gnueabihf-g++)
set -euo pipefail
[[ ${1:-} =~ ^(-h|--help)$ ]] && { sed -n '2,4s/^# //p' "$0"; exit 0; }
compiler=${1:-arm-linux-gnueabihf-g++}
cd "$(dirname "$(readlink -f "$0")")/../.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
holds() { # INCLUDE FOLDER...
  "$compiler" -std=c++17 -D_GLIBCXX_USE_CXX11_ABI=0 "${@/#/-I}" -Iinclude -I. -c LinkAppCommon/private/HeadUnitLayout.cpp \
    -o "$work/object" 2>"$work/said"
}
holds || { cat "$work/said" >&2; exit 1; }

# CommData's appName and data.
mkdir "$work/LinkAppCommon"
awk '/^struct CommData / { inside = 1 }
  inside && /std::string appName/ { kept = $0; next }
  { print }
  inside && /data = nullptr/ { print kept; inside = 0 }' include/LinkAppCommon/iOSAppRecords.h >"$work/LinkAppCommon/iOSAppRecords.h"
! cmp -s include/LinkAppCommon/iOSAppRecords.h "$work/LinkAppCommon/iOSAppRecords.h" ||
  { echo "string_abi: no field has been moved" >&2; exit 1; }
! holds "$work" || { echo "string_abi: fields in another order go unnoticed" >&2; exit 1; }
grep -q 'static assertion failed' "$work/said" || { cat "$work/said" >&2; exit 1; }
echo "string_abi: the original layout holds; with two fields exchanged the compiler says:"
grep -oE 'static assertion failed.*' "$work/said"
