"""Documents that go to a cloud and come back."""

import time

from bench import SMALL_FILE
from client import Client
from comparison import Findings
from curl import Curl, CurlAsWeUpload
from peers import Cp, Hashing, Rclone
from samples import require_copies, write_files
from words import count_text, size_text

LARGE_GOALS = {"curl": 1.1, "cp": 1.3, "the MD5 alone": None}  # no goal, but a floor, to be measured as well
SMALL_GOALS = {"curl": 1.2, "curl, same requests": 1.2}
MOST_MEMORY = 32  # MiB
_WARMING_FILES = 60


def folder_findings(bench, cloud):
    tools = {"ours": Client.of(bench), "cp": Cp, "the MD5 alone": Hashing}
    for way in (Up, Down, DownAfterListing):
        yield _large_file(bench, cloud, way, tools)


def server_findings(bench, cloud):
    _warm_up(bench, cloud)
    ours = {"ours": Client.of(bench)}
    for way in (Up, Down):
        yield _large_file(bench, cloud, way, {**ours, "curl": Curl, "the MD5 alone": Hashing})
    up = {**ours, "curl, same requests": CurlAsWeUpload, "rclone copy": Rclone}
    yield _small_files(bench, cloud, Up, up)
    down = {**ours, "curl": Curl, "the MD5 alone": Hashing, "rclone copy": Rclone}
    yield _small_files(bench, cloud, Down, down)


class Way:
    @staticmethod
    def prepare(bench, cloud, source, count):
        """What has happened before the first round."""


class Up(Way):
    words = "up to"

    @staticmethod
    def source(bench, _cloud):
        return bench.new_folder()

    @staticmethod
    def run(bench, cloud, tool, source, names):
        with cloud.new_collection() as collection, bench.new_folder() as scratch:
            measured = tool.upload(cloud, collection, [source / name for name in names], scratch)
            if tool is not Hashing:
                require_copies(source, collection, names)
            return measured


class Down(Way):
    words = "down from"

    @staticmethod
    def source(_bench, cloud):
        return cloud.new_collection()

    @staticmethod
    def run(bench, cloud, tool, source, names):
        with bench.new_folder() as target, bench.new_folder() as scratch:
            measured = tool.download(cloud, source, names, target, scratch)
            if tool is not Hashing:
                require_copies(source, target, names)
            return measured


class DownAfterListing(Down):
    """From a folder whose listing has remembered the hashes, with which our client compares what it copies."""

    words = "down, after a listing, from"

    @staticmethod
    def prepare(bench, cloud, source, count):
        time.sleep(4)  # of files that have only just been written no hash is remembered
        Client.of(bench).list_members(cloud, source, count, None)


def _warm_up(bench, cloud):
    """A server that has just started is slow with the first uploads that come at once."""
    with bench.new_folder() as folder:
        Up.run(bench, cloud, CurlAsWeUpload, folder, write_files(folder, _WARMING_FILES, 1))


def _large_file(bench, cloud, way, tools):
    size = bench.sizes.large_file
    work = f"{size_text(size)} {way.words} {cloud.name}"
    found = _compare(bench, cloud, way, work, (1, size), tools, LARGE_GOALS)
    with way.source(bench, cloud) as source:
        least = way.run(bench, cloud, tools["ours"], source, write_files(source, 1, 1))
    found.add_memory(least, MOST_MEMORY)
    return found


def _small_files(bench, cloud, way, tools):
    count = bench.sizes.moved_files
    work = f"{count_text(count)} of {size_text(SMALL_FILE)} {way.words} {cloud.name}"
    return _compare(bench, cloud, way, work, (count, SMALL_FILE), tools, SMALL_GOALS)


def _compare(bench, cloud, way, work, count_and_size, tools, goals):
    with way.source(bench, cloud) as source:
        names = write_files(source, *count_and_size)
        way.prepare(bench, cloud, source, len(names))
        sides = {name: lambda tool=tool: way.run(bench, cloud, tool, source, names)
                 for name, tool in tools.items()}
        return Findings.of(work, sides, bench.sizes.rounds, goals)
