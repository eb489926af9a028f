#!/bin/bash
# What happens in the machine of script/test-service, below systemd. Each step says what it has shown.
set -euo pipefail
export LC_ALL=C
unit=linkapp-device-side.service
trap 'echo $? >/run/job/status; journalctl --no-pager -b >/run/job/journal.log; sync' EXIT
say() { echo "service: $*"; }
fail() { say "FAILED: $*"; systemctl status --no-pager "$unit" || true; exit 1; }
ask() { echo "$1" | socat -t 5 - UNIX-CONNECT:/run/linkapp-device-side/control; }

# Type=notify: this comes back when the server is attached, and fails if it never tells.
systemctl start "$unit" || fail "the unit does not start"
[ "$(systemctl show -P ActiveState "$unit")" = active ] || fail "the unit is not active"
say "the device side is ready; exposure: $(systemd-analyze security --no-pager "$unit" | tail -1 | sed 's/.*: //')"
main=$(systemctl show -P MainPID "$unit")
[ "$(stat -c %U "/proc/$main")" = linkapp-device ] || fail "it runs as another user"
[ -n "$(ls -A /run/linkapp/shm)" ] || fail "the channel's folder is empty"
[ -z "$(ls -A /dev/shm)" ] || fail "objects of the channel lie in /dev/shm, too: $(ls -A /dev/shm)"

# An application as a unit of its own: another user of the group, the channel's folder in place of /dev/shm.
application=(systemd-run --quiet --wait --collect --pipe -p User=driver -p Group=linkapp -p UMask=0007
  -p BindPaths=/run/linkapp/shm:/dev/shm -p Environment=VQ_SETTINGS_DIR=/var/lib/linkapp -p Requires="$unit" -p After="$unit")
useradd --system --groups linkapp driver
talk() {
  ask '{"command":"plug usb"}' | grep -q '"ok":true' || fail "the phone cannot be plugged in"
  "${application[@]}" linkapp app --name navi --launch --generate 100 --expect 100 --patience 60s --quiet ||
    fail "the application had no answer"
}
talk
say "100 messages went from another user's application to the phone and back"

# The tool, started as docs/install.md says, finds the channel there, and else none.
seen=$(systemd-run --quiet --wait --collect --pipe -p BindPaths=/run/linkapp/shm:/dev/shm linkapp status 2>&1) || true
[[ $seen = *ConnectStatus* ]] || fail "the tool does not see the units' channel: $seen"
seen=$(linkapp status 2>&1) || true
[[ $seen = *"there is no channel"* ]] || fail "the tool sees a channel in /dev/shm, too: $seen"
say "linkapp status sees the channel where the units have it"

# A stranger, who is not in the group, sees nothing of it.
useradd --system stranger
setpriv --reuid stranger --regid stranger --clear-groups ls /run/linkapp/shm 2>/dev/null && fail "a stranger reads the channel's folder"
say "who is not in the group sees nothing"

# systemd starts it anew when it dies, and the channel goes on.
kill -KILL "$main"
for _ in {1..300}; do
  now=$(systemctl show -P MainPID "$unit")
  [ "$now" != "$main" ] && [ "$(systemctl show -P ActiveState "$unit")" = active ] && break
  sleep 0.1
done
{ [ "$now" != "$main" ] && [ "$now" != 0 ]; } || fail "it is not started anew after a kill"
talk
say "killed, it was started anew, and 100 more messages went through"

systemctl stop "$unit" || fail "it does not stop"
[ "$(systemctl show -P Result "$unit")" = success ] || fail "it did not stop as asked: $(systemctl show -P Result "$unit")"
say "it stops when asked"
