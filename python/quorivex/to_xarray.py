# SPDX-License-Identifier: GPL-3.0-or-later
"""A model as a Dataset of xarray: what xarray reads from a file of `qvx export --netcdf`."""

from __future__ import annotations

from typing import TYPE_CHECKING

import numpy as np

from .version import __version__

if TYPE_CHECKING:
    import xarray

    from .free_format import Floats
    from .results import Result


def model_dataset(result: Result, iteration: int | None = None) -> xarray.Dataset:
    """Variable `susceptibility(elevation, northing, easting)` in single precision, NaN in air, and
    the middles of the cells with their bounds (m)."""
    import xarray

    row = result.iteration(iteration)
    model = result.model(iteration).astype(np.float32)
    mesh = result.mesh
    attributes: dict[str, object] = {
        "long_name": "magnetic susceptibility (SI)", "units": "1",
        "actual_range": np.array([np.nanmin(model), np.nanmax(model)], dtype=np.float32),
        "comment": "constant within each cell; cells without a value are air"}
    if result.crs:
        attributes["grid_mapping"] = "crs"
    variables: dict[str, object] = {
        "susceptibility": (("elevation", "northing", "easting"), model, attributes)}
    coordinates: dict[str, object] = {}
    for name, axis, standard_name, middles, nodes in (
            ("elevation", "Z", "altitude", mesh.elevation, mesh.elevation_nodes),
            ("northing", "Y", "projection_y_coordinate", mesh.northing, mesh.northing_nodes),
            ("easting", "X", "projection_x_coordinate", mesh.easting, mesh.easting_nodes)):
        attrs = {"standard_name": standard_name, "long_name": name, "units": "m", "axis": axis,
                 "bounds": f"{name}_bounds"}
        if name == "elevation":
            attrs["positive"] = "up"
        coordinates[name] = ((name,), middles, attrs)
        variables[f"{name}_bounds"] = ((name, "bounds"), _faces(nodes))
    if result.crs:
        variables["crs"] = ((), np.int32(0), {
            "long_name": "coordinate reference system", "epsg_code": result.crs})
    name_of_run = str(result.input_file)
    return xarray.Dataset(variables, coordinates, {
        "Conventions": "CF-1.8",
        "title": f"Magnetic susceptibility: iteration {row.iteration} of {name_of_run}",
        "source": "quorivex, 3-D inversion of magnetic data",
        "history": f"quorivex for Python {__version__}: iteration {row.iteration} of {name_of_run}",
        "iteration": row.iteration, "beta": row.beta, "data_misfit": row.misfit})


def _faces(nodes: Floats) -> Floats:
    """Lower and upper face of each cell."""
    return np.column_stack([nodes[:-1], nodes[1:]])
