"""The lines of tests/data/chain/scenarios.txt and revoked.txt, which say how they are read."""
import calendar
import time
from dataclasses import dataclass

NAMES = ("additional", "end-entity", "intermediate", "more", "own-chain")


@dataclass
class Scenario:
    name: str
    sent: list
    trusted: list
    code: str
    blamed: str             # "" without one
    path: list
    theirs: str
    settings: dict          # the values of each, a list

    @property
    def time(self):
        return self.settings.get("time", ["2030-01-01"])[0]

    @property
    def seconds(self):    # since 1970
        form = "%Y-%m-%d %H:%M:%S"
        return calendar.timegm(time.strptime(self.time + " 00:00:00"[:19 - len(self.time)], form))


def rows_of(file):
    for line in file.read_text().splitlines():
        if line and line[0] != "#":
            yield [cell.strip() for cell in line.split("|")]


def settings_of(cells, certs):
    settings = {}
    for setting in cells[0].split("; ") if cells else []:
        word, _, value = setting.partition("=")
        settings.setdefault(word, []).extend(certs(value) if word in NAMES else [value])
    return settings


def read_scenarios(folder):
    found = []
    for name, sent, trusted, ours, theirs, *rest in rows_of(folder / "scenarios.txt"):
        def certs(text):
            return [name + word if word[0] == "." else word for word in text.split()]

        verdict, _, path = ours.partition(":")
        code, _, blamed = verdict.partition(" at ")
        found.append(Scenario(name, certs(sent), certs(trusted), code, "".join(certs(blamed)), certs(path), theirs,
                              settings_of(rest, certs)))
    return found


def read_revoked(folder):
    """Scenarios, whose setting "crls" has the names of the CRLs."""
    found = []
    for name, chain, crls, ours, theirs, *rest in rows_of(folder / "revoked.txt"):
        *sent, root = path = chain.split()
        settings = settings_of(rest, str.split)
        settings["crls"] = [name if word == "." else word for word in crls.split()]
        code, _, blamed = ours.partition(" at ")
        found.append(Scenario(name, sent + settings.get("more", []), [root], code, blamed, path, theirs, settings))
    return found
