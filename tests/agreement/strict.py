#!/usr/bin/env python3
"""Judges drawn chains (randomChains.py) by the strict rules and by the openssl command's, and compares.

    strict.py KXCERT [LABEL]    with a label, the chain's PEM files stay in ./LABEL and both answers are printed

Agreement is more than the same yes or no: each error that openssl tells has to be among the rules that failed here. A
difference wants its row, with the reason, in ../data/chain/strictDifferences.txt; a row that nothing needs fails as well.
"""
import collections
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

sys.dont_write_bytecode = True
TESTS = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TESTS / "support"))

from randomChains import ANY_POLICY, all_chains    # noqa: E402
from scenarios import rows_of          # noqa: E402

MIN_CHAINS, MIN_ACCEPTED = 600, 200
NOW = "1893456000"    # 2030-01-01
PURPOSES = {"server": "sslserver", "client": "sslclient", "mail": "smimesign", "timestamping": "timestampsign"}
NAMES = {"nameConstraints.names"}
CA = {"caConstraints.basicConstraints", "caConstraints.version", "caConstraints.keyUsage", "issuer is a CA",
      "encoding.keyUsage"}
NO_ISSUER = {"ends in a trusted root"}
# Openssl's numbers (x509_vfy.h), what they are called here, and which of our rules mean the same.
ERRORS = {
    7: ("BAD_SIGNATURE", {"signature", "algorithms.equal", "ends in a trusted root"}),
    9: ("NOT_VALID_YET", {"calendar.notBefore"}),
    10: ("EXPIRED", {"calendar.notAfter"}),
    13: ("BAD_NOT_BEFORE", {"encoding.times"}),
    14: ("BAD_NOT_AFTER", {"encoding.times"}),
    19: ("ROOT_NOT_TRUSTED", NO_ISSUER),
    20: ("NO_ISSUER", NO_ISSUER),
    21: ("ONLY_LEAF", NO_ISSUER),
    25: ("PATH_LENGTH", {"caConstraints.pathLength"}),
    26: ("PURPOSE", {"purpose.extKeyUsage", "purpose.issuers", "purpose.keyUsage", *CA}),
    32: ("NO_CERT_SIGN", {"caConstraints.keyUsage"}),
    34: ("UNHANDLED_CRITICAL", {"critical extensions", "encoding.criticality"}),
    41: ("INVALID_EXTENSION", {"encoding.knownExtensions", "encoding.emptySequence", "encoding.extensionTwice",
                               "encoding.der", "nameConstraints.readable", "policies.readable"}),
    42: ("POLICY_EXTENSION", {"policies.readable", "encoding.emptySequence"}),
    43: ("NO_POLICY", {"policies.explicit"}),
    47: ("NAME_NOT_PERMITTED", NAMES),
    48: ("NAME_EXCLUDED", NAMES),
    49: ("MINIMUM_OR_MAXIMUM", {"nameConstraints.readable"}),
    51: ("CONSTRAINT_KIND", {"nameConstraints.kinds"}),
    52: ("CONSTRAINT_SYNTAX", {"nameConstraints.readable"}),
    53: ("NAME_SYNTAX", NAMES),
    78: ("ALGORITHMS_DIFFER", {"algorithms.equal"}),
    79: ("NO_CA", CA),
    80: ("PATH_LENGTH_OF_NO_CA", {"encoding.keyUsage"}),
    81: ("PATH_LENGTH_WITHOUT_CERT_SIGN", {"encoding.keyUsage"}),
    82: ("CERT_SIGN_OF_NO_CA", {"encoding.keyUsage"}),
    83: ("ISSUER_EMPTY", {"encoding.issuer"}),
    84: ("SUBJECT_EMPTY", {"encoding.subject"}),
    85: ("NO_AUTHORITY_KEY_ID", {"encoding.keyIdentifiers"}),
    86: ("NO_SUBJECT_KEY_ID", {"encoding.keyIdentifiers"}),
    87: ("NO_ALTERNATIVE_NAMES", {"encoding.emptySequence", "encoding.subject"}),
    88: ("SUBJECT_EMPTY_NAMES_NOT_CRITICAL", {"encoding.subject"}),
    89: ("CONSTRAINTS_NOT_CRITICAL", {"caConstraints.critical", "encoding.criticality"}),
    90: ("AUTHORITY_KEY_ID_CRITICAL", {"encoding.criticality"}),
    91: ("SUBJECT_KEY_ID_CRITICAL", {"encoding.criticality"}),
    92: ("NO_KEY_USAGE", {"encoding.keyUsage"}),
    93: ("EXTENSIONS_BELOW_VERSION_3", {"encoding.version"}),
}


