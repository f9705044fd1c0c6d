#!/usr/bin/env python3
"""Plays what other programs write and read against this tree's command, and prints which went well as a table.

matrix.py KXCERT ROWS. ROWS has "[section]" lines and rows "PEER | WHAT | COMMAND": a line of bash that is to end with
0, in a folder that a kind of key has for all its rows. WHAT may end with "(not KIND[,KIND]: REASON)", which says for
which kinds it must fail, and why that is right. Rows of a peer that is not installed are left out, and said to be.
"""
import concurrent.futures
import os
import shutil
import subprocess
import sys
import tempfile

KINDS = ('rsa2048', 'rsa4096', 'p256', 'p384', 'p521')
SETUP = {kind: '-algorithm RSA -pkeyopt rsa_keygen_bits:' + kind[3:] if kind.startswith('rsa')
         else '-algorithm EC -pkeyopt ec_paramgen_curve:P-' + kind[1:] for kind in KINDS}
TIMEOUT_S = 120


def read_rows(path):
    rows, section = [], ''
    for line in open(path, encoding='utf-8'):
        line = line.rstrip('\n')
        if line.startswith('['):
            section = line[1:line.index(']')]
        elif line and not line.startswith('#'):
            peer, what, command = line.split(' | ', 2)
            what, _, exception = what.partition(' (not ')
            failing = exception.split(':')[0].split(',') if exception else []
            assert set(failing) <= set(KINDS), line
            rows.append((section, peer, what, failing, command))
    return rows


def run(command, folder, kind):
    shell = 'set -euo pipefail\nkind=%s\n%s' % (kind, command)
    try:
        done = subprocess.run(['bash', '-c', shell], cwd=folder, timeout=TIMEOUT_S, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    except subprocess.TimeoutExpired:
        return 'took longer than %d s' % TIMEOUT_S
    return None if done.returncode == 0 else 'exit %d\n%s' % (done.returncode, done.stdout.decode(errors='replace'))


def play(kind, rows, folder):
    """One folder's rows, in order, as later ones use what earlier ones left."""
    error = run('openssl genpkey %s -out key.pem && openssl req -x509 -new -key key.pem -subj "/CN=matrix $kind" '
                '-days 90 -out cert.pem' % SETUP[kind], folder, kind)
    if error:
        sys.exit('%s: %s' % (kind, error))
    return [run(command, folder, kind) for *_, command in rows]


def cell(error, must_fail):
    if must_fail:
        return 'refused' if error else 'WORKS'
    return 'NO' if error else 'ok'


def main():
    kxcert, rows = os.path.abspath(sys.argv[1]), read_rows(sys.argv[2])
    os.environ['PATH'] = os.path.dirname(kxcert) + ':' + os.environ['PATH']
    os.environ['LC_ALL'] = 'C.UTF-8'
    present = [row for row in rows if shutil.which(row[1])]
    for peer in sorted({row[1] for row in rows} - {row[1] for row in present}):
        print('left out: %s is not installed' % peer)
    with tempfile.TemporaryDirectory() as top, concurrent.futures.ThreadPoolExecutor(2) as pool:
        folders = [os.path.join(top, kind) for kind in KINDS]
        for folder in folders:
            os.mkdir(folder)
        columns = list(pool.map(play, KINDS, [present] * len(KINDS), folders))
    faults, last = [], ''
    for i, (section, peer, what, failing, command) in enumerate(present):
        if section != last:
            print('\n%-56s' % section + ''.join('%-9s' % kind for kind in KINDS))
            last = section
        cells = [cell(columns[k][i], kind in failing) for k, kind in enumerate(KINDS)]
        print('  %-10s%-44s' % (peer, what) + ''.join('%-9s' % text for text in cells))
        faults += ['%s: %s %s, %s: %s\n%s' % (text, section, peer, what, KINDS[k], columns[k][i] or command)
                   for k, text in enumerate(cells) if text in ('NO', 'WORKS')]
    print('\n%d rows for %d kinds of key, %d not as they should be' % (len(present), len(KINDS), len(faults)))
    print('\n'.join(faults))
    return 1 if faults or not present else 0


sys.exit(main())
