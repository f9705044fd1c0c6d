#!/usr/bin/env python3
"""Writes the tables of the documents that the code knows best: result codes, rules, limits, differences from openssl.

    doc-tables.py [--check] LIBRARY KXCERT    libkxcert.so and the command of the same build

A line "<!-- table: NAME -->" stands above such a table. Some of its columns are written here; the others are written by
hand and stay with their row, whose first cell in backticks or quotation marks is its key. With --check nothing is written:
a table that is not as the code says, a cell that nobody has filled, and a link that leads nowhere are told.
"""
import collections
import ctypes
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
INCLUDE = ROOT / "include" / "kxcert"
DOCUMENTS = [ROOT / name for name in ("README.md", "SECURITY.md", "CONTRIBUTING.md")] + sorted((ROOT / "docs").rglob("*.md"))
MARK = re.compile(r"<!-- table: (.*) -->")
HAND = None    # a cell that is written by hand

# Enumerations of results: the header, what all enumerators begin with, and the function of their texts. Cells are the code,
# the name, the text if there is one, and what is written by hand.
RESULTS = {
    "sxValidationRC": ("trust/sxValidation.h", "sxValidation_", "sxValidationRC_GetString"),
    "sxFindingResult": ("trust/sxFinding.h", "", None),
    "sxSearchBound": ("trust/chainJudge.h", "", None),
    "sxOcspResult": ("trust/ocsp.h", "sxOcsp_", "sxOcspResult_GetString"),
    "sxOcspStatus": ("trust/ocspResponse.h", "", None),
    "sxIssueStatus": ("cert/issueCert.h", "sxIssue_", "sxIssueStatusText"),
    "sxPkcs12Result": ("cert/pkcs12.h", "sxPkcs12_", "sxPkcs12_ResultText"),
    "sxPbeResult": ("keys/passwordBased.h", "sxPbe_", "sxPbe_ResultText"),
    "sxKeyImport": ("cert/importKey.h", "sxKeyImport_", None),
    "sxLoadSkip": ("cert/loadFiles.h", "", None),
    "sxStoreState": ("store/storeFolder.h", "", "sxStoreState_GetString"),
    "kxCRMFStatus": ("enroll/crmfStatus.h", "kxCRMF_", "CrmfStat2string"),
    "FSV_RC": ("signedfile/fileSignVerify.h", "", "FSV_RC_to_str"),
    "FSG_RC": ("signedfile/fileSign.h", "", "FSG_RC_to_str"),
    "kxFetchResult": ("platform/fetcher.h", "kxFetch_", None),
    "KeyTaskRC": ("keys/keyTasks.h", "", "TaskRC2str"),
    "RTWaitResult": ("platform/workerPool.h", "", None),
}
RESULT_NAME = re.compile(r"Result$|RC$|Status$|State$|Skip$|Import$|Bound$")
# The same of numbers that are no enumeration: the header, and what their names are.
NUMBERS = {
    "keyCodes": ("keys/keyCodes.h", re.compile(r"kKey(Unequal|LibraryFailed|Not\w+|BadInput|LenMismatch|OutputShort|No\w+)$")),
    "dhGroupRules": ("keys/dhGroupRules.h", re.compile(r"kDh\w+$")),
}
# Limits that no header has, and that are worth knowing.
INNER_LIMITS = {
    "cert": {"src/cert/distPoints.h": {"kMaxDistPoints", "kMaxDistPointNames"}, "src/cert/sxCerts.cc": {"kMaxCertDer"},
             "src/cert/certFile.cc": {"kMaxCertFileLen"}, "src/cert/dnParse.cc": {"kMaxAssertions"},
             "src/cert/strictDer.h": {"kMaxStrictNesting"}},
    "trust": {"src/trust/sortCerts.cc": {"kMaxSortVerifications"}, "src/trust/pathSearch.cc": {"kMaxCandidates"},
              "src/trust/strict/nameConstraints.h": {"kMaxComparedNames"},
              "src/trust/revocation/crlJudge.cc": {"kMaxAskedAtOnce", "kMaxDeltaPlaces", "kMaxRounds"},
              "src/trust/revocation/crlMemory.cc": {"kMaxOfPeers", "kMaxOfPlace"},
              "src/trust/revocation/crlSource.cc": {"kMaxCrlsOfPlace", "kMaxOctetsVerified"},
              "src/trust/revocation/ocspSigner.h": {"kMaxOcspVerifications"},
              "src/trust/revocation/revocationPath.cc": {"kMaxPool", "kMaxTried"}},
    "offloadd": {"tools/offloadd/service.cc": {"kMaxClients", "kMaxClientsOfProcess"},
                 "src/platform/localSocket.h": {"kMaxMessageLen"}},
}
LIMIT = re.compile(r"constexpr [\w: ]+ (k(?:Max|Min)\w+) = ([^;]+);")


