#!/usr/bin/env python3
"""Makes certs/ from certs.txt, which says how a line is read. Wants cryptography 43 or later (pip).

    make.py           makes all of them anew: keys and signatures are fixed, so the same octets come out every time
    make.py --check   writes nothing; fails when a file is missing, differs or is not made here

certs/made-from holds the digest of certs.txt: tests compare that, and make nothing.
"""
import base64
import hashlib
import pathlib
import re
import sys

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, padding

HERE = pathlib.Path(__file__).resolve().parent
TABLE, CERTS, STAMP = HERE / "certs.txt", HERE / "certs", "made-from"
YEARS = {"ca": ("2020-01-01", "2035-01-01"), "leaf": ("2029-01-01", "2031-01-01")}
ATTRIBUTES = {"C": "2.5.4.6", "O": "2.5.4.10", "OU": "2.5.4.11", "CN": "2.5.4.3"}
ALGORITHMS = {    # of RSA and ECDSA signatures
    "md5": ("4", None), "sha1": ("5", "1"), "sha224": ("14", "3.1"), "sha256": ("11", "3.2"), "sha384": ("12", "3.3"),
    "sha512": ("13", "3.4")}
TOKEN = re.compile(r'\s*(#[\d.]+|@[\w.-]*|"[^"]*"|[0-9A-Fa-f]{2}!?|[{<}>]|\*\d+|\S)')


def element(tag, content, is_long=False):
    length = len(content)
    size = 4 if is_long else 0 if length < 0x80 else (length.bit_length() + 7) // 8
    head = bytes([tag, 0x80 | size]) + length.to_bytes(size, "big") if size else bytes([tag, length])
    return head + content


