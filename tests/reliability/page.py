#!/usr/bin/env python3
"""page.py PAGE PROGRAM... [--write]: whether PAGE is what the programs say of their faults; --write makes it so."""
import pathlib
import subprocess
import sys

SEAMS = {
    "TheProcessFramework": "process framework", "TheSubscription": "connect", "TheTypeQuery": "type", "TheRead": "read",
    "TheWrite": "write", "TheNotification": "notification", "TheAction": "action", "TheTable": "table",
    "TheIterator": "iterator", "TheApplicationManager": "application manager", "TheThreadCreation": "thread creation",
    "TheQueue": "queue", "TheSegment": "segment", "ThePipelineProcess": "pipeline process",
    "TheDebugOutput": "debug output",
}
WAYS = {
    "Refuses": "refuses", "IsLate": "late", "NeverAnswers": "never", "AnswersTwice": "twice",
    "IsOutOfOrder": "reordered", "IsOfAnotherType": "wrong type", "Dies": "dies", "IsFull": "full",
    "HasAnotherGeometry": "other geometry", "HasOtherRights": "other rights",
}
LEAST_TESTED = 60

HEAD = """# Reliability

What a client of the library sees when a part of the television fails. Each seam between the library and the television
stands against each way of failing; each cell is a test in `tests/reliability/`, or the reason why there is no such
failure. A test brings the fault about, shows what is said here, takes the fault away, and shows that the next request
works.

This page is made from the tests, and a test compares it with them. After a change there,
`cmake --build --preset release --target reliability_page` writes it anew.
"""


def cells_of(programs):
    cells = {}
    for program in programs:
        lines = subprocess.run([program, "--cells"], check=True, capture_output=True, text=True).stdout.splitlines()
        for line in lines:
            seam, way, kind, text = line.split("\t")
            if seam not in SEAMS or way not in WAYS:
                sys.exit(f"{seam}.{way} is no cell of the table")
            if (seam, way) in cells:
                sys.exit(f"{seam}.{way} is there twice")
            cells[seam, way] = (kind == "test", text)
    missing = [f"{seam}.{way}" for seam in SEAMS for way in WAYS if (seam, way) not in cells]
    if missing:
        sys.exit("no cell for " + ", ".join(missing))
    return cells


def page_of(cells):
    tested = sum(is_tested for is_tested, _ in cells.values())
    if tested < LEAST_TESTED:
        sys.exit(f"only {tested} cells are tested")
    lines = [HEAD, f"{tested} of {len(cells)} cells are tested; of the others the page says why there is nothing to test.",
             "", "| seam | " + " | ".join(WAYS.values()) + " |", "|---|" + "---|" * len(WAYS)]
    for seam, title in SEAMS.items():
        marks = " | ".join("test" if cells[seam, way][0] else "–" for way in WAYS)
        lines.append(f"| {title} | {marks} |")
    for seam, title in SEAMS.items():
        lines += ["", f"## {title[0].upper()}{title[1:]}", "", "| way | what the client sees | test |", "|---|---|---|"]
        for way, name in WAYS.items():
            is_tested, text = cells[seam, way]
            lines.append(f"| {name} | {text} | {f'`{seam}.{way}`' if is_tested else '–'} |")
    return "\n".join(lines) + "\n"


def main():
    arguments = [argument for argument in sys.argv[1:] if argument != "--write"]
    page = pathlib.Path(arguments[0])
    wanted = page_of(cells_of(arguments[1:]))
    if "--write" in sys.argv:
        page.write_text(wanted, encoding="utf-8")
    elif not page.exists() or page.read_text(encoding="utf-8") != wanted:
        sys.exit(f"{page.name} is not what the tests say: build the target reliability_page, and look at the difference")


main()
