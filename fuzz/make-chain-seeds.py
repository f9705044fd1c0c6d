#!/usr/bin/env python3
"""Makes the seeds of fuzz_chain from the chains of tests/data/chain: anchor first, each with its length."""
import base64
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
DATA = HERE.parent / 'tests' / 'data' / 'chain'
sys.dont_write_bytecode = True
sys.path.insert(0, str(HERE.parent / 'tests' / 'support'))

from scenarios import read_scenarios    # noqa: E402

CASES = ('sound', 'expired', 'path-length', 'out-of-order', 'name-constraint', 'cross-signed')


def blobs(path):
    for body in re.findall(r'-----BEGIN CERTIFICATE-----(.*?)-----END', path.read_text(), re.S):
        der = base64.b64decode(body)
        yield len(der).to_bytes(2, 'big') + der


def main():
    out = HERE / 'corpus' / 'fuzz_chain'
    out.mkdir(parents=True, exist_ok=True)   # what once failed stays
    for one in read_scenarios(DATA):
        if one.name.startswith(CASES):
            names = one.trusted[:1] + one.sent
            seed = b''.join(blob for name in names for blob in blobs(DATA / 'certs' / f'{name}.pem'))
            (out / one.name).write_bytes(seed)


if __name__ == '__main__':
    main()
