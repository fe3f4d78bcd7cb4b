#!/usr/bin/env bash
# Compiles every macOS adapter source with clang (-fsyntax-only; Objective-C++ for .mm) against
# tools/apple-sdk-declarations, the documented signatures of the Apple calls we make. Proves the
# calls are well-formed, not that they behave. A control call with wrong argument types must fail,
# so the declarations are known to constrain.
set -uo pipefail
root=$1
clangxx=$2
declarations=$root/tools/apple-sdk-declarations
common=(-std=c++20 -fsyntax-only -Wall -Wextra -Werror -isystem "$declarations" -I"$root/src")
objcxx=(-x objective-c++ -fobjc-arc -fobjc-runtime=macosx-13.0 -fblocks)

failed=0
checked=0
for source in "$root"/src/platform/macos/*.cpp "$root"/src/platform/macos/*.mm; do
  [ -e "$source" ] || continue
  case $source in
    *.mm) flags=("${objcxx[@]}") ;;
    *) flags=(-x c++) ;;
  esac
  if "$clangxx" "${common[@]}" "${flags[@]}" "$source"; then
    checked=$((checked + 1))
  else
    echo "FAIL: $source does not compile against the Apple declarations"
    failed=1
  fi
done

control=$(mktemp --suffix=.cpp)
trap 'rm -f "$control"' EXIT
cat > "$control" <<'CPP'
#include <ApplicationServices/ApplicationServices.h>
AXError readTitle(AXUIElementRef element, CFStringRef* title) {
    return AXUIElementCopyAttributeValue(element, 42, title);
}
CPP
if "$clangxx" "${common[@]}" -x c++ "$control" 2>/dev/null; then
  echo "FAIL: a call with wrong argument types compiled: the declarations constrain nothing"
  failed=1
fi

if [ "$checked" -lt 8 ]; then
  echo "FAIL: only $checked macOS sources found"
  failed=1
fi
[ $failed -eq 0 ] && echo "checked $checked macOS sources against the Apple declarations"
exit $failed
