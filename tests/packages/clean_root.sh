#!/bin/bash
# What happens in the clean root of script/test-packages. Each step says what it has shown; the first fault ends it.
set -euo pipefail
cd /linkapp
export DEBIAN_FRONTEND=noninteractive LC_ALL=C
say() { echo "packages: $*"; }
quiet() { "$@" >log 2>&1 || { cat log; say "FAILED: $*"; exit 1; }; }

# shellcheck source=tests/packages/talk.sh
. ./talk.sh

quiet apt-get update
quiet apt-get install -y --no-install-recommends ./liblinkappcommon0_*.deb ./libvqframework0_*.deb \
  ./libvqbluetooth0_*.deb ./linkapp-tools_*.deb
say "$(linkapp --version) runs with the libraries and the tool alone"

quiet apt-get install -y --no-install-recommends ./linkapp-common_*.deb systemd dbus-daemon
getent group linkapp >/dev/null || { say "FAILED: no group linkapp"; exit 1; }
id -nG linkapp-device | grep -qw linkapp || { say "FAILED: linkapp-device is not in the group"; exit 1; }
systemd-analyze verify --man=no /usr/lib/systemd/system/linkapp-device-side.service
systemd-tmpfiles --create linkapp.conf
[ "$(stat -c '%a %U:%G' /run/linkapp/shm)" = "3770 root:linkapp" ] || { say "FAILED: /run/linkapp/shm"; exit 1; }
say "group, user, folders and unit are there"

quiet apt-get install -y --no-install-recommends ./liblinkappcommon-dev_*.deb g++ pkg-config cmake make man-db
read -ra flags < <(pkg-config --cflags --libs LinkAppCommon)
g++ -std=c++17 hello.cpp "${flags[@]}" -o hello-pkg-config
talk ./hello-pkg-config
say "README's program, built with pkg-config, has its answer: $(tail -1 answer)"

quiet cmake -S . -B build
quiet cmake --build build
talk build/hello
say "README's program, built with CMake, has its answer: $(tail -1 answer)"

if ! { linkapp demo --messages 100 >demo.log 2>&1 && grep -q "^music (SPP)" demo.log; }; then
  cat demo.log
  say "FAILED: linkapp demo, or its part with Bluetooth"
  exit 1
fi
say "linkapp demo passed, with Bluetooth simulated"

quiet apt-get install -y --no-install-recommends ./linkapp-doc_*.deb
[ -e /usr/share/doc/linkapp-doc/examples/hello.cpp ] || { say "FAILED: no examples in linkapp-doc"; exit 1; }
# Without packages of its own the system is as before.
quiet apt-get purge -y '*linkappcommon*' 'libvq*' 'linkapp-*'
left=$(find / -xdev \( -iname '*linkapp*' -o -iname '*libvq*' \) -not -path '/linkapp*' -not -path '/proc/*' \
  -not -path '/var/lib/systemd/*' -not -path '/var/log/*' -not -path '/run/*' -not -path '/var/lib/linkapp' \
  -not -path '/dev/shm/*' -not -path '/var/cache/*' -not -path '/usr/share/doc/linkapp*' | head)
[ -z "$left" ] || { say "FAILED: left behind: $left"; exit 1; }
say "all of it is gone after purging"
