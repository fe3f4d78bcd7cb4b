#!/usr/bin/env bash
# Fails when a tracked C++ file differs from what clang-format (the project's .clang-format) makes
# of it. `make format` fixes them.
set -euo pipefail
cd "$(dirname "$0")/.."
if git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run --Werror; then
  echo "format: every file is formatted"
else
  echo "format: run 'make format' and commit the result" >&2
  exit 1
fi
