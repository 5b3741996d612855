"""Runs whole processes and tells how long they took and how much memory they had."""

import contextlib
import os
import shlex
import subprocess
import tempfile
import time
from dataclasses import dataclass


@dataclass(frozen=True)
class Measurement:
    seconds: float
    peak_bytes: int  # of the largest process
    command: str


class ProcessFailed(Exception):
    pass


def measure(*commands, env=None, cwd=None):
    """Runs the commands at the same time, until the last has ended."""
    commands = [[str(word) for word in command] for command in commands]
    with contextlib.ExitStack() as open_files:
        peaks = [open_files.enter_context(tempfile.NamedTemporaryFile("r")) for _ in commands]
        errors = open_files.enter_context(tempfile.TemporaryFile())
        started = time.monotonic()
        running = [_start(*one, errors, env, cwd) for one in zip(commands, peaks)]
        statuses = [process.wait() for process in running]
        seconds = time.monotonic() - started
        if any(statuses):
            errors.seek(0)
            raise ProcessFailed(f"{shown(commands[0])}\n{errors.read().decode(errors='replace')}")
        return Measurement(seconds, max(int(peak.read()) for peak in peaks) * 1024, shown(commands[0]))


def _start(command, peak, errors, env, cwd):
    # A process counts what its parent had as its own peak, and time(1) has next to nothing.
    watched = ["time", "--quiet", "--format=%M", f"--output={peak.name}", *command]
    return subprocess.Popen(watched, env={**os.environ, **(env or {})}, cwd=cwd, stdin=subprocess.DEVNULL,
                            stdout=subprocess.DEVNULL, stderr=errors)


def shown(command, most=8):
    more = " ..." if len(command) > most else ""
    return shlex.join([os.path.basename(command[0]), *command[1:most]]) + more
