"""How much is tried."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Sizes:
    """For each command on each cloud, but for the last two; None: all there are."""

    kills: int | None
    errors: int | None
    lasting: int | None
    random_kills: int
    damages: int  # of each kind, for each stored file
    has_slow_servers: bool

    @staticmethod
    def sample(things, count, chance):
        if count is None or count >= len(things):
            return things
        return [things[index] for index in sorted(chance.sample(range(len(things)), count))]


FULL = Sizes(kills=None, errors=None, lasting=8, random_kills=25, damages=40, has_slow_servers=True)
QUICK = Sizes(kills=2, errors=4, lasting=1, random_kills=1, damages=1, has_slow_servers=False)
