#!/usr/bin/env bash
# Builds the libFuzzer targets with clang and runs each for a bounded time on a
# copy of its seed corpus. FUZZ_SECONDS sets the time per target (default 60).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
dir=$root/build-fuzz
seconds=${FUZZ_SECONDS:-60}
CC=clang CXX=clang++ bash "$root/scripts/build.sh" "$dir" -DVELLUM_FUZZ=ON \
  -DVELLUM_TESTS=OFF -DVELLUM_BENCHMARKS=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo
shopt -s nullglob
for fuzzer in "$dir"/fuzz/*_fuzzer; do
  name=$(basename "$fuzzer" _fuzzer)
  work=$(mktemp -d)
  [ -d "$root/fuzz/corpus/$name" ] && cp -r "$root/fuzz/corpus/$name/." "$work/"
  echo "== fuzzing $name for ${seconds}s"
  "$fuzzer" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$dir/$name-" "$work" 2>&1 | tail -n 12
  rm -rf "$work"
done
