#!/usr/bin/env bash
# Measures comparison and download of the sync engine (through tavrin-cli) against established
# tools on the same data, served by nginx on 127.0.0.1, in one run; median of RUNS runs each.
#
#   bench/sync_bench.sh [SET...]        sets: small large mixed (default: all three)
#   RUNS=5 BUILD=build/linux DATA=bench/data
#   BASELINE=/path/to/an/older/tavrin-cli   also measures that build, in the same run
#
# Writes a Markdown table to bench/results/sync_bench.md and prints it.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
runs=${RUNS:-5}
build=${BUILD:-build/linux}
data=${DATA:-bench/data}
sets=("$@")
((${#sets[@]})) || sets=(small large mixed)
cli="$root/$build/cli/tavrin-cli"
[ -x "$cli" ] || { echo "build $build first (cmake --build --preset linux)"; exit 1; }
baseline=${BASELINE:-}
[ -z "$baseline" ] || [ -x "$baseline" ] || { echo "BASELINE is not a program: $baseline"; exit 1; }

python3 bench/make_datasets.py "$data" "${sets[@]}" many
data=$(cd "$data" && pwd)
work=$(mktemp -d)
trap 'nginx -p "$work" -c "$work/nginx.conf" -s stop 2>/dev/null || true; rm -rf "$work"' EXIT

port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
cat >"$work/nginx.conf" <<EOF
worker_processes 2;
error_log $work/error.log;
pid $work/nginx.pid;
events { worker_connections 1024; }
http {
    access_log off;
    sendfile on;
    tcp_nopush on;
    keepalive_requests 100000;
    types { }
    default_type application/octet-stream;
    client_body_temp_path $work; proxy_temp_path $work; fastcgi_temp_path $work;
    uwsgi_temp_path $work; scgi_temp_path $work;
    server {
        listen 127.0.0.1:$port;
        root $data/www;
        location /file_list/ { default_type application/json; }
    }
}
EOF
nginx -p "$work" -c "$work/nginx.conf"
url="http://127.0.0.1:$port"

median() { sort -g | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }
now() { date +%s.%N; }
# Runs a command RUNS times after `prepare`, printing the median wall time in seconds.
timed() {
    local prepare=$1
    shift
    for _ in $(seq "$runs"); do
        eval "$prepare"
        local start end
        start=$(now)
        "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; }
        end=$(now)
        echo "$end - $start" | bc -l
    done | median
}

rows=()
row() { rows+=("$(printf '| %s | %s | %s | %.0f | %.1f | %s |' "$@")"); }
rate() { echo "$1 / $2" | bc -l; }

limit=$(openssl speed -evp sha256 -bytes 65536 -seconds 3 2>/dev/null |
    awk '/^sha256/ {v=$NF; sub("k","",v); print v*1000/1e6*2}')

for set in "${sets[@]}"; do
    files=$(python3 -c "import json; print(len(json.load(open('$data/www/file_list/$set'))))")
    bytes=$(python3 -c "import json; print(sum(e['size'] for e in json.load(open('$data/www/file_list/$set'))))")
    mb=$(echo "$bytes / 1000000" | bc -l)
    target="$work/target-$set"
    fresh="rm -rf '$target' '$work/cli-data'; mkdir -p '$target'"

    # Download into an empty folder: the engine verifies every byte; curl and wget2 verify
    # nothing; aria2c checks each file's SHA-256.
    t=$(timed "$fresh" "$cli" --data-dir "$work/cli-data" sync --server "$url" --target "$target" \
        --project "$set" --allow-http --no-target-check)
    row "$set" "download" "tavrin-cli (verifies)" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"
    if [ -n "$baseline" ]; then
        t=$(timed "$fresh" "$baseline" --data-dir "$work/cli-data" sync --server "$url" \
            --target "$target" --project "$set" --allow-http --no-target-check)
        row "$set" "download" "baseline tavrin-cli" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"
    fi
    python3 - "$data" "$set" "$url" "$work" <<'EOF'
import json, sys
data, name, url, work = sys.argv[1:]
entries = json.load(open(f"{data}/www/file_list/{name}"))
with open(f"{work}/aria-{name}.txt", "w") as aria, open(f"{work}/curl-{name}.cfg", "w") as curl, \
        open(f"{work}/urls-{name}.txt", "w") as urls:
    for e in entries:
        link = f"{url}/download_file/{name}/{e['relative_path']}"
        aria.write(f"{link}\n  out={e['relative_path']}\n  checksum=sha-256={e['hash']}\n")
        curl.write(f'url = "{link}"\noutput = "{e["relative_path"]}"\n')
        urls.write(link + "\n")
EOF
    t=$(timed "$fresh" aria2c -q -j16 -x1 --file-allocation=none --allow-overwrite=true \
        --auto-file-renaming=false --check-integrity=true -d "$target" -i "$work/aria-$set.txt")
    row "$set" "download" "aria2c -j16 (checksums)" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"
    t=$(timed "$fresh; cd '$target'" curl -s --parallel --parallel-max 16 --create-dirs \
        -K "$work/curl-$set.cfg")
    cd "$root"
    row "$set" "download" "curl --parallel-max 16" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"
    t=$(timed "$fresh" wget2 -q --max-threads=16 -x -nH --cut-dirs=2 -P "$target" \
        -i "$work/urls-$set.txt")
    row "$set" "download" "wget2 --max-threads=16" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"

    # Comparison of an up-to-date folder, page cache warm.
    rm -rf "$target" "$work/cli-data"
    mkdir -p "$target"
    "$cli" --data-dir "$work/cli-data" sync --server "$url" --target "$target" --project "$set" \
        --allow-http --no-target-check >/dev/null
    find "$target" -type f -print0 >"$work/files-$set"
    cat $(tr '\0' '\n' <"$work/files-$set") >/dev/null
    t=$(timed ":" "$cli" --data-dir "$work/cli-data" sync --server "$url" --target "$target" \
        --project "$set" --allow-http --no-target-check)
    row "$set" "compare" "tavrin-cli" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"
    if [ -n "$baseline" ]; then
        t=$(timed ":" "$baseline" --data-dir "$work/cli-data" sync --server "$url" \
            --target "$target" --project "$set" --allow-http --no-target-check)
        row "$set" "compare" "baseline tavrin-cli" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"
    fi
    t=$(timed ":" sh -c "xargs -0 openssl dgst -sha256 <'$work/files-$set'")
    row "$set" "compare" "openssl dgst (1 process)" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"
    half=$(((files + 1) / 2))
    t=$(timed ":" sh -c "xargs -0 -P2 -n $half openssl dgst -sha256 <'$work/files-$set'")
    row "$set" "compare" "xargs -P2 openssl dgst" "$(rate "$files" "$t")" "$(rate "$mb" "$t")" "$t"
    rows+=("$(printf '| %s | compare | physical limit (2 x openssl speed) | | %.1f | |' "$set" "$limit")")
    rm -rf "$target"
done

# Peak memory of comparing 200,000 small files.
target="$work/target-many"
mkdir -p "$target"
"$cli" --data-dir "$work/cli-data" sync --server "$url" --target "$target" --project many \
    --allow-http --no-target-check >/dev/null
peak=$(/usr/bin/time -f %M "$cli" --data-dir "$work/cli-data" sync --server "$url" \
    --target "$target" --project many --allow-http --no-target-check 2>&1 >/dev/null | tail -n 1)
basePeak=0
if [ -n "$baseline" ]; then
    basePeak=$(/usr/bin/time -f %M "$baseline" --data-dir "$work/cli-data" sync --server "$url" \
        --target "$target" --project many --allow-http --no-target-check 2>&1 >/dev/null |
        tail -n 1)
fi
rm -rf "$target"

mkdir -p bench/results
{
    echo "Sync benchmark, $(date -u +%Y-%m-%d), $(nproc) cores, median of $runs runs"
    echo
    echo "| set | phase | tool | files/s | MB/s | seconds |"
    echo "|---|---|---|---|---|---|"
    printf '%s\n' "${rows[@]}"
    echo
    echo "Peak RSS comparing 200,000 small files: $((peak / 1024)) MB"
    [ -z "$baseline" ] || echo "Peak RSS of the baseline on the same files: $((basePeak / 1024)) MB"
} | tee bench/results/sync_bench.md
