#!/usr/bin/env bash
# Builds the product alone against a host's own framework headers, as an integrator does, and looks at what comes out.
# Usage: external_build.sh SOURCE_FOLDER CXX_COMPILER
set -euo pipefail

source=$1 compiler=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "external build: $1" >&2
  exit 1
}

mkdir "$work/host"
cp -r "$source/VQFramework" "$source/VQBluetooth" "$work/host/"

cmake -S "$source" -B "$work/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Release \
  -DLINKAPP_FRAMEWORK=external -DLINKAPP_FRAMEWORK_INCLUDE_DIR="$work/host" -DLINKAPP_WARNINGS_AS_ERRORS=ON
cmake --build "$work/build"

built=$(find "$work/build" -path '*/CMakeFiles' -prune -o -type f \( -name '*.so*' -o -name '*.a' -o -perm -u+x \) -print)
[[ $built =~ /libLinkAppCommon\.so\.[0-9.]+$ && $(wc -l <<<"$built") -eq 1 ]] ||
  fail "expected libLinkAppCommon.so alone, got:"$'\n'"$built"

undefined=$(nm -DC --undefined-only "$built")
[[ $undefined == *VQSubject::AddObserver* ]] || fail "the library carries a framework of its own"
[[ $undefined == *VQSBtApps::connectSpp* ]] || fail "the library carries a Bluetooth library of its own"
[[ ! $(readelf -dW "$built") =~ VQFramework|VQBluetooth ]] || fail "the library names whose framework it wants"

# The host's headers must win over those beside the product, or its own types never reach the compiler.
headers=$(ninja -C "$work/build" -t deps)
foreign=$(grep -F -e "$source/VQFramework/" -e "$source/VQBluetooth/" <<<"$headers" | sort -u) || true
[ -z "$foreign" ] || fail "these headers came from the contract instead of the host:"$'\n'"$foreign"
for folder in VQFramework VQBluetooth; do
  [[ $headers == *"$work/host/$folder/"* ]] || fail "ninja knows of no header of the host's $folder; this check cannot work"
done
