# SPDX-License-Identifier: GPL-3.0-or-later
"""The summary of a run, `quorivex.out`."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from .errors import fault, shown
from .free_format import line_numbers
from .text_files import FilePath, text_lines

_LONGEST_LINE = 1000
_STARTED = "! QUORIVEX started on: "
_ENDED = "! QUORIVEX ended on: "


@dataclass(frozen=True)
class Iteration:
    """A row of the summary."""

    iteration: int  #: its number, from 1
    beta: float
    misfit: float
    norm_s: float  #: smallness
    norm_e: float  #: differences along easting,
    norm_n: float  #: northing
    norm_z: float  #: and depth
    norm_total: float  #: their sum, weighted by the alphas
    objective: float  #: misfit + beta norm_total
    cg_iterations: int
    truncated_cells: int


@dataclass(frozen=True)
class Summary:
    """What `quorivex.out` says. Numbers that it does not hold (yet) are None."""

    iterations: tuple[Iteration, ...]
    started: str  #: date and time
    ended: str  #: "" while the run goes on, and where it stopped early
    chifact: float | None  #: of mode 1
    target_misfit: float | None  #: of mode 1
    initial_misfit: float | None
    initial_norms: dict[str, float]  #: "S", "E", "N", "Z" and "total"
    alphas: tuple[float, ...]  #: s, e, n, z
    note: str  #: what is wrong with the table after these rows, mostly ""


def read_summary(file: FilePath) -> Summary:
    """Reads a summary, also that of a run that is going on."""
    rows: list[Iteration] = []
    dates = {_STARTED: "", _ENDED: ""}
    heading: dict[str, list[float]] = {}
    note = ""
    empty = True
    for number, line in text_lines(Path(file), _LONGEST_LINE):
        text = line.rstrip(" \t\r")
        empty = empty and not text
        if text.startswith("!"):
            for label in dates:
                if text.startswith(label):
                    dates[label] = text.removeprefix(label)
            _read_heading(text, heading)
        elif text and not note:
            row = _row(text)
            if row is None or row.iteration != len(rows) + 1:
                note = (f"line {number} of {file} should be the row of iteration {len(rows) + 1} "
                        f"with 11 numbers; found {shown(text)}")
            else:
                rows.append(row)
    if not dates[_STARTED] and not empty:
        raise fault(Path(file), "the summary of a run, with the date of its start", "none")
    return _summary(rows, dates, heading, note)


def _read_heading(text: str, heading: dict[str, list[float]]) -> None:
    """A line "! VALUES   !! LABEL"."""
    values, mark, label = text[1:].partition("!! ")
    count = {"mode, chifact": 2, "alpha values": 4}.get(label, 1)
    if mark and (found := line_numbers(values, count)) is not None:
        heading[label] = found


def _row(text: str) -> Iteration | None:
    values = line_numbers(text, 11)
    if values is None or not all(values[i].is_integer() for i in (0, 9, 10)):
        return None
    beta, misfit, s, e, n, z, total, objective = values[1:9]
    return Iteration(int(values[0]), beta, misfit, s, e, n, z, total, objective, int(values[9]),
                     int(values[10]))


def _summary(rows: list[Iteration], dates: dict[str, str], heading: dict[str, list[float]],
             note: str) -> Summary:
    def one(label: str) -> float | None:
        return heading[label][-1] if label in heading else None

    norms = {name: heading[f"initial norm {name}"][0] for name in ("S", "E", "N", "Z", "total")
             if f"initial norm {name}" in heading}
    return Summary(tuple(rows), dates[_STARTED], dates[_ENDED], one("mode, chifact"),
                   one("target data misfit"), one("initial misfit"), norms,
                   tuple(heading.get("alpha values", ())), note)
