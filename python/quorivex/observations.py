# SPDX-License-Identifier: GPL-3.0-or-later
"""Observations, stations and predicted data: files of one layout."""

from __future__ import annotations

import re
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

import numpy as np

from .errors import QuorivexError, fault, shown
from .free_format import Floats, line_numbers, line_values, number, whole_number
from .text_files import FilePath, text_lines, whole_file

_LONGEST_LINE = 1000
_LABELS = {"labels of the data: line": (True, False),
           "labels of the data: fiducial": (False, True),
           "labels of the data: line, fiducial": (True, True)}
_CRS = re.compile(r"coordinate system:\s*epsg:([1-9][0-9]{0,8})\s*", re.IGNORECASE)


@dataclass(frozen=True, kw_only=True)
class Stations:
    """Where was measured, and in which field. Angles in degrees, the field in nT, coordinates in
    metres; arrays have an entry per datum."""

    inclination: float  #: of the inducing field, positive downward
    declination: float
    strength: float
    anomaly_inclination: float  #: direction of the anomaly, where `datum_directions` is None
    anomaly_declination: float
    easting: Floats
    northing: Floats
    elevation: Floats
    datum_directions: Floats | None = None  #: (data, 2): inclination and declination of each datum
    line: tuple[str, ...] = ()  #: names of flight lines, one per datum or none at all
    fiducial: tuple[str, ...] = ()
    crs: str = ""  #: coordinate system, "EPSG:32754"; "" where it is not known
    comments: tuple[str, ...] = ()  #: other comments above the data, without their "!"

    def __len__(self) -> int:
        return self.easting.size


@dataclass(frozen=True, kw_only=True)
class Observations(Stations):
    """A survey."""

    observed: Floats  #: nT
    standard_deviation: Floats  #: nT, positive

    def misfit(self, predicted: Floats) -> float:
        """Sum of the squares of (observed - predicted) / standard deviation."""
        residual = (self.observed - predicted) / self.standard_deviation
        return float(residual @ residual)


@dataclass(frozen=True, kw_only=True)
class PredictedData(Stations):
    """What a model should give at the stations."""

    predicted: Floats  #: nT


def read_observations(file: FilePath) -> Observations:
    """Reads an observations file."""
    stations, columns, lines = _read(Path(file), 2)
    wrong = np.flatnonzero(~(columns[:, -1] > 0.0))
    if wrong.size > 0:
        raise fault(Path(file), "a standard deviation above 0", f"{columns[wrong[0], -1]:g}",
                    lines[wrong[0]])
    return Observations(**vars(stations), observed=columns[:, -2].copy(),
                        standard_deviation=columns[:, -1].copy())


def read_stations(file: FilePath) -> Stations:
    """Reads the stations of an observations file; what follows their places is ignored."""
    return _read(Path(file), 0)[0]


def read_predicted(file: FilePath) -> PredictedData:
    """Reads predicted data, `quorivex_NNN.pre`."""
    stations, columns, _ = _read(Path(file), 1)
    return PredictedData(**vars(stations), predicted=columns[:, -1].copy())


def write_observations(file: FilePath, observations: Observations) -> None:
    """Writes an observations file with all digits of its numbers."""
    if not bool((observations.standard_deviation > 0.0).all()):
        raise QuorivexError("Standard deviations should be positive.")
    _write(file, observations, [observations.observed, observations.standard_deviation])


def write_stations(file: FilePath, stations: Stations) -> None:
    """Writes the places alone, for `qvx forward`."""
    _write(file, stations, [])


class _Reader:
    """The lines of a file of data without comments and blank lines."""

    def __init__(self, file: Path) -> None:
        self._file = file
        self._lines = text_lines(file, _LONGEST_LINE)
        self._number = 0
        self._above_data = True
        self.comments: list[str] = []

    def next(self, what: str) -> tuple[int, str]:
        for self._number, text in self._lines:
            text = text.rstrip(" \t\r")
            if text.startswith("!"):
                self._take_comment(text)
            elif text:
                self._above_data = False
                return self._number, text
        raise fault(self._file, what, "the end of the file", self._number)

    def _take_comment(self, text: str) -> None:
        if self._above_data:
            self.comments.append(text[1:].strip())

    def numbers(self, count: int, what: str) -> list[float]:
        line, text = self.next(what)
        values = line_numbers(text, count)
        if values is None:
            raise fault(self._file, what, shown(text), line)
        return values

    def direction(self) -> tuple[float, float, int]:
        what = "inclination and declination of the anomaly and idir, 0 or 1"
        line, text = self.next(what)
        values = line_values(text, number, number, whole_number)
        if values is None or values[2] not in (0, 1):
            raise fault(self._file, what, shown(text), line)
        return values[0], values[1], int(values[2])

    def count(self) -> int:
        what = "the number of data, at least 1"
        line, text = self.next(what)
        found = line_values(text, whole_number)
        if found is None or found[0] < 1:
            raise fault(self._file, what, shown(text), line)
        return int(found[0])


