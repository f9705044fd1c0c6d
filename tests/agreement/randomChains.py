"""Chains that are drawn: each from its number alone, so that a run can be repeated. Some are sound; most have faults."""
import base64
import hashlib
import random
from dataclasses import dataclass, field

from derText import date, element, name, octets
from p256 import Key

POLICIES = [f"1.3.6.1.4.1.99999.5.{number}" for number in range(1, 5)]
ANY_POLICY = "2.5.29.32.0"
PURPOSES = {"server": "1.3.6.1.5.5.7.3.1", "client": "1.3.6.1.5.5.7.3.2", "mail": "1.3.6.1.5.5.7.3.4",
            "timestamping": "1.3.6.1.5.5.7.3.8"}
ANY_PURPOSE = "2.5.29.37.0"
KEYS = {label: Key(label) for label in ["root", "leaf", "other", *(f"ca{number}" for number in range(9))]}
SPKI_ALGORITHM = "30{#1.2.840.10045.2.1 #1.2.840.10045.3.1.7}"
ECDSA = "30{#1.2.840.10045.4.3.2}"
OIDS = {"aki": 35, "basic": 19, "eku": 37, "ian": 18, "inhibit": 54, "mappings": 33, "names": 30, "policies": 32,
        "limits": 36, "san": 17, "ski": 14, "usage": 15}
CRITICAL = {"basic", "usage", "names", "mappings", "limits", "inhibit"}
CERT_SIGN, NO_USAGE = "03{0106}", "03{0780}"
KINDS = {"mail": "81", "dns": "82", "dn": "A4", "uri": "86", "ip": "87", "rid": "88"}


@dataclass
class Cert:
    """What is signed; a member is octets, or a text of their notation."""
    subject: bytes
    key: str
    issuer: "Cert" = None                              # None: itself
    extensions: dict = field(default_factory=dict)     # by a name of OIDS: the value
    flags: dict = field(default_factory=dict)          # by the same: what stands for critical, where it is not usual
    version: str = "A0{020102}"
    serial: str = ""
    dates: str = ""
    outer: str = ECDSA
    above: bytes = None                                # the issuer's name, where it is not the issuer's
    unique: str = ""
    more: str = ""                                     # extensions as octets

    def extended(self):
        made = b""
        for word, value in self.extensions.items():
            flag = self.flags.get(word, "01{FF}" if word in CRITICAL else "")
            made += octets(f"30{{#2.5.29.{OIDS[word]} {flag} 04{{{value}}}}}", {})
        made += octets(self.more, {})
        return octets("A3{30{@all}}", {"all": made}) if made else b""

    def der(self):
        issuer = self.issuer or self
        names = {"subject": self.subject, "issuer": self.above or issuer.subject, "extended": self.extended()}
        serial = int.from_bytes(hashlib.sha256(repr((names, self.key)).encode()).digest()[:8], "big") >> 1 | 1 << 62
        names["serial"] = octets(self.serial, {}) if self.serial else element(2, serial.to_bytes(8, "big"))
        names["spki"] = octets(f"30{{{SPKI_ALGORITHM} 03{{00 @key}}}}", {"key": KEYS[self.key].public})
        names["dates"] = octets(self.dates or date("2020-01-01") + date("2040-01-01"), {})
        signed = octets(f"30{{{self.version} @serial {ECDSA} @issuer 30{{@dates}} @subject @spki {self.unique} @extended}}",
                        names)
        return element(0x30, signed + octets(f"{self.outer} 03{{00 @signature}}",
                                             {"signature": KEYS[issuer.key].sign(signed)}))

    def pem(self):
        text = base64.encodebytes(self.der()).decode()
        return f"-----BEGIN CERTIFICATE-----\n{text}-----END CERTIFICATE-----\n"


def key_id(key):
    return KEYS[key].id.hex()


