#!/usr/bin/env python3
"""Makes every folder beside it again: PEM files and the case.txt that says what is to happen.

    make.py           writes what is missing or differs
    make.py --check   writes nothing; fails when something is missing, differs or is not made here

Keys are those of tests/data/keys, so the same octets come out every time. A case.txt has:

    # what is broken, or why it is not
    chain:          files as the peer sent them
    anchor:         files, a trusted root each
    additional:     more certificates of the first root
    constraint:     a directory name that the first root permits; one line each
    intermediates:  files that the holder keeps as intermediate CAs
    own-chain:      files of the holder's own key below the first root, its own certificate first
    run:            trust (sort and look for a root), fix (repair as it stands) or sort fix
    grace-start:    seconds; grace-end: likewise; neither: the defaults
    blacklist:      a serial number's octets in hexadecimal
    time:           when
    expect:         OK, or a code and, where a certificate is to blame, "at" and its file
    path:           files of the chain that validation sees, in order
    named:          the code of the call that is told the end entity, where that is another one
    end-entity:     the file it is told; none: the end entity that sorting finds

A refused case also has its sound twin: a line "twin-chain: ..." stands for "chain: ..." and so on,
the rest stays as it is, and the twin is accepted.
"""
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
sys.dont_write_bytecode = True
sys.path.insert(0, str(HERE.parent.parent / "support"))

from certbuilder import *          # noqa: E402,F403
from signingkeys import RSA_SIGNATURES   # noqa: E402

NOW = "2030-01-01 00:00 UTC"
CASES = {}


def case(folder, what, files, chain="leaf issuer", **lines):
    """Lines keep their order; "_" becomes "-"; words that are files may leave out ".pem"."""
    def with_ending(text):
        return " ".join(word + ".pem" if word in files else word for word in text.split())

    rows = {"chain": chain, "anchor": "root", **lines}
    rows.setdefault("time", NOW)
    rows.setdefault("expect", "OK")
    last = ["time", "twin", "expect", "path", "end", "named"]
    order = sorted(rows, key=lambda row: last.index(row.split("_")[0]) if row.split("_")[0] in last else -1)
    text = [f"# {line}" for line in what.splitlines()]
    for row in order:
        for value in rows[row] if isinstance(rows[row], list) else [rows[row]]:
            text.append(f"{row.replace('_', '-')}: {with_ending(value)}")
    used = " ".join(text)
    assert folder not in CASES and all(f" {file}.pem" in used for file in files), folder
    CASES[folder] = {f"{file}.pem": made.pem() for file, made in files.items()}
    CASES[folder]["case.txt"] = "\n".join(text) + "\n"


def both(folder, what, files, chain, **lines):
    """The case for trust and the one for repair."""
    case(folder, what, files, chain, **lines)
    first = {row: lines.pop(row) for row in ("anchor", "additional") if row in lines}
    case(f"{folder}-repaired", what, files, chain, **first, run="fix", **lines)


SOUND = {"leaf": LEAF, "issuer": ISSUER, "root": ROOT}


def three(root=ROOT, issuer=None, leaf=None):
    """Leaf, issuer and root, of which those given are changed."""
    issuer = issuer or ca("Issuer", ISSUER_KEY, root)
    return {"leaf": leaf or leaf_of(issuer), "issuer": issuer, "root": root}


