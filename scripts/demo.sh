#!/usr/bin/env bash
# The main job on a fresh machine: a local tavrin-server publishes the sample projects of
# examples/content, tavrin-cli synchronises them into a sample game folder (with progress),
# then again to show that everything is in step (file lists answered by 304 from the cache).
#   scripts/demo.sh            TAVRIN_SKIP_DEPS=1 skips the package step
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
if [ "${TAVRIN_SKIP_DEPS:-0}" != 1 ]; then
    bash scripts/install-deps.sh
fi

echo "== building tavrin-server, tavrin-cli and the window (tavrin)"
cmake --preset linux >/dev/null
cmake --build --preset linux --target tavrin-server tavrin-cli tavrin -j 2 >/dev/null

# Binary sample files (textures, a track model) are made here, the same bytes every time.
python3 - <<'PY'
import os, random
r = random.Random(7)
for path, size in [
        ("examples/content/Tavrin Showroom/content/cars/tavrin_gt/skins/red/livery.dds", 96 * 1024),
        ("examples/content/Tavrin Showroom/content/cars/tavrin_gt/skins/blue/livery.dds", 96 * 1024),
        ("examples/content/Nordic Tracks/content/tracks/fjord_ring/fjord_ring.kn5", 256 * 1024)]:
    data = r.randbytes(size)
    if not os.path.exists(path):
        with open(path, "wb") as f:
            f.write(data)
PY

demo="$root/build/demo"
game="$demo/Assetto Corsa"
rm -rf "$demo"
mkdir -p "$game/content"
printf 'MZ' >"$game/AssettoCorsa.exe"

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
server="$root/build/linux/server/tavrin-server"
cli="$root/build/linux/cli/tavrin-cli"
"$server" --root "$root/examples/content" --listen "127.0.0.1:$port" \
    --password "Club Pack=club" 2>"$demo/server.log" &
server_pid=$!
trap 'kill "$server_pid" 2>/dev/null; wait "$server_pid" 2>/dev/null || true' EXIT
for _ in $(seq 50); do
    curl -s "http://127.0.0.1:$port/list_projects" >/dev/null && break
    sleep 0.1
done
url="http://127.0.0.1:$port"
echo "== tavrin-server publishes examples/content on $url (log: build/demo/server.log)"
"$cli" --data-dir "$demo/data" projects --server "$url" --allow-http

sync() {
    "$cli" --data-dir "$demo/data" sync --server "$url" --allow-http --target "$game" \
        --project "Tavrin Showroom" --project "Nordic Tracks" --project "Club Pack" \
        --password "Club Pack=club"
}
echo
echo "== first sync into $game"
sync
echo
echo "== second sync: everything is in step"
sync
echo
echo "== the sample game folder now holds:"
(cd "$game" && find . -type f | sort)

if [ -n "${DISPLAY:-}" ]; then
    # The window gets the demo's server and game folder as its settings.
    cat >"$demo/data/Tavrin.ini" <<INI
[General]
http_lock_enabled=false
target_path=$game
selected_domains=$url
selected_projects=$url|Tavrin Showroom, $url|Nordic Tracks

[Domains]
count=1
domain_0_name=Demo server
domain_0_url=$url
INI
    echo "== starting the window on the demo's server and game folder (close it from its tray icon)"
    TAVRIN_DATA_DIR="$demo/data" "$root/build/linux/startup/tavrin" || true
else
    echo "(no display: start build/linux/startup/tavrin with TAVRIN_DATA_DIR=$demo/data to see the window)"
fi
