#!/usr/bin/env bash
# Shows that the comparison with the frozen interface can fail: moves one virtual function of a copy, builds the product
# and demands that the change is found. Usage: moved_virtual.sh SOURCE_FOLDER CXX_COMPILER
set -euo pipefail

source=$1 compiler=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

mkdir "$work/source"
cp -r "$source"/{CMakeLists.txt,cmake,packaging,LinkAppCommon,include,VQFramework,VQBluetooth,tests} "$work/source/"
header=$work/source/include/LinkAppCommon/VQSILinkAppSenderReceiver.h
# requestMsgSend before setListener.
python3 - "$header" <<'END'
import re, sys
text = open(sys.argv[1]).read()
function = re.search(r"  virtual bool requestMsgSend\([^;]*;\n", text).group()
text = text.replace(function, "")
first = text.index("  virtual bool setListener(")
open(sys.argv[1], "w").write(text[:first] + function + text[first:])
END
cmake -S "$work/source" -B "$work/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DLINKAPP_FRAMEWORK=external >"$work/log"
cmake --build "$work/build" >>"$work/log" || { cat "$work/log" >&2; exit 1; }
if found=$("$work/source/tests/abi/same_abi.sh" "$work/build/LinkAppCommon/libLinkAppCommon.so" \
  "$source/tests/abi/frozen/LinkAppCommon.abi" 2>&1); then
  echo "moved virtual: a virtual function was moved, and nothing was found" >&2
  exit 1
fi
printf '%s\n' "$found"
grep -q "requestMsgSend" <<<"$found" || { echo "moved virtual: it does not say which one" >&2; exit 1; }
