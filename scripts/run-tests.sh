#!/usr/bin/env bash
# Runs every registered test and ends with CTest's summary line.
set -uo pipefail
build_dir=${1:-build/default}
jobs=${2:-2}
ctest --test-dir "$build_dir" -j"$jobs" --output-on-failure --timeout 300 2>&1 | tee "$build_dir/ctest.log"
status=${PIPESTATUS[0]}
passed=$(grep -c -E 'Test +#[0-9]+: .* Passed' "$build_dir/ctest.log" || true)
failed=$(grep -c -E 'Test +#[0-9]+: .* (\*\*\*Failed|\*\*\*Exception|\*\*\*Timeout|\*\*\*Not Run|Subprocess aborted)' "$build_dir/ctest.log" || true)
echo "tests: ${passed} passed, ${failed} failed"
exit "$status"
