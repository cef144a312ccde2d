#!/usr/bin/env bash
# tavrin-cli end to end against a real tavrin-server on 127.0.0.1.
#   cli_end_to_end.sh SERVER CLI [RUNNER]
# RUNNER runs the CLI (the Wine runner for the Windows build). Prints "N passed, N failed".
set -u
server=$1
cli=$2
runner=${3:-}
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
passed=0
failed=0
trap 'kill "$server_pid" 2>/dev/null; wait "$server_pid" 2>/dev/null; rm -rf "$work"' EXIT

check() {  # check NAME COMMAND...
    local name=$1
    shift
    if "$@"; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAILED: $name"
    fi
}
text() {  # the English text of a key, with %1 filled
    python3 -c 'import json,sys; t=json.load(open(sys.argv[1]))["strings"][sys.argv[2]]; print(t.replace("%1", sys.argv[3] if len(sys.argv)>3 else "%1"))' \
        "$source_dir/i18n/en.json" "$@"
}
run_cli() { ${runner:+"$runner"} "$cli" --data-dir "$work/data" --language en "$@"; }

mkdir -p "$work/root/alpha/content/cars/my car" "$work/root/beta" "$work/game/content"
printf 'car data' >"$work/root/alpha/content/cars/my car/data.acd"
head -c 300000 /dev/urandom >"$work/root/alpha/content/big.bin"
printf 'beta' >"$work/root/beta/b.ini"
printf 'MZ' >"$work/game/AssettoCorsa.exe"
printf 'mine' >"$work/game/content/mine.txt"

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
# The password comes from a private file, as an operator's service gives it: a file that others
# may read is refused before the server listens.
printf '# projects and their passwords\n\nbeta=pw\n' >"$work/passwords"
chmod 644 "$work/passwords"
"$server" --root "$work/root" --listen "127.0.0.1:$port" --password-file "$work/passwords" \
    >/dev/null 2>"$work/open-file.err"
check "a password file others can read is refused" [ $? -eq 2 ]
check "refusal names the mode" grep -qF "other users may read it (mode 0644); make it private with chmod 600" "$work/open-file.err"
chmod 600 "$work/passwords"
"$server" --root "$work/root" --listen "127.0.0.1:$port" --password-file "$work/passwords" \
    --scan-interval 0.3 2>"$work/server.log" &
server_pid=$!
for _ in $(seq 50); do
    curl -s "http://127.0.0.1:$port/list_projects" >/dev/null && break
    sleep 0.1
done
url="http://127.0.0.1:$port"

out=$(run_cli projects --server "$url" --allow-http | tr -d '\r')
check "projects lists names and password flags" [ "$out" = "$(printf 'alpha\topen\nbeta\tpassword')" ]

run_cli sync --server "$url" --allow-http --target "$work/game" --project alpha --project beta \
    --password beta=pw >"$work/sync.out" 2>"$work/sync.err"
check "sync exits 0" [ $? -eq 0 ]
check "nested file arrived" cmp -s "$work/root/alpha/content/cars/my car/data.acd" \
    "$work/game/content/cars/my car/data.acd"
check "large file arrived" cmp -s "$work/root/alpha/content/big.bin" "$work/game/content/big.bin"
check "protected project arrived" cmp -s "$work/root/beta/b.ini" "$work/game/b.ini"
check "unlisted file left alone" [ "$(cat "$work/game/content/mine.txt")" = "mine" ]
check "no temporary files left" [ -z "$(find "$work/game" -name '*.tavrin_tmp')" ]
check "log lines carry the time" grep -qE '^\[[0-9]{2}:[0-9]{2}:[0-9]{2}\] ' "$work/sync.out"
check "output to files is plain: one line per event, no progress line" python3 -c '
import re, sys
out, err = (open(name, "rb").read().replace(b"\r\n", b"\n") for name in sys.argv[1:3])
assert b"\r" not in out + err and b"\x1b" not in out + err, "terminal controls in a file"
for line in out.decode().splitlines():
    assert re.match(r"\[\d\d:\d\d:\d\d\] ", line), line' "$work/sync.out" "$work/sync.err"

run_cli sync --server "$url" --allow-http --target "$work/game" --project alpha --json \
    >"$work/json.out" 2>/dev/null
check "second sync is in step" python3 -c '
import json, sys
events = [json.loads(l) for l in open(sys.argv[1]) if l.strip()]
result = events[-1]
assert result["event"] == "result" and result["ok"] and result["files_downloaded"] == 0, result
assert result["files_up_to_date"] == 2, result
assert any(e["event"] == "progress" for e in events)' "$work/json.out"
check "second file list came from the cache" grep -q '"GET /file_list/alpha" 304' "$work/server.log"

run_cli sync --server "$url" --target "$work/game" --project alpha >/dev/null 2>"$work/lock.err"
check "plain http refused without --allow-http" [ $? -eq 1 ]
check "lock message names --allow-http" grep -qF "$(text error.http_requires_allow_http)" "$work/lock.err"
check "lock message does not send the user to the window's settings" \
    bash -c "! grep -qF '$(text dialog.http_lock_checkbox)' '$work/lock.err'"

