#!/usr/bin/env python3
"""check.py PROJECT XML: checks that Doxygen's XML has the comment of each operation of the public headers."""
import collections
import pathlib
import re
import sys
import xml.etree.ElementTree

COMMENT = re.compile(r"^\s*//(?: (.*)|)$")
NAME = re.compile(r"(operator ?[^(\s]+(?: [\w:<>]+)*|~?\w+)\(")


def words(text):
    return re.sub(r"[^a-z0-9]+", "", text.lower())


def comments(path):
    """Yields each comment before declarations, its line, and the operations that are declared there."""
    lines = path.read_text(encoding="utf-8").splitlines()
    i = 0
    while i < len(lines):
        first = i
        text = []
        while i < len(lines) and COMMENT.match(lines[i]):
            text.append(COMMENT.match(lines[i]).group(1) or "")
            i += 1
        if i == first:
            i += 1
            continue
        indent = re.match(r"^\s*", lines[first]).group(0)
        names = []
        while i < len(lines) and lines[i].strip() and not COMMENT.match(lines[i]):
            declaration = re.sub(r"\s*//.*", "", lines[i])
            if re.match(indent + r"\S", lines[i]) and not re.match(
                    r"\s*(using|typedef|template|class|struct|#)", lines[i]):
                names += NAME.findall(declaration)[:1]
            if re.match(r"\s*(class|struct|enum|public:|protected:|private:)", lines[i]):
                break
            i += 1
        # Preprocessor lines are not declarations.
        following = lines[min(first + len(text), len(lines) - 1)].strip()
        if first == 0 or (following and not following.startswith("#")):
            yield " ".join(text), first + 1, names


def main():
    project, xml_dir = map(pathlib.Path, sys.argv[1:])
    of_operation = collections.defaultdict(list)
    of_file = collections.defaultdict(str)
    for page in xml_dir.glob("*.xml"):
        for element in xml.etree.ElementTree.parse(page).getroot().iter():
            if element.tag not in ("memberdef", "compounddef", "enumvalue"):
                continue
            text = words("".join("".join(part.itertext()) for tag in ("briefdescription", "detaileddescription")
                                 for part in element.findall(tag)))
            location = element.find("location")
            if location is None:
                continue
            of_file[location.get("file")] += " " + text
            if element.tag == "memberdef":
                of_operation[location.get("file"), element.find("name").text.replace(" ", "")].append(text)

    bad = 0
    seen = 0
    include = project / "include"
    for header in sorted(include.rglob("*.h")):
        name = str(header.relative_to(include))
        for text, line, operations in comments(header):
            seen += len(operations)
            wanted = words(text)
            if wanted not in of_file[name]:
                print(f"include/{name}:{line}: not rendered: {text[:60]}")
                bad += 1
                continue
            for operation in operations:
                if not any(wanted in rendered for rendered in of_operation[name, operation.replace(" ", "")]):
                    print(f"include/{name}:{line}: not rendered at {operation}(): {text[:60]}")
                    bad += 1
    print(f"{seen} operations with a comment, {bad} without it in the pages")
    sys.exit(bad != 0 or seen < 100)


main()
