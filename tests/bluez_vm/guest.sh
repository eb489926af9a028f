#!/usr/bin/env bash
# Runs in the virtual machine, as root on a throw-away layer over the host's files: the system bus, two Bluetooth
# controllers that hear each other, the lab (lab.py) with the real daemons, then the tests.
# Usage: guest.sh TREE FOLDER PROGRAM [ARGUMENT...]      FOLDER takes logs, and the exit code in FOLDER/status
set -uo pipefail
tree=$1 folder=$2
shift 2
export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8

ip link set lo up
# What the host's own Bluetooth knows is not for here.
for state in /var/lib/bluetooth /var/lib/ofono; do
  mkdir -p "$state"
  mount -t tmpfs -o mode=700 none "$state"
done

# An image that lets nobody but root speak to BlueZ and oFono, and the exception for the group linkapp.
for name in headunit stranger; do
  echo "$name:x:$((900 + ${#name})):$((900 + ${#name})):for the tests:/:/bin/false" >>/etc/passwd
done
echo 'linkapp:x:990:headunit' >>/etc/group
policies=/usr/share/dbus-1/system.d
rm -f /etc/dbus-1/system.d/linkapp* $policies/linkapp*
install -D -m 644 -t $policies "$tree"/platform/bluez/policy/*.conf
sed -i '/<policy context="default">/,/<\/policy>/s/allow/deny/' /etc/dbus-1/system.d/bluetooth.conf

mkdir -p /run/dbus /run/settings
export VQ_SETTINGS_DIR=/run/settings DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket
export LINKAPP_BLUETOOTH_ADAPTER=hci0  # the other one is the phone's
dbus-daemon --system --fork
btvirt -l2 >"$folder/btvirt.log" 2>&1 &
/usr/bin/python3 -B "$tree/tests/bluez_vm/lab.py" /run/lab "$folder" >"$folder/lab.log" 2>&1 &

# The second serial line is the script's standard output.
stty -F /dev/ttyS1 -opost
GTEST_OUTPUT=xml:$folder/report.xml "$@" >/dev/ttyS1 2>&1 </dev/null
status=$?
echo "$status" >"$folder/status"
