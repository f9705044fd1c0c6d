#!/usr/bin/env python3
"""Changes single lines of the production code and lists those changes that no test notices.

  tools/mutate.py make --seed N [--count 150] >LIST    chooses changes: a line each, file, old and new line
  tools/mutate.py run LIST OUT [--jobs J]               builds and tests each; survivors and rates

A change flips a comparison or a condition, drops a guard or a statement, moves a bound, or swaps a
constant. A list outlives moved lines and files: a line is looked for by its text, in its file first. Each
job works in a copy of the tree (below --scratch), with the unit tests first and the tests of the command
for what they let pass. What does not compile is no change and is counted apart.
"""
import argparse
import collections
import concurrent.futures
import pathlib
import queue
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
SOURCES = ['src', 'tools/kxcert', 'tools/offloadd']
UNIT_LIMIT_S, REST_LIMIT_S = 300, 300
REST = 'command|agreement'

SKIPPED = re.compile(r'^\s*(//|#|\*|}|static_assert|using |namespace |template|case |default:|public:|private:)|'
                     r'herror_func|tderrorFunc|Fail\(|hex_herror|^\s*$|^\s*[{});,]+\s*$')
SWAPS = [('<=', '<'), ('>=', '>'), (' < ', ' <= '), (' > ', ' >= '), ('==', '!='), ('!=', '=='), (' && ', ' || '),
         (' || ', ' && '), ('true', 'false'), ('false', 'true'), (' + 1', ''), (' - 1', ''), ('++', '--')]
NUMBER = re.compile(r'(?<![\w.])(\d+)(?![\w.xX])')
GUARD = re.compile(r'^\s*if \(.*\) (return|continue|break)\b.*;\s*(//.*)?$')
STATEMENT = re.compile(r'^\s+(?!return|const |auto |static |break|continue|delete )[\w.\->\[\]:*]+(\(.*\)|\s*[+|&-]?= [^;]+);\s*(//.*)?$')


def changes_of(line):
    """All changed forms of a line, by kind."""
    if SKIPPED.search(line):
        return []
    code = line.split('//')[0]
    found = []
    if GUARD.match(line):
        found.append('')
    elif STATEMENT.match(line) and code.count('(') == code.count(')'):
        found.append('')
    text = re.sub(r'"[^"]*"', lambda m: '\0' * len(m.group()), code)   # literals stay as they are
    for old, new in SWAPS:
        if old in text and not (old in ('<=', '>=') and '<=>' in text):
            at = text.index(old)
            found.append(line[:at] + new + line[at + len(old):])
    for number in NUMBER.finditer(text):
        found.append(line[:number.start()] + str(int(number.group()) + 1) + line[number.end():])
    return found


def production_files(root):
    for folder in SOURCES:
        for path in sorted((root / folder).rglob('*')):
            if path.suffix in ('.cc', '.h') and 'generated' not in path.read_text().split('\n', 1)[0].lower():
                yield path


def lines_of(revision):
    """Lines that stand once in the production code of a revision."""
    listed = subprocess.run(['git', 'ls-tree', '-r', '--name-only', revision, *SOURCES], cwd=ROOT, check=True,
                            capture_output=True, text=True).stdout.split()
    counts = collections.Counter()
    for name in listed:
        counts.update(subprocess.run(['git', 'show', f'{revision}:{name}'], cwd=ROOT, check=True, capture_output=True,
                                     text=True, errors='replace').stdout.split('\n'))
    return {line for line, count in counts.items() if count == 1}


def make(args):
    rng = random.Random(args.seed)
    also = lines_of(args.also) if args.also else None
    by_folder = collections.defaultdict(list)
    for path in production_files(ROOT):
        lines = path.read_text().split('\n')
        for line in lines:
            if lines.count(line) == 1 and changes_of(line) and (also is None or line in also):
                name = str(path.relative_to(ROOT))
                by_folder['/'.join(name.split('/')[:2])].append((name, line))
    total = sum(len(lines) for lines in by_folder.values())
    for folder in sorted(by_folder):
        lines = by_folder[folder]
        wanted = max(args.least, round(args.count * len(lines) / total))
        for name, line in rng.sample(lines, min(wanted, len(lines))):
            print('\t'.join([name, line, rng.choice(changes_of(line))]))


def find(tree, name, line):
    """The file that holds the line now: where it was, else the only one that has it."""
    path = tree / name
    if path.exists() and path.read_text().split('\n').count(line) == 1:
        return path
    holders = [p for p in production_files(tree) if p.read_text().split('\n').count(line) == 1]
    return holders[0] if len(holders) == 1 else None


def command(words, cwd, seconds):
    try:
        return subprocess.run(words, cwd=cwd, capture_output=True, timeout=seconds).returncode
    except subprocess.TimeoutExpired:
        return 'timed out'


def suites_of(tree, name):
    """The filter of the suites beside a source file: they run first, because they notice most."""
    suites = set()
    for test in (tree / 'tests' / pathlib.Path(name).parts[1]).glob('*_test.cc'):
        suites.update(re.findall(r'^TEST(?:_[FP])?\((\w+),', test.read_text(), re.M))
    return ':'.join(f'{suite}.*:*/{suite}.*' for suite in sorted(suites))


