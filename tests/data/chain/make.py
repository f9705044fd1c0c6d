#!/usr/bin/env python3
"""Makes certs/ from certs.txt and crls/ from crls.txt, which say how a line is read.

Wants cryptography 43 or later (pip).

    make.py           makes all of them anew: keys and signatures are fixed, so the same octets come out every time
    make.py --check   writes nothing; fails when a file is missing, differs or is not made here

made-from in each folder holds the digest of its table: tests compare that, and make nothing.
"""
import base64
import hashlib
import pathlib
import re
import sys

from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import ec, padding

sys.dont_write_bytecode = True
HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent.parent / "support"))

from derText import date, element, name, octets    # noqa: E402

YEARS = {"ca": ("2020-01-01", "2035-01-01"), "leaf": ("2029-01-01", "2031-01-01")}
KINDS = ("certs", "crls")
UPDATES = {"this-update": "2029-12-01", "next-update": "2030-02-01"}
ALGORITHMS = {    # of RSA and ECDSA signatures
    "md5": ("4", None), "sha1": ("5", "1"), "sha224": ("14", "3.1"), "sha256": ("11", "3.2"), "sha384": ("12", "3.3"),
    "sha512": ("13", "3.4")}


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


def changes_of(cell):
    return dict(change.partition("=")[::2] for change in cell.split("; ") if change)


def signed_whole(names, changes, signer, kind):
    """What is different is put among the names; then what is to be signed is signed. Octets of the whole."""
    digest = changes.pop("digest", "sha256")
    is_altered = changes.pop("altered", None) is not None
    names = {**names, "algorithm": signer.algorithm(digest), "issuer-key-id": signer.id, "signed": ""}
    assert set(changes) <= set(names), changes
    names.update(changes)
    names["signed"] = signer.sign(digest, octets("@tbs", names) + (b"other" if is_altered else b""))
    return octets(f"@{kind}", names)


def build_cert(names, cells, keys, made):
    """One certificate: its octets, and the subject and key with which it signs others."""
    role, subject, key, issuer, changes = cells
    changes = changes_of(changes)
    subject = name(subject.strip("-") if "=" in subject or subject == "-" else f"CN={subject}, O=Example, C=ZZ")
    _, above, signer, _ = made.get(issuer, (None, subject, keys[key], None))
    if text := changes.pop("issuer", None):
        above = octets(text, names) if "{" in text else name(text)
    dates = [changes.pop(word, default) for word, default in zip(("not-before", "not-after"), YEARS[role])]
    extensions = ("@basic @sign" if role == "ca" else "@no-sign") + " @ski" + (" @aki" if issuer in made else "")
    if "serial" not in changes:    # eight octets that follow from the names and the first date
        seed = hashlib.sha256(subject + above + dates[0].encode()).digest()
        serial = element(2, (int.from_bytes(seed[:8], "big") >> 1 | 1 << 62).to_bytes(8, "big"))
    else:
        serial = octets(changes.pop("serial"), names)
    names = {**names, "subject": subject, "issuer": above, "extensions": extensions, "serial": serial,
             "spki": keys[key].spki, "key-id": keys[key].id, "not-before": date(dates[0]), "not-after": date(dates[1])}
    return signed_whole(names, changes, signer, "certificate"), subject, keys[key], serial


def build_crl(names, cells, made):
    """One CRL: its octets."""
    issuer, entries, changes = cells
    changes = changes_of(changes)
    _, subject, signer, _ = made[issuer]
    signer = made[changes.pop("signer", issuer)][2]
    for word, default in UPDATES.items():
        text = changes.pop(word, default)
        names = {**names, word: "" if text == "-" else date(text)}
    names = {**names, "issuer": subject, "revoked": "30{@entries}" if entries else "", "entries": entries}
    return signed_whole(names, changes, signer, "crl")


def pem(label, der):
    text = base64.b64encode(der).decode()
    lines = [text[at:at + 64] for at in range(0, len(text), 64)]
    return "\n".join([f"-----BEGIN {label}-----", *lines, f"-----END {label}-----", ""])


def rows(table, names):
    """The label and the cells of each line; what a line names is put among the names."""
    seen = set()
    for line in (HERE / table).read_text().splitlines():
        label, *cells = (cell.strip() for cell in line.split("|"))
        if line.startswith("@"):
            names[label[1:]] = cells[0]
        elif line and line[0] != "#":
            assert label not in seen, label
            seen.add(label)
            yield label, cells


def make_all():
    keys = {path.stem: Key(path) for path in (HERE.parent / "keys").glob("*.pem")}
    parts = ("public", "compressed", "id")
    names = {f"{word}.{part}": getattr(key, part) for word, key in keys.items() for part in parts}
    made, files = {}, {}
    for label, cells in rows("certs.txt", names):
        made[label] = build_cert(names, cells, keys, made)
        names[f"{label}.subject"], names[f"{label}.serial"] = made[label][1], made[label][3]
        files[f"certs/{label}.pem"] = pem("CERTIFICATE", made[label][0])
    for label, cells in rows("crls.txt", names):
        files[f"crls/{label}.pem"] = pem("X509 CRL", build_crl(names, cells, made))
    for kind in KINDS:
        files[f"{kind}/made-from"] = hashlib.sha256((HERE / f"{kind}.txt").read_bytes()).hexdigest() + "\n"
    return files


def main():
    wanted = make_all()
    found = {f"{kind}/{path.name}": path.read_text() for kind in KINDS for path in (HERE / kind).iterdir()}
    wrong = [name for name in {**wanted, **found} if wanted.get(name) != found.get(name)]
    for file in sorted(wrong):
        print(f"{file}: {'made' if file in wanted else 'not made here'}")
        if "--check" not in sys.argv and file in wanted:
            (HERE / file).write_text(wanted[file])
    return 1 if wrong and "--check" in sys.argv else 0


sys.exit(main())
