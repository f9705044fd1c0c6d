#!/usr/bin/env python3
"""Makes the ASN.1 classes of the library from its module definitions.

Usage: asn1gen.py [--check] [--prefix PATH] [--import FILE]... [--classes FILE]
                  [--types FILE] SOURCE_DIR INCLUDE_DIR MODULE...

Reads SOURCE_DIR/MODULE.asn1 in the order given and writes INCLUDE_DIR/MODULE.h and
SOURCE_DIR/MODULE.cc. With --check nothing is written; the exit code is 1 when a file would change.
PATH is how sources include the headers made. A FILE to import is a module that others import from and
that is only read. The classes FILE gets a table of all classes and members, imported ones first;
the types FILE, which is the library's, one of all classes.

The definitions use the notation of X.208: SEQUENCE, SET, SEQUENCE OF, SET OF, CHOICE, ANY with and
without DEFINED BY, implicit and explicit context tags, OPTIONAL, DEFAULT, IMPORTS. Constraints and
value assignments are passed over. Comments that begin with --# direct the generator:

  --# class NAME     before an assignment: makes a class of it, sxASN_NAME. Types that only rename a
                     primitive type get no class without it, and a name that an earlier module has
                     taken needs another one here.
  --# open           after ANY: held as a sxAsnAny although nothing selects its class
  --# fallback       after an alternative: content that does not decode goes to the last one, an ANY;
                     after ANY DEFINED BY: what does not decode as the type selected is kept raw
  --# zero           before a CHOICE: success of its BDecContent is 0
  --# choice         before an assignment: stands for a CHOICE of one alternative, so that a tag put
                     on it is explicit also where tags are implicit

A type within a type is named after the outer one: ParentSeqOf, ParentSetOf, ParentSeq, ParentSet,
ParentChoice, ParentInt, ParentEnum, ParentBits.
"""
import argparse
import pathlib
import re
import sys

PRIMITIVES = {
    'BOOLEAN': 'sxAsnBool', 'INTEGER': 'sxAsnInt', 'ENUMERATED': 'sxAsnEnum', 'NULL': 'sxAsnNull',
    'OBJECT IDENTIFIER': 'sxAsnOid', 'OCTET STRING': 'sxAsnOcts', 'BIT STRING': 'sxAsnBits',
    'UTF8String': 'sxAsnUTF8String', 'NumericString': 'sxAsnNumericString',
    'PrintableString': 'sxAsnPrintableString', 'TeletexString': 'sxAsnTeletexString',
    'T61String': 'sxAsnT61String', 'VideotexString': 'sxAsnVideotexString', 'IA5String': 'sxAsnIA5String',
    'GraphicString': 'sxAsnGraphicString', 'VisibleString': 'sxAsnVisibleString',
    'ISO646String': 'sxAsnISO646String', 'GeneralString': 'sxAsnGeneralString',
    'UniversalString': 'sxAsnUniversalString', 'BMPString': 'sxAsnBMPString', 'UTCTime': 'sxAsnUTCTime',
    'GeneralizedTime': 'sxAsnGeneralizedTime', 'ObjectDescriptor': 'sxAsnObjectDescriptor',
    'EXTERNAL': 'sxAsnEXTERNAL',
}
HEADERS = {
    'sxAsnBool': 'sxAsnBool', 'sxAsnNull': 'sxAsnBool', 'sxAsnInt': 'sxAsnInt', 'sxAsnEnum': 'sxAsnInt',
    'sxAsnOid': 'sxAsnOid', 'sxAsnBits': 'sxAsnBits', 'sxAsnAny': 'sxAsnAny', 'sxAsnRawAny': 'sxAsnAny',
    'sxAsnEXTERNAL': 'sxAsnEXTERNAL',
}
SUFFIX_OF_NAMED = {'INTEGER': 'Int', 'ENUMERATED': 'Enum', 'BIT STRING': 'Bits'}
KEYWORDS = set('''and asm auto bool break case catch char class const continue default delete do double else enum
explicit export extern false float for friend goto if inline int long mutable namespace new not operator or private
protected public register requires return short signed sizeof static struct switch template this throw true try
typedef typename union unsigned using virtual void volatile while xor'''.split())
TOKEN = re.compile(r'--#[^\n]*|--[^\n]*?(?:--|\n)|::=|\.\.|[{}()\[\],;.|]|[A-Za-z][A-Za-z0-9-]*|-?[0-9]+|"[^"]*"|@')


