#!/usr/bin/env python3
"""Talks to kxcert-offloadd as clients do, well-behaved and other ones.

offloadClient.py sign KEY.pem [IDLE]  signs b"digest" raw while IDLE other connections wait; prints hexadecimal
offloadClient.py crowd COUNT          opens so many connections; prints how many the service keeps, and whether it
                                      takes processor time for them
offloadClient.py busy COUNT           asks for so many operations that take long, and leaves
"""
import base64
import os
import random
import select
import socket
import struct
import sys
import time

VERSION, SIGN = 0x706B7802, 1
PATH = os.environ["KXCERT_CONF_DIR"] + "/offload.socket"


def connect():
    s = socket.socket(socket.AF_UNIX)
    s.connect(PATH)
    s.settimeout(2)
    return s


def pad(octets):
    return octets + b"\0" * (-len(octets) % 8)


def request(operation, key, data):
    body = struct.pack("<IIII", VERSION, operation, 0, 2048)
    for item in (data, b"", key):
        body = pad(pad(body) + struct.pack("<I", len(item))) + item
    return struct.pack("<I", len(body)) + body


def der(tag, content):
    size = len(content)
    head = bytes([size]) if size < 128 else b"\x82" + struct.pack(">H", size)
    return bytes([tag]) + head + content


def slow_key(bits=16384, e=65537):
    """Numbers that belong together, of factors that are not prime: libcrypto does it all twice."""
    while True:
        p, q = (random.getrandbits(bits // 2) | 3 << (bits // 2 - 2) | 1 for _ in range(2))
        try:
            d, inverse = pow(e, -1, (p - 1) * (q - 1)), pow(q, -1, p)
        except ValueError:
            continue
        numbers = (0, p * q, e, d, p, q, d % (p - 1), d % (q - 1), inverse)
        return der(0x30, b"".join(der(2, n.to_bytes(n.bit_length() // 8 + 1, "big")) for n in numbers))


def sign(pem, idle="0"):
    waiting = [connect() for _ in range(int(idle))]
    with open(pem) as file:
        key = base64.b64decode("".join(file.read().split("-----")[2].split()))
    s = connect()
    for octet in request(SIGN, key, b"digest"):
        s.sendall(bytes([octet]))
    answer = s.recv(4096)
    size, = struct.unpack_from("<I", answer, 12)
    print(answer[-size:].hex())
    del waiting


def crowd(count):
    sockets = [connect() for _ in range(int(count))]
    service, = struct.unpack_from("i", sockets[0].getsockopt(socket.SOL_SOCKET, socket.SO_PEERCRED, 12))

    def effort():
        with open(f"/proc/{service}/stat") as file:
            ticks = sum(map(int, file.read().split()[13:15]))
        with open(f"/proc/{service}/status") as file:
            return ticks, int(file.read().split("nonvoluntary_ctxt_switches:")[1])

    before = effort()
    time.sleep(0.5)
    hung_up, _, _ = select.select(sockets, [], [], 0)
    ticks, pushed = (now - then for now, then in zip(effort(), before))
    # Whoever never waits takes the processor, or is pushed off it where others want it.
    print(len(sockets) - len(hung_up), "kept,", "busy" if ticks > 25 or pushed > 20 else "calm")


def busy(count):
    message = request(SIGN, slow_key(), b"digest")
    for _ in range(int(count)):
        connect().sendall(message)


{"sign": sign, "crowd": crowd, "busy": busy}[sys.argv[1]](*sys.argv[2:])
