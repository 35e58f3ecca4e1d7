# SPDX-License-Identifier: GPL-3.0-or-later
"""The mesh: right rectangular cells, and its text file."""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass
from itertools import groupby
from pathlib import Path

import numpy as np

from .cells import Shape
from .errors import QuorivexError, fault, shown
from .free_format import Floats, Words, line_numbers, line_values, number, whole_number
from .text_files import FilePath, text_lines, whole_file

_MAX_AXIS = 1_000_000
_MAX_CELLS = 2**31 - 1
_LONGEST_LINE = 1 << 25  # a million widths on one line fit
_COLUMNS = 100


@dataclass(frozen=True)
class Mesh:
    """Nodes and widths in metres; `top` is the elevation from which depths are counted."""

    easting_nodes: Floats  #: rising, one more than there are columns
    northing_nodes: Floats  #: rising, one more than there are rows
    depth_nodes: Floats  #: rising from the top downward, one more than there are layers
    top: float
    easting_widths: Floats
    northing_widths: Floats
    thicknesses: Floats  #: from the top downward

    @property
    def shape(self) -> Shape:
        """Of arrays: layers, rows and columns."""
        return self.thicknesses.size, self.northing_widths.size, self.easting_widths.size

    @property
    def cells(self) -> int:
        layers, rows, columns = self.shape
        return layers * rows * columns

    @property
    def elevation_nodes(self) -> Floats:
        """Rising, from the bottom of the mesh to its top."""
        nodes: Floats = (self.top - self.depth_nodes)[::-1]
        return nodes

    @property
    def easting(self) -> Floats:
        """Centres of the columns."""
        return middles(self.easting_nodes)

    @property
    def northing(self) -> Floats:
        """Centres of the rows."""
        return middles(self.northing_nodes)

    @property
    def elevation(self) -> Floats:
        """Centres of the layers, rising."""
        return middles(self.elevation_nodes)


def middles(nodes: Floats) -> Floats:
    centres: Floats = (nodes[:-1] + nodes[1:]) / 2.0
    return centres


def make_mesh(west: float, south: float, top: float, easting_widths: Iterable[float],
              northing_widths: Iterable[float], thicknesses: Iterable[float]) -> Mesh:
    """A mesh from its south-western corner and top; thicknesses from the top downward (m)."""
    de, dn, dz = (np.array(list(widths), dtype=np.float64)
                  for widths in (easting_widths, northing_widths, thicknesses))
    for what, widths in (("widths along easting", de), ("widths along northing", dn),
                         ("thicknesses", dz)):
        if not (1 <= widths.size <= _MAX_AXIS and bool((widths > 0.0).all())
                and bool(np.isfinite(widths).all())):
            raise QuorivexError(f"The {what} should be from 1 to a million positive numbers.")
    mesh = Mesh(_running_sums(west, de), _running_sums(south, dn), _running_sums(0.0, dz),
                float(top), de, dn, dz)
    if mesh.cells > _MAX_CELLS:
        raise QuorivexError(f"A mesh has at most {_MAX_CELLS} cells, not {mesh.cells}.")
    nodes = (mesh.easting_nodes, mesh.northing_nodes, mesh.elevation_nodes)
    if not all(bool((np.diff(n) > 0.0).all()) for n in nodes):
        raise QuorivexError("The nodes of the mesh should be finite numbers that increase.")
    return mesh


def mesh_of_nodes(easting_nodes: Floats, northing_nodes: Floats, depth_nodes: Floats,
                  top: float) -> Mesh:
    """A mesh whose nodes are known."""
    return Mesh(easting_nodes, northing_nodes, depth_nodes, top, np.diff(easting_nodes),
                np.diff(northing_nodes), np.diff(depth_nodes))


def read_mesh(file: FilePath) -> Mesh:
    """Reads a text mesh."""
    lists = _MeshLists(Path(file))
    columns, rows, layers = lists.counts()
    west, south, top = lists.numbers(3, "west, south and top of the mesh")
    de = lists.numbers(columns, f"{columns} widths along easting")
    dn = lists.numbers(rows, f"{rows} widths along northing")
    dz = lists.numbers(layers, f"{layers} thicknesses")
    try:
        return make_mesh(west, south, top, de, dn, dz)
    except QuorivexError as error:
        raise QuorivexError(f"{file}: {error}", file=Path(file)) from None


def write_mesh(file: FilePath, mesh: Mesh) -> None:
    """Writes a text mesh. All digits of the widths are kept; a program adds them up to nodes."""
    layers, rows, columns = mesh.shape
    corner = (mesh.easting_nodes[0], mesh.northing_nodes[0], mesh.top)
    with whole_file(file) as text:
        text.write(f"{columns} {rows} {layers}\n{' '.join(repr(float(c)) for c in corner)}\n")
        for widths in (mesh.easting_widths, mesh.northing_widths, mesh.thicknesses):
            text.write(_width_list(widths))


def _running_sums(first: float, widths: Floats) -> Floats:
    # One addition after the other, as the programs do it.
    return np.cumsum(np.concatenate([[float(first)], widths]))


def _width_list(widths: Floats) -> str:
    """Equal neighbours as 3*25.0, in lines of a hundred columns."""
    lines = [""]
    for width, run in groupby(widths.tolist()):
        count = sum(1 for _ in run)
        item = f"{count}*{width!r}" if count > 1 else repr(width)
        if lines[-1] and len(lines[-1]) + 1 + len(item) > _COLUMNS:
            lines.append("")
        lines[-1] += (" " if lines[-1] else "") + item
    return "\n".join(lines) + "\n"


class _MeshLists:
    """The lists of a text mesh in their order, each from a line of its own."""

    def __init__(self, file: Path) -> None:
        self._file = file
        self._lines = text_lines(file, _LONGEST_LINE)
        self._line = 0

    def _next_line(self) -> str | None:
        for self._line, text in self._lines:
            if text.strip(" \t\r"):
                return text
        return None

    def counts(self) -> tuple[int, int, int]:
        text = self._next_line()
        found = line_values(text, *[whole_number] * 3) if text is not None else None
        expected = "the numbers of cells ne, nn and nz, from 1 to a million each"
        if found is None or not all(1 <= count <= _MAX_AXIS for count in found):
            raise fault(self._file, expected, shown(text or ""), self._line)
        columns, rows, layers = map(int, found)
        if columns * rows * layers > _MAX_CELLS:
            raise fault(self._file, f"at most {_MAX_CELLS} cells", f"{columns * rows * layers}",
                        self._line)
        return columns, rows, layers

    def numbers(self, count: int, what: str) -> list[float]:
        """`count` numbers on as many lines as they take; the rest of the last line is ignored."""
        found: list[float] = []
        words = Words()
        while len(found) < count:
            text = self._next_line()
            if text is None:
                raise fault(self._file, what, f"the end of the file after {len(found)}", self._line)
            if not found and (values := line_numbers(text, count) if count <= 8 else None):
                return values
            for times, word, _ in words.of(text):
                value = number(word)
                if value is None:
                    raise fault(self._file, what, shown(word) if word else "an empty value",
                                self._line)
                found += [value] * min(times, count - len(found))
                if len(found) == count:
                    break
        return found
