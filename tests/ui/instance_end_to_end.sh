#!/usr/bin/env bash
# Two real starts of the program on one X display (run inside with_tray_host.sh):
#   instance_end_to_end.sh <tavrin> tray     hidden start, wake-up by a second start, exit
#                                            through the tray menu, a crashed instance's
#                                            socket taken over
#   instance_end_to_end.sh <tavrin> no-tray  a hidden start without a tray shows the window
set -euo pipefail
tavrin=$1
mode=$2

source "$(dirname "${BASH_SOURCE[0]}")/display_helpers.sh"
start_in_sandbox  # $work, $pids, and the program's folders under $work

fail() { echo "FAIL: $*" >&2; exit 1; }

start() {
    "$tavrin" "$@" >>"$work/tavrin.log" 2>&1 &
    pids+=($!)
    last=$!
}

if [ "$mode" = no-tray ]; then
    start --start-in-tray
    wait_for 10 main_window_shown || fail "a hidden start without a tray must show the window"
    echo "no tray: the window was shown"
    exit 0
fi

start --start-in-tray --minimized-to-tray
first=$last
wait_for 10 tray_icon_window >/dev/null || fail "no tray icon appeared"
sleep 1
main_window_shown && fail "the window must stay hidden in the tray"
echo "hidden start: only the tray icon is shown"

start --start-in-tray
second=$last
exits_within 10 "$second" || fail "the second start did not end"
wait "$second" && code=0 || code=$?
[ "$code" -eq 0 ] || fail "the second start ended with $code"
wait_for 10 main_window_shown || fail "the second start did not bring the first one forward"
kill -0 "$first" || fail "the first instance ended"
echo "second start: exit code 0, first window shown"

choose_tray_exit || fail "a right click on the tray icon opened no menu"
exits_within 10 "$first" || fail "Exit in the tray menu did not end the program"
wait "$first" && code=0 || code=$?
[ "$code" -eq 0 ] || fail "the program ended with $code after Exit"
grep -q '^selected_domains=' "$TAVRIN_DATA_DIR/Tavrin.ini" || fail "the settings were not written on exit"
echo "tray menu exit: the program ended with 0 and wrote its settings"

start
crashed=$last
wait_for 10 main_window_shown || fail "the window of a normal start was not shown"
kill -9 "$crashed"
wait "$crashed" 2>/dev/null || true
start
taker=$last
sleep 2
kill -0 "$taker" 2>/dev/null || fail "a start after a crash did not take the instance over"
start
exits_within 10 "$last" || fail "a start beside the new first instance did not end"
echo "crash: the stale socket was taken over"
