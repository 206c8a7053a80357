#!/usr/bin/env bash
# Builds the Debian packages vellum_VERSION_amd64.deb (from the native build,
# build/) and vellum_VERSION_arm64.deb (from the cross build, build-aarch64/)
# and puts both in out/. Either build is brought up to date first.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/out
mkdir -p "$out"

bash "$root/scripts/build.sh" "$root/build"
bash "$root/scripts/cross-build.sh" "$root/build-aarch64"

for dir in "$root/build" "$root/build-aarch64"; do
  rm -rf "$dir/package"
  cpack --config "$dir/CPackConfig.cmake" -G DEB -B "$dir/package" >/dev/null
  for deb in "$dir"/package/*.deb; do
    cp "$deb" "$out/"
    echo "== $(basename "$deb")"
    dpkg-deb --field "$deb" Package Version Architecture Depends
    dpkg-deb --contents "$deb" | awk '$NF !~ /\/$/ {print "   ", $NF}'
  done
done
