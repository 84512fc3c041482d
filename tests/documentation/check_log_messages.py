#!/usr/bin/env python3
"""check_log_messages.py PROJECT [--list]: checks that docs/log-messages.md has exactly the messages that the library
logs. A row is: level | file | function | message | what it means | what to do. --list prints the messages."""
import pathlib
import re
import sys

CALL = re.compile(r"\bLOG_(ERROR|INFO)(_AS)?\(")
# The first line of a function, in the first column or indented in a class.
DEFINITION = re.compile(r"^(?:[A-Za-z].*?(~?\w+)\((?!.*;\s*$)|    [A-Za-z][\w:<>*& ]* (~?\w+)\(.*\{$)")
KEYWORDS = {"if", "for", "while", "switch", "catch"}


def arguments(text, start):
    """The source text of the arguments of a call whose parenthesis opened before `start`."""
    depth, quoted, escaped = 1, False, False
    parts = [""]
    for char in text[start:]:
        if quoted:
            quoted = escaped or char != '"'
            escaped = char == "\\" and not escaped
        elif char == '"':
            quoted = True
        elif char in "([{":
            depth += 1
        elif char in ")]}":
            depth -= 1
            if depth == 0:
                break
        elif char == "," and depth == 1:
            parts.append("")
            continue
        parts[-1] += char
    return [part.strip() for part in parts]


def function_before(text):
    name = ""
    for line in text.splitlines():
        match = DEFINITION.match(line)
        if match and (match.group(1) or match.group(2)) not in KEYWORDS:
            name = match.group(1) or match.group(2)
    return name


def logged(project):
    """(level, file, function, message) of each call; the function is empty if it is a parameter or a variable."""
    found = set()
    for path in sorted((project / "source").rglob("*.cpp")):
        text = path.read_text(encoding="utf-8")
        for call in CALL.finditer(text):
            parts = arguments(text, call.end())
            if call.group(2):
                name = parts.pop(0)
                function = name.strip('"') if name.startswith('"') else ""
            else:
                function = function_before(text[:call.start()])
            literals = re.findall(r'"((?:[^"\\]|\\.)*)"', parts[0]) if parts else []
            if not literals:
                sys.exit(f"{path}: a call that this check does not understand: {call.group(0)}{parts}")
            found.add((call.group(1).lower(), path.name, function, "".join(literals).replace("\\n", "").rstrip()))
    for kind in ("LOG_RETURN_VALUE(", "LOG_RETURN("):
        for path in sorted((project / "source").rglob("*.cpp")):
            text = path.read_text(encoding="utf-8")
            for at in re.finditer(re.escape(kind), text):
                message = "[%s][%d] val(%d) RETURN" if "VALUE" in kind else "[%s][%d] RETURN"
                found.add(("trace", path.name, function_before(text[:at.start()]), message))
    found.add(("trace", "every file", "", "[%s][%d] ENTER"))
    return found


def documented(project):
    rows = []
    for line in (project / "docs/log-messages.md").read_text(encoding="utf-8").splitlines():
        cells = [cell.strip() for cell in re.split(r"(?<!\\)\|", line)[1:-1]]
        if len(cells) != 6 or cells[0] not in ("error", "info", "trace"):
            continue
        if not cells[4]:
            sys.exit(f"docs/log-messages.md: nothing is said about what this means: {line}")
        if cells[0] == "error" and not cells[5]:
            sys.exit(f"docs/log-messages.md: nothing is said about what to do: {line}")
        rows.append((cells[0], cells[1], re.findall(r"`([^`]*)`", cells[2]), cells[3].strip("`")))
    return rows


def main():
    project = pathlib.Path(sys.argv[1])
    wanted = logged(project)
    if sys.argv[2:] == ["--list"]:
        for entry in sorted(wanted, key=lambda entry: (entry[1], entry[0], entry[3], entry[2])):
            print(" | ".join(entry))
        return
    rows = documented(project)
    bad = 0
    for level, file, function, message in sorted(wanted):
        if not any(row[0] == level and row[1] == file and row[3] == message and (not function or function in row[2])
                   for row in rows):
            print(f"docs/log-messages.md lacks: {level} | {file} | {function} | {message}")
            bad += 1
    for level, file, functions, message in rows:
        known = {entry[2] for entry in wanted if (entry[0], entry[1], entry[3]) == (level, file, message)}
        # If the function is a parameter or a variable, the client's call determines it, so any name is accepted.
        gone = not known or ("" not in known and set(functions) - known)
        if gone:
            print(f"docs/log-messages.md has what is not logged: {level} | {file} | {functions} | {message}")
            bad += 1
    print(f"{len(wanted)} messages, {len(rows)} rows, {bad} differences")
    sys.exit(bad != 0 or len(wanted) < 50)


main()
