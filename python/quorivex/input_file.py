# SPDX-License-Identifier: GPL-3.0-or-later
"""The input file of a run: twelve lines."""

from __future__ import annotations

import re
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

from .errors import QuorivexError, fault, shown
from .free_format import line_numbers, line_values, whole_number
from .text_files import FilePath, text_lines, whole_file

_LONGEST_NUMBERS = 10000
_LONGEST_NAME = 500
_KEYWORDS = ("SMOOTH_MOD", "SMOOTH_MOD_DIF")

Source = float | str  #: of a model: the same value everywhere, or the name of a file


@dataclass(frozen=True, kw_only=True)
class InputFile:
    """What a run is told. Names of files are as seen from the folder of the run."""

    observations: str
    sensitivity: str
    mode: int = 1  #: 1 lowers beta until the target misfit is reached, 2 keeps it
    chifact: float = 1.0  #: of mode 1: the target is the number of data times chifact
    beta: float = 0.0  #: of mode 2
    tolc: float = 0.02  #: read, not used
    initial_model: Source = 0.001
    reference_model: Source = 0.0
    active_cells: str | None = None
    lower_bounds: Source = 0.0
    upper_bounds: Source = 1.0
    alphas: tuple[float, ...] | None = None  #: s, e, n, z; or length scales along e, n, z (m)
    reference_in_differences: bool = False  #: SMOOTH_MOD_DIF
    weights: str | None = None  #: file of 3-D weights


def read_input_file(file: FilePath) -> InputFile:
    """Reads an input file."""
    lines = _Lines(Path(file))
    mode = lines.mode()
    par, tolc = lines.numbers(2, "chifact, or beta in mode 2, and tolc")
    observations, sensitivity = lines.entry(), lines.entry()
    initial_model, reference_model = lines.source(), lines.source()
    active_cells = lines.file_or_null()
    lower_bounds, upper_bounds = lines.source(), lines.source()
    alphas = lines.alphas()
    keyword = lines.entry()
    if keyword not in _KEYWORDS:
        raise lines.fault(" or ".join(_KEYWORDS), keyword)
    return InputFile(
        observations=observations, sensitivity=sensitivity, mode=mode,
        chifact=par if mode == 1 else 1.0, beta=par if mode == 2 else 0.0, tolc=tolc,
        initial_model=initial_model, reference_model=reference_model, active_cells=active_cells,
        lower_bounds=lower_bounds, upper_bounds=upper_bounds, alphas=alphas,
        reference_in_differences=keyword == "SMOOTH_MOD_DIF", weights=lines.file_or_null())


def write_input_file(file: FilePath, run: InputFile) -> None:
    """Writes an input file with a comment on each line."""
    if run.mode not in (1, 2):
        raise QuorivexError(f"The mode should be 1 or 2, not {run.mode}.")
    if run.alphas is not None and len(run.alphas) not in (3, 4):
        raise QuorivexError("There should be four alphas, or three length scales.")
    par = run.chifact if run.mode == 1 else run.beta
    alphas = "null" if run.alphas is None else " ".join(repr(float(a)) for a in run.alphas)
    lines = [
        (f"{run.mode}", "mode"),
        (f"{float(par)!r} {float(run.tolc)!r}", f"{'chifact' if run.mode == 1 else 'beta'}, tolc"),
        (_name(run.observations), "observations"), (_name(run.sensitivity), "sensitivity file"),
        (_source(run.initial_model), "initial model"),
        (_source(run.reference_model), "reference model"),
        (_name(run.active_cells), "active cells"),
        (_source(run.lower_bounds), "lower bounds"), (_source(run.upper_bounds), "upper bounds"),
        (alphas, "alphas or length scales"),
        (_KEYWORDS[int(run.reference_in_differences)], "reference model in the differences or not"),
        (_name(run.weights), "3-D weights")]
    with whole_file(file) as text:
        text.writelines(f"{entry:<18} ! {comment}\n" for entry, comment in lines)


def _source(source: Source) -> str:
    return _name(source) if isinstance(source, str) else f"VALUE {float(source)!r}"


def _name(name: str | None) -> str:
    if name is None:
        return "null"
    taken = name.startswith(("null", "NULL", "VALUE "))
    if not name or taken or name != name.rstrip(" \t\r") or re.search(r"[!\n]", name):
        raise QuorivexError(f"{shown(name)} cannot be the name of a file in an input file.")
    return name


class _Lines:
    """The lines of an input file in their order."""

    def __init__(self, file: Path) -> None:
        self._file = file
        self._lines: Iterator[tuple[int, str]] = text_lines(file, _LONGEST_NUMBERS)
        self._line = 0

    def fault(self, expected: str, found: str) -> QuorivexError:
        return fault(self._file, expected, shown(found), self._line)

    def _next(self) -> str:
        for self._line, text in self._lines:
            return text
        raise fault(self._file, "twelve lines", f"{self._line}")

    def _next_with_numbers(self) -> str:
        text = ""
        while not text.strip(" \t\r"):
            text = self._next()
        return text

    def mode(self) -> int:
        text = self._next_with_numbers()
        found = line_values(text, whole_number)
        if found is None or found[0] not in (1, 2):
            raise self.fault("the mode, 1 or 2", text)
        return int(found[0])

    def numbers(self, count: int, what: str) -> list[float]:
        text = self._next_with_numbers()
        values = line_numbers(text, count)
        if values is None:
            raise self.fault(what, text)
        return values

    def entry(self) -> str:
        return self._next()[:_LONGEST_NAME].partition("!")[0].rstrip(" \t\r")

    def file_or_null(self) -> str | None:
        entry = self.entry()
        return None if entry.startswith(("null", "NULL")) else entry

    def source(self) -> Source:
        entry = self.entry()
        if entry != "VALUE" and not entry.startswith("VALUE "):
            return entry
        values = line_numbers(entry.removeprefix("VALUE"), 1)
        if values is None:
            raise self.fault("VALUE and a number", entry)
        return values[0]

    def alphas(self) -> tuple[float, ...] | None:
        entry = self.entry()
        if entry.startswith(("null", "NULL")):
            return None
        values = line_numbers(entry, 4) or line_numbers(entry, 3)
        if values is None:
            raise self.fault("four alphas, three length scales or null", entry)
        return tuple(values)
