# SPDX-License-Identifier: GPL-3.0-or-later
"""Results against what the programs say of them."""

import re
import shutil
import sys
import types

import numpy as np
import pytest
import vtk
import xarray
from netCDF4 import Dataset
from vtk.util.numpy_support import numpy_to_vtk

import quorivex as q


@pytest.fixture(params=["two_blocks", "uneven"])
def folder(request, monkeypatch):
    folder = request.getfixturevalue(request.param)
    monkeypatch.chdir(folder)
    return folder


def input_of(folder):
    return {"two_blocks": "two_blocks.inp", "uneven": "run.inp"}[folder.name]


def test_dataset_is_the_exported_netcdf(folder):
    result = q.open_result(input_of(folder))
    last = len(result.iterations)
    for iteration in (1, last):
        q.qvx("export", input_of(folder), "--netcdf", "m.nc", "--iteration", iteration)
        ours = result.to_xarray(iteration if iteration == 1 else None)
        with Dataset("m.nc") as file:  # bit by bit, whatever xarray makes of either
            for name in file.variables:
                theirs = np.ma.filled(file[name][...], np.nan)
                assert ours[name].dims == file[name].dimensions, name
                assert ours[name].dtype == theirs.dtype, name
                np.testing.assert_array_equal(ours[name].values, theirs, name)
        with xarray.open_dataset("m.nc") as theirs:
            theirs.load()
        assert "quorivex for Python" in ours.attrs.pop("history") and theirs.attrs.pop("history")
        if "crs" in theirs:  # the definition of a code is GDAL's
            assert ours.crs.attrs["epsg_code"] == theirs.crs.attrs["epsg_code"] == "EPSG:32754"
            ours.crs.attrs = theirs.crs.attrs
        xarray.testing.assert_identical(ours, theirs)
    assert np.isnan(ours.susceptibility).sum() > 20
    assert np.nanmax(np.abs(result.model(1) - result.model())) > 0.001  # they can be told


class RectilinearGrid:
    """What the conversion uses of pyvista, with the cells of VTK itself."""

    def __init__(self, x, y, z):
        self.grid = vtk.vtkRectilinearGrid()
        self.grid.SetDimensions(x.size, y.size, z.size)
        for axis, nodes in zip("XYZ", (x, y, z)):
            getattr(self.grid, f"Set{axis}Coordinates")(numpy_to_vtk(nodes, deep=True))
        self.cell_data = {}


def test_cells_of_the_grid_are_where_vtk_has_them(folder, monkeypatch):
    stand_in = types.ModuleType("pyvista")
    stand_in.RectilinearGrid = RectilinearGrid
    monkeypatch.setitem(sys.modules, "pyvista", stand_in)
    result = q.open_result(folder)
    grid, model = result.to_pyvista(), result.to_xarray().susceptibility
    values, hidden = grid.cell_data["susceptibility"], grid.cell_data["vtkGhostType"]
    assert grid.grid.GetNumberOfCells() == values.size == model.size
    bounds = [0.0] * 6
    for cell in range(0, values.size, 101 if values.size > 1000 else 1):
        grid.grid.GetCellBounds(cell, bounds)
        e, n, z = np.mean(np.reshape(bounds, (3, 2)), axis=1)
        there = model.sel(easting=e, northing=n, elevation=z, method="nearest")
        np.testing.assert_array_equal(values[cell], there)
        assert hidden[cell] == (32 if np.isnan(there) else 0)


def test_summary_log_and_sidecar_agree_with_the_programs(folder):
    result = q.open_result(input_of(folder))
    last = len(result.summary.iterations)
    assert [i.iteration for i in result.iterations] == list(range(1, last + 1))
    assert [(i.beta, i.misfit) for i in result.log.iterations] == [
        (i.beta, i.misfit) for i in result.iterations]
    assert result.log.ending == "Target misfit reached." and not result.summary.note
    assert result.log.started == result.summary.started != "" and result.log.ended
    assert result.summary.target_misfit == pytest.approx(len(result.observations), rel=1e-4)
    assert result.summary.initial_misfit == pytest.approx(result.log.initial_misfit, rel=1e-4)
    assert result.log.counts["# of cells below topo"] == result.ground.sum()
    info = q.qvx("info", result.input.sensitivity)
    for name, text in result.sidecar.lines:
        assert name == "warning" or re.search(rf"^  {name} +{re.escape(text)}$", info, re.M), name
    o = result.observations
    np.testing.assert_array_equal(result.residual(), o.observed - result.predicted())
    assert (o.crs, o.line[:1]) == (("EPSG:32754", ("L 6700028, east",)) if folder.name == "uneven"
                                   else ("", ()))


def test_files_of_other_runs_are_refused(uneven, tmp_path):
    folder = shutil.copytree(uneven, tmp_path / "run")
    shutil.copy(folder / "quorivex_001.pre", folder / "quorivex_002.pre")
    lines = (folder / "quorivex_002.sus").read_text().splitlines()
    (folder / "quorivex_002.sus").write_text("\n".join([lines[-1], *lines[1:]]))
    result = q.open_result(folder)
    result.predicted(1)
    with pytest.raises(q.QuorivexError, match="misfit of"):
        result.predicted(2)
    with pytest.raises(q.QuorivexError, match="1 cells that differ"):
        result.model(2)
    with pytest.raises(q.QuorivexError, match="no iteration 99"):
        result.model(99)
    (folder / "run.inp").write_text((folder / "run.inp").read_text().replace("1.0", "0.9", 1))
    for path in (folder, folder / "run.inp"):
        with pytest.raises(q.QuorivexError, match="run.inp"):
            q.open_result(path)
