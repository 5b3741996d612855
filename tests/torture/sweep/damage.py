"""Stored files that are cut, lose a bit, or are gone, at rest and after a crash."""

import random
import re
from dataclasses import dataclass

from checks import Expectation, check_end
from commands import Command, DOWNLOAD, LIST, PREVIEW, UPLOAD
from interruptions import Survey
from program import once
from trial import Trial

LIST_FILE = "clouds/*/documents.sqlite"
ALL_THAT_RUN = Command("all that run here", (), stored=UPLOAD.stored, fetched=DOWNLOAD.fetched,
                       picture=PREVIEW.picture)
MOST_IN_A_PAGE = 15  # records of the list, generously
PARTIAL = ("cut", "zeroed", "bit turned")
ZEROED = 512  # bytes: what a disk loses at a time


@dataclass(frozen=True)
class Damage:
    """@param place  where in the file, from 0 to 1; less than 1"""

    kind: str
    place: float
    bit: int

    def __str__(self):
        return self.kind if self.kind in ("emptied", "taken away") else f"{self.kind} at {self.place:.4f}"

    def apply(self, file):
        content = bytearray(file.read_bytes())
        position = int(self.place * len(content))
        if self.kind == "taken away":
            file.unlink()
            return
        if self.kind == "emptied":
            content = b""
        elif self.kind == "cut":
            content = content[:position]
        elif self.kind == "zeroed":
            content[position:position + ZEROED] = bytes(len(content[position:position + ZEROED]))
        elif content:
            content[position] ^= 1 << self.bit
        file.write_bytes(content)


@dataclass(frozen=True)
class Crash:
    """A command that is killed before the files are damaged.

    @param call, subject  before the first call of this name that is about a file whose path ends so"""

    name: str
    command: object
    call: str
    subject: str


CRASHES = {
    "crowded": (Crash("after a crash in an upload", UPLOAD, "renameat2", ".part"),
                Crash("after a crash in a download", DOWNLOAD, "renameat2", ".part"),
                Crash("after a crash in a save", UPLOAD, "pwrite", "/documents.sqlite")),
    "apache": (Crash("after a crash in an upload", UPLOAD, "pwrite", "/transferred-hashes.sqlite"),),
}


def trials(cloud, stage, sizes, seed, _choice):
    chance = random.Random(f"{seed} {cloud} damage")
    stage.reset()
    at_rest = stored_files(stage)
    for name in at_rest:
        for damage in _damages(sizes, chance, name):
            yield _at_rest(cloud, name, damage)
    for crash in CRASHES[cloud]:
        fault = _fault_of(stage, crash)
        stage.reset()
        stage.run(crash.command.arguments, fault=fault)
        for name in stored_files(stage).keys() - at_rest.keys():
            for damage in _damages(sizes, chance, name):
                yield _after_crash(cloud, crash, fault, name, damage)


def stored_files(stage):
    """The files of the program's data, by their path there, in which what differs between two stages is a star."""
    files = (path for path in sorted(stage.data.rglob("*")) if path.is_file())
    return {re.sub(r"[0-9a-f]{16,}|[0-9a-f-]{36}|-[A-Za-z]{6}(?=/)", "*", str(path.relative_to(stage.data))): path
            for path in files}


def _damages(sizes, chance, name):
    count = sizes.damages * (10 if name == LIST_FILE else 1)
    whole = [Damage("emptied", 0, 0)] + ([] if name == LIST_FILE else [Damage("taken away", 0, 0)])
    partial = [Damage(chance.choice(PARTIAL), chance.random(), chance.randrange(8)) for _ in range(count)]
    return sizes.sample(whole + partial, count, chance)


def _fault_of(stage, crash):
    survey = Survey(stage, crash.command)
    killable = [line.split("\t") for line in survey.lines if "kill" in line.split("\t")[2].split()]
    for number, (call, subject, _) in enumerate(killable, 1):
        if call == crash.call and subject.endswith(crash.subject):
            return once("kill", number)
    raise RuntimeError(f"{crash.command.name} makes no {crash.call} of {crash.subject}")


def _at_rest(cloud, name, damage):
    def run(stage):
        file = stored_files(stage).get(name)
        if file is not None:  # what a run leaves behind depends on its pace
            damage.apply(file)
        losses = _check_list(stage, damage if name == LIST_FILE else None)
        for command in (LIST, UPLOAD, DOWNLOAD, PREVIEW):
            losses += _check_command(stage, command)
        return losses

    return Trial(cloud, f"damaged: `{name}`", f"{name} {damage}", run)


def _after_crash(cloud, crash, fault, name, damage):
    def run(stage):
        stage.run(crash.command.arguments, fault=fault)
        file = stored_files(stage).get(name)
        if file is not None:  # what a run leaves behind depends on its pace
            damage.apply(file)
        return _check_list(stage, damage) + _check_command(stage, crash.command)

    return Trial(cloud, f"damaged {crash.name}", f"{name} {damage} {crash.name}", run)


def _check_command(stage, command):
    expectation = Expectation(stage, command)
    allowed = command.repeated if expectation.is_done() else (0,)
    ended = stage.run(command.arguments)
    losses = check_end(ended)
    if ended.status not in allowed:
        losses.append(f"{command.name} ended with {ended.status}: {ended.said[-300:]}")
    elif not expectation.is_done():
        losses.append(f"{command.name} said that it had done its work, and had not")
    return losses + Expectation(stage, ALL_THAT_RUN).check_files()


def _check_list(stage, damage):
    """What can be read of a damaged list is carried over; one that is not damaged loses nothing."""
    said = stage.run(("list", "--offline")).said
    ended, records = stage.list_offline()
    if ended.status != 0 or records is None:
        return [f"the list cannot be opened ({ended.status}): {ended.said[-300:]}"]
    changed = [document for document, path in stage.records.items() if records.get(document, "") != path]
    if not changed or (damage and damage.kind == "emptied"):  # an empty list is a new one
        return []
    if damage is None:
        return [f"{len(changed)} records are lost or others"]
    set_aside = [*stage.data.rglob("documents.sqlite.damaged-*")]
    if not set_aside and len(changed) > 1:  # one: what has changed may be a text that nothing can be told from
        return [f"{len(changed)} records are lost or others, and nobody has said it"]
    if set_aside and "damaged" not in said:
        return ["the damaged list was set aside, and nobody has said it"]
    return _check_share(damage, len(stage.records), len(changed))


def _check_share(damage, total, lost):
    reachable = damage.place * total if damage.kind == "cut" else total
    most = total - reachable + MOST_IN_A_PAGE
    return [f"{lost} of {total} records are lost, where {most:.0f} may be"] if lost > most else []
