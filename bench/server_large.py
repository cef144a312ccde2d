#!/usr/bin/env python3
"""tavrin-server on one project of 200,000 files (the `many` set of make_datasets.py), for one
or more server binaries in the same run, so an old build and a new one meet the same tree:

  - start with an empty hash cache, then again with a warm one (until it answers);
  - idle CPU (share of one core over 20 s, no clients) and resident memory;
  - 1,000 long polls held while 8 clients download listed files: downloads per second;
  - a file closed after writing -> all 1,000 polls answered.

Usage: bench/server_large.py DATA_DIR BINARY [BINARY...]
DATA_DIR holds (or receives) the set: bench/make_datasets.py DATA_DIR many.
"""
import asyncio
import json
import os
import random
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

from server_client import free_port, proc_status, request

POLLS = 1000
DOWNLOADERS = 8
IDLE_SECONDS = 20


def cpu_seconds(pid):
    with open(f"/proc/{pid}/stat") as f:
        parts = f.read().rsplit(")", 1)[1].split()
    return (int(parts[11]) + int(parts[12])) / os.sysconf("SC_CLK_TCK")


def body(data):
    return data.split(b"\r\n\r\n", 1)[1]


def start(binary, root, state, port):
    started = time.monotonic()
    server = subprocess.Popen([binary, "--root", root, "--listen", f"127.0.0.1:{port}",
                               "--state-dir", state], stderr=subprocess.DEVNULL)
    while True:
        try:
            with socket.create_connection(("127.0.0.1", port), timeout=1) as s:
                s.sendall(b"GET /list_projects HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n")
                if s.recv(64).startswith(b"HTTP/1.1 200"):
                    break
        except OSError:
            pass
        if server.poll() is not None:
            raise SystemExit(f"{binary} exited with {server.returncode}")
        time.sleep(0.02)
    return server, time.monotonic() - started


def stop(server):
    server.send_signal(signal.SIGTERM)
    try:
        server.wait(timeout=30)
    except subprocess.TimeoutExpired:
        server.kill()
        server.wait()


async def hold_and_change(port, root, paths):
    revision = json.loads(body(await request(port, "/changes?since=0&wait=0")))["revision"]
    answered = []

    async def poll():
        data = await request(port, f"/changes?since={revision}&wait=120&projects=many")
        if json.loads(body(data)).get("has_changes"):
            answered.append(time.monotonic())

    polls = [asyncio.create_task(poll()) for _ in range(POLLS)]
    await asyncio.sleep(2)  # every poll is held by now
    downloads = []
    stop_downloads = asyncio.Event()

    async def downloader(seed):
        rng = random.Random(seed)
        while not stop_downloads.is_set():
            data = await request(port, "/download_file/many/" + rng.choice(paths))
            if data.startswith(b"HTTP/1.1 200"):
                downloads.append(1)

    started = time.monotonic()
    workers = [asyncio.create_task(downloader(i)) for i in range(DOWNLOADERS)]
    await asyncio.sleep(10)
    stop_downloads.set()
    await asyncio.gather(*workers)
    rate = len(downloads) / (time.monotonic() - started)
    held = sum(1 for p in polls if not p.done())
    change = os.path.join(root, "many", "content", "many", "d100", "changed.ini")
    with open(change, "w") as f:
        f.write(f"changed at {time.time()}")
    closed = time.monotonic()
    await asyncio.wait_for(asyncio.gather(*polls), timeout=150)
    os.remove(change)
    return rate, held, len(answered), (max(answered) - closed) * 1000 if answered else None


def measure(binary, root, paths):
    state = tempfile.mkdtemp(prefix="tavrin-bench-state-")
    port = free_port()
    server, cold = start(binary, root, state, port)
    stop(server)
    server, warm = start(binary, root, state, port)
    time.sleep(5)  # settle
    before = cpu_seconds(server.pid)
    time.sleep(IDLE_SECONDS)
    idle = (cpu_seconds(server.pid) - before) / IDLE_SECONDS * 100
    rss = proc_status(server.pid)["VmRSS"]
    rate, held, answered, latency = asyncio.run(hold_and_change(port, root, paths))
    peak = proc_status(server.pid)["VmHWM"]
    stop(server)
    shutil.rmtree(state, ignore_errors=True)
    return {"cold": cold, "warm": warm, "idle": idle, "rss": rss, "peak": peak,
            "rate": rate, "held": held, "answered": answered, "latency": latency}


def main():
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    data = sys.argv[1]
    root = os.path.join(data, "www", "download_file")
    if not os.path.isdir(os.path.join(root, "many")):
        subprocess.run([sys.executable, os.path.join(os.path.dirname(__file__), "make_datasets.py"),
                        data, "many"], check=True)
    resource.setrlimit(resource.RLIMIT_NOFILE, (16384, 16384))
    with open(os.path.join(data, "www", "file_list", "many")) as f:
        paths = [entry["relative_path"] for entry in json.load(f)]
    print(f"one project of {len(paths)} files; {POLLS} long polls; {DOWNLOADERS} downloaders")
    for binary in sys.argv[2:]:
        r = measure(binary, root, paths)
        latency = f"{r['latency']:.0f} ms" if r["latency"] is not None else "not answered"
        print(f"\n{binary}")
        print(f"  start, empty hash cache:     {r['cold']:.2f} s")
        print(f"  start, warm hash cache:      {r['warm']:.2f} s")
        print(f"  idle CPU, no clients:        {r['idle']:.1f} % of a core")
        print(f"  resident memory, idle:       {r['rss']} (peak {r['peak']})")
        print(f"  downloads with polls held:   {r['rate']:.0f} per second "
              f"({r['held']} of {POLLS} polls still held)")
        print(f"  file closed -> polls answered: {latency} ({r['answered']} of {POLLS})")


if __name__ == "__main__":
    main()
