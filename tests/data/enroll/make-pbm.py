#!/usr/bin/env python3
"""Prints pbm.txt's computed rows: ./make-pbm.py (Python's hashlib and hmac; RFC 4211, 4.4)."""
import hashlib
import hmac

CASES = [  # password, salt, digest, iterations, data
    (b'secret', bytes(range(20)), 'sha1', 1000, b'subjectPublicKeyInfo'),
    (b'secret', bytes(range(20)), 'sha1', 1, b''),
    (b'secret', b'', 'sha1', 3, b'a' * 200),
    (b'', b'salt', 'md5', 7, b'data'),
    (bytes([0, 255, 0]), b'\0salt', 'sha1', 0, b'data'),
    (b'secret', b'salt', 'sha256', -1, b'data'),
    (b'secret', b'salt', 'sha1', 100000, b'data'),
]
for password, salt, digest, iterations, data in CASES:
    key = password + salt
    for _ in range(max(iterations, 0)):
        key = hashlib.new(digest, key).digest()
    mac = hmac.new(key, data, 'sha1').hexdigest()
    cells = [password.hex() or '-', salt.hex() or '-', digest, iterations, 'hmac', data.hex() or '-']
    print('mac | ' + ' '.join(map(str, cells)), f'| {key.hex()} {mac} | -')
