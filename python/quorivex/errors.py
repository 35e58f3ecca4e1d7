# SPDX-License-Identifier: GPL-3.0-or-later
"""What the package raises."""

from __future__ import annotations

from pathlib import Path

_SHOWN = 60  # characters of a text that a message repeats


class QuorivexError(Exception):
    """A file that is not what it should be, or a program that did not do what it should.

    `file`, `line` (from 1), `expected` and `found` are None or "" where they do not apply.
    """

    def __init__(self, message: str, *, file: Path | None = None, line: int | None = None,
                 expected: str = "", found: str = "") -> None:
        super().__init__(message)
        self.file = file
        self.line = line
        self.expected = expected
        self.found = found


class RunFailed(QuorivexError):
    """A run that did not come to its end. The message is that of the program; `console` is all
    that it printed, `status` its exit status (negative: the signal that ended it)."""

    def __init__(self, message: str, console: str, status: int) -> None:
        super().__init__(message)
        self.console = console
        self.status = status


def fault(file: Path, expected: str, found: str, line: int | None = None) -> QuorivexError:
    """The error of a file that should hold something else: "survey.mag, line 3: ..."."""
    place = f"{file}, line {line}" if line is not None else f"{file}"
    return QuorivexError(f"{place}: expected {expected}; found {found}", file=file, line=line,
                         expected=expected, found=found)


def shown(text: str) -> str:
    """A text of a file as messages repeat it: in quotes, cut, without control characters."""
    return repr(text if len(text) <= _SHOWN else text[:_SHOWN] + "...")
