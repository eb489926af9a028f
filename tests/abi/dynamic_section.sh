#!/usr/bin/env bash
# Checks what a library tells the loader: its own name, the libraries it needs, and where they are looked for.
# Usage: dynamic_section.sh LIBRARY SONAME BUILD_FOLDER [LIBRARY IT NEEDS]...      besides libc, libstdc++, libgcc
set -euo pipefail

library=$1 soname=$2 build_folder=$(realpath -m "$3")
shift 3
section=$(readelf -dW "$library")
entries() { sed -nE "s/.*\\($1\\).*\\[(.*)\\]/\\1/p" <<<"$section"; }

failed=0
complain() {
  echo "$library: $1" >&2
  failed=1
}

[ "$(entries SONAME)" = "$soname" ] || complain "its name is '$(entries SONAME)', expected '$soname'"

needed=$(entries NEEDED)
for name in "$@"; do
  grep -qxF -e "$name" <<<"$needed" || complain "does not need $name"
done
while read -r name; do
  case $name in
    libc.so.6 | libm.so.6 | libstdc++.so.6 | libgcc_s.so.1 | ld-linux*.so.*) continue ;;
  esac
  [[ " $* " == *" $name "* ]] || complain "needs $name"
done <<<"$needed"

# In the build tree its own folders may stand there, and nothing else.
home=$(dirname "$(readlink -f "$library")")
while IFS= read -r -d : folder; do
  [ -n "$folder" ] || continue
  folder=$(realpath -m "${folder/#\$ORIGIN/$home}")
  [[ $folder/ == "$build_folder"/* ]] || complain "looks for libraries in $folder"
done < <({ entries RPATH; entries RUNPATH; } | sed 's/$/:/' | tr -d '\n')
exit "$failed"