def ca(label, issuer, key=None, path_len=None):
    """@param label  of the subject, or its name"""
    key = key or label
    subject = name(f"CN={label}, O=Example, C=ZZ") if isinstance(label, str) else label
    made = Cert(subject, key, issuer)
    made.extensions = {"basic": f"30{{01{{FF}} {'' if path_len is None else f'02{{{path_len:02X}}}'}}}",
                       "usage": CERT_SIGN, "ski": f"04{{{key_id(key)}}}"}
    made.extensions["aki"] = f"30{{80{{{key_id((issuer or made).key)}}}}}"
    return made


def end_entity(issuer, subject="CN=leaf, O=Example, C=ZZ"):
    made = Cert(name(subject), "leaf", issuer)
    made.extensions = {"usage": NO_USAGE, "aki": f"30{{80{{{key_id(issuer.key)}}}}}",
                       "san": '30{82{"www.example.net"}}'}
    return made


@dataclass
class Chain:
    """From the end entity up; the root last."""
    certs: list
    tags: list                                         # what was drawn
    more: list = field(default_factory=list)           # other certificates that were sent
    purpose: str = ""
    policies: list = field(default_factory=list)       # that are asked for


def straight(draw, length, self_issued=0.0):
    """A sound chain with so many CAs below the root; some of them only change their key."""
    certs = [ca("root", None)]
    for number in range(length):
        above = certs[0]
        is_rollover = number > 0 and draw.random() < self_issued
        certs.insert(0, ca(above.subject if is_rollover else f"ca{number}", above, f"ca{number}"))
    certs.insert(0, end_entity(certs[0]))
    return Chain(certs, [])


def sequence(items):
    return f"30{{{''.join(items)}}}"


# Faults that one certificate has: who may have it ("ca", "leaf", "any"), and what is changed.
def _set(**members):
    return lambda cert: cert.__dict__.update(members)


def _ext(word, value, flag=None):
    def change(cert):
        if value is None:
            cert.extensions.pop(word, None)
        else:
            cert.extensions[word] = value or cert.extensions.get(word, "")
        if flag is not None:
            cert.flags[word] = flag
    return change


def _both(*changes):
    def change(cert):
        for one in changes:
            one(cert)
    return change


def _resubject(subject):
    return lambda cert: setattr(cert, "subject", name(subject))


