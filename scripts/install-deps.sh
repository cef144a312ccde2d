#!/usr/bin/env bash
# Installs every Debian package that building, testing, benchmarking and the Windows
# cross build (run under Wine) need. Safe to run again: apt skips what is already there.
set -euo pipefail

packages=(
  # native toolchain and build
  build-essential cmake ninja-build pkg-config git python3 clang clang-format clang-tidy
  libclang-rt-14-dev llvm
  # engine libraries
  libcurl4-openssl-dev libssl-dev nlohmann-json3-dev
  # the command lines of tavrin-cli and tavrin-server
  libcli11-dev
  # server
  libboost-dev libboost-system-dev zlib1g-dev
  # tests and benchmarks (the peers of bench/ included)
  googletest libgtest-dev libgmock-dev libbenchmark-dev libsimdjson-dev locales
  nginx-light aria2 wget2 curl time openssl bc
  # window
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev qt6-tools-dev libgl-dev xvfb xauth
  # the window's tray and start-up tests on a real display, and its screenshots
  trayer xdotool x11-utils imagemagick fonts-dejavu-core
  # Windows cross build and its tests
  g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 mingw-w64-tools
  wine64 wine
  # the packages and their checks (tests/package)
  desktop-file-utils appstream lintian man-db groff-base systemd unzip
  # the static Qt for Windows, built from Debian's source packages (scripts/build-qt-windows.sh)
  dpkg-dev xz-utils perl
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if ((${#missing[@]})); then
  echo "install-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# A locale whose decimal point is a comma, so tests can prove number reading ignores it.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf8$'; then
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO="sudo"
  if [ -f /etc/locale.gen ]; then
    $SUDO sed -i 's/^# *de_DE.UTF-8 UTF-8/de_DE.UTF-8 UTF-8/' /etc/locale.gen
    grep -q '^de_DE.UTF-8 UTF-8' /etc/locale.gen || echo 'de_DE.UTF-8 UTF-8' | $SUDO tee -a /etc/locale.gen >/dev/null
    $SUDO locale-gen >/dev/null
  fi
fi
echo "install-deps: all packages present"