def code_of(path):
    """@return a source without its comments"""
    return re.sub(r"//[^\n]*|/\*.*?\*/", "", path.read_text(encoding="utf-8"), flags=re.DOTALL)


def enumerators(header, name):
    body = re.search(rf"\benum (?:class )?{name}\b[^;{{]*{{(.*?)}}", code_of(INCLUDE / header), re.DOTALL).group(1)
    value = -1
    for item in filter(None, (text.strip() for text in body.split(","))):
        word, _, number = (part.strip() for part in item.partition("="))
        value = int(number) if number else value + 1
        yield word, value


def value_of(expression):
    """@return a constant as text: numbers, shifts and products in digits, all else as it stands"""
    text = re.sub(r"\b(?:size_t|uint64_t)\{(\w+)\}", r"\1", expression).replace("'", "")
    text = re.sub(r"\b(\d+)[uUlL]+\b", r"\1", text).replace("UINT16_MAX", "65535")
    if not re.fullmatch(r"[\dxA-F<* ]+", text):
        return expression
    value = eval(text, {})    # digits and operators, and nothing else
    for size, unit in ((2**30, "Gi"), (2**20, "Mi"), (2**10, "Ki")):
        if value >= max(size, 2**16) and value & (value - 1) == 0:
            return f"{value // size} {unit}"
    return f"{value:_}".replace("_", " ")


