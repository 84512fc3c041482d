#!/usr/bin/env python3
"""check_commands.py PROJECT PAGE: checks that the commands of PAGE print the shown output. Runs them in a new folder, in
the order of the page, on the television of `aipq-television run`. A command starts with "$ ", in a block without a
language or with the language `console`; its output follows. Only these differences are allowed:

- a line "..." means any number of lines
- any time in s or ms, any folder of a bus, any token of the page"""
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading

# The commands that the test does not run, by their beginning, with the reason.
NOT_RUN = {
    "aipq-television --screen 8080": "another program may use the port",
    "aipq-television\n": "the television of `run` has its name",
    "aipq-television run -- sh -c 'echo $$": "runs in the background of an interactive shell",
    "nsenter": "needs the process number of the command in the background",
    "export": "the environment is that of `run`",
    "systemctl": "needs systemd",
    "journalctl": "needs systemd",
    "curl": "needs the page",
    "apt-get": "installs packages",
    "pytest": "the tests of the Python module run it",
    "aipqctl capture --format rgb": "endless, and opens a window",
    "busctl --user monitor": "endless",
}
# An endless command receives SIGINT when it has printed the shown output.
ENDLESS = {"aipq-television --name kitchen"}
# Parts of the output that vary.
ANY = [r"\d+(\.\d+)?(?= m?s\b)", r"(?<=unix:path=)\S+(?=/)", r"(?<=token=)\w+"]
LIMIT = 120  # seconds for one command


def pattern(shown):
    lines = []
    for line in shown.splitlines():
        if line == "...":
            lines.append(r"(?:.*\n)*?")
            continue
        for varying in ANY:
            line = re.sub(varying, "\0", line)
        # A number is right-aligned: the spaces before it vary with its length.
        lines.append(re.sub(r"(?:\\ )*\0", r" *\\S+", re.escape(line).replace("\\\0", "\0")) + r"\n")
    return "".join(lines)


def commands(page):
    """The pairs (command, output) in the page."""
    for block in re.findall(r"^```(?:console)?\n(\$ .*?)^```$", page, re.M | re.S):
        for part in re.split(r"^\$ ", block, flags=re.M)[1:]:
            command, _, shown = part.partition("\n")
            yield command, shown


def print_of(command, variables, wanted, folder):
    """Returns the output of the command. Ends an endless command when the output matches `wanted`."""
    program = subprocess.Popen(["sh", "-c", variables + command], cwd=folder, text=True, stdout=subprocess.PIPE,
                               stderr=subprocess.STDOUT, start_new_session=True)
    alarm = threading.Timer(LIMIT, os.killpg, (program.pid, signal.SIGKILL))
    alarm.start()
    printed = ""
    for line in program.stdout:
        printed += line
        if command in ENDLESS and wanted.fullmatch(printed):
            os.killpg(program.pid, signal.SIGINT)
    program.wait()
    alarm.cancel()
    return printed


def main():
    project, page = pathlib.Path(sys.argv[1]), sys.argv[2]
    os.environ["DBUS_SESSION_BUS_ADDRESS"] = os.environ["AIPQ_TV"]  # for `busctl --user`
    compared = left = bad = 0
    variables = ""
    with tempfile.TemporaryDirectory() as folder:
        for linked in ("platform", "platform/simulated/scenario/examples/late-answers.toml"):
            os.symlink(project / linked, pathlib.Path(folder) / pathlib.Path(linked).name)
        for command, shown in commands((project / page).read_text(encoding="utf-8")):
            if any((command + "\n").startswith(beginning) for beginning in NOT_RUN):
                left += 1
                continue
            if re.match(r"\w+=", command):
                variables += command + "; "
                continue
            wanted = re.compile(pattern(shown))
            printed = print_of(command, variables, wanted, folder)
            compared += 1
            if not wanted.fullmatch(printed):
                print(f"{page}: $ {command}\n--- shows\n{shown}--- but it prints\n{printed}")
                bad += 1
    print(f"{compared} commands, {left} not run, {bad} differences")
    sys.exit(bad != 0 or compared == 0)


main()
