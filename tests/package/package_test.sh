#!/usr/bin/env bash
# The packages as a player or an operator gets them: builds the Debian package of the linux
# build and the zip of the windows-cross build, unpacks both into fresh folders and checks
# what is inside by running it and by Debian's own validators.
#
#   tests/package/package_test.sh REPORT.xml
#
# Needs build/linux (and build/windows-cross for the zip) built. Writes a JUnit report with
# one test case per check and exits non-zero when one fails.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
report=${1:?usage: package_test.sh REPORT.xml}
work=$(mktemp -d)
serverPid=""
cleanup() {
    [ -n "$serverPid" ] && kill "$serverPid" 2>/dev/null && wait "$serverPid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

declare -a results=()  # "name<TAB>passed|failed|skipped<TAB>message"
check() {
    local name=$1
    shift
    local output
    if output=$("$@" 2>&1); then
        printf 'ok       %s\n' "$name"
        results+=("$name"$'\t'passed$'\t')
    else
        printf 'FAILED   %s\n%s\n' "$name" "$output" | sed '2,$s/^/    /'
        results+=("$name"$'\t'failed$'\t'"$output")
    fi
}
skip() {
    printf 'skipped  %s: %s\n' "$1" "$2"
    results+=("$1"$'\t'skipped$'\t'"$2")
}
write_report() {
    printf '%s\0' "${results[@]}" | python3 -c '
import sys, xml.etree.ElementTree as ET
cases = [record.split("\t", 2) for record in sys.stdin.read().split("\0") if record]
suite = ET.Element("testsuite", name="package", tests=str(len(cases)),
                   failures=str(sum(c[1] == "failed" for c in cases)),
                   skipped=str(sum(c[1] == "skipped" for c in cases)))
for name, state, message in cases:
    case = ET.SubElement(suite, "testcase", name=name, classname="package")
    if state == "failed":
        ET.SubElement(case, "failure", message=message[:2000])
    elif state == "skipped":
        ET.SubElement(case, "skipped", message=message)
ET.ElementTree(suite).write(sys.argv[1], encoding="utf-8", xml_declaration=True)
' "$report"
}

version=$(sed -nE 's/^project\(Tavrin VERSION ([0-9.]+).*/\1/p' "$root/CMakeLists.txt")
linux="$root/build/linux"
deb="$linux/tavrin_${version}_amd64.deb"
fs="$work/root"

# --- The Debian package --------------------------------------------------------------------
build_deb() {
    rm -f "$deb"
    (cd "$linux" && cpack -G DEB) && [ -f "$deb" ]
}
check "cpack makes tavrin_${version}_amd64.deb" build_deb
if [ ! -f "$deb" ]; then
    write_report
    exit 1
fi
ls -l "$deb"
dpkg-deb -x "$deb" "$fs"

version_matches() {
    local expected=$1 program=$2
    shift 2
    local got
    got=$("$@") || return 1
    [ "$got" = "$program $expected" ] || { echo "got '$got', expected '$program $expected'"; return 1; }
}
check "package version is project(VERSION)" \
    test "$(dpkg-deb -f "$deb" Version)" = "$version"
check "installed tavrin-cli --version" version_matches "$version" tavrin-cli "$fs/usr/bin/tavrin-cli" --version
check "installed tavrin-server --version" \
    version_matches "$version" tavrin-server "$fs/usr/bin/tavrin-server" --version
check "dependencies come from dpkg-shlibdeps" bash -c \
    "dpkg-deb -f '$deb' Depends | grep -E 'libc6 \\(>= [0-9.]+\\).*libcurl4.*libqt6widgets6'"

lintian_clean() {
    # Errors fail; warnings are printed for the record.
    lintian --fail-on error "$deb" >/dev/null 2>&1
}
echo "lintian:"
lintian "$deb" 2>&1 | grep -v "running with root privileges" | sed 's/^/    /'
check "lintian shows no error" lintian_clean

check "desktop-file-validate" desktop-file-validate "$fs/usr/share/applications/tavrin.desktop"
check "appstreamcli validate --no-net" appstreamcli validate --no-net \
    "$fs/usr/share/metainfo/app.tavrin.Tavrin.metainfo.xml"
check "appstreamcli validate-tree --no-net (desktop entry, metainfo, icons)" \
    appstreamcli validate-tree --no-net "$fs"

icons_present() {
    local size missing=0
    for size in 16 32 48 64 128 256; do
        local icon="$fs/usr/share/icons/hicolor/${size}x${size}/apps/tavrin.png"
        [ "$(identify -format '%wx%h' "$icon" 2>/dev/null)" = "${size}x${size}" ] ||
            { echo "$icon is not ${size}x${size}"; missing=1; }
    done
    [ -f "$fs/usr/share/icons/hicolor/scalable/apps/tavrin.svg" ] || { echo "no scalable icon"; missing=1; }
    return $missing
}
check "icon in the hicolor theme at 16 to 256 px and scalable" icons_present

screenshots_are_ours() {
    # Every picture the metainfo names is one of docs/screenshots, at the size it states.
    python3 - "$fs/usr/share/metainfo/app.tavrin.Tavrin.metainfo.xml" "$root/docs/screenshots" <<'EOF'
import os, struct, sys, xml.etree.ElementTree as ET
images = ET.parse(sys.argv[1]).getroot().findall("./screenshots/screenshot/image")
assert images, "no screenshots"
for image in images:
    path = os.path.join(sys.argv[2], image.text.rsplit("/", 1)[1])
    with open(path, "rb") as png:
        width, height = struct.unpack(">II", png.read(24)[16:24])
    assert (width, height) == (int(image.get("width")), int(image.get("height"))), \
        f"{path}: {width}x{height}, metainfo says {image.get('width')}x{image.get('height')}"
EOF
}
check "metainfo screenshots are docs/screenshots at their sizes" screenshots_are_ours

man_clean() {
    local page warnings
    for page in tavrin tavrin-cli tavrin-server; do
        warnings=$(LC_ALL=C.UTF-8 man --warnings -l "$fs/usr/share/man/man1/$page.1.gz" 2>&1 >/dev/null)
        [ -z "$warnings" ] || { echo "$page.1: $warnings"; return 1; }
        lexgrog "$fs/usr/share/man/man1/$page.1.gz" | grep -q "$page - " ||
            { echo "$page.1: no NAME line"; return 1; }
    done
}
check "man pages render without warnings" man_clean

unit="$fs/usr/lib/systemd/system/tavrin-server.service"
unit_verifies() {
    # The unit as installed, its program taken from the unpacked package.
    mkdir -p "$work/unit"
    sed "s|/usr/bin/tavrin-server|$fs/usr/bin/tavrin-server|" "$unit" >"$work/unit/tavrin-server.service"
    local output
    output=$(MANPATH="$fs/usr/share/man" systemd-analyze verify "$work/unit/tavrin-server.service" 2>&1)
    local rc=$?
    echo "$output"
    [ $rc -eq 0 ] && [ -z "$output" ]
}
check "systemd-analyze verify tavrin-server.service" unit_verifies
hardened() {
    local setting
    for setting in DynamicUser=yes ProtectSystem=strict NoNewPrivileges=yes StateDirectory=tavrin-server \
        "EnvironmentFile=-/etc/default/tavrin-server"; do
        grep -qx "$setting" "$unit" || { echo "missing $setting"; return 1; }
    done
}
check "unit runs as a dynamic user, read-only but for its state" hardened
check "password file is private and a conffile" bash -c \
    "[ \"\$(stat -c %a '$fs/etc/tavrin-server/passwords')\" = 600 ] &&
     dpkg-deb -I '$deb' conffiles | grep -qx /etc/tavrin-server/passwords &&
     dpkg-deb -I '$deb' conffiles | grep -qx /etc/default/tavrin-server"

# --- The installed server, started as the unit starts it, and the installed CLI --------------
content="$work/srv tavrin"
mkdir -p "$content/Club Pack/content/cars/car one" "$content/Open Pack" "$work/credentials" "$work/state" "$work/game"
printf 'club data %s\n' {1..2000} >"$content/Club Pack/content/cars/car one/data.acd"
printf 'ini\n' >"$content/Club Pack/content/cars/car one/ui.ini"
printf 'open\n' >"$content/Open Pack/readme.txt"
{ cat "$fs/etc/tavrin-server/passwords"; echo "Club Pack=pit lane"; } >"$work/credentials/passwords"
chmod 600 "$work/credentials/passwords"

mapfile -t serverCommand < <(python3 "$root/tests/package/unit_command.py" "$unit" \
    "$fs/etc/default/tavrin-server" "d=$work/credentials" "S=$work/state" -- \
    "TAVRIN_ROOT=$content" TAVRIN_LISTEN=127.0.0.1:0 "TAVRIN_OPTIONS=--scan-interval 0.2")
echo "ExecStart: ${serverCommand[*]}"
no_password_on_the_command_line() {
    # Passwords come from the file systemd hands over, never as arguments that ps shows.
    local word previous="" found=0
    for word in "${serverCommand[@]}"; do
        [ "$word" = --password ] && return 1
        [ "$previous" = --password-file ] && [ "$word" = "$work/credentials/passwords" ] && found=1
        previous=$word
    done
    [ "$found" = 1 ]
}
check "ExecStart reads passwords from the credential, none on the command line" \
    no_password_on_the_command_line
serverCommand[0]="$fs${serverCommand[0]}"
"${serverCommand[@]}" 2>"$work/server.log" &
serverPid=$!
port=""
for _ in $(seq 100); do
    port=$(sed -nE 's/.* on 127\.0\.0\.1:([0-9]+)$/\1/p' "$work/server.log")
    [ -n "$port" ] && break
    sleep 0.1
done
check "installed tavrin-server starts from the unit's ExecStart" test -n "$port"
cli=("$fs/usr/bin/tavrin-cli" --data-dir "$work/data" --language en)
check "installed tavrin-cli lists the projects, the protected one marked" bash -c \
    "[ \"\$(\"\$@\" projects --server http://127.0.0.1:$port --allow-http)\" = \$'Club Pack\tpassword\nOpen Pack\topen' ]" \
    _ "${cli[@]}"
synced() {
    "${cli[@]}" sync --server "http://127.0.0.1:$port" --allow-http --target "$work/game" \
        --no-target-check --project "Club Pack" --project "Open Pack" \
        --password "Club Pack=pit lane" || return 1
    diff -r "$content/Club Pack/content" "$work/game/content" || return 1
    cmp "$content/Open Pack/readme.txt" "$work/game/readme.txt"
}
check "installed tavrin-cli syncs both projects from the installed server" synced
check "the server keeps its state in the state directory, not in the root" bash -c \
    "[ -f '$work/state/tavrin-server/state.json' ] && [ ! -e '$content/.tavrin-server' ]"
refuses_plain_http() {
    local message
    message=$("${cli[@]}" projects --server "http://127.0.0.1:$port" 2>&1) && return 1
    echo "$message"
    [[ "$message" == *"--allow-http"* ]]
}
check "installed tavrin-cli refuses plain http and names --allow-http" refuses_plain_http
kill "$serverPid" 2>/dev/null
wait "$serverPid" 2>/dev/null
serverPid=""

# --- The Windows zip -------------------------------------------------------------------------
windows="$root/build/windows-cross"
zip="$windows/tavrin-${version}-windows-x64.zip"
if [ ! -f "$windows/cli/tavrin-cli.exe" ]; then
    skip "Windows zip" "build/windows-cross has no tavrin-cli.exe (windows-cross suite not built)"
else
    build_zip() {
        rm -f "$zip"
        (cd "$windows" && cpack -G ZIP) && [ -f "$zip" ]
    }
    check "cpack makes tavrin-${version}-windows-x64.zip" build_zip
    unzip -q "$zip" -d "$work/windows"
    top="$work/windows/tavrin-${version}-windows-x64"
    ls -l "$zip"
    zip_contents() {
        local file
        for file in tavrin-cli.exe README.txt LICENSE.txt i18n/en.json i18n/de.json i18n/es.json \
            i18n/fr.json i18n/hu.json i18n/nl.json; do
            [ -f "$top/$file" ] || { echo "missing $file"; return 1; }
        done
        if [ -f "$windows/startup/Tavrin.exe" ] && [ ! -f "$top/Tavrin.exe" ]; then
            echo "the build has Tavrin.exe, the zip does not"
            return 1
        fi
        grep -q $'\r$' "$top/README.txt" || { echo "README.txt lacks Windows line ends"; return 1; }
    }
    check "zip holds tavrin-cli.exe, Tavrin.exe when built, the language packs and a README" zip_contents
    export WINEPREFIX="$windows/wineprefix-package"
    "$root/cmake/wine-prefix.sh" fresh >/dev/null 2>&1
    check "zip's tavrin-cli.exe --version under Wine" bash -c \
        "[ \"\$('$root/cmake/wine-run.sh' '$top/tavrin-cli.exe' --version | tr -d '\r')\" = 'tavrin-cli $version' ]"
    "$root/cmake/wine-prefix.sh" stop
    rm -rf "$WINEPREFIX"
fi

write_report
for result in "${results[@]}"; do
    [[ "$result" == *$'\t'failed$'\t'* ]] && exit 1
done
exit 0
