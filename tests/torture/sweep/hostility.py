"""Servers that answer with lies, nonsense, far too much, or next to nothing."""

from checks import Expectation, check_end
from program import PATIENCE
from trial import Trial
from tricks import all_tricks

WITH_SLOW_SERVERS = 900  # seconds: a change that was sent waits five minutes for its answer, a transfer is repeated
MEMORY = 256 * 1024 ** 2  # bytes, for the whole process; it takes 40 MiB by itself
TAKEN = 64 * 1024 ** 2  # bytes that it may take from the server, all repetitions together
KEPT = 16 * 1024 ** 2  # bytes that it may have more on its disk


def trials(cloud, _stage, sizes, _seed, _choice):
    for trick in all_tricks():
        if sizes.has_slow_servers or not trick.is_slow:
            yield _trial(cloud, trick)


def _trial(cloud, trick):
    def run(stage):
        expectation = Expectation(stage, trick.command)
        size_before = stage.size_on_disk()
        stage.cloud.play(trick)
        ended = stage.run(trick.command.arguments, patience=WITH_SLOW_SERVERS if trick.is_slow else PATIENCE)
        grown = stage.size_on_disk() - size_before
        losses = [*check_end(ended), *_check_greed(ended, stage.cloud.sent, grown)]
        if ended.status == 0 and not expectation.is_done():
            losses.append("it said that it had done its work, and had not")
        stage.cloud.play(None)
        losses += expectation.check_files() if trick.is_true else expectation.check_moment()
        return losses + expectation.check_repeat()

    methods = " and ".join(trick.methods)
    return Trial(cloud, f"hostile answers to {methods}", f"{trick.command.name}, {methods}: {trick.name}", run,
                 is_waiting=True)


def _check_greed(ended, sent, grown):
    if ended.peak_bytes > MEMORY:
        yield f"it took {ended.peak_bytes / 1024 ** 2:.0f} MiB of memory"
    if sent > TAKEN:
        yield f"it took {sent / 1024 ** 2:.0f} MiB from the server"
    if grown > KEPT:
        yield f"it kept {grown / 1024 ** 2:.0f} MiB"
