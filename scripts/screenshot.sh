#!/usr/bin/env bash
# Takes the README's pictures of the window, each on Xvfb with a tray host:
#   docs/screenshots/main-window.png          tavrin on Linux, on the demo's server
#                                             (tavrin-server publishing examples/content), two
#                                             projects ticked, a sample game folder, auto-sync on
#   docs/screenshots/windows-main-window.png  Tavrin.exe under Wine, on the demo's server
#                                             (tavrin-server publishing examples/content) and
#                                             a sample game folder; taken when the Windows
#                                             Qt is built (scripts/build-qt-windows.sh)
#   scripts/screenshot.sh     (builds first; TAVRIN_SKIP_DEPS=1 skips the package step)
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
if [ "${TAVRIN_SKIP_DEPS:-0}" != 1 ]; then
    bash scripts/install-deps.sh
fi
cmake --preset linux >/dev/null
cmake --build --preset linux --target tavrin tavrin-server -j 2 >/dev/null

work=$(mktemp -d)
mkdir -p "$work/data" "$work/Assetto Corsa/content"
printf 'MZ' >"$work/Assetto Corsa/AssettoCorsa.exe"

# Both pictures show the demo's server: tavrin-server publishing examples/content.
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
build/linux/server/tavrin-server --root examples/content --listen "127.0.0.1:$port" \
    --password "Club Pack=club" 2>"$work/server.log" &
server=$!
trap 'kill $server 2>/dev/null || true; rm -rf "$work"' EXIT
url="http://127.0.0.1:$port"
for _ in $(seq 50); do
    curl -s "$url/list_projects" >/dev/null && break
    sleep 0.1
done

# Settings for the demo's server with two projects ticked; $1 is the game folder's path as
# the program writes it.
write_settings() {
    cat >"$work/data/Tavrin.ini" <<INI
[General]
language=${TAVRIN_SCREENSHOT_LANGUAGE:-en}
http_lock_enabled=false
target_path=$1
auto_sync_enabled=${2:-false}
selected_domains=$url
selected_projects=$url|Tavrin Showroom, $url|Nordic Tracks

[Domains]
count=1
domain_0_name=Demo server
domain_0_url=$url
INI
}
write_settings "$work/Assetto Corsa" true

output=docs/screenshots/main-window.png
mkdir -p "$(dirname "$output")"
TAVRIN_DATA_DIR="$work/data" HOME="$work" XDG_CONFIG_HOME="$work/config" \
    tests/ui/with_tray_host.sh bash -c '
        build/linux/ui/tavrin &
        pid=$!
        for _ in $(seq 100); do
            for id in $(xdotool search --onlyvisible --name "^Tavrin\$" 2>/dev/null); do
                width=$(xdotool getwindowgeometry "$id" | awk "/Geometry/ { split(\$2, s, \"x\"); print s[1] }")
                [ "$width" -ge 400 ] && window=$id
            done
            [ -n "${window:-}" ] && break
            sleep 0.1
        done
        [ -n "${window:-}" ] || { echo "the window did not appear" >&2; kill $pid; exit 1; }
        sleep 2.5  # until the project lists are in and painted
        import -window "$window" "$0"
        kill $pid
    ' "$output"
echo "saved $output"

# The Windows picture: Tavrin.exe of the windows-cross build under Wine.
if ! ls "${TAVRIN_QT_CACHE:-$HOME/.cache/tavrin}"/qt-*-mingw-static/.tavrin-build-key >/dev/null 2>&1 &&
    [ -z "${TAVRIN_QT_WINDOWS:-}" ]; then
    echo "skipped docs/screenshots/windows-main-window.png: no Qt for Windows (scripts/build-qt-windows.sh)"
    exit 0
fi
cmake --preset windows-cross >/dev/null
cmake --build --preset windows-cross --target tavrin -j 2 >/dev/null

windows_path() { printf 'Z:%s' "${1//\//\\}"; }
rm -f "$work/data/"*
# Forward slashes: a backslash in an INI value starts an escape ("\t" is a tab).
write_settings "Z:$work/Assetto Corsa"

output=docs/screenshots/windows-main-window.png
export WINEPREFIX="$root/build/windows-cross/wineprefix-screenshot"
TAVRIN_DATA_DIR=$(windows_path "$work/data") tests/ui/with_tray_host.sh bash -c '
    cmake/wine-prefix.sh fresh
    cmake/wine-run.sh build/windows-cross/ui/Tavrin.exe >/dev/null 2>&1 &
    for _ in $(seq 300); do
        for id in $(xdotool search --name "^Tavrin\$" 2>/dev/null); do
            xwininfo -id "$id" 2>/dev/null | grep -q "Map State: IsViewable" || continue
            width=$(xwininfo -id "$id" | awk "/Width:/ { print \$NF }")
            [ "$width" -ge 400 ] && window=$id
        done
        [ -n "${window:-}" ] && break
        sleep 0.1
    done
    if [ -z "${window:-}" ]; then
        echo "Tavrin.exe showed no window" >&2
        cmake/wine-prefix.sh stop
        exit 1
    fi
    sleep 4  # until the project lists are in and painted
    import -window "$window" "$0"
    cmake/wine-prefix.sh stop
' "$output"
echo "saved $output"
