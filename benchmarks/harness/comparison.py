"""From sides that do the same work to rows of the table."""

from dataclasses import dataclass, field

from bench import MIB
from table import limit_row, ratio_row

_GROWTH_GOAL = 1.2


@dataclass
class Findings:
    """About one piece of work: rows for the table, and the commands that were run for it."""

    work: str
    rows: list = field(default_factory=list)
    commands: dict = field(default_factory=dict)
    measured: dict = field(default_factory=dict)

    @classmethod
    def of(cls, work, sides, rounds, goals):
        """Compares the side "ours" with each other. A goal is the largest ratio to that
        peer; one without a goal is only to be shown, and runs once."""
        found = cls(work, measured=_take_turns(sides, rounds, {"ours", *goals}))
        seconds = {name: [one.seconds for one in runs] for name, runs in found.measured.items()}
        found.rows = [ratio_row(work, seconds["ours"], peer, theirs, goals.get(peer))
                      for peer, theirs in seconds.items() if peer != "ours"]
        found.commands = {name: runs[-1].command for name, runs in found.measured.items()}
        return found

    def add_memory(self, least, goal):
        """How much more memory ours had, at most, than a run of it with hardly anything to do."""
        growth = max(run.peak_bytes for run in self.measured["ours"]) - least.peak_bytes
        self.rows.append(limit_row(f"{self.work}: memory above that for 1 byte", growth / MIB, goal, "MiB"))


def growth_row(work, seconds, before, fewer, more):
    """Compares with what it would be if time grew as the number of documents does."""
    expected = [one * more / fewer for one in before]
    return ratio_row(work, seconds, f"{fewer:,} x {more / fewer:g}", expected, _GROWTH_GOAL)


def _take_turns(sides, rounds, judged):
    # All once, then all once more, and so on: what slows the machine down for a while slows all of them.
    measured = {name: [] for name in sides}
    for number in range(rounds):
        for name, run in sides.items():
            if number == 0 or name in judged:
                measured[name].append(run())
    return measured
