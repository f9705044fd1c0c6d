#!/usr/bin/env python3
"""Asks the openssl command and the library for their verdict on every chain, and compares.

    run.py VERDICT_COMMAND

Where they disagree, differences.txt must say so, with the reason. A difference that is not listed
fails the run, and so does a listed one that is there no more.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

sys.dont_write_bytecode = True
HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "support"))

from chains import all_chains    # noqa: E402

MIN_CHAINS = 60
# openssl's numbers (x509_vfy.h) under names of ours, and which of our verdicts mean the same.
REASONS = {
    1: ("BAD_KEY", {"UNREADABLE"}),
    2: ("NO_ISSUER", {"NOT_TRUSTED"}),
    7: ("BAD_SIGNATURE", {"BAD_SIGNATURE", "NOT_TRUSTED"}),    # directly below the root it is the latter
    9: ("NOT_VALID_YET", {"NOT_VALID_YET"}),
    10: ("EXPIRED", {"EXPIRED"}),
    13: ("BAD_NOT_BEFORE", {"UNREADABLE"}),
    14: ("BAD_NOT_AFTER", {"EXPIRED"}),                       # we take it for the last second of 1969
    18: ("SELF_SIGNED_LEAF", {"NOT_TRUSTED"}),
    19: ("SELF_SIGNED_IN_CHAIN", {"NOT_TRUSTED"}),
    20: ("NO_LOCAL_ISSUER", {"NOT_TRUSTED"}),
    21: ("ONLY_LEAF", {"NOT_TRUSTED"}),
    25: ("PATH_LENGTH_EXCEEDED", {"PATH_LENGTH_EXCEEDED"}),
    34: ("UNHANDLED_CRITICAL", {"UNHANDLED_CRITICAL"}),
    41: ("INVALID_EXTENSION", {"UNREADABLE", "UNHANDLED_CRITICAL"}),
    47: ("NAME_NOT_PERMITTED", {"NAME_CONSTRAINTS"}),
    48: ("NAME_EXCLUDED", {"NAME_CONSTRAINTS"}),
    79: ("NO_CA", {"ISSUER_IS_NO_CA", "WRONG_KEY_USAGE"}),
    94: ("EXPLICIT_CURVE", {"UNREADABLE"}),
}
MEANS = {"OK": {"OK"}, "UNREADABLE": {"UNREADABLE"}, **dict(REASONS.values())}


def write_chain(folder, number, chain):
    """One file for each certificate, so that a repeated one has the same name."""
    paths = {}
    for index, made in enumerate([*chain.sent, *chain.trusted, chain.leaf]):
        if id(made) not in paths:
            paths[id(made)] = folder / f"{number}-{index}.pem"
            paths[id(made)].write_text(made.pem())
    return ([str(paths[id(made)]) for made in chain.sent],
            [str(paths[id(made)]) for made in chain.trusted], str(paths[id(chain.leaf)]))


def openssl_verdict(chain, sent, trusted, leaf):
    command = ["openssl", "verify", "-attime", str(chain.now), "-partial_chain"]
    for file in trusted:
        command += ["-trusted", file]
    for file in sent:
        if file != leaf:
            command += ["-untrusted", file]
    done = subprocess.run([*command, leaf], capture_output=True, text=True, check=False,
                          env={**os.environ, "OPENSSL_CONF": "/dev/null", "LC_ALL": "C"})
    if done.returncode == 0:
        return "OK"
    found = re.search(r"^error (\d+) at \d+ depth lookup", done.stderr, re.MULTILINE)
    if found:
        number = int(found.group(1))
        return REASONS[number][0] if number in REASONS else f"ERROR_{number}"
    if "unable to load" in done.stderr.lower() or "could not read" in done.stderr.lower():
        return "UNREADABLE"
    raise RuntimeError(f"{chain.label}: openssl says {done.stderr}")


def library_verdicts(command, questions):
    lines = [f"{chain.now}\t{' '.join(trusted)}\t{' '.join([leaf, *sent])}\n"
             for chain, sent, trusted, leaf in questions]
    done = subprocess.run([command], input="".join(lines), capture_output=True, text=True, check=True)
    verdicts = done.stdout.splitlines()
    if len(verdicts) != len(questions):
        raise RuntimeError(f"{len(questions)} chains, {len(verdicts)} verdicts: {done.stderr}")
    return verdicts


def read_differences():
    listed = {}
    for line in (HERE / "differences.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            label, theirs, ours, reason = line.split(None, 3)
            assert label not in listed and reason, line
            listed[label] = (theirs, ours)
    return listed


def main():
    # A 32-bit openssl takes no time beyond 2038.
    every = all_chains()
    chains = [c for c in every if c.now < 2 ** 31 or sys.maxsize > 2 ** 32]
    beyond = {c.label for c in every} - {c.label for c in chains}
    if len(chains) < MIN_CHAINS:
        print(f"only {len(chains)} chains")
        return 1
    with tempfile.TemporaryDirectory() as folder:
        questions = [(chain, *write_chain(pathlib.Path(folder), number, chain))
                     for number, chain in enumerate(chains)]
        ours = library_verdicts(sys.argv[1], questions)
        with ThreadPoolExecutor(2) as pool:
            theirs = list(pool.map(lambda question: openssl_verdict(*question), questions))
    found = {chain.label: pair for chain, pair in zip(chains, zip(theirs, ours))
             if pair[1] not in MEANS.get(pair[0], set())}
    listed = read_differences()
    new = {label: pair for label, pair in found.items() if listed.get(label) != pair}
    gone = [label for label, pair in listed.items() if label not in beyond and found.get(label) != pair]
    for label, pair in new.items():
        print(f"new, openssl's verdict and ours: {label} {pair[0]} {pair[1]}")
    for label in gone:
        print(f"in differences.txt, but not so: {label} {' '.join(listed[label])}")
    print(f"{len(chains)} chains, {theirs.count('OK')} accepted by openssl, {ours.count('OK')} by the library, "
          f"{len(found)} differences")
    return 1 if new or gone else 0


sys.exit(main())