class Code:
    """What the build says."""

    def __init__(self, library, kxcert):
        self.library, self.kxcert = ctypes.CDLL(library), kxcert

    def call(self, name, arguments, result=ctypes.c_int):
        """@param arguments  pairs: how the compiler spells the type, and the value"""
        function = getattr(self.library, f"_Z{len(name)}{name}" + ("".join(kind for kind, _ in arguments) or "v"))
        function.restype = result
        return function(*(value for _, value in arguments))

    def text(self, name, kind, value):
        return self.call(name, [(kind, ctypes.c_int(value))], ctypes.c_char_p).decode()

    def results(self, name):
        header, prefix, texts = RESULTS[name]
        scoped = f"enum class {name}" in code_of(INCLUDE / header)
        kind = f"{len(name)}{name}" if scoped else "i"
        for word, value in enumerators(header, name):
            said = [self.text(texts, kind, value).replace("\n", "<br>")] if texts else []
            by_rules = [HAND, self.strict_rules_of(value)] if name == "sxValidationRC" else []
            yield [*([] if scoped else [str(value)]), f"`{word.removeprefix(prefix)}`", *said, *by_rules, HAND]

    def numbers(self, name):
        header, wanted = NUMBERS[name]
        for word, value in re.findall(r"constexpr int (\w+) = (-?\d+);", code_of(INCLUDE / header)):
            if wanted.match(word):
                yield [value, f"`{word}`", HAND]

    def rules(self):
        """@return name, source, code and advice of each strict rule"""
        class Info(ctypes.Structure):
            _fields_ = [("name", ctypes.c_char_p), ("source", ctypes.c_char_p), ("code", ctypes.c_int),
                        ("advice", ctypes.c_char_p)]
        for number in range(self.call("sxStrictRule_Count", [])):
            info = Info()
            assert self.call("sxStrictRule_Get", [("i", number), ("P16sxStrictRuleInfo", ctypes.byref(info))], ctypes.c_bool)
            yield info.name.decode(), info.source.decode(), info.code, info.advice.decode()

    def strict_rules(self):
        sets = {name: self.rule_set(name) for name in ("rfc5280", "server", "client")}
        for number, (name, source, code, advice) in enumerate(self.rules()):
            within = ", ".join(word for word, members in sets.items() if members >> number & 1)
            yield [f"`{name}`", source, str(code), within or "audit only", HAND, advice]

    def strict_rules_of(self, wanted):
        """@return the names of those that give a code, or of their groups"""
        codes = collections.defaultdict(set)
        for name, _, code, _ in self.rules():
            codes[name.partition(".")[0]].add(code)
        names = [f"{group}.*" if dot and codes[group] == {wanted} else name for name, _, code, _ in self.rules()
                 for group, dot, _ in [name.partition(".")] if code == wanted]
        return ", ".join(f"`{name}`" for name in dict.fromkeys(names))

    def rule_set(self, name):
        class View(ctypes.Structure):
            _fields_ = [("len", ctypes.c_size_t), ("text", ctypes.c_char_p)]
        members = ctypes.c_uint64()
        view = View(len(name), name.encode())
        assert self.call("sxRuleSet_Find", [("St17basic_string_viewIcSt11char_traitsIcEE", view),
                                            (ctypes.sizeof(ctypes.c_void_p) == 8 and "Pm" or "Py", ctypes.byref(members))],
                         ctypes.c_bool)
        return members.value

    def usual_rules(self):
        """Those that the command tells of a chain."""
        chain = ROOT / "examples" / "chain"
        said = json.loads(subprocess.run([self.kxcert, "chain", "verify", "--json", "--at", "2030-01-01", "--trust",
                                          chain / "root.pem", chain / "leaf.pem", chain / "intermediate.pem"],
                                         capture_output=True, check=True).stdout)
        told = {one["rule"]: one for one in said["findings"] if one["decides"]}
        for rule, one in told.items():
            yield [f"`{rule}`", one["source"], str(one["code"]), HAND, HAND]

    def digests(self):
        """And which keys make signatures with them that are read."""
        for word, value in enumerators("platform/digest.h", "sx_md_type"):
            octets = self.call("kx_md_len", [("i", value)])
            signs = ["yes" if self.call("SignOID_By_MD", [("i", value), ("i", ecdsa)], ctypes.c_void_p) else "no"
                     for ecdsa in (0, 1)]
            if octets:
                yield [f"`{word}`", str(octets), *signs, HAND]

    def path_ends(self):
        """Why a path goes no further, as a verdict says."""
        for text in re.findall(r'^constexpr char k\w+\[\] = "(.+)";$', code_of(ROOT / "src/trust/pathSearch.cc"), re.MULTILINE):
            yield [f'"{text}"', HAND]

    def limits(self, room):
        inner = {ROOT / path: names for path, names in INNER_LIMITS.get(room, {}).items()}
        for path in [*sorted((INCLUDE / room).glob("*.h")), *inner]:
            found = {name: value_of(expression) for name, expression in LIMIT.findall(code_of(path))}
            assert inner.get(path, set()) <= found.keys(), f"{path} has no {inner[path] - found.keys()}"
            for name, value in found.items():
                if path not in inner or name in inner[path]:
                    yield [f"`{name}`", value, HAND]

    def scenarios(self, name):
        """Reasons of ../tests/data/chain, and what openssl says there."""
        said = collections.defaultdict(list)
        for line in (ROOT / "tests" / "data" / "chain" / f"{name}.txt").read_text(encoding="utf-8").splitlines():
            cells = [cell.strip() for cell in line.split(" | ")]
            reason = re.search(r"\breason=(.*)", cells[-1])
            if len(cells) >= 6 and not line.startswith("#") and reason:
                said[reason.group(1).strip()].append((cells[3].partition(" at ")[0].partition(":")[0],
                                                      cells[4].partition(" at ")[0]))
        for reason, verdicts in said.items():
            yield [f'"{reason}"', str(len(verdicts)), *(", ".join(dict.fromkeys(side)) for side in zip(*verdicts)), HAND]

    def strict_differences(self, part):
        """Rows of a heading of strictDifferences.txt. "The same." is the reason of the row above."""
        heading, reason, counts = "", "", collections.Counter()
        for line in (ROOT / "tests" / "data" / "chain" / "strictDifferences.txt").read_text(encoding="utf-8").splitlines():
            if line.startswith("#"):
                heading = line.strip("# .")
            elif line.strip():
                cells = [cell.strip() for cell in line.split(" | ", 2)]
                reason = cells[2] if cells[2] != "The same." else reason
                if heading == part:
                    counts[reason] += 1
        for reason, count in counts.items():
            yield [f'"{reason}"', str(count), HAND]

    def table(self, name):
        kind, _, rest = name.partition(" ")
        if name in RESULTS:
            return list(self.results(name))
        if name in NUMBERS:
            return list(self.numbers(name))
        makers = {"strict-rules": lambda _: self.strict_rules(), "usual-rules": lambda _: self.usual_rules(),
                  "digests": lambda _: self.digests(), "path-ends": lambda _: self.path_ends(),
                  "limits": self.limits, "scenarios": self.scenarios, "strict-differences": self.strict_differences}
        return list(makers[kind](rest))


def tables_wanted():
    rooms = sorted({path.parent.name for path in INCLUDE.rglob("*.h") if LIMIT.search(code_of(path))} | set(INNER_LIMITS))
    headings = re.findall(r"^# ([A-Z][^|\n]*)\.$", (ROOT / "tests/data/chain/strictDifferences.txt").read_text(), re.MULTILINE)
    return {*RESULTS, *NUMBERS, "strict-rules", "usual-rules", "digests", "path-ends", "scenarios scenarios", "scenarios revoked",
            *(f"limits {room}" for room in rooms),
            *(f"strict-differences {one}" for one in headings if " | " not in one and not one.startswith("The first"))}