def run(*command):
    return subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False,
                          env={**os.environ, "OPENSSL_CONF": "/dev/null", "LC_ALL": "C"})


def ours(kxcert, chain, folder):
    """@return the rules that refuse it, each "rule: facts"; none: it is accepted"""
    command = [kxcert, "chain", "verify", "--json", "--strict", "--at", NOW, "--trust", folder / "root.pem",
               "--untrusted", folder / "more.pem", *(["--purpose", chain.purpose] if chain.purpose else [])]
    for policy in chain.policies:
        command += ["--policy", policy]
    done = run(*command, "--end-entity", folder / "leaf.pem")
    if done.returncode not in (0, 1):
        return [f"unreadable: {done.stderr.strip() or done.returncode}"]
    said = json.loads(done.stdout)
    failed = [one for one in said["findings"] if one["outcome"] == "failed" and one["decides"]]
    assert said["valid"] == (not failed), done.stdout
    return [f"{one['rule']}: " + ", ".join(f"{fact['label']} {fact['value']}" for fact in one["facts"]) for one in failed]


def theirs(chain, folder):
    """@return the errors that it tells"""
    command = ["openssl", "verify", "-x509_strict", "-policy_check", "-attime", NOW, "-trusted", folder / "root.pem",
               "-untrusted", folder / "more.pem", *(["-purpose", PURPOSES[chain.purpose]] if chain.purpose else []),
               *(["-explicit_policy"] if chain.policies else [])]
    for policy in chain.policies or [ANY_POLICY]:      # it takes none for none that will do
        command += ["-policy", policy]
    done = run(*command, folder / "leaf.pem")
    numbers = [int(number) for number in re.findall(r"^error (\d+) at \d+ depth", done.stderr, re.MULTILINE)]
    errors = [ERRORS[number][0] if number in ERRORS else f"ERROR_{number}" for number in dict.fromkeys(numbers)]
    assert errors or done.returncode == 0 or "load" in done.stderr, done.stderr
    return errors or ["UNREADABLE"] * (done.returncode != 0)


def differences(refused, errors):
    """@return "ERROR here: rules", "OK here: rule: facts" or "ERROR here: OK"; none where both say the same"""
    rules = {text.partition(":")[0] for text in refused}
    means = dict(ERRORS.values())
    if not errors:
        return [f"OK here: {text}" for text in refused]
    return [f"{error} here: {', '.join(refused) or 'OK'}" for error in errors if not means.get(error, set()) & rules]


def judge(kxcert, label, chain, folder):
    folder.mkdir()
    (folder / "leaf.pem").write_text(chain.certs[0].pem())
    (folder / "more.pem").write_text("".join(cert.pem() for cert in chain.certs[1:-1] + chain.more))
    (folder / "root.pem").write_text(chain.certs[-1].pem())
    return label, chain, ours(kxcert, chain, folder), theirs(chain, folder)


def main(kxcert, only=None):
    reasons = [(re.compile(tag), re.compile(difference)) for tag, difference, _ in
               rows_of(TESTS / "data" / "chain" / "strictDifferences.txt")]
    used, wrong, accepted, number = collections.Counter(), [], 0, 0
    with tempfile.TemporaryDirectory() as made, ThreadPoolExecutor(2) as pool:
        base = pathlib.Path("." if only else made)
        jobs = [pool.submit(judge, kxcert, label, chain, base / label.replace(" ", "-"))
                for label, chain in all_chains() if only in (None, label)]
        for job in jobs:
            label, chain, refused, errors = job.result()
            number += 1
            accepted += not refused
            for difference in differences(refused, errors):
                tags = f"{label}: {'; '.join(chain.tags)}"
                rows = [at for at, (tag, text) in enumerate(reasons) if tag.search(tags) and text.search(difference)]
                used.update(rows[:1])
                if not rows:
                    wrong.append(f"{tags}\n    openssl: {difference}")
            if only:
                print(chain.tags, chain.purpose, chain.policies, f"here: {refused}", f"openssl: {errors}", sep="\n")
    unused = [at for at in range(len(reasons)) if at not in used and not only]
    print(*wrong, *(f"no chain needs row {at + 1}: {reasons[at][1].pattern}" for at in unused), sep="\n")
    print(f"{number} chains, {accepted} accepted here; {sum(used.values())} differences with a reason,",
          f"{len(wrong)} without")
    too_few = not only and (number < MIN_CHAINS or accepted < MIN_ACCEPTED)
    return 1 if wrong or unused or too_few else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
