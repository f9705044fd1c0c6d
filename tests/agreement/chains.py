"""The chains on which the library and the openssl command are asked for their verdicts.

Each is sound or has one thing changed, so that a reason can be compared, not only a refusal. The same
octets come out every time.
"""
import itertools
import random
from dataclasses import dataclass

from certbuilder import *    # noqa: F403
from signingkeys import DIGESTS, ECDSA_SIGNATURES, NULL, RSA_SIGNATURES

NOW = seconds("2030-01-01")


@dataclass
class Chain:
    label: str
    sent: list              # certificates in the order in which the peer sent them
    trusted: list
    leaf: object
    now: int


CHAINS = []


def add(label, sent, trusted, leaf=None, now=NOW):
    assert all(chain.label != label for chain in CHAINS), label
    CHAINS.append(Chain(label, list(sent), list(trusted), leaf or sent[0], now))


def build(depth, changed=None, **changes):
    """Leaf, depth - 1 CAs and a root, the leaf first; @p changed is the index that gets the changes."""
    made = []
    for index in range(depth, -1, -1):
        extra = changes if index == changed else {}
        above = made[0] if made else None
        if index == 0:
            made.insert(0, leaf_of(above, **extra))
        else:
            key = [ISSUER_KEY, OTHER_KEY, ROOT_KEY][(depth - index + 2) % 3]
            made.insert(0, ca("Root" if above is None else f"CA {index}", key, above, **extra))
    return made


def one_changed(label, changed, depth=2, now=NOW, **changes):
    """A chain that is sound but for one certificate. The root is trusted and not sent."""
    made = build(depth, changed, **changes)
    add(label, made[:-1], [made[-1]], now=now)


def leaf_changed(label, now=NOW, **changes):
    one_changed(label, 0, now=now, **changes)


def issuer_changed(label, **changes):
    one_changed(label, 1, **changes)


def algorithms():
    kinds = {"rsa": (KEYS["rsa-a"], RSA_SIGNATURES)}
    kinds.update({kind: (KEYS[f"{kind}-a"], ECDSA_SIGNATURES) for kind in ("p256", "p384", "p521")})
    for kind, (key, digests) in kinds.items():
        root = ca("Root", KEYS["rsa-b"] if kind == "rsa" else ROOT_KEY)
        issuer = ca("Issuer", key, root)
        for digest in digests:
            add(f"signature-{kind}-{digest}", [leaf_of(issuer, digest=digest), issuer], [root])
        add(f"signature-{kind}-altered", [leaf_of(issuer, altered=True), issuer], [root])
        add(f"signature-{kind}-root", [leaf_of(root)], [root])
    for index in range(4):
        one_changed(f"altered-{index}-of-4", index, depth=4, altered=True)
    one_changed("altered-root", 2, altered=True)
    other = ca("Issuer", OTHER_KEY, ROOT)
    add("signed-by-other-key", [leaf_of(other), ISSUER], [ROOT])
    sha1 = ISSUER.key.algorithm("sha1")
    leaf_changed("algorithms-claim-other-digest", algorithm=sha1)
    leaf_changed("algorithms-differ", wrap=lambda tbs, algorithm, signature: sequence(tbs, sha1, signature))
    leaf_changed("ecdsa-parameters-null", algorithm=sequence(oid("1.2.840.10045.4.3.2"), NULL))
    rsa = ca("Issuer", KEYS["rsa-a"], ROOT)
    add("rsa-parameters-absent",
        [leaf_of(rsa, algorithm=sequence(oid("1.2.840.113549.1.1.11"))), rsa], [ROOT])
    add("rsa-sha1-by-oiw",
        [leaf_of(rsa, digest="sha1", algorithm=sequence(oid("1.3.14.3.2.29"), NULL)), rsa], [ROOT])


def shapes():
    for depth in range(1, 7):
        made = build(depth)
        add(f"depth-{depth}", made[:-1], made[-1:])
    made = build(3)
    for order in itertools.permutations(range(3)):
        add("order-" + "".join(map(str, order)), [made[i] for i in order], made[3:], made[0])
    add("order-root-first", [made[3], made[1], made[0], made[2]], made[3:], made[0])
    add("with-root", made, made[3:])
    add("twice", made[:2] + made[:3], made[3:])
    add("stray", [made[0], ca("Stray", OTHER_KEY), *made[1:3]], made[3:])
    add("without-issuer", [made[0], made[2]], made[3:])
    add("without-middle", made[:2], made[3:])
    add("without-all", made[:1], made[3:])


