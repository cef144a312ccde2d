#!/usr/bin/env bash
# Every test of the project: style checks, the native suite, the sanitizer suite and the
# Windows build's suite under Wine, then one summary. Exits non-zero on any failure.
#
#   scripts/test.sh              everything
#   TAVRIN_SKIP_DEPS=1 ...       do not run scripts/install-deps.sh first
#   TAVRIN_SUITES="linux" ...    only the named suites (linux, asan, windows-cross)
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
suites=${TAVRIN_SUITES:-"linux asan windows-cross"}
jobs=${TAVRIN_JOBS:-2}

if [ "${TAVRIN_SKIP_DEPS:-0}" != 1 ]; then
    bash scripts/install-deps.sh || exit 1
fi

declare -a summary=()
status=0
total_passed=0
total_failed=0
total_skipped=0

step() { printf '\n== %s\n' "$*"; }

# Reads the JUnit report of a ctest run and adds its counts to the summary.
record() {
    local name=$1 report=$2 rc=$3
    local tests=0 failures=0 skipped=0
    if [ -f "$report" ]; then
        read -r tests failures skipped < <(python3 - "$report" <<'EOF'
import sys, xml.etree.ElementTree as ET
suite = ET.parse(sys.argv[1]).getroot()
print(suite.get("tests", "0"), suite.get("failures", "0"), suite.get("skipped", "0"))
EOF
)
    fi
    local passed=$((tests - failures - skipped))
    if [ "$rc" -ne 0 ] && [ "$failures" -eq 0 ]; then
        failures=1  # the build or the run itself failed
    fi
    summary+=("$(printf '%-14s %4d passed, %d failed, %d skipped' "$name:" "$passed" "$failures" "$skipped")")
    total_passed=$((total_passed + passed))
    total_failed=$((total_failed + failures))
    total_skipped=$((total_skipped + skipped))
    [ "$failures" -eq 0 ] || status=1
}

check_format() {
    step "format (clang-format)"
    local files
    mapfile -t files < <(git ls-files '*.cpp' '*.h')
    if ((${#files[@]})) && ! clang-format --dry-run --Werror "${files[@]}"; then
        echo "clang-format: the files above need formatting (clang-format -i)"
        summary+=("format:        failed")
        status=1
        total_failed=$((total_failed + 1))
    else
        summary+=("format:        clean")
    fi
}

check_tidy() {
    step "clang-tidy (engine)"
    local files
    # The engine's own sources, as its build lists them (the window's Qt files share folders).
    mapfile -t files < <(grep -E "^$root/(base|app|i18n|net|manifest|sync|discovery)/[^/]+\.cpp\$" \
        build/linux/tavrin_engine_sources.txt | grep -v '_win\.cpp$')
    # One file per process, two at a time: each file pulls in heavy headers.
    if ((${#files[@]})) && ! printf '%s\0' "${files[@]}" |
        xargs -0 -n 1 -P "$jobs" clang-tidy -p build/linux --quiet 2>/dev/null; then
        summary+=("clang-tidy:    failed")
        status=1
        total_failed=$((total_failed + 1))
    else
        summary+=("clang-tidy:    clean")
    fi
}

run_suite() {
    local preset=$1
    local extra=()
    # The Windows CLI is tested under Wine against the Linux build's server.
    if [ "$preset" = windows-cross ] && [ -x "$root/build/linux/server/tavrin-server" ]; then
        extra=(-DTAVRIN_NATIVE_SERVER="$root/build/linux/server/tavrin-server")
    fi
    step "build: $preset"
    if ! cmake --preset "$preset" "${extra[@]}" >"build-$preset.log" 2>&1 ||
        ! cmake --build --preset "$preset" -j "$jobs" >>"build-$preset.log" 2>&1; then
        tail -n 60 "build-$preset.log"
        record "$preset" /nonexistent 1
        return
    fi
    rm -f "build-$preset.log"
    step "test: $preset"
    local report="$root/build/$preset/junit.xml"
    rm -f "$report"
    local repeat=()
    # Wine's own client-server link can drop a start ("wine client error ... recvmsg"); such
    # a start is tried once more. A test that fails twice fails the suite.
    [ "$preset" = windows-cross ] && repeat=(--repeat until-pass:2)
    ctest --preset "$preset" -j "$jobs" "${repeat[@]}" --output-junit "$report" 2>&1 |
        grep -vE '^ +Start +[0-9]+:|Test +#[0-9]+: .* +Passed +'
    record "$preset" "$report" "${PIPESTATUS[0]}"
}

# The Windows suite runs under Wine in a throwaway prefix with a persistent wineserver that
# has been started once with its output detached; without that, Wine's helper processes keep
# ctest's pipes open and every test start crawls or hangs.
run_windows_suite() {
    export WINEPREFIX="$root/build/windows-cross/wineprefix"
    export WINEDEBUG=-all WINEARCH=win64
    export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
    # A wineserver left from an earlier run of this prefix would be reached by mistake.
    [ -d "$WINEPREFIX" ] && /usr/lib/wine/wineserver -k >/dev/null 2>&1 || true
    rm -rf "$WINEPREFIX"
    mkdir -p "$WINEPREFIX"
    step "wine: preparing a fresh prefix"
    /usr/lib/wine/wine64 cmd /c exit </dev/null >/dev/null 2>&1
    /usr/lib/wine/wineserver -p </dev/null >/dev/null 2>&1
    /usr/lib/wine/wine64 cmd /c exit </dev/null >/dev/null 2>&1
    run_suite windows-cross
    /usr/lib/wine/wineserver -k >/dev/null 2>&1 || true
}

started=$(date +%s)
check_format
for suite in $suites; do
    case "$suite" in
        windows-cross) run_windows_suite ;;
        *) run_suite "$suite" ;;
    esac
    if [ "$suite" = linux ]; then
        check_tidy
    fi
done

step "summary ($(($(date +%s) - started)) s)"
printf '%s\n' "${summary[@]}"
echo "all: $total_passed passed, $total_failed failed, $total_skipped skipped"
exit $status
