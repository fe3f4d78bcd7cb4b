#!/usr/bin/env bash
# Runs every benchmark binary under the build's bench/ folder.
set -euo pipefail
build_dir=${1:-build/default}
shopt -s nullglob
for bench in "$build_dir"/bench/tessiva_bench_*; do
  [ -x "$bench" ] || continue
  echo "== $(basename "$bench")"
  "$bench"
done