def shapes():
    """How chains arrive: nothing is wrong with any certificate."""
    case("sound", "Nothing is wrong. The root's certificate is added on top.", SOUND, path="leaf issuer root")
    case("sound-repaired", "Nothing is wrong, and repair adds the root's certificate as well.", SOUND,
         run="fix", path="leaf issuer root")
    both("with-root", "The peer sent the root's certificate, too.", SOUND, "leaf issuer root",
         path="leaf issuer root")
    case("out-of-order", "The root comes first and the leaf before its issuer's issuer.", SOUND,
         "root leaf issuer", path="leaf issuer root")
    case("out-of-order-repaired", "Repair wants path order, which sorting makes.", SOUND, "root issuer leaf",
         run="sort fix", path="leaf issuer root")
    both("chain-of-one", "The root itself signed the leaf.", {"leaf": leaf_of(ROOT), "root": ROOT}, "leaf",
         path="leaf root")
    case("root-alone", "The chain is the root's certificate, which the root signed: it stands there twice.",
         {"root": ROOT}, "root", path="root root")
    case("root-alone-repaired", "The chain is the root's certificate and nothing else.", {"root": ROOT}, "root",
         run="fix", path="root", named="OK")
    stray = ca("Stray", OTHER_KEY)
    case("stray-certificate", "A certificate that has nothing to do with the others is left out.",
         {**SOUND, "stray": stray}, "leaf stray issuer", path="leaf issuer root")
    evil = certificate(DN.format("Evil"), OTHER_KEY, ca("Issuer", OTHER_KEY))
    case("decoy", "The peer sent a forged leaf first; sorting takes the one below which there is no decoy.",
         {**SOUND, "evil": evil, "decoy": certificate(DN.format("Decoy"), LEAF_KEY, evil)},
         "evil leaf issuer decoy", path="leaf issuer root", end_entity="evil", named="BAD_SIGNATURE")
    imitation = certificate(DN.format("Root"), ROOT_KEY, ca("Root", OTHER_KEY))
    case("root-imitated", "The peer is no root: its certificate only has a root's name and public key.",
         {"root": ROOT, "imitation": imitation}, "imitation", path="root", named="NOT_TRUSTED")
    case("root-reissued", "The root signed its name and key once more; as an end entity only its own octets count.",
         {"root": ROOT, "again": ca("Root", ROOT_KEY, not_before="2021-01-01")}, "again", path="again root",
         named="NOT_TRUSTED")

    middle = ca("Middle", OTHER_KEY, ROOT)
    issuer = ca("Issuer", ISSUER_KEY, middle)
    long = {"leaf": leaf_of(issuer), "issuer": issuer, "middle": middle, "root": ROOT}
    both("too-long", "The chain goes on above the certificate that is trusted; the rest is cut off.", long,
         "leaf issuer middle root", anchor="middle", path="leaf issuer middle")
    case("lower-root", "Two certificates of the chain are trusted: it ends at the lower one.", long,
         "leaf issuer middle root", anchor="root middle", run="fix", path="leaf issuer middle")


