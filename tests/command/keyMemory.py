#!/usr/bin/env python3
"""What a command keeps of a private key: keyMemory.py RSA_KEY COMMAND...

RSA_KEY is PEM, and the command one that is done with it when it reads a password of descriptor 9. It is looked
at while it waits there; the exit code is 1 when octets of the private numbers, or their text, are in its memory."""
import base64
import os
import subprocess
import sys
import time

PUBLIC_PART = 4  # the fraction of an RSA key's octets that its modulus ends before
WINDOW = 20


def waits(pid):
    with open(f"/proc/{pid}/syscall", encoding="ascii") as call:
        return call.read().split()[1:2] == ["0x9"]


def writable(pid):
    with open(f"/proc/{pid}/maps", encoding="utf-8") as maps, open(f"/proc/{pid}/mem", "rb", 0) as memory:
        for line in maps:
            place, rights, *_, = line.split()
            if not rights.startswith("rw"):
                continue
            start, end = (int(number, 16) for number in place.split("-"))
            memory.seek(start)
            yield memory.read(end - start)


with open(sys.argv[1], encoding="ascii") as file:
    lines = [line.strip() for line in file if not line.startswith("-----")]
octets = base64.b64decode("".join(lines))
private = octets[len(octets) // PUBLIC_PART:]
parts = [private[i:i + WINDOW] for i in range(0, len(private) - WINDOW, WINDOW)]
needles = {"octets": parts, "digits": [part.hex().encode() for part in parts],
           "text": [line[:2 * WINDOW].encode() for line in lines[len(lines) // PUBLIC_PART + 1:-1]]}

reading, writing = os.pipe()
os.dup2(reading, 9)
command = subprocess.Popen(sys.argv[2:], pass_fds=[9], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
for _ in range(200):
    if command.poll() is not None or waits(command.pid):
        break
    time.sleep(0.05)
else:
    sys.exit("it does not ask for a password")
if command.poll() is not None:
    sys.exit("it ended before it asked for a password")
left = {}
for area in writable(command.pid):
    for kind, some in needles.items():
        left[kind] = left.get(kind, 0) + sum(needle in area for needle in some)
os.close(writing)
command.wait()
print(left)
sys.exit(1 if any(left.values()) else 0)
