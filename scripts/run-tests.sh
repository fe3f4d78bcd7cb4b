#!/usr/bin/env bash
# Runs every registered test and ends with a one-line count of passes and failures.
set -uo pipefail
build_dir=${1:-build/default}
jobs=${2:-2}
ctest --test-dir "$build_dir" -j"$jobs" --output-on-failure --timeout 300 2>&1 | tee "$build_dir/ctest.log"
status=${PIPESTATUS[0]}
# CTest's per-test result lines: "12/188 Test  #12: Name ....   Passed" or "...***Failed".
results=$(grep -E '^ *[0-9]+/[0-9]+ Test +#[0-9]+: ' "$build_dir/ctest.log")
passed=$(grep -c -E ' Passed +[0-9.]+ sec' <<<"$results" || true)
skipped=$(grep -c -E '\*\*\*Skipped|\*\*\*Not Run \(Disabled\)' <<<"$results" || true)
failed=$(grep -c -v -E ' Passed +[0-9.]+ sec|\*\*\*Skipped|\*\*\*Not Run \(Disabled\)' <<<"$results" || true)
echo "tests: ${passed} passed, ${failed} failed, ${skipped} skipped"
exit "$status"