run_cli sync --server "$url" --allow-http --target "$work/game" --project beta \
    </dev/null >/dev/null 2>"$work/pw.err"
check "missing password fails" [ $? -eq 1 ]
check "password message" grep -qF "$(text error.project_password_required beta)" "$work/pw.err"

mkdir -p "$work/notgame"
run_cli sync --server "$url" --allow-http --target "$work/notgame" --project alpha \
    >/dev/null 2>"$work/target.err"
check "non-game folder refused" [ $? -eq 1 ]
check "target message" grep -qF "$(text error.invalid_target_folder)" "$work/target.err"
run_cli sync --server "$url" --allow-http --target "$work/notgame" --project alpha \
    --no-target-check >/dev/null 2>&1
check "--no-target-check syncs anyway" [ -f "$work/notgame/content/big.bin" ]

run_cli sync --server "$url" >/dev/null 2>"$work/usage.err"
check "usage error exits 2" [ $? -eq 2 ]
check "usage is printed" grep -q 'Usage: tavrin-cli' "$work/usage.err"

# --limit-rate: a bad value is a usage error naming the option; a limit holds the download of
# the 300,000-byte file (and the rest of the project) to about 1.5 s at 200K.
mkdir -p "$work/limited"
run_cli sync --server "$url" --allow-http --target "$work/limited" --project alpha \
    --no-target-check --limit-rate 5KB >/dev/null 2>"$work/rate.err"
check "a bad --limit-rate exits 2" [ $? -eq 2 ]
check "the refusal names --limit-rate" grep -qF -- "--limit-rate takes a rate" "$work/rate.err"
started=$(date +%s%N)
run_cli sync --server "$url" --allow-http --target "$work/limited" --project alpha \
    --no-target-check --limit-rate 200K >/dev/null 2>&1
status=$?
elapsed_ms=$(( ($(date +%s%N) - started) / 1000000 ))
check "a limited sync exits 0" [ $status -eq 0 ]
check "the limited file arrived whole" cmp -s "$work/root/alpha/content/big.bin" \
    "$work/limited/content/big.bin"
check "200K held the download to at least 1.3 s (took ${elapsed_ms} ms)" [ "$elapsed_ms" -ge 1300 ]

# Files the server stops listing: the next sync reports them (a --json event), keeps them, and
# `dropped` lists them.
mkdir -p "$work/root/gamma/content/old" "$work/dropgame/content"
printf 'MZ' >"$work/dropgame/AssettoCorsa.exe"
for name in stays first second; do printf '%s' "$name" >"$work/root/gamma/content/old/$name.ini"; done
for _ in $(seq 50); do
    [ "$(curl -s "$url/file_list/gamma" | python3 -c 'import json,sys; print(len(json.load(sys.stdin)))' 2>/dev/null)" = 3 ] && break
    sleep 0.1
done
run_cli sync --server "$url" --allow-http --target "$work/dropgame" --project gamma >/dev/null 2>&1
check "the first sync of gamma exits 0" [ $? -eq 0 ]
rm "$work/root/gamma/content/old/first.ini" "$work/root/gamma/content/old/second.ini"
for _ in $(seq 50); do
    [ "$(curl -s "$url/file_list/gamma" | python3 -c 'import json,sys; print(len(json.load(sys.stdin)))' 2>/dev/null)" = 1 ] && break
    sleep 0.1
done
run_cli sync --server "$url" --allow-http --target "$work/dropgame" --project gamma --json \
    >"$work/dropped.json" 2>/dev/null
check "a sync after the server dropped two files exits 0" [ $? -eq 0 ]
check "the dropped files are one --json event" python3 -c '
import json, sys
events = [json.loads(l) for l in open(sys.argv[1]) if l.strip()]
dropped = [e for e in events if e["event"] == "dropped"]
assert dropped == [{"event": "dropped", "project": "gamma", "count": 2,
                    "files": ["content/old/first.ini", "content/old/second.ini"]}], dropped' \
    "$work/dropped.json"
check "the log names how many" grep -qF "$(text log.dropped_files gamma | sed 's/%2/2/')" "$work/dropped.json"
check "both dropped files are still on disk" [ "$(cat "$work/dropgame/content/old/first.ini" "$work/dropgame/content/old/second.ini")" = firstsecond ]
out=$(run_cli dropped --server "$url" --allow-http --target "$work/dropgame" --project gamma | tr -d '\r')
check "dropped lists them, one a line" [ "$out" = "$(printf 'content/old/first.ini\ncontent/old/second.ini')" ]

