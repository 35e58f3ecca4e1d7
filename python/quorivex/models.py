# SPDX-License-Identifier: GPL-3.0-or-later
"""Files with a value for each cell of the mesh: models, bounds, active cells and 3-D weights.

Arrays have the shape of the mesh (layers from the bottom, rows from the south, columns from the
west); cells.py has the order.
"""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path
from typing import Any

import numpy as np
from numpy.typing import NDArray

from .cells import Shape, from_cell_order, to_cell_order
from .errors import QuorivexError, fault
from .free_format import Floats, read_first_of_lines, read_list, whole_number
from .mesh import Mesh
from .text_files import FilePath, whole_file

AIR = -100.0  #: marks air in model files


def read_model(file: FilePath, mesh: Mesh, one_per_line: bool = False) -> Floats:
    """Reads susceptibilities (SI), air and other cells marked with -100 as NaN.

    Reference models, and those of `qvx forward`, may have any number of values per line; initial
    models and bounds have one, and the rest of the line is ignored (`one_per_line`). What a run or
    this package writes can be read both ways.
    """
    what = "susceptibilities"
    values = (read_first_of_lines(Path(file), mesh.cells, what) if one_per_line
              else read_list(Path(file), mesh.cells, what))
    values[values == AIR] = np.nan
    return from_cell_order(values, mesh.shape)


def write_model(file: FilePath, model: Floats) -> None:
    """Writes a model or bounds, one value per line with all its digits; NaN becomes -100, air."""
    values = to_cell_order(np.asarray(model, dtype=np.float64))
    _write_values(file, np.where(np.isnan(values), AIR, values))


def read_active_cells(file: FilePath, mesh: Mesh) -> NDArray[np.int8]:
    """Reads the codes of the cells: 1 active, 0 inactive, -1 inactive with influence."""
    codes = read_list(Path(file), mesh.cells, "codes of cells", whole_number)
    _check_codes(codes, Path(file))
    return from_cell_order(codes.astype(np.int8), mesh.shape)


def write_active_cells(file: FilePath, codes: NDArray[np.integer[Any]] | NDArray[np.bool_]) -> None:
    """Writes the codes of the cells; True counts as 1, False as 0."""
    values = to_cell_order(np.asarray(codes).astype(np.int64))
    _check_codes(values.astype(np.float64), Path(file))
    with whole_file(file) as text:
        text.writelines(f"{code}\n" for code in values.tolist())


@dataclass(frozen=True)
class Weights:
    """3-D weights, none negative: of cells, and of the faces between neighbours along each axis."""

    smallness: Floats  #: (layers, rows, columns)
    easting: Floats  #: (layers, rows, columns - 1)
    northing: Floats  #: (layers, rows - 1, columns)
    depth: Floats  #: (layers - 1, rows, columns)

    @classmethod
    def of_ones(cls, mesh: Mesh) -> Weights:
        return cls(*(np.ones(shape) for shape in _weight_shapes(mesh)))


def read_weights(file: FilePath, mesh: Mesh) -> Weights:
    """Reads a file of 3-D weights."""
    shapes = _weight_shapes(mesh)
    sizes = [int(np.prod(shape)) for shape in shapes]
    values = read_list(Path(file), sum(sizes), "weights")
    if bool((values < 0.0).any()):
        raise fault(Path(file), "weights of 0 or more", f"{values.min()}")
    parts = np.split(values, np.cumsum(sizes)[:-1])
    return Weights(*(from_cell_order(part, shape) for part, shape in zip(parts, shapes)))


def write_weights(file: FilePath, weights: Weights) -> None:
    """Writes a file of 3-D weights, one per line."""
    parts = (weights.smallness, weights.easting, weights.northing, weights.depth)
    layers, rows, columns = weights.smallness.shape
    shapes = _shapes_of(layers, rows, columns)
    if [part.shape for part in parts] != shapes:
        raise QuorivexError(f"The weights should have the shapes {shapes}.")
    values = np.concatenate([to_cell_order(np.asarray(p, dtype=np.float64)) for p in parts])
    if not bool((values >= 0.0).all()):
        raise QuorivexError("Weights should be numbers of 0 or more.")
    _write_values(file, values)


def _weight_shapes(mesh: Mesh) -> list[Shape]:
    return _shapes_of(*mesh.shape)


def _shapes_of(layers: int, rows: int, columns: int) -> list[Shape]:
    return [(layers, rows, columns), (layers, rows, columns - 1), (layers, rows - 1, columns),
            (layers - 1, rows, columns)]


def _write_values(file: FilePath, values: Floats) -> None:
    if not bool(np.isfinite(values).all()):
        raise QuorivexError(f"{file}: the values to be written should be finite.")
    with whole_file(file) as text:
        text.writelines(f"{value!r}\n" for value in values.tolist())


def _check_codes(codes: Floats, file: Path) -> None:
    wrong = (codes < -1.0) | (codes > 1.0)
    if bool(wrong.any()):
        raise fault(file, "the codes -1, 0 and 1", f"{codes[wrong][0]:g}")
