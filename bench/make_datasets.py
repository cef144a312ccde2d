#!/usr/bin/env python3
"""Makes the deterministic data sets of the sync benchmarks, served as a content server would:
  <out>/www/download_file/<set>/<path>   the files
  <out>/www/file_list/<set>              the file list (JSON, with SHA-256 and mtime)

Sets: small (5,000 files of 8-64 KB in nested folders), large (16 files of 64 MB), mixed
(about 1.5 GB shaped like a mod collection), many (200,000 files of 64-512 bytes, for the
memory check). The same seed gives the same bytes on every machine.

Usage: bench/make_datasets.py OUT_DIR [SET...]
"""
import hashlib
import json
import os
import random
import sys

MTIME = 1700000000.5


def write_set(out, name, files):
    root = os.path.join(out, "www", "download_file", name)
    listing = []
    for path, size, seed in files:
        rng = random.Random(seed)
        data = rng.randbytes(size)
        full = os.path.join(root, path)
        os.makedirs(os.path.dirname(full), exist_ok=True)
        with open(full, "wb") as f:
            f.write(data)
        os.utime(full, (MTIME, MTIME))
        listing.append({"relative_path": path, "size": size, "mtime": MTIME,
                        "hash": hashlib.sha256(data).hexdigest()})
    lists = os.path.join(out, "www", "file_list")
    os.makedirs(lists, exist_ok=True)
    with open(os.path.join(lists, name), "w") as f:
        json.dump(listing, f)
    total = sum(size for _, size, _ in files)
    print(f"{name}: {len(files)} files, {total / 1e6:.1f} MB")


def small():
    rng = random.Random(1)
    return [(f"content/cars/car_{i // 100:03d}/skins/skin_{i // 10 % 10}/file_{i:05d}.dds",
             rng.randint(8 * 1024, 64 * 1024), 1000 + i) for i in range(5000)]


def large():
    return [(f"content/tracks/track_{i:02d}/track.kn5", 64 * 1024 * 1024, 2000 + i)
            for i in range(16)]


def mixed():
    rng = random.Random(3)
    files = []
    for car in range(25):
        base = f"content/cars/mod_car_{car:02d}"
        files.append((f"{base}/car.kn5", rng.randint(15, 45) * 1024 * 1024, 3000 + car))
        for skin in range(6):
            for tex in range(4):
                files.append((f"{base}/skins/skin_{skin}/tex_{tex}.dds",
                              rng.randint(256, 2048) * 1024, 4000 + car * 100 + skin * 10 + tex))
        for ui in range(5):
            files.append((f"{base}/ui/ui_{ui}.json", rng.randint(1, 8) * 1024,
                          9000 + car * 10 + ui))
    return files


def many():
    rng = random.Random(4)
    return [(f"content/many/d{i // 1000:03d}/f{i:06d}.ini", rng.randint(64, 512), 100000 + i)
            for i in range(200000)]


def main():
    out = sys.argv[1]
    sets = sys.argv[2:] or ["small", "large", "mixed", "many"]
    makers = {"small": small, "large": large, "mixed": mixed, "many": many}
    for name in sets:
        if os.path.exists(os.path.join(out, "www", "file_list", name)):
            print(f"{name}: present")
            continue
        write_set(out, name, makers[name]())


if __name__ == "__main__":
    main()
