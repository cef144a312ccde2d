#!/usr/bin/env bash
# Every test of the project: style checks, the native suite, the sanitizer suite and the
# Windows build's suite under Wine, then one summary. Exits non-zero on any failure.
#
#   scripts/test.sh              everything
#   TAVRIN_SKIP_DEPS=1 ...       do not run scripts/install-deps.sh first
#   TAVRIN_SUITES="linux" ...    only the named suites (linux, asan, windows-cross,
#                                windows-gui, package)
# windows-gui builds the Windows Qt first when its cache lacks it (about 20 minutes, once per
# machine), then runs the window's tests of the Windows build under Wine on Xvfb.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
suites=${TAVRIN_SUITES:-"linux asan windows-cross windows-gui package"}
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

build_preset() {
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
        return 1
    fi
    grep -E "^-- The window .* left out" "build-$preset.log" || true
    rm -f "build-$preset.log"
}

# Runs one test preset and records it under `name`.
test_preset() {
    local name=$1 preset=$2 build=$3
    step "test: $name"
    local report="$root/build/$build/junit-$name.xml"
    rm -f "$report"
    local repeat=()
    # Wine's own client-server link can drop a start ("wine client error ... recvmsg"); such
    # a start is tried once more. A test that fails twice fails the suite.
    [ "$build" = windows-cross ] && repeat=(--repeat until-pass:2)
    local log="$root/build/$build/ctest-$name.log"
    ctest --preset "$preset" -j "$jobs" "${repeat[@]}" --output-junit "$report" 2>&1 |
        tee "$log" | grep -vE '^ +Start +[0-9]+:|Test +#[0-9]+: .* +Passed +'
    local rc=${PIPESTATUS[0]}
    # When Wine's server itself went down, the retry right after can meet it still going
    # ("a wine server seems to be running, but I cannot connect to it"): the failed tests run
    # once more on a new server, and only their second outcome counts.
    if [ "$rc" -ne 0 ] && [ "$build" = windows-cross ] && [ -n "${WINEPREFIX:-}" ] &&
        grep -qE 'wine client error|cannot connect to it' "$log"; then
        step "test: $name, the failed tests again on a new Wine server"
        cmake/wine-prefix.sh restart
        local again="$root/build/$build/junit-$name-again.xml"
        ctest --preset "$preset" --rerun-failed --output-junit "$again" 2>&1 |
            grep -vE '^ +Start +[0-9]+:|Test +#[0-9]+: .* +Passed +'
        rc=${PIPESTATUS[0]}
        python3 - "$report" "$again" <<'EOF'
import sys, xml.etree.ElementTree as ET
first, again = (ET.parse(path) for path in sys.argv[1:3])
suite = first.getroot()
suite.set("failures", again.getroot().get("failures", "0"))
first.write(sys.argv[1])
EOF
    fi
    record "$name" "$report" "$rc"
}

run_suite() {
    local preset=$1
    if ! build_preset "$preset"; then
        record "$preset" /nonexistent 1
        return
    fi
    test_preset "$preset" "$preset" "$preset"
}

# The Windows Qt that Tavrin.exe and the window's Windows tests are built with.
windows_qt_ready=0
ensure_windows_qt() {
    [ "$windows_qt_ready" = 1 ] && return 0
    step "Qt for Windows (scripts/build-qt-windows.sh)"
    if bash scripts/build-qt-windows.sh; then
        windows_qt_ready=1
        return 0
    fi
    return 1
}

# The Windows suite runs under Wine in a throwaway prefix (cmake/wine-prefix.sh).
run_windows_suite() {
    export WINEPREFIX="$root/build/windows-cross/wineprefix"
    step "wine: preparing a fresh prefix"
    cmake/wine-prefix.sh fresh
    run_suite windows-cross
    cmake/wine-prefix.sh stop
}

# The window's tests of the Windows build: Qt Test programs and two real starts of
# Tavrin.exe, under Wine on an Xvfb display with a tray host, in a prefix of their own.
run_windows_gui_suite() {
    if ! ensure_windows_qt; then
        record windows-gui /nonexistent 1
        return
    fi
    if [ ! -f build/windows-cross/CMakeCache.txt ] ||
        ! grep -q "^Qt6_DIR:.*mingw-static" build/windows-cross/CMakeCache.txt ||
        [ ! -f build/windows-cross/startup/Tavrin.exe ]; then
        if ! build_preset windows-cross; then
            record windows-gui /nonexistent 1
            return
        fi
    fi
    if [ ! -f build/windows-cross/startup/Tavrin.exe ]; then
        echo "windows-gui: the Windows build has no Tavrin.exe (see the configure log)"
        record windows-gui /nonexistent 1
        return
    fi
    export WINEPREFIX="$root/build/windows-cross/wineprefix-gui"
    local report="$root/build/windows-cross/junit-windows-gui.xml"
    rm -f "$report"
    step "test: windows-gui (Wine on Xvfb with a tray host)"
    tests/ui/with_tray_host.sh bash -c '
        cmake/wine-prefix.sh fresh
        ctest --preset windows-gui -j "$1" --repeat until-pass:2 --output-junit "$2" 2>&1 |
            grep -vE "^ +Start +[0-9]+:|Test +#[0-9]+: .* +Passed +"
        rc=${PIPESTATUS[0]}
        cmake/wine-prefix.sh stop
        exit "$rc"
    ' windows-gui "$jobs" "$report"
    record windows-gui "$report" $?
}

# The packages, installed into fresh folders: tests/package/package_test.sh.
run_package_suite() {
    if [ ! -x build/linux/cli/tavrin-cli ] && ! build_preset linux; then
        record package /nonexistent 1
        return
    fi
    local report="$root/build/junit-package.xml"
    rm -f "$report"
    step "test: package (the .deb and the Windows zip)"
    bash tests/package/package_test.sh "$report"
    record package "$report" $?
}

started=$(date +%s)
check_format
for suite in $suites; do
    case "$suite" in
        windows-cross)
            # With the Windows Qt in place first, this build includes Tavrin.exe.
            if [[ " $suites " == *" windows-gui "* ]]; then
                ensure_windows_qt || true
            fi
            run_windows_suite
            ;;
        windows-gui) run_windows_gui_suite ;;
        package) run_package_suite ;;
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
