#!/usr/bin/env bash
# Fails where a library needs, defines or links anything of D-Bus.
# Usage: no_bus.sh LIBRARY
set -euo pipefail

found=$({ nm -D "$1"; readelf -dW "$1"; } | grep -iE 'sd_bus|dbus|systemd') || exit 0
printf '%s\n' "$found" >&2
exit 1
