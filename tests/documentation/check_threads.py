#!/usr/bin/env python3
"""check_threads.py PROJECT: checks that docs/threading.md defines exactly the thread names that the public headers
use."""
import pathlib
import re
import sys

# Words before "thread" that do not name a particular thread.
ORDINARY = {"a", "another", "between", "calling", "its", "no", "of", "on", "other", "several", "starts", "the", "these",
            "two", "workers'", "ends"}


def main():
    project = pathlib.Path(sys.argv[1])
    page = (project / "docs/threading.md").read_text(encoding="utf-8")
    table = page[page.index("| word |"):].split("\n\n")[0].splitlines()[2:]
    words = {row.split("|")[1].strip() for row in table}
    endings = {" ".join(word.split()[-2:]) for word in words} | {word + " thread" for word in words}

    bad = 0
    used = ""
    for header in sorted((project / "include").rglob("*.h")):
        comments = " ".join(re.findall(r"//(.*)", header.read_text(encoding="utf-8")))
        comments = re.sub(r"\s+", " ", comments).lower()
        used += comments
        for before in re.findall(r"([\w'-]+) threads?\b", comments):
            if before not in ORDINARY and before + " thread" not in endings:
                print(f"{header.relative_to(project)}: '{before} thread' is not in the table of docs/threading.md")
                bad += 1
    for word in sorted(words):
        if word not in used:
            print(f"docs/threading.md: no header says '{word}'")
            bad += 1
    print(f"{len(words)} words, {bad} differences")
    sys.exit(bad != 0 or len(words) < 5)


main()
