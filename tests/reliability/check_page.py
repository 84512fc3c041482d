#!/usr/bin/env python3
"""check_page.py PAGE TESTS: checks that PAGE lists every kind of failure for every interface, and that every test named
in PAGE exists in TESTS."""
import pathlib
import re
import sys

WAYS = ["refuses", "late", "never", "twice", "reordered", "wrong type", "dies", "full", "other geometry",
        "other rights"]
SEAMS = 15


def main():
    page, folder = map(pathlib.Path, sys.argv[1:])
    sources = "".join(path.read_text(encoding="utf-8") for path in folder.rglob("*_test.cpp"))
    defined = {".".join(names) for names in re.findall(r"^(?:TYPED_)?TEST(?:_[FP])?\((\w+),\s*(\w+)\)", sources, re.M)}
    seams = page.read_text(encoding="utf-8").split("\n## ")[1:]
    errors = [] if len(seams) == SEAMS else [f"{len(seams)} seams instead of {SEAMS}"]
    for seam in seams:
        title = seam.splitlines()[0]
        rows = re.findall(r"^\| ([^|]+) \| [^|]+ \| ([^|]+) \|$", seam, re.MULTILINE)[1:]
        if [way for way, _ in rows] != WAYS:
            errors.append(f"{title}: the ways are {[way for way, _ in rows]} instead of {WAYS}")
        for way, cell in rows:
            tests = re.findall(r"`([^`]+)`", cell)
            if not tests and cell != "–":
                errors.append(f"{title}, {way}: '{cell}' is neither a test nor '–'")
            errors += [f"{title}, {way}: no test is named {test}" for test in tests if test not in defined]
    sys.exit("\n".join(errors) or None)


main()
