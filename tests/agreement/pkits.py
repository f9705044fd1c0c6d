#!/usr/bin/env python3
"""Judges the paths of NIST's Public Key Interoperability Test Suite (PKITS) and compares with what they are made for.

    pkits.py KXCERT [NAME]    with the name of one, both are printed

The suite comes with Debian's python3-cryptography-vectors; without it the test is skipped. Every end entity is judged with
all certificates and CRLs of the suite at hand, so the path is to be found as well. What is to come out stands in
../data/chain/pkits.txt, which says how its rows read; a certificate without a row fails, and so does a row that none needs.
"""
import collections
import json
import pathlib
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from fnmatch import fnmatchcase

sys.dont_write_bytecode = True
TESTS = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TESTS / "support"))

from scenarios import rows_of          # noqa: E402

SUITE = pathlib.Path("/usr/lib/python3/dist-packages/cryptography_vectors/x509/PKITS_data")
SKIPPED = 77
TIME = "2020-01-01"
# All rules but those of "encoding": the suite has forms of RFC 3280 that RFC 5280 refuses.
RULES = "caConstraints,nameConstraints,policies,algorithms,calendar"
POLICIES = {"any": "2.5.29.32.0", **{str(i): f"2.16.840.1.101.3.2.1.48.{i}" for i in range(1, 8)}}


def options_of(asked):
    for word in asked.split():
        if word in POLICIES:
            yield from ("--policy", POLICIES[word])
        else:
            yield "--" + word


def judge(kxcert, pool, name, asked):
    """@return "valid", or the name of the code and each rule that refused it; or what went wrong"""
    end_entity = SUITE / "certs" / f"{name}.crt"
    others = [word for file in pool if file != end_entity for word in ("--untrusted", file)]
    crls = [word for file in sorted((SUITE / "crls").glob("*.crl")) for word in ("--crl", file)]
    done = subprocess.run([kxcert, "chain", "verify", "--json", "--at", TIME, f"--strict={RULES}", *options_of(asked),
                           "--trust", SUITE / "certs" / "TrustAnchorRootCertificate.crt", *others, *crls,
                           "--end-entity", end_entity], capture_output=True, text=True, check=False)
    if done.returncode not in (0, 1):
        return done.stderr.partition(": ")[2].partition("\n")[0].replace(f"{end_entity}: ", "")
    said = json.loads(done.stdout)
    failed = [one["rule"] for one in said["findings"] if one["outcome"] == "failed" and one["decides"]]
    assert said["valid"] == (not failed), done.stdout
    return "valid" if said["valid"] else " ".join([said["name"], *sorted(set(failed))])


def main(kxcert, only=None):
    if not SUITE.is_dir():
        print(f"not here: {SUITE}")
        return SKIPPED
    rows = collections.defaultdict(list)
    for certs, asked, wanted, *_ in rows_of(TESTS / "data" / "chain" / "pkits.txt"):
        rows[certs].append((asked, wanted))
    names = [file.stem for file in sorted((SUITE / "certs").glob("*EE.crt"))]
    pool = [file for file in sorted((SUITE / "certs").glob("*.crt"))
            if file.stem not in names and not file.stem.startswith(("TrustAnchor", "DSA"))]
    jobs, used, wrong = [], set(), []
    with ThreadPoolExecutor(2) as threads:
        for name in names:
            if only not in (None, name):
                continue
            stem = name.removesuffix("EE")
            certs = next((one for one in rows if any(fnmatchcase(stem, word) for word in one.split())), None)
            used.add(certs)
            if certs is None:
                wrong.append(f"no row is of {name}")
            for asked, wanted in rows.get(certs, []):
                jobs.append((name, asked, wanted, threads.submit(judge, kxcert, pool, name, asked)))
    for name, asked, wanted, job in jobs:
        if only:
            print(f"{name} ({asked}): {job.result()}")
        if job.result() != wanted:
            wrong.append(f"{name} ({asked}): {job.result()}; wanted: {wanted}")
    wrong += [f"no certificate needs the row: {certs}" for certs in rows if certs not in used and not only]
    print(*wrong, f"{len(jobs)} paths of {len(names)} end entities, {len(wrong)} not as they should be", sep="\n")
    return 1 if wrong or not jobs else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
