# SPDX-License-Identifier: GPL-3.0-or-later
"""A model as a rectilinear grid of pyvista."""

from __future__ import annotations

from typing import TYPE_CHECKING

import numpy as np

if TYPE_CHECKING:
    import pyvista

    from .results import Result

_HIDDEN = 32  # a cell that VTK does not show


def model_grid(result: Result, iteration: int | None = None) -> pyvista.RectilinearGrid:
    """x is easting, y northing, z elevation (m). Cell data `susceptibility`, NaN in air, and
    `vtkGhostType`, which hides air."""
    import pyvista

    mesh = result.mesh
    # VTK counts cells with x fastest, then y, then z upward: that is the order of our arrays.
    model = result.model(iteration).ravel()
    grid = pyvista.RectilinearGrid(mesh.easting_nodes, mesh.northing_nodes, mesh.elevation_nodes)
    grid.cell_data["susceptibility"] = model.astype(np.float32)
    grid.cell_data["vtkGhostType"] = np.where(np.isnan(model), _HIDDEN, 0).astype(np.uint8)
    return grid
