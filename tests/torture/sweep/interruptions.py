"""Commands that are killed, and commands whose system calls fail."""

import random
import time

from checks import Expectation, check_end
from commands import COMMANDS
from program import COUNT, from_then_on, once
from trial import Trial

KILL_GROUPS = {"kill": "killed before a call that changes something", "tear": "killed after half of a write"}
ERRORS = ("short", "EIO", "ENOSPC", "EMFILE", "EACCES", "EINTR", "ECONNRESET", "EAGAIN")
LASTING = ("ENOSPC", "EMFILE", "EIO")  # that stay once they are there: a full disk, no more descriptors, a dead disk
RANDOM_GROUP = "killed at a random moment"


class Survey:
    """The calls of a command that something can befall, in their order, and how long it takes."""

    def __init__(self, stage, command):
        self.command = command
        stage.reset()
        started = time.monotonic()
        stage.run(command.arguments)
        self.seconds = time.monotonic() - started
        stage.reset()
        ended = stage.run(command.arguments, fault=COUNT)
        if ended.status != 0 or not ended.befallen:
            raise RuntimeError(f"{command.name}: {ended.status} {ended.said}")
        self.lines = ended.befallen
        self.outcomes = [line.split("\t")[2].split() for line in ended.befallen]

    def count(self, outcome):
        return sum(outcome in outcomes for outcomes in self.outcomes)

    def each_call_once(self, start):
        """For each call one of the errors that it can have, in turn, so that all come up everywhere."""
        ordinals = dict.fromkeys(ERRORS, 0)
        for number, outcomes in enumerate(self.outcomes, start):
            possible = [outcome for outcome in ERRORS if outcome in outcomes]
            for outcome in possible:
                ordinals[outcome] += 1
            if possible:
                chosen = possible[number % len(possible)]
                yield once(chosen, ordinals[chosen])


def trials(cloud, stage, sizes, seed, choice):
    for command in COMMANDS:
        if not choice.may_take(f"{cloud}: {command.name},"):
            continue
        survey = Survey(stage, command)
        chance = random.Random(f"{seed} {cloud} {command.name}")
        yield from _kills(cloud, survey, sizes, chance)
        yield from _errors(cloud, survey, sizes, chance)
        for _ in range(sizes.random_kills):
            yield _random_kill(cloud, command, chance.uniform(0, 1.1 * survey.seconds))


def _kills(cloud, survey, sizes, chance):
    for (outcome, group), count in zip(KILL_GROUPS.items(), (sizes.kills, sizes.torn_writes)):
        faults = [once(outcome, at) for at in range(1, survey.count(outcome) + 1)]
        for fault in sizes.sample(faults, count, chance):
            yield _trial(cloud, group, survey.command, fault)


def _errors(cloud, survey, sizes, chance):
    single = [*survey.each_call_once(chance.randrange(len(ERRORS)))]
    for fault in sizes.sample(single, sizes.errors, chance):
        yield _trial(cloud, f"one call fails: {fault.outcome}", survey.command, fault)
    lasting = [from_then_on(outcome, at) for outcome in LASTING for at in range(1, survey.count(outcome) + 1)]
    for fault in sizes.sample(lasting, sizes.lasting_errors, chance):
        yield _trial(cloud, f"all calls fail from then on: {fault.outcome}", survey.command, fault)


def _trial(cloud, group, command, fault):
    def run(stage):
        expectation = Expectation(stage, command)
        ended = stage.run(command.arguments, fault=fault)
        is_kill = fault.outcome in KILL_GROUPS
        losses = check_end(ended, is_kill) + expectation.check_moment(said_done=ended.status == 0)
        return losses + expectation.check_repeat()

    return Trial(cloud, group, f"{command.name}, {fault}", run)


def _random_kill(cloud, command, seconds):
    def run(stage):
        expectation = Expectation(stage, command)
        stage.run(command.arguments, kill_after=seconds)
        return expectation.check_moment() + expectation.check_repeat()

    return Trial(cloud, RANDOM_GROUP, f"{command.name}, killed after {seconds * 1000:.1f} ms", run)
