#!/usr/bin/env bash
# Installs what is needed, builds, and runs the whole test suite.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/setup.sh" --tests
bash "$root/scripts/build.sh" "$root/build"
ctest --test-dir "$root/build" --output-on-failure -j2 --timeout 300
