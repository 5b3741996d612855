"""Runs whole processes and tells how long they took and how much memory they had."""

import os
import shlex
import subprocess
import tempfile
import time
from dataclasses import dataclass


@dataclass(frozen=True)
class Measurement:
    seconds: float
    peak_bytes: int  # of the largest process; never less than what this interpreter itself has
    command: str


class ProcessFailed(Exception):
    pass


def measure(*commands, env=None, cwd=None):
    """Runs the commands at the same time, until the last has ended."""
    commands = [[str(word) for word in command] for command in commands]
    with tempfile.TemporaryFile() as errors:
        started = time.monotonic()
        running = [
            subprocess.Popen(command, env={**os.environ, **(env or {})}, cwd=cwd, stdin=subprocess.DEVNULL,
                             stdout=subprocess.DEVNULL, stderr=errors)
            for command in commands
        ]
        peaks = [_wait_for(process) for process in running]
        seconds = time.monotonic() - started
        if any(process.returncode for process in running):
            errors.seek(0)
            words = errors.read().decode(errors="replace").strip()
            raise ProcessFailed(f"{_shown(commands[0])}\n{words}")
    return Measurement(seconds, max(peaks), _shown(commands[0]))


def _wait_for(process):
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    return usage.ru_maxrss * 1024


def _shown(command, most=8):
    more = " ..." if len(command) > most else ""
    return shlex.join([os.path.basename(command[0]), *command[1:most]]) + more
