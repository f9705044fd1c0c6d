"""Private keys of the tests and their signatures.

Everything is deterministic (PKCS #1 v1.5; ECDSA with the nonce of RFC 6979), so that data made from
these keys is the same octets every time. It is slow and leaks its secrets through timing: the keys
are public anyway.
"""
import base64
import hashlib
import hmac
import pathlib
from dataclasses import dataclass

KEY_FOLDER = pathlib.Path(__file__).resolve().parent.parent / "data" / "keys"


def tlv(tag, *parts):
    """One DER element. The tag is a number of one octet."""
    content = b"".join(parts)
    length = len(content)
    if length < 128:
        return bytes([tag, length]) + content
    octets = length.to_bytes((length.bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(octets)]) + octets + content


def sequence(*parts):
    return tlv(0x30, *parts)


def integer(value):
    return tlv(0x02, value.to_bytes(value.bit_length() // 8 + 1, "big", signed=True))


def bit_string(octets, unused=0):
    return tlv(0x03, bytes([unused]), octets)


def oid(text):
    arcs = [int(arc) for arc in text.split(".")]
    content = bytearray()
    for arc in [arcs[0] * 40 + arcs[1]] + arcs[2:]:
        groups = [arc & 0x7F]
        while arc := arc >> 7:
            groups.append(0x80 | arc & 0x7F)
        content += bytes(reversed(groups))
    return tlv(0x06, bytes(content))


NULL = tlv(0x05)


def elements(content):
    """The (tag, content) pairs of definite-length DER."""
    found, at = [], 0
    while at < len(content):
        tag, length, at = content[at], content[at + 1], at + 2
        if length >= 0x80:
            count = length & 0x7F
            length, at = int.from_bytes(content[at:at + count], "big"), at + count
        found.append((tag, content[at:at + length]))
        at += length
    return found


@dataclass(frozen=True)
class Curve:
    """y^2 = x^3 - 3x + b over the integers modulo p, of prime order n (FIPS 186-4, D.1.2)."""
    name_oid: str
    p: int
    b: int
    n: int
    gx: int
    gy: int

    def multiply(self, factor):
        """factor times the generator."""
        total, power = None, (self.gx, self.gy)     # None is the point at infinity
        while factor:
            if factor & 1:
                total = self._add(total, power)
            power, factor = self._add(power, power), factor >> 1
        return total

    def _add(self, a, b):
        if a is None:
            return b
        (x1, y1), (x2, y2), p = a, b, self.p
        assert a == b or x1 != x2                   # opposite points do not meet here
        slope = (3 * x1 * x1 - 3) * pow(2 * y1, -1, p) if a == b else (y2 - y1) * pow(x2 - x1, -1, p)
        x = (slope * slope - x1 - x2) % p
        return x, (slope * (x1 - x) - y1) % p


CURVES = [
    Curve("1.2.840.10045.3.1.7",
          0xffffffff00000001000000000000000000000000ffffffffffffffffffffffff,
          0x5ac635d8aa3a93e7b3ebbd55769886bc651d06b0cc53b0f63bce3c3e27d2604b,
          0xffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551,
          0x6b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296,
          0x4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5),
    Curve("1.3.132.0.34",
          (1 << 384) - (1 << 128) - (1 << 96) + (1 << 32) - 1,
          0xb3312fa7e23ee7e4988e056be3f82d19181d9c6efe8141120314088f5013875ac656398d8a2ed19d2a85c8edd3ec2aef,
          0xffffffffffffffffffffffffffffffffffffffffffffffffc7634d81f4372ddf581a0db248b0a77aecec196accc52973,
          0xaa87ca22be8b05378eb1c71ef320ad746e1d3b628ba79b9859f741e082542a385502f25dbf55296c3a545e3872760ab7,
          0x3617de4a96262c6f5d9e98bf9292dc29f8f41dbd289a147ce9da3113b5f0b8c00a60b1ce1d7e819d7a431d7c90ea0e5f),
    Curve("1.3.132.0.35",
          (1 << 521) - 1,
          0x0051953eb9618e1c9a1f929a21a0b68540eea2da725b99b315f3b8b489918ef109e156193951ec7e937b1652c0bd3bb1bf073573df883d2c34f1ef451fd46b503f00,
          0x01fffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffffa51868783bf2f966b7fcc0148f709a5d03bb5c9b8899c47aebb6fb71e91386409,
          0x00c6858e06b70404e9cd9e3ecb662395b4429c648139053fb521f828af606b4d3dbaa14b5e77efe75928fe1dc127a2ffa8de3348b3c1856a429bf97e7e31c2e5bd66,
          0x011839296a789a3bc0045c8a5fb42c7d1bd998f54449579b446817afbd17273e662c97ee72995ef42640c550b9013fad0761353c7086a272c24088be94769fd16650),
]

RSA_SIGNATURES = {"md5": 4, "sha1": 5, "sha224": 14, "sha256": 11, "sha384": 12, "sha512": 13}
ECDSA_SIGNATURES = {"sha1": "1", "sha224": "3.1", "sha256": "3.2", "sha384": "3.3", "sha512": "3.4"}
DIGESTS = {"md5": "1.2.840.113549.2.5", "sha1": "1.3.14.3.2.26", "sha224": "2.16.840.1.101.3.4.2.4",
           "sha256": "2.16.840.1.101.3.4.2.1", "sha384": "2.16.840.1.101.3.4.2.2",
           "sha512": "2.16.840.1.101.3.4.2.3"}


class RsaKey:
    def __init__(self, private_key):
        numbers = [int.from_bytes(content, "big") for _, content in elements(elements(private_key)[0][1])]
        self.n, self.e, self.d = numbers[1:4]
        algorithm = sequence(oid("1.2.840.113549.1.1.1"), NULL)
        self.public = sequence(integer(self.n), integer(self.e))
        self.spki = sequence(algorithm, bit_string(self.public))

    def algorithm(self, digest):
        return sequence(oid(f"1.2.840.113549.1.1.{RSA_SIGNATURES[digest]}"), NULL)

    def sign(self, digest, data):
        hashed = hashlib.new(digest, data).digest()
        info = sequence(sequence(oid(DIGESTS[digest]), NULL), tlv(0x04, hashed))
        length = (self.n.bit_length() + 7) // 8
        padded = b"\0\1" + b"\xff" * (length - 3 - len(info)) + b"\0" + info
        return pow(int.from_bytes(padded, "big"), self.d, self.n).to_bytes(length, "big")


class EcKey:
    def __init__(self, private_key):
        fields = elements(elements(private_key)[0][1])
        curve_oid = next(content for tag, content in fields if tag == 0xA0)
        self.curve = next(curve for curve in CURVES if oid(curve.name_oid) == curve_oid)
        self.d = int.from_bytes(fields[1][1], "big")
        size = (self.curve.p.bit_length() + 7) // 8
        x, y = self.curve.multiply(self.d)
        self.public = b"\4" + x.to_bytes(size, "big") + y.to_bytes(size, "big")
        self.compressed = bytes([2 + y % 2]) + x.to_bytes(size, "big")
        self.spki = sequence(sequence(oid("1.2.840.10045.2.1"), curve_oid), bit_string(self.public))

    def algorithm(self, digest):
        return sequence(oid(f"1.2.840.10045.4.{ECDSA_SIGNATURES[digest]}"))

    def sign(self, digest, data):
        n = self.curve.n
        hashed = hashlib.new(digest, data).digest()
        e = self._bits_to_int(hashed) % n
        for k in self._nonces(digest, e):
            r = self.curve.multiply(k)[0] % n
            s = pow(k, -1, n) * (e + r * self.d) % n
            if r != 0 and s != 0:
                return sequence(integer(r), integer(s))

    def _bits_to_int(self, octets):
        value, excess = int.from_bytes(octets, "big"), len(octets) * 8 - self.curve.n.bit_length()
        return value >> excess if excess > 0 else value

    def _nonces(self, digest, e):               # RFC 6979, 3.2
        n = self.curve.n
        size = (n.bit_length() + 7) // 8
        seed = self.d.to_bytes(size, "big") + e.to_bytes(size, "big")
        value = b"\1" * hashlib.new(digest).digest_size
        key = b"\0" * len(value)
        for separator in (b"\0", b"\1"):
            key = hmac.digest(key, value + separator + seed, digest)
            value = hmac.digest(key, value, digest)
        while True:
            octets = b""
            while len(octets) < size:
                value = hmac.digest(key, value, digest)
                octets += value
            k = self._bits_to_int(octets[:size])
            if 1 <= k < n:
                yield k
            key = hmac.digest(key, value + b"\0", digest)
            value = hmac.digest(key, value, digest)


def load_keys():
    """Every key of the folder, by file name without ending."""
    keys = {}
    for path in sorted(KEY_FOLDER.glob("*.pem")):
        header, *body, _ = path.read_text().splitlines()
        octets = base64.b64decode("".join(body))
        keys[path.stem] = RsaKey(octets) if "RSA" in header else EcKey(octets)
    return keys
