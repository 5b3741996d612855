"""The commands that are tried, and what each may change."""

from dataclasses import dataclass, field


@dataclass(frozen=True)
class Command:
    name: str
    arguments: tuple  # {local} stands for the folder of the user's files
    stored: dict = field(default_factory=dict)  # documents that it adds to the cloud: name and the local file
    removed: str = ""  # the document that it takes away
    fetched: dict = field(default_factory=dict)  # local files that it makes or replaces: path and document
    picture: str = ""  # the local picture that it makes
    repeated: tuple = (0,)  # how it may end when its work had been done before
    stored_again: dict = field(default_factory=dict)  # what it then adds: it looks for the file's own name only
    stored_twice: dict = field(default_factory=dict)  # the same, where a cloud does not tell what a document holds


LIST = Command("list", ("list",))
UPLOAD = Command("upload", ("upload", "{local}/volume.pdf"), stored={"volume.pdf": "volume.pdf"},
                 stored_twice={"volume (2).pdf": "volume.pdf"})
DOWNLOAD = Command("download", ("download", "atlas.pdf", "--to", "{local}/back"),
                   fetched={"back/atlas.pdf": "atlas.pdf"}, repeated=(0, 6))
PREVIEW = Command("preview", ("preview", "letter.pdf", "--to", "{local}/letter.png"), picture="letter.png",
                  repeated=(0, 6))

COMMANDS = (
    LIST,
    UPLOAD,
    Command("upload under a taken name", ("upload", "{local}/drafts/letter.pdf"),
            stored={"letter (2).pdf": "drafts/letter.pdf"}, stored_again={"letter (3).pdf": "drafts/letter.pdf"}),
    DOWNLOAD,
    Command("download over a file", ("download", "garden plan.pdf", "--to", "{local}/back", "--overwrite"),
            fetched={"back/garden plan.pdf": "garden plan.pdf"}),
    Command("remove", ("remove", "invoice.pdf", "--yes"), removed="invoice.pdf", repeated=(0, 3)),
    PREVIEW,
    Command("quota", ("quota",)),
    Command("status", ("status",)),
)