NO_EXTENSIONS = _set(extensions={})
YES, FALSE = "01{FF}", "01{00}"
FAULTS = {
    "none": ("any", lambda cert: None),
    "version 1": ("any", _both(NO_EXTENSIONS, _set(version=""))),
    "version 1 with extensions": ("any", _set(version="")),
    "version 2 with extensions": ("any", _set(version="A0{020101}")),
    "version 1 written": ("leaf", _both(NO_EXTENSIONS, _set(version="A0{020100}"))),
    "unique id": ("any", _set(unique="81{0001}")),
    "unique id in version 1": ("leaf", _both(NO_EXTENSIONS, _set(version="", unique="81{0001}"))),
    "serial negative": ("any", _set(serial="02{80}")),
    "serial zero": ("any", _set(serial="02{00}")),
    "serial of 20 octets": ("any", _set(serial="02{7F*20}")),
    "serial of 21 octets": ("any", _set(serial="02{7F*21}")),
    "serial of 20 octets and a zero": ("any", _set(serial="02{00FF*20}")),
    "issuer empty": ("leaf", _set(above=b"\x30\x00")),
    "subject of a CA empty": ("ca", _resubject("")),
    "subject empty, alternative name critical": ("leaf", _both(_resubject(""), _ext("san", "", YES))),
    "subject empty, alternative name not critical": ("leaf", _resubject("")),
    "subject empty, no alternative name": ("leaf", _both(_resubject(""), _ext("san", None))),
    "alternative name critical": ("any", _ext("san", '30{82{"www.example.net"}}', YES)),
    "alternative names none": ("any", _ext("san", "30{}")),
    "alternative name a dNSName without octets": ("leaf", _ext("san", "30{82{}}")),
    "alternative name an address of five octets": ("leaf", _ext("san", "30{87{0102030405}}")),
    "alternative name a directory name": ("leaf", _ext("san", '30{A4{30{31{30{#2.5.4.3 0C{"x"}}}}}}')),
    "basic constraints not critical": ("ca", _ext("basic", "", "")),
    "basic constraints absent": ("ca", _ext("basic", None)),
    "basic constraints empty": ("ca", _ext("basic", "30{}")),
    "basic constraints, cA false": ("ca", _ext("basic", "30{01{00}}")),
    "basic constraints, cA 01": ("ca", _ext("basic", "30{01{01}}")),
    "basic constraints of an end entity": ("leaf", _ext("basic", "30{}")),
    "basic constraints of an end entity, not critical": ("leaf", _ext("basic", "30{}", "")),
    "path length of an end entity": ("leaf", _ext("basic", "30{02{00}}")),
    "path length negative": ("ca", _ext("basic", "30{01{FF}02{FF}}")),
    "path length of nine octets": ("ca", _ext("basic", "30{01{FF}02{01 00*8}}")),
    "path length, no keyCertSign": ("ca", _both(_ext("basic", "30{01{FF}02{08}}"), _ext("usage", None))),
    "CA as end entity": ("leaf", _both(_ext("basic", "30{01{FF}}"), _ext("usage", CERT_SIGN), _ext("ski", "04{01}"))),
    "key usage absent": ("any", _ext("usage", None)),
    "key usage without keyCertSign": ("ca", _ext("usage", NO_USAGE)),
    "key usage not critical": ("any", _ext("usage", "", "")),
    "key usage without any": ("any", _ext("usage", "03{0700}")),
    "key usage without octets": ("any", _ext("usage", "03{00}")),
    "key usage keyCertSign": ("leaf", _ext("usage", "03{0284}")),
    "authority key identifier absent": ("any", _ext("aki", None)),
    "authority key identifier critical": ("any", _ext("aki", "", YES)),
    "authority key identifier empty": ("any", _ext("aki", "30{}")),
    "authority key identifier of another": ("any", _ext("aki", "30{80{0102}}")),
    "subject key identifier absent": ("any", _ext("ski", None)),
    "subject key identifier critical": ("ca", _ext("ski", "", YES)),
    "algorithm another outside": ("any", _set(outer="30{#1.2.840.10045.4.3.3}")),
    "algorithm with parameters outside": ("any", _set(outer="30{#1.2.840.10045.4.3.2 05{}}")),
    "date without seconds": ("any", _set(dates='17{"2001010000Z"}' + date("2040-01-01"))),
    "date with an offset": ("any", _set(dates='17{"200101000000+0000"}' + date("2040-01-01"))),
    "GeneralizedTime before 2050": ("any", _set(dates=date("2020-01-01") + '18{"20400101000000Z"}')),
    "GeneralizedTime with a fraction": ("any", _set(dates=date("2020-01-01") + '18{"20600101000000.5Z"}')),
    "GeneralizedTime from 2050": ("any", _set(dates=date("2020-01-01") + date("2060-01-01"))),
    "date that is none": ("any", _set(dates=date("2020-01-01") + '17{"390231000000Z"}')),
    "no end": ("any", _set(dates=date("2020-01-01") + '18{"99991231235959Z"}')),
    "expired": ("any", _set(dates=date("2020-01-01") + date("2021-01-01"))),
    "expired long ago": ("any", _set(dates=date("1951-01-01") + date("1960-01-01"))),
    "not begun": ("any", _set(dates=date("2039-01-01") + date("2040-01-01"))),
    "extension twice": ("any", _set(more="30{#2.5.29.15 01{FF} 04{03{0106}}}")),
    "extensions none": ("leaf", _both(NO_EXTENSIONS, _set(unique="A3{30{}}"))),
    "extension unknown": ("any", _set(more="30{#1.3.6.1.4.1.99999.1 04{05{}}}")),
    "extension unknown and critical": ("any", _set(more="30{#1.3.6.1.4.1.99999.1 01{FF} 04{05{}}}")),
    "critical FALSE written": ("any", _set(more="30{#1.3.6.1.4.1.99999.1 01{00} 04{05{}}}")),
    "extended key usage none": ("any", _ext("eku", "30{}")),
    "issuer's names critical": ("any", _ext("ian", '30{82{"a.example"}}', YES)),
    "issuer's names that cannot be read": ("any", _ext("ian", "0500")),
    "name constraints not critical": ("ca", _ext("names", '30{A0{30{82{"example.net"}}}}', "")),
    "name constraints of an end entity": ("leaf", _ext("names", '30{A0{30{82{"example.net"}}}}')),
    "name constraints none": ("ca", _ext("names", "30{}")),
    "name constraints that cannot be read": ("ca", _ext("names", "0500")),
    "name constraints with a minimum": ("ca", _ext("names", '30{A0{30{82{"example.net"}80{01}}}}')),
    "name constraints with a maximum": ("ca", _ext("names", '30{A0{30{82{"example.net"}81{01}}}}')),
    "name constraints with the minimum 0": ("ca", _ext("names", '30{A0{30{82{"example.net"}80{00}}}}')),
    "policies none": ("any", _ext("policies", "30{}")),
    "policy twice": ("any", _ext("policies", sequence(f"30{{#{POLICIES[0]}}}" for _ in range(2)))),
    "policies critical": ("any", _ext("policies", f"30{{30{{#{POLICIES[0]}}}}}", YES)),
    "policies that cannot be read": ("any", _ext("policies", "0500")),
    "policy constraints none": ("ca", _ext("limits", "30{}")),
    "policy constraints not critical": ("ca", _ext("limits", "30{81{00}}", "")),
    "policy constraints negative": ("ca", _ext("limits", "30{80{FF}}")),
    "policy constraints of nine octets": ("ca", _ext("limits", "30{80{01 00*8}}")),
    "inhibit any policy not critical": ("ca", _ext("inhibit", "02{00}", "")),
    "inhibit any policy negative": ("ca", _ext("inhibit", "02{FF}")),
    "inhibit any policy of nine octets": ("ca", _ext("inhibit", "02{01 00*8}")),
    "mappings from anyPolicy": ("ca", _ext("mappings", f"30{{30{{#{ANY_POLICY} #{POLICIES[0]}}}}}")),
    "mappings to anyPolicy": ("ca", _ext("mappings", f"30{{30{{#{POLICIES[0]} #{ANY_POLICY}}}}}")),
    "mappings none": ("ca", _ext("mappings", "30{}")),
    "mappings not critical": ("ca", _ext("mappings", f"30{{30{{#{POLICIES[0]} #{POLICIES[1]}}}}}", "")),
}