def trust():
    """Chains that reach no trusted root, or another one than their names say."""
    both("no-trusted-root", "Nobody trusts the root of the chain.",
         {**SOUND, "stranger": ca("Stranger", OTHER_KEY)}, "leaf issuer root", anchor="stranger",
         twin_anchor="root", expect="NOT_TRUSTED")
    both("without-intermediate", "The certificate between leaf and root is missing.", SOUND, "leaf",
         twin_chain="leaf issuer", expect="NOT_TRUSTED")
    case("intermediate-kept", "The holder keeps the missing certificate.", SOUND, "leaf", intermediates="issuer",
         path="leaf issuer root")
    own = certificate(DN.format("Own"), OTHER_KEY, ISSUER)
    case("short-chain", "The holder's own chain has the missing certificate.", {**SOUND, "own": own}, "leaf",
         run="fix", own_chain="own issuer", path="leaf issuer root")

    alone = certificate(DN.format("Alone"), LEAF_KEY)
    case("self-signed-leaf", "The leaf signed itself and nobody trusts it.",
         {"alone": alone, "leaf": leaf_of(ROOT), "root": ROOT}, "alone", twin_chain="leaf", expect="NOT_TRUSTED")
    case("self-signed-leaf-as-issuer", "As its own issuer the leaf must be a CA, unless it is all there is.",
         {"alone": alone}, "alone", anchor="alone", twin_run="fix", expect="WRONG_KEY_USAGE at alone",
         path="alone alone")
    case("self-signed-leaf-trusted", "The leaf signed itself and is trusted as it is.", {"alone": alone}, "alone",
         anchor="alone", run="fix", path="alone", named="WRONG_KEY_USAGE")

    pretender = ca("Root", OTHER_KEY)
    below = ca("Issuer", ISSUER_KEY, pretender)
    forged = {"leaf": LEAF, "issuer": below, "pretender": pretender, "root": ROOT, "sound": ISSUER}
    both("pretender", "The chain ends at another CA with the name of the trusted one.", forged,
         "leaf issuer pretender", twin_chain="leaf sound root", expect="NOT_TRUSTED")
    case("pretender-on-top", "The root signed the chain, but another CA of its name stands above.",
         {**SOUND, "pretender": pretender}, "leaf issuer pretender", run="fix", twin_chain="leaf issuer",
         expect="NOT_TRUSTED", named="OK")
    del forged["sound"]
    both("additional-certificate", "The CA of the same name is one of the root's additional certificates.",
         forged, "leaf issuer pretender", additional="pretender", path="leaf issuer pretender")
    case("renewed-root", "The peer sent an expired certificate of the root's key; ours is taken.",
         {**SOUND, "old": ca("Root", ROOT_KEY, not_before="2010-01-01", not_after="2020-06-01")},
         "leaf issuer old", path="leaf issuer root")

    other = ca("Other Root", OTHER_KEY)
    case("cross-signed-issuer", "Two roots certify the issuer; the order decides, and nothing else is tried.",
         {**SOUND, "by-other": ca("Issuer", ISSUER_KEY, other)}, "leaf by-other issuer",
         twin_chain="leaf issuer by-other", expect="NOT_TRUSTED", end_entity="leaf", named="OK")
    crossed = {**SOUND, "root-by-other": ca("Root", ROOT_KEY, other), "other": other}
    del crossed["root"]
    case("cross-signed-root", "Another root, which is trusted, certifies the one at the top.", crossed,
         "leaf issuer root-by-other", anchor="other", path="leaf issuer root-by-other other")
    crossed["root"] = ROOT
    case("cross-signed-root-by-key", "Another root certifies ours, which is trusted by its name and key.",
         crossed, "leaf issuer root-by-other other", path="leaf issuer root")


def dates():
    future = leaf_of(ISSUER, not_before="2030-01-01 02:00:01")
    case("not-yet-valid", "The leaf becomes valid more than two hours from now.", {**SOUND, "leaf": future},
         twin_time="2030-01-01 00:00:01 UTC", expect="NOT_VALID_YET at leaf")
    early = three(issuer=ca("Issuer", ISSUER_KEY, ROOT, not_before="2030-01-01 00:00:01"))
    case("grace-start", "Without a start grace one second is too early.", early, grace_start="0",
         twin_grace_start="1", expect="NOT_VALID_YET at issuer")
    case("expired", "The leaf's last second is over.", {**SOUND, "leaf": leaf_of(ISSUER, not_after="2029-12-31 23:59:59")},
         twin_time="2029-12-31 23:59:59 UTC", expect="EXPIRED at leaf")
    late = three(root=ca("Root", ROOT_KEY, not_after="2029-12-31 23:59:00"))
    case("expired-root", "The root expired, the certificates below did not.", late,
         twin_time="2029-12-31 23:59 UTC", expect="EXPIRED at root")
    case("grace-end", "The end grace is one second short.", late, grace_end="59", twin_grace_end="60",
         expect="EXPIRED at root")


def extensions():
    unknown = "1.3.6.1.4.1.99999.1"
    text = tlv(0x0C, b"unknown")
    odd = {critical: leaf_of(ISSUER, more=[extension(unknown, text, critical)]) for critical in (True, False)}
    case("unknown-critical", "The leaf has a critical extension that nobody knows.",
         {**SOUND, "leaf": odd[True], "sound": odd[False]}, twin_chain="sound issuer",
         expect="UNHANDLED_CRITICAL at leaf")
    elsewhere = sequence(tlv(0xA0, sequence(directory_name(name("O=Elsewhere, C=ZZ")))))
    limited = {critical: ca("Issuer", ISSUER_KEY, ROOT, more=[extension("2.5.29.30", elsewhere, critical)])
               for critical in (True, False)}
    case("name-constraints-critical", "The issuer's name constraints are critical, and they are not evaluated.",
         {**SOUND, "issuer": limited[True], "sound": limited[False]}, twin_chain="leaf sound",
         expect="UNHANDLED_CRITICAL at issuer")
    policies = extension("2.5.29.32", sequence(sequence(oid("1.3.6.1.4.1.99999.2"))), True)
    required = extension("2.5.29.36", sequence(tlv(0x80, b"\0")), True)
    case("policies-critical", "Critical policies and policy constraints are let pass.",
         three(issuer=ca("Issuer", ISSUER_KEY, ROOT, more=[policies, required])))


