#!/usr/bin/env bash
# Builds one probe that includes downwards (must compile) and probes that include upwards (must
# fail because the header is not found, not for any other reason).
set -uo pipefail
build=$1
shift
if ! out=$(cmake --build "$build" --target tessiva_layer_probe_downward 2>&1); then
  echo "FAIL: a downward include does not compile:"
  echo "$out"
  exit 1
fi
for probe in "$@"; do
  target=${probe%%=*}
  header=${probe#*=}
  if out=$(cmake --build "$build" --target "$target" 2>&1); then
    echo "FAIL: $target compiled although it includes $header from a lower layer"
    exit 1
  fi
  if ! grep -q -E "$header.*(No such file|not found)|(No such file|not found).*$header" <<<"$out"; then
    echo "FAIL: $target did not fail on the missing header $header:"
    echo "$out" | tail -20
    exit 1
  fi
  echo "$target: $header is not visible, as it should be"
done