def with_fault(draw, number):
    """Every fault, at the end entity and at CAs at some depth; some have two."""
    words = list(FAULTS)
    chain = straight(draw, draw.randint(1, 5), 0.2)
    for word in [words[number % len(words)]] + ([draw.choice(words)] if draw.random() < 0.2 else []):
        who, change = FAULTS[word]
        levels = {"any": [0, len(chain.certs) - 2], "ca": [1, len(chain.certs) - 2], "leaf": [0, 0]}[who]
        level = draw.randint(*levels)
        above = chain.certs[level].subject
        change(chain.certs[level])
        for cert in chain.certs[:level]:               # a rollover has the name of the one that it follows
            cert.subject = chain.certs[level].subject if cert.subject == above else cert.subject
        chain.tags.append(f"{word} {'in the end entity' if level == 0 else 'in a CA'}")
    return chain


HOSTS = ["example.net", "www.example.net", "a.b.example.net", "example.org", "badexample.net", "EXAMPLE.net", "net"]
NAMES = {
    "dns": [*HOSTS, "*.example.net", "www.example.net.", "www.-example.net", "my_host.example.net", "10.0.0.1"],
    "mail": ["a@example.net", "A@example.net", "a@EXAMPLE.net", "b@www.example.net", "a@example.org", '""@example.net',
             "example.net", "a@b@example.net"],
    "uri": ["https://example.net/x", "https://www.example.net:80/", "http://user@WWW.example.net?x", "http://10.0.0.1/",
            "http://[::1]/", "urn:example:a", "ldap:///cn=a", "https://example.org#www.example.net"],
    "ip": ["0A000001", "0A0000FF", "C0000201", "20010DB8" + "00" * 12, "20010DB8" + "00" * 11 + "FF"],
    "dn": ["CN=x, O=Example, C=ZZ", "CN=x, OU=y, O=Example, C=ZZ", "O=Example, C=ZZ", "CN=x, O=EXAMPLE, C=ZZ",
           "CN=x, O=Other, C=ZZ", "CN=x, O=Example , C=ZZ", "CN=x, O=Exam  ple, C=ZZ"],
    "rid": ["2A0304"],
}
BASES = {
    "dns": [*HOSTS, ".example.net", "", "example.net."],
    "mail": ["example.net", ".example.net", "a@example.net", "a@EXAMPLE.NET", "www.example.net", "net"],
    "uri": ["example.net", ".example.net", "www.example.net", "WWW.EXAMPLE.NET"],
    "ip": ["0A000000FF000000", "0A000001FFFFFFFF", "C0000200FFFFFF00", "00" * 8, "20010DB8" + "00" * 12 + "F" * 8 + "0" * 24],
    "dn": ["O=Example, C=ZZ", "C=ZZ", "O=EXAMPLE, C=ZZ", "CN=leaf, O=Example, C=ZZ", "O=Other, C=ZZ", "", "O=Exam ple, C=ZZ",
           "CN=x, OU=z, O=Example, C=ZZ"],
    "rid": ["2A0304", "2A0305"],
}
ODD_BASES = {"dns": ["*.example.net", "a..b"], "mail": ["", "@example.net"], "uri": ["", "10.0.0.1"],
             "ip": ["0A000000FF00FF00", "0A0000FF", ""], "dn": [""], "rid": ["2A0304"]}


