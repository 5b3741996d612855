"""Files to work on. Their content cannot be compressed, and differs from file to file."""

import random

from bench import MIB


def write_file(path, size):
    source = random.Random(path.name)
    with path.open("wb") as file:
        for start in range(0, size, MIB):
            file.write(source.randbytes(min(MIB, size - start)))


def write_files(folder, count, size):
    """Returns their names, in order."""
    names = [f"{number:06}.pdf" for number in range(count)]
    for name in names:
        write_file(folder / name, size)
    return names


def require_copies(source, target, names):
    """What has not arrived whole has not been measured."""
    for name in names:
        if (source / name).stat().st_size != (target / name).stat().st_size:
            raise ValueError(f"{name} has not arrived whole")
