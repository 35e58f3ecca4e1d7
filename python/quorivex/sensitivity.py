# SPDX-License-Identifier: GPL-3.0-or-later
"""Sensitivity files: their heading and, one at a time, their rows."""

from __future__ import annotations

import struct
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path
from types import TracebackType
from typing import Any, BinaryIO

import numpy as np
from numpy.typing import NDArray

from .cells import Shape, columns_from_file, from_cell_order, ground_cells, to_cell_order
from .errors import QuorivexError, fault
from .free_format import Floats
from .mesh import Mesh, mesh_of_nodes
from .text_files import FilePath, open_regular

_MAX_COUNT = 2**31 - 1
_FIRST_ROW = 7  # its record


@dataclass(frozen=True)
class CompressedRow:
    """The coefficients of a row that were kept."""

    positions: NDArray[np.int32]  #: in the wavelet grid, counted from 0
    values: NDArray[np.float32]


class SensitivityFile:
    """An open sensitivity file. The heading is read at once; rows are read from the file when they
    are asked for, so that its size does not matter. Close it, or use it in a `with`.

    Row i belongs to datum i, both counted from 0. Its columns are the ground cells in the order of
    the file (`on_mesh` spreads them). A row is divided by the standard deviation of its datum, a
    column by `wtz`: the sensitivities in nT per SI are `row * wtz * standard_deviation`.
    """

    mesh: Mesh
    ndata: int
    nsens: int  #: number of ground cells
    column_tops: NDArray[np.int32]  #: (rows, columns): air cells at the top of each column
    filter: Floats  #: low-pass coefficients of the wavelet; empty in full form
    wavelet_shape: Shape  #: points along northing, easting and depth, depth fastest
    wtz: Floats  #: scale of each ground cell

    def __init__(self, file: FilePath) -> None:
        self.file = Path(file)
        self._records = _Records(self.file)
        try:
            self._read_heading()
        except BaseException:
            self.close()
            raise
        self._starts = [self._records.at]  # of the rows that were passed, and of the next one

    def close(self) -> None:
        self._records.opened.close()

    def __enter__(self) -> SensitivityFile:
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()

    @property
    def compressed(self) -> bool:
        return self.filter.size > 0

    @property
    def ground(self) -> NDArray[np.bool_]:
        """True where a cell of the mesh is ground, False in air."""
        return ground_cells(self.column_tops, self.mesh.shape[0])

    def row(self, datum: int) -> NDArray[np.float32]:
        """A row of a file in full form, with an entry for each ground cell."""
        if self.compressed:
            raise QuorivexError(f"{self.file} is compressed: ask for its compressed_row.")
        record = self._begin_row(datum)
        return self._records.array(record, 0, "<f4", self.nsens)

    def compressed_row(self, datum: int) -> CompressedRow:
        """A row of a compressed file."""
        if not self.compressed:
            raise QuorivexError(f"{self.file} is in full form: ask for its row.")
        record = self._begin_row(datum)
        points = int(np.prod(self.wavelet_shape, dtype=np.int64))
        count = int(self._records.array(record, 0, "<i4", 1)[0])
        if not 0 <= count <= points:
            raise record.fault(f"from 0 to {points} coefficients", f"{count}")
        positions = self._records.array(record, 4, "<i4", count)
        if count > 0 and not 1 <= positions.min() <= positions.max() <= points:
            raise record.fault(f"positions from 1 to {points}",
                               f"{positions.min()} to {positions.max()}")
        values = self._records.array(record, 4 + 4 * count, "<f4", count)
        return CompressedRow(positions - np.int32(1), values)

    def rows(self) -> Iterator[NDArray[np.float32]]:
        """All rows of a file in full form, one after the other."""
        return (self.row(datum) for datum in range(self.ndata))

    def compressed_rows(self) -> Iterator[CompressedRow]:
        """All rows of a compressed file, one after the other."""
        return (self.compressed_row(datum) for datum in range(self.ndata))

    def diagonal(self) -> Floats:
        """gdiag of each ground cell, the last record."""
        record = self._pass_rows(self.ndata)
        return self._records.array(record, 0, "<f8", self.nsens)

    def on_mesh(self, values: NDArray[np.floating[Any]]) -> Floats:
        """A value per ground cell as an array with the shape of the mesh, NaN in air."""
        if values.shape != (self.nsens,):
            raise QuorivexError(f"There are {self.nsens} ground cells, not {values.shape} values.")
        cells = np.full(self.mesh.cells, np.nan)
        cells[to_cell_order(self.ground)] = values
        return from_cell_order(cells, self.mesh.shape)

    def _begin_row(self, datum: int) -> _Record:
        if not 0 <= datum < self.ndata:
            raise IndexError(f"{self.file} has rows 0 to {self.ndata - 1}, not {datum}")
        return self._pass_rows(datum)

    def _pass_rows(self, datum: int) -> _Record:
        """The record behind that many rows."""
        while len(self._starts) <= datum:
            self._records.begin(_FIRST_ROW + len(self._starts) - 1, self._starts[-1])
            self._starts.append(self._records.at)
        return self._records.begin(_FIRST_ROW + datum, self._starts[datum])

    def _read_heading(self) -> None:
        """Records 1 to 6."""
        records = self._records
        rows, columns, layers = self._read_counts()
        record = records.begin(2)
        nodes = records.array(record, 0, "<f8", rows + columns + layers + 4)
        northing, easting, depth, top = np.split(
            nodes, np.cumsum([rows + 1, columns + 1, layers + 1]))
        if not bool(np.isfinite(nodes).all()) or not all(
                bool((np.diff(axis) > 0.0).all()) for axis in (northing, easting, depth)):
            raise record.fault("nodes of the mesh that increase", "others")
        self.mesh = mesh_of_nodes(easting, northing, depth, float(top[0]))
        record = records.begin(3)
        tops = records.array(record, 0, "<i4", rows * columns)
        if not 0 <= tops.min() <= tops.max() <= layers:
            raise record.fault(f"column tops from 0 to {layers}", f"{tops.min()} to {tops.max()}")
        self.column_tops = columns_from_file(tops, rows, columns)
        ground = rows * columns * layers - int(tops.sum(dtype=np.int64))
        if ground != self.nsens:
            raise record.fault(f"column tops that leave {self.nsens} ground cells", f"{ground}")
        self._read_wavelet()
        record = records.begin(6)
        self.wtz = records.array(record, 4, "<f8", self.nsens)

    def _read_counts(self) -> tuple[int, int, int]:
        record = self._records.begin(1)
        counts = self._records.array(record, 0, "<i4", 5).tolist()
        self.ndata, self.nsens, rows, columns, layers = counts
        if min(self.ndata, self.nsens) < 0 or min(rows, columns, layers) < 1:
            raise record.fault("counts of data, ground cells and the mesh", f"{counts}")
        if rows * columns * layers > _MAX_COUNT:
            raise record.fault(f"at most {_MAX_COUNT} cells", f"{rows * columns * layers}")
        return rows, columns, layers

    def _read_wavelet(self) -> None:
        """Filter and wavelet grid."""
        records = self._records
        record = records.begin(4)
        count = max(0, int(records.array(record, 0, "<i4", 1)[0]))
        self.filter = records.array(record, 4, "<f8", count)
        if not bool(np.isfinite(self.filter).all()):
            raise record.fault("finite coefficients of the filter", "others")
        record = records.begin(5)
        northing, easting, depth = records.array(record, 0, "<i4", 3).tolist()
        self.wavelet_shape = (northing, easting, depth)
        if min(self.wavelet_shape) < 0 or northing * easting * depth > _MAX_COUNT:
            raise record.fault(f"at most {_MAX_COUNT} points", f"{self.wavelet_shape}")
        layers, rows, columns = self.mesh.shape
        if self.compressed and (northing < rows or easting < columns or depth < layers):
            raise record.fault(f"points for {rows} x {columns} x {layers} cells",
                               f"{self.wavelet_shape}")


