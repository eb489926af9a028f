#!/usr/bin/env bash
# Takes the reference library for a porter's, and builds and runs the suite against it as he would: alone, elsewhere,
# with his own headers and adapter. A header that he lacks must be missed, not found here.
# Usage: porter_test.sh SOURCE_FOLDER LIBRARY CXX_COMPILER
set -euo pipefail

source=$1 library=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "porter's build: $1" >&2
  exit 1
}

mkdir "$work/host" "$work/adapter"
cp -r "$source/VQFramework" "$work/host/"
cp "$source"/tests/conformance/{framework_reference,watch_log_by_sink}.cpp "$work/adapter/"

configure() {
  cmake -S "$source/tests/conformance" -B "$work/build" -G Ninja \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG=-O0 \
    -DCONFORMANCE_FRAMEWORK_LIBRARIES="$library" "$@"
}

! configure -DCONFORMANCE_FRAMEWORK_INCLUDE_DIR="$work/host" >"$work/log" 2>&1 || fail "it does without an adapter"
grep -q 'CONFORMANCE_ADAPTER is missing' "$work/log" || fail "it does not tell that the adapter is missing"

cd "$work/adapter" # relative names are those of the caller
configure -DCONFORMANCE_FRAMEWORK_INCLUDE_DIR="$work/host" \
  -DCONFORMANCE_ADAPTER="framework_reference.cpp;watch_log_by_sink.cpp"
cmake --build "$work/build" -j 2

headers=$(ninja -C "$work/build" -t deps)
[[ $headers == *"$work/host/VQFramework/"* ]] || fail "ninja knows of no header of the host's; this check cannot work"
! grep -F "$source/VQFramework/" <<<"$headers" || fail "these headers came from the contract instead of the host"

ctest --test-dir "$work/build" --parallel 2 --output-on-failure --no-tests=error --output-junit "$work/result.xml" \
  >"$work/log" || { cat "$work/log" >&2; fail "tests fail"; }
tail -n 4 "$work/log"
grep -q 'NotifierOfProcesses' "$work/result.xml" || fail "the tests of several processes are not there"

mv "$work/host/VQFramework/Text/vq_strcpy.h" "$work/away.h"
! cmake --build "$work/build" -j 2 >"$work/log" 2>&1 || fail "it finds a header that the host lacks"
grep -q 'vq_strcpy.h' "$work/log" || fail "it fails for another reason than the missing header"