def trust():
    stranger = ca("Stranger", OTHER_KEY)
    add("stranger-trusted", [LEAF, ISSUER, ROOT], [stranger])
    add("two-trusted", [LEAF, ISSUER], [stranger, ROOT])
    pretender = ca("Root", OTHER_KEY)
    add("pretender-trusted", [LEAF, ISSUER], [pretender])
    add("pretender-sent", [LEAF, ISSUER, pretender], [ROOT])
    add("pretender-trusted-second", [LEAF, ISSUER], [ROOT, pretender])
    below = ca("Issuer", ISSUER_KEY, pretender)
    add("pretender-below", [LEAF, below, pretender], [ROOT])
    add("issuer-trusted", [LEAF], [ISSUER])
    add("issuer-trusted-sent", [LEAF, ISSUER, ROOT], [ISSUER])
    made = build(4)
    add("middle-trusted", made[:2], [made[2]])
    add("middle-and-root-trusted", made, [made[2], made[4]])
    add("leaf-trusted", [LEAF], [LEAF])
    alone = certificate(DN.format("Alone"), LEAF_KEY)
    add("self-signed", [alone], [ROOT])
    add("self-signed-trusted", [alone], [alone])
    add("self-signed-root", [ROOT], [ROOT])
    old = ca("Root", ROOT_KEY, not_before="2010-01-01", not_after="2020-06-01")
    add("renewed-root", [LEAF, ISSUER, old], [ROOT])
    other = ca("Other Root", OTHER_KEY)
    by_other = ca("Issuer", ISSUER_KEY, other)
    add("cross-issuer-first", [LEAF, by_other, ISSUER], [other])
    add("cross-issuer-second", [LEAF, ISSUER, by_other], [other])
    add("cross-issuer-both-trusted", [LEAF, ISSUER, by_other], [other, ROOT])
    root_by_other = ca("Root", ROOT_KEY, other)
    add("cross-root", [LEAF, ISSUER, root_by_other], [other])
    add("cross-root-after-self", [LEAF, ISSUER, ROOT, root_by_other], [other])
    add("cross-root-before-self", [LEAF, ISSUER, root_by_other, ROOT], [other])
    add("cross-root-own-trusted", [LEAF, ISSUER, root_by_other, other], [ROOT])
    other_by_root = ca("Other Root", OTHER_KEY, ROOT)
    add("cross-loop", [LEAF, ISSUER, root_by_other, other_by_root], [stranger])
    add("cross-loop-trusted", [LEAF, ISSUER, root_by_other, other_by_root], [other])
    rekeyed = ca("Issuer", OTHER_KEY, ROOT)
    add("rekeyed-issuer-first", [LEAF, rekeyed, ISSUER], [ROOT])
    add("rekeyed-issuer-second", [LEAF, ISSUER, rekeyed], [ROOT])
    plain = [certificate(DN.format("Issuer"), key, ROOT, extensions=[basic_constraints(True)])
             for key in (ISSUER_KEY, OTHER_KEY)]
    leaf = leaf_of(plain[0], extensions=[])
    add("rekeyed-without-ids-first", [leaf, plain[1], plain[0]], [ROOT])
    add("rekeyed-without-ids-second", [leaf, *plain], [ROOT])


