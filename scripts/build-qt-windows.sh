#!/usr/bin/env bash
# Cross-builds a static Qt 6 for 64-bit Windows (mingw-w64) from Debian's own Qt sources, with
# just what the window needs: Core, Gui, Widgets, Svg, Test and the "windows" and "offscreen"
# platform plugins. The result goes to a cache folder outside the checkout, keyed by the Qt
# version and this script's content, so a second run with nothing changed does nothing.
#
#   scripts/build-qt-windows.sh            builds (or reuses) the cache and prints its folder
#   TAVRIN_QT_CACHE=DIR                     cache root (default ~/.cache/tavrin)
#   TAVRIN_QTSVG_SOURCE=FILE                qtsvg source tarball when Debian's is unavailable
#
# It fetches nothing but Debian's source packages; the qtsvg fallback is the vendored tarball,
# checked against its published sha256.
set -euo pipefail

started=$SECONDS
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
repo="$(cd "$here/.." && pwd)"
vendor_qtsvg="$repo/../shared/vendor/qtsvg-6.4.2.tar.xz"
vendor_qtsvg_sha256=98d874779f95292e2669a7350892b7d1590d7cf64609b835f014bdb56c04ff24
triple=x86_64-w64-mingw32

say() { echo "build-qt-windows: $*"; }
die() {
  echo "build-qt-windows: $*" >&2
  exit 1
}

# The host Qt supplies moc, rcc and uic to the cross build, so the target must be its version.
host_version="$(dpkg-query -W -f='${Version}' qt6-base-dev-tools 2>/dev/null || true)"
[ -n "$host_version" ] || die "qt6-base-dev-tools is not installed (run scripts/install-deps.sh)"
qt_version="${host_version%%+*}"
qt_version="${qt_version%%-*}"

script_key="$(sha256sum "${BASH_SOURCE[0]}" | cut -c1-16)"
cache_root="${TAVRIN_QT_CACHE:-$HOME/.cache/tavrin}"
prefix="$cache_root/qt-$qt_version-mingw-static"
stamp="$prefix/.tavrin-build-key"
key="qt $qt_version, script $script_key"

mkdir -p "$cache_root"
# One build at a time: test.sh and screenshot.sh may both ask for it.
exec 9>"$cache_root/.qt-$qt_version-mingw-static.lock"
flock 9

if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$key" ]; then
  say "up to date in $prefix ($key)"
  exit 0
