#!/usr/bin/env python3
"""check_snippets.py PROJECT COMPILER: checks that each C++ snippet of README.md and docs/ compiles unchanged:
as C++17 if it includes simulated/, otherwise as C++11."""
import pathlib
import re
import subprocess
import sys


def main():
    project, compiler = pathlib.Path(sys.argv[1]), sys.argv[2]
    folders = ("include", "platform/include", "platform/catalogue/include", "platform/simulated/include")
    includes = [f"-I{project / folder}" for folder in folders]
    compiled = bad = 0
    for page in [project / "README.md", *sorted((project / "docs").glob("*.md"))]:
        text = page.read_text(encoding="utf-8")
        for snippet in re.finditer(r"^```cpp\n(.*?)^```$", text, re.M | re.S):
            standard = "c++17" if '"simulated/' in snippet.group(1) else "c++11"
            # With #line, the compiler's messages name the page and its line.
            line = text.count("\n", 0, snippet.start(1)) + 1
            program = f'#line {line} "{page}"\n{snippet.group(1)}'
            command = [compiler, f"-std={standard}", "-Wall", "-Wextra", "-Werror", "-fsyntax-only", *includes, "-x", "c++", "-"]
            bad += subprocess.run(command, input=program, text=True).returncode != 0
            compiled += 1
    print(f"{compiled} snippets, {bad} that do not compile")
    sys.exit(bad != 0 or compiled == 0)


main()
