#!/usr/bin/env python3
# Makes pkcs12Keys.txt: the key derivation of PKCS #12 (RFC 7292, B.2), computed without the library and libcrypto's own.
import hashlib

def derive(name, purpose, password, salt, iterations, length):
    new = lambda data: hashlib.new(name, data).digest()
    u, v = len(new(b'')), hashlib.new(name).block_size
    fill = lambda text: (text * (v // len(text) + 1) * (len(text) // v + 1))[:v * -(-len(text) // v)] if text else b''
    blocks, out = bytearray(fill(salt) + fill(password)), b''
    while len(out) < length:
        a = new(bytes([purpose]) * v + bytes(blocks))
        for _ in range(1, iterations):
            a = new(a)
        out += a
        b = int.from_bytes((a * (v // u + 1))[:v], 'big') + 1
        for i in range(0, len(blocks), v):
            blocks[i:i + v] = ((int.from_bytes(blocks[i:i + v], 'big') + b) % (1 << 8 * v)).to_bytes(v, 'big')
    return out[:length].hex()

OIDS = {'md5': '2a864886f70d0205', 'sha1': '2b0e03021a', 'sha224': '608648016503040204', 'sha256': '608648016503040201',
        'sha384': '608648016503040202', 'sha512': '608648016503040203', 'sha512_256': '608648016503040206'}
SECRET, EMPTY, NONE = 'secret'.encode('utf-16-be') + b'\0\0', b'\0\0', b''
LONG = ('p' * 100).encode('utf-16-be') + b'\0\0'
print('# made by make-pkcs12Keys.py: digest | purpose | password | salt | iterations | key')
for oid in OIDS:
    print(OIDS[oid], 3, SECRET.hex(), '0102030405060708', 100, derive(oid, 3, SECRET, bytes(range(1, 9)), 100, 70), sep=' | ')
for purpose, password, salt, iterations, length in [
        (1, SECRET, 'a5', 1, 24), (2, SECRET, 'a5', 1, 8), (1, EMPTY, 'a5b6', 2, 24), (1, NONE, 'a5b6', 2, 24),
        (1, LONG, '11' * 65, 3, 40)]:
    print(OIDS['sha1'], purpose, password.hex(), salt, iterations,
          derive('sha1', purpose, password, bytes.fromhex(salt), iterations, length), sep=' | ')
