"""The clouds that the program works on, and how their documents are read without it."""

import shutil
import subprocess
from pathlib import Path

SERVER = Path(__file__).parents[2] / "support/servers/webdav-server"


class FolderCloud:
    """@param place  an empty folder of its own"""

    options = ()
    environment = {}
    tells_contents = True

    def __init__(self, place):
        self.folder = place / "cloud"
        self.folder.mkdir()
        self.address = str(self.folder)

    def files(self):
        return read_files(self.folder)

    def save(self, place):
        _copy(self.folder, place)

    def restore(self, place):
        _replace(self.folder, place)

    def close(self):
        pass


class Server:
    """A real WebDAV server on this machine, until it is closed."""

    def __init__(self, kind, work):
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "TMPDIR": str(work)}
        self._process = subprocess.Popen([SERVER, kind], env=environment, text=True, stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE)
        port, _, folder = self._process.stdout.readline().strip().partition(" ")
        if not folder:
            raise RuntimeError(f"{kind} does not start")
        self.origin = f"http://127.0.0.1:{port}"
        self.data = Path(folder) / "data"
        self.token = (Path(folder) / "token").read_text()
        self.options = () if kind == "apache" else ("--user", "user")

    def close(self):
        self._process.stdin.close()
        self._process.wait()
        self._process.stdout.close()


class CollectionCloud:
    """A collection on a server."""

    tells_contents = False  # a crash may come before the server or the cache has been told the hash

    def __init__(self, server, name):
        self.folder = server.data / name
        self.folder.mkdir()
        self.folder.chmod(0o777)  # the server may run as another user
        self.address = f"{server.origin}/dav/{name}/"
        self.options = server.options
        self.environment = {"ORVANE_CLOUD_TOKEN": server.token}

    def files(self):
        return {name: content for name, content in read_files(self.folder).items() if not name.startswith(".DAV/")}

    def save(self, place):
        _copy(self.folder, place)

    def restore(self, place):
        _replace(self.folder, place)

    def close(self):
        pass


def read_files(folder):
    """The content of each file below the folder, by its path from there."""
    found = {}
    for path in sorted(folder.rglob("*")):
        try:
            if path.is_file():
                found[str(path.relative_to(folder))] = path.read_bytes()
        except FileNotFoundError:
            pass  # a server still clears up after a client that was killed
    return found


def _copy(source, target):
    shutil.copytree(source, target, symlinks=True)


def _replace(folder, source):
    """Leaves the folder itself, which its server may know by more than its name."""
    for path in folder.iterdir():
        shutil.rmtree(path) if path.is_dir() else path.unlink(missing_ok=True)
    shutil.copytree(source, folder, symlinks=True, dirs_exist_ok=True)
