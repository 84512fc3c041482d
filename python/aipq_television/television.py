"""The simulated television for tests."""

import os
import subprocess
import time
from pathlib import Path
from typing import Any, Callable, Dict, List, NamedTuple, Optional, Sequence, Type, Union

from .bus import OBJECT, Bus, TelevisionError, locate, object_path
from .picture import Picture
from .run import END_LIMIT, PathText, Run

Value = Union[int, str, List[int], List[str], List[List[str]]]

# pytest omits the frames of this module from a traceback.
__tracebackhide__ = True

_TELEVISION = "aipq.Television"
_SCENARIOS = "aipq.television.Scenarios"
_REMOTE_CONTROL = {
    "play": ("SetPlaying", "b", True),
    "pause": ("SetPlaying", "b", False),
    "channel_up": ("SelectChannel", "s", "+1"),
    "channel_down": ("SelectChannel", "s", "-1"),
}
# The property that holds a key's value, by interface.
_PROPERTIES = {"aipq.television.Value": "Value", "aipq.television.Table": "Rows"}
_TYPES = {
    "i": "a whole number of 32 bits",
    "x": "a whole number of 64 bits",
    "s": "a text",
    "ai": "a list of whole numbers of 32 bits",
    "as": "a list of texts",
    "aas": "a list of rows, each a list of texts",
}


class WaitTimeout(TelevisionError, TimeoutError):
    """A key did not get the expected value in time, or a scenario did not end in time."""


class _Key(NamedTuple):
    name: str
    interface: str
    signature: str

    @property
    def path(self) -> str:
        return object_path(self.name)


def _fits(signature: str, value: Any) -> bool:
    if signature.startswith("a"):
        return isinstance(value, list) and all(_fits(signature[1:], element) for element in value)
    if signature == "s":
        return isinstance(value, str)
    bits = 31 if signature == "i" else 63
    return isinstance(value, int) and -(2**bits) <= value < 2**bits


class Fault:
    """An active fault. remove() or the end of its `with` block removes it."""

    def __init__(self, restore: Callable[[], Any]) -> None:
        self._restore: Optional[Callable[[], Any]] = restore

    def remove(self) -> None:
        restore, self._restore = self._restore, None
        if restore:
            restore()

    def __enter__(self) -> "Fault":
        return self

    def __exit__(self, *_: Any) -> None:
        self.remove()


class Scenario:
    """A running scenario. The `with` block waits for its end, or stops it if the block fails."""

    def __init__(self, bus: Bus, file: PathText, speed: float) -> None:
        self._bus: Optional[Bus] = bus  # None after the end
        self._name = os.fspath(file)
        text = Path(file).read_text(encoding="utf-8")
        self._serial = bus.send(f"{OBJECT}/scenarios", _SCENARIOS, "Play", "ssd", self._name, text, speed)

    def wait(self, timeout: Optional[float] = None) -> None:
        """Waits for the scenario's end. Raises TelevisionError if it is malformed or has failed."""
        bus, self._bus = self._bus, None
        if not bus:
            return
        try:
            outcome, why = bus.answer(self._serial, timeout)
        except TimeoutError:
            self._bus = bus
            raise WaitTimeout(f"the scenario {self._name} did not end within {timeout:g} s") from None
        finally:
            if not self._bus:
                bus.close()
        if outcome == "failed":
            raise TelevisionError(f"the scenario failed: {why}")

    def stop(self) -> None:
        """Stops the scenario before its next step."""
        if self._bus:
            self._bus.send(f"{OBJECT}/scenarios", _SCENARIOS, "Stop")

    def __enter__(self) -> "Scenario":
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], *_: Any) -> None:
        if kind:
            self.stop()
        self.wait()


