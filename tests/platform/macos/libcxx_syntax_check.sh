#!/usr/bin/env bash
# Apple's toolchain ships libc++, not libstdc++: every portable source of the program must compile
# against libc++ (clang -fsyntax-only -stdlib=libc++). Catches standard-library calls that libc++
# lacks, such as from_chars for floating point. Skipped (77) where libc++ is not installed.
set -uo pipefail
root=$1
clangxx=$2
jobs=${3:-2}
# Qt's include folders, separated by ';', when the desktop shell is built; without them the
# shell's sources are left out.
qt_includes=${4:-}
probe=$(mktemp --suffix=.cpp)
trap 'rm -f "$probe"' EXIT
echo '#include <version>' > "$probe"
if ! "$clangxx" -std=c++20 -stdlib=libc++ -fsyntax-only "$probe" 2>/dev/null; then
  echo "skipped: libc++ is not installed for $clangxx"
  exit 77
fi
cd "$root"
# The Mac adapters have their own check; files for one other system and those that need a
# library's own include folder are left out.
sources=$(find src apps -name '*.cpp' | grep -v -E \
  'src/platform/macos/[A-Z]|Apple\.cpp$|src/platform/(rtmidi|dnssd)/' | sort)
qt_flags=()
if [ -n "$qt_includes" ]; then
  IFS=';' read -r -a qt_dirs <<<"$qt_includes"
  for dir in "${qt_dirs[@]}"; do qt_flags+=("-I$dir"); done
  # Qt refuses code that is not position independent.
  qt_flags+=(-fPIC -DQT_NO_KEYWORDS '-DTESSIVA_FOCUS_VERSION="0"')
else
  sources=$(grep -v -E '^(src/ui|apps/tessiva-focus-app)/' <<<"$sources")
fi
count=$(wc -w <<<"$sources")
check_one() {
  local flags=(-std=c++20 -stdlib=libc++ -fsyntax-only -Isrc -Iapps/tessiva-focus
               '-DTESSIVA_PEER_PATH="tessiva-peer"' $QT_FLAGS)
  if ! "$clangxx" "${flags[@]}" "$1" >/dev/null 2>&1; then
    echo "$1"
    "$clangxx" "${flags[@]}" "$1" 2>&1 | grep -m3 error: >&2
  fi
}
export -f check_one
export clangxx
export QT_FLAGS="${qt_flags[*]:-}"
failed=$(printf '%s\n' $sources | xargs -P "$jobs" -I{} bash -c 'check_one "$1"' _ {})
if [ -n "$failed" ]; then
  echo "FAIL: these sources do not compile against libc++:"
  echo "$failed"
  exit 1
fi
echo "$count sources compile against libc++"
