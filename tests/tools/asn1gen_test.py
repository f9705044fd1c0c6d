#!/usr/bin/env python3
"""Tests of the ASN.1 generator: what it makes of small modules, and what it refuses."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
GENERATOR = ROOT / 'tools/asn1gen/asn1gen.py'
BASE = 'Base DEFINITIONS IMPLICIT TAGS ::= BEGIN\n--# choice\nName ::= SEQUENCE OF INTEGER\nText ::= UTF8String\nEND\n'


def cases(name):
    return [line for line in (ROOT / 'tests/data/tools' / name).read_text().splitlines() if not line.startswith('#')]


class GeneratorTest(unittest.TestCase):
    def setUp(self):
        area = tempfile.TemporaryDirectory()
        self.addCleanup(area.cleanup)
        self.folder = pathlib.Path(area.name)
        (self.folder / 'Base.asn1').write_text(BASE)

    def generate(self, body, *options, tags='IMPLICIT TAGS'):
        (self.folder / 'Mod.asn1').write_text(f'Mod DEFINITIONS {tags} ::= BEGIN\n{body}\nEND\n')
        return subprocess.run([sys.executable, GENERATOR, *options, self.folder, self.folder, 'Base', 'Mod'],
                              capture_output=True, text=True, check=False)

    def made(self, body, **more):
        result = self.generate(body, **more)
        self.assertEqual((0, ''), (result.returncode, result.stderr))
        return (self.folder / 'Mod.h').read_text(), (self.folder / 'Mod.cc').read_text()

    def test_tree_is_up_to_date(self):
        result = subprocess.run([ROOT / 'scripts/generate.sh', '--check'], capture_output=True, text=True, check=False)
        self.assertEqual((0, ''), (result.returncode, result.stderr))

    def test_check_says_what_would_change_and_writes_nothing(self):
        self.made('A ::= SEQUENCE { x INTEGER }')
        self.assertEqual(0, self.generate('A ::= SEQUENCE { x INTEGER }', '--check').returncode)
        before = (self.folder / 'Mod.cc').read_text()
        result = self.generate('A ::= SEQUENCE { y INTEGER }', '--check')
        self.assertEqual(1, result.returncode)
        self.assertIn('Mod.cc', result.stderr)
        self.assertNotIn('Base', result.stderr)
        self.assertEqual(before, (self.folder / 'Mod.cc').read_text())

    def test_rows_read_like_the_definition(self):
        lines = cases('everyKind.txt')
        written = '\n'.join(self.made('\n'.join(line for line in lines if not line.startswith('| '))))
        for line in lines:
            if line.startswith('| '):
                self.assertIn(line[2:], written)

    def test_tags_are_explicit_where_the_module_says_nothing(self):
        _, source = self.made('A ::= SEQUENCE { x [0] INTEGER, y [1] IMPLICIT INTEGER }', tags='')
        self.assertIn('offsetof(sxASN_A, x), sxAsnElem::kExplicit}', source)
        self.assertIn('offsetof(sxASN_A, y), sxAsnElem::kImplicit, 1}', source)

    def test_refuses(self):
        for line in cases('refusedModules.txt'):
            body, message = (cell.strip() for cell in line.split('|'))
            with self.subTest(body):
                result = self.generate(body)
                self.assertEqual(1, result.returncode)
                self.assertIn(message, result.stderr)
                self.assertFalse((self.folder / 'Mod.h').exists())


if __name__ == '__main__':
    unittest.main()