class Television:
    """A television. Television() starts a private one; Television.attach() connects to a running one.

    A key may be shortened to its last words, for example "brightness", if no other key ends with them. Every operation
    raises TelevisionError with a message of one line; after the television's end, its subclass TelevisionGone. Use an
    object in one thread at a time.
    """

    def __init__(
        self,
        video: PathText = "scenes",
        scenario: Optional[PathText] = None,
        catalogue: Optional[PathText] = None,
    ) -> None:
        """Starts a private television in a new IPC namespace. close() ends it.

        video      the film that it shows, "scenes", or "off"
        scenario   a file to play from the start; its first steps that do not wait are done before this returns
        catalogue  a file of keys that replaces the built-in catalogue
        """
        options = {"--video": video, "--scenario": scenario, "--catalogue": catalogue}
        run = Run([f"{name}={os.fspath(file)}" for name, file in options.items() if file is not None])
        self._use(run, run.address)
        if catalogue is not None:
            self.environment["AIPQ_TV_CATALOGUE"] = os.path.abspath(catalogue)

    @classmethod
    def attach(cls, television: Optional[str] = None) -> "Television":
        """Connects to a running television: NAME, ADDRESS or NAME@ADDRESS; by default the one in AIPQ_TV."""
        attached = cls.__new__(cls)
        attached._use(None, television or os.environ.get("AIPQ_TV") or "living-room")
        return attached

    def _use(self, run: Optional[Run], place: str) -> None:
        self._run = run
        self._place = place
        self._programs: List["subprocess.Popen[Any]"] = []
        self._end_is_known = False
        # The environment variables by which programs find the television.
        self.environment: Dict[str, str] = run.environment if run else {"AIPQ_TV": place}
        try:
            self._bus = Bus(*locate(place), self._describe_end)
            objects, = self._bus.call(OBJECT, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects")
        except BaseException:
            if run:
                run.end()
            raise
        self._keys = sorted(
            _Key(interfaces["aipq.television.Key"]["Name"][1], name, interfaces[name][property_][0])
            for interfaces in objects.values()
            for name, property_ in _PROPERTIES.items()
            if name in interfaces
        )

    def close(self) -> None:
        """Ends the programs that start() started, and a private television. Raises TelevisionError if it had ended."""
        for program in self._programs:
            program.terminate()
        for program in self._programs:
            try:
                program.wait(END_LIMIT)
            except subprocess.TimeoutExpired:
                program.kill()
                program.wait()
        self._programs.clear()
        self._bus.close()
        run, known = self._run, self._end_is_known
        self._end_is_known = True
        problem = run.end() if run else ""
        if problem and not known:
            raise TelevisionError(problem)

    def __enter__(self) -> "Television":
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    # Keys

    def get(self, key: str) -> Any:
        """Returns the value of a key: a number, a text or a list of them; for a table, its rows."""
        found = self._find(key)
        return self._bus.get(found.path, found.interface, _PROPERTIES[found.interface])

    def set(self, key: str, value: Value) -> None:
        """Sets the value of a key, like the television itself."""
        found = self._find(key)
        if not _fits(found.signature, value):
            raise TelevisionError(f"{found.name} takes {_TYPES[found.signature]}, not {value!r}")
        self._bus.set(found.path, found.interface, _PROPERTIES[found.interface], found.signature, value)

    def wait_for(self, key: str, value: Union[Value, Callable[[Any], bool]], timeout: float = 10) -> Any:
        """Waits until a key has the value, or until the function `value` returns true for it. Returns the value.

        Follows the television's notifications. Raises WaitTimeout after `timeout` seconds.
        """
        found = self._find(key)
        limit = time.monotonic() + timeout
        with self._bus.following(found.path):
            last = self.get(found.name)
            while not (value(last) if callable(value) else value == last):
                try:
                    name, new = self._bus.next_change(limit)
                except TimeoutError:
                    self.get(found.name)  # raises if the television has ended
                    wanted = getattr(value, "__name__", repr(value))
                    what = f"{found.name} did not become {wanted} within {timeout:g} s; its last value is {last!r}"
                    raise WaitTimeout(what) from None
                if name == _PROPERTIES[found.interface]:
                    last = new
        return last

    # The remote control, power, and the picture

    def press(self, key: Union[str, int]) -> None:
        """Presses a key of the remote control: "play", "pause", "channel_up", "channel_down", or a channel's number."""
        text = str(key)
        if text not in _REMOTE_CONTROL and not text.isdecimal():
            keys = ", ".join(_REMOTE_CONTROL)
            raise TelevisionError(f"the remote control has no key '{text}', but {keys}, and the numbers of channels")
        self._call(*_REMOTE_CONTROL.get(text, ("SelectChannel", "s", text)))

    def suspend(self) -> None:
        """Suspends the television to RAM. Does not wait for the applications."""
        self._call("Suspend")

    def resume(self) -> None:
        self._call("Resume")

    def play(self, film: PathText) -> None:
        """Shows a film or "scenes"; "off" stops the picture."""
        video = os.fspath(film)
        self._call("ShowVideo", "s", video if video in ("scenes", "off") else os.path.abspath(video))

    def show_scene(self, scene: str) -> None:
        """Shows one generated scene; "" returns to the original picture.

        The scenes are "night", "sunset", "snow", "garden", "bars", "cellar", "train" and "portrait".
        """
        self._call("ShowScene", "s", scene)

    def play_scenario(self, file: PathText, speed: float = 1) -> Scenario:
        """Starts a scenario, `speed` times as fast as written."""
        return Scenario(Bus(*locate(self._place), self._describe_end), file, speed)

    # Faults

    def fault(self, name: str, to: int = 1, *, key: str = "") -> Fault:
        """Sets a fault: a flag, a number or milliseconds. The name of a fault of one key begins with "key."."""
        name_of_key = self._find(key).name if key else ""
        before, = self._call("GetFault", "ss", name_of_key, name)
        self._call("SetFault", "ssx", name_of_key, name, to)
        return Fault(lambda: self._call("SetFault", "ssx", name_of_key, name, before))

    def clear_faults(self) -> None:
        self._call("ClearFaults")

    def reset(self) -> None:
        """Resets the television: removes all faults and sets every value to its default."""
        self._call("Reset")

    # The picture and the log

    def picture(self, width: int = 320, height: int = 180) -> Picture:
        """Returns the screen in this size, at most 1280 x 720. Clients still receive all frames."""
        rgba, = self._call("Picture", "uu", width, height)
        return Picture(width, height, bytes(rgba))

    def log(self) -> str:
        """Returns the log of a private television; empty for an attached one."""
        return self._run.log() if self._run else ""

    # Programs

    def start(self, command: Sequence[PathText], **options: Any) -> "subprocess.Popen[Any]":
        """Starts a program that uses this television, with the options of subprocess.Popen.

        close() ends it. A program that the main thread started is killed when this process ends.
        """
        program = subprocess.Popen(**self._enter(command, options))
        self._programs.append(program)
        return program

    def run(self, command: Sequence[PathText], **options: Any) -> "subprocess.CompletedProcess[Any]":
        """Runs a program that uses this television and waits for its end. Options as for subprocess.run."""
        return subprocess.run(**self._enter(command, options))

    def _enter(self, command: Sequence[PathText], options: Dict[str, Any]) -> Dict[str, Any]:
        given = options.get("env")
        environment = {**(os.environ if given is None else given), **self.environment}
        words = self._run.command(command, environment) if self._run else list(command)
        return {**options, "args": words, "env": environment}

    def _find(self, key: str) -> _Key:
        found = [k for k in self._keys if k.name == key] or [k for k in self._keys if k.name.endswith("." + key)]
        if len(found) == 1:
            return found[0]
        if found:
            raise TelevisionError(f"'{key}' is short for {' and '.join(k.name for k in found)}")
        raise TelevisionError(f"the television has no key '{key}' with a value")

    def _call(self, method: str, signature: str = "", *arguments: Any) -> Any:
        return self._bus.call(OBJECT, _TELEVISION, method, signature, *arguments)

    def _describe_end(self) -> str:
        if not self._run:
            return f"no television '{self._place}' runs: start one with aipq-television"
        self._end_is_known = True
        return self._run.describe_end()
