#!/usr/bin/env python3
"""Asks the openssl command for its verdict on every scenario that has one in tests/data/chain: scenarios.txt, and
revoked.txt with CRLs.

A verdict that is not the one in the table fails the run; so does one that means something else than the
library's and has no reason there, and a reason where both mean the same.
"""
import hashlib
import os
import pathlib
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

sys.dont_write_bytecode = True
DATA = pathlib.Path(__file__).resolve().parent.parent / "data" / "chain"
sys.path.insert(0, str(DATA.parent.parent / "support"))

from scenarios import read_revoked, read_scenarios    # noqa: E402

MIN_SCENARIOS, MIN_REVOKED = 250, 140
# openssl's numbers (x509_vfy.h) under names of ours, and which of our verdicts mean the same.
REASONS = {
    1: ("BAD_KEY", {"unreadable"}),
    2: ("NO_ISSUER", {"notTrusted"}),
    7: ("BAD_SIGNATURE", {"badSignature", "notTrusted"}),    # directly below the root it is the latter
    9: ("NOT_VALID_YET", {"notYetValid"}),
    10: ("EXPIRED", {"expired"}),
    13: ("BAD_NOT_BEFORE", {"unreadable"}),
    14: ("BAD_NOT_AFTER", {"expired"}),                       # we take it for the last second of 1969
    18: ("SELF_SIGNED_LEAF", {"notTrusted"}),
    19: ("SELF_SIGNED_IN_CHAIN", {"notTrusted"}),
    20: ("NO_LOCAL_ISSUER", {"notTrusted"}),
    21: ("ONLY_LEAF", {"notTrusted"}),
    25: ("PATH_LENGTH_EXCEEDED", {"pathLenExceeded"}),
    34: ("UNHANDLED_CRITICAL", {"unhandledCritExt"}),
    41: ("INVALID_EXTENSION", {"unreadable", "unhandledCritExt"}),
    47: ("NAME_NOT_PERMITTED", {"nameConstraints"}),
    48: ("NAME_EXCLUDED", {"nameConstraints"}),
    79: ("NO_CA", {"issuerIsNoCA", "wrongKeyUsage"}),
    94: ("EXPLICIT_CURVE", {"unreadable"}),
}
MEANS = {"OK": {"OK"}, "UNREADABLE": {"unreadable"}, **dict(REASONS.values())}
# Of revocation. Openssl says of CRLs that are there and do not do that there is none; which of them it blames differs.
UNUSABLE = {"noValidCRL"}
REVOCATION_REASONS = {
    3: ("NO_CRL", {"unknownStatus", "crlNotRetrieved", "noValidCRL"}),
    8: ("BAD_SIGNATURE", UNUSABLE),
    11: ("NOT_VALID_YET", {"crlNotYetValid"}),
    12: ("EXPIRED", {"crlExpired"}),
    15: ("BAD_THIS_UPDATE", UNUSABLE),
    23: ("REVOKED", {"revoked"}),
    35: ("NO_CRL_SIGN", UNUSABLE),
    36: ("UNHANDLED_CRITICAL", UNUSABLE),
    44: ("OTHER_SCOPE", UNUSABLE),
}
CRL_SIGNER = "CRL_SIGNER"    # a fault of the path of who signed the CRL
REVOCATION_MEANS = {"OK": {"OK"}, "UNREADABLE": {"unreadable"}, CRL_SIGNER: UNUSABLE,
                    **dict(REVOCATION_REASONS.values())}


def verify(scenario, leaf, options):
    command = ["openssl", "verify", "-attime", str(scenario.seconds), "-partial_chain", *options]
    for name in scenario.sent:
        if name != leaf:
            command += ["-untrusted", DATA / "certs" / f"{name}.pem"]
    return subprocess.run([*command, DATA / "certs" / f"{leaf}.pem"], capture_output=True, text=True, check=False,
                          env={**os.environ, "OPENSSL_CONF": "/dev/null", "LC_ALL": "C"})


