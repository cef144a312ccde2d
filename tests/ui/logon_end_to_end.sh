#!/usr/bin/env bash
# A logon as a player has it (run inside with_tray_host.sh): Tavrin starts hidden in the tray
# with auto-sync on and two projects ticked while tavrin-server is not reachable yet; the
# server comes up 15 s later; a file then changes on it. Both projects must arrive by
# themselves, the change within 10 s, and Exit in the tray menu must end the program within
# 1 s: while its watcher sits in a long poll, then (started again) during a download served
# slowly, and during a project-list load that a server never answers.
#   logon_end_to_end.sh <tavrin> <tavrin-server>
set -euo pipefail
tavrin=$1
server_program=$2

source "$(dirname "${BASH_SOURCE[0]}")/display_helpers.sh"
start_in_sandbox  # $work, $pids, and the program's folders under $work

fail() {
    echo "FAIL: $*" >&2
    echo "--- tavrin's output" >&2
    cat "$work/tavrin.log" >&2 || true
    echo "--- settings" >&2
    cat "$TAVRIN_DATA_DIR/Tavrin.ini" >&2 || true
    exit 1
}
now_ms() { date +%s%3N; }
file_is() { [ -f "$1" ] && [ "$(cat "$1")" = "$2" ]; }

# The game folder, and the served root with two projects.
game=$work/game
mkdir -p "$game/content"
printf 'MZ' >"$game/AssettoCorsa.exe"
root=$work/served
mkdir -p "$root/Cars/content/cars/gt" "$root/Tracks/content/tracks/fjord"
printf 'power=500\n' >"$root/Cars/content/cars/gt/data.ini"
printf 'length=5200\n' >"$root/Tracks/content/tracks/fjord/map.ini"

free_port() {
    python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}
port=$(free_port)
url="http://127.0.0.1:$port"
write_settings() {  # write_settings <server url>
    cat >"$TAVRIN_DATA_DIR/Tavrin.ini" <<EOF
[General]
http_lock_enabled=false
target_path=$game
selected_domains=$1
selected_projects=$1|Cars,$1|Tracks
auto_sync_enabled=true
[Domains]
count=1
domain_0_name=Club
domain_0_url=$1
EOF
}
write_settings "$url"

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
timed_exit() {  # timed_exit <pid> <state>
    choose_tray_exit || fail "no tray icon, or a right click on it opened no menu ($2)"
    exits_within 10 "$1" || fail "Exit did not end the program ($2)"
    local quit_ms=$(($(now_ms) - exit_clicked_ms)) code
    wait "$1" && code=0 || code=$?
    [ "$code" -eq 0 ] || fail "the program ended with $code ($2)"
    echo "tray Exit $2: the process ended after $quit_ms ms"
    [ "$quit_ms" -lt 1000 ] || fail "quitting $2 took $quit_ms ms"
}
timed_exit "$tavrin_pid" "during a long poll"
grep -q 'revision=' "$TAVRIN_DATA_DIR/Tavrin.ini" || fail "no synced revision was stored"

start_tavrin() {
    "$tavrin" --start-in-tray >>"$work/tavrin.log" 2>&1 &
    tavrin_pid=$!
    pids+=("$tavrin_pid")
    wait_for 10 tray_icon_window >/dev/null || fail "no tray icon appeared"
}
listening() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# A large new file, served at 1 MB/s through a relay: Exit while it downloads.
head -c 40000000 /dev/urandom >"$root/Cars/content/cars/gt/big.bin"
slow_port=$(free_port)
python3 "$(dirname "${BASH_SOURCE[0]}")/../../scripts/slow-proxy.py" "$slow_port" "$url" 1000000 \
    >>"$work/proxy.log" 2>&1 &
pids+=($!)
wait_for 10 listening "$slow_port" || fail "the relay did not start"
write_settings "http://127.0.0.1:$slow_port"
start_tavrin
partial() { compgen -G "$game/content/cars/gt/*.tavrin_tmp" >/dev/null; }
wait_for 60 partial || fail "the download of big.bin did not start"
sleep 1
timed_exit "$tavrin_pid" "during a download"
[ ! -e "$game/content/cars/gt/big.bin" ] || fail "a cut download left big.bin in place"
! partial || fail "a cut download left its temporary file"
file_is "$game/content/cars/gt/data.ini" "power=540" || fail "a file synced before was damaged"

# A server that accepts and never answers: Exit while the project list loads.
silent_port=$(free_port)
python3 -c '
import socket, sys
s = socket.socket()
s.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
s.bind(("127.0.0.1", int(sys.argv[1])))
s.listen(16)
held = []
while True:
    held.append(s.accept())
' "$silent_port" &
pids+=($!)
wait_for 10 listening "$silent_port" || fail "the silent server did not start"
write_settings "http://127.0.0.1:$silent_port"
start_tavrin
sleep 2
timed_exit "$tavrin_pid" "during a project-list load"
echo "logon: passed"
