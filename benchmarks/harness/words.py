"""Numbers as people read them."""


def count_text(count, noun="files"):
    return f"{count:,} {noun}"


def size_text(size):
    for unit, name in ((1 << 30, "GiB"), (1 << 20, "MiB"), (1000, "KB")):
        if size >= unit:
            return f"{size / unit:g} {name}"
    return f"{size} bytes"
