# shellcheck shell=bash
# For scripts that use the packages in a Debian that holds nothing else: make_debian ROOT [PACKAGES,] [MMDEBSTRAP OPTION]...
# makes one of Debian 12 in the empty folder ROOT.

make_debian() {
  local root=$1 packages=$2 settings
  shift 2
  settings=$(mktemp -d)
  # From where this machine itself gets Debian, and how.
  apt-get indextargets --format "deb \$(REPO_URI) \$(CODENAME) \$(COMPONENT)" \
    'Created-By: Packages' 'Origin: Debian' "Architecture: $(dpkg --print-architecture)" >"$settings/sources.list"
  apt-config dump | grep -E '^Acquire::(http|https|Check|Retries|ForceIPv4)' >"$settings/apt.conf" || true
  mmdebstrap --quiet --mode=root --variant=minbase --aptopt="$settings/apt.conf" \
    --include="${packages}ca-certificates" "$@" bookworm "$root" "$settings/sources.list"
  rm -rf "$settings"
}
