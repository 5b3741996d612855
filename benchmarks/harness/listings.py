"""Listing what a cloud holds."""

from client import Client
from comparison import Findings, growth_row
from curl import Curl
from peers import Rclone
from samples import write_files
from words import count_text

GOALS = {"rclone lsjson": 0.5, "curl": 3}
FILE_SIZE = 100  # bytes


def findings(bench, cloud):
    tools = {"ours": Client.of(bench), "rclone lsjson": Rclone, "curl": Curl}
    return _list(bench, cloud, bench.sizes.listed_files, tools, GOALS)


def growth_findings(bench, cloud):
    """Ever more files; each step is compared with what it would be if it grew as the number does, and with
    what the server takes for it."""
    tools = {"ours": Client.of(bench), "curl": Curl}
    fewer, before = 0, []
    for count in bench.sizes.growing:
        found = _list(bench, cloud, count, tools, {"curl": None})
        seconds = [run.seconds for run in found.measured["ours"]]
        if fewer:
            found.rows.append(growth_row(found.work, seconds, before, fewer, count))
        fewer, before = count, seconds
        yield found


def _list(bench, cloud, count, tools, goals):
    with cloud.new_collection() as collection, bench.new_folder() as scratch:
        write_files(collection, count, FILE_SIZE)
        sides = {name: lambda tool=tool: tool.list_members(cloud, collection, count, scratch)
                 for name, tool in tools.items()}
        return Findings.of(f"list {count_text(count)} on {cloud.name}", sides, bench.sizes.rounds, goals)
