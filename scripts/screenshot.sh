#!/usr/bin/env bash
# Takes the README's pictures of the window, each on Xvfb with a tray host:
#   docs/screenshots/main-window.png          tavrin on Linux, on the demo's server
#                                             (tavrin-server publishing examples/content), two
#                                             projects ticked, a sample game folder, auto-sync on
#   docs/screenshots/sync-running.png         tavrin on Linux in the middle of a sync started
#                                             with Ctrl+Return: the demo's projects plus 72 MB
#                                             of generated files, served through
#                                             scripts/slow-proxy.py at 1.5 MB/s per connection
#   docs/screenshots/windows-main-window.png  Tavrin.exe under Wine, on the demo's server
#                                             (tavrin-server publishing examples/content) and
#                                             a sample game folder; taken when the Windows
#                                             Qt is built (scripts/build-qt-windows.sh)
#   docs/screenshots/waiting-for-game-folder.png
#                                             tavrin on Linux with auto-sync on and the game
#                                             folder on a drive that is not mounted
#   docs/screenshots/tray-menu.png            the tray icon's menu on Linux (trayer on Xvfb),
#                                             auto-sync on, "Pause auto-sync" opened
#   docs/screenshots/settings-*.png           the settings dialog on Linux, one picture per
#                                             tab, opened from the menu bar of the first
#                                             picture's window
#   scripts/screenshot.sh [main|sync|waiting|tray|settings|windows ...]
#                             (all by default; builds first; TAVRIN_SKIP_DEPS=1 skips the
#                             package step)
set -euo pipefail

wanted=("$@")
want() { [ ${#wanted[@]} -eq 0 ] || [[ " ${wanted[*]} " == *" $1 "* ]]; }

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

# Takes a picture of build/linux/startup/tavrin once its project lists are in; with "sync" as the
# second argument it first presses Ctrl+Return and lets the run go for a few seconds.
linux_picture() {
    TAVRIN_DATA_DIR="$work/data" HOME="$work" XDG_CONFIG_HOME="$work/config" \
        tests/ui/with_tray_host.sh bash -c '
            build/linux/startup/tavrin &
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
            if [ "$1" = sync ]; then
                xdotool windowfocus --sync "$window"
                xdotool key ctrl+Return
                sleep 5  # the run is comparing done and downloading by now
            fi
            if [ "$1" = tray ]; then
                # trayer stands at the top right; its one icon is the last 24 pixels.
                xdotool mousemove 1266 12 click 3
                sleep 1
                xdotool key Down Down Down Right
                sleep 1
                import -window root -crop 300x170+980+0 "$0"
                kill $pid
                exit 0
            fi
            if [ "$1" = settings ]; then
                # The menu bar'"'"'s first entry opens the dialog; Ctrl+Tab walks its tabs.
                xdotool mousemove --window "$window" 30 12 click 1
                for _ in $(seq 50); do
                    dialog=$(xdotool search --onlyvisible --name "^Settings\$" 2>/dev/null | head -1)
                    [ -n "$dialog" ] && break
                    sleep 0.1
                done
                [ -n "${dialog:-}" ] || { echo "the settings dialog did not open" >&2; kill $pid; exit 1; }
                sleep 1
                for name in language servers general autostart auto-sync legal-de legal-en notice; do
                    import -window "$dialog" "docs/screenshots/settings-$name.png"
                    echo "saved docs/screenshots/settings-$name.png"
                    xdotool key --window "$dialog" ctrl+Tab
                    sleep 0.6
                done
                kill $pid
                exit 0
            fi
            import -window "$window" "$0"
            kill $pid
        ' "$1" "${2:-}"
    [ "${2:-}" = settings ] || echo "saved $1"
}
mkdir -p docs/screenshots
if want main; then
    linux_picture docs/screenshots/main-window.png
fi
if want tray; then
    linux_picture docs/screenshots/tray-menu.png tray
fi
if want settings; then
    linux_picture docs/screenshots/settings-dialog settings
fi
if want waiting; then
    write_settings "/media/player/Games/SteamLibrary/steamapps/common/assettocorsa" true
    linux_picture docs/screenshots/waiting-for-game-folder.png
    write_settings "$work/Assetto Corsa" true
fi
if ! want sync && ! want windows; then
    exit 0
fi

# A sync in progress: a copy of the demo's content with 72 MB more, served slowly, into an
# empty game folder.
cp -r examples/content "$work/content"
rm -rf "$work/content/.tavrin-server"
for i in $(seq -w 1 12); do
    head -c 3000000 /dev/urandom >"$work/content/Tavrin Showroom/content/cars/tavrin_gt/skins/red/livery_$i.dds"
    head -c 3000000 /dev/urandom >"$work/content/Nordic Tracks/content/tracks/fjord_ring/fjord_ring_$i.kn5"
done
slow_port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
build/linux/server/tavrin-server --root "$work/content" --listen "127.0.0.1:$slow_port" \
    2>>"$work/server.log" &
slow_server=$!
proxy_port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
python3 scripts/slow-proxy.py "$proxy_port" "http://127.0.0.1:$slow_port" 1500000 &
proxy=$!
trap 'kill $server $slow_server $proxy 2>/dev/null || true; rm -rf "$work"' EXIT
for _ in $(seq 100); do
    curl -s "http://127.0.0.1:$proxy_port/list_projects" >/dev/null && break
    sleep 0.1
done
mkdir -p "$work/empty/Assetto Corsa/content"
printf 'MZ' >"$work/empty/Assetto Corsa/AssettoCorsa.exe"
url="http://127.0.0.1:$proxy_port"
write_settings "$work/empty/Assetto Corsa"
if want sync; then
    linux_picture docs/screenshots/sync-running.png sync
fi
kill $slow_server $proxy 2>/dev/null || true
url="http://127.0.0.1:$port"

# The Windows picture: Tavrin.exe of the windows-cross build under Wine.
if ! want windows; then
    exit 0
fi
if ! ls "${TAVRIN_QT_CACHE:-$HOME/.cache/tavrin}"/qt-*-mingw-static/.tavrin-build-key >/dev/null 2>&1 &&
    [ -z "${TAVRIN_QT_WINDOWS:-}" ]; then
    echo "skipped docs/screenshots/windows-main-window.png: no Qt for Windows (scripts/build-qt-windows.sh)"
    exit 0
fi
cmake --preset windows-cross >/dev/null
cmake --build --preset windows-cross --target tavrin -j 2 >/dev/null

windows_path() { printf 'Z:%s' "${1//\//\\}"; }
rm -rf "$work/data/"*
# Forward slashes: a backslash in an INI value starts an escape ("\t" is a tab).
write_settings "Z:$work/Assetto Corsa"

output=docs/screenshots/windows-main-window.png
export WINEPREFIX="$root/build/windows-cross/wineprefix-screenshot"
TAVRIN_DATA_DIR=$(windows_path "$work/data") tests/ui/with_tray_host.sh bash -c '
    cmake/wine-prefix.sh fresh
    cmake/wine-run.sh build/windows-cross/startup/Tavrin.exe >/dev/null 2>&1 &
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
