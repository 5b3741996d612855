"""What must hold after a trial. Every check gives sentences about what was lost; none is good."""

import re
import shutil
import sqlite3
import struct
import tempfile
import zlib
from pathlib import Path

from clouds import read_files
from program import DOCUMENTED_EXITS
from stage import KEPT_COPY

TEMPORARY = re.compile(r"(.*/)?\.orvane-cloud-[0-9a-f]{16}\.(part|held)")
MOST_LISTINGS = 3  # until the last temporary is gone: a server may store late what it got of a broken upload


def check_end(ended, is_kill_allowed=False):
    """Whether the program has ended as it promises to."""
    if ended.is_overdue:
        return ["it did not end by itself"]
    if ended.was_killed and is_kill_allowed:
        return []
    if ended.status not in DOCUMENTED_EXITS:
        return [f"it ended with {ended.status}: {ended.said[-300:]}"]
    if ended.status != 0 and not ended.said.strip():
        return [f"it ended with {ended.status} and said nothing"]
    return []


class Expectation:
    """What a command may have changed at any moment of its work, and must have changed at its end."""

    def __init__(self, stage, command):
        self._stage = stage
        self._command = command
        self._documents = dict(stage.documents)
        self._new_documents = {name: stage.files[path] for name, path in command.stored.items()}
        again = {**command.stored_again, **({} if stage.cloud.tells_contents else command.stored_twice)}
        self._repeated_documents = {name: stage.files[path] for name, path in again.items()}
        self._possible_documents = dict(self._new_documents)  # at this point of the trial
        self._new_files = {path: stage.documents[name] for path, name in command.fetched.items()}

    def check_moment(self, said_done=False):
        """Nothing is lost, nothing is there in part, wherever the command has been broken off.

        @param said_done  it has ended and said that it had done its work"""
        records, records_lost = self._read_list()
        return [*self._check_all_files(), *records_lost, *(self._check_done(records) if said_done else ())]

    def is_done(self):
        documents, files = self._stage.cloud.files(), read_files(self._stage.local)
        return (all(documents.get(name) == content for name, content in self._new_documents.items())
                and self._command.removed not in documents
                and all(files.get(path) == content for path, content in self._new_files.items())
                and (not self._command.picture or is_whole_picture(files.get(self._command.picture, b""))))

    def check_repeat(self):
        """The same command, undisturbed, ends the work and leaves nothing of ours behind."""
        was_done = self.is_done()
        ended = self._stage.run(self._command.arguments)
        allowed = self._command.repeated if was_done else (0,)
        if ended.status not in allowed:
            return [f"the next run ended with {ended.status}: {ended.said[-300:]}"]
        if was_done:
            self._possible_documents.update(self._repeated_documents)
        leftovers = [*self._check_leftovers()]
        return [*leftovers, *self.check_moment(said_done=True)]

    def _check_done(self, records):
        if not self.is_done():
            yield "it said that it had done its work, and had not"
        names = {name for name in self._stage.cloud.files() if not TEMPORARY.fullmatch(name)}
        if {*records} != names:
            yield f"it said that it had done its work, and the list holds {sorted(records)}"

    def _check_all_files(self):
        return [*self.check_files(), *self._damaged_databases()]

    def check_files(self):
        """Documents and the user's files; not what the program keeps for itself."""
        documents, files = self._stage.cloud.files(), read_files(self._stage.local)
        return [*self._changed_documents(documents), *self._unwanted(documents, "the cloud"),
                *self._changed_files(files), *self._unwanted(files, "the user's files")]

    def _changed_documents(self, documents):
        for name, content in self._documents.items():
            if name not in documents and name != self._command.removed:
                yield f'"{name}" has vanished from the cloud'
            elif name in documents and documents[name] != content:
                yield f'"{name}" in the cloud is another'
        for name, content in self._possible_documents.items():
            if name in documents and documents[name] != content:
                yield f'"{name}" in the cloud is not whole'

    def _changed_files(self, files):
        for path, content in self._stage.files.items():
            allowed = (content, self._new_files.get(path, content))
            if files.get(path) not in allowed:
                yield f'the user\'s file "{path}" is another, or gone'
        for path, content in self._new_files.items():
            if path not in self._stage.files and files.get(path, content) != content:
                yield f'the downloaded file "{path}" is not whole'
        picture = files.get(self._command.picture)
        if picture is not None and not is_whole_picture(picture):
            yield "the picture is not whole"

    def _unwanted(self, found, where):
        known = {*self._documents, *self._possible_documents, *self._stage.files, *self._new_files,
                 self._command.picture}
        for name in found:
            if name not in known and not TEMPORARY.fullmatch(name):
                yield f'"{name}" is in {where}'

    def _damaged_databases(self):
        for file in self._stage.data.rglob("*.damaged-*"):
            yield f'"{file.name}" was set aside as damaged'
        for file in self._stage.data.rglob("*.sqlite"):
            verdict = integrity_of(file)
            if verdict != "ok":
                yield f'"{file.name}" is damaged: {verdict}'

    def _read_list(self):
        """The records, and what is wrong with them."""
        ended, records = self._stage.list_offline()
        if ended.status != 0 or records is None:
            return {}, [f"the list cannot be read any more ({ended.status}): {ended.said[-300:]}"]
        return records, [*self._lost_records(records)]

    def _lost_records(self, records):
        for document, path in self._stage.records.items():
            if document not in records and document != self._command.removed:  # these ids are the names
                yield f'"{document}" has left the list'
            elif path and records.get(document, path) != path:
                yield f'the list no longer knows the local copy of "{document}"'

    def _check_leftovers(self):
        for _ in range(MOST_LISTINGS):
            left = [*self._leftovers()]
            if not left:
                return []
            self._stage.run(("list",))
        return [f'"{name}" was left behind' for name in left]

    def _leftovers(self):
        for name in (*self._stage.cloud.files(), *read_files(self._stage.local)):
            if TEMPORARY.fullmatch(name):
                yield name


def integrity_of(database):
    """Asks SQLite itself, with a copy: looking at it would settle what a crash has left for the program."""
    with tempfile.TemporaryDirectory() as place:
        copy = Path(place) / database.name
        for file in (database, database.with_name(database.name + "-journal")):
            if file.exists():
                shutil.copy(file, copy.with_name(file.name))
        try:
            with sqlite3.connect(copy) as connection:
                return connection.execute("PRAGMA integrity_check").fetchone()[0]
        except sqlite3.DatabaseError as error:
            return str(error)


def is_whole_picture(content):
    """Whether it is a PNG with all its parts, each with the right checksum."""
    if not content.startswith(b"\x89PNG\r\n\x1a\n"):
        return False
    place = 8
    while place + 12 <= len(content):
        length, kind = struct.unpack_from(">I4s", content, place)
        data = content[place + 4:place + 8 + length]
        if zlib.crc32(data).to_bytes(4, "big") != content[place + 8 + length:place + 12 + length]:
            return False
        place += 12 + length
        if kind == b"IEND":
            return place == len(content)
    return False