def dates():
    for index in range(4):
        one_changed(f"expired-{index}", index, depth=3, not_before="2020-01-01", not_after="2029-12-30")
        one_changed(f"not-yet-{index}", index, depth=3, not_before="2030-01-02")
    for label, when in (("last-second", "2030-01-01 00:00:00"), ("second-after", "2029-12-31 23:59:59")):
        leaf_changed(label, not_after=when)
    for label, when in (("first-second", "00:00:00"), ("second-before", "00:00:01"), ("two-hours-before", "02:00:00"),
                        ("more-than-two-hours-before", "02:00:01")):
        leaf_changed(label, not_before=f"2030-01-01 {when}")
    leaf_changed("never-valid", not_before="2031-01-01", not_after="2029-01-01")
    leaf_changed("for-ever", not_after="9999-12-31 23:59:59")
    made = [ca("Root", ROOT_KEY, not_after="2060-01-01")]
    made.insert(0, leaf_of(made[0], not_after="2060-01-01"))
    for year in (2037, 2040, 2061):
        add(f"in-{year}", made[:1], made[1:], now=seconds(f"{year}-06-01"))

    def times(label, before, after, tag=0x17):
        validity = sequence(tlv(tag, before.encode()), tlv(tag, after.encode()))
        leaf_changed(f"time-{label}", edit=lambda parts: [*parts[:4], validity, *parts[5:]])

    sound = ("290101000000Z", "310101000000Z")
    times("plain", *sound)
    times("1950", "500101000000Z", sound[1])
    times("without-zone", "290101000000", sound[1])
    times("second-60", "290101000060Z", sound[1])
    times("generalized-before-2050", "20290101000000Z", "20310101000000Z", 0x18)
    times("with-fraction", "20290101000000.5Z", "20310101000000Z", 0x18)
    for label, before, after in (("without-seconds", "2901010000Z", "3101010000Z"),
                                 ("with-offset", "290101000000+0000", "310101000000+0000"),
                                 ("february-30", "290230000000Z", "310230000000Z"),
                                 ("month-13", "291301000000Z", "311301000000Z"),
                                 ("letters", "29010100000AZ", "31010100000AZ"), ("empty", "", "")):
        times(label, before, sound[1])
        times(f"after-{label}", sound[0], after)


