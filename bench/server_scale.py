#!/usr/bin/env python3
"""Scale check of tavrin-server: 1,000 concurrent long polls held together with parallel
downloads on 127.0.0.1. Reports the server's thread count and memory while it holds them, and
the time from a file change to all polls answered.

Usage: bench/server_scale.py [SERVER_BINARY] [POLLS]   (run with ulimit -n above 2 x POLLS)
"""
import asyncio
import json
import os
import random
import resource
import socket
import subprocess
import sys
import tempfile
import time

from server_client import free_port, proc_status, request

SERVER = sys.argv[1] if len(sys.argv) > 1 else "build/linux/server/tavrin-server"
POLLS = int(sys.argv[2]) if len(sys.argv) > 2 else 1000
DOWNLOADERS = 8


async def poll(port, since, answered, times):
    data = await request(port, f"/changes?since={since}&wait=120&projects=scale")
    body = data.split(b"\r\n\r\n", 1)[1]
    if json.loads(body).get("has_changes"):
        answered.append(1)
        times.append(time.monotonic())


async def downloader(port, stop, counts):
    while not stop.is_set():
        data = await request(port, "/download_file/scale/big.bin")
        counts.append(len(data))


async def main():
    resource.setrlimit(resource.RLIMIT_NOFILE, (8192, 8192))
    root = tempfile.mkdtemp()
    os.makedirs(f"{root}/scale")
    with open(f"{root}/scale/big.bin", "wb") as f:
        f.write(random.Random(1).randbytes(16 * 1024 * 1024))
    with open(f"{root}/scale/a.txt", "w") as f:
        f.write("a")
    port = free_port()
    server = subprocess.Popen([SERVER, "--root", root, "--listen", f"127.0.0.1:{port}",
                               "--scan-interval", "0.2"], stderr=subprocess.DEVNULL)
    for _ in range(100):
        try:
            await request(port, "/list_projects")
            break
        except OSError:
            await asyncio.sleep(0.05)
    first = await request(port, "/changes?since=0&wait=0")
    revision = json.loads(first.split(b"\r\n\r\n", 1)[1])["revision"]

    answered, times, counts = [], [], []
    stop = asyncio.Event()
    polls = [asyncio.create_task(poll(port, revision, answered, times)) for _ in range(POLLS)]
    downloads = [asyncio.create_task(downloader(port, stop, counts)) for _ in range(DOWNLOADERS)]
    await asyncio.sleep(3)
    status = proc_status(server.pid)
    changed = time.monotonic()
    with open(f"{root}/scale/a.txt", "w") as f:
        f.write("changed")
    await asyncio.gather(*polls)
    stop.set()
    await asyncio.gather(*downloads)
    peak = proc_status(server.pid)["VmHWM"]
    server.terminate()
    server.wait()
    print(f"long polls held: {POLLS}, answered after the change: {len(answered)}")
    print(f"server threads while holding them: {status['Threads']}")
    print(f"server memory while holding them: {status['VmRSS']} (peak {peak})")
    print(f"downloads of 16 MB during the hold: {len(counts)}")
    print(f"change to all polls answered: {(max(times) - changed) * 1000:.0f} ms "
          f"(seen through file events)")


asyncio.run(main())
