#!/usr/bin/env bash
# Runs a command in a /dev/shm of its own. Exit code 77 where namespaces are forbidden: ctest calls that skipped.
# Usage: private_shm.sh COMMAND [ARGUMENT...]
set -euo pipefail

namespace=(unshare --mount)
[ "$(id -u)" -eq 0 ] || namespace+=(--map-root-user)
# shellcheck disable=SC2016  # the inner shell expands them
mounted=(sh -c 'mount -t tmpfs none /dev/shm && exec "$@"' sh)
"${namespace[@]}" "${mounted[@]}" true || { echo "no /dev/shm of its own can be had here" >&2; exit 77; }
exec "${namespace[@]}" "${mounted[@]}" "$@"
