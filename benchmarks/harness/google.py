"""Runs a program made with Google Benchmark and reads what it has measured."""

import json
import os
import subprocess
from collections import defaultdict
from dataclasses import dataclass, field

from processes import ProcessFailed, shown

_SECONDS = {"s": 1, "ms": 1e-3, "us": 1e-6, "ns": 1e-9}
_OWN_FIELDS = {"name", "family_index", "per_family_instance_index", "run_name", "run_type", "repetitions",
               "repetition_index", "threads", "iterations", "real_time", "cpu_time", "time_unit",
               "items_per_second"}


@dataclass
class Case:
    seconds: list = field(default_factory=list)
    counters: dict = field(default_factory=lambda: defaultdict(list))


def measure(bench, program):
    """The cases by name, without the marks that Google Benchmark appends, and the command."""
    command = [str(bench.program(program)), "--benchmark_format=json",
               f"--benchmark_repetitions={bench.sizes.rounds}", "--benchmark_enable_random_interleaving=true"]
    environment = {**os.environ, "TMPDIR": str(bench.work), "QT_QPA_PLATFORM": "offscreen",
                   "ORVANE_BENCHMARK_SIZE": "quick" if bench.is_quick else "full"}
    ended = subprocess.run(command, env=environment, capture_output=True, text=True)
    if ended.returncode != 0:
        raise ProcessFailed(f"{shown(command)}\n{ended.stderr}")
    return _cases_in(json.loads(ended.stdout)["benchmarks"]), shown(command)


def _cases_in(runs):
    cases = defaultdict(Case)
    for run in runs:
        if run["run_type"] == "iteration":
            if run.get("error_occurred"):
                raise ProcessFailed(f"{run['name']}: {run['error_message']}")
            case = cases[_name_of(run)]
            case.seconds.append(run["real_time"] * _SECONDS[run["time_unit"]])
            for counter in run.keys() - _OWN_FIELDS:
                case.counters[counter].append(run[counter])
    return dict(cases)


def _name_of(run):
    parts = run["name"].split("/")
    return "/".join(part for part in parts if ":" not in part and part not in ("manual_time", "real_time"))
