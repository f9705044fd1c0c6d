#!/usr/bin/env python3
"""Asks the openssl command for its verdict on every scenario that has one in tests/data/chain/scenarios.txt.

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

from scenarios import read_scenarios    # noqa: E402

MIN_SCENARIOS = 250
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


def openssl_verdict(scenario):
    leaf = scenario.settings.get("end-entity", scenario.sent[:1])[0]
    command = ["openssl", "verify", "-attime", str(scenario.seconds), "-partial_chain"]
    for name in scenario.trusted:
        command += ["-trusted", DATA / "certs" / f"{name}.pem"]
    for name in scenario.sent:
        if name != leaf:
            command += ["-untrusted", DATA / "certs" / f"{name}.pem"]
    done = subprocess.run([*command, DATA / "certs" / f"{leaf}.pem"], capture_output=True, text=True, check=False,
                          env={**os.environ, "OPENSSL_CONF": "/dev/null", "LC_ALL": "C"})
    if done.returncode == 0:
        return "OK"
    found = re.search(r"^error (\d+) at \d+ depth lookup", done.stderr, re.MULTILINE)
    if found:
        number = int(found.group(1))
        return REASONS[number][0] if number in REASONS else f"ERROR_{number}"
    return "UNREADABLE" if re.search("unable to load|could not read", done.stderr, re.I) else done.stderr


def main():
    # A 32-bit openssl takes no time beyond 2038.
    asked = [one for one in read_scenarios(DATA) if one.theirs != "-" and
             (one.seconds < 2 ** 31 or sys.maxsize > 2 ** 32)]
    with ThreadPoolExecutor(2) as pool:
        theirs = list(pool.map(openssl_verdict, asked))
    wrong = []
    for one, verdict in zip(asked, theirs):
        agree = one.code in MEANS.get(verdict, set())
        if verdict != one.theirs or agree == ("reason" in one.settings):
            wrong.append(f"{one.name}: openssl says {verdict}, the table {one.theirs} and, for us, {one.code}")
    if (DATA / "certs" / "made-from").read_text().strip() != hashlib.sha256((DATA / "certs.txt").read_bytes()).hexdigest():
        wrong.append("certs.txt has changed: run make.py")
    print(f"{len(asked)} scenarios, {theirs.count('OK')} accepted by openssl, {len(wrong)} wrong", *wrong, sep="\n")
    return 1 if wrong or len(asked) < MIN_SCENARIOS else 0


sys.exit(main())
