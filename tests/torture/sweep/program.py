"""Runs orvane-cloud, alone or with a fault, and says how it ended."""

import os
import re
import signal
import subprocess
import tempfile
import threading
from dataclasses import dataclass
from pathlib import Path

DOCUMENTED_EXITS = {0, 1, 2, 3, 4, 5, 6, 7, 8, 130}
PATIENCE = 240  # seconds; a transfer that goes on trying, and a server that is given up, need more than a minute
LOOK_INTERVAL = 0.05  # seconds, at the memory that it has


@dataclass(frozen=True)
class Fault:
    """What befalls the calls number "at" to "last", of those that it can befall."""

    outcome: str  # kill, tear, short, or the name of an error
    at: int
    last: str  # a number, or "end"

    def __str__(self):
        return f"{self.outcome}@{self.at}" + ("" if self.last == str(self.at) else f"-{self.last}")


def once(outcome, at):
    return Fault(outcome, at, str(at))


def from_then_on(outcome, at):
    return Fault(outcome, at, "end")


COUNT = Fault("count", 0, "0")


@dataclass(frozen=True)
class Ended:
    status: int  # the exit code; negative for a signal
    said: str  # on stderr
    output: str
    is_overdue: bool
    peak_bytes: int
    befallen: tuple  # the calls that a fault has befallen, or all that count

    @property
    def was_killed(self):
        return self.status == -signal.SIGKILL and not self.is_overdue


@dataclass(frozen=True)
class Program:
    file: Path
    faults: Path  # the library that is preloaded

    def run(self, arguments, environment, fault=None, folder=None, kill_after=None, patience=PATIENCE):
        """@param folder  whose files a fault can befall
        @param kill_after  seconds"""
        with tempfile.TemporaryDirectory() as scratch:
            report = Path(scratch) / "report"
            full = {**os.environ, **environment, **self._fault_environment(fault, folder, report)}
            with open(f"{scratch}/said", "w+b") as said, open(f"{scratch}/output", "w+b") as output:
                process = subprocess.Popen([self.file, *arguments], env=full, stdin=subprocess.DEVNULL,
                                           stdout=output, stderr=said)
                status, peak, is_overdue = _wait(process, kill_after, patience)
                return Ended(status, _text(said), _text(output), is_overdue, peak, _lines(report))

    def _fault_environment(self, fault, folder, report):
        if fault is None:
            return {}
        return {"LD_PRELOAD": str(self.faults), "ORVANE_FAULT": fault.outcome, "ORVANE_FAULT_AT": str(fault.at),
                "ORVANE_FAULT_LAST": fault.last, "ORVANE_FAULT_FOLDER": str(folder),
                "ORVANE_FAULT_REPORT": str(report)}


def _wait(process, kill_after, patience):
    is_overdue = threading.Event()

    def give_up():
        if kill_after is None:
            is_overdue.set()
        process.send_signal(signal.SIGKILL)

    timer = threading.Timer(patience if kill_after is None else kill_after, give_up)
    timer.start()
    with _MemoryWatch(process.pid) as memory:
        status = process.wait()
    timer.cancel()
    return status, memory.peak_bytes, is_overdue.is_set()


class _MemoryWatch:
    """What the kernel says at the end would count the memory that this process had when it made the other."""

    def __init__(self, pid):
        self.peak_bytes = 0
        self._file = Path(f"/proc/{pid}/status")
        self._is_over = threading.Event()
        self._thread = threading.Thread(target=self._watch, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._is_over.set()
        self._thread.join()

    def _watch(self):
        while not self._is_over.wait(LOOK_INTERVAL):
            try:
                peak = re.search(r"VmHWM:\s*(\d+) kB", self._file.read_text())
            except OSError:
                return
            self.peak_bytes = max(self.peak_bytes, int(peak.group(1)) * 1024 if peak else 0)


def _text(file):
    file.seek(0)
    return file.read().decode(errors="replace")


def _lines(report):
    return tuple(report.read_text(errors="replace").splitlines()) if report.exists() else ()
