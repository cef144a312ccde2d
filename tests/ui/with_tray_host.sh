#!/usr/bin/env bash
# Runs a command on a fresh Xvfb display with a system-tray host (trayer) on it, so that the
# tray's paths are exercised for real:  with_tray_host.sh <command> [args...]
# TAVRIN_NO_TRAY_HOST=1 leaves the tray host out (the no-tray paths on a real display).
set -euo pipefail

for display in $(seq 90 140); do
    [ -e "/tmp/.X11-unix/X$display" ] || [ -e "/tmp/.X$display-lock" ] || break
done
Xvfb ":$display" -screen 0 1280x800x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
trap 'kill $xvfb ${tray:-} 2>/dev/null || true' EXIT
for _ in $(seq 100); do
    [ -e "/tmp/.X11-unix/X$display" ] && break
    sleep 0.05
done
export DISPLAY=":$display"
unset QT_QPA_PLATFORM
if [ "${TAVRIN_NO_TRAY_HOST:-0}" != 1 ]; then
    trayer --edge top --align right --widthtype request --height 24 >/dev/null 2>&1 &
    tray=$!
    sleep 1  # until the tray host has claimed the tray selection
fi
"$@"