fi

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# apt-get source needs a deb-src entry; add one mirroring the configured deb entries.
ensure_deb_src() {
  if grep -rqsE '^(deb-src |Types:.*deb-src)' /etc/apt/sources.list /etc/apt/sources.list.d/; then
    return
  fi
  local added=/etc/apt/sources.list.d/tavrin-deb-src.sources
  say "no deb-src entry in apt's sources: adding $added to fetch Debian's Qt source packages"
  local tmp
  tmp="$(mktemp)"
  if [ -f /etc/apt/sources.list.d/debian.sources ]; then
    sed -n 's/^Types: deb$/Types: deb-src/;p' /etc/apt/sources.list.d/debian.sources >"$tmp"
  else
    grep -hE '^deb ' /etc/apt/sources.list /etc/apt/sources.list.d/*.list 2>/dev/null |
      sed 's/^deb /deb-src /' >"$tmp"
    added=/etc/apt/sources.list.d/tavrin-deb-src.list
  fi
  as_root install -m 0644 "$tmp" "$added"
  rm -f "$tmp"
  as_root apt-get update -qq
}

work="$(mktemp -d "${TMPDIR:-/tmp}/tavrin-qt-build.XXXXXX")"
trap 'rm -rf "$work"' EXIT
cd "$work"

ensure_deb_src
say "fetching Debian's qt6-base source"
apt-get source -qq qt6-base >apt-qtbase.log 2>&1 || {
  cat apt-qtbase.log >&2
  die "apt-get source qt6-base failed"
}
qtbase_src="$(find "$work" -maxdepth 1 -type d -name 'qt6-base-*' | head -n1)"
[ -n "$qtbase_src" ] || die "apt-get source gave no qt6-base folder"
src_version="$(basename "$qtbase_src")"
src_version="${src_version#qt6-base-}"
[ "${src_version%%+*}" = "$qt_version" ] ||
  die "Debian's qt6-base source is $src_version but the host Qt tools are $qt_version"

say "fetching the qtsvg source"
qtsvg_src=""
if apt-get source -qq qt6-svg >apt-qtsvg.log 2>&1; then
  qtsvg_src="$(find "$work" -maxdepth 1 -type d -name 'qt6-svg-*' | head -n1)"
fi
if [ -z "$qtsvg_src" ]; then
  tarball="${TAVRIN_QTSVG_SOURCE:-$vendor_qtsvg}"
  say "Debian's qt6-svg source is unavailable; using $tarball"
  [ -f "$tarball" ] || die "no qtsvg source: set TAVRIN_QTSVG_SOURCE to qtsvg-$qt_version.tar.xz"
  echo "$vendor_qtsvg_sha256  $tarball" | sha256sum -c --quiet - ||
    die "$tarball does not match the published sha256 $vendor_qtsvg_sha256"
  mkdir qtsvg-src
  tar -xJf "$tarball" -C qtsvg-src --strip-components=1
  qtsvg_src="$work/qtsvg-src"
fi

cat >"$work/toolchain.cmake" <<EOF
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER $triple-gcc-posix)
set(CMAKE_CXX_COMPILER $triple-g++-posix)
set(CMAKE_RC_COMPILER $triple-windres)
set(CMAKE_AR $triple-gcc-ar-posix CACHE FILEPATH "")
set(CMAKE_RANLIB $triple-gcc-ranlib-posix CACHE FILEPATH "")
set(CMAKE_FIND_ROOT_PATH /usr/$triple $prefix)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
EOF

rm -rf "$prefix"
say "configuring qtbase $src_version for $triple into $prefix"
mkdir build-qtbase
cd build-qtbase
# tabletevent: the dfsg tarball lacks wintab.h. androiddeployqt: a Debian patch turns it on
# when cross-compiling. direct2d stays at its default: without it the DirectWrite font
# database is missing at link time.
"$qtbase_src/configure" -prefix "$prefix" \
  -xplatform win32-g++ -qt-host-path /usr \
  -release -static -static-runtime \
  -qt-zlib -qt-libpng -qt-libjpeg -qt-pcre -qt-freetype -qt-harfbuzz \
  -no-dbus -no-icu -no-openssl -no-opengl \
  -no-feature-sql -no-feature-network -no-feature-printsupport -no-feature-vulkan \
  -no-feature-tabletevent -no-feature-androiddeployqt \
  -nomake examples -nomake tests \
  -- -G Ninja \
  -DCMAKE_TOOLCHAIN_FILE="$work/toolchain.cmake" \
  -DQT_HOST_PATH_CMAKE_DIR=/usr/lib/x86_64-linux-gnu/cmake >../configure-qtbase.log 2>&1 || {
  tail -n 60 ../configure-qtbase.log >&2
  die "qtbase configure failed (log above)"
}
say "building qtbase (about 20 minutes on 2 cores)"
cmake --build . --parallel 2 >../build-qtbase.log 2>&1 || {
  tail -n 60 ../build-qtbase.log >&2
  die "qtbase build failed (log above)"
}
cmake --install . >/dev/null

say "building qtsvg"
cd "$work"
mkdir build-qtsvg
cd build-qtsvg
"$prefix/bin/qt-configure-module" "$qtsvg_src" >../configure-qtsvg.log 2>&1 || {
  tail -n 60 ../configure-qtsvg.log >&2
  die "qtsvg configure failed (log above)"
}
cmake --build . --parallel 2 >../build-qtsvg.log 2>&1 || {
  tail -n 60 ../build-qtsvg.log >&2
  die "qtsvg build failed (log above)"
}
cmake --install . >/dev/null

echo "$key" >"$stamp"
elapsed=$((SECONDS - started))
say "Qt $qt_version for Windows built in $((elapsed / 60)) min $((elapsed % 60)) s: $prefix ($(du -sh "$prefix" | cut -f1))"
