#!/usr/bin/env python3
"""Makes certs/ from certs.txt, which says how a line is read.

    make.py           makes all of them anew: the keys are fixed, so the same octets come out every time
    make.py --check   writes nothing; fails when a file is missing, differs or is not made here

certs/made-from holds the digest of certs.txt: tests compare that, and make nothing.
"""
import hashlib
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
TABLE, CERTS, STAMP = HERE / "certs.txt", HERE / "certs", "made-from"
sys.dont_write_bytecode = True
sys.path.insert(0, str(HERE.parent.parent / "support"))

from certbuilder import KEYS, certificate, key_id, authority_key_id, subject_key_id   # noqa: E402
from signingkeys import oid, sequence, tlv   # noqa: E402

YEARS = {"ca": ("2020-01-01", "2035-01-01"), "leaf": ("2029-01-01", "2031-01-01")}
NUMBERS = {"path-len", "serial", "version"}
TOKEN = re.compile(r'\s*(#[\d.]+|@[\w.-]*|"[^"]*"|[0-9A-Fa-f]{2}!?|[{<}>]|\*\d+|\S)')


def octets(text, names):
    """Octets of the notation; names maps what follows "@"."""
    tokens = TOKEN.findall(text)[::-1]

    def until(end):
        made = []
        while tokens and tokens[-1] != end:
            token = tokens.pop()
            if token[0] == "#":
                made.append(oid(token[1:]))
            elif token[0] == "@":
                known = token[1:] in names
                made.append(names[token[1:]] if known else names[token[1:-2]][:-1])    # without its last one
            elif token[0] == '"':
                made.append(token[1:-1].encode())
            elif token[0] == "*":
                made[-1] *= int(token[1:])
            else:
                made.append(element(int(token[:2], 16), token.endswith("!")))
        assert (tokens.pop() if tokens else None) == end, text
        return b"".join(made)

    def element(tag, long):
        if not tokens or tokens[-1] not in "{<":
            return bytes([tag])
        if tokens.pop() == "<":
            return bytes([tag, 0x80]) + until(">") + b"\0\0"
        content = until("}")
        return bytes([tag, 0x84]) + len(content).to_bytes(4, "big") + content if long else tlv(tag, content)

    return until(None)


def build(role, subject, key, issuer, changes, named):
    """One certificate. Changes that certificate() does not take are octets in place of others."""
    names = {**named, "ski": subject_key_id(key_id(key)),
             "aki": authority_key_id(key_id(issuer.key if issuer else key))}

    def read(text, replaced=b""):
        return octets(text, {**names, "": replaced})

    options = {"ca": role == "ca", "not_before": YEARS[role][0], "not_after": YEARS[role][1]}
    for key_word, value in changes.items():
        option = key_word.replace("-", "_")
        if key_word in NUMBERS:
            options[option] = int(value)
        elif key_word in ("extensions", "more"):
            options[option] = [] if value == "-" else [read(value)]
        elif key_word in ("algorithm", "spki"):
            options[option] = read(value)
        elif key_word == "issuer-name" and "{" in value:
            options[option] = read(value)
        elif key_word == "altered":
            options[option] = True
        elif option in ("digest", "not_before", "not_after", "issuer_name"):
            options[option] = value.replace("\\0", "\0")
    parts = {int(word[4:]): text for word, text in changes.items() if re.fullmatch(r"part\d", word)}

    def edit(elements):
        return [read(parts[at], der) if at in parts else der for at, der in enumerate(elements)]

    def inner(*elements):
        return read(changes.get("tbs", "30{@}"), b"".join(elements))

    def wrap(tbs, algorithm, signature):
        algorithm = read(changes["outer-algorithm"]) if "outer-algorithm" in changes else algorithm
        if "signature" in changes:
            header = 4 + (signature[1] & 0x7F if signature[1] >= 0x80 else 0) - 1    # tag, length, unused bits
            signature = read(changes["signature"], signature[header:])
        whole = read(changes.get("outer", "30{@}"), tbs + algorithm + signature)
        return whole[:len(whole) - int(changes.get("drop", 0))]

    unknown = set(changes) - NUMBERS - {
        "extensions", "more", "algorithm", "spki", "issuer-name", "altered", "digest", "not-before", "not-after",
        "tbs", "outer", "outer-algorithm", "signature", "drop", *(f"part{at}" for at in parts)}
    assert not unknown, unknown
    return certificate(subject.replace("\\0", "\0"), key, issuer, edit=edit, inner=inner, wrap=wrap, **options)


def make_all():
    named = {f"{word}.{part}": getattr(key, part) for word, key in KEYS.items() for part in ("public", "compressed")
             if hasattr(key, part)}
    made = {}
    for line in TABLE.read_text().splitlines():
        cells = [cell.strip() for cell in line.split("|")]
        if line.startswith("@"):
            named[cells[0][1:]] = octets(cells[1], named)
        elif line and line[0] != "#":
            label, role, subject, key, issuer, changes = cells
            assert label not in made, label
            subject = subject.strip("-") if "=" in subject or subject == "-" else f"CN={subject}, O=Example, C=ZZ"
            changes = dict((change + "=").split("=", 1) for change in changes.split("; ") if change)
            changes = {word: value.removesuffix("=") for word, value in changes.items()}
            made[label] = build(role, subject, KEYS[key], made.get(issuer), changes, named)
    return {f"{label}.pem": cert.pem() for label, cert in made.items()}


def main():
    wanted = {**make_all(), STAMP: hashlib.sha256(TABLE.read_bytes()).hexdigest() + "\n"}
    found = {path.name: path.read_text() for path in CERTS.iterdir()}
    wrong = [name for name in {**wanted, **found} if wanted.get(name) != found.get(name)]
    for name in sorted(wrong):
        print(f"{name}: {'made' if name in wanted else 'not made here'}")
        if "--check" not in sys.argv and name in wanted:
            (CERTS / name).write_text(wanted[name])
    return 1 if wrong and "--check" in sys.argv else 0


sys.exit(main())
