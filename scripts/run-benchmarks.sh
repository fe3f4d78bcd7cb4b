#!/usr/bin/env bash
# Runs every benchmark binary (tessiva_bench_*) built under the build's bench/ folder.
set -euo pipefail
build_dir=${1:-build/default}
find "$build_dir/bench" -type f -perm -u+x -name 'tessiva_bench_*' | sort | while read -r bench; do
  echo "== $(basename "$bench")"
  "$bench"
done
