#!/usr/bin/env python3
"""Counts which folder includes which, and fails when one includes what stands above it."""
import collections
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# From the bottom up. What stands beside each other does not include each other.
LAYERS = [['platform'], ['foundation'], ['asn1'], ['keys'], ['cert'], ['store'], ['trust'], ['enroll', 'signedfile']]
# A library of its own, which sees these.
ASIDE = {'fetch': ['platform', 'foundation']}
INCLUDE = re.compile(r'^#include ["<](?:kxcert/)?(\w+)/', re.MULTILINE)


def main():
    level = {folder: n for n, layer in enumerate(LAYERS) for folder in layer}
    level |= {folder: len(LAYERS) for folder in ASIDE}
    counts, wrong = collections.Counter(), []
    for path in sorted([*ROOT.glob('src/**/*'), *ROOT.glob('include/kxcert/**/*')]):
        if path.suffix not in ('.cc', '.h'):
            continue
        parts = path.relative_to(ROOT).parts
        folder = parts[1 if parts[0] == 'src' else 2]
        for included in INCLUDE.findall(path.read_text()):
            if included not in level:
                continue
            counts[folder, included] += 1
            if included not in [folder, *ASIDE.get(folder, [included])] or included != folder and level[included] >= level[folder]:
                wrong.append(f'{path.relative_to(ROOT)} includes {included}/, which stands above {folder}/')
    folders = [folder for folder in level if any(folder in pair for pair in counts)]
    print(' ' * 12 + ''.join(f'{folder:>12}' for folder in folders))
    for folder in folders:
        print(f'{folder:<12}' + ''.join(f"{counts[folder, other] or '-':>12}" for other in folders))
    for line in wrong:
        print(line, file=sys.stderr)
    return 1 if wrong else 0


if __name__ == '__main__':
    sys.exit(main())
