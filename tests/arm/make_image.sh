#!/usr/bin/env bash
# Makes what the emulated ARM machine boots: Debian's kernel of that architecture, and a root folder with busybox, and
# the libraries and the message bus that the programs need. Nothing of it is installed, and nothing here needs root.
# Usage: tests/arm/make_image.sh armhf|arm64 FOLDER      makes FOLDER/kernel and FOLDER/root, unless they are there
set -euo pipefail
[[ ${1:-} =~ ^(-h|--help)$ ]] && { sed -n '2,4s/^# //p' "$0"; exit 0; }
[[ $# -eq 2 && $1 =~ ^(armhf|arm64)$ ]] || { sed -n '2,4s/^# //p' "$0" >&2; exit 2; }
here=$(dirname "$(readlink -f "$0")")
tree=$(readlink -f "$here/../..")

architecture=$1
folder=$2
case $architecture in
  armhf) image=linux-image-armmp ;;
  arm64) image=linux-image-arm64 ;;
esac
packages=(busybox-static dbus-daemon libarchive13 libedit2 libgcc-s1 libncursesw6 libstdc++6 libsystemd0)

# The same lists of packages as for the sysroot, and made again with it: one point in time, and one set of libraries to
# build with and run on.
"$tree/script/sysroot" "$architecture"
sysroot=$tree/build/sysroot/$architecture
export APT_CONFIG=$sysroot.apt/apt.conf
kernel=$(apt-cache depends "$image" | sed -n 's/^ *Depends: \(linux-image[^ ]*\)$/\1/p')
[ -n "$kernel" ] || { echo "make_image: apt knows no $image" >&2; exit 1; }

made_of=$(apt-cache policy "$kernel" "${packages[@]}" | grep -E '^[a-z]|Candidate:'
  sha256sum "$0" "$here/init.sh" "$sysroot/var/lib/dpkg/status")
if [ -f "$folder/made_of" ] && [ "$(cat "$folder/made_of")" = "$made_of" ]; then
  exit 0
fi

# What is there stays until there is something better.
rm -rf "$folder.new"
mkdir -p "$folder.new/debs/partial"
cd "$folder.new"
echo "make_image: fetching $kernel and a root folder for $architecture" >&2
(cd debs && apt-get -qq download "$kernel") </dev/null >&2
dpkg-deb --fsys-tarfile debs/linux-image-*.deb | tar -x --wildcards './boot/vmlinuz-*'
mv boot/vmlinuz-* kernel
rm -r boot debs/linux-image-*.deb
apt-get -qq -y -o "Dir::Cache::Archives=$PWD/debs" install --download-only --no-install-recommends "${packages[@]}" \
  </dev/null >&2

# One place for libraries and programs, as on a system. Of what the packages ask for, only what has libraries or is one
# of the programs above.
mkdir -p root/usr/lib root/usr/bin root/usr/sbin root/{dev,proc,sys,tmp,run,etc,job}
for name in lib bin sbin; do
  ln -s "usr/$name" "root/$name"
done
for deb in debs/{lib,zlib}*.deb debs/busybox-static_*.deb debs/dbus*.deb; do
  [[ ! $deb =~ /lib(perl|python|gdbm|db5|sqlite|krb5|k5|ssl)[^/]*$ ]] || continue
  dpkg-deb --fsys-tarfile "$deb" | tar -x --keep-directory-symlink -C root --exclude='./usr/share/*' \
    --exclude='./usr/lib/*/perl*'
  dpkg-deb --fsys-tarfile "$deb" | tar -x --keep-directory-symlink -C root --wildcards './usr/share/dbus-1/*' 2>/dev/null || true
done
rm -r debs
ln -s busybox root/bin/sh
printf '%s\n' 'root:x:0:0:root:/tmp:/bin/sh' 'messagebus:x:100:100::/:/bin/false' 'nobody:x:65534:65534::/:/bin/false' >root/etc/passwd
printf '%s\n' 'root:x:0:' 'messagebus:x:100:' 'nogroup:x:65534:' >root/etc/group
install -m 755 "$here/init.sh" root/init
printf '%s\n' "$made_of" >made_of
rm -rf "$folder"
mv "$folder.new" "$folder"
