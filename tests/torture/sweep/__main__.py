"""Breaks the program off, lets its system calls fail, damages its files, answers it with lies: what is lost?"""

import argparse
import os
import random
import signal
import sys
import tempfile
import time
from pathlib import Path

import damage
import hostility
import interruptions
import report
from clouds import CollectionCloud, FolderCloud, Server
from crew import Crew
from program import Program
from sizes import FULL, QUICK
from stage import Stage
from trial import Choice
from webdav import ScriptedCloud

CROWD = 120  # documents: enough for a list of many pages
DOCUMENT = Path(__file__).parents[3] / "docs/reliability.md"


def main():
    options = _options()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that all is cleaned up
    started = time.monotonic()
    with tempfile.TemporaryDirectory(prefix="orvane-torture-", dir=_place_for_files()) as work:
        Path(work).chmod(0o755)
        results = _torture(options, Path(work))
    text = report.text_of(results, options, time.monotonic() - started)
    print(text)
    if options.write:
        report.write_into(DOCUMENT, text)
    sys.exit(1 if any(result.losses for result in results) else 0)


def _options():
    parser = argparse.ArgumentParser(prog="scripts/torture", description=__doc__)
    parser.add_argument("program", type=Path, help=argparse.SUPPRESS)
    parser.add_argument("faults", type=Path, help=argparse.SUPPRESS)
    parser.add_argument("--quick", action="store_true", help="a sample, within two minutes")
    parser.add_argument("--seed", type=int, default=1, help="for another sample (default: 1)")
    parser.add_argument("--only", metavar="TEXT", default="", help="the trials whose name holds TEXT")
    parser.add_argument("--jobs", type=int, default=2 * (os.cpu_count() or 1), help="how many at a time")
    parser.add_argument("--write", action="store_true", help="put the table into docs/reliability.md")
    options = parser.parse_args()
    if options.write and (options.quick or options.only):
        parser.error("only a whole run is worth writing down")
    return options


def _torture(options, work):
    sizes = QUICK if options.quick else FULL
    servers = {kind: Server(kind, work) for kind in ("apache", "rclone")}
    try:
        makers = _stage_makers(Program(options.program.resolve(), options.faults.resolve()), servers)
        crew = Crew(work, makers, options.jobs)
        choice = Choice(options.only, tuple(makers))
        trials = [trial for trial in _trials(crew, sizes, options.seed, choice) if choice.takes(trial)]
        if not trials:
            sys.exit(f"There is no trial whose name holds \"{options.only}\".")
        random.Random(options.seed).shuffle(trials)  # those that wait and those that work side by side
        return list(crew.run(trials))
    finally:
        for server in servers.values():
            server.close()


def _stage_makers(program, servers):
    return {
        "folder": lambda place: Stage(program, place, FolderCloud),
        "crowded": lambda place: Stage(program, place, FolderCloud, crowd=CROWD),
        "apache": lambda place: Stage(program, place, lambda work: CollectionCloud(servers["apache"], work.name)),
        "rclone": lambda place: Stage(program, place, lambda work: CollectionCloud(servers["rclone"], work.name)),
        "hostile": lambda place: Stage(program, place, ScriptedCloud),
    }


SWEEPS = (
    ("folder", interruptions.trials),
    ("apache", interruptions.trials),
    ("rclone", interruptions.trials),
    ("crowded", damage.trials),
    ("apache", damage.trials),
    ("hostile", hostility.trials),
)


def _trials(crew, sizes, seed, choice):
    for cloud, sweep in SWEEPS:
        if choice.may_take(f"{cloud}:"):
            stage = crew.new_stage(cloud)
            yield from sweep(cloud, stage, sizes, seed, choice)
            stage.close()


def _place_for_files():
    """Memory where there is some: nothing here is about the disk's speed."""
    in_memory = Path("/dev/shm")
    return in_memory if in_memory.is_dir() and os.access(in_memory, os.W_OK) else Path(tempfile.gettempdir())


if __name__ == "__main__":
    main()