def constraints():
    """What an issuer must be."""
    end_entity = [basic_constraints(False), key_usage(KEY_CERT_SIGN)]
    case("issuer-is-no-ca", "The issuing certificate says cA = FALSE; everything else is in order.",
         {**SOUND, "issuer": ca("Issuer", ISSUER_KEY, ROOT, extensions=end_entity), "sound": ISSUER},
         twin_chain="leaf sound", expect="ISSUER_IS_NO_CA at leaf")
    case("root-is-no-ca", "The trusted certificate says cA = FALSE.",
         {"leaf": leaf_of(ROOT), "bad": ca("Root", ROOT_KEY, extensions=end_entity), "root": ROOT}, "leaf",
         anchor="bad", twin_anchor="root", expect="ISSUER_IS_NO_CA at leaf")
    case("issuer-without-constraints", "An issuer that says nothing about being a CA is taken for one.",
         three(issuer=ca("Issuer", ISSUER_KEY, ROOT, extensions=[])))

    def four(path_len):
        middle = ca("Middle", OTHER_KEY, ROOT, path_len=path_len)
        return middle, ca("Issuer", ISSUER_KEY, middle)

    tight, issuer = four(0)
    case("path-length", "One CA stands below the one that allows none.",
         {"leaf": leaf_of(issuer), "issuer": issuer, "middle": tight, "sound": four(1)[0], "root": ROOT},
         "leaf issuer middle", twin_chain="leaf issuer sound", expect="PATH_LENGTH_EXCEEDED at middle")
    case("path-length-root", "One CA stands below the root that allows none.",
         {**SOUND, "root": ca("Root", ROOT_KEY, path_len=0), "sound": ca("Root", ROOT_KEY, path_len=1)},
         twin_anchor="sound", expect="PATH_LENGTH_EXCEEDED at root")

    def signer_without_right(critical):
        usage = key_usage(DIGITAL_SIGNATURE, CRL_SIGN, critical=critical)
        return ca("Issuer", ISSUER_KEY, ROOT, extensions=[basic_constraints(True), usage])

    case("key-usage", "The issuer's critical key usage lacks keyCertSign; one that is not critical says nothing.",
         {**SOUND, "issuer": signer_without_right(True), "sound": signer_without_right(False)},
         twin_chain="leaf sound", expect="WRONG_KEY_USAGE at issuer")
    case("black-list", "The leaf's serial number is on the black list.",
         {**SOUND, "leaf": leaf_of(ISSUER, serial=0x8122334455667788)}, blacklist="008122334455667788",
         twin_blacklist="008122334455667789", expect="BLACK_LISTED at leaf")
    case("black-list-issuer", "The issuer's serial number, an octet long, is on the black list.",
         three(issuer=ca("Issuer", ISSUER_KEY, ROOT, serial=0x7F)), blacklist="7F", twin_blacklist="7E",
         expect="BLACK_LISTED at issuer")


