# SPDX-License-Identifier: GPL-3.0-or-later
"""The sidecar of a sensitivity file, NAME.mtx.info: what the file was made of."""

from __future__ import annotations

import os
import re
from dataclasses import dataclass
from pathlib import Path

from .errors import QuorivexError, fault, shown
from .text_files import FilePath, text_lines

PARTS = ("mesh", "terrain", "filter", "scale", "diagonal", "stations", "field", "directions",
         "deviations")  #: that have a fingerprint
_LONGEST_LINE = 2000
_MAX_LINES = 1000


@dataclass(frozen=True)
class Sidecar:
    """The lines of a sidecar."""

    bytes: int  #: length of the sensitivity file
    fingerprints: dict[str, str]  #: of PARTS, 16 hexadecimal digits each
    lines: tuple[tuple[str, str], ...]  #: name and text of all others

    @property
    def warnings(self) -> tuple[str, ...]:
        """What `qvx sensitivity` warned of."""
        return tuple(text for name, text in self.lines if name == "warning")

    @property
    def crs(self) -> str:
        """Code of the coordinate system, "EPSG:32754"; "" where it is not known."""
        return self.text("coordinate_system")

    def text(self, name: str) -> str:
        """The text of the first line with that name, or ""."""
        return next((text for found, text in self.lines if found == name), "")


def read_sidecar(sensitivity_file: FilePath) -> Sidecar | None:
    """Reads the sidecar of a sensitivity file; None where there is none. Of a symbolic link it is
    next to the link, if it states the length of the file, otherwise next to the target."""
    matrix = Path(sensitivity_file)
    next_to_name = Path(f"{matrix}.info")
    next_to_target = Path(f"{os.path.realpath(matrix)}.info")
    if matrix.is_symlink() and next_to_target.exists() and not _is_of(next_to_name, matrix):
        return _read(next_to_target)
    return _read(next_to_name) if next_to_name.exists() else None


def _is_of(sidecar: Path, matrix: Path) -> bool:
    try:
        return sidecar.exists() and _read(sidecar).bytes == matrix.stat().st_size
    except (QuorivexError, OSError):
        return False


def _read(file: Path) -> Sidecar:
    length: int | None = None
    fingerprints: dict[str, str] = {}
    lines: list[tuple[str, str]] = []
    for number, line in text_lines(file, _LONGEST_LINE):
        line = line.rstrip(" \t\r").lstrip(" ")
        if not line or line.startswith("!"):
            continue
        name, _, text = line.partition(" ")
        text = text.lstrip(" ")
        if name == "bytes":
            if length is not None or not re.fullmatch(r"[0-9]{1,18}", text):
                raise fault(file, "the bytes of the sensitivity file, once", shown(line), number)
            length = int(text)
        elif name in PARTS:
            if name in fingerprints or not re.fullmatch(r"[0-9A-Fa-f]{16}", text):
                raise fault(file, "a fingerprint once, 16 hexadecimal digits", shown(line), number)
            fingerprints[name] = text.lower()
        elif len(lines) == _MAX_LINES:
            raise fault(file, f"at most {_MAX_LINES} lines", "more", number)
        else:
            lines.append((name, text))
    missing = [name for name in PARTS if name not in fingerprints]
    if length is None or missing:
        raise fault(file, f"the line {shown('bytes' if length is None else missing[0])}", "none")
    return Sidecar(length, fingerprints, tuple(lines))
