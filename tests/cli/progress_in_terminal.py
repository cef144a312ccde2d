#!/usr/bin/env python3
"""tavrin-cli's live progress line in a real terminal (a pseudo-terminal) that is resized.

    progress_in_terminal.py CLI DATA_DIR URL TARGET PROJECT

Starts the sync in a 40-column terminal, widens it to 120 columns once the first progress
line is drawn, and checks that no line ever reached the last column of the width in force
(so the terminal never wrapped one), and that the wider terminal got wider lines.
Exits 0 when all holds; prints what went wrong otherwise.
"""
import fcntl
import os
import pty
import re
import select
import struct
import sys
import termios
import time

cli, data_dir, url, target, project = sys.argv[1:6]


def set_columns(fd, columns):
    fcntl.ioctl(fd, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))


def progress_lines(data):
    """The progress lines drawn: the texts between carriage returns and line ends that are not
    log lines ("[hh:mm:ss] ..."), which are printed once each and may wrap as any output."""
    text = re.sub(r"\x1b\[[0-9;]*[A-Za-z]", "", data.decode("utf-8", "replace"))
    pieces = [piece for piece in re.split(r"[\r\n]", text) if piece]
    return [p for p in pieces if not re.match(r"\[\d\d:\d\d:\d\d\] ", p)]


pid, master = pty.fork()
if pid == 0:
    os.execv(cli, [cli, "--data-dir", data_dir, "--language", "en", "sync", "--server", url,
                   "--allow-http", "--no-target-check", "--target", target, "--project", project])

set_columns(master, 40)
narrow, wide = b"", b""
resized = False
deadline = time.monotonic() + 120
while time.monotonic() < deadline:
    ready, _, _ = select.select([master], [], [], 0.5)
    if not ready:
        continue
    try:
        chunk = os.read(master, 65536)
    except OSError:  # the child closed the terminal
        break
    if not chunk:
        break
    if resized:
        wide += chunk
        continue
    narrow += chunk
    if len(progress_lines(narrow)) >= 3:
        # Everything read so far was written for 40 columns.
        set_columns(master, 120)  # the kernel sends the program SIGWINCH
        resized = True
_, status = os.waitpid(pid, 0)

problems = []
if not os.WIFEXITED(status) or os.WEXITSTATUS(status) != 0:
    problems.append(f"sync ended with status {status}")
if not resized:
    problems.append("no progress line was drawn before the end")
too_wide = [line for line in progress_lines(narrow) if len(line) > 39]
if too_wide:
    problems.append(f"{len(too_wide)} lines wider than 39 columns at 40: {too_wide[:3]}")
if any(len(line) > 119 for line in progress_lines(wide)):
    problems.append("a line wider than 119 columns at 120")
if not any(len(line) > 39 for line in progress_lines(wide)):
    problems.append(f"no line used the wider terminal: {progress_lines(wide)[-3:]}")
print(f"40 columns: {len(progress_lines(narrow))} progress lines; "
      f"120 columns: {len(progress_lines(wide))}")
for problem in problems:
    print("FAILED:", problem)
sys.exit(1 if problems else 0)
