#!/usr/bin/env python3
"""chainCases.py KXCERT FOLDER: the command's verdict on the scenarios of tests/data/chain.

Those that want what the command has no option for, or that openssl is asked about only, are passed over. One fault
each: the report must list it at its level, and nothing else. What is left over makes the answer no until the end
entity is named.
"""
import json
import pathlib
import subprocess
import sys
import tempfile

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / 'support'))

from scenarios import read_scenarios    # noqa: E402

NO_OPTION = {'run', 'constraint', 'own-chain', 'intermediate', 'reason'}
INCONSISTENT = 'inconsistentChain'
LAST = 'black-list-issuer'    # of those with a fault each; what follows has many shapes, which the library's tests see


def left_over(one):
    """Certificates that must be named as no part of the chain, and the one to judge."""
    used = one.path + one.trusted + one.settings.get('additional', [])
    extra = [name for name in one.sent if name not in used]
    return (extra, one.path[0]) if one.code == 'OK' and not {'end-entity', 'named'} & set(one.settings) else ([], None)


def judge(kxcert, folder, one, black_list, end_entity):
    args = [kxcert, 'chain', 'verify', '--json', '--at', one.time]
    for name in one.trusted + one.settings.get('additional', []):
        args += ['--trust', folder / f'{name}.pem']
    for option in ('grace-start', 'grace-end'):
        if option in one.settings:
            args += ['--' + option, one.settings[option][0]]
    if 'blacklist' in one.settings:
        black_list.write_text('\n'.join(one.settings['blacklist']) + '\n')
        args += ['--blacklist', black_list]
    if end_entity:
        args += ['--end-entity', folder / f'{end_entity}.pem']
    run = subprocess.run(args + [folder / f'{name}.pem' for name in one.sent], capture_output=True, text=True)
    return run.returncode, json.loads(run.stdout)


def main():
    kxcert, data = sys.argv[1], pathlib.Path(sys.argv[2])
    judged, wrong = 0, []
    scenarios = read_scenarios(data)
    names = [one.name for one in scenarios]
    with tempfile.TemporaryDirectory() as work:
        for one in scenarios[:names.index(LAST) + 2]:
            if NO_OPTION & set(one.settings):
                continue
            code, _, blamed = one.settings.get('named', [f'{one.code} at {one.blamed}'])[0].partition(' at ')
            extra, named = left_over(one)
            if extra:
                status, got = judge(kxcert, data / 'certs', one, pathlib.Path(work, 'list'), None)
                told = ' '.join(cert['input'] for cert in got['leftOver'])
                if (status, got['name']) != (1, INCONSISTENT) or any(name not in told for name in extra):
                    wrong.append(f'{one.name}: {extra} left over, got {got["name"]}, {told}')
            end_entity = named if extra else one.settings.get('end-entity', [None])[0]
            status, got = judge(kxcert, data / 'certs', one, pathlib.Path(work, 'list'), end_entity)
            judged += 1
            files = [pathlib.Path(cert['input'].split(' line ')[0]).stem for cert in got['path']]
            failed = [(finding['name'], files[finding['level']])
                      for finding in got['findings'] if finding['outcome'] == 'failed' and finding['decides']]
            want = [] if code == 'OK' else [(code, blamed or failed[0][1])]
            if got['name'] != code or failed != want or status != (0 if code == 'OK' else 1):
                wrong.append(f'{one.name}: expected {code} {blamed}, got {got["name"]}, {failed}')
    print(f'{judged} cases, {len(wrong)} wrong', *wrong, sep='\n')
    return 1 if wrong or judged < 50 else 0


sys.exit(main())
