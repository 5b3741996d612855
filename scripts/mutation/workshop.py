"""A copy of the tree in which faults are built and tested. The checkout itself is never changed."""

import fcntl
import hashlib
import os
import shutil
import signal
import subprocess
import time
from pathlib import Path

_CONFIGURE = ["cmake", "--preset", "dev", "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DCMAKE_CXX_FLAGS_DEBUG=-O0",
              "-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF", "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold",
              "-DCMAKE_SHARED_LINKER_FLAGS=-fuse-ld=gold"]
_SHORTEST_LIMIT_IN_S, _LIMIT_FACTOR = 60, 10


class BrokenTree(Exception):
    """What has to work before a fault is put in does not."""


class Workshop:
    def __init__(self, checkout, folder):
        self._checkout = checkout
        self._folder = folder
        self._tree = folder / "tree"
        self._temporary = folder / "tmp"
        self._objects = {}  # of the tree without a fault
        self._limits = {}  # in seconds, of each test program
        self._process = None
        self._is_stopped = False

    def prepare(self, programs):
        """Copies what has changed, builds it and runs the tests once: they must succeed while there is no fault."""
        self._lock_folder()
        self._copy_tree()
        self._require(_CONFIGURE, "configuring")
        self._require(self._build_command(programs), "building")
        self._objects = {file: _hash_of(file) for file in self._tree.glob("build/**/*.o")}
        for program in programs:
            began = time.monotonic()
            if not self._succeeds(program, limit=1000):
                raise BrokenTree(f"{program} fails without any fault: {self._folder}/output.txt")
            self._limits[program] = max(_SHORTEST_LIMIT_IN_S, _LIMIT_FACTOR * (time.monotonic() - began))

    def try_out(self, path, text, programs):
        """The name of the program that saw the fault, "" when none did, None when it is none: it does not compile, or
        to the same code."""
        file = self._tree / path
        file.write_text(text)
        try:
            for program in programs:
                if self._run(self._build_command([program]), None) != 0 or self._is_same_code(file):
                    return None
                if not self._succeeds(program, self._limits[program]):
                    return program
            return ""
        finally:
            shutil.copy(self._checkout / path, file)

    def stop(self):
        """Ends what is running. The next run brings the tree in order again."""
        self._is_stopped = True
        if self._process:
            _end_group(self._process)

    def _lock_folder(self):
        """Two runs in one tree would take the fault of the one for that of the other."""
        self._folder.mkdir(parents=True, exist_ok=True)
        self._lock = open(self._folder / "lock", "w")
        try:
            fcntl.flock(self._lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            raise BrokenTree(f"{self._folder} is in use by another run") from None

    def _copy_tree(self):
        listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                                cwd=self._checkout, stdout=subprocess.PIPE, check=True).stdout
        wanted = {name for name in listed.decode().split("\0") if name and (self._checkout / name).is_file()}
        for name in wanted:
            _copy_if_other(self._checkout / name, self._tree / name)
        for file in self._tree.rglob("*"):
            name = file.relative_to(self._tree)
            if file.is_file() and name.parts[0] != "build" and str(name) not in wanted:
                file.unlink()

    def _build_command(self, programs):
        return ["cmake", "--build", "build/dev", "--parallel", "2", "--target", *programs]

    def _is_same_code(self, file):
        """Whether the source was compiled to what it was without the fault, as code for another system is."""
        objects = [known for known in self._objects if known.name == f"{file.name}.o"]
        return bool(objects) and all(_hash_of(known) == self._objects[known] for known in objects)

    def _require(self, command, work):
        if self._run(command, None) != 0:
            raise BrokenTree(f"{work} fails without any fault: {self._folder}/output.txt")

    def _succeeds(self, program, limit):
        shutil.rmtree(self._temporary, ignore_errors=True)
        self._temporary.mkdir(parents=True)
        command = [f"{self._tree}/build/dev/bin/{program}", "--gtest_fail_fast", "--gtest_brief=1"]
        return self._run(self._confined(command), limit) == 0

    def _confined(self, command):
        """A fault may delete any file: what is tested can write nowhere but here."""
        return ["bwrap", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc", "--tmpfs", "/tmp",
                "--bind", str(self._folder), str(self._folder), "--unshare-net", "--unshare-pid",
                "--die-with-parent", *command]

    def _run(self, command, limit):
        """The exit code; -1 when the time was up. Nothing is left of its processes."""
        if self._is_stopped:
            return -1
        environment = {**os.environ, "TMPDIR": str(self._temporary), "HOME": str(self._temporary),
                       "QT_QPA_PLATFORM": "offscreen", "CCACHE_BASEDIR": str(self._tree)}
        with open(self._folder / "output.txt", "w") as output:
            self._process = subprocess.Popen(command, cwd=self._tree, stdin=subprocess.DEVNULL, stdout=output,
                                             stderr=output, env=environment, start_new_session=True)
            try:
                return self._process.wait(limit)
            except subprocess.TimeoutExpired:
                return -1
            finally:
                _end_group(self._process)


def _end_group(process):
    try:
        os.killpg(process.pid, signal.SIGKILL)
    except ProcessLookupError:
        pass
    process.wait()


def _hash_of(file):
    return hashlib.md5(file.read_bytes()).digest()


def _copy_if_other(source, target):
    if target.exists() and target.read_bytes() == source.read_bytes():
        return
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copy(source, target)
