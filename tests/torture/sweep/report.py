"""Where the table ends up: on the terminal, and in the document about reliability."""

import platform
import os

_BEGIN = "<!-- What follows is written by scripts/torture --write. -->\n"
_END = "<!-- Here ends what scripts/torture has written. -->\n"


def text_of(results, options, seconds):
    return "\n".join((_conditions(results, options, seconds), "", *_table(results), *_losses(results))) + "\n"


def write_into(document, text):
    before, _, rest = document.read_text().partition(_BEGIN)
    _, found, after = rest.partition(_END)
    if not found:
        raise ValueError(f"{document} has no place for the table")
    document.write_text(before + _BEGIN + "\n" + text + "\n" + _END + after)


def _conditions(results, options, seconds):
    size = "A sample. " if options.quick else ""
    return (f"{size}{len(results):,} trials in {seconds / 60:.0f} min, seed {options.seed}; "
            f"{os.cpu_count()} processors, Linux {platform.release()}.")


def _table(results):
    clouds = list(dict.fromkeys(result.trial.cloud for result in results))
    clouds.sort(key=_CLOUDS.index)
    groups = sorted(dict.fromkeys(result.trial.group for result in results))
    yield _row("what went wrong", *clouds, "lost")
    yield _row(*["---"] * (len(clouds) + 2))
    for group in groups:
        ours = [result for result in results if result.trial.group == group]
        counts = [sum(result.trial.cloud == cloud for result in ours) for cloud in clouds]
        yield _row(group, *(f"{count:,}" if count else "" for count in counts), _verdict(ours))
    yield _row("all", *(f"{sum(result.trial.cloud == cloud for result in results):,}" for cloud in clouds),
               _verdict(results))


_CLOUDS = ["folder", "crowded", "apache", "rclone", "hostile"]


def _verdict(results):
    lost = sum(bool(result.losses) for result in results)
    return f"**{lost:,}**" if lost else "nothing"


def _row(*cells):
    return "| " + " | ".join(cells) + " |"


def _losses(results):
    bad = [result for result in results if result.losses]
    if bad:
        yield ""
    for result in bad:
        yield f"- `scripts/torture --only \"{result.trial}\"`: {'; '.join(line.strip() for line in result.losses)}"
