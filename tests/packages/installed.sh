#!/usr/bin/env bash
# Installs a build into a folder and uses it from there as other people's projects do: with CMake, with pkg-config.
# Usage: installed.sh BUILD_FOLDER SOURCE_FOLDER CXX_COMPILER
set -euo pipefail

# A /dev/shm of its own; an ordinary user may mount in a user namespace.
if [ -z "${LINKAPP_PRIVATE_SHM:-}" ]; then
  as_root=()
  [ "$(id -u)" = 0 ] || as_root=(--user --map-root-user)
  LINKAPP_PRIVATE_SHM=1 exec unshare "${as_root[@]}" --mount \
    sh -c 'mount -t tmpfs none /dev/shm && exec "$@"' sh "$0" "$@"
fi

build=$1 source=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >"$work/install.log"
cd "$work"
cp "$source"/tests/packages/consumer/CMakeLists.txt "$source"/examples/hello.cpp .

if grep -rIlF -e "$build" -e "$source" "$work/prefix"; then
  echo "installed: these files name the folder that they were built in" >&2
  exit 1
fi

libraries=$(dirname "$(find prefix -name libLinkAppCommon.so.0)")
if readelf -d prefix/bin/linkapp "$libraries"/*.so | grep -E 'RPATH|RUNPATH'; then
  echo "installed: a product names a folder to search" >&2
  exit 1
fi
for program in prefix/bin/*; do
  [ -s "prefix/share/man/man1/${program##*/}.1" ] || { echo "installed: ${program##*/} has no manual page" >&2; exit 1; }
done
export LD_LIBRARY_PATH=$work/$libraries PATH=$work/prefix/bin:$PATH

cmake -S . -B by-cmake -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_PREFIX_PATH="$work/prefix" >cmake.log
cmake --build by-cmake >>cmake.log || { cat cmake.log; exit 1; }

PKG_CONFIG_PATH=$(dirname "$(find prefix -name LinkAppCommon.pc)")
export PKG_CONFIG_PATH
read -ra flags < <(pkg-config "--define-variable=prefix=$work/prefix" --cflags --libs LinkAppCommon)
"$compiler" -std=c++17 hello.cpp "${flags[@]}" -o by-pkg-config

# shellcheck source=tests/packages/talk.sh
. "$source/tests/packages/talk.sh"
for program in by-cmake/hello by-pkg-config; do
  talk "./$program"
  echo "$program has its answer: $(tail -1 answer)"
done
