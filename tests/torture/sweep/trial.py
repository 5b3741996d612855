"""One trial: what is done to a stage, and what was lost by it."""

from dataclasses import dataclass
from typing import Callable


@dataclass(frozen=True)
class Trial:
    cloud: str  # which cloud it needs
    group: str  # its row in the table
    name: str
    run: Callable  # gets a stage that was just reset; gives the losses
    is_waiting: bool = False  # most of the time, as while a transfer is tried again

    def __str__(self):
        return f"{self.cloud}: {self.name}"


@dataclass(frozen=True)
class Result:
    trial: Trial
    losses: tuple


@dataclass(frozen=True)
class Choice:
    """The trials whose name holds a text."""

    text: str
    clouds: tuple  # all there are

    def takes(self, trial):
        return self.text in str(trial)

    def may_take(self, beginning):
        """Whether it may take a trial whose name begins so; it can tell when the text begins as a name does."""
        is_beginning = self.text.startswith(tuple(f"{cloud}:" for cloud in self.clouds))
        return not is_beginning or self.text.startswith(beginning) or beginning.startswith(self.text)
