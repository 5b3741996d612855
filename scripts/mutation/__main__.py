"""Puts one small fault at a time into the named sources and runs the tests that fit: is it caught, or not?"""

import argparse
import random
import signal
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from queue import SimpleQueue

from programs import fitting
from report import Findings, change_of, text_of
from rules import faults_of
from workshop import BrokenTree, Workshop

CHECKOUT = Path(__file__).resolve().parents[2]
EQUIVALENT = Path(__file__).with_name("equivalent.txt")


def main():
    options = _options()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that what was started is ended
    paths = [str(file.resolve().relative_to(CHECKOUT)) for file in options.files]
    sources = {path: (CHECKOUT / path).read_text() for path in paths}
    chosen = [(path, fault) for path in paths for fault in _chosen(path, sources[path], options)]
    if options.list:
        for path, fault in chosen:
            _say(path, fault, sources[path], "")
        return
    try:
        findings = _try_all(chosen, sources, options)
    except BrokenTree as error:
        sys.exit(f"scripts/mutants: {error}")
    print(text_of(list(findings.values()), sources))


def _options():
    parser = argparse.ArgumentParser(prog="scripts/mutants", description=__doc__)
    parser.add_argument("files", metavar="FILE", type=Path, nargs="+", help="a source below src")
    parser.add_argument("--only", metavar="LINE", type=int, help="the faults of this line")
    parser.add_argument("--sample", metavar="N", type=int, help="at most so many faults of each file")
    parser.add_argument("--seed", type=int, default=1, help="which ones (1)")
    parser.add_argument("--jobs", type=int, default=1, help="trees to work in at the same time (1)")
    parser.add_argument("--list", action="store_true", help="print the faults, try none")
    parser.add_argument("--work", type=Path, default=CHECKOUT / "build/mutants", help="folder for the trees")
    return parser.parse_args()


def _chosen(path, source, options):
    equivalent = _equivalent_changes(path)
    faults = [fault for fault in faults_of(source)
              if change_of(fault, source) not in equivalent and options.only in (None, fault.line)]
    if options.sample is not None and len(faults) > options.sample:
        faults = random.Random(f"{options.seed} {path}").sample(faults, options.sample)
    return sorted(faults, key=lambda fault: fault.begin)


def _equivalent_changes(path):
    """Blocks of four lines: path, the line as it is, the line as it would be, and why nobody could tell."""
    lines = [line for line in EQUIVALENT.read_text().splitlines() if line and not line.startswith("#")]
    blocks = zip(lines[0::4], lines[1::4], lines[2::4])
    return {(before, after) for where, before, after in blocks if where == path}


def _try_all(chosen, sources, options):
    programs = {path: fitting(path) for path in sources}
    needed = list(dict.fromkeys(program for path in sources for program in programs[path]))
    workshops = [Workshop(CHECKOUT, options.work.resolve() / str(number)) for number in range(options.jobs)]
    findings = {path: Findings(path) for path in sources}
    free = SimpleQueue()

    def prepare(workshop):
        workshop.prepare(needed)
        free.put(workshop)

    def try_one(path, fault):
        workshop = free.get()
        try:
            seen_by = workshop.try_out(path, fault.put_into(sources[path]), programs[path])
        finally:
            free.put(workshop)
        return path, fault, seen_by

    pool = ThreadPoolExecutor(options.jobs)
    try:
        list(pool.map(prepare, workshops))
        for path, fault, seen_by in pool.map(lambda pair: try_one(*pair), chosen):
            findings[path].count(fault, seen_by)
            _say(path, fault, sources[path], _OUTCOMES.get(seen_by, f"caught by {seen_by}"))
    finally:
        pool.shutdown(wait=False, cancel_futures=True)
        for workshop in workshops:
            workshop.stop()
    return findings


_OUTCOMES = {None: "no fault", "": "NOT CAUGHT"}


def _say(path, fault, source, outcome):
    before, after = change_of(fault, source)
    print(f"{path}:{fault.line}: {fault.rule}: {outcome}\n  - {before}\n  + {after}", file=sys.stderr, flush=True)


if __name__ == "__main__":
    main()
