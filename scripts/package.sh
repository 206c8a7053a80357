#!/usr/bin/env bash
# Builds Debian packages into out/ and checks each with lintian, which must
# report no error and no warning.
#
#   bash scripts/package.sh               # this machine's package (amd64), from build/
#   bash scripts/package.sh amd64 arm64   # also the arm64 one, from the cross build
#                                         # in build-aarch64/ (scripts/cross-build.sh)
#
# Each build is brought up to date first; only the architectures named are
# built.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/out
native=$(dpkg --print-architecture)
(($#)) || set -- "$native"

build_dir() { # architecture -> its build directory, built
  case $1 in
    "$native") bash "$root/scripts/build.sh" "$root/build" >&2; echo "$root/build" ;;
    arm64) bash "$root/scripts/cross-build.sh" "$root/build-aarch64" >&2; echo "$root/build-aarch64" ;;
    *) echo "package: no build for architecture $1" >&2; exit 1 ;;
  esac
}

# out/ holds the packages of this run only.
mkdir -p "$out"
rm -f "$out"/vellum_*.deb
for arch in "$@"; do
  dir=$(build_dir "$arch")
  rm -rf "$dir/package"
  cpack --config "$dir/CPackConfig.cmake" -G DEB -B "$dir/package" >/dev/null
  for deb in "$dir"/package/*.deb; do
    cp "$deb" "$out/"
    echo "== $(basename "$deb")"
    dpkg-deb --field "$deb" Package Version Architecture Maintainer Depends
    dpkg-deb --contents "$deb" | awk '$NF !~ /\/$/ {print "   ", $NF}'
    # Errors and warnings fail the package; informational tags are shown.
    lintian --allow-root --fail-on error,warning --info "$deb"
    echo "package: lintian found no error and no warning in $(basename "$deb")"
  done
done
