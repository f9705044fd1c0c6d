"""Signatures with P-256 for certificates that live as long as a test run: ECDSA (FIPS 186-5, 6.4) with one nonce for each
key, which gives the key away and makes a signature as cheap as a product."""
import hashlib

from derText import element

P = 2**256 - 2**224 + 2**192 + 2**96 - 1
N = 0xFFFFFFFF00000000FFFFFFFFFFFFFFFFBCE6FAADA7179E84F3B9CAC2FC632551
G = (0x6B17D1F2E12C4247F8BCE6E563A440F277037D812DEB33A0F4A13945D898C296,
     0x4FE342E2FE1A7F9B8EE7EB4A7C0F9E162BCE33576B315ECECBB6406837BF51F5)


def _sum(a, b):
    if a is None or b is None:
        return a or b
    (x1, y1), (x2, y2) = a, b
    if x1 == x2 and (y1 + y2) % P == 0:
        return None
    slope = (3 * x1 * x1 - 3) * pow(2 * y1, -1, P) if a == b else (y2 - y1) * pow(x2 - x1, -1, P)
    x3 = (slope * slope - x1 - x2) % P
    return x3, (slope * (x1 - x3) - y1) % P


def _times(scalar):
    result, power = None, G
    while scalar:
        result = _sum(result, power) if scalar & 1 else result
        power, scalar = _sum(power, power), scalar >> 1
    return result


def _integer(number):
    return element(2, number.to_bytes(number.bit_length() // 8 + 1, "big"))


class Key:
    def __init__(self, label):
        self._private, nonce = (int.from_bytes(hashlib.sha256(f"{use} {label}".encode()).digest(), "big") % N
                                for use in ("key", "nonce"))
        self._r = _times(nonce)[0] % N
        self._inverse = pow(nonce, -1, N)
        self.public = b"\x04" + b"".join(number.to_bytes(32, "big") for number in _times(self._private))
        self.id = hashlib.sha1(self.public).digest()

    def sign(self, data):
        digest = int.from_bytes(hashlib.sha256(data).digest(), "big")
        return element(0x30, _integer(self._r) + _integer(self._inverse * (digest + self._r * self._private) % N))
