#!/usr/bin/env python3
"""press-ctrl-c.py TEXT COMMAND...: runs the command on a terminal of its own, presses Ctrl+C when TEXT is shown, prints
what was shown and ends as the command does. A command that takes over a minute is a failure."""
import os
import pty
import re
import select
import sys
import time

child, terminal = pty.fork()
if child == 0:
    os.execvp(sys.argv[2], sys.argv[2:])
shown, pressed, deadline = b"", False, time.time() + 60
while time.time() < deadline:
    if not select.select([terminal], [], [], 0.5)[0]:
        continue
    try:
        shown += os.read(terminal, 65536)
    except OSError:  # the last process of the terminal has ended
        break
    if not pressed and sys.argv[1].encode() in shown:
        os.write(terminal, b"\x03")
        pressed = True
else:
    os.kill(child, 9)
text = re.sub(r"\x1b\[[0-9;?]*[A-Za-z]", "", shown.decode(errors="replace"))
print("\n".join(line for line in re.split(r"[\r\n]+", text) if line.strip()))
sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) if pressed else 99)
