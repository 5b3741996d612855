"""What runs inside a process, measured there with Google Benchmark: which rows there are, and their goals."""

from dataclasses import dataclass
from statistics import median

import google
from comparison import Findings, growth_row
from table import limit_row, ratio_row

FLOOR = "floor"


@dataclass(frozen=True)
class Ratio:
    """The time of one case against that of another."""

    row: str
    work: str
    against: str
    goal: float | None = None
    variant: str = FLOOR

    def rows(self, cases):
        ours, theirs = (cases[f"{self.row}/{side}"] for side in ("ours", self.variant))
        yield ratio_row(self.work, ours.seconds, self.against, theirs.seconds, self.goal)


@dataclass(frozen=True)
class Limit:
    """A counter of a case that is to stay within a limit."""

    row: str
    work: str
    counter: str
    goal: float
    unit: str = ""
    variant: str = "ours"

    def rows(self, cases):
        values = cases[f"{self.row}/{self.variant}"].counters[self.counter]
        yield limit_row(self.work, max(values), self.goal, self.unit)


@dataclass(frozen=True)
class Query:
    """One value of one row of the list: in time, and with no more allocations than the value itself needs."""

    row: str
    work: str

    def rows(self, cases):
        ours, floor = cases[f"{self.row}/ours"], cases[f"{self.row}/{FLOOR}"]
        yield ratio_row(self.work, ours.seconds, "an inline read of the field", floor.seconds)
        yield limit_row(f"{self.work}: time", median(ours.seconds) * 1e9, 150, "ns")
        more = median(ours.counters["allocations"]) - median(floor.counters["allocations"])
        yield limit_row(f"{self.work}: allocations beside the value's own", more, 0)


@dataclass(frozen=True)
class Previews:
    """Previews when they are made, and when they are wanted again."""

    row: str
    work: str

    def rows(self, cases):
        first, again, floor = (cases[f"{self.row}/{side}"] for side in ("ours", "again", FLOOR))
        yield ratio_row(self.work, first.seconds, "the renderer alone", floor.seconds, 1.2)
        yield ratio_row(f"{self.work}, again", again.seconds, "the first time", first.seconds)
        for counter in ("renderings", "fetches"):
            yield limit_row(f"{self.work}, again: {counter}", max(again.counters[counter]), 0)


@dataclass(frozen=True)
class Growth:
    """The time of a case as its number of documents grows."""

    row: str
    work: str

    def rows(self, cases):
        prefix = f"{self.row}/ours/"
        steps = sorted((int(name[len(prefix):]), case.seconds) for name, case in cases.items()
                       if name.startswith(prefix))
        for (fewer, before), (more, after) in zip(steps, steps[1:]):
            yield growth_row(f"{self.work}, {more:,} documents", after, before, fewer, more)


ROWS = {
    "documents": (
        Ratio("list-construction", "construct the list, nothing changed", "a stat for each", 5),
        Ratio("list-construction", "construct the list, nothing changed", "hashing each", 1 / 20, "hashing"),
        Ratio("save-changed", "save the list, all changed", "the same rows, SQLite's C API", 1.5),
        Ratio("save-unchanged", "save the list, nothing changed", "writing all, SQLite's C API", 0.3),
        Ratio("load", "load the list", "the same rows, SQLite's C API", 1.5),
        *(Query(f"row-{value}", f"ask one row for its {value}")
          for value in ("name", "id", "path", "size", "state", "previews", "date")),
        Ratio("refresh-handler", "the handler of a retrieved list", "building its records in a loop", 2),
        Ratio("refresh-handler", "the handler of a retrieved list", "the same, no client behind it",
              variant="no-client"),
        Limit("refresh", "refresh, 500 come and 500 go: longest block", "longest_block_ms", 50, "ms"),
        Limit("refresh", "refresh, with previews: longest block", "longest_block_ms", 50, "ms",
              "with-pictures"),
        Limit("refresh-first", "refresh, all new: longest block", "longest_block_ms", 50, "ms"),
        Limit("refresh-emptied", "refresh, all gone: longest block", "longest_block_ms", 50, "ms"),
        Limit("refresh-emptied", "refresh, half gone: longest block", "longest_block_ms", 50, "ms", "half"),
        Growth("growth-load", "load"),
        Growth("growth-save", "save"),
        Growth("growth-refresh", "refresh"),
    ),
    "client": (
        Ratio("requests", "30,000 requests", "a queued call for start, progress and end each", 3),
        Ratio("requests", "30,000 requests", "one queued call", variant="one-call"),
        Previews("previews-page", "200 previews of one page"),
        Previews("previews-photographs", "200 previews of 100 pages with photographs"),
        Growth("growth-list", "list a cloud"),
    ),
}


def findings(bench):
    for program, rows in ROWS.items():
        cases, command = google.measure(bench, program)
        _require_same({row.row for row in rows}, {name.partition("/")[0] for name in cases})
        found = Findings("inside a process: " + program, commands={"inside a process": command})
        for row in rows:
            found.rows += row.rows(cases)
        yield found


def _require_same(shown, measured):
    if shown != measured:
        raise ValueError(f"measured or shown, but not both: {', '.join(sorted(shown ^ measured))}")
