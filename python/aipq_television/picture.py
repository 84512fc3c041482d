"""Pictures of the television's screen."""

import struct
import zlib
from dataclasses import dataclass, field
from os import PathLike
from pathlib import Path
from typing import Tuple, Union

__tracebackhide__ = True


@dataclass(frozen=True)
class Picture:
    """A picture of the screen: rows from top to bottom, four bytes per pixel (red, green, blue, alpha)."""

    width: int
    height: int
    rgba: bytes = field(repr=False)

    def pixel(self, x: int, y: int) -> Tuple[int, int, int]:
        """Returns red, green and blue of a pixel, from 0 to 255."""
        if not (0 <= x < self.width and 0 <= y < self.height):
            raise IndexError(f"the picture has {self.width} x {self.height} pixels, and none at {x}, {y}")
        start = 4 * (y * self.width + x)
        return self.rgba[start], self.rgba[start + 1], self.rgba[start + 2]

    @property
    def luma(self) -> float:
        """Returns the mean brightness, from 0 (black) to 255 (white)."""
        red, green, blue = (sum(self.rgba[colour::4]) for colour in range(3))
        return (0.299 * red + 0.587 * green + 0.114 * blue) / (self.width * self.height)

    def save(self, file: Union[str, "PathLike[str]"]) -> None:
        """Writes a PNG file."""

        def chunk(kind: bytes, data: bytes) -> bytes:
            return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

        row = 4 * self.width
        rows = b"".join(b"\0" + self.rgba[start : start + row] for start in range(0, len(self.rgba), row))
        header = struct.pack(">IIBBBBB", self.width, self.height, 8, 6, 0, 0, 0)
        chunks = chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")
        Path(file).write_bytes(b"\x89PNG\r\n\x1a\n" + chunks)