def oid(text):
    first, second, *rest = map(int, text.split("."))
    groups = b""
    for arc in (first * 40 + second, *rest):
        septets = [arc >> shift & 0x7F for shift in range(max(arc.bit_length() - 1, 0) // 7 * 7, -1, -7)]
        groups += bytes([0x80 | septet for septet in septets[:-1]] + septets[-1:])
    return element(0x06, groups)


def octets(text, names):
    """Octets of the notation; names maps what follows "@" to octets, or to notation for them."""
    tokens = TOKEN.findall(text)[::-1]

    def named(name):
        if name not in names:
            return named(name.removesuffix("-1"))[:-1]
        return names[name] if isinstance(names[name], bytes) else octets(names[name], names)

    def until(end):
        made = []
        while tokens and tokens[-1] != end:
            token = tokens.pop()
            if token[0] == "#":
                made.append(oid(token[1:]))
            elif token[0] == "@":
                made.append(named(token[1:]))
            elif token[0] == '"':
                made.append(token[1:-1].encode())
            elif token[0] == "*":
                made[-1] *= int(token[1:])
            elif tokens and tokens[-1] == "{":
                tokens.pop()
                made.append(element(int(token[:2], 16), until("}"), token.endswith("!")))
            elif tokens and tokens[-1] == "<":
                tokens.pop()
                made.append(bytes([int(token, 16), 0x80]) + until(">") + b"\0\0")
            else:
                made.append(bytes.fromhex(token))
        assert (tokens.pop() if tokens else None) == end, text
        return b"".join(made)

    return until(None)


def name(text):
    """A Name from "CN=a, O=b, C=c", most specific first; "+" joins the parts of one RDN, in that order."""
    rdns = b""
    for rdn in reversed([part for part in text.replace("\\0", "\0").split(",") if part]):
        parts = (part.strip().split("=") for part in rdn.split("+"))
        rdns += element(0x31, b"".join(
            element(0x30, oid(ATTRIBUTES[keyword]) + element(0x13 if keyword == "C" else 0x0C, value.encode()))
            for keyword, value in parts))
    return element(0x30, rdns)


def date(text):
    """UTCTime up to 2049, GeneralizedTime from 2050 on (RFC 5280, 4.1.2.5)."""
    digits = re.sub(r"\D", "", text).ljust(14, "0")
    is_short = 1950 <= int(digits[:4]) < 2050
    return f'17{{"{digits[2:]}Z"}}' if is_short else f'18{{"{digits}Z"}}'


class Key:
    def __init__(self, path):
        form, encoding = serialization.PublicFormat, serialization.Encoding
        self._key = serialization.load_pem_private_key(path.read_bytes(), None)
        self._is_ec = isinstance(self._key, ec.EllipticCurvePrivateKey)
        public = self._key.public_key().public_bytes
        self.spki = public(encoding.DER, form.SubjectPublicKeyInfo)
        self.public = public(*(encoding.X962, form.UncompressedPoint) if self._is_ec else (encoding.DER, form.PKCS1))
        self.compressed = public(encoding.X962, form.CompressedPoint) if self._is_ec else b""
        self.id = hashlib.sha1(self.public).digest()

    def algorithm(self, digest):
        rsa, ecdsa = ALGORITHMS[digest]
        return f"30{{#1.2.840.10045.4.{ecdsa}}}" if self._is_ec else f"30{{#1.2.840.113549.1.1.{rsa} 05{{}}}}"

    def sign(self, digest, data):
        with_hash = getattr(hashes, digest.upper())()
        if self._is_ec:
            return self._key.sign(data, ec.ECDSA(with_hash, deterministic_signing=True))
        return self._key.sign(data, padding.PKCS1v15(), with_hash)


def build(names, cells, keys, made):
    """One certificate: its octets, and the subject and key with which it signs others."""
    role, subject, key, issuer, changes = cells
    changes = dict(change.partition("=")[::2] for change in changes.split("; ") if change)
    subject = name(subject.strip("-") if "=" in subject or subject == "-" else f"CN={subject}, O=Example, C=ZZ")
    _, above, signer = made.get(issuer, (None, subject, keys[key]))
    if "{" not in changes.get("issuer", "{"):
        changes["issuer"] = name(changes["issuer"])
    digest = changes.pop("digest", "sha256")
    dates = [changes.pop(word, default) for word, default in zip(("not-before", "not-after"), YEARS[role])]
    is_altered = changes.pop("altered", None) is not None
    extensions = ("@basic @sign" if role == "ca" else "@no-sign") + " @ski" + (" @aki" if issuer in made else "")
    names = {**names, "subject": subject, "issuer": above, "extensions": extensions, "serial": "", "signed": "",
             "spki": keys[key].spki, "key-id": keys[key].id, "issuer-key-id": signer.id,
             "algorithm": signer.algorithm(digest), "not-before": date(dates[0]), "not-after": date(dates[1])}
    assert set(changes) <= set(names), changes
    names.update(changes)
    if "serial" not in changes:    # eight octets that follow from the names and the first date
        seed = hashlib.sha256(subject + octets("@issuer", names) + dates[0].encode()).digest()
        names["serial"] = element(2, (int.from_bytes(seed[:8], "big") >> 1 | 1 << 62).to_bytes(8, "big"))
    names["signed"] = signer.sign(digest, octets("@tbs", names) + (b"other" if is_altered else b""))
    return octets("@certificate", names), subject, keys[key]


def pem(der):
    text = base64.b64encode(der).decode()
    lines = [text[at:at + 64] for at in range(0, len(text), 64)]
    return "\n".join(["-----BEGIN CERTIFICATE-----", *lines, "-----END CERTIFICATE-----", ""])


def make_all():
    keys = {path.stem: Key(path) for path in (HERE.parent / "keys").glob("*.pem")}
    names = {f"{word}.{part}": getattr(key, part) for word, key in keys.items() for part in ("public", "compressed")}
    made = {}
    for line in TABLE.read_text().splitlines():
        label, *cells = (cell.strip() for cell in line.split("|"))
        if line.startswith("@"):
            names[label[1:]] = cells[0]
        elif line and line[0] != "#":
            assert label not in made, label
            made[label] = build(names, cells, keys, made)
    return {f"{label}.pem": pem(der) for label, (der, *_) in made.items()}


def main():
    wanted = {**make_all(), STAMP: hashlib.sha256(TABLE.read_bytes()).hexdigest() + "\n"}
    found = {path.name: path.read_text() for path in CERTS.iterdir()}
    wrong = [name for name in {**wanted, **found} if wanted.get(name) != found.get(name)]
    for file in sorted(wrong):
        print(f"{file}: {'made' if file in wanted else 'not made here'}")
        if "--check" not in sys.argv and file in wanted:
            (CERTS / file).write_text(wanted[file])
    return 1 if wrong and "--check" in sys.argv else 0


sys.exit(main())
