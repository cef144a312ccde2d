#!/bin/sh
# Prepares or stops the Wine prefix named by WINEPREFIX for a run of the Windows build:
#   wine-prefix.sh fresh   a new, empty prefix with a persistent wineserver that was started
#                          with its output detached (else Wine's helper processes keep the
#                          caller's pipes open and every program start crawls or hangs)
#   wine-prefix.sh stop    ends that wineserver
#   wine-prefix.sh restart the same prefix on a new persistent wineserver
# Run "fresh" on the X display the programs will use: Wine's desktop process binds to it.
set -eu
: "${WINEPREFIX:?set WINEPREFIX}"
export WINEDEBUG="${WINEDEBUG:--all}" WINEARCH=win64
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
case "${1:-}" in
fresh)
    # A wineserver left from an earlier run of this prefix would be reached by mistake.
    if [ -d "$WINEPREFIX" ]; then /usr/lib/wine/wineserver -k >/dev/null 2>&1 || true; fi
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    # The first start creates the prefix and a wineserver; -p then keeps one running (it
    # reports failure when it finds that server, which is fine).
    /usr/lib/wine/wine64 cmd /c exit </dev/null >/dev/null 2>&1 || true
    /usr/lib/wine/wineserver -p </dev/null >/dev/null 2>&1 || true
    /usr/lib/wine/wine64 cmd /c exit </dev/null >/dev/null 2>&1 || true
    # Qt Test writes to the debugger instead of stdout when no console is attached, and Wine
    # passes no QT_ variable from the Unix environment: set it in the prefix's own.
    /usr/lib/wine/wine64 reg add 'HKCU\Environment' /v QT_FORCE_STDERR_LOGGING /t REG_SZ \
        /d 1 /f </dev/null >/dev/null 2>&1
    ;;
stop)
    /usr/lib/wine/wineserver -k >/dev/null 2>&1 || true
    ;;
restart)
    # The same prefix on a new persistent wineserver, once the old one has gone.
    /usr/lib/wine/wineserver -k >/dev/null 2>&1 || true
    /usr/lib/wine/wineserver -w >/dev/null 2>&1 || true
    /usr/lib/wine/wine64 cmd /c exit </dev/null >/dev/null 2>&1 || true
    /usr/lib/wine/wineserver -p </dev/null >/dev/null 2>&1 || true
    ;;
*)
    echo "usage: wine-prefix.sh fresh|stop|restart" >&2
    exit 2
    ;;
esac
