# shellcheck shell=bash
# For scripts that show README's program at work: talk PROGRAM starts the simulated phone and the program, plugs the phone
# in, waits for the answer and ends both. Needs linkapp in PATH and a working folder of its own.

await() {
  for _ in {1..300}; do
    eval "$1" && return
    sleep 0.1
  done
  cat answer phone.log program.log >&2
  echo "FAILED: waited 30 s for: $1" >&2
  exit 1
}

talk() {
  local phone program
  rm -f answer phone.log program.log phone.in program.in
  mkfifo phone.in program.in
  linkapp phone --json <phone.in >phone.log 2>&1 &
  phone=$!
  exec 3>phone.in
  "$1" <program.in >answer 2>program.log &
  program=$!
  exec 4>program.in
  await 'grep -q waiting answer'
  await 'grep -q ready phone.log'
  echo "plug usb" >&3
  await 'grep -q ^hello answer'
  echo >&4
  wait "$program"
  exec 3>&- 4>&-
  wait "$phone"
}
