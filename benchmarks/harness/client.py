"""Our protocol client, in a process of its own."""

from dataclasses import dataclass
from pathlib import Path

from processes import measure


@dataclass(frozen=True)
class Client:
    program: Path
    cache: Path  # what it keeps between runs

    @classmethod
    def of(cls, bench):
        return cls(bench.program("transfer"), bench.work / "cache")

    def list_members(self, cloud, collection, count, _scratch):
        return self._run(cloud, collection, "list", count)

    def upload(self, cloud, collection, files, _scratch):
        return self._run(cloud, collection, "upload", *files)

    def download(self, cloud, collection, names, target, _scratch):
        return self._run(cloud, collection, cloud.client_download, target, *names)

    def _run(self, cloud, collection, *work):
        return measure([self.program, *cloud.client_options, "--cache", self.cache,
                        cloud.address(collection), *work], env=cloud.client_environment)