class Type:
    """A node of a definition: kind, and what belongs to it."""

    def __init__(self, kind, **more):
        self.kind = kind
        self.named = []
        self.definer = None
        self.is_open = False
        self.__dict__.update(more)


class Parser:
    def __init__(self, text, path):
        self.path = path
        self.tokens = [(t, text.count('\n', 0, m.start()) + 1) for m in TOKEN.finditer(text)
                       for t in [m.group(0)] if not t.startswith('--') or t.startswith('--#')]
        self.pos = 0

    def fail(self, what):
        line = self.tokens[min(self.pos, len(self.tokens) - 1)][1]
        sys.exit(f'{self.path}:{line}: {what}')

    def peek(self, ahead=0):
        i = self.pos + ahead
        return self.tokens[i][0] if i < len(self.tokens) else ''

    def next(self):
        self.pos += 1
        return self.tokens[self.pos - 1][0]

    def take(self, *words):
        for i, word in enumerate(words):
            if self.peek(i) != word:
                return False
        self.pos += len(words)
        return True

    def expect(self, *words):
        if not self.take(*words):
            self.fail(f'expected {" ".join(words)}, found {self.peek()}')

    def directive(self, name):
        """The argument of a --# comment that stands next, or None."""
        found = re.match(rf'--#\s*{name}\b\s*(\S*)', self.peek())
        if not found:
            return None
        self.pos += 1
        return found.group(1)

    def skip_group(self, opening, closing):
        depth = 0
        while True:
            token = self.next()
            depth += (token == opening) - (token == closing)
            if depth == 0:
                return

    def module(self):
        name = self.next()
        if self.peek() == '{':
            self.skip_group('{', '}')
        self.expect('DEFINITIONS')
        implicit = self.take('IMPLICIT', 'TAGS')
        if not implicit:
            self.take('EXPLICIT', 'TAGS')
        self.expect('::=', 'BEGIN')
        imports = {}
        if self.take('IMPORTS'):
            names = []
            while not self.take(';'):
                if self.take('FROM'):
                    module = self.next()
                    imports.update({n: module for n in names})
                    names = []
                    if self.peek() == '{':
                        self.skip_group('{', '}')
                elif not self.take(','):
                    names.append(self.next())
        types = []
        while not self.take('END'):
            class_name = self.directive('class')
            zero = self.directive('zero') is not None
            choice = self.directive('choice') is not None
            type_name = self.next()
            if type_name[0].islower():   # a value: passed over
                while self.next() != '::=':
                    pass
                if self.peek() == '{':
                    self.skip_group('{', '}')
                else:
                    self.next()
                continue
            self.expect('::=')
            parsed = self.type()
            types.append((type_name, class_name, zero, choice, parsed))
        return name, implicit, imports, types

    def constraint(self):
        while self.peek() == '(':
            self.skip_group('(', ')')

    def named_values(self):
        named = []
        if self.take('{'):
            while not self.take('}'):
                name = self.next()
                self.expect('(')
                named.append((name, int(self.next())))
                self.expect(')')
                self.take(',')
        return named

    def type(self):
        if self.take('['):
            if not self.peek().isdigit():
                self.fail('only context tags are known')
            number = int(self.next())
            self.expect(']')
            tagging = 'implicit' if self.take('IMPLICIT') else 'explicit' if self.take('EXPLICIT') else None
            return Type('tagged', number=number, tagging=tagging, inner=self.type())
        for first, of in (('SEQUENCE', 'SeqOf'), ('SET', 'SetOf')):
            if self.take(first):
                if self.take('SIZE'):
                    self.constraint()
                if self.peek() == '(':
                    self.constraint()
                if self.take('OF'):
                    return Type(of, inner=self.type())
                return Type('Seq' if of == 'SeqOf' else 'Set', elems=self.elements())
        if self.take('CHOICE'):
            return Type('Choice', elems=self.elements())
        if self.take('ANY'):
            result = Type('any')
            if self.take('DEFINED', 'BY'):
                result.definer = self.next()
            return result
        for words in (('OBJECT', 'IDENTIFIER'), ('OCTET', 'STRING'), ('BIT', 'STRING')):
            if self.take(*words):
                result = Type('primitive', name=' '.join(words))
                result.named = self.named_values()
                self.constraint()
                return result
        name = self.next()
        if name in PRIMITIVES:
            result = Type('primitive', name=name)
            result.named = self.named_values()
        elif name[0].isupper():
            result = Type('ref', name=name)
        else:
            self.fail(f'no type: {name}')
        self.constraint()
        return result

    def elements(self):
        self.expect('{')
        elems = []
        while not self.take('}'):
            name = self.next()
            elem_type = self.type()
            optional = self.take('OPTIONAL')
            if self.take('DEFAULT'):
                optional = True
                if self.peek() == '{':
                    self.skip_group('{', '}')
                else:
                    self.next()
            self.take(',')
            fallback = self.directive('fallback') is not None
            if self.directive('open') is not None:
                elem_type.is_open = True
            elems.append((name, elem_type, optional, fallback))
        return elems


