#!/usr/bin/env python3
"""Converts a file for Doxygen and prints the result.

The headers have ordinary comments. A block of comments right before a declaration documents this declaration, and also
the declarations that follow without an empty line. A comment at the end of a line documents the declaration on this line.
The first block of a file documents the file. All other comments do not document a declaration and stay unchanged.
"""
import html
import os
import re
import sys

COMMENT = re.compile(r"^(\s*)//(?: (.*)|)$")
TRAILING = re.compile(r"^(.*?[;,{})\w]\s*)//( .*)$")
# Ends a run of declarations that share a comment.
END_OF_RUN = re.compile(r"^\s*(//.*|#.*|\}.*|public:|protected:|private:|)$")
# Never part of a run: these declarations have their own comments.
SCOPE = re.compile(r"^\s*(class|struct|enum|union|namespace|extern)\b")


def markup(lines):
    """Returns the comment's text for Doxygen: diagrams stay unchanged, other text is escaped."""
    drawn = False
    out = []
    for line in lines:
        if line != "" and line.startswith("  ") != drawn:
            drawn = not drawn
            out.insert(len(out) if drawn else last_text(out), "~~~~~~{.unparsed}" if drawn else "~~~~~~")
        out.append(line if drawn else re.sub(r"([\\@<>&#%])", r"\\\1", line))
    del out[last_text(out):]
    return out + ["~~~~~~"] if drawn else out


def last_text(lines):
    """Returns the index after the last line that is not empty."""
    end = len(lines)
    while end > 0 and lines[end - 1] == "":
        end -= 1
    return end


def run_length(lines, start):
    """Returns the number of lines from `start` whose declarations share the preceding comment; 0 for a single declaration."""
    end = start
    while end < len(lines) and not END_OF_RUN.match(lines[end]):
        if SCOPE.match(lines[end]) or lines[end].rstrip().endswith("{"):
            return 0
        end += 1
    declarations = sum(1 for line in lines[start:end] if re.search(r"[;,}](\s*//.*)?$", line))
    return end - start if declarations > 1 else 0


def header(lines, name):
    out = []
    i = 0
    in_enum = False
    while i < len(lines):
        match = COMMENT.match(lines[i])
        if not match:
            line = lines[i]
            if re.match(r"^\s*enum\b", line):
                in_enum = True
            trailing = TRAILING.match(line)
            if trailing and not line.lstrip().startswith("#"):
                line = trailing.group(1) + "///< " + " ".join(markup([trailing.group(2).strip()]))
            if in_enum and "}" in line:
                in_enum = False
            out.append(line)
            i += 1
            continue

        block = []
        first = i
        while i < len(lines) and COMMENT.match(lines[i]):
            block.append(COMMENT.match(lines[i]).group(2) or "")
            i += 1
        indent = match.group(1)
        text = [indent + "/// " + line for line in markup(block)]
        following = lines[i] if i < len(lines) else ""
        if first == 0:
            out += ["/// \\file " + name, "///"] + text
        elif following.strip() == "" or following.lstrip().startswith("#") or following.strip() == "}":
            out += lines[first:i]
        else:
            length = 0 if in_enum else run_length(lines, i)
            if length == 0:
                out += text
            else:
                out += [indent + "///@{"] + text
                out += lines[i:i + length]
                out += [indent + "///@}"]
                i += length
    return out


LINK = re.compile(r"(?<!!)\[([^\]]*)\]\(([^)#:]*)(?:#([^)]*))?\)")
HEADING = re.compile(r"^(##+ )(.*)$")
CODE = re.compile(r"`([^`]+)`")


def anchor(path, heading):
    """Returns the anchor of a heading by the rules of GitHub, with the name of the page as prefix."""
    name = re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")
    return os.path.splitext(os.path.basename(path))[0].lower() + "-" + name


def page(lines, path):
    """Keeps links to pages and headings, and replaces links to other files by their text. Converts code with ' or %,
    which Doxygen interprets between backticks, unlike Markdown."""
    def shown(match):
        text, file, heading = match.groups()
        target = os.path.normpath(os.path.join(os.path.dirname(path), file)) if file else path
        if not target.endswith(".md") or not os.path.exists(target):
            return text
        return f"[{text}](#{anchor(target, heading)})" if heading else match.group(0)

    def plain(match):
        if not re.search("['%]", match.group(1)):
            return match.group(0)
        return "<code>" + html.escape(match.group(1), quote=False).replace("%", r"\%") + "</code>"

    fenced = False
    out = []
    for line in lines:
        if line.startswith("```"):
            fenced = not fenced
        elif not fenced and (heading := HEADING.match(line)):
            line += " {#" + anchor(path, heading.group(2)) + "}"
        out.append(line if fenced else CODE.sub(plain, LINK.sub(shown, line)))
    return out


def main():
    path = sys.argv[1]
    with open(path, encoding="utf-8") as file:
        lines = file.read().splitlines()
    if path.endswith(".md"):
        lines = page(lines, path)
    else:
        lines = header(lines, os.path.basename(path))
    print("\n".join(lines))


main()
