#!/usr/bin/env python3
"""documents.py KXCERT SCHEMA TESTS: what every verb says with --json, held against the schema.

Plays tests/data/command/documents.txt. Every verb of --help must stand there with an answer and with a failure. Each row
runs a second time, elsewhere and with another language and time zone, and must say the same octets. The schema must let
no member pass that it does not list.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import jsonschema

kxcert, schema_file, tests = (pathlib.Path(name).resolve() for name in sys.argv[1:4])
schema = json.loads(schema_file.read_text())
jsonschema.Draft202012Validator.check_schema(schema)
validator = jsonschema.Draft202012Validator(schema)
faults = []
HERE = {'PATH': f'{kxcert.parent}:{os.environ["PATH"]}', 'HOME': '/nonexistent', 'LC_ALL': 'C', 'TZ': 'UTC',
        'KXCERT_CONF_DIR': str(tests.parent / 'packaging/conf'), 'chain': str(tests.parent / 'examples/chain'), 'samples': str(tests / 'data/enroll'),
        'data': str(tests / 'data')}
ELSEWHERE = {**HERE, 'LC_ALL': 'C.UTF-8', 'LANG': 'tr_TR.UTF-8', 'LANGUAGE': 'de', 'TZ': 'Asia/Kathmandu', 'COLUMNS': '40',
             'TERM': 'xterm-256color'}


tried = set()


def objects(part, where=''):
    """Every object in a document, with its place; those of one list have one place, but for their kinds."""
    if isinstance(part, dict):
        where += f' {part["kind"]}' if 'kind' in part else ''
        yield where, part
    for name, item in part.items() if isinstance(part, dict) else enumerate(part) if isinstance(part, list) else ():
        yield from objects(item, f'{where}/{name}' if isinstance(name, str) else where)


def check_strict(document):
    """One more member anywhere, and the document is none; once for each place."""
    for where, part in list(objects(document, document['command'] or '')):
        if where in tried:
            continue
        tried.add(where)
        part['unlisted'] = 1
        if validator.is_valid(document):
            faults.append(f'the schema lets members pass that it does not list: {where}')
        del part['unlisted']


def whole(pairs):
    if len({name for name, _ in pairs}) < len(pairs):
        raise ValueError('a member stands there twice')
    return dict(pairs)


def run(command, folder, environment):
    done = subprocess.run(['bash', '-c', command], cwd=folder, env=environment, capture_output=True)
    return done.returncode, done.stdout, done.stderr.decode()


def deepest(error):
    while error.context:
        error = max(error.context, key=lambda one: len(one.absolute_path))
    return f'{"/".join(str(step) for step in error.absolute_path)}: {error.message[:300]}'


def check(row, code, octets):
    try:
        document = json.loads(octets.decode('ascii'), object_pairs_hook=whole)
    except ValueError as error:
        faults.append(f'{row}: {error}: {octets[:200]}')
        return
    for error in validator.iter_errors(document):
        faults.append(f'{row}: {deepest(error)}')
    if document.get('exitCode') != code:
        faults.append(f'{row}: the document says {document.get("exitCode")}')
    check_strict(document)


def play(rows, folder):
    """Plays the rows. @return the codes that each verb was seen with"""
    seen, setting = {}, ''
    state = pathlib.Path(folder, 'here')
    copy = pathlib.Path(folder, 'a longer name elsewhere')
    state.mkdir()
    for row in rows:
        if row.startswith('$ '):
            setting += row[2:] + '\n' if re.match(r'\$ \w+=', row) else ''
            code, _, error = run(setting + 'set -e\n' + row[2:], state, HERE)
            if code != 0:
                faults.append(f'{row}: {code} {error}')
            continue
        wanted, words = re.fullmatch(r'~?(\d) (.*)', row).groups()
        shutil.rmtree(copy, ignore_errors=True)
        shutil.copytree(state, copy)
        command = f'{setting}kxcert {words} --json'
        code, octets, error = run(command, state, HERE)
        if code != int(wanted):
            faults.append(f'{row}: {code} {error}')
        check(row, code, octets)
        if row[0] != '~' and run(command, copy, ELSEWHERE)[1] != octets:
            faults.append(f'{row}: says something else elsewhere')
        seen.setdefault(' '.join(words.split()[:2]), set()).add(code)
    compare_values(state)
    return seen


def compare_values(state):
    """What is told of certificates and of a CRL, against what openssl says."""
    def said(command):
        return run(command, state, HERE)[1].decode().rstrip('\n')

    def told(file):
        return json.loads(said(f'kxcert cert print --json {file}'))['objects'][0]

    def expect(what, wanted, got):
        if wanted != got:
            faults.append(f'{what}: openssl says {wanted!r}, the document {got!r}')

    def times(file):
        return re.findall('TIME *:(.*)', said(f'openssl asn1parse -in {file}'))[:2]

    def lines(rdns):
        return [' + '.join(f'{one["oid"]}={one["value"]}' for one in rdn) for rdn in rdns]

    def names(kind, file):
        return said(f'openssl {kind} -in {file} -nameopt oid,utf8,sep_multiline,space_eq | sed "s/ = /=/g; s/^ *//"').splitlines()[1:]

    labels = {'DNS': 'DNS', 'IP': 'IP Address', 'URI': 'URI', 'Email': 'email', 'Registered ID': 'Registered ID'}
    uses = {'serverAuth': 'TLS Web Server Authentication'}
    for file in ('leaf.pem', 'www.pem', 'odd.pem', 'sub.pem'):
        cert = told(file)
        expect(file, times(file), [cert['notBeforeWritten'], cert['notAfterWritten']])
        expect(file, said(f'openssl x509 -in {file} -outform DER | sha256sum')[:64], cert['sha256'])
        spki = f'openssl x509 -in {file} -noout -pubkey | openssl pkey -pubin -outform DER | sha256sum'
        expect(file, said(spki)[:64], cert['spkiSha256'])
        expect(file, names('x509 -noout -subject', file), lines(cert['subjectRdns']))
        expect(file, names('x509 -noout -issuer', file), lines(cert['issuerRdns']))
        known = re.findall(r'(?:^ *|, )((?:DNS|IP Address|URI|email|Registered ID):.*?)(?=, [A-Zo][A-Za-z ]*:|, email:|$)',
                           said(f'openssl x509 -in {file} -noout -ext subjectAltName 2>/dev/null'), re.M)
        expect(file, [name.replace('2001:DB8:0:0:0:0:0:1', '2001:db8::1').replace('0:0:0:0:0:0:0:1', '::1') for name in known],
               [f'{labels[name["kind"]]}:{name["value"]}' for name in cert['subjectAltNames'] if name['kind'] in labels])
        known = said(f'openssl x509 -in {file} -noout -ext extendedKeyUsage 2>/dev/null').partition('\n')[2].strip()
        expect(file, known, ', '.join(uses.get(one['name'], one['oid']) for one in cert.get('extKeyUsage', [])))
    crl = told('ca.crl')
    expect('ca.crl', times('ca.crl'), [crl['thisUpdateWritten'], crl['nextUpdateWritten']])
    expect('ca.crl', said('openssl crl -in ca.crl -noout -crlnumber').lower(), f'crlnumber=0x{crl["number"]}')
    expect('ca.crl', said('openssl crl -in ca.crl -noout -text').count('Revocation Date'), crl['revoked'])
    expect('ca.crl', names('crl -noout -issuer', 'ca.crl'), lines(crl['issuerRdns']))


def verbs():
    def listed(*words):
        text = subprocess.run([kxcert, *words, '--help'], capture_output=True, text=True).stdout
        return re.findall(r'^  (\w+)', text.split('Subcommands:')[1], re.M)
    return [f'{noun} {verb}' for noun in listed() for verb in listed(noun)]


lines = (tests / 'data/command/documents.txt').read_text().splitlines()
with tempfile.TemporaryDirectory() as folder:
    seen = play([line for line in lines if line and line[0] != '#'], folder)
for verb in verbs():
    codes = seen.get(verb, set())
    if 0 not in codes or not codes & {1, 3} or 2 not in codes:
        faults.append(f'{verb}: only seen with the codes {sorted(codes)}')
print('\n'.join(faults) or f'{len(seen)} verbs')
sys.exit(bool(faults))
