#!/usr/bin/env bash
# Measures how closely a download limit holds over 30 s: tavrin-cli sync --limit-rate against
# tavrin-server on 127.0.0.1, at 256K, 4M and 100M with one file and with sixteen (as many
# download workers as the engine starts for them), the average rate set against the limit.
#
#   bench/rate_limit_bench.sh            SECONDS=30 BUILD=build/linux
#
# Writes a Markdown table to bench/results/rate_limit.md and prints it.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
seconds=${SECONDS_PER_RUN:-30}
build=${BUILD:-build/linux}
cli="$root/$build/cli/tavrin-cli"
server="$root/$build/server/tavrin-server"
[ -x "$cli" ] && [ -x "$server" ] || { echo "build $build first (cmake --build --preset linux)"; exit 1; }
work=$(mktemp -d)
trap 'kill "$server_pid" 2>/dev/null; wait "$server_pid" 2>/dev/null; rm -rf "$work"' EXIT

bytes_of() {  # 256K -> 262144
    local value=${1%[KMG]} unit=${1: -1}
    case $unit in K) echo $((value * 1024)) ;; M) echo $((value * 1048576)) ;; G) echo $((value * 1073741824)) ;; *) echo "$1" ;; esac
}

limits=(256K 4M 100M)
files=(1 16)
# Sparse files: the server hashes and sends zeros, nothing is stored until the client writes.
for limit in "${limits[@]}"; do
    total=$(( $(bytes_of "$limit") * seconds ))
    for count in "${files[@]}"; do
        folder="$work/root/limit-$limit-$count/content"
        mkdir -p "$folder"
        for i in $(seq "$count"); do truncate -s $((total / count)) "$folder/part$i.bin"; done
    done
done
port=$(python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])')
"$server" --root "$work/root" --listen "127.0.0.1:$port" --state-dir "$work/state" \
    2>"$work/server.log" &
server_pid=$!
for _ in $(seq 600); do
    curl -sf "http://127.0.0.1:$port/list_projects" | grep -q "limit-100M-16" && break
    sleep 0.5
done

mkdir -p bench/results
table="bench/results/rate_limit.md"
{
    echo "| limit | files | bytes | seconds | average rate | of the limit |"
    echo "|---|---|---|---|---|---|"
} >"$table"
for limit in "${limits[@]}"; do
    for count in "${files[@]}"; do
        target="$work/target"
        rm -rf "$target"
        mkdir -p "$target"
        start=$(date +%s.%N)
        "$cli" --data-dir "$work/data" --language en sync --server "http://127.0.0.1:$port" \
            --allow-http --no-target-check --target "$target" --project "limit-$limit-$count" \
            --limit-rate "$limit" --json >"$work/run.json" 2>/dev/null
        end=$(date +%s.%N)
        bytes=$(python3 -c 'import json,sys; print([json.loads(l) for l in open(sys.argv[1])][-1]["bytes_downloaded"])' "$work/run.json")
        python3 - "$limit" "$count" "$bytes" "$start" "$end" "$(bytes_of "$limit")" >>"$table" <<'PY'
import sys
limit, count, size, start, end, rate = sys.argv[1], sys.argv[2], int(sys.argv[3]), float(sys.argv[4]), float(sys.argv[5]), int(sys.argv[6])
took = end - start
average = size / took
print(f"| {limit}/s | {count} | {size:,} | {took:.2f} | {average / 1048576:.3f} MiB/s | {100 * average / rate:.1f} % |")
PY
        rm -rf "$target" "$work/data"
    done
done
cat "$table"
