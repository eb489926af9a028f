# shellcheck shell=bash
# For scripts that boot the virtual machine: boot_machine IMAGE ROOT JOB SECONDS [WORD FOR THE KERNEL]...
# ROOT is the machine's read-only lower layer, JOB its /run/job; its console goes to JOB/console.log, its second serial
# line to standard output. Gives qemu's exit code, or 124 where SECONDS were over.

# A comma would start the next option.
share() { # NAME FOLDER OPTIONS
  echo "local,path=${2//,/,,},mount_tag=$1,security_model=none,multidevs=remap$3"
}

boot_machine() {
  local image=$1 root=$2 job=$3 seconds=$4 ended=0
  shift 4
  # The machine's clock goes by the instructions that it executes, so that nothing in it times out because the host is
  # busy with something else.
  local machine=(qemu-system-x86_64 -accel tcg -icount shift=2 -cpu max -smp 1 -m 1024 -nodefaults -nographic -no-reboot
    -kernel "$image/kernel" -initrd "$image/initramfs.gz"
    -append "console=ttyS0 quiet panic=-1 mitigations=off $*"
    -virtfs "$(share host "$root" ,readonly=on)" -virtfs "$(share job "$job" "")"
    -serial "file:${job//,/,,}/console.log" -serial stdio)
  timeout --foreground --kill-after=5 "$seconds" "${machine[@]}" </dev/null 2>>"$job/console.log" &
  machine_process=$!
  wait "$machine_process" || ended=$?
  machine_process=
  [ "$ended" -ne 137 ] || ended=124
  return "$ended"
}
# However the script ends, the machine does not outlive it.
machine_process=
end_machine() { [ -z "$machine_process" ] || kill "$machine_process"; }
