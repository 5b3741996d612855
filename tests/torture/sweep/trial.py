"""One trial: what is done to a stage, and what was lost by it."""

from dataclasses import dataclass
from typing import Callable


@dataclass(frozen=True)
class Trial:
    cloud: str  # which cloud it needs
    group: str  # its row in the table
    name: str
    run: Callable  # gets a stage that was just reset; gives the losses

    def __str__(self):
        return f"{self.cloud}: {self.name}"


@dataclass(frozen=True)
class Result:
    trial: Trial
    losses: tuple
