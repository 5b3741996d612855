"""Which test programs are there to see a fault in which source: the quickest first, as the first failure ends it."""

from fnmatch import fnmatch
from pathlib import Path

_TESTS = sorted(file.stem for file in (Path(__file__).resolve().parents[2] / "tests").glob("*Test.cpp"))

_LIST = ["FileInfoTest", "IndexedQueriesTest", "FilesManagerTest", "FilesManagerPersistenceTest",
         "FilesManagerCostTest"]
_MANAGER = ["CloudManagerTest", "CloudOperationsTest", "CloudRequestsTest", "SignalReceivers*"]
_STORAGE = ["SqliteCloudInfoStorageTest"]
_SESSION = ["DocumentListMergerTest", "FailureReporter*", "CloudSessionTest", "*Session*"]
_FOLDER = ["FolderTransportTest"]
_FORMATS = ["DocumentIdTest", "WebDavFormatsTest"]
_PURE = ("webdav/MultiStatus", "webdav/Property", "webdav/WebDavAddress", "webdav/WebDavDate", "webdav/WebDavQuota",
         "webdav/Md5Note", "webdav/DocumentVersion")
_WEBDAV = ["WebDavFormatsTest", "ServerTraitsTest", "WebDavTransportTest", "WebDavServersTest", "WebDav*"]
_PREVIEWS = ["PreviewCacheTest", "Preview*"]
_CLIENT = ["RequestQueueTest", "ProtocolContractTest"]
_PROGRAM = ["ProgramTextTest", "ProgramTest"]

_FITTING = (  # the first pattern that fits
    ("src/interfaces/*", [*_LIST, *_MANAGER, "ProtocolProxyTest"]),
    ("src/library/OrvaneCloud/*Manager.cpp", [*_LIST, *_MANAGER]),
    ("src/library/OrvaneCloud/*Proxy*", ["ProtocolProxyTest"]),
    ("src/library/OrvaneCloud/*", [*_LIST, *_MANAGER]),
    ("src/library/OrvaneCloudHost/CloudAccountSettings*", ["CloudAccountSettingsTest"]),
    ("src/library/OrvaneCloudHost/LocalFileSystem*", ["LocalFileSystemTest", "CloudSessionTest"]),
    ("src/library/OrvaneCloudHost/Md5HashCalculator*", ["Md5Test", "HashMemoryTest", "CloudSessionTest"]),
    ("src/library/OrvaneCloudHost/PackedRecord*", _STORAGE),
    ("src/library/OrvaneCloudHost/DamagedRecords*", [*_STORAGE, "ProgramTest"]),
    ("src/library/OrvaneCloudHost/Sqlite*", [*_STORAGE, "ProgramTest"]),
    ("src/library/OrvaneCloudHost/*", [*_SESSION, "ProgramTest"]),
    ("src/library/OrvaneCloudProtocol/DocumentId*", [*_FORMATS, *_FOLDER]),
    ("src/library/OrvaneCloudProtocol/previews/*", [*_PREVIEWS, *_CLIENT]),
    ("src/library/OrvaneCloudProtocol/transports/folder/*", [*_FOLDER, *_CLIENT]),
    *((f"src/library/OrvaneCloudProtocol/transports/{name}*", [*_FORMATS, "ServerTraitsTest", "WebDavServersTest"])
      for name in _PURE),
    ("src/library/OrvaneCloudProtocol/transports/http/*", [*_WEBDAV, *_CLIENT]),
    ("src/library/OrvaneCloudProtocol/transports/webdav/*", [*_WEBDAV, *_CLIENT]),
    ("src/library/OrvaneCloudProtocol/transports/*", [*_FOLDER, *_CLIENT, *_WEBDAV]),
    ("src/library/OrvaneCloudProtocol/*", [*_CLIENT, *_FOLDER]),
    ("src/library/support/Database*", [*_STORAGE, "HashMemoryTest"]),
    ("src/library/support/Statement*", [*_STORAGE, "HashMemoryTest"]),
    ("src/library/support/FileLock*", [*_STORAGE, "ProgramTest"]),
    ("src/library/support/FileStamp*", ["HashMemoryTest", "Md5Test", *_FOLDER]),
    ("src/library/support/HashMemory*", ["HashMemoryTest", "Md5Test"]),
    ("src/library/support/*Md5*", ["Md5Test", "HashMemoryTest", *_FOLDER]),
    ("src/library/support/*", [*_FOLDER, "ProtocolContractTest"]),
    ("src/app/cli/*", _PROGRAM),
)


def fitting(path):
    """The names of the test programs for a source; none when nothing tests it."""
    wanted = next((patterns for source, patterns in _FITTING if fnmatch(path, source)), [])
    return list(dict.fromkeys(test for pattern in wanted for test in _TESTS if fnmatch(test, pattern)))
