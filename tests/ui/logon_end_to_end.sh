#!/usr/bin/env bash
# A logon as a player has it (run inside with_tray_host.sh): Tavrin starts hidden in the tray
# with auto-sync on and two projects ticked while tavrin-server is not reachable yet; the
# server comes up 15 s later; a file then changes on it. Both projects must arrive by
# themselves, the change within 10 s, and Exit in the tray menu must end the program within
# 1 s while its watcher sits in a long poll.
#   logon_end_to_end.sh <tavrin> <tavrin-server>
set -euo pipefail
tavrin=$1
server_program=$2

work=$(mktemp -d)
pids=()
cleanup() {
    for pid in "${pids[@]}"; do kill -9 "$pid" 2>/dev/null || true; done
    rm -rf "$work"
}
trap cleanup EXIT
export TAVRIN_DATA_DIR=$work/data HOME=$work XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/share
mkdir -p "$TAVRIN_DATA_DIR"

fail() {
    echo "FAIL: $*" >&2
    echo "--- tavrin's output" >&2
    cat "$work/tavrin.log" >&2 || true
    echo "--- settings" >&2
    cat "$TAVRIN_DATA_DIR/Tavrin.ini" >&2 || true
    exit 1
}
now_ms() { date +%s%3N; }
source "$(dirname "${BASH_SOURCE[0]}")/display_helpers.sh"
file_is() { [ -f "$1" ] && [ "$(cat "$1")" = "$2" ]; }

# The game folder, and the served root with two projects.
game=$work/game
mkdir -p "$game/content"
printf 'MZ' >"$game/AssettoCorsa.exe"
root=$work/served
mkdir -p "$root/Cars/content/cars/gt" "$root/Tracks/content/tracks/fjord"
printf 'power=500\n' >"$root/Cars/content/cars/gt/data.ini"
printf 'length=5200\n' >"$root/Tracks/content/tracks/fjord/map.ini"

port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
url="http://127.0.0.1:$port"
cat >"$TAVRIN_DATA_DIR/Tavrin.ini" <<EOF
[General]
http_lock_enabled=false
target_path=$game
selected_domains=$url
selected_projects=$url|Cars,$url|Tracks
auto_sync_enabled=true
[Domains]
count=1
domain_0_name=Club
domain_0_url=$url
EOF

"$tavrin" --start-in-tray >>"$work/tavrin.log" 2>&1 &
tavrin_pid=$!
pids+=("$tavrin_pid")
started=$(now_ms)
sleep 15
kill -0 "$tavrin_pid" || fail "Tavrin ended while the server was unreachable"
[ ! -e "$game/content/cars/gt/data.ini" ] || fail "a file arrived before the server was up"

"$server_program" --root "$root" --listen "127.0.0.1:$port" >>"$work/server.log" 2>&1 &
pids+=($!)
up=$(now_ms)
echo "server started $(((up - started) / 1000)) s after Tavrin"
wait_for 60 file_is "$game/content/cars/gt/data.ini" "power=500" ||
    fail "the Cars project did not arrive within 60 s of the server's start"
wait_for 30 file_is "$game/content/tracks/fjord/map.ini" "length=5200" ||
    fail "the Tracks project did not arrive"
echo "both projects on disk $(($(now_ms) - up)) ms after the server's start"

sleep 3  # the sync has ended and the watcher waits in its long poll
printf 'power=540\n' >"$root/Cars/content/cars/gt/data.ini.new"
mv "$root/Cars/content/cars/gt/data.ini.new" "$root/Cars/content/cars/gt/data.ini"
changed=$(now_ms)
wait_for 10 file_is "$game/content/cars/gt/data.ini" "power=540" ||
    fail "the change did not reach the game folder within 10 s"
echo "change on disk $(($(now_ms) - changed)) ms after it was made on the server"
sleep 3

# Exit from the tray menu, timed to the process's end.
choose_tray_exit || fail "no tray icon, or a right click on it opened no menu"
exits_within 10 "$tavrin_pid" || fail "Exit did not end the program"
quit_ms=$(($(now_ms) - exit_clicked_ms))
wait "$tavrin_pid" && code=0 || code=$?
[ "$code" -eq 0 ] || fail "the program ended with $code"
echo "tray Exit during a long poll: the process ended after $quit_ms ms"
[ "$quit_ms" -lt 1000 ] || fail "quitting took $quit_ms ms"
grep -q 'revision=' "$TAVRIN_DATA_DIR/Tavrin.ini" || fail "no synced revision was stored"
echo "logon: passed"