def c_name(name):
    name = name.replace('-', '_')
    return name + '_' if name in KEYWORDS else name


class Class:
    def __init__(self, name, base, kind, **more):
        self.name, self.base, self.kind = name, base, kind
        self.elems, self.named, self.zero, self.comment = [], [], False, ''
        self.__dict__.update(more)


class Elem:
    def __init__(self, name, cls, kind):
        self.name, self.cls, self.kind = name, cls, kind
        self.tagging, self.number, self.optional, self.definer, self.fallback = 'kNone', 0, False, -1, False


class Module:
    """Turns the definitions of one module into classes."""

    def __init__(self, name, implicit, imports, types, done, source, prefix):
        self.name, self.implicit, self.imports, self.done, self.source = name, implicit, imports, done, source
        self.include = f'#include "{prefix}/{name}.h"'
        self.types = {t[0]: t for t in types}
        self.resolved, self.kinds, self.classes, self.uses = {}, {}, [], set()
        for type_name, *_ in types:
            self.resolve(type_name)

    def fail(self, what):
        sys.exit(f'{self.name}: {what}')

    def resolve(self, type_name):
        """(C++ class, kind) of a type name."""
        if type_name in self.resolved:
            return self.resolved[type_name]
        if type_name in self.imports:
            other = self.done[self.imports[type_name]]
            self.uses.add(other.name)
            return other.resolve(type_name)
        if type_name not in self.types:
            self.fail(f'unknown type {type_name}')
        _, class_name, zero, choice, node = self.types[type_name]
        plain_primitive = node.kind == 'primitive' and not node.named
        if node.kind == 'ref' and not class_name:
            result = self.resolve(node.name)
        elif (plain_primitive or node.kind == 'any') and not class_name:
            result = self.primitive(node)
        else:
            own = class_name or c_name(type_name)
            kind = node.kind if node.kind not in ('ref', 'primitive') else 'primitive'
            result = ('sxASN_' + own, kind)
            self.resolved[type_name] = result   # a type may refer to itself
            self.define(own, node, zero)
        if choice:
            result = (result[0], 'Choice')
        self.resolved[type_name] = result
        return result

    def primitive(self, node):
        if node.kind == 'any':
            return ('sxAsnAny' if node.definer or node.is_open else 'sxAsnRawAny', 'any')
        return (PRIMITIVES[node.name], 'primitive')

    def inner_class(self, parent, node):
        """(C++ class, kind) of a type within another."""
        if node.kind == 'ref':
            return self.resolve(node.name)
        if node.kind == 'any' or (node.kind == 'primitive' and not node.named):
            return self.primitive(node)
        suffix = SUFFIX_OF_NAMED[node.name] if node.kind == 'primitive' else node.kind
        own = parent + suffix
        if any(c.name == 'sxASN_' + own for c in self.classes):
            self.fail(f'two inner types are named {own}')
        self.define(own, node, False)
        return ('sxASN_' + own, node.kind)

    def element(self, parent, name, node):
        tagging, number = None, 0
        if node.kind == 'tagged':
            number = node.number
            tagging = node.tagging or ('implicit' if self.implicit else 'explicit')
            if number > 30:
                self.fail(f'{parent}.{name}: tag number above 30')
            inner = node.inner
        else:
            inner = node
        cls, kind = self.inner_class(parent, inner)
        elem = Elem(name, cls, kind)
        if tagging:
            # X.680 30.6: a CHOICE or an open type cannot lose its own tag
            elem.tagging = 'kExplicit' if tagging == 'explicit' or kind in ('Choice', 'any') else 'kImplicit'
            elem.number = number
        elem.definer_name = inner.definer if inner.kind == 'any' else None
        return elem

    def define(self, own, node, zero):
        name = 'sxASN_' + own
        cls = Class(name, None, node.kind, zero=zero)
        if node.kind in ('primitive', 'ref'):
            cls.base = self.primitive(node)[0] if node.kind == 'primitive' else self.resolve(node.name)[0]
            cls.kind, cls.named = 'primitive', node.named
        elif node.kind in ('SeqOf', 'SetOf'):
            cls.elems = [self.element(own, 'element', node.inner)]
            cls.elems[0].name = re.sub(r'^sxA(SN_|sn)', '', cls.elems[0].cls)
        else:
            for elem_name, elem_node, optional, fallback in node.elems:
                elem = self.element(own, elem_name, elem_node)
                elem.optional, elem.fallback = optional, fallback
                cls.elems.append(elem)
            names = [e.name for e in cls.elems]
            for elem in cls.elems:
                if elem.definer_name:
                    elem.definer = names.index(elem.definer_name)
                    if elem.definer >= names.index(elem.name):
                        self.fail(f'{own}.{elem.name} stands before what defines it')
        self.classes.append(cls)   # after the types within it

    # Writing

    def header(self):
        out = [f'// Generated by tools/asn1gen from {self.source}; change that and generate again.', '// clang-format off',
               '/// @file', f'/// The types of {self.name}. See sxAsnConstructed.h for what they share.',
               f'#ifndef KXCERT_ASN1_MODULES_{self.name.upper()}_H_',
               f'#define KXCERT_ASN1_MODULES_{self.name.upper()}_H_', '']
        includes = set()
        for cls in self.classes:
            for used in [cls.base] + [e.cls for e in cls.elems]:
                if used and used.startswith('sxAsn'):
                    includes.add(HEADERS.get(used, 'sxAsnOcts'))
        includes.add('sxAsnConstructed')
        out += [f'#include "kxcert/asn1/{i}.h"' for i in sorted(i for i in includes)]
        out[-len(includes):] = sorted(out[-len(includes):] +
                                      [self.done[u].include for u in self.uses])
        out.append('')
        out += [f'class {c.name};' for c in sorted(self.classes, key=lambda c: c.name)] + ['']
        for cls in self.classes:
            out += self.class_lines(cls) + ['']
        for cls in self.classes:
            if cls.kind == 'Choice':
                for elem in cls.elems:
                    if elem.cls.startswith('sxASN_'):
                        member = c_name(elem.name)
                        out.append(f'inline {elem.cls} *{cls.name}::{member}() const '
                                   f'{{ return static_cast<{elem.cls} *>(Chosen({member}Cid)); }}')
        out += ['', f'/// Registers the open types of {self.name} when it is constructed.',
                f'class {self.name}_InitAny {{', ' public:', f'  {self.name}_InitAny();', '};', '', '#endif', '']
        return '\n'.join(out)

    def class_lines(self, cls):
        base = {'Seq': 'sxAsnSequence', 'Set': 'sxAsnSequence', 'Choice': 'sxAsnChoice'}.get(cls.kind) or cls.base
        if cls.kind in ('SeqOf', 'SetOf'):
            base = f'sxAsnListOf<{cls.elems[0].cls}>'
        out = [f'class KXCERT_EXPORT {cls.name} : public {base} {{', ' public:']
        if cls.kind == 'primitive':
            out.append(f'  using {base}::{base};')
        else:
            out += [f'  {cls.name}() = default;',
                    f'  {cls.name}(const {cls.name} &from) : {base}(from) {{ CopyFrom(from); }}',
                    f'  {cls.name} &operator=(const {cls.name} &from) {{',
                    '    CopyFrom(from);', '    return *this;', '  }']
        if cls.kind in ('Seq', 'Set'):
            out.append(f'  ~{cls.name}() override;')
            out.append('')
            for elem in cls.elems:
                note = '   ///< may be null in what decodes' if elem.optional else ''
                out.append(f'  {elem.cls} *{c_name(elem.name)} = nullptr;{note}')
        if cls.kind == 'Choice':
            out.append('')
            ids = [f'{c_name(e.name)}Cid' for e in cls.elems]
            out.append(f'  enum {{ {", ".join(ids)} }};')
            for elem in cls.elems:
                member = c_name(elem.name)
                out.append(f'  void Set_{member}(const {elem.cls} &value) {{ Choose({member}Cid, value); }}'
                           if elem.cls.startswith('sxAsn') else
                           f'  void Set_{member}(const {elem.cls} &value);')
                out.append(f'  {elem.cls} *{member}() const {{ return static_cast<{elem.cls} *>(Chosen({member}Cid)); }}'
                           if elem.cls.startswith('sxAsn') else
                           f'  {elem.cls} *{member}() const;   ///< lent, null unless chosen')
        if cls.named:
            out.append('')
            values = [f'{c_name(n)} = {v}' for n, v in cls.named]
            out.append(f'  enum {{ {", ".join(values)} }};')
        out += ['', '  static const sxAsnTypeInfo kInfo;', '  const sxAsnTypeInfo *Info() const override;', '};']
        return out

    def sources(self):
        out = [f'// Generated by tools/asn1gen from {self.source}; change that and generate again.', '// clang-format off',
               self.include, '', '#include <cstddef>', '', '#include "asn1/primitive.h"', '']
        for cls in self.classes:
            out += self.record_lines(cls) + ['']
        return '\n'.join(out)

    def record_lines(self, cls):
        out = []
        create = f'sxAsnCreate<{cls.name}>'
        if cls.kind == 'primitive':
            out.append(f'constinit const sxAsnTypeInfo {cls.name}::kInfo = {{"{cls.name}", sxAsnKind::kPrimitive, '
                       f'{str(self.both_forms(cls)).lower()}, false, {self.tag_of(cls)}, {create}, nullptr, 0}};')
        else:
            rows = cls.name + 'Elems'
            out.append(f'static constexpr sxAsnElem {rows}[] = {{')
            for elem in cls.elems:
                offset = f'offsetof({cls.name}, {c_name(elem.name)})' if cls.kind in ('Seq', 'Set') else '0'
                row = [f'"{elem.name}"', f'&{elem.cls}::kInfo', offset, f'sxAsnElem::{elem.tagging}', str(elem.number),
                       str(elem.optional).lower(), str(elem.definer), str(elem.fallback).lower()]
                while len(row) > 2 and row[-1] == {7: 'false', 6: '-1', 5: 'false', 4: '0', 3: 'sxAsnElem::kNone',
                                                   2: '0'}[len(row) - 1]:
                    row.pop()
                out.append(f'    {{{", ".join(row)}}},')
            out.append('};')
            kind = {'Seq': 'kSequence', 'Set': 'kSet', 'SeqOf': 'kSequenceOf', 'SetOf': 'kSetOf', 'Choice': 'kChoice'}[cls.kind]
            tag = {'Seq': 48, 'SeqOf': 48, 'Set': 49, 'SetOf': 49, 'Choice': 0}[cls.kind]
            out.append(f'constinit const sxAsnTypeInfo {cls.name}::kInfo = {{"{cls.name}", sxAsnKind::{kind}, false, '
                       f'{str(cls.zero).lower()}, {tag}, {create}, {rows}, {len(cls.elems)}}};')
        out.append(f'const sxAsnTypeInfo *{cls.name}::Info() const {{ return &kInfo; }}')
        if cls.kind in ('Seq', 'Set'):
            out.append(f'{cls.name}::~{cls.name}() {{ DestroyElems(*this, kInfo); }}')
        if cls.kind == 'Choice':
            for elem in cls.elems:
                if elem.cls.startswith('sxASN_'):
                    member = c_name(elem.name)
                    out.append(f'void {cls.name}::Set_{member}(const {elem.cls} &value) {{ Choose({member}Cid, value); }}')
        return out

    def primitive_base(self, cls):
        base = cls.base
        while base.startswith('sxASN_'):
            base = next(c.base for m in list(self.done.values()) + [self] for c in m.classes if c.name == base)
        return base

    TAGS = {'sxAsnBool': 1, 'sxAsnInt': 2, 'sxAsnBits': 3, 'sxAsnOcts': 4, 'sxAsnNull': 5, 'sxAsnOid': 6,
            'sxAsnObjectDescriptor': 7, 'sxAsnEnum': 10, 'sxAsnUTF8String': 12, 'sxAsnNumericString': 18,
            'sxAsnPrintableString': 19, 'sxAsnTeletexString': 20, 'sxAsnT61String': 20, 'sxAsnVideotexString': 21,
            'sxAsnIA5String': 22, 'sxAsnUTCTime': 23, 'sxAsnGeneralizedTime': 24, 'sxAsnGraphicString': 25,
            'sxAsnVisibleString': 26, 'sxAsnISO646String': 26, 'sxAsnGeneralString': 27, 'sxAsnUniversalString': 28,
            'sxAsnBMPString': 30}

    def tag_of(self, cls):
        return self.TAGS[self.primitive_base(cls)]

    def both_forms(self, cls):
        return self.primitive_base(cls) not in ('sxAsnBool', 'sxAsnInt', 'sxAsnNull', 'sxAsnOid', 'sxAsnEnum')


