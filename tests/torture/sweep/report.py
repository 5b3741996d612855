"""Where the table ends up: on the terminal, and in the document about reliability."""

import os
import platform

_BEGIN = "<!-- What follows is written by scripts/torture --write. -->\n"
_END = "<!-- Here ends what scripts/torture has written. -->\n"


def text_of(results, options, seconds):
    return "\n".join((_conditions(results, options, seconds), "", *_table(results), *_losses(results, options))) + "\n"


def write_into(document, text):
    before, _, rest = document.read_text().partition(_BEGIN)
    _, found, after = rest.partition(_END)
    if not found:
        raise ValueError(f"{document} has no place for the table")
    document.write_text(before + _BEGIN + "\n" + text + "\n" + _END + after)


def _conditions(results, options, seconds):
    size = "A sample. " if options.quick else ""
    return (f"{size}{len(results):,} trials in {seconds / 60:.0f} min, seed {options.seed}; "
            f"{os.cpu_count()} processors, Linux {_kernel()}.")


def _kernel():
    """Its major and minor version; the rest names one machine's build."""
    return ".".join(platform.release().split(".")[:2])


def _table(results):
    clouds = [cloud for cloud in _CLOUDS if any(result.trial.cloud == cloud for result in results)]
    groups = sorted({result.trial.group for result in results})
    yield _row("what went wrong", *(_CLOUDS[cloud] for cloud in clouds), "lost")
    yield _row(*["---"] * (len(clouds) + 2))
    for group in groups:
        ours = [result for result in results if result.trial.group == group]
        yield _row(group, *_counts(ours, clouds), _verdict(ours))
    yield _row("all", *_counts(results, clouds), _verdict(results))


_CLOUDS = {"folder": "folder", "crowded": "folder, long list", "apache": "Apache", "rclone": "rclone",
           "hostile": "scripted server"}


def _counts(results, clouds):
    for cloud in clouds:
        count = sum(result.trial.cloud == cloud for result in results)
        yield f"{count:,}" if count else ""


def _verdict(results):
    lost = sum(bool(result.losses) for result in results)
    return f"**{lost:,}**" if lost else "nothing"


def _row(*cells):
    return "| " + " | ".join(cells) + " |"


def _losses(results, options):
    bad = [result for result in results if result.losses]
    again = f"scripts/torture{' --quick' if options.quick else ''} --seed {options.seed} --only"
    if bad:
        yield ""
    for result in bad:
        yield f"- `{again} \"{result.trial}\"`: {'; '.join(' '.join(loss.split()) for loss in result.losses)}"
