#!/usr/bin/env bash
# Installs what building and testing Tessiva Focus needs, and nothing that is already there.
# Debian/Ubuntu: apt-get (sudo only when not root). macOS: Homebrew.
set -euo pipefail

debian_packages=(
  build-essential cmake ninja-build pkg-config clang-format
  # CI builds a fresh clone each time; ccache reuses the objects of earlier runs on the machine.
  ccache
  libasio-dev nlohmann-json3-dev libsimdjson-dev libfmt-dev libcli11-dev libutf8proc-dev
  librtmidi-dev libjack-jackd2-dev libasound2-dev
  libgtest-dev libbenchmark-dev
  libavahi-compat-libdnssd-dev
  # CI, fuzzing and the Mac checks: the ThreadSanitizer and libFuzzer builds use clang, which
  # also compiles the macOS sources against the Apple declarations and the portable sources
  # against libc++ (the standard library of Apple's toolchain).
  clang libc++-dev libc++abi-dev
  # The desktop shell: Qt 6 Widgets and Qt Test; the offscreen platform plugin ships in
  # libqt6gui6, and the fonts give offscreen screenshots and UI tests real glyphs.
  qt6-base-dev libgl-dev fonts-dejavu-core
  # Test-only: real MIDI ports without sound hardware, and a real mDNS responder.
  jackd2 avahi-daemon avahi-utils dbus iproute2
  # Bench-only: the OSC libraries the codec is measured against.
  liboscpack-dev liblo-dev
)

brew_formulae=(cmake ninja ccache pkg-config asio nlohmann-json simdjson fmt cli11 utf8proc rtmidi googletest google-benchmark liblo qt)

install_debian() {
  local missing=()
  for pkg in "${debian_packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$pkg")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then
    echo "install-deps: everything is installed"
    return
  fi
  local sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  echo "install-deps: installing ${missing[*]}"
  # A fresh machine has no package lists; refresh them once before installing.
  if [ -z "$(find /var/lib/apt/lists -maxdepth 1 -name '*_Packages*' -mmin -1440 2>/dev/null | head -n 1)" ]; then
    $sudo apt-get update -q
  fi
  # jackd2 asks about real-time priority; the answer does not matter for tests.
  echo "jackd2 jackd/tweak_rt_limits boolean false" | $sudo debconf-set-selections 2>/dev/null || true
  if ! $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"; then
    $sudo apt-get update -q
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -q --no-install-recommends "${missing[@]}"
  fi
}

install_macos() {
  if ! command -v brew >/dev/null 2>&1; then
    echo "install-deps: Homebrew is required on macOS (https://brew.sh)" >&2
    exit 1
  fi
  local missing=()
  for formula in "${brew_formulae[@]}"; do
    brew list --formula "$formula" >/dev/null 2>&1 || missing+=("$formula")
  done
  if [ ${#missing[@]} -eq 0 ]; then
    echo "install-deps: everything is installed"
    return
  fi
  brew install "${missing[@]}"
}

case "$(uname -s)" in
  Darwin) install_macos ;;
  Linux)
    if command -v apt-get >/dev/null 2>&1; then
      install_debian
    else
      echo "install-deps: only Debian/Ubuntu (apt-get) and macOS (brew) are supported" >&2
      exit 1
    fi
    ;;
  *) echo "install-deps: unsupported system $(uname -s)" >&2; exit 1 ;;
esac
