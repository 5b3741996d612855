"""Where the table ends up: on the terminal, and in the document about performance."""

import os
import platform
import re
import subprocess

from table import markdown

_BEGIN = "<!-- What follows is written by scripts/bench --write. -->\n"
_END = "<!-- Here ends what scripts/bench has written. -->\n"

_TOOLS = (
    ("openssl", ("openssl", "version"), r"OpenSSL (\S+)"),
    ("curl", ("curl", "--version"), r"curl (\S+)"),
    ("rclone", ("rclone", "version"), r"rclone v?(\S+)"),
    ("Apache", ("/usr/sbin/apache2", "-v"), r"Apache/(\S+)"),
    ("cp", ("cp", "--version"), r"\(GNU coreutils\) (\S+)"),
)


def text_of(bench, rows, commands):
    table = markdown(rows, not bench.is_quick)
    return "\n\n".join((_conditions(bench), table, _commands_table(bench, commands))) + "\n"


def write_into(document, text):
    before, _, rest = document.read_text().partition(_BEGIN)
    _, found, after = rest.partition(_END)
    if not found:
        raise ValueError(f"{document} has no place for the table")
    document.write_text(before + _BEGIN + "\n" + text + "\n" + _END + after)


def _conditions(bench):
    sizes = "Toy sizes, whatever the rows say: nothing is judged. " if bench.is_quick else ""
    rounds = f"each side {bench.sizes.rounds} times, in turn"
    return f"{sizes}{_machine()}; files on {_kind_of(bench.work)}; {_versions()}; {rounds}."


def _commands_table(bench, commands):
    lines = ["| side | command |", "| --- | --- |"]
    for command in dict.fromkeys((side, _tidy(bench, command)) for side, command in commands):
        lines.append(f"| {command[0]} | `{command[1]}` |")
    return "\n".join(lines)


def _tidy(bench, command):
    """Without what is another at the next run."""
    command = re.sub(re.escape(str(bench.work)) + r"(/tmp[^/ ]*)?", "FOLDER", command)
    command = re.sub(r"http://127\.0\.0\.1:\d+/dav/\d+", "http://SERVER/dav/COLLECTION", command)
    return re.sub(r":webdav:\d+", ":webdav:COLLECTION", command)


def _machine():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = re.search(r"model name\s*: (.*)", file.read())
    processor = model.group(1) if model else platform.machine()
    return f"{os.cpu_count()} x {processor}, Linux {platform.release()}"


def _kind_of(folder):
    return _output_of("stat", "--file-system", "--format=%T", folder).strip()


def _versions():
    return ", ".join(f"{name} {_version(command, pattern)}" for name, command, pattern in _TOOLS)


def _version(command, pattern):
    return re.search(pattern, _output_of(*command)).group(1)


def _output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout
