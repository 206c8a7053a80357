#!/usr/bin/env bash
# Installs this machine's vellum package from out/ (made by scripts/package.sh)
# the way a user would, checks the installed tool, and removes it again. Where
# dpkg knows arm64 and qemu-user is there (scripts/cross-build.sh sets both
# up), the arm64 package is installed and run the same way.
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

failed=0 passed=0 skipped=0
check() { # description, then the command that must succeed
  local what=$1; shift
  if "$@"; then passed=$((passed + 1)); else failed=$((failed + 1)); echo "FAILED: $what" >&2; fi
}
# A part of the tool that the source tree does not have yet cannot be in the
# package; once it is there, the package must carry it.
skip() { skipped=$((skipped + 1)); echo "SKIPPED: $1" >&2; }

trap remove_vellum EXIT
install_deb "${debs[0]}"

files_ok() {
  local files
  files=$(dpkg -L vellum)
  grep -x /usr/share/doc/vellum/README.md <<<"$files" >/dev/null &&
    grep -x /usr/share/bash-completion/completions/vellum <<<"$files" >/dev/null
}
check "README and bash completion are installed" files_ok

built_binary=$(find "$root/build" -type f -name vellum -perm -u+x -not -path '*/CMakeFiles/*' -print -quit 2>/dev/null || true)
if [ -x /usr/bin/vellum ] || [ -n "$built_binary" ]; then
  check "the package installs /usr/bin/vellum" test -x /usr/bin/vellum
  # --version answers on standard error, and only when it is the sole argument.
  version_ok() { [ "$(/usr/bin/vellum --version 2>&1 >/dev/null)" = "7.03" ]; }
  check "vellum --version writes 7.03 to stderr" version_ok
  # The stdout printer needs neither CUPS nor a printer: feedlabel with no
  # options sends one TPCL frame and a line feed.
  feed_ok() { [ "$(/usr/bin/vellum -p - feedlabel 2>/dev/null; echo X)" = "$(printf '{T;00C30|}\nX')" ]; }
  check "vellum -p - feedlabel writes {T;00C30|}" feed_ok
else
  skip "no vellum binary is built yet, so none is packaged"
fi

# man -w finds the page through man-db. Images that keep dpkg from unpacking
# /usr/share/man (path-exclude in /etc/dpkg/dpkg.cfg.d/) have no page to find,
# so there the package's own file list must carry it instead.
man_ok() {
  if grep -s '^path-exclude[ =]*/usr/share/man' /etc/dpkg/dpkg.cfg.d/* >/dev/null; then
    echo "package-check: dpkg excludes /usr/share/man here; checking the package's file list" >&2
    grep '/usr/share/man/man1/vellum\.1' <<<"$contents" >/dev/null
  else
    man -w vellum >/dev/null
  fi
}
contents=$(dpkg-deb --contents "${debs[0]}")
tracked=$(git -C "$root" ls-files 2>/dev/null || true)
if grep '/usr/share/man/man1/vellum\.1' <<<"$contents" >/dev/null ||
   grep '\(^\|/\)vellum\.1' <<<"$tracked" >/dev/null; then
  check "man -w vellum finds the page" man_ok
else
  skip "the source tree has no man page vellum.1 yet"
fi

remove_vellum

# The arm64 package on this machine's multiarch dpkg: its dependencies must
# resolve to Debian's arm64 libraries, and the installed binary must run.
arm64=(vellum_*_arm64.deb)
if [ "$arch" != arm64 ] && [ -e "${arm64[0]}" ] && command -v qemu-aarch64 >/dev/null &&
   dpkg --print-foreign-architectures | grep -x arm64 >/dev/null; then
  install_deb "${arm64[0]}"
  check "the arm64 package carries README and completion" files_ok
  if [ -n "$built_binary" ]; then
    arm64_version_ok() {
      [ "$(qemu-aarch64 -L / /usr/bin/vellum --version 2>&1 >/dev/null)" = "7.03" ]
    }
    check "the arm64 vellum runs under qemu and writes 7.03" arm64_version_ok
  fi
  remove_vellum
else
  skip "no arm64 package, arm64 architecture or qemu-aarch64 here"
fi

echo "package-check: $passed passed, $failed failed, $skipped skipped"
((failed == 0))