def general_name(kind, text):
    value = text if kind in ("ip", "rid") else "@dn" if kind == "dn" else f'"{text}"'
    return octets(f"{KINDS[kind]}{{{value}}}", {"dn": name(text) if kind == "dn" else b""}).hex()


def drawn_names(draw, chain, kinds, most):
    drawn = [(kind, draw.choice(NAMES[kind])) for kind in draw.choices(kinds, k=draw.randint(1, most))]
    chain.tags += [f"{kind} {text!r}" for kind, text in drawn]
    return sequence(general_name(*one) for one in drawn)


def with_names(draw, _):
    """Constraints of every kind, in one CA or several and sometimes in the root."""
    chain = straight(draw, draw.randint(1, 4), 0.3)
    kinds = draw.sample(list(NAMES), draw.randint(1, 2))
    for cert in draw.sample(chain.certs[1:], draw.randint(1, 2)):
        lists = {}
        for _ in range(draw.randint(1, 4)):
            kind, tag = draw.choice(kinds), draw.choice(("A0", "A0", "A0", "A1"))
            base = draw.choice((ODD_BASES if draw.random() < 0.05 else BASES)[kind])
            lists.setdefault(tag, []).append(f"30{{{general_name(kind, base)}}}")
            chain.tags.append(f"{'permitted' if tag == 'A0' else 'excluded'} {kind} {base!r}")
        cert.extensions["names"] = sequence(f"{tag}{{{''.join(lists[tag])}}}" for tag in sorted(lists))
    draw_from = kinds + (draw.sample(list(NAMES), 1) if draw.random() < 0.3 else [])
    chain.certs[0].extensions["san"] = drawn_names(draw, chain, draw_from, 4)
    if draw.random() < 0.2:
        chain.certs[1].extensions["san"] = drawn_names(draw, chain, kinds, 2)
    if draw.random() < 0.2:
        chain.certs[0].extensions.pop("san")
        mail = draw.choice(NAMES["mail"])
        chain.certs[0].subject = element(0x30, name("O=Example, C=ZZ")[2:] + octets(
            f'31{{30{{#1.2.840.113549.1.9.1 16{{"{mail}"}}}}}}', {}))
        chain.tags.append(f"{mail!r} in the subject")
    elif draw.random() < 0.1:
        chain.certs[0].extensions.pop("san")
        chain.certs[0].subject = name("CN=www.example.net, O=Example, C=ZZ")
        chain.tags.append("host as common name")
    return chain