def judge(tree, build, unfit, unit_only, change):
    name, old, new = change
    path = find(tree, name, old)
    if path is None:
        return 'gone'
    before = path.read_text()
    path.write_text('\n'.join(new if line == old else line for line in before.split('\n')))
    try:
        if command(['cmake', '--build', build, '--target', 'kxcert_tests'], tree, 1200) != 0:
            return 'does not compile'
        tests = [f'{build}/tests/kxcert_tests', '--gtest_fail_fast', '--gtest_brief=1']
        near = suites_of(tree, name)
        without = ':'.join(unfit)
        for chosen in ([f'{near}-{without}'] if near else []) + [f'*-{near}:{without}']:
            if command([*tests, f'--gtest_filter={chosen}'], tree, UNIT_LIMIT_S) != 0:
                return 'killed'
        if unit_only:
            return 'survives'
        command(['cmake', '--build', build], tree, 1200)
        return 'killed' if command(['ctest', '--test-dir', build, '-R', REST], tree, REST_LIMIT_S) != 0 else 'survives'
    finally:
        path.write_text(before)


def prepare(scratch, number, preset, revision):
    """A copy of what is committed, built; its tests that do not pass."""
    tree = scratch / f'tree{number}'
    if not tree.exists():
        subprocess.run(['git', 'clone', '-q', '--shared', ROOT, tree], check=True)
    subprocess.run(['git', 'fetch', '-q', 'origin'], cwd=tree, check=True)
    commit = subprocess.run(['git', 'rev-parse', revision], cwd=ROOT, check=True, capture_output=True, text=True).stdout
    subprocess.run(['git', 'checkout', '-q', '-f', commit.strip()], cwd=tree, check=True)
    build = tree / 'build' / preset
    launcher = ['-DCMAKE_CXX_COMPILER_LAUNCHER=ccache'] if shutil.which('ccache') else []
    for words in (['cmake', '--preset', preset, '-DKXCERT_WERROR=OFF', *launcher], ['cmake', '--build', '--preset', preset],
                  ['ctest', '--preset', preset, '-R', REST]):
        if subprocess.run(words, cwd=tree, stdout=subprocess.DEVNULL).returncode != 0:
            sys.exit(f'the unchanged tree fails: {words}')
    # What fails when all run in one process says nothing about a change.
    all_tests = subprocess.run([f'{build}/tests/kxcert_tests', '--gtest_brief=1'], cwd=tree, capture_output=True, text=True)
    unfit = sorted(set(re.findall(r'\[  FAILED  \] ([\w/.]+)', all_tests.stdout)))
    print('left out:', *unfit, file=sys.stderr, flush=True)
    return tree, str(build), unfit


def run(args):
    """Appends a line to OUT for each change: verdict, then the change. What OUT judged before is not tried again."""
    known = {}
    if args.out.exists():
        for line in args.out.read_text().splitlines():
            verdict, change = line.split('\t', 1)
            known[change] = verdict
    changes = [line for line in args.list.read().splitlines() if line and line not in known]
    if changes:
        free = queue.Queue()
        for number in range(args.jobs):
            free.put(prepare(pathlib.Path(args.scratch), number, args.preset, args.revision))

        def one(change):
            place = free.get()
            try:
                return change, judge(*place, args.unit_only, change.split('\t'))
            finally:
                free.put(place)

        with concurrent.futures.ThreadPoolExecutor(args.jobs) as pool, args.out.open('a') as out:
            for job in concurrent.futures.as_completed([pool.submit(one, change) for change in changes]):
                change, verdict = job.result()
                print(verdict, change, sep='\t', file=out, flush=True)
    report(args.out)


def report(out):
    tally = collections.defaultdict(collections.Counter)
    for line in out.read_text().splitlines():
        verdict, name, old, new = line.split('\t')
        tally['/'.join(name.split('/')[:2])][verdict] += 1
        if verdict == 'survives':
            print(f'{name}\n  - {old.strip()}\n  + {new.strip()}')
    total = collections.Counter()
    for folder, counts in sorted(tally.items()) + [('all', total)]:
        if folder != 'all':
            total.update(counts)
        judged = counts['killed'] + counts['survives']
        rate = f"{100 * counts['killed'] / judged:.0f} %" if judged else '-'
        print(f"{folder}: {counts['killed']} of {judged} noticed ({rate}), "
              f"{counts['does not compile']} no code, {counts['gone']} gone")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    verbs = parser.add_subparsers(required=True)
    maker = verbs.add_parser('make')
    maker.add_argument('--seed', type=int, required=True)
    maker.add_argument('--count', type=int, default=150)
    maker.add_argument('--least', type=int, default=5, help='of each folder')
    maker.add_argument('--also', metavar='REVISION', help='only lines that stand once in that revision too')
    maker.set_defaults(func=make)
    runner = verbs.add_parser('run')
    runner.add_argument('list', type=argparse.FileType())
    runner.add_argument('out', type=pathlib.Path)
    runner.add_argument('--unit-only', action='store_true', help='leave the tests of the command out')
    runner.add_argument('--preset', default='debug')
    runner.add_argument('--revision', default='HEAD', help='whose tests are asked')
    runner.add_argument('--jobs', type=int, default=1)
    runner.add_argument('--scratch', default='/var/tmp/kxcert-mutate')
    runner.set_defaults(func=run)
    args = parser.parse_args()
    args.func(args)


if __name__ == '__main__':
    main()