# A run that cannot fit on the game folder's volume (a 1 MiB tmpfs, where the suite may mount
# one) stops before the first byte and exits 1 with the folder, the space needed and free.
mkdir -p "$work/small"
if [ -z "$runner" ] && mount -t tmpfs -o size=1m tmpfs "$work/small" 2>/dev/null; then
    mkdir -p "$work/small/game/content" "$work/root/heavy/content"
    printf 'MZ' >"$work/small/game/AssettoCorsa.exe"
    head -c 1500000 /dev/urandom >"$work/root/heavy/content/track.kn5"
    for _ in $(seq 50); do
        curl -s "$url/file_list/heavy" | grep -q track.kn5 && break
        sleep 0.1
    done
    run_cli sync --server "$url" --allow-http --target "$work/small/game" --project heavy \
        >/dev/null 2>"$work/space.err"
    status=$?
    check "a sync that cannot fit exits 1" [ $status -eq 1 ]
    check "and says how much space it needs" grep -qF "Not enough free space in $work/small/game: this sync needs" "$work/space.err"
    check "and wrote nothing" [ "$(find "$work/small/game" -type f | wc -l)" = 1 ]
    umount "$work/small"
else
    echo "skipped the free-space check: no tmpfs could be mounted here"
fi

if [ -z "$runner" ]; then
    # The live progress line in a real terminal fits its width, 40 columns and after a resize.
    mkdir -p "$work/root/many" "$work/many"
    python3 -c '
import os, sys
for i in range(4000):
    folder = os.path.join(sys.argv[1], "content", "part%02d" % (i % 40))
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "file%05d.ini" % i), "w") as f:
        f.write("value=%d\n" % i * 8)' "$work/root/many"
    # The server sees the files as they are written: wait until its list has all of them.
    for _ in $(seq 100); do
        curl -s "$url/file_list/many" | python3 -c '
import json, sys
sys.exit(0 if len(json.load(sys.stdin)) == 4000 else 1)' 2>/dev/null && break
        sleep 0.2
    done
    check "progress line fits a 40-column terminal and follows a resize" python3 \
        "$source_dir/tests/cli/progress_in_terminal.py" "$cli" "$work/data" "$url" "$work/many" many

    # watch: an initial sync, then a change on the server is synced by itself; SIGINT ends it.
    "$cli" --data-dir "$work/data" --language en watch --server "$url" --allow-http \
        --target "$work/game" --project alpha --wait 2 >"$work/watch.out" 2>&1 &
    watch_pid=$!
    sleep 1.5
    printf 'fresh' >"$work/root/alpha/content/fresh.txt"
    for _ in $(seq 60); do
        [ -f "$work/game/content/fresh.txt" ] && break
        sleep 0.1
    done
    check "watch synced the change" [ "$(cat "$work/game/content/fresh.txt" 2>/dev/null)" = fresh ]
    kill -INT "$watch_pid"
    wait "$watch_pid"
    check "watch ends with 130 on SIGINT" [ $? -eq 130 ]
    check "watch kept the revision" grep -q 'revision=' "$work/data/Tavrin.ini"

    # The game running: a copy of a program started from inside the game folder. sync warns and
    # goes on; watch waits until the game is closed, then syncs what changed meanwhile.
    mkdir -p "$work/game/bin"
    cp "$(command -v sleep)" "$work/game/bin/acs"
    "$work/game/bin/acs" 120 &
    game_pid=$!
    run_cli sync --server "$url" --allow-http --target "$work/game" --project alpha --json \
        >"$work/game.json" 2>/dev/null
    check "a sync while the game runs exits 0" [ $? -eq 0 ]
    check "and warns with an event of its own" python3 -c '
import json, sys
events = [json.loads(l) for l in open(sys.argv[1]) if l.strip()]
assert [e["message"] for e in events if e["event"] == "game_running"] == [sys.argv[2]], events' \
        "$work/game.json" "$(text log.game_running_sync_anyway)"
    "$cli" --data-dir "$work/data" --language en watch --server "$url" --allow-http \
        --target "$work/game" --project alpha --wait 2 >"$work/watch-game.out" 2>&1 &
    watch_pid=$!
    sleep 1
    printf 'during the race' >"$work/root/alpha/content/during.txt"
    sleep 4
    check "watch syncs nothing while the game runs" [ ! -e "$work/game/content/during.txt" ]
    check "watch says once that it waits for the game" \
        [ "$(grep -cF "$(text log.auto_sync_waiting_for_game)" "$work/watch-game.out")" = 1 ]
    kill "$game_pid"
    wait "$game_pid" 2>/dev/null
    closed=$(date +%s%N)
    for _ in $(seq 150); do
        [ -f "$work/game/content/during.txt" ] && break
        sleep 0.1
    done
    after_ms=$(( ($(date +%s%N) - closed) / 1000000 ))
    echo "watch: the change arrived ${after_ms} ms after the game was closed"
    check "watch synced the change ${after_ms} ms after the game was closed (at most 10 s)" \
        [ "$(cat "$work/game/content/during.txt" 2>/dev/null)" = "during the race" ]
    kill -INT "$watch_pid"
    wait "$watch_pid"
fi

echo "cli end to end: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