@dataclass(frozen=True)
class _Record:
    """A record between its two counts of bytes."""

    file: Path
    number: int  #: from 1
    start: int
    size: int

    def fault(self, expected: str, found: str) -> QuorivexError:
        return fault(self.file, f"in record {self.number} {expected}", found)


class _Records:
    """The records of a file. Nothing is read before the length of the file allows it."""

    def __init__(self, file: Path) -> None:
        self.file = file
        self.opened: BinaryIO = open_regular(file)
        self._bytes = self.opened.seek(0, 2)
        self.at = 0  # where the next record begins

    def begin(self, number: int, at: int | None = None) -> _Record:
        """The record that begins there, or after the last one, with that number."""
        start = self.at if at is None else at
        size = self._count(start, number)
        end = start + 4 + size
        if size < 0 or end + 4 > self._bytes or self._count(end, number) != size:
            raise fault(self.file, f"record {number} between two counts of its bytes",
                        f"{size} at byte {start} of {self._bytes}")
        self.at = end + 4
        return _Record(self.file, number, start + 4, size)

    def array(self, record: _Record, skip: int, kind: str, count: int) -> NDArray[Any]:
        """`count` numbers of a record behind its first `skip` bytes."""
        size = np.dtype(kind).itemsize * count
        if skip + size > record.size:
            raise record.fault(f"{skip + size} bytes or more", f"{record.size}")
        self.opened.seek(record.start + skip)
        return np.frombuffer(self._read(size), dtype=kind)

    def _count(self, at: int, number: int) -> int:
        if at + 4 > self._bytes:
            raise fault(self.file, f"record {number}", f"the end of the file, {self._bytes} bytes")
        self.opened.seek(at)
        return int(struct.unpack("<i", self._read(4))[0])

    def _read(self, size: int) -> bytearray:
        data = bytearray(size)
        if self.opened.readinto(data) != size:  # type: ignore[attr-defined]
            raise fault(self.file, f"{size} bytes more", "the end of the file")
        return data
