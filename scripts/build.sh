#!/usr/bin/env bash
# Configures and builds into build/ (or the directory given as $1); extra
# arguments go to cmake's configure step.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=${1:-$root/build}
shift || true
cmake -S "$root" -B "$dir" "$@" >/dev/null
cmake --build "$dir" -j2