def key_of(cells):
    return next((cell for cell in cells if cell.startswith(("`", '"'))), cells[0])


def cells_of(line):
    return [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", line.strip())[1:-1]]


def new_table(rows, lines):
    """@param lines  of the document's: a heading, the line below it, rows. @return the same as the code has it"""
    width = len(cells_of(lines[0]))
    by_hand = {}
    for line in lines[2:]:
        cells = cells_of(line)
        by_hand[key_of(cells)] = cells
    made = lines[:2]
    for row in rows:
        assert len(row) == width, f"{width} columns for {row}"
        old = by_hand.get(key_of([cell or "" for cell in row]), [""] * width)
        cells = [old[at] if cell is HAND else cell for at, cell in enumerate(row)]
        made.append("| " + " | ".join(cell.replace("|", "\\|") for cell in cells) + " |")
    return made


def empty_cells(rows, lines):
    return [line for row, line in zip(rows, lines[2:])
            if any(cell is HAND and not old for cell, old in zip(row, cells_of(line)))]


def renew(path, code, seen, wrong):
    """@return the document's text as it should be"""
    lines, made, at = path.read_text(encoding="utf-8").splitlines(), [], 0
    while at < len(lines):
        made.append(lines[at])
        mark = MARK.fullmatch(lines[at])
        at += 1
        if not mark:
            continue
        start = at
        while at < len(lines) and lines[at].startswith("|"):
            at += 1
        rows = code.table(mark.group(1))
        table = new_table(rows, lines[start:at])
        if not rows:
            wrong.append(f"{path.name}: nothing is found for {mark.group(1)}")
        wrong += [f"{path.name}, {mark.group(1)}: the code has {line}" for line in table if line not in lines[start:at]]
        wrong += [f"{path.name}, {mark.group(1)}: gone, or elsewhere: {line}" for line in lines[start:at] if line not in table]
        wrong += [f"{path.name}, {mark.group(1)}: to be filled: {line}" for line in empty_cells(rows, table)]
        keys = {key_of(cells_of(line)) for line in table[2:]}
        wrong += [f"{path.name}, {mark.group(1)}: left out: {line}" for line in lines[start + 2:at]
                  if key_of(cells_of(line)) not in keys]
        seen.append(mark.group(1))
        made += table
    return "\n".join(made) + "\n"


def broken_links(path, text):
    return [f"{path.name}: no such file: {target}" for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", text)
            if not (path.parent / target).exists()]


def wrong_rules(path, text, names):
    """Rules that a document names and nobody has; and of what is accepted on purpose, those that it leaves out."""
    groups = {name.partition(".")[0] for name in names if "." in name}
    known = set(names) | {f"{group}.*" for group in groups}
    named = {word for word in re.findall(r"`([\w.*]+)`", text)
             if "." in word and word.partition(".")[0] in groups and not word.endswith((".cc", ".h"))}
    wrong = [f"{path.name}: no such rule: {word}" for word in sorted(named - known)]
    if path.name == "security.md":
        told = set(re.findall(r"`([\w.*]+)`", text))
        wrong += [f"{path.name} does not say what is accepted without the rule {name}" for name in names
                  if not {name, f"{name.partition('.')[0]}.*"} & told]
    return wrong


def unlisted_enums():
    found = {name for path in INCLUDE.rglob("*.h") if "modules" not in path.parts
             for name in re.findall(r"\benum (?:class )?(\w+)[^;{]*\{", code_of(path)) if RESULT_NAME.search(name)}
    return [f"an enumeration of results that is not listed here: {name}" for name in sorted(found - RESULTS.keys())]


def main(arguments):
    is_check = "--check" in arguments
    code = Code(*(one for one in arguments if one != "--check"))
    seen, wrong, names = [], unlisted_enums(), [rule[0] for rule in code.rules()]
    for path in DOCUMENTS:
        said = []
        text = renew(path, code, seen, said)
        if not is_check:
            path.write_text(text, encoding="utf-8")
            said = [line for line in said if ": to be filled: " in line or ": left out: " in line]
        wrong += said + broken_links(path, text) + wrong_rules(path, text, names)
    wrong += [f"no document has the table {name}" for name in sorted(tables_wanted() - set(seen))]
    readme = (ROOT / "README.md").read_text(encoding="utf-8")
    wrong += [f"README.md has no link to docs/{path.name}" for path in (ROOT / "docs").glob("*.md")
              if f"](docs/{path.name})" not in readme]
    print(*wrong, sep="\n", end="\n" if wrong else "")
    print(f"{len(seen)} tables, {len(wrong)} faults")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
