#!/usr/bin/env bash
# Lets processes of both word sizes meet, in a /dev/shm of its own: script/test-word-sizes calls it.
# Usage: meet.sh FOLDER LINKAPP      FOLDER: member32 and member64; LINKAPP: the tool, of 64 bits
set -euo pipefail
folder=$1 linkapp=$2
checks=0
wrong() {
  echo "meet: $1" >&2
  [ $# -lt 2 ] || printf '%s\n' "$2" >&2
  exit 1
}
says() { # TEXT PATTERN...: every pattern is in the text
  local text=$1 pattern
  shift
  for pattern; do
    grep -qE -- "$pattern" <<<"$text" || wrong "there is no '$pattern' in:" "$text"
    checks=$((checks + 1))
  done
}

export VQDBG=stderr VQ_SETTINGS_DIR=$folder/settings
coproc "$folder/member32" 2>"$folder/log32"
to32=${COPROC[1]} from32=${COPROC[0]} pid32=$COPROC_PID
trap 'kill "$pid32" 2>/dev/null || true' EXIT
read -r -t 20 line <&"$from32"
[ "$line" = "ready 32" ] || wrong "the 32-bit process says '$line'"

# Follows from now on.
"$linkapp" monitor --for 60 --count 5 >"$folder/monitor" 2>&1 &
monitor=$!
until find "/proc/$monitor/fd" -lname '*VQSharedMemNotifier.log' 2>/dev/null | grep -q . || ! kill -0 "$monitor" 2>/dev/null; do
  sleep 0.1
done
echo go >&"$to32"
read -r -t 20 line <&"$from32"
[ "$line" = "done" ] || wrong "the 32-bit process says '$line'" "$(cat "$folder/log32")"
wait "$monitor" || wrong "linkapp monitor ends with $?" "$(cat "$folder/monitor")"
says "$(cat "$folder/monitor")" 'CONNECTSTATUS' 'PLAYBACKAPPINFO.*Example Player' 'SESSIONSTATUS' 'navi'

status=$("$linkapp" status)
says "$status" 'navi' 'iOSAppMem_Device1_From_HU.lock +96 .* free' 'VQSharedMemNotifier.log +3155008 .*messages posted' "$pid32"
says "$status" 'three|3 '
! grep -qiE 'cannot be read|pointers|another' <<<"$status" || wrong "status cannot read everything:" "$status"

# A 64-bit process is told why it has no part, and takes none: the 32-bit ones hear nothing of it and go on.
refused=$(echo go | timeout 20 "$folder/member64" 2>&1 >/dev/null || true)
says "$refused" 'made by a 32-bit process, this one has 64 bits; stop every process that uses it and remove /dev/shm/'
echo go >&"$to32"
read -r -t 20 line <&"$from32"
[ "$line" = "done" ] || wrong "the 32-bit process does not go on: '$line'"
[ ! -s "$folder/log32" ] || wrong "the 32-bit process logs:" "$(cat "$folder/log32")"
echo "test-word-sizes: $checks checks: a 64-bit linkapp reads the channel of a 32-bit process; a 64-bit process is refused:"
grep -m 1 '32-bit process' <<<"$refused"
