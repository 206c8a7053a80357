#!/usr/bin/env bash
# Installs this machine's vellum package from out/ (made by scripts/package.sh)
# the way a user would, checks the installed tool, and removes it again. When
# out/ also holds the arm64 package (scripts/package.sh amd64 arm64, whose
# cross build sets up dpkg's arm64 architecture and qemu-user), it is
# installed and run the same way.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
arch=$(dpkg --print-architecture)
sudo=""; [ "$(id -u)" -ne 0 ] && sudo=sudo

cd "$root/out"
debs=(vellum_*_"$arch".deb)
[ -e "${debs[0]}" ] || { echo "package-check: no vellum_*_$arch.deb in out/" >&2; exit 1; }
installed_vellum() { # the installed vellum packages, with their architecture
  dpkg-query -W -f='${db:Status-Abbrev} ${binary:Package}\n' 2>/dev/null |
    awk '$1 == "ii" && $2 ~ /^vellum(:|$)/ {print $2}'
}
remove_vellum() {
  local installed
  installed=$(installed_vellum)
  [ -z "$installed" ] && return 0
  # shellcheck disable=SC2086
  DEBIAN_FRONTEND=noninteractive $sudo apt-get purge -y -o DPkg::Lock::Timeout=120 $installed >/dev/null
}
install_deb() {
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends \
    -o DPkg::Lock::Timeout=120 "./$1" >/dev/null
  echo "package-check: installed $1"
  dpkg-query -W -f='${Depends}\n' "$(installed_vellum)"
}
if [ -n "$(installed_vellum)" ]; then
  # On a CI machine it can only be left over from a run that was killed; on
  # anyone else's it may be in use, and is not replaced.
  if [ "${CI:-}" != true ]; then
    echo "package-check: vellum is already installed; not touching it" >&2
    exit 1
  fi
  remove_vellum
fi

failed=0 passed=0
check() { # description, then the command that must succeed
  local what=$1; shift
  if "$@"; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAILED: $what" >&2; fi
}

trap remove_vellum EXIT
install_deb "${debs[0]}"

files_ok() {
  local files file
  files=$(dpkg -L vellum)
  for file in /usr/bin/vellum /usr/share/doc/vellum/README.md /usr/share/doc/vellum/copyright \
              /usr/share/doc/vellum/changelog.gz /usr/share/bash-completion/completions/vellum; do
    grep -x "$file" <<<"$files" >/dev/null || { echo "package-check: $file is missing" >&2; return 1; }
  done
}
check "binary, README, copyright, changelog and bash completion are installed" files_ok

check "the package installs /usr/bin/vellum" test -x /usr/bin/vellum
# --version answers on standard error, and only when it is the sole argument.
version_ok() { [ "$(/usr/bin/vellum --version 2>&1 >/dev/null)" = "7.03" ]; }
check "vellum --version writes 7.03 to stderr" version_ok
# The stdout printer needs neither CUPS nor a printer: feedlabel with no
# options sends one TPCL frame and a line feed.
feed_ok() { [ "$(/usr/bin/vellum -p - feedlabel 2>/dev/null; echo X)" = "$(printf '{T;00C30|}\nX')" ]; }
check "vellum -p - feedlabel writes {T;00C30|}" feed_ok
# vellum-image turns a picture from standard input into a job.
image_ok() {
  [ "$(printf 'P2 2 2 255 0 255 255 0\n' | /usr/bin/vellum-image --width 10 --length 10 - | head -n 2)" = \
    "$(printf '{D0100,0100,0100|}\n{C|}')" ]
}
check "vellum-image writes a job for a picture" image_ok

# man -w finds the page through man-db. Images that keep dpkg from unpacking
# /usr/share/man (path-exclude in /etc/dpkg/dpkg.cfg.d/) have no page to find,
# so there the package's own file list must carry it instead.
man_ok() {
  if grep -s '^path-exclude[ =]*/usr/share/man' /etc/dpkg/dpkg.cfg.d/* >/dev/null; then
    echo "package-check: dpkg excludes /usr/share/man here; checking the package's file list" >&2
    grep '/usr/share/man/man1/vellum\.1\.gz$' <<<"$contents" >/dev/null
  else
    [ "$(man -w vellum)" = /usr/share/man/man1/vellum.1.gz ]
  fi
}
contents=$(dpkg-deb --contents "${debs[0]}")
check "man -w vellum finds the compressed page" man_ok

# The CUPS driver: the PPD where lpadmin -m vellum/tec.ppd finds it, and its
# filter where CUPS runs it from; cupstestppd checks the PPD, its filter line
# included, against the installed files.
driver_ok() {
  [ -x /usr/lib/cups/filter/rastertovellum ] &&
    cupstestppd /usr/share/cups/model/vellum/tec.ppd | grep -x '/usr/share/cups/model/vellum/tec.ppd: PASS' >/dev/null
}
check "the driver's filter and PPD are installed and cupstestppd passes the PPD" driver_ok

remove_vellum

# The arm64 package, when it was made, on this machine's multiarch dpkg: its
# dependencies must resolve to Debian's arm64 libraries, and the installed
# binary must run under emulation.
arm64=(vellum_*_arm64.deb)
if [ "$arch" != arm64 ] && [ -e "${arm64[0]}" ]; then
  install_deb "${arm64[0]}"
  check "the arm64 package carries its files" files_ok
  arm64_version_ok() {
    [ "$(qemu-aarch64 -L / /usr/bin/vellum --version 2>&1 >/dev/null)" = "7.03" ]
  }
  check "the arm64 vellum runs under qemu and writes 7.03" arm64_version_ok
  arm64_driver_ok() { [ -x /usr/lib/cups/filter/rastertovellum ] && [ -f /usr/share/cups/model/vellum/tec.ppd ]; }
  check "the arm64 package carries the driver's filter and PPD" arm64_driver_ok
  remove_vellum
fi

echo "package-check: $passed passed, $failed failed"
((failed == 0))
