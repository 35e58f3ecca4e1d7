# SPDX-License-Identifier: GPL-3.0-or-later
"""The one place where the order of cells in files becomes the order of arrays and back.

Files list cells depth fastest (top to bottom), then easting (west to east), then northing (south to
north). Arrays have the axes (elevation, northing, easting), all of them rising: `model[0, 0, 0]` is
the deepest cell of the south-western column. That is the order of `qvx export --netcdf`.
"""

from __future__ import annotations

from typing import TypeVar

import numpy as np
from numpy.typing import NDArray

_T = TypeVar("_T", bound=np.generic)

Shape = tuple[int, int, int]


def from_cell_order(values: NDArray[_T], shape: Shape) -> NDArray[_T]:
    """Values as a file lists them, as an array of that shape (layers, rows, columns)."""
    layers, rows, columns = shape
    return np.ascontiguousarray(values.reshape(rows, columns, layers).transpose(2, 0, 1)[::-1])


def to_cell_order(grid: NDArray[_T]) -> NDArray[_T]:
    """An array (layers, rows, columns) as a file lists it."""
    return grid[::-1].transpose(1, 2, 0).ravel()


def ground_cells(column_tops: NDArray[np.int32], layers: int) -> NDArray[np.bool_]:
    """True where a cell is ground, False where it is air. `column_tops` (rows, columns) counts the
    air cells at the top of each column."""
    below_top = np.arange(layers - 1, -1, -1)[:, np.newaxis, np.newaxis]
    ground: NDArray[np.bool_] = below_top >= column_tops[np.newaxis, :, :]
    return ground


def columns_from_file(values: NDArray[_T], rows: int, columns: int) -> NDArray[_T]:
    """Values per column of a sensitivity file, northing fastest, as an array (rows, columns)."""
    return np.ascontiguousarray(values.reshape(columns, rows).T)
