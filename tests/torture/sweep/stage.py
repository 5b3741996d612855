"""A cloud, the program's data and the user's files, put back before each trial as they were at its beginning."""

import json
import random
import shutil
from pathlib import Path

from clouds import read_files

SAMPLES = Path(__file__).parents[3] / "scripts/samples"
KEPT_COPY = "kept/invoice.pdf"  # the local copy that the list knows
LARGE = 1_300_000  # bytes: several pieces of every kind of transfer


class Stage:
    """One worker's; never used by two at once.

    @param make_cloud  gets an empty folder, and gives the cloud
    @param crowd  how many more documents there are, each with a local copy"""

    def __init__(self, program, work, make_cloud, crowd=0):
        self.program = program
        self.work = work
        self.local = work / "local"
        self.data = work / "data"
        self._saved = work.with_name(work.name + ".saved")
        work.mkdir()
        self._saved.mkdir()
        self.cloud = make_cloud(work)
        self._set_up(crowd)

    def _set_up(self, crowd):
        _make_local_files(self.local, crowd)
        self._require(("upload", *map(str, sorted((self.local / "first").iterdir()))))
        if crowd:
            self._require(("upload", *map(str, sorted((self.local / "crowd").iterdir()))))
        shutil.rmtree(self.local / "first")
        self._require(("download", "invoice.pdf", "--to", f"{self.local}/kept"))
        self._require(("preview", "invoice.pdf", "--to", f"{self.local}/invoice.png"))
        self._require(("list",))
        self.documents = self.cloud.files()
        self.files = read_files(self.local)
        self.records = self.list_offline()[1]
        self.save()

    def _require(self, arguments):
        ended = self.run(arguments)
        if ended.status != 0:
            raise RuntimeError(f"{arguments}: {ended.status}\n{ended.said}")

    def save(self):
        """What reset() puts back from now on."""
        shutil.rmtree(self._saved)
        shutil.copytree(self.data, self._saved / "data", symlinks=True)
        shutil.copytree(self.local, self._saved / "local", symlinks=True)
        self.cloud.save(self._saved / "cloud")

    def reset(self):
        for name in ("data", "local"):
            shutil.rmtree(self.work / name)
            shutil.copytree(self._saved / name, self.work / name, symlinks=True)
        self.cloud.restore(self._saved / "cloud")

    def run(self, arguments, **how):
        filled = [text.replace("{local}", str(self.local)) for text in arguments]
        where = ["--cloud", self.cloud.address, "--data", str(self.data), *self.cloud.options]
        return self.program.run([*where, *filled], self.cloud.environment, folder=self.work, **how)

    def list_offline(self):
        """How the program ended, and the path of each document's local copy by its id."""
        ended = self.run(("list", "--offline", "--json"))
        try:
            listed = json.loads(ended.output)["documents"]
        except (ValueError, KeyError):
            return ended, None
        return ended, {entry["id"]: entry["path"] for entry in listed}

    def size_on_disk(self):
        return sum(path.lstat().st_size for path in self.work.rglob("*") if path.is_file())

    def close(self):
        self.cloud.close()
        shutil.rmtree(self.work)
        shutil.rmtree(self._saved)


def _make_local_files(folder, crowd):
    for name in ("first", "drafts", "back", "kept", "crowd"):
        (folder / name).mkdir(parents=True)
    for number in range(crowd):
        (folder / f"crowd/{number:03}.pdf").write_text(f"%PDF-1.4 number {number}\n")
    for name in ("letter.pdf", "garden plan.pdf", "invoice.pdf"):
        shutil.copy(SAMPLES / name, folder / "first" / name)
    shutil.copy(SAMPLES / "handbook.pdf", folder / "drafts/letter.pdf")
    (folder / "back/garden plan.pdf").write_bytes(b"%PDF-1.4 the user's own, of before\n" * 40)
    source = random.Random(1)
    (folder / "first/atlas.pdf").write_bytes(b"%PDF-1.4\n" + source.randbytes(LARGE))
    (folder / "volume.pdf").write_bytes(b"%PDF-1.4\n" + source.randbytes(LARGE))
