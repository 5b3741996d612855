"""How much is tried."""

from dataclasses import dataclass


@dataclass(frozen=True)
class Sizes:
    """For each command on each cloud, but for the last two; None: all there are."""

    kills: int | None
    torn_writes: int | None
    errors: int | None
    lasting_errors: int | None
    random_kills: int
    damages: int  # for each stored file
    has_slow_servers: bool

    @staticmethod
    def sample(things, count, chance):
        if count is None or count >= len(things):
            return things
        return [things[index] for index in sorted(chance.sample(range(len(things)), count))]


FULL = Sizes(kills=None, torn_writes=None, errors=None, lasting_errors=24, random_kills=25, damages=40,
             has_slow_servers=True)
QUICK = Sizes(kills=2, torn_writes=1, errors=2, lasting_errors=1, random_kills=1, damages=1, has_slow_servers=False)
