# SPDX-License-Identifier: GPL-3.0-or-later
"""Text files: opened only where they are regular files, read line by line, written whole."""

from __future__ import annotations

import os
import stat
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import BinaryIO, TextIO

from .errors import QuorivexError, fault

FilePath = str | os.PathLike[str]

_BYTE_ORDER_MARK = b"\xef\xbb\xbf"


def open_regular(file: Path) -> BinaryIO:
    """Opens a regular file for reading; a pipe or a device, which could wait, is refused."""
    try:
        descriptor = os.open(file, os.O_RDONLY | os.O_NONBLOCK | os.O_CLOEXEC)
    except (OSError, ValueError) as error:
        reason = error.strerror if isinstance(error, OSError) and error.strerror else str(error)
        raise fault(file, "a file that can be read", reason) from None
    if not stat.S_ISREG(os.fstat(descriptor).st_mode):
        os.close(descriptor)
        raise fault(file, "a file", "a folder, a pipe or a device")
    return os.fdopen(descriptor, "rb")


def open_text(file: Path) -> BinaryIO:
    """The same, behind the byte order mark if there is one."""
    opened = open_regular(file)
    if opened.read(3) != _BYTE_ORDER_MARK:
        opened.seek(0)
    return opened


def text_lines(file: Path, longest: int) -> Iterator[tuple[int, str]]:
    """Number (from 1) and text of each line, cut to `longest` bytes, without its end. Bytes that
    are not UTF-8 are kept as surrogates, so that names of files are the same bytes again."""
    with open_text(file) as opened:
        number = 0
        while raw := opened.readline(longest + 2):
            number += 1
            text = raw.removesuffix(b"\n").removesuffix(b"\r")[:longest]
            while raw and not raw.endswith(b"\n"):  # the rest of a long line
                raw = opened.readline(1 << 16)
            yield number, text.decode("utf-8", "surrogateescape")


@contextmanager
def whole_file(file: FilePath) -> Iterator[TextIO]:
    """A text file that gets its name when it is complete and on the disk, or not at all."""
    target = Path(os.path.realpath(file))
    if target.exists() and not target.is_file():
        raise fault(Path(file), "the name of a file", "a folder, a pipe or a device")
    try:
        part, descriptor = _create_part(target)
    except OSError as error:
        raise _not_written(file, error) from None
    try:
        with os.fdopen(descriptor, "w", encoding="utf-8", errors="surrogateescape",
                       newline="\n") as text:
            yield text
            text.flush()
            os.fsync(text.fileno())
        os.replace(part, target)
    except BaseException as error:
        part.unlink(missing_ok=True)
        if isinstance(error, OSError):
            raise _not_written(file, error) from None
        raise


def _not_written(file: FilePath, error: OSError) -> QuorivexError:
    return QuorivexError(f"{file} cannot be written: {error.strerror}", file=Path(file))


def _create_part(target: Path) -> tuple[Path, int]:
    """NAME.PROCESS.part next to the target, or with the next number that is free."""
    number = os.getpid()
    while True:
        part = target.with_name(f"{target.name}.{number}.part")
        try:
            return part, os.open(part, os.O_WRONLY | os.O_CREAT | os.O_EXCL | os.O_CLOEXEC, 0o666)
        except FileExistsError:
            number += 1
