"""What came out of it, for people."""

from dataclasses import dataclass, field


@dataclass
class Findings:
    """Of one source."""
    path: str
    caught: int = 0
    survivors: list = field(default_factory=list)  # of Fault

    def count(self, fault, seen_by):
        """What is no fault does not count."""
        if seen_by:
            self.caught += 1
        elif seen_by is not None:
            self.survivors.append(fault)

    @property
    def faults(self):
        return self.caught + len(self.survivors)


def text_of(all_findings, sources):
    lines = ["| file | faults | caught | share |", "| --- | --- | --- | --- |"]
    lines += [_row(found.path, found.faults, found.caught) for found in all_findings]
    if len(all_findings) > 1:
        lines.append(_row("all", sum(found.faults for found in all_findings),
                          sum(found.caught for found in all_findings)))
    for found in all_findings:
        lines += [_survivor(found.path, fault, sources[found.path]) for fault in found.survivors]
    return "\n".join(lines)


def change_of(fault, source):
    """The lines of the fault, before and after."""
    begin = source.rfind("\n", 0, fault.begin) + 1
    end = source.find("\n", fault.end)
    before = source[begin:end]
    after = source[begin:fault.begin] + fault.text + source[fault.end:end]
    return _one_line(before), _one_line(after)


def _row(name, faults, caught):
    return f"| {name} | {faults} | {caught} | {f'{caught / faults:.0%}' if faults else '–'} |"


def _survivor(path, fault, source):
    before, after = change_of(fault, source)
    return f"\n{path}:{fault.line}: {fault.rule}\n  - {before}\n  + {after}"


def _one_line(text):
    return " ".join(text.split())
