"""The rows of the one table, and how they are written."""

from dataclasses import dataclass
from statistics import median

HEADINGS = ("work", "ours", "against", "theirs", "ratio", "goal", "kept")


@dataclass(frozen=True)
class Row:
    work: str
    ours: str
    against: str = ""
    theirs: str = ""
    ratio: str = ""
    goal: str = ""
    is_kept: bool | None = None  # None: there is no goal

    def cells(self, is_judged):
        kept = {True: "yes", False: "**no**", None: ""}[self.is_kept if is_judged else None]
        return (self.work, self.ours, self.against, self.theirs, self.ratio, self.goal, kept)


def ratio_row(work, ours, against, theirs, goal=None):
    """Compares the medians of two lists of seconds. A goal is the largest ratio that keeps it."""
    ratio = median(ours) / median(theirs)
    return Row(work, time_text(ours), against, time_text(theirs), ratio_text(ratio),
               "" if goal is None else f"≤ {goal:g}", None if goal is None else ratio <= goal)


def limit_row(work, value, limit=None, unit=""):
    """A number that is to be within a limit, when there is one."""
    goal, is_kept = ("", None) if limit is None else (f"≤ {limit:g} {unit}".rstrip(), value <= limit)
    return Row(work, f"{_digits(value)} {unit}".rstrip(), goal=goal, is_kept=is_kept)


def markdown(rows, is_judged):
    lines = [HEADINGS, tuple("---" for _ in HEADINGS), *(row.cells(is_judged) for row in rows)]
    return "\n".join("| " + " | ".join(cells) + " |" for cells in lines)


def ratio_text(ratio):
    return f"{ratio:.2f}" if ratio >= 0.1 else f"{ratio:.2g}"  # small ones are compared with small goals


def time_text(times):
    """The median, and the shortest and longest when there are several."""
    factor, unit = _unit_for(median(times))
    short, middle, long = (_digits(seconds * factor) for seconds in (min(times), median(times), max(times)))
    return f"{middle} {unit}" + ("" if len(times) == 1 else f" ({short} – {long})")


def _digits(number):
    return f"{float(f'{number:.3g}'):,g}"


def _unit_for(seconds):
    for factor, unit in ((1, "s"), (1e3, "ms"), (1e6, "µs")):
        if seconds * factor >= 1:
            return factor, unit
    return 1e9, "ns"
