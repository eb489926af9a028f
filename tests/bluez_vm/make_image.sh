#!/usr/bin/env bash
# Makes what the virtual machine boots: Debian's kernel, and a small first file system with the modules it needs.
# Usage: tests/bluez_vm/make_image.sh FOLDER      makes FOLDER/kernel and FOLDER/initramfs.gz, unless they are there
# LINKAPP_BLUEZ_VM_KERNEL names another package than that of Debian's last point release.
# The packages are downloaded and unpacked, never installed. Nothing here needs root.
set -euo pipefail
[[ ${1:-} =~ ^(-h|--help)$ ]] && { sed -n '2,5s/^# //p' "$0"; exit 0; }
[ $# -eq 1 ] || { sed -n '2,5s/^# //p' "$0" >&2; exit 2; }
here=$(dirname "$(readlink -f "$0")")
PATH=$PATH:/usr/sbin:/sbin

# The guest's disk; btvirt's cryptography (the algif modules and cmac; without them it says "Failed to open Virtual HCI
# device"); the keys of pairing (ecdh, and drbg's randomness, which asks for ciphers and digests by name as it loads);
# Bluetooth itself. What they need in turn, modprobe knows.
modules='virtio_pci 9pnet_virtio 9p overlay
  ecb ctr ccm cmac sha512_generic hmac drbg ecdh_generic af_alg algif_skcipher algif_hash
  bluetooth rfcomm bnep hci_vhci'

# The kernel of Debian's last point release. Those of its security updates come and go by the week, and one of them
# (6.1.192) fell over its own Bluetooth: "list_del corruption" in hci_chan_del, and bluetoothd with it.
version=$(apt-cache madison linux-image-amd64 2>/dev/null | awk -F ' *[|] *' '$3 !~ /security/ { print $2; exit }')
kernel=$(apt-cache show linux-image-amd64="$version" 2>/dev/null | sed -n 's/^Depends: \(linux-image[^ ]*\).*/\1/p')
kernel=${LINKAPP_BLUEZ_VM_KERNEL:-$kernel}
[ -n "$kernel" ] || { echo "make_image: apt knows no linux-image-amd64; as root: apt-get update" >&2; exit 1; }

made_of=$(apt-cache policy "$kernel" busybox-static | grep -E '^[a-z]|Candidate:'; sha256sum "$0" "$here/init.sh")
if [ -f "$1/made_of" ] && [ "$(cat "$1/made_of")" = "$made_of" ]; then
  exit 0
fi

mkdir -p "$1"
cd "$1"
rm -rf made_of work
mkdir work
trap 'rm -rf work' EXIT

# As root, apt would download as a user who cannot write here.
(cd work && apt-get -qq -o APT::Sandbox::User="$(id -un)" download "$kernel" busybox-static) >&2

unpack() { # PACKAGE PATTERN...
  dpkg-deb --fsys-tarfile work/"$1"_*.deb | tar -x -C work --wildcards "${@:2}"
}
unpack busybox-static './bin/busybox'
unpack "$kernel" './boot/vmlinuz-*' './lib/modules/*/modules.*' \
  './lib/modules/*/kernel/'{arch,crypto,drivers/bluetooth,drivers/char,drivers/virtio,fs,lib,net}'/*'

version=$(ls work/lib/modules)
depmod -b work "$version" 2>/dev/null
root=work/root
mkdir -p $root/{bin,proc,sys,dev,modules,host,layers,root}
cp work/bin/busybox $root/bin/
ln -s busybox $root/bin/sh
install -m 755 "$here/init.sh" $root/init
for module in $modules; do
  # "insmod PATH" or, for what is part of the kernel, "builtin NAME"; in the order in which they load.
  modprobe -d work -S "$version" --show-depends "$module" >>work/steps
done
awk '$1 == "insmod" && !seen[$2]++ { print $2 }' work/steps | while read -r path; do
  cp "$path" $root/modules/
  basename "$path" >>$root/modules/order
done
(cd $root && find . | cpio --quiet -o -H newc | gzip) >initramfs.gz
cp work/boot/vmlinuz-* kernel
printf '%s\n' "$made_of" >made_of