def with_policies(draw, _):
    """Policies, mappings and limits, drawn so that about half of the paths keep one."""
    chain = straight(draw, draw.choice((1, 2, 2, 3, 3, 4, 6)), 0.25)
    few = POLICIES[:draw.randint(1, 4)]
    for cert in chain.certs[:-1]:
        if draw.random() < 0.93:
            said = draw.sample(few, draw.randint(1, len(few))) + [ANY_POLICY] * (draw.random() < 0.35)
            said = said if draw.random() < 0.85 else [ANY_POLICY]
            cert.extensions["policies"] = sequence(f"30{{#{one}}}" for one in said)
    for cert in chain.certs[1:-1]:
        if draw.random() < 0.4:
            pairs = [(draw.choice(few), draw.choice(POLICIES)) for _ in range(draw.randint(1, 4))]
            cert.extensions["mappings"] = sequence(f"30{{#{a} #{b}}}" for a, b in dict.fromkeys(pairs))
        if draw.random() < 0.15:
            cert.extensions["inhibit"] = f"02{{{draw.randint(0, 3):02X}}}"
    for cert in chain.certs[:-1]:
        if draw.random() < 0.3:
            limits = [f"{tag}{{{draw.randint(0, 4):02X}}}" for tag in ("80", "81") if draw.random() < 0.6]
            cert.extensions["limits"] = sequence(limits or ["80{00}"])
    if draw.random() < 0.6:
        chain.policies = draw.sample(POLICIES + [ANY_POLICY], draw.randint(1, 2))
    chain.tags.append(f"asked for {chain.policies}")
    return chain


def with_paths(draw, _):
    """Path lengths, CAs that change their key, and CAs that others signed, too."""
    chain = straight(draw, draw.randint(1, 8), 0.4)
    for cert in chain.certs[1:-1]:
        if draw.random() < 0.4:
            length = draw.randint(0, 5)
            cert.extensions["basic"] = f"30{{01{{FF}} 02{{{length:02X}}}}}"
            chain.tags.append(f"length {length}")
    if draw.random() < 0.5:
        level = draw.randrange(1, len(chain.certs) - 1)
        old = chain.certs[level]
        above = draw.choice([chain.certs[-1], ca("other", chain.certs[-1])])
        again = ca(old.subject, above, old.key, draw.choice([None, 0, 1, 4]))
        if draw.random() < 0.5:
            again.dates = date("2020-01-01") + date("2021-01-01")
        chain.more = [again] + ([above] if above is not chain.certs[-1] else [])
        chain.tags.append("cross-signed")
    return chain


def with_purpose(draw, _):
    """Extended key usages of the end entity and of CAs, and key usages."""
    chain = straight(draw, draw.randint(1, 4), 0.2)
    chain.purpose = draw.choice(list(PURPOSES))
    for level, cert in enumerate(chain.certs[:-1]):
        if draw.random() < (0.8 if level == 0 else 0.3):
            said = draw.sample([*PURPOSES.values(), ANY_PURPOSE, "1.3.6.1.5.5.7.3.17"], draw.randint(1, 2))
            said += [PURPOSES[chain.purpose]] * (draw.random() < 0.5 and PURPOSES[chain.purpose] not in said)
            cert.extensions["eku"] = sequence(f"#{one}" for one in said)
            cert.flags["eku"] = draw.choice(("", "", YES))
            chain.tags.append(f"{level}: {' '.join(said)}")
    if draw.random() < 0.5:
        bits = draw.choice(["0780", "0640", "0520", "0308", "0410", "05A0", "06C0"])
        chain.certs[0].extensions["usage"] = f"03{{{bits}}}"
        chain.tags.append(f"usage {bits}")
    return chain


THEMES = {"fault": (with_fault, 220), "names": (with_names, 220), "policies": (with_policies, 220),
          "paths": (with_paths, 100), "purpose": (with_purpose, 120)}


def all_chains():
    """@return for each chain its label and the chain"""
    for theme, (make, count) in THEMES.items():
        for number in range(count):
            yield f"{theme} {number}", make(random.Random(f"{theme} {number}"), number)