def _read(file: Path, values: int) -> tuple[Stations, Floats, list[int]]:
    """The stations, all columns, and the line of each datum. A datum has its place, with idir 0 its
    direction, and so many values."""
    reader = _Reader(file)
    inclination, declination, strength = reader.numbers(
        3, "inclination, declination and strength of the field")
    anomaly_inclination, anomaly_declination, idir = reader.direction()
    count = reader.count()
    width = 3 + (2 if idir == 0 else 0) + values
    labels = _labels_of(reader.comments)
    rows: list[list[float]] = []  # grow with the lines that are there, not with the count
    lines: list[int] = []
    names: list[tuple[str, str]] = []
    for datum in range(1, count + 1):
        what = f"{width} numbers of datum {datum} of {count}"
        line, text = reader.next(what)
        row = line_numbers(text, width)
        if row is None:
            raise fault(file, what, shown(text), line)
        rows.append(row)
        lines.append(line)
        if any(labels):
            names.append(_names_in(text, *labels))
    columns = np.array(rows)
    stations = Stations(
        inclination=inclination, declination=declination, strength=strength,
        anomaly_inclination=anomaly_inclination, anomaly_declination=anomaly_declination,
        easting=columns[:, 0].copy(), northing=columns[:, 1].copy(), elevation=columns[:, 2].copy(),
        datum_directions=columns[:, 3:5].copy() if idir == 0 else None,
        line=tuple(name for name, _ in names) if labels[0] else (),
        fiducial=tuple(name for _, name in names) if labels[1] else (),
        crs=_crs_of(reader.comments, file),
        comments=tuple(c for c in reader.comments if c not in _LABELS and not _CRS.fullmatch(c)))
    return stations, columns, lines


def _labels_of(comments: list[str]) -> tuple[bool, bool]:
    found = [_LABELS[comment] for comment in comments if comment in _LABELS]
    return any(line for line, _ in found), any(fiducial for _, fiducial in found)


def _names_in(text: str, line: bool, fiducial: bool) -> tuple[str, str]:
    """Line and fiducial behind the "!" of a datum; the name of a line ends at the last comma."""
    label = text.partition("!")[2]
    if not (line and fiducial):
        return label.strip(), label.strip()
    name, comma, mark = label.rpartition(",")
    return (name.strip(), mark.strip()) if comma else (label.strip(), "")


def _crs_of(comments: list[str], file: Path) -> str:
    codes = [match[1] for match in map(_CRS.fullmatch, comments) if match]
    if len(set(codes)) > 1:
        raise fault(file, "one coordinate system", " and ".join(f"EPSG:{c}" for c in codes))
    return f"EPSG:{codes[0]}" if codes else ""


def _write(file: FilePath, stations: Stations, values: list[Floats]) -> None:
    s = stations
    columns = [s.easting, s.northing, s.elevation]
    if s.datum_directions is not None:
        columns += [s.datum_directions[:, 0], s.datum_directions[:, 1]]
    table = np.column_stack([*columns, *values]).astype(np.float64)
    numbers = [s.inclination, s.declination, s.strength, s.anomaly_inclination,
               s.anomaly_declination]
    if table.shape[0] < 1 or not bool(np.isfinite(table).all() and np.isfinite(numbers).all()):
        raise QuorivexError(f"{file}: there should be a datum or more, and finite numbers only.")
    labels = list(_label_texts(s))
    i, d, f, ai, ad = (repr(float(n)) for n in numbers)
    with whole_file(file) as text:
        text.writelines(f"! {_one_line(comment)}\n" for comment in _head_comments(s))
        text.write(f"{i} {d} {f}  !! incl, decl, geomag\n")
        text.write(f"{ai} {ad} {1 if s.datum_directions is None else 0}  !! aincl, adecl, idir\n")
        text.write(f"{len(s)}  !! # of data\n")
        for datum, row in enumerate(table.tolist()):
            text.write(" ".join(map(repr, row)) + (f"  ! {labels[datum]}" if labels else "") + "\n")


def _head_comments(stations: Stations) -> Iterator[str]:
    yield from stations.comments
    if stations.crs:
        yield f"coordinate system: {stations.crs}"
    kinds = (bool(stations.line), bool(stations.fiducial))
    yield from (text for text, labels in _LABELS.items() if labels == kinds)


def _label_texts(stations: Stations) -> Iterator[str]:
    for names in (stations.line, stations.fiducial):
        if names and len(names) != len(stations):
            raise QuorivexError(f"There are {len(stations)} data, but {len(names)} names.")
    if stations.line and stations.fiducial:
        for name, mark in zip(stations.line, stations.fiducial):
            yield f"{_one_line(name)}, {_one_line(mark).replace(',', ' ')}"
    else:
        yield from map(_one_line, stations.line or stations.fiducial)


def _one_line(text: str) -> str:
    return "".join(" " if c < " " else c for c in text)
