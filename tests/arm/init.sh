#!/bin/busybox sh
# shellcheck shell=dash
# The first process of the emulated machine: its file systems, then the job in /job, then the end.
b=/bin/busybox
$b mount -t proc none /proc
$b mount -t sysfs none /sys
$b mount -t devtmpfs none /dev
$b mkdir -p /dev/shm /dev/pts
$b mount -t tmpfs -o mode=1777 none /dev/shm
$b mount -t devpts none /dev/pts
$b chmod 1777 /tmp
$b ln -s /proc/self/fd /dev/fd
$b --install -s /usr/bin
ip link set lo up
# A job is one line per line, without carriage returns.
stty -F /dev/console -opost
cd /job && sh ./run
printf '\nmachine: ended with %d\n' $?
sync
poweroff -f
