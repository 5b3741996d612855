"""What all measurements share: sizes, the programs, and a place for files."""

import contextlib
import shutil
import tempfile
from dataclasses import dataclass
from pathlib import Path

MIB = 1024 * 1024
SMALL_FILE = 50_000  # bytes


@dataclass(frozen=True)
class Sizes:
    rounds: int
    large_file: int  # bytes
    hashed_files: int
    moved_files: int
    listed_files: int
    growing: tuple  # the numbers of files in collections that grow


FULL = Sizes(rounds=5, large_file=1024 * MIB, hashed_files=10_000, moved_files=1_000, listed_files=10_000,
             growing=(100, 1_000, 10_000, 100_000))
QUICK = Sizes(rounds=1, large_file=2 * MIB, hashed_files=20, moved_files=12, listed_files=50,
              growing=(10, 100))


@dataclass(frozen=True)
class Bench:
    sizes: Sizes
    programs: Path
    work: Path

    @property
    def is_quick(self):
        return self.sizes is QUICK

    def program(self, name):
        return self.programs / f"benchmark-{name}"

    @contextlib.contextmanager
    def new_folder(self):
        folder = Path(tempfile.mkdtemp(dir=self.work))
        try:
            yield folder
        finally:
            shutil.rmtree(folder)


def place_for_files():
    """Memory where there is room: with files on a disk, the disk would be all that is measured."""
    in_memory = Path("/dev/shm")
    has_room = in_memory.is_dir() and shutil.disk_usage(in_memory).free > 8 * 1024 * MIB
    return in_memory if has_room else Path(tempfile.gettempdir())
