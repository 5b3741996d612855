"""Measures this project against other tools, and against what the machine can do at best."""

import argparse
import signal
import sys
import tempfile
from pathlib import Path

import hashing
import inside
import listings
import report
import transfers
from bench import FULL, QUICK, Bench, place_for_files
from clouds import FolderCloud, WebDavCloud

DOCUMENT = Path(__file__).parents[2] / "docs/performance.md"


def main():
    options = _options()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that all is cleaned up
    with tempfile.TemporaryDirectory(prefix="orvane-bench-", dir=place_for_files()) as work:
        Path(work).chmod(0o755)
        bench = Bench(QUICK if options.quick else FULL, options.programs.resolve(), Path(work))
        rows, commands = _measure(bench, options.only)
        text = report.text_of(bench, rows, commands)
    print(text)
    if options.write:
        report.write_into(DOCUMENT, text)


def _options():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__)
    parser.add_argument("programs", type=Path, help=argparse.SUPPRESS)
    parser.add_argument("--quick", action="store_true", help="toy sizes, nothing judged: does it still run?")
    parser.add_argument("--only", metavar="PART", choices=PARTS, help=f"one of: {', '.join(PARTS)}")
    parser.add_argument("--write", action="store_true", help="put the table into docs/performance.md")
    options = parser.parse_args()
    if options.write and (options.quick or options.only):
        parser.error("only a whole run is worth writing down")
    return options


def _measure(bench, only):
    rows, commands = [], []
    for name, part in PARTS.items():
        for found in part(bench) if only in (None, name) else ():
            print(f"{found.work} ...", file=sys.stderr, flush=True)
            rows += found.rows
            commands += found.commands.items()
    return rows, commands


def _folder(bench):
    with bench.new_folder() as folder:
        yield from transfers.folder_findings(bench, FolderCloud(folder))


def _apache(bench):
    with WebDavCloud("apache", bench.work) as cloud:
        yield listings.findings(bench, cloud)
        yield from listings.growth_findings(bench, cloud)
        yield from transfers.server_findings(bench, cloud)


def _rclone(bench):
    with WebDavCloud("rclone", bench.work) as cloud:
        yield listings.findings(bench, cloud)
        yield from transfers.server_findings(bench, cloud)


PARTS = {"hashing": hashing.findings, "inside": inside.findings, "folder": _folder, "apache": _apache,
         "rclone": _rclone}

if __name__ == "__main__":
    main()
