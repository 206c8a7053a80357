#!/usr/bin/env bash
# Cross-builds for aarch64 (scripts/cross-build.sh) and runs the unit suite
# and the vellum binary under qemu-user. Tests that need the build machine
# itself (a running cupsd, for instance) carry the ctest label "native-only"
# and are left to the native build.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-$root/build-aarch64}
bash "$root/scripts/cross-build.sh" "$dir"

ctest --test-dir "$dir" --output-on-failure -j2 --timeout 600 -LE native-only

# The program itself, once it is part of the build: the version and one
# command against the stdout printer, which needs neither CUPS nor a printer.
vellum=$(find "$dir" -type f -name vellum -perm -u+x -not -path '*/CMakeFiles/*' -print -quit)
if [ -z "$vellum" ]; then
  echo "cross-test: no vellum binary in $dir yet; only the unit suite ran"
  exit 0
fi
qemu=(qemu-aarch64 -L /)
version=$("${qemu[@]}" "$vellum" --version 2>&1 >/dev/null)
[ "$version" = "7.03" ] || { echo "cross-test: --version wrote '$version'" >&2; exit 1; }
expected=$(printf '{T;21C30|}\nX')
output=$("${qemu[@]}" "$vellum" -p - feedlabel cut transmissive 2>/dev/null; echo X)
[ "$output" = "$expected" ] || { echo "cross-test: feedlabel wrote '$output'" >&2; exit 1; }
echo "cross-test: $vellum runs under emulation (version $version, feedlabel OK)"
