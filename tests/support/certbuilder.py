"""Certificates with anything in them that a test wants to see, octet by octet the same every time.

    root = certificate("CN=Root", keys["p256-a"], ca=True)
    leaf = certificate("CN=Leaf", keys["p256-b"], root, not_after="2029-06-01")
"""
import base64
import calendar
import hashlib
import re
import time

from signingkeys import bit_string, integer, load_keys, oid, sequence, tlv

ATTRIBUTES = {"C": "2.5.4.6", "O": "2.5.4.10", "OU": "2.5.4.11", "CN": "2.5.4.3"}
UTF8, PRINTABLE = 0x0C, 0x13
TRUE = tlv(0x01, b"\xff")


def name(text):
    """A Name from "CN=a, O=b, C=c", most specific first; "+" joins the parts of one RDN, in that order."""
    rdns = []
    for rdn in reversed([part for part in text.split(",") if part]):
        assertions = []
        for assertion in rdn.split("+"):
            keyword, value = assertion.strip().split("=")
            tag = PRINTABLE if keyword == "C" else UTF8
            assertions.append(sequence(oid(ATTRIBUTES[keyword]), tlv(tag, value.encode())))
        rdns.append(tlv(0x31, *assertions))
    return sequence(*rdns)


def seconds(text):
    """Seconds since 1970 of "2030-01-01" or "2030-01-01 12:30:59", UTC."""
    form = "%Y-%m-%d %H:%M:%S"
    return calendar.timegm(time.strptime(text + " 00:00:00"[:19 - len(text)], form))


def date(text):
    """A Time: UTCTime up to 2049, GeneralizedTime from 2050 on (RFC 5280, 4.1.2.5)."""
    digits = re.sub(r"\D", "", text + " 00:00:00"[:19 - len(text)])   # no time_t: it may have 32 bits
    if 1950 <= int(digits[:4]) < 2050:
        return tlv(0x17, (digits[2:] + "Z").encode())
    return tlv(0x18, (digits + "Z").encode())


def extension(type_oid, value, critical=False):
    return sequence(oid(type_oid), *([TRUE] if critical else []), tlv(0x04, value))


def default_extensions(ca, path_len):
    """What RFC 5280 asks for, without key identifiers: what it is, and what its key may do."""
    if not ca:
        return [extension("2.5.29.15", bit_string(b"\x80", 7), True)]                        # digitalSignature
    limits = [integer(path_len)] if path_len is not None else []
    return [extension("2.5.29.19", sequence(TRUE, *limits), True),
            extension("2.5.29.15", bit_string(b"\x06", 1), True)]                            # keyCertSign, cRLSign


def key_id(key):
    return hashlib.sha1(key.public).digest()


def subject_key_id(identifier):
    return extension("2.5.29.14", tlv(0x04, identifier))


def authority_key_id(identifier):
    return extension("2.5.29.35", sequence(tlv(0x80, identifier)))


class Certificate:
    """What was built: the octets, and what signing others needs."""

    def __init__(self, der, subject, key):
        self.der, self.subject, self.key = der, subject, key

    def pem(self):
        text = base64.b64encode(self.der).decode()
        lines = [text[at:at + 64] for at in range(0, len(text), 64)]
        return "\n".join(["-----BEGIN CERTIFICATE-----", *lines, "-----END CERTIFICATE-----", ""])


def certificate(subject, key, issuer=None, *, ca=False, path_len=None, serial=None, digest="sha256",
                not_before="2029-01-01", not_after="2031-01-01", version=3, extensions=None, more=(),
                issuer_name=None, altered=False, edit=None, spki=None, algorithm=None,
                inner=sequence, wrap=sequence):
    """Builds and signs one certificate.

    subject, issuer_name  text for name(), or the octets of a Name
    issuer       the Certificate whose key signs; None: self-signed
    serial       None: eight octets that follow from the names and the first date
    extensions   all of them; None: those that RFC 5280 asks for
    more         further ones
    altered      the signature is that of other content
    edit         changes the list of tbsCertificate's elements before it is signed
    spki, algorithm   octets instead of the key's own
    inner, wrap  put the elements of tbsCertificate and of Certificate together
    """
    subject = name(subject) if isinstance(subject, str) else subject
    signer = issuer.key if issuer else key
    issuer_name = name(issuer_name) if isinstance(issuer_name, str) else issuer_name
    issuer_name = issuer_name or (issuer.subject if issuer else subject)
    if serial is None:
        seed = hashlib.sha256(subject + issuer_name + not_before.encode()).digest()
        serial = int.from_bytes(seed[:8], "big") >> 1 | 1 << 62
    if extensions is None:
        ids = [subject_key_id(key_id(key))] if key else []
        extensions = default_extensions(ca, path_len) + ids + ([authority_key_id(key_id(signer))] if issuer else [])
    extensions = [*extensions, *more]
    algorithm = algorithm or signer.algorithm(digest)
    parts = [tlv(0xA0, integer(version - 1))] if version > 1 else []
    parts += [integer(serial), algorithm, issuer_name, sequence(date(not_before), date(not_after)), subject,
              spki or key.spki]
    parts += [tlv(0xA3, sequence(*extensions))] if extensions else []
    tbs = inner(*(edit(parts) if edit else parts))
    signature = bit_string(signer.sign(digest, tbs + b"other" if altered else tbs))
    return Certificate(wrap(tbs, algorithm, signature), subject, key)


KEYS = load_keys()
