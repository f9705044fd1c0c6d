#!/usr/bin/env python3
"""Makes the signatures of signatures.txt anew with openssl."""
import base64
import pathlib
import subprocess
import tempfile

HERE = pathlib.Path(__file__).parent
MANY = bytes(i * 7 % 256 for i in range(70000))   # more than two chunks, all values


def octets(cell):
    return MANY if cell == 'many' else cell[1:-1].encode() if cell.startswith('"') else bytes.fromhex(cell)


def signature(key, signed):
    with tempfile.NamedTemporaryFile() as file:
        file.write(signed)
        file.flush()
        return subprocess.run(['openssl', 'dgst', '-sha512', '-sign', HERE / key, file.name],
                              check=True, capture_output=True).stdout


path = HERE / 'signatures.txt'
lines = []
for line in path.read_text().splitlines():
    if not line.startswith('#'):
        cells = line.split('|')[:4]
        _, key, time, content = (cell.strip() for cell in cells)
        line = '|'.join(cells) + '| ' + base64.b64encode(signature(key, octets(time) + octets(content))).decode()
    lines.append(line)
path.write_text('\n'.join(lines) + '\n')
