#!/usr/bin/env python3
"""words.py KXCERT PACKAGING: what --help tells of every verb is what completion and the man page know, what a
misspelt word is answered with, and what the examples do."""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

kxcert, packaging = sys.argv[1], pathlib.Path(sys.argv[2]).resolve()
path = f'{pathlib.Path(kxcert).parent}:{os.environ["PATH"]}'
faults = []


def run(*words):
    return subprocess.run([kxcert, *words], capture_output=True, text=True)


def expect(what, wanted, got):
    if wanted != got:
        faults.append(f'{what}: expected {wanted}, got {got}')


def listed(text):
    """Names of the rows below "Subcommands:"."""
    return re.findall(r'^  (\w+)', text.split('Subcommands:')[1], re.M)


class Help:
    """Options and arguments, each with the values that its row lists."""
    def __init__(self, command):
        self.text = run(*command, '--help').stdout
        self.values = {}
        for row in re.findall(r'^  (\S.*)', self.text.split('\nExample:')[0], re.M):
            name = re.sub(r'\{.*|,$', '', row.split()[0].split(',')[-1])
            words = re.match(r'\S+(?: \w+:)? (\S+\|\S+)', row)
            self.values[name] = words.group(1).split('|') if words else []
        self.options = {name for name in self.values if name.startswith('-')}
        self.arguments = [name for name in self.values if not name.startswith('-')]
        self.example = re.sub('^  ', '', self.text.partition('\nExample:\n')[2], flags=re.M)


class Completion:
    """A bash that has loaded the completion, in a folder that has the folder "cert", and answers one line after the other;
    with FILES in front where these are offered as such."""
    def __init__(self):
        self.folder = tempfile.TemporaryDirectory()
        os.mkdir(f'{self.folder.name}/cert')
        script = f'. {packaging}/completion/kxcert\n' + r'''compopt() { files=FILES; }
            while IFS= read -r line; do
            IFS=' ' read -ra COMP_WORDS <<<"kxcert $line"; [[ $line != *' ' && -n $line ]] || COMP_WORDS+=('')
            COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); COMPREPLY=(); files=; _kxcert; echo $files "${COMPREPLY[@]}"; done'''
        self.shell = subprocess.Popen(['bash', '-c', script], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                      cwd=self.folder.name, env={**os.environ, 'PATH': path, 'KXCERT_CONF_DIR': str(packaging / 'conf')})

    def of(self, line):
        self.shell.stdin.write(line + '\n')
        self.shell.stdin.flush()
        return self.shell.stdout.readline().split()


completion = Completion()
man = (packaging / 'man/kxcert.1').read_text()


def swapped(word):
    """The word with its last two different neighbours in each other's place."""
    at = max(i for i in range(len(word) - 1) if word[i] != word[i + 1] and word[i] != '-')
    return word[:at] + word[at + 1] + word[at] + word[at + 2:]


def check_misspelt(command, word, kind):
    wrong = swapped(word)
    answer = run(*command, wrong)
    expect(f'{command} {wrong}', (2, True),
           (answer.returncode, f'unknown {kind} "{wrong}"' in answer.stderr and f'did you mean "{word}"?' in answer.stderr))


def check_verb(noun, verb):
    known = Help((noun, verb))
    line = f'{noun} {verb}'
    expect(f'options of {line}', known.options - {'-h'}, set(completion.of(f'{line} -')))
    first = [word for word in completion.of(f'{line} ') if word != ''] if known.arguments else []
    if known.arguments and known.values[known.arguments[0]]:
        expect(f'first argument of {line}', known.values[known.arguments[0]], first)
    for name in known.options:
        if known.values[name]:
            expect(f'{line} {name}', known.values[name], completion.of(f'{line} {name} '))
            answer = run(noun, verb, name, 'nothing')
            expect(f'{line} {name} nothing', (2, True), (answer.returncode, 'unknown' in answer.stderr))
        if name not in ('-h', '--version') and name.replace('-', '\\-') not in man:
            faults.append(f'{name} of {line} is not in the man page')
        if len(name) > 5:
            check_misspelt((noun, verb), name, 'option')
    if f'.B kxcert {line}' not in man:
        faults.append(f'{line} is not in the man page')
    expect(f'{line} --version', run('--version').stdout, run(noun, verb, '--version').stdout)
    with tempfile.TemporaryDirectory() as folder:
        played = subprocess.run(['bash', '-e', '-c', known.example], cwd=folder, capture_output=True, text=True,
                                env={**os.environ, 'PATH': path})
    if played.returncode != 0 or f'kxcert {line}' not in known.example:
        faults.append(f'example of {line}: {played.returncode}\n{known.example}{played.stderr}')


nouns = listed(run('--help').stdout)
expect('nouns', nouns, [word for word in completion.of('') if word[0] != '-'])
for noun in nouns:
    verbs = listed(run(noun, '--help').stdout)
    expect(f'verbs of {noun}', verbs, [word for word in completion.of(f'{noun} ') if word[0] != '-'])
    if len(noun) > 2:
        check_misspelt((), noun, 'noun')
    for verb in verbs:
        if len(verb) > 2:
            check_misspelt((noun,), verb, 'verb')
        check_verb(noun, verb)
for line, wanted in {'ce': 'cert', 'cert': 'cert', 'cert print ': 'FILES cert', 'cert print --level ce': '',
                     'key gen rsa ': '2048 3072 4096', 'key gen ec ': 'P-256 P-384 P-521',
                     'key gen dh 1': '1 14 15 16 17 18'}.items():
    expect(line, wanted.split(), completion.of(line))
expect('no files but by compopt', True, '\ncomplete -F' in (packaging / 'completion/kxcert').read_text())
expect('types', True, len(completion.of('cert asn1 Cert')) > 3 and 'Certificate' in completion.of('cert asn1 Cert'))
expect('rules behind a sign', ['purpose'], completion.of('chain verify --strict = purpose')[:1])
print('\n'.join(faults) or f'{len(nouns)} nouns')
sys.exit(bool(faults))
