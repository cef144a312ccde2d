#!/bin/sh
# Runs a Windows program of the cross build under Wine. scripts/test.sh sets WINEPREFIX to a
# throwaway prefix and primes the wineserver; run by hand, a prefix under ~/.cache is used.
: "${WINEPREFIX:=${HOME:-/tmp}/.cache/tavrin-wine}"
export WINEPREFIX
export WINEDEBUG="${WINEDEBUG:--all}"
export WINEARCH=win64
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
exec /usr/lib/wine/wine64 "$@"
