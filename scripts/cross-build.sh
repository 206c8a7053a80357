#!/usr/bin/env bash
# Cross-builds vellum for 64-bit Arm (aarch64) into build-aarch64/ (or the
# directory given as $1; further arguments go to cmake's configure step).
# Sets up the machine first, once: the arm64 architecture in dpkg, Debian's
# cross compiler, user-mode emulation, and the target's libraries as multiarch
# packages. Running it again only rebuilds.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-$root/build-aarch64}
shift || true

sudo=""; [ "$(id -u)" -ne 0 ] && sudo=sudo
# Host tools: compiler, emulator, dpkg-shlibdeps for the package.
host=(g++-aarch64-linux-gnu qemu-user dpkg-dev)
# Target libraries. Multi-Arch: same packages must carry exactly the version
# of their installed amd64 twins, so those are named too: apt then moves both
# to the same version instead of refusing.
# libcpp-httplib-dev cannot be installed for two architectures at once, so
# the cross-built vellum-printer has no web page.
target=(libc6:arm64 libstdc++6:arm64 libcups2-dev:arm64 libcupsimage2-dev:arm64 zlib1g-dev:arm64
        libgtest-dev:arm64 libtiff-dev:arm64 libpng-dev:arm64 libjpeg62-turbo-dev:arm64)
twins=(libcups2-dev libcupsimage2-dev zlib1g-dev libgtest-dev libtiff-dev libpng-dev libjpeg62-turbo-dev)

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep 'install ok installed' >/dev/null; }
missing=()
for p in "${host[@]}" "${target[@]}"; do installed "$p" || missing+=("$p"); done
if ((${#missing[@]})); then
  if ! dpkg --print-foreign-architectures | grep -x arm64 >/dev/null; then
    $sudo dpkg --add-architecture arm64
  fi
  # Another apt run may hold the lock for a moment.
  for attempt in 1 2 3 4 5 6; do
    if $sudo apt-get update -o DPkg::Lock::Timeout=120 >/dev/null &&
       DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends \
         -o DPkg::Lock::Timeout=120 "${host[@]}" "${target[@]}" "${twins[@]}"; then
      break
    fi
    ((attempt == 6)) && { echo "cross-build: could not install ${missing[*]}" >&2; exit 1; }
    sleep 10
  done
fi

# Benchmarks and fuzzers are native-only tools; the tests are built, and
# ctest runs them through qemu-aarch64 (see the toolchain file). Optimised as
# Debian builds its packages, at -O2 (GCC 12's -O3 warns falsely about
# std::string concatenation) and without debug information, which also keeps
# the build short in CI.
cmake -S "$root" -B "$dir" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-aarch64.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE="-O2 -DNDEBUG" \
  -DVELLUM_BENCHMARKS=OFF -DVELLUM_FUZZ=OFF -DVELLUM_SANITIZE=OFF "$@" >/dev/null
cmake --build "$dir" -j2
