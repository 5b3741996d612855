"""MD5 of files."""

from bench import SMALL_FILE
from comparison import Findings
from processes import measure
from samples import write_file, write_files
from words import count_text, size_text


def findings(bench):
    yield _large_file(bench)
    yield _many_files(bench)


def _compare(bench, work, folder, names):
    sides = {
        "ours": lambda: measure([bench.program("md5"), *names], cwd=folder),
        "openssl": lambda: measure(["openssl", "dgst", "-md5", *names], cwd=folder),
    }
    return Findings.of(work, sides, bench.sizes.rounds, {"openssl": 1.1})


def _large_file(bench):
    with bench.new_folder() as folder:
        write_file(folder / "large.pdf", bench.sizes.large_file)
        write_file(folder / "small.pdf", 1)
        found = _compare(bench, f"MD5 of {size_text(bench.sizes.large_file)}", folder, ["large.pdf"])
        found.add_memory(measure([bench.program("md5"), "small.pdf"], cwd=folder), 4)
        return found


def _many_files(bench):
    with bench.new_folder() as folder:
        names = write_files(folder, bench.sizes.hashed_files, SMALL_FILE)
        return _compare(bench, f"MD5 of {count_text(len(names))} of {size_text(SMALL_FILE)}", folder, names)
