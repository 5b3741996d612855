"""Our protocol client, in a process of its own."""

from dataclasses import dataclass
from pathlib import Path

from processes import measure


@dataclass(frozen=True)
class Client:
    program: Path

    def list_members(self, cloud, collection, count, scratch):
        return self._run(cloud, collection, scratch, "list", count)

    def upload(self, cloud, collection, files, scratch):
        return self._run(cloud, collection, scratch, "upload", *files)

    def download(self, cloud, collection, names, target, scratch):
        return self._run(cloud, collection, scratch, cloud.client_download, target, *names)

    def _run(self, cloud, collection, scratch, *work):
        return measure([self.program, *cloud.client_options, "--cache", scratch / "cache",
                        cloud.address(collection), *work], env=cloud.client_environment)