def authorities():
    """What makes an issuer a CA."""
    usage, no_usage = key_usage(KEY_CERT_SIGN, CRL_SIGN), key_usage(DIGITAL_SIGNATURE)
    yes, no = basic_constraints(True), basic_constraints(False)
    rows = {
        "ca-plain": [yes, usage],
        "ca-without-usage": [yes],
        "ca-not-critical": [basic_constraints(True, critical=False), usage],
        "ca-false": [no, usage],
        "ca-false-not-critical": [basic_constraints(False, critical=False), usage],
        "ca-false-with-path-length": [basic_constraints(False, 1), usage],
        "ca-absent-with-usage": [usage],
        "ca-absent-without-usage": [],
        "ca-without-cert-sign": [yes, no_usage],
        "ca-without-cert-sign-not-critical": [yes, key_usage(DIGITAL_SIGNATURE, critical=False)],
        "ca-usage-not-critical": [yes, key_usage(KEY_CERT_SIGN, critical=False)],
        "ca-usage-two-octets": [yes, key_usage(KEY_CERT_SIGN, 8)],
        "ca-usage-empty": [yes, extension("2.5.29.15", bit_string(b""), True)],
        "ca-usage-trailing-zeros": [yes, extension("2.5.29.15", bit_string(b"\x06\0"), True)],
        "ca-twice": [yes, yes, usage],
        "ca-twice-differently": [yes, no, usage],
        "ca-twice-first-false": [no, yes, usage],
        "ca-no-sequence": [extension("2.5.29.19", TRUE, True), usage],
        "ca-empty-value": [extension("2.5.29.19", b"", True), usage],
        "ca-true-as-1": [extension("2.5.29.19", sequence(tlv(0x01, b"\x01")), True), usage],
        "ca-true-long": [extension("2.5.29.19", sequence(tlv(0x01, b"\xff\xff")), True), usage],
        "ca-explicit-false": [extension("2.5.29.19", sequence(FALSE), True), usage],
        "ca-trailing-octets": [extension("2.5.29.19", sequence(TRUE) + b"\0", True), usage],
        "ca-path-length-negative": [basic_constraints(True, -1), usage],
        "ca-path-length-large": [basic_constraints(True, 1 << 40), usage],
        "ca-extended-usage": [yes, usage, extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.2")), True)],
    }
    for label, extensions in rows.items():
        issuer_changed(label, extensions=extensions)
    one_changed("root-ca-false", 2, extensions=[no, usage])
    one_changed("root-ca-absent", 2, extensions=[])
    one_changed("root-without-cert-sign", 2, extensions=[yes, no_usage])
    one_changed("root-version-1", 2, version=1, extensions=[])
    issuer_changed("issuer-version-1", version=1, extensions=[])
    leaf_changed("leaf-version-1", version=1, extensions=[])
    leaf_changed("leaf-version-1-with-extensions", version=1)
    leaf_changed("leaf-version-2", version=2, extensions=[])
    leaf_changed("leaf-version-4", version=4)
    leaf_changed("leaf-is-ca", extensions=[yes, usage])
    for index, path_len in ((1, 0), (2, 0), (2, 1), (3, 0), (3, 1), (3, 2), (4, 2)):
        one_changed(f"path-length-{path_len}-at-{index}", index, depth=4, path_len=path_len)
    tight = ca("Issuer", ISSUER_KEY, ROOT, path_len=0)
    again = certificate(DN.format("Issuer"), OTHER_KEY, tight, ca=True)
    add("path-length-self-issued", [leaf_of(again), again, tight], [ROOT])


def extensions():
    text = tlv(0x0C, b"unknown")
    for index, where in enumerate(("leaf", "issuer", "root")):
        for critical in (True, False):
            word = "critical" if critical else "plain"
            one_changed(f"unknown-{word}-{where}", index,
                        more=[extension("1.3.6.1.4.1.99999.1", text, critical)])
    uri = tlv(0x86, b"http://example.test/x")
    point = sequence(sequence(tlv(0xA0, tlv(0xA0, uri))))
    names = sequence(tlv(0x82, b"example.test"))
    permitted = sequence(tlv(0xA0, sequence(directory_name(name("O=Example, C=ZZ")))))
    excluded = sequence(tlv(0xA1, sequence(directory_name(name("O=Example, C=ZZ")))))
    policy = sequence(sequence(oid("1.3.6.1.4.1.99999.2")))
    access = sequence(sequence(oid("1.3.6.1.5.5.7.48.2"), uri))
    known = {
        "subject-alt-name": ("2.5.29.17", names), "issuer-alt-name": ("2.5.29.18", names),
        "extended-usage": ("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.2"))),
        "extended-usage-unknown": ("2.5.29.37", sequence(oid("1.3.6.1.4.1.99999.3"))),
        "distribution-points": ("2.5.29.31", point), "freshest-crl": ("2.5.29.46", point),
        "authority-access": ("1.3.6.1.5.5.7.1.1", access), "subject-access": ("1.3.6.1.5.5.7.1.11", access),
        "policies": ("2.5.29.32", policy), "any-policy": ("2.5.29.32", sequence(sequence(oid("2.5.29.32.0")))),
        "netscape-type": ("2.16.840.1.113730.1.1", bit_string(b"\xf7")),
        "tls-feature": ("1.3.6.1.5.5.7.1.24", sequence(integer(5))),
        "usage-period": ("2.5.29.16", sequence(tlv(0x80, b"20290101000000Z"))),
    }
    for label, (type_oid, value) in known.items():
        leaf_changed(f"critical-{label}", more=[extension(type_oid, value, True)])
    for_issuers = {
        "policies": ("2.5.29.32", policy),
        "policy-constraints": ("2.5.29.36", sequence(tlv(0x80, b"\1"))),
        "policy-mappings": ("2.5.29.33", sequence(sequence(oid("1.3.6.1.4.1.99999.2"), oid("1.3.6.1.4.1.99999.4")))),
        "inhibit-any-policy": ("2.5.29.54", integer(0)),
        "names-permitted": ("2.5.29.30", permitted), "names-excluded": ("2.5.29.30", excluded),
    }
    for label, (type_oid, value) in for_issuers.items():
        for critical in (True, False):
            word = "critical" if critical else "plain"
            issuer_changed(f"issuer-{word}-{label}", more=[extension(type_oid, value, critical)])
    usage, ids = key_usage(DIGITAL_SIGNATURE), subject_key_id(key_id(LEAF_KEY))
    leaf_changed("no-extensions", extensions=[])
    leaf_changed("key-id-wrong", extensions=[usage, ids, authority_key_id(b"\1" * 20)])
    serial = extension("2.5.29.35", sequence(tlv(0xA1, directory_name(name(DN.format("Root")))), tlv(0x82, b"\1")))
    leaf_changed("key-id-wrong-serial", extensions=[usage, ids, serial])
    leaf_changed("key-id-critical", extensions=[usage, extension("2.5.29.14", tlv(0x04, b"\1"), True)])
    leaf_changed("critical-explicit-false", more=[
        sequence(oid("1.3.6.1.4.1.99999.1"), FALSE, tlv(0x04, text))])
    leaf_changed("critical-true-as-1", more=[
        sequence(oid("1.3.6.1.4.1.99999.1"), tlv(0x01, b"\1"), tlv(0x04, text))])
    leaf_changed("usage-twice", extensions=[usage, usage])
    leaf_changed("alt-name-malformed", more=[extension("2.5.29.17", b"\x30\x05\x82", False)])
    leaf_changed("alt-name-malformed-critical", more=[extension("2.5.29.17", b"\x30\x05\x82", True)])


