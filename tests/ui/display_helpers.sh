# Shared by the end-to-end scripts that drive the real program on an X display with a tray
# host: a sandbox for its folders, finding its windows and choosing Exit in its tray menu.
# Sourced, not run.

# A fresh folder `work` for the program's data, home and settings; every process listed in
# `pids` is killed and the folder removed when the script ends.
start_in_sandbox() {
    work=$(mktemp -d)
    pids=()
    trap 'for pid in "${pids[@]}"; do kill -9 "$pid" 2>/dev/null || true; done; rm -rf "$work"' EXIT
    export TAVRIN_DATA_DIR=$work/data HOME=$work XDG_CONFIG_HOME=$work/config \
        XDG_DATA_HOME=$work/share
    mkdir -p "$TAVRIN_DATA_DIR"
}

# The program's mapped windows, as "id x y width height". (xwininfo's map state: xdotool's
# own visibility filter stumbles over the toolkit's 1x1 helper window.)
tavrin_windows() {
    local id
    for id in $(xdotool search --class tavrin 2>/dev/null); do
        xwininfo -id "$id" 2>/dev/null | awk -v id="$id" '
            /Absolute upper-left X/ { x = $NF } /Absolute upper-left Y/ { y = $NF }
            /Width:/ { w = $NF } /Height:/ { h = $NF } /Map State:/ { m = $NF }
            END { if (m == "IsViewable" && w > 8) print id, x, y, w, h }'
    done
}
main_window_shown() { tavrin_windows | awk '$4 >= 500 { found = 1 } END { exit !found }'; }
tray_icon_window() { tavrin_windows | awk '$4 < 64 && $5 < 64 { print $1; exit }'; }

wait_for() {  # wait_for <seconds> <command...>
    local limit=$(($1 * 10)); shift
    for _ in $(seq "$limit"); do "$@" && return 0; sleep 0.1; done
    return 1
}
exits_within() {  # exits_within <seconds> <pid>: true when the process has ended
    wait_for "$1" bash -c "! kill -0 $2 2>/dev/null"
}

# Right-clicks the tray icon and clicks "Exit", the menu's last entry, noting the moment of
# that click in exit_clicked_ms; false when no menu opened.
choose_tray_exit() {
    local icon before menu="" mx my mh
    icon=$(tray_icon_window)
    [ -n "$icon" ] || return 1
    before=$(tavrin_windows | awk '{ print $1 }')
    xdotool mousemove --window "$icon" 8 8 click 3
    # The menu is the window that the right click mapped.
    for _ in $(seq 50); do
        menu=$(tavrin_windows | grep -vwF "$before" | head -n 1 || true)
        [ -n "$menu" ] && break
        sleep 0.1
    done
    [ -n "$menu" ] || return 1
    read -r _ mx my _ mh <<<"$menu"
    exit_clicked_ms=$(date +%s%3N)
    xdotool mousemove $((mx + 20)) $((my + mh - 12)) click 1
}