def names():
    case("names-differ", "The leaf names another issuer than the certificate above it has as subject.",
         {**SOUND, "leaf": leaf_of(ISSUER, issuer_name=DN.format("Nobody")), "sound": LEAF}, run="fix",
         twin_chain="sound issuer", expect="INCONSISTENT at leaf", end_entity="leaf", named="NOT_TRUSTED")
    case("names-differ-sorted", "Sorting finds no issuer of that name, so the leaf stands alone.",
         {**SOUND, "leaf": leaf_of(ISSUER, issuer_name=DN.format("Nobody")), "sound": LEAF},
         twin_chain="sound issuer", expect="NOT_TRUSTED", end_entity="leaf")
    spelt = name("CN=ISSUER , O=  example, C=ZZ", PRINTABLE)
    case("names-spelt-differently", "Case, spaces and the string type make no difference.",
         {**SOUND, "leaf": leaf_of(ISSUER, issuer_name=spelt)}, path="leaf issuer root")
    case("name-constraint", "The leaf's subject is not under the name that the root permits.", SOUND,
         constraint="O=Elsewhere,C=ZZ", twin_constraint="O=Example,C=ZZ", expect="NAME_CONSTRAINTS at leaf")
    case("name-constraint-tail", "The permitted name must be a whole tail, not the end of a text.", SOUND,
         constraint=["O=ample,C=ZZ", "CN=Leaf,O=Example"], twin_constraint=["O=ample,C=ZZ", "C=ZZ"],
         expect="NAME_CONSTRAINTS at leaf")


def signatures():
    """Each kind of key with each digest."""
    kinds = {"rsa": KEYS["rsa-a"], "p256": ISSUER_KEY, "p384": KEYS["p384-a"], "p521": KEYS["p521-a"]}
    for kind, key in kinds.items():
        issuer = ca("Issuer", key, ROOT)
        for digest in RSA_SIGNATURES:
            if digest == "sha224" or (digest == "md5" and kind != "rsa"):
                continue
            files = three(issuer=issuer, leaf=leaf_of(issuer, digest=digest, altered=True))
            case(f"signature-{kind}-{digest}", "The leaf's signature is that of other content.",
                 {**files, "sound": leaf_of(issuer, digest=digest)}, twin_chain="sound issuer",
                 expect="BAD_SIGNATURE at leaf")
    middle = ca("Middle", OTHER_KEY, ROOT)
    issuers = {altered: ca("Issuer", ISSUER_KEY, middle, altered=altered) for altered in (True, False)}
    case("signature-of-issuer", "The signature of the certificate above the leaf is that of other content.",
         {"leaf": leaf_of(issuers[True]), "issuer": issuers[True], "sound": issuers[False], "middle": middle,
          "root": ROOT}, "leaf issuer middle", twin_chain="leaf sound middle", expect="BAD_SIGNATURE at issuer")
    case("signature-below-root", "The root did not make the signature that the top of the chain shows.",
         {**SOUND, "issuer": ca("Issuer", ISSUER_KEY, ROOT, altered=True), "sound": ISSUER},
         twin_chain="leaf sound", expect="NOT_TRUSTED")
    case("signature-by-other-key", "The leaf is signed, but not by the key of the issuer in the chain.",
         {**SOUND, "issuer": ca("Issuer", OTHER_KEY, ROOT), "sound": ISSUER}, twin_chain="leaf sound",
         expect="BAD_SIGNATURE at leaf")
    case("signature-of-root", "The root is trusted as it is: its own signature is not looked at.",
         three(root=ca("Root", ROOT_KEY, altered=True)), "leaf issuer root", path="leaf issuer root")


def main():
    for group in (shapes, trust, dates, extensions, constraints, names, signatures):
        group()
    wanted = {HERE / folder / file: text for folder, files in CASES.items() for file, text in files.items()}
    stale = [path for path, text in wanted.items() if not path.exists() or path.read_text() != text]
    stray = [path for path in HERE.glob("*/*") if path not in wanted]
    if "--check" in sys.argv:
        for path in stale + stray:
            print(f"{path.relative_to(HERE)}: {'not made here' if path in stray else 'differs'}")
        return 1 if stale or stray else 0
    for path in stale:
        path.parent.mkdir(exist_ok=True)
        path.write_text(wanted[path])
    for path in stray:
        print(f"not made here: {path.relative_to(HERE)}", file=sys.stderr)
    return 0


sys.exit(main())
