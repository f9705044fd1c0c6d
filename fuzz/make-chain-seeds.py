#!/usr/bin/env python3
"""Makes the seeds of fuzz_chain from the chains of tests/data/chain: anchor first, each with its length."""
import base64
import pathlib
import re
import shutil

HERE = pathlib.Path(__file__).resolve().parent
CASES = ['sound', 'expired', 'path-length', 'out-of-order', 'root-in-chain', 'name-constraint', 'cross-signed']


def blobs(path):
    for body in re.findall(r'-----BEGIN CERTIFICATE-----(.*?)-----END', path.read_text(), re.S):
        der = base64.b64decode(body)
        yield len(der).to_bytes(2, 'big') + der


def main():
    out = HERE / 'corpus' / 'fuzz_chain'
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir(parents=True)
    for folder in sorted((HERE.parent / 'tests' / 'data' / 'chain').iterdir()):
        case = folder / 'case.txt'
        if not case.is_file() or not any(folder.name.startswith(prefix) for prefix in CASES):
            continue
        keys = dict(re.findall(r'^(\w[\w-]*):\s*(.*)$', case.read_text(), re.M))
        names = keys.get('anchor', '').split()[:1] + keys.get('chain', '').split()
        seed = b''.join(blob for name in names for blob in blobs(folder / name))
        (out / folder.name).write_bytes(seed)


if __name__ == '__main__':
    main()
