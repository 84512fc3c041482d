"""A private television: `aipq-television run`, and programs that enter it."""

import os
import shutil
import subprocess
import tempfile
import threading
from typing import Dict, List, Sequence, Union

from .bus import TelevisionError

__tracebackhide__ = True

PathText = Union[str, "os.PathLike[str]"]

_PROGRAM = "aipq-television"
END_LIMIT = 30.0
# Prints the data for entering the namespace. Ends with this process, which holds the other end of the pipe.
_KEEPER = 'printf "%s\\n" "$$" "$AIPQ_TV" "$AIPQ_TV_FOLDER"; exec cat >/dev/null'


class Run:
    """A process `aipq-television run`. Its command only waits for end()."""

    def __init__(self, options: Sequence[str]) -> None:
        self._log = tempfile.TemporaryFile()
        self._errors = tempfile.TemporaryFile()
        self._ending = False
        log = self._log.fileno()
        try:
            # A new session keeps the terminal's Ctrl-C away from the television.
            self._process = subprocess.Popen(
                [_PROGRAM, "run", "--log", f"/proc/self/fd/{log}", *options, "--", "sh", "-c", _KEEPER],
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=self._errors,
                text=True,
                pass_fds=[log],
                start_new_session=True,
            )
        except OSError as error:
            why = f"cannot execute '{_PROGRAM}': {error.strerror}: install the package {_PROGRAM}"
            raise TelevisionError(why) from None
        assert self._process.stdin and self._process.stdout
        with self._process.stdout as output:
            keeper, self.address, folder = (output.readline().rstrip("\n") for _ in range(3))
        if not folder:
            self._process.stdin.close()
            raise TelevisionError(self.describe_end())
        self.environment = {"AIPQ_TV": self.address, "AIPQ_TV_FOLDER": folder}
        self._enter = ["nsenter", f"--target={keeper}", "--ipc"]
        if os.readlink(f"/proc/{keeper}/ns/user") != os.readlink("/proc/self/ns/user"):
            self._enter += ["--user", "--preserve-credentials"]

    def command(self, words: Sequence[PathText], environment: Dict[str, str]) -> List[PathText]:
        """Returns a command that enters the television's IPC namespace and executes these words."""
        program = os.fspath(words[0])
        if not shutil.which(program, path=environment.get("PATH")) and os.sep not in program:
            raise FileNotFoundError(f"there is no program '{program}' on the PATH")
        # The signal is sent when the starting thread ends. Only the main thread lives as long as the process.
        if threading.current_thread() is not threading.main_thread():
            return [*self._enter, "--", *words]
        # This process may have ended before setpriv set the signal.
        unless_ended = ["sh", "-c", 'test $PPID = "$0" && exec "$@"', str(os.getpid())]
        return [*self._enter, "--", "setpriv", "--pdeathsig", "KILL", "--", *unless_ended, *words]

    def log(self) -> str:
        size = os.fstat(self._log.fileno()).st_size
        return os.pread(self._log.fileno(), size, 0).decode(errors="replace")

    def describe_end(self) -> str:
        """Waits for the television's end. Returns the reason."""
        try:
            code = self._process.wait(END_LIMIT)
        except subprocess.TimeoutExpired:
            return "the television does not answer"
        errors = os.pread(self._errors.fileno(), 4096, 0).decode(errors="replace").strip()
        return errors.replace(f"{_PROGRAM}: ", "") or f"the television ended with exit code {code}"

    def end(self) -> str:
        """Ends the television. Returns the error that occurred, or an empty text."""
        assert self._process.stdin
        self._process.stdin.close()
        try:
            return self.describe_end() if self._process.wait(END_LIMIT) else ""
        except subprocess.TimeoutExpired:
            # A forked process still holds the pipe to the keeper's standard input.
            self._process.terminate()
            self._process.wait()
            return ""
