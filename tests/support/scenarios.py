"""The lines of tests/data/chain/scenarios.txt, which says how they are read."""
import calendar
import time
from dataclasses import dataclass

NAMES = ("additional", "end-entity", "intermediate", "own-chain")


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


def read_scenarios(folder):
    found = []
    for line in (folder / "scenarios.txt").read_text().splitlines():
        if not line or line[0] == "#":
            continue
        name, sent, trusted, ours, theirs, *rest = (cell.strip() for cell in line.split("|"))

        def certs(text):
            return [name + word if word[0] == "." else word for word in text.split()]

        settings = {}
        for setting in rest[0].split("; ") if rest else []:
            word, _, value = setting.partition("=")
            settings.setdefault(word, []).extend(certs(value) if word in NAMES else [value])
        verdict, _, path = ours.partition(":")
        code, _, blamed = verdict.partition(" at ")
        found.append(Scenario(name, certs(sent), certs(trusted), code, "".join(certs(blamed)), certs(path), theirs,
                              settings))
    return found
