#!/usr/bin/env bash
# Takes the README's picture of the window: starts tavrin on Xvfb with a tray host, on a
# prepared data folder (one server, a sample game folder, auto-sync on), and saves the main
# window as docs/screenshots/main-window.png.
#   scripts/screenshot.sh     (builds tavrin first; TAVRIN_SKIP_DEPS=1 skips the package step)
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
if [ "${TAVRIN_SKIP_DEPS:-0}" != 1 ]; then
    bash scripts/install-deps.sh
fi
cmake --preset linux >/dev/null
cmake --build --preset linux --target tavrin -j 2 >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/data" "$work/Assetto Corsa/content"
printf 'MZ' >"$work/Assetto Corsa/AssettoCorsa.exe"
cat >"$work/data/Tavrin.ini" <<INI
[General]
language=${TAVRIN_SCREENSHOT_LANGUAGE:-en}
target_path=$work/Assetto Corsa
auto_sync_enabled=true

[Domains]
count=1
domain_0_name=Club server
domain_0_url=https://content.example.org
INI

output=${1:-docs/screenshots/main-window.png}
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
        sleep 1.5  # until the first paint and the status message are done
        import -window "$window" "$0"
        kill $pid
    ' "$output"
echo "saved $output"
