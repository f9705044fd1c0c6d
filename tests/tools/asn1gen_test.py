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
        header, source = self.made('''
IMPORTS Name, Text FROM Base { 1 2 3 };
--# class Number
Num ::= INTEGER { one(1) } -- renamed --
id-a OBJECT IDENTIFIER ::= { 1 2 }
A ::= SET (SIZE(1)) {
  id      INTEGER,
  num     Num DEFAULT one,
  open    ANY DEFINED BY id OPTIONAL,
  name    [1] Name,
  text    [2] Text,
  inner   SET OF CHOICE { x NULL, y [30] EXPLICIT ENUMERATED { no(0) } } }''')
        for row in ('{"id", &sxAsnInt::kInfo, offsetof(sxASN_A, id)},',
                    '{"num", &sxASN_Number::kInfo, offsetof(sxASN_A, num), sxAsnElem::kNone, 0, true},',
                    '{"open", &sxAsnAny::kInfo, offsetof(sxASN_A, open), sxAsnElem::kNone, 0, true, 0},',
                    '{"name", &sxASN_Name::kInfo, offsetof(sxASN_A, name), sxAsnElem::kExplicit, 1},',
                    '{"text", &sxAsnUTF8String::kInfo, offsetof(sxASN_A, text), sxAsnElem::kImplicit, 2},',
                    '{"inner", &sxASN_ASetOf::kInfo, offsetof(sxASN_A, inner)},',
                    '{"ASetOfChoice", &sxASN_ASetOfChoice::kInfo},',
                    '{"y", &sxASN_ASetOfChoiceEnum::kInfo, 0, sxAsnElem::kExplicit, 30},'):
            self.assertIn(row, source)
        self.assertIn('sxAsnKind::kSet, false, false, 49, sxAsnCreate<sxASN_A>, sxASN_AElems, 6', source)
        self.assertIn('#include "kxcert/asn1/modules/Base.h"', header)
        self.assertIn('enum { one = 1 };', header)

    def test_tags_are_explicit_where_the_module_says_nothing(self):
        _, source = self.made('A ::= SEQUENCE { x [0] INTEGER, y [1] IMPLICIT INTEGER }', tags='')
        self.assertIn('offsetof(sxASN_A, x), sxAsnElem::kExplicit}', source)
        self.assertIn('offsetof(sxASN_A, y), sxAsnElem::kImplicit, 1}', source)

    def test_refuses(self):
        for body, message in (('A ::= SEQUENCE { x Nothing }', 'unknown type Nothing'),
                              ('A ::= SEQUENCE { x ANY DEFINED BY y, y INTEGER }', 'stands before what defines it'),
                              ('A ::= SEQUENCE { x [31] INTEGER }', 'tag number above 30'),
                              ('A ::= SEQUENCE { x [APPLICATION 1] INTEGER }', 'Mod.asn1:2: only context tags are known'),
                              ('A ::= SEQUENCE { x SEQUENCE OF NULL, y SEQUENCE OF NULL }', 'two inner types are named ASeqOf'),
                              ('Name ::= SEQUENCE { x NULL }', 'sxASN_Name is already a class of Base'),
                              ('A = INTEGER', 'Mod.asn1:2: expected ::=, found INTEGER')):
            with self.subTest(body):
                result = self.generate(body)
                self.assertEqual(1, result.returncode)
                self.assertIn(message, result.stderr)
                self.assertFalse((self.folder / 'Mod.h').exists())


if __name__ == '__main__':
    unittest.main()
