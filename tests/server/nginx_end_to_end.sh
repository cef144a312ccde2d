#!/usr/bin/env bash
# nginx in front of tavrin-server on 127.0.0.1, configured from docs/nginx-tavrin.conf: nginx
# serves the published tree, tavrin-server the change feed, and tavrin-cli syncs and watches
# through nginx alone.
#   nginx_end_to_end.sh SERVER CLI
# Prints "N passed, N failed"; exits 77 (skipped) when nginx is not installed.
set -u
server=$1
cli=$2
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
nginx=$(command -v nginx || echo /usr/sbin/nginx)
if [ ! -x "$nginx" ]; then
    echo "SKIPPED: nginx is not installed (scripts/install-deps.sh installs nginx-light)"
    exit 77
fi
work=$(mktemp -d)
passed=0
failed=0
server_pid=""
nginx_pid=""
watch_pid=""
cleanup() {
    for pid in $watch_pid $nginx_pid $server_pid; do
        kill "$pid" 2>/dev/null
        wait "$pid" 2>/dev/null
    done
    rm -rf "$work"
}
trap cleanup EXIT

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
free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
wait_for() {  # wait_for SECONDS COMMAND...: true once COMMAND succeeds
    local deadline=$((SECONDS + $1))
    shift
    until "$@"; do
        [ "$SECONDS" -ge "$deadline" ] && return 1
        sleep 0.1
    done
}
status_of() { curl -s -o /dev/null -w '%{http_code}' "$@"; }
run_cli() { "$cli" --data-dir "$work/data" --language en "$@"; }

mkdir -p "$work/root/alpha/content/cars/my car" "$work/root/beta" "$work/game/content" "$work/tmp"
printf 'car data' >"$work/root/alpha/content/cars/my car/data.acd"
head -c 300000 /dev/urandom >"$work/root/alpha/content/big.bin"
printf 'beta' >"$work/root/beta/b.ini"
printf 'MZ' >"$work/game/AssettoCorsa.exe"

# The one-shot form first: the same tree, written once.
"$server" publish --root "$work/root" --out "$work/once" --state-dir "$work/once-state" \
    --password beta=pw 2>"$work/publish.err"
check "publish exits 0" [ $? -eq 0 ]
check "publish says what it wrote" grep -qF "published 2 projects and 3 files to $work/once (3 linked, 0 copied, 0 removed)" "$work/publish.err"
check "published files are links to the root's" [ "$(stat -c %i "$work/once/download_file/alpha/content/big.bin")" = "$(stat -c %i "$work/root/alpha/content/big.bin")" ]
"$server" publish --root "$work/root" --out "$work/root/alpha/public" 2>"$work/inside.err"
check "a tree inside the root is refused" [ $? -eq 2 ]
check "and nothing is written there" [ ! -e "$work/root/alpha/public" ]

feed_port=$(free_port)
port=$(free_port)
"$server" --root "$work/root" --listen "127.0.0.1:$feed_port" --publish "$work/public" \
    --state-dir "$work/state" --password beta=pw 2>"$work/server.log" &
server_pid=$!
check "the feed server starts" wait_for 10 curl -sf -o /dev/null "http://127.0.0.1:$feed_port/list_projects"

# The shipped configuration, with this test's ports, folder and one protected project.
sed -e "s|server 127.0.0.1:8080;|server 127.0.0.1:$feed_port;|" \
    -e "s|listen 80;|listen 127.0.0.1:$port;|" \
    -e 's|# "private-pack/the password" 0;|"beta/pw" 0;|' \
    -e 's|# "~^private-pack/"           1;|"~^beta/" 1;|' \
    -e "s|root /var/www/tavrin;|root $work/public;|" \
    "$source_dir/docs/nginx-tavrin.conf" >"$work/tavrin.conf"
check "the configuration was filled in" grep -q '"beta/pw" 0;' "$work/tavrin.conf"
cat >"$work/nginx.conf" <<CONF
daemon off;
worker_processes 1;
$( [ "$(id -u)" = 0 ] && echo "user root;" )
pid $work/nginx.pid;
error_log $work/nginx-error.log;
events { worker_connections 1024; }
http {
    access_log $work/nginx-access.log;
    client_body_temp_path $work/tmp/body;
    proxy_temp_path $work/tmp/proxy;
    fastcgi_temp_path $work/tmp/fastcgi;
    uwsgi_temp_path $work/tmp/uwsgi;
    scgi_temp_path $work/tmp/scgi;
    include $work/tavrin.conf;
}
CONF
"$nginx" -t -p "$work" -c "$work/nginx.conf" >"$work/nginx-test.log" 2>&1
check "nginx accepts the configuration" [ $? -eq 0 ] || cat "$work/nginx-test.log"
"$nginx" -p "$work" -c "$work/nginx.conf" &
nginx_pid=$!
url="http://127.0.0.1:$port"
check "nginx starts" wait_for 10 curl -sf -o /dev/null "$url/list_projects"

