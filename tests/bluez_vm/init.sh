#!/bin/sh
# The first process of the guest. The given root is the lower layer of the guest's, read-only; what the guest writes
# lies in its memory and goes with it. The job's folder, shared with the host, is at /run/job.
b=/bin/busybox
$b mount -t proc none /proc
$b mount -t sysfs none /sys
$b mount -t devtmpfs none /dev
for module in $($b cat /modules/order); do
  $b insmod "/modules/$module" || echo "init: $module does not load"
done
share="trans=virtio,version=9p2000.L,msize=262144"
$b mount -t 9p -o "$share,ro,cache=loose" host /host
$b mount -t tmpfs none /layers
$b mkdir /layers/upper /layers/work
$b mount -t overlay -o lowerdir=/host,upperdir=/layers/upper,workdir=/layers/work none /root
for folder in dev proc sys; do
  $b mount --bind "/$folder" "/root/$folder"
done
$b mkdir -p /root/dev/shm /root/dev/pts
$b mount -t tmpfs none /root/dev/shm
$b mount -t tmpfs none /root/run
$b mkdir /root/run/job
$b mount -t 9p -o "$share" job /root/run/job
# A root with a service manager of its own takes over for good, where the kernel's command line names it.
manager=$($b sed -n 's/.*linkapp.init=\([^ ]*\).*/\1/p' /proc/cmdline)
if [ -n "$manager" ]; then
  exec $b switch_root /root "$manager"
fi
$b chroot /root /bin/bash /run/job/start
$b sync
$b poweroff -f
