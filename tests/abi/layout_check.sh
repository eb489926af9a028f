#!/usr/bin/env bash
# The layout check holds for this tree, and complains about every kind of breach in a tree made for the purpose.
# Usage: layout_check.sh SOURCE_FOLDER
set -euo pipefail

check=$1/script/check-layout
"$check"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# breach FILE TEXT: a tree that holds this file alone must be refused.
breach() {
  rm -rf "$work/tree"
  mkdir -p "$work/tree/$(dirname "$1")"
  printf '%s\n' "$2" >"$work/tree/$1"
  ! "$check" "$work/tree" 2>/dev/null || { echo "check-layout lets this pass in $1: ${2:0:80}" >&2; exit 1; }
}
breach include/LinkAppCommon/a.h '#include "LinkAppCommon/private/a.h"'
breach include/LinkAppCommon/a.h '#include "platform/a.h"'
breach include/LinkAppCommon/a.h '#include <linux/futex.h>'
breach include/LinkAppCommon/a.h '#include A_NAME'
breach LinkAppCommon/private/a.cpp '# include "platform/a.h"'
breach LinkAppCommon/private/a.cpp '#include "LinkAppCommon/../platform/a.h"'
breach LinkAppCommon/private/a.cpp 'int line = __LINE__;'
breach VQFramework/Sync/a.h '#include "LinkAppCommon/a.h"'
breach VQFramework/Sync/a.h 'const char* file = __FILE__;'
breach platform/reference/a.cpp "$(yes '//' | head -n 601)"
breach tests/a.cpp "$(echo 'void f() {'; yes '  g();' | head -n 79; echo '}')"
breach tools/a.cpp "$(echo 'struct A {'; echo '  void f(int a,'; echo '         int b) {'; yes '    g();' | head -n 79; echo '  }'; echo '};')"

# pass FILE TEXT: a tree that holds this file alone is fine.
pass() {
  rm -rf "$work/tree"
  mkdir -p "$work/tree/$(dirname "$1")"
  printf '%s\n' "$2" >"$work/tree/$1"
  "$check" "$work/tree" || { echo "check-layout does not let this pass in $1: ${2:0:80}" >&2; exit 1; }
}
pass tests/a.cpp "$(echo 'void f() {'; yes '  g();' | head -n 78; echo '}')"
pass tests/a.cpp "$(echo 'void f() {  // long: one table'; yes '  g();' | head -n 90; echo '}')"
pass tests/a.cpp "$(echo 'namespace {'; yes 'void g();' | head -n 90; echo '}  // namespace')"