check "project lists are the server's" [ "$(curl -s "$url/list_projects_meta")" = "$(curl -s "http://127.0.0.1:$feed_port/list_projects_meta")" ]
check "a file list is the server's" [ "$(curl -s "$url/file_list/alpha")" = "$(curl -s "http://127.0.0.1:$feed_port/file_list/alpha")" ]
check "file lists go precompressed to gzip clients" bash -c "curl -s -D - -o /dev/null -H 'Accept-Encoding: gzip' '$url/file_list/alpha' | grep -qi '^Content-Encoding: gzip'"
check "file lists carry an ETag" bash -c "curl -s -D - -o /dev/null '$url/file_list/alpha' | grep -qi '^ETag: '"
check "a protected list needs its password" [ "$(status_of "$url/file_list/beta")" = 401 ]
check "a wrong password is refused" [ "$(status_of -H 'X-Project-Password: nope' "$url/file_list/beta")" = 401 ]
check "the right password is let through" [ "$(status_of -H 'X-Project-Password: pw' "$url/file_list/beta")" = 200 ]
check "a protected file needs its password" [ "$(status_of "$url/download_file/beta/b.ini")" = 401 ]
check "the compressed list is protected too" [ "$(status_of "$url/file_list/beta.gz")" = 401 ]
cp "$work/public/file_list/beta" "$work/public/file_list/beta.tmp"
check "a list being replaced is not served" [ "$(status_of "$url/file_list/beta.tmp")" = 404 ]
rm "$work/public/file_list/beta.tmp"
check "a password meant for another project does not open this one" [ "$(status_of -H 'X-Project-Password: beta/pw' "$url/download_file/beta/b.ini")" = 401 ]
check "a download is the file" cmp -s <(curl -s "$url/download_file/alpha/content/cars/my%20car/data.acd") "$work/root/alpha/content/cars/my car/data.acd"
check "nothing outside the protocol's paths" [ "$(status_of "$url/")" = 404 ]
check "the feed answers through nginx" bash -c "curl -s '$url/changes?since=0&wait=0' | grep -q '\"revision\"'"

run_cli sync --server "$url" --allow-http --target "$work/game" --project alpha --project beta \
    --password beta=pw >"$work/sync.out" 2>&1
check "sync through nginx exits 0" [ $? -eq 0 ] || cat "$work/sync.out"
check "nested file arrived" cmp -s "$work/root/alpha/content/cars/my car/data.acd" "$work/game/content/cars/my car/data.acd"
check "large file arrived" cmp -s "$work/root/alpha/content/big.bin" "$work/game/content/big.bin"
check "protected project arrived" cmp -s "$work/root/beta/b.ini" "$work/game/b.ini"

# watch: the feed through nginx announces a change, the tree already has it.
# Started directly, not through a function: a subshell in the background would ignore SIGINT.
"$cli" --data-dir "$work/data" --language en watch --server "$url" --allow-http \
    --target "$work/game" --project alpha --wait 5 >"$work/watch.out" 2>&1 &
watch_pid=$!
sleep 2
printf 'fresh' >"$work/root/alpha/content/fresh.txt"
printf 'second edition' >"$work/root/alpha/content/edition.tmp"
mv "$work/root/alpha/content/edition.tmp" "$work/root/alpha/content/cars/my car/data.acd"
check "watch brought the new file" wait_for 20 bash -c "[ \"\$(cat '$work/game/content/fresh.txt' 2>/dev/null)\" = fresh ]"
check "watch brought the replaced file" wait_for 20 bash -c "[ \"\$(cat '$work/game/content/cars/my car/data.acd' 2>/dev/null)\" = 'second edition' ]"
kill -INT "$watch_pid"
wait "$watch_pid"
check "watch ends with 130 on SIGINT" [ $? -eq 130 ]
watch_pid=""
check "nginx served the downloads" grep -q '"GET /download_file/alpha/content/fresh.txt HTTP/1.1" 200' "$work/nginx-access.log"
check "nginx passed the feed on" grep -q '"GET /changes?' "$work/nginx-access.log"
check "tavrin-server carried no download" bash -c "! grep -q 'download_file' '$work/server.log'"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