def type_table(modules, target):
    """A source with the record of every class: kAllTypes for allTypes.cc, with a header of that name."""
    stem = target.stem[0].upper() + target.stem[1:]
    out = ['// Generated by tools/asn1gen from all modules; generate again when one changes.', '// clang-format off',
           f'#include "asn1/modules/{target.stem}.h"', '']
    out += sorted(m.include for m in modules) + ['', f'const sxAsnTypeInfo *const k{stem}[] = {{']
    out += [f'    &{c.name}::kInfo,' for m in modules for c in m.classes]
    out += ['};', f'const int kNum{stem} = static_cast<int>(sizeof k{stem} / sizeof k{stem}[0]);', '']
    return '\n'.join(out)


def main():
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument('--check', action='store_true')
    ap.add_argument('--prefix', default='kxcert/asn1/modules')
    ap.add_argument('--import', dest='imports', action='append', default=[], type=pathlib.Path)
    ap.add_argument('--types', type=pathlib.Path)
    ap.add_argument('source_dir', type=pathlib.Path)
    ap.add_argument('include_dir', type=pathlib.Path)
    ap.add_argument('modules', nargs='+')
    args = ap.parse_args()
    done, outputs, taken = {}, [], {}
    own = [args.source_dir / (name + '.asn1') for name in args.modules]
    for path in args.imports + own:
        parsed = Parser(path.read_text(), path).module()
        module = Module(*parsed, done, path.name, args.prefix if path in own else 'kxcert/asn1/modules')
        done[module.name] = module
        for cls in module.classes:
            if cls.name in taken:
                sys.exit(f'{path}: {cls.name} is already a class of {taken[cls.name]}')
            taken[cls.name] = module.name
        if path in own:
            outputs += [(args.include_dir / (path.stem + '.h'), module.header()),
                        (args.source_dir / (path.stem + '.cc'), module.sources())]
    if args.types:
        outputs.append((args.types, type_table([done[name] for name in args.modules], args.types)))
    stale = [(target, text) for target, text in outputs if not target.exists() or target.read_text() != text]
    if args.check and stale:
        sys.exit('generated files differ from their definitions: ' + ', '.join(str(t) for t, _ in stale))
    for target, text in stale:
        target.write_text(text)


if __name__ == '__main__':
    main()