def names():
    def issuer_called(label, issuer_name):
        leaf_changed(label, issuer_name=issuer_name)

    right = DN.format("CA 1")
    for label, tag in (("printable", PRINTABLE), ("t61", T61), ("bmp", BMP)):
        issuer_called(f"name-{label}", name(right, tag))
    issuer_called("name-case", right.upper())
    issuer_called("name-spaces", "CN= CA   1 , O=Example, C=ZZ")
    issuer_called("name-inner-space-missing", "CN=CA1, O=Example, C=ZZ")
    issuer_called("name-other", DN.format("CA 2"))
    issuer_called("name-shorter", "CN=CA 1, C=ZZ")
    issuer_called("name-longer", "OU=x, CN=CA 1, O=Example, C=ZZ")
    issuer_called("name-reordered", "O=Example, CN=CA 1, C=ZZ")
    for label, here, there in (("same", "CN=CA+OU=x,C=ZZ", "CN=CA+OU=x,C=ZZ"),
                               ("swapped", "CN=CA+OU=x,C=ZZ", "OU=x+CN=CA,C=ZZ"),
                               ("apart", "CN=CA+OU=x,C=ZZ", "CN=CA,OU=x,C=ZZ"),
                               ("umlaut", "CN=\u00c4,C=ZZ", "CN=\u00e4,C=ZZ"),
                               ("escaped", "CN=a\\b\"#;<>,C=ZZ", "CN=a\\b\"#;<>,C=ZZ"),
                               ("nul", "CN=CA\0x,C=ZZ", "CN=CA\0y,C=ZZ"),
                               ("empty-value", "CN=,C=ZZ", "CN=,C=ZZ")):
        issuer = certificate(here, ISSUER_KEY, ROOT, ca=True)
        add(f"name-{label}", [leaf_of(issuer, issuer_name=there), issuer], [ROOT])
    nameless = certificate("", ISSUER_KEY, ROOT, ca=True)
    add("name-empty-issuer", [leaf_of(nameless), nameless], [ROOT])
    alt = extension("2.5.29.17", sequence(tlv(0x82, b"example.test")), True)
    add("name-empty-subject", [certificate("", LEAF_KEY, ISSUER, more=[alt]), ISSUER], [ROOT])


def encodings():
    """Octets that DER does not allow, or that stand at its edges."""
    def indefinite(*parts):
        return b"\x30\x80" + b"".join(parts) + b"\0\0"

    def long_length(*parts):
        content = b"".join(parts)
        return b"\x30\x84" + len(content).to_bytes(4, "big") + content

    def replace(index, octets):
        def edit(parts):
            parts[index] = octets(parts[index]) if callable(octets) else octets
            return parts
        return edit

    def insert(index, octets):
        return lambda parts: parts[:index] + [octets] + parts[index:]

    for label, form in (("indefinite", indefinite), ("long-length", long_length)):
        leaf_changed(f"ber-outer-{label}", wrap=form)
        leaf_changed(f"ber-validity-{label}", edit=replace(4, lambda der, form=form: form(der[2:])))
        leaf_changed(f"ber-tbs-{label}", inner=form)
    leaf_changed("trailing-octets", wrap=lambda *parts: sequence(*parts) + b"\0\0")
    leaf_changed("trailing-element", wrap=lambda *parts: sequence(*parts, NULL))
    leaf_changed("trailing-element-tbs", edit=lambda parts: [*parts, NULL])
    leaf_changed("version-1-explicit", version=1, extensions=[], edit=insert(0, tlv(0xA0, integer(0))))
    leaf_changed("extensions-empty", extensions=[], edit=lambda parts: [*parts, tlv(0xA3, sequence())])
    leaf_changed("unique-ids", edit=lambda parts: [*parts[:7], tlv(0x81, b"\0\1"), tlv(0x82, b"\0\2"), parts[7]])
    for label, serial in (("zero", 0), ("negative", -5), ("21-octets", 1 << 160), ("100-octets", 1 << 799)):
        leaf_changed(f"serial-{label}", serial=serial)
    leaf_changed("serial-padded", edit=replace(1, tlv(0x02, b"\0\0\1")))
    leaf_changed("serial-empty", edit=replace(1, tlv(0x02)))

    def signed(change):
        return {"wrap": lambda tbs, algorithm, signature: sequence(tbs, algorithm, change(signature))}

    leaf_changed("signature-unused-bits", **signed(lambda signature: bit_string(signature[3:], 1)))
    leaf_changed("signature-empty", **signed(lambda signature: bit_string(b"")))
    leaf_changed("signature-trailing-octet", **signed(lambda signature: bit_string(signature[3:] + b"\0")))
    rsa = ca("Issuer", KEYS["rsa-a"], ROOT)
    for label, change in (("leading-zero", lambda signature: bit_string(b"\0" + signature[5:])),
                          ("short", lambda signature: bit_string(signature[5:-1]))):
        add(f"signature-rsa-{label}", [leaf_of(rsa, **signed(change)), rsa], [ROOT])
    leaf_changed("der-cut-short", wrap=lambda *parts: sequence(*parts)[:-1])