def unread(done):
    return "UNREADABLE" if re.search("unable to load|could not read", done.stderr, re.I) else done.stderr


def openssl_verdict(scenario):
    options = []
    for name in scenario.trusted:
        options += ["-trusted", DATA / "certs" / f"{name}.pem"]
    done = verify(scenario, scenario.settings.get("end-entity", scenario.sent[:1])[0], options)
    if done.returncode == 0:
        return "OK"
    found = re.search(r"^error (\d+) at \d+ depth lookup", done.stderr, re.MULTILINE)
    if found:
        number = int(found.group(1))
        return REASONS[number][0] if number in REASONS else f"ERROR_{number}"
    return unread(done)


def openssl_revocation_verdict(scenario):
    """What it says first: the command goes on after some errors and then forgets those about signers of CRLs."""
    # Signers of CRLs are looked up in the store, which -trusted goes past.
    options = ["-crl_check_all", "-extended_crl", "-no-CApath", "-no-CAstore", "-CAfile",
               DATA / "certs" / f"{scenario.trusted[0]}.pem"]
    options += ["-use_deltas"] if "deltas" in scenario.settings else []
    for name in scenario.settings["crls"]:
        options += ["-CRLfile", DATA / "crls" / f"{name}.pem"]
    done = verify(scenario, scenario.sent[0], options)
    found = re.search(r"^(\[CRL path\] )?error (\d+) at (\d+) depth lookup", done.stderr, re.MULTILINE)
    if not found:
        return "OK" if done.returncode == 0 else unread(done)
    if found.group(1):
        return CRL_SIGNER
    number, depth = int(found.group(2)), int(found.group(3))
    name = REVOCATION_REASONS[number][0] if number in REVOCATION_REASONS else f"ERROR_{number}"
    return f"{name} at {scenario.path[depth]}"


def agrees(scenario, verdict, means):
    """Of revocation both have to blame the same certificate as well, where openssl names one."""
    theirs, _, blamed = verdict.partition(" at ")
    return scenario.code in means.get(theirs, set()) and blamed in ("", scenario.blamed)


def compare(scenarios, ask, means):
    """@return how many there are, how many of them openssl accepts, and what is wrong, a line each"""
    # A 32-bit openssl takes no time beyond 2038.
    asked = [one for one in scenarios if one.theirs != "-" and (one.seconds < 2 ** 31 or sys.maxsize > 2 ** 32)]
    with ThreadPoolExecutor(2) as pool:
        theirs = list(pool.map(ask, asked))
    wrong = []
    for one, verdict in zip(asked, theirs):
        if verdict != one.theirs or agrees(one, verdict, means) == ("reason" in one.settings):
            ours = f"{one.code} at {one.blamed}" if one.blamed else one.code
            wrong.append(f"{one.name}: openssl says {verdict}, the table {one.theirs} and, for us, {ours}")
    return len(asked), theirs.count("OK"), wrong


def main():
    chains, accepted, wrong = compare(read_scenarios(DATA), openssl_verdict, MEANS)
    revoked, good, wrong_revoked = compare(read_revoked(DATA), openssl_revocation_verdict, REVOCATION_MEANS)
    wrong += wrong_revoked
    for kind in ("certs", "crls"):
        table = (DATA / f"{kind}.txt").read_bytes()
        if (DATA / kind / "made-from").read_text().strip() != hashlib.sha256(table).hexdigest():
            wrong.append(f"{kind}.txt has changed: run make.py")
    print(f"{chains} scenarios, {accepted} accepted by openssl",
          f"{revoked} with CRLs, {good} accepted; {len(wrong)} wrong", *wrong, sep="\n")
    return 1 if wrong or chains < MIN_SCENARIOS or revoked < MIN_REVOKED else 0


if __name__ == "__main__":
    sys.exit(main())
