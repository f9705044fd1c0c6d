#!/usr/bin/env python3
"""chainCases.py KXCERT FOLDER: the command's verdict on every case of tests/data/chain.

Cases that want what the command has no option for are passed over. One fault each: the report must list
it at its level, and nothing else. What is left over makes the answer no until the end entity is named.
"""
import json
import pathlib
import subprocess
import sys
import tempfile

NO_OPTION = {'run', 'constraint', 'own-chain', 'intermediates'}
INCONSISTENT = -994
CODES = {'OK': 0, 'BLACK_LISTED': -1002, 'NOT_TRUSTED': -1001, 'NOT_VALID_YET': -999, 'EXPIRED': -998,
         'UNHANDLED_CRITICAL': -997, 'ISSUER_IS_NO_CA': -996, 'PATH_LENGTH_EXCEEDED': -995,
         'BAD_SIGNATURE': -993, 'WRONG_KEY_USAGE': -992}


def read_case(path):
    pairs = [line.split(':', 1) for line in path.read_text().splitlines() if line and line[0] != '#']
    return {key: value.strip() for key, value in pairs}


def left_over(case):
    """Files that must be named as no part of the chain, and the one to judge."""
    used = (case.get('path', '') + ' ' + case['anchor'] + ' ' + case.get('additional', '')).split()
    files = [name for name in case['chain'].split() if name not in used]
    return (files, used[0]) if 'path' in case and 'end-entity' not in case and 'named' not in case else ([], None)


def judge(kxcert, folder, case, black_list):
    args = [kxcert, 'chain', 'verify', '--json', '--at', case['time']]
    for name in case['anchor'].split() + case.get('additional', '').split():
        args += ['--trust', folder / name]
    for option in ('grace-start', 'grace-end'):
        if option in case:
            args += ['--' + option, case[option]]
    if 'blacklist' in case:
        black_list.write_text(case['blacklist'].replace(' ', '\n') + '\n')
        args += ['--blacklist', black_list]
    if 'end-entity' in case:
        args += ['--end-entity', folder / case['end-entity']]
    run = subprocess.run(args + [folder / name for name in case['chain'].split()], capture_output=True, text=True)
    return run.returncode, json.loads(run.stdout)


def main():
    kxcert, cases = sys.argv[1], pathlib.Path(sys.argv[2])
    judged, wrong = 0, []
    with tempfile.TemporaryDirectory() as work:
        for path in sorted(cases.glob('*/case.txt')):
            case = read_case(path)
            if NO_OPTION & set(case):
                continue
            code, _, blamed = case.get('named', case['expect']).partition(' at ')
            extra, named = left_over(case)
            if extra:
                status, got = judge(kxcert, path.parent, case, pathlib.Path(work, 'list'))
                told = ' '.join(cert['input'] for cert in got['leftOver'])
                if (status, got['code']) != (1, INCONSISTENT) or any(name not in told for name in extra):
                    wrong.append(f'{path.parent.name}: {extra} left over, got {got["code"]}, {told}')
                case['end-entity'] = named
            status, got = judge(kxcert, path.parent, case, pathlib.Path(work, 'list'))
            judged += 1
            files = [pathlib.Path(cert['input'].split(' line ')[0]).name for cert in got['path']]
            failed = [(finding['code'], files[finding['level']])
                      for finding in got['findings'] if finding['outcome'] == 'failed']
            want = [] if code == 'OK' else [(CODES[code], blamed or failed[0][1])]
            if got['code'] != CODES[code] or failed != want or status != (0 if code == 'OK' else 1):
                wrong.append(f'{path.parent.name}: expected {case["expect"]}, got {got["code"]}, {failed}')
    print(f'{judged} cases, {len(wrong)} wrong', *wrong, sep='\n')
    return 1 if wrong or judged < 50 else 0


sys.exit(main())
