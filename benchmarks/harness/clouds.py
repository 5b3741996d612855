"""The clouds that files are moved to and from, and how each tool is told to reach them."""

import contextlib
import shutil
import subprocess
from pathlib import Path

SERVER = Path(__file__).parents[2] / "tests/support/servers/webdav-server"


class FolderCloud:
    name = "a folder"

    def __init__(self, folder):
        self._folder = folder

    @contextlib.contextmanager
    def new_collection(self):
        """The folder that holds its files."""
        folder = self._folder / "cloud"
        folder.mkdir()
        try:
            yield folder
        finally:
            shutil.rmtree(folder)

    def address(self, collection):
        return f"file://{collection}"

    client_options = ()
    client_environment = {}
    client_download = "download"  # the first listing of a folder hashes all that is in it


class WebDavCloud:
    """A server that runs on this machine until its with block ends."""

    client_download = "list-and-download"  # as everybody does: the client then knows the versions

    def __init__(self, kind, work):
        self.name = {"apache": "Apache", "rclone": "rclone serve"}[kind]
        self.keeps_properties = kind == "apache"
        self._kind = kind
        self._work = work
        self._collections = 0

    def __enter__(self):
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "TMPDIR": str(self._work),
                       "RCLONE_DIR_CACHE_TIME": "5m"}  # as it comes
        self._process = subprocess.Popen([SERVER, self._kind], env=environment, text=True,
                                         stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        port, _, folder = self._process.stdout.readline().strip().partition(" ")
        if not folder:
            raise RuntimeError(f"{self.name} does not start")
        self._origin = f"http://127.0.0.1:{port}"
        self._data = Path(folder) / "data"
        self._token = (Path(folder) / "token").read_text()
        return self

    def __exit__(self, *_):
        self._process.stdin.close()
        self._process.wait()
        self._process.stdout.close()

    @contextlib.contextmanager
    def new_collection(self):
        """The folder whose files the server shows."""
        self._collections += 1
        folder = self._data / str(self._collections)
        folder.mkdir()
        folder.chmod(0o777)  # the server may run as another user
        if self._kind == "rclone":
            self._restart()  # it remembers what lies in a folder
        try:
            yield folder
        finally:
            shutil.rmtree(folder)

    def _restart(self):
        self._process.stdin.write("kill\nstart\n")
        self._process.stdin.flush()
        for _ in ("killed", "port and folder"):
            if not self._process.stdout.readline():
                raise RuntimeError(f"{self.name} does not start again")

    def address(self, collection):
        return f"{self._origin}/dav/{collection.name}/"

    @property
    def client_options(self):
        return () if self._kind == "apache" else ("--user", "user")

    @property
    def client_environment(self):
        return {"ORVANE_BENCHMARK_TOKEN": self._token}

    @property
    def curl_credentials(self):
        """A long option without its dashes, and its value."""
        if self._kind == "apache":
            return "header", f"Authorization: Bearer {self._token}"
        return "user", f"user:{self._token}"

    def rclone_name(self, collection):
        return f":webdav:{collection.name}"

    @property
    def rclone_environment(self):
        place = {"RCLONE_CONFIG": str(self._work / "none.conf"), "RCLONE_WEBDAV_URL": f"{self._origin}/dav"}
        if self._kind == "apache":
            return {**place, "RCLONE_WEBDAV_BEARER_TOKEN": self._token}
        obscured = subprocess.run(["rclone", "obscure", self._token], check=True, capture_output=True)
        return {**place, "RCLONE_WEBDAV_USER": "user", "RCLONE_WEBDAV_PASS": obscured.stdout.decode().strip()}