def keys():
    ec, p256, rsa_oid = oid("1.2.840.10045.2.1"), oid("1.2.840.10045.3.1.7"), "1.2.840.113549.1.1."
    leaf, rsa, curve = KEYS["p256-c"], KEYS["rsa-b"], KEYS["p256-c"].curve

    def spki(octets, *algorithm):
        return sequence(sequence(*algorithm), bit_string(octets))

    def number(value):
        return value.to_bytes(32, "big")

    explicit = sequence(
        integer(1), sequence(oid("1.2.840.10045.1.1"), integer(curve.p)),
        sequence(tlv(0x04, number(curve.p - 3)), tlv(0x04, number(curve.b))),
        tlv(0x04, b"\4" + number(curve.gx) + number(curve.gy)), integer(curve.n), integer(1))
    for label, octets in {
            "compressed": spki(leaf.compressed, ec, p256),
            "explicit-curve": spki(leaf.public, ec, explicit),
            "not-on-curve": spki(leaf.public[:-1] + b"\0", ec, p256),
            "unknown-curve": spki(leaf.compressed, ec, oid("1.3.6.1.4.1.99999.5")),
            "ed25519": spki(b"\x58" + b"\x66" * 31, oid("1.3.101.112")),
            "rsa": rsa.spki,
            "rsa-parameters-absent": spki(rsa.public, oid(rsa_oid + "1")),
            "rsa-named-by-signature": spki(rsa.public, oid(rsa_oid + "5"), NULL),
            "rsa-pss": spki(rsa.public, oid(rsa_oid + "10")),
            "rsa-malformed": spki(rsa.public[:-1], oid(rsa_oid + "1"), NULL)}.items():
        leaf_changed(f"key-{label}", spki=octets)
    for label, octets in (("compressed", spki(ISSUER_KEY.compressed, ec, p256)),
                          ("explicit-curve", spki(ISSUER_KEY.public, ec, explicit))):
        made = ca("Issuer", ISSUER_KEY, ROOT, spki=octets)
        add(f"key-{label}-issuer", [leaf_of(made), made], [ROOT])


def mixtures(count=40):
    """Sound ones and ones with a fault, of any depth, with any keys, digests and order."""
    rng = random.Random(1)
    faults = [{"altered": True}, {"not_before": "2031-06-01"}, {"not_after": "2029-06-01"},
              {"more": [extension("1.3.6.1.4.1.99999.1", NULL, True)]}]
    for number in range(count):
        depth = rng.randint(1, 6)
        faulty = rng.randrange(depth) if number % 2 else None
        made = []
        for index in range(depth, -1, -1):
            key = KEYS[rng.choice(sorted(KEYS))]
            digest = rng.choice(sorted(set(DIGESTS) - {"sha224", "md5"}))
            changes = rng.choice(faults) if index == faulty else {}
            common = {"digest": digest, "ca": index > 0, "not_after": "2034-01-01", **changes}
            made.insert(0, certificate(DN.format(f"Mix {index}"), key, made[0] if made else None, **common))
        sent = made[:-1]
        rng.shuffle(sent)
        add(f"mixture-{number}", sent, made[-1:], made[0])


def all_chains():
    for group in (algorithms, shapes, trust, dates, authorities, extensions, names, encodings, keys, mixtures):
        group()
    return CHAINS
