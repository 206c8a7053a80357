#!/usr/bin/env bash
# Installs the Debian packages that the build and the demo need
# (packages.txt) and, with --tests, those the test suite adds
# (packages-test.txt), as root; the package index is only updated when
# something is missing.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
lists=("$here/packages.txt")
[ "${1:-}" = --tests ] && lists+=("$here/packages-test.txt")
mapfile -t packages < <(cat "${lists[@]}" | grep -v -e '^#' -e '^\s*$')
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""; [ "$(id -u)" -ne 0 ] && sudo=sudo
  $sudo apt-get update -o DPkg::Lock::Timeout=300
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends \
    -o DPkg::Lock::Timeout=300 "${missing[@]}"
fi
