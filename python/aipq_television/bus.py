"""The D-Bus connection to a television."""

import os
import string
import time
from collections import deque
from contextlib import contextmanager
from typing import Any, Callable, Deque, Iterator, Optional, Tuple

from jeepney import DBusAddress, DBusErrorResponse, HeaderFields, MatchRule, MessageType
from jeepney import message_bus, new_method_call
from jeepney.io.blocking import open_dbus_connection
from jeepney.wrappers import unwrap_msg

__tracebackhide__ = True

OBJECT = "/aipq/television"
PROPERTIES = "org.freedesktop.DBus.Properties"
ANSWER_LIMIT = 60.0
# The bus returns these errors when the television has left it.
_GONE = ("ServiceUnknown", "NameHasNoOwner", "NoReply", "Disconnected")


class TelevisionError(Exception):
    """The television refuses a request or cannot be started."""


class TelevisionGone(TelevisionError):
    """The television is not running, or has ended."""


def locate(television: str) -> Tuple[str, str]:
    """Returns the bus address and the television's name for NAME, ADDRESS or NAME@ADDRESS, as in AIPQ_TV."""
    name, mark, address = television.partition("@")
    if mark and ":" not in name:
        return address, name
    if ":" in television:
        return television, "living-room"
    folder = os.environ.get("AIPQ_TV_FOLDER", "")
    if not folder.startswith("/"):
        runtime = os.environ.get("XDG_RUNTIME_DIR", "")
        own = f"/tmp/aipq-television-{os.geteuid()}"
        folder = f"{runtime}/aipq-television" if runtime.startswith("/") else own
    return f"unix:path={folder}/{television}", television


def object_path(key: str) -> str:
    """Returns the object path of a key."""
    plain = string.ascii_letters + string.digits
    letters = (c if c in plain else "/" if c == "." else "".join(f"_{byte:02x}" for byte in c.encode()) for c in key)
    return f"{OBJECT}/key/" + "".join(letters)


class Bus:
    """A connection to a television. Use it in one thread at a time."""

    def __init__(self, address: str, name: str, describe_end: Callable[[], str]) -> None:
        self._name = f"aipq.Television.{name}"
        self._describe_end = describe_end
        self._changes: Deque[Any] = deque()
        try:
            self._connection = open_dbus_connection(address, auth_timeout=ANSWER_LIMIT)
        except (OSError, EOFError, ValueError, RuntimeError):  # jeepney raises them for a malformed address
            raise TelevisionGone(describe_end()) from None

    def close(self) -> None:
        self._connection.close()

    def call(self, path: str, interface: str, method: str, signature: str = "", *arguments: Any) -> Any:
        serial = self.send(path, interface, method, signature, *arguments)
        try:
            return self.answer(serial, ANSWER_LIMIT)
        except TimeoutError:
            raise TelevisionError(f"the television did not answer {method} within {ANSWER_LIMIT:g} s") from None

    def get(self, path: str, interface: str, name: str) -> Any:
        return self.call(path, PROPERTIES, "Get", "ss", interface, name)[0][1]

    def set(self, path: str, interface: str, name: str, signature: str, value: Any) -> None:
        self.call(path, PROPERTIES, "Set", "ssv", interface, name, (signature, value))

    def send(self, path: str, interface: str, method: str, signature: str = "", *arguments: Any) -> int:
        """Calls a method. Returns the serial number for answer()."""
        address = DBusAddress(path, self._name, interface)
        return self._send(new_method_call(address, method, signature, arguments))

    def answer(self, serial: int, timeout: Optional[float]) -> Any:
        """Waits for the results of the call with this serial number. Raises TimeoutError."""
        limit = None if timeout is None else time.monotonic() + timeout
        while True:
            message = self._receive(limit)
            if message.header.fields.get(HeaderFields.reply_serial) == serial:
                break
        try:
            return unwrap_msg(message)
        except DBusErrorResponse as error:
            if error.name.rpartition(".")[2] in _GONE:
                raise TelevisionGone(self._describe_end()) from None
            raise TelevisionError(error.data[0] if error.data else error.name) from None

    @contextmanager
    def following(self, path: str) -> Iterator[None]:
        """Within the `with` block, next_change() returns the property changes of this object."""
        rule = MatchRule(type="signal", interface=PROPERTIES, member="PropertiesChanged", path=path)
        self.answer(self._send(message_bus.AddMatch(rule)), ANSWER_LIMIT)
        # Drop the changes of an object that was followed earlier. They arrived before this answer.
        self._changes.clear()
        try:
            yield
        finally:
            self._send(message_bus.RemoveMatch(rule))

    def next_change(self, limit: float) -> Tuple[str, Any]:
        """Returns the name and the new value of the next property that changes. Raises TimeoutError."""
        while not self._changes:
            self._receive(limit)
        name, value = self._changes.popleft()
        return name, value

    def _send(self, message: Any) -> int:
        serial: int = next(self._connection.outgoing_serial)
        try:
            self._connection.send(message, serial=serial)
        except (OSError, ValueError):
            raise TelevisionGone(self._describe_end()) from None
        return serial

    def _receive(self, limit: Optional[float]) -> Any:
        try:
            left = None if limit is None else max(limit - time.monotonic(), 0)
            message = self._connection.receive(timeout=left)
        except TimeoutError:
            raise
        except (OSError, EOFError, ValueError):
            raise TelevisionGone(self._describe_end()) from None
        if message.header.message_type == MessageType.signal and len(message.body) == 3:
            self._changes.extend((name, value[1]) for name, value in message.body[1].items())
        return message
