# SPDX-License-Identifier: GPL-3.0-or-later
"""The log of a run, `quorivex.log`."""

from __future__ import annotations

import re
from collections.abc import Iterator
from dataclasses import dataclass, field
from pathlib import Path

from .errors import fault
from .free_format import number
from .text_files import FilePath, text_lines

_LONGEST_LINE = 1000
_DASHES = "-" * 64
_LINES_OF_INPUT = 12
_ECHO = 200  # characters of a line of the input file that the log repeats
_THREADS = "Parallelized with OpenMP.  # of threads:"
_TIME = re.compile(r" *(\w+) cpu time: *(\d+):(\d\d):(\d\d\.\d\d)", re.ASCII)
_LABELLED = re.compile(r" *(\S.*?): +(\S+)")


@dataclass(frozen=True)
class LogIteration:
    """What the log says of an iteration; what it does not say yet is None."""

    iteration: int
    beta: float | None = None
    misfit: float | None = None
    seconds: float | None = None


@dataclass
class Log:
    """Facts of a run."""

    version: str = ""  #: of the program
    threads: int | None = None
    input_file: str = ""  #: as it was given
    input_lines: tuple[str, ...] = ()  #: its entries, without comments
    started: str = ""
    ended: str = ""  #: "" while the run goes on, and where it stopped early
    ending: str = ""  #: why it ended, in its own words
    seconds: float | None = None  #: that it took, where it came to its end
    initial_misfit: float | None = None
    target_misfit: float | None = None  #: of mode 1
    counts: dict[str, int] = field(default_factory=dict)  #: "# of data", "# of cells below topo"...
    iterations: list[LogIteration] = field(default_factory=list)


def entries(lines: Iterator[str]) -> tuple[str, ...]:
    """The lines of an input file that are not empty, without comments, as the log repeats them."""
    found: list[str] = []
    for line in lines:
        entry = line[:_ECHO].partition("!")[0].rstrip(" \t\r")
        if entry and len(found) < _LINES_OF_INPUT:
            found.append(entry)
    return tuple(found)


def read_log(file: FilePath) -> Log:
    """Reads a log, also that of a run that is going on."""
    log = Log()
    lines = (text.rstrip(" \t\r") for _, text in text_lines(Path(file), _LONGEST_LINE))
    for text in lines:
        if text.startswith(_THREADS):
            log.threads = _count(text.removeprefix(_THREADS).strip())
        elif text.startswith("QUORIVEX "):
            log.version = text.removeprefix("QUORIVEX ").partition(":")[0]
        elif text.startswith("Reading input file: "):
            log.input_file = text.removeprefix("Reading input file: ")
            break
    if not log.input_file:
        raise fault(Path(file), "a log with a copy of the run's input file", "none")
    log.input_lines = entries(_copy_of_input(lines))
    paragraph: list[str] = []  # the reason of the end stands alone between empty lines
    for text in lines:
        if not text:
            paragraph = []
        elif not _read_fact(text, log):
            paragraph.append(text.strip())
            log.ending = " ".join(paragraph)[:2000]
    return log


def _copy_of_input(lines: Iterator[str]) -> Iterator[str]:
    """The lines between the two of dashes."""
    for text in lines:
        if text == _DASHES:
            break
    for text in lines:
        if text == _DASHES:
            return
        yield text


def _read_fact(text: str, log: Log) -> bool:
    """Takes what a line says; False for one that may tell why the run ended."""
    for label in ("started", "ended"):
        if text.startswith(f"QUORIVEX {label} on: "):
            setattr(log, label, text.removeprefix(f"QUORIVEX {label} on: "))
            return True
    if time := _TIME.fullmatch(text):
        seconds = 3600.0 * int(time[2]) + 60.0 * int(time[3]) + float(time[4])
        if time[1] == "TOTAL":
            log.seconds = seconds
        elif time[1] == "beta":
            _of_iteration(log, seconds=seconds)
        return True
    labelled = _LABELLED.fullmatch(text)
    return labelled is not None and _read_labelled(labelled[1], labelled[2], log)


def _read_labelled(label: str, word: str, log: Log) -> bool:
    count = _count(word)
    value = number(word)
    if label == "Iteration" and count is not None:
        log.iterations.append(LogIteration(count))
        log.ending = ""
    elif label in ("beta", "data misfit"):
        _of_iteration(log, **{label.removeprefix("data "): value})
    elif label == "initial misfit":
        log.initial_misfit = value
    elif label == "target data misfit":
        log.target_misfit = value
    elif "# of " in label and count is not None:
        log.counts[label] = count
    else:
        return False
    return True


def _of_iteration(log: Log, **facts: float | None) -> None:
    if log.iterations:
        log.iterations[-1] = LogIteration(**{**vars(log.iterations[-1]), **facts})
        log.ending = ""


def _count(word: str) -> int | None:
    return int(word) if re.fullmatch(r"[0-9]{1,18}", word) else None
