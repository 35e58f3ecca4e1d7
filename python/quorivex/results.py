# SPDX-License-Identifier: GPL-3.0-or-later
"""A finished run as one object: what it read and what it left."""

from __future__ import annotations

import os
from dataclasses import dataclass
from pathlib import Path
from typing import TYPE_CHECKING

import numpy as np
from numpy.typing import NDArray

from .errors import QuorivexError, fault
from .free_format import Floats
from .input_file import InputFile, read_input_file
from .log import Log, entries, read_log
from .mesh import Mesh
from .models import read_model
from .observations import Observations, read_observations, read_predicted
from .sensitivity import SensitivityFile
from .sidecar import Sidecar, read_sidecar
from .summary import Iteration, Summary, read_summary
from .text_files import FilePath, text_lines

if TYPE_CHECKING:
    import pyvista
    import xarray

_LOG = "quorivex.log"
_SUMMARY = "quorivex.out"
_ECHO = 200


@dataclass(frozen=True)
class Result:
    """A run: `open_result` finds its parts."""

    input_file: Path
    folder: Path  #: in which the run was started and left its files
    input: InputFile
    log: Log
    summary: Summary
    mesh: Mesh
    ground: NDArray[np.bool_]  #: True where a cell of the mesh is ground, False in air
    wtz: Floats  #: scale of the cells, with the shape of the mesh, NaN in air
    compressed: bool  #: form of the sensitivity file
    observations: Observations
    sidecar: Sidecar | None
    crs: str  #: coordinate system, "EPSG:32754"; "" where it is not known
    iterations: tuple[Iteration, ...]  #: whose model and predicted data are there, at least one

    def iteration(self, number: int | None = None) -> Iteration:
        """The row of that iteration, or of the last one."""
        if number is None:
            return self.iterations[-1]
        for row in self.iterations:
            if row.iteration == number:
                return row
        numbers = ", ".join(str(row.iteration) for row in self.iterations)
        raise QuorivexError(
            f"The run of {self.input_file} has no iteration {number}, but {numbers}.",
            file=self.input_file)

    def model(self, iteration: int | None = None) -> Floats:
        """Susceptibilities (SI), with the shape of the mesh and NaN in air."""
        file = self._file(iteration, "sus")
        model = read_model(file, self.mesh)
        air = np.isnan(model)
        wrong = ~self.ground & ~air if self.input.active_cells else air == self.ground
        if bool(wrong.any()):
            raise fault(file, "air where the sensitivity file of the run has it",
                        f"{np.count_nonzero(wrong)} cells that differ")
        return model

    def predicted(self, iteration: int | None = None) -> Floats:
        """Predicted data (nT), one per datum of `observations`."""
        file = self._file(iteration, "pre")
        data = read_predicted(file)
        stations = self.observations
        same = len(data) == len(stations) and all(
            np.allclose(ours, theirs, rtol=1e-9, atol=0.0) for ours, theirs in (
                (data.easting, stations.easting), (data.northing, stations.northing),
                (data.elevation, stations.elevation)))
        if not same:
            raise fault(file, "the stations of the observations", "others")
        stated = self.iteration(iteration).misfit
        misfit = stations.misfit(data.predicted)
        rounding = self._misfit_rounding(data.predicted) + 0.5e-6 * stated
        if not abs(misfit - stated) <= 2.0 * rounding + 1e-9:
            raise fault(file, f"a misfit of {stated:.6g}, as the summary says", f"{misfit:.6g}")
        return data.predicted

    def residual(self, iteration: int | None = None) -> Floats:
        """Observed minus predicted data (nT)."""
        residual: Floats = self.observations.observed - self.predicted(iteration)
        return residual

    def to_xarray(self, iteration: int | None = None) -> xarray.Dataset:
        """The model as `qvx export --netcdf` writes it. Needs xarray."""
        from .to_xarray import model_dataset
        return model_dataset(self, iteration)

    def to_pyvista(self, iteration: int | None = None) -> pyvista.RectilinearGrid:
        """The model as a rectilinear grid. Needs pyvista."""
        from .to_pyvista import model_grid
        return model_grid(self, iteration)

    def _file(self, iteration: int | None, extension: str) -> Path:
        return iteration_file(self.folder, self.iteration(iteration).iteration, extension)

    def _misfit_rounding(self, predicted: Floats) -> float:
        """What the six digits of predicted data may change in the misfit."""
        o = self.observations
        digits = 0.5e-6 * np.abs(predicted) / o.standard_deviation
        residual = np.abs(o.observed - predicted) / o.standard_deviation
        return float(digits @ (2.0 * residual + digits))


def iteration_file(folder: Path, iteration: int, extension: str) -> Path:
    """Where a run leaves the model (sus) or predicted data (pre) of an iteration."""
    return folder / f"quorivex_{iteration:03}.{extension}"


def open_result(path: FilePath = ".") -> Result:
    """Opens a run by its input file, or by the folder in which it was started.

    The folder of the run of an input file is the current one or that of the file, whichever has a
    log with the lines that the file holds now.
    """
    if os.path.isdir(path):
        folder = Path(path)
        log = read_log(folder / _LOG)
        input_file = folder / log.input_file
        if _entries(input_file) != log.input_lines:
            raise fault(folder / _LOG, f"the log of a run of {input_file}",
                        "other lines than that file holds now")
    else:
        input_file = Path(path)
        folder, log = _find_log(input_file)
    return _read(input_file, folder, log)


def _entries(input_file: Path) -> tuple[str, ...]:
    return entries(text for _, text in text_lines(input_file, _ECHO))


def _find_log(input_file: Path) -> tuple[Path, Log]:
    wanted = _entries(input_file)
    found: list[tuple[Path, Log]] = []
    for folder in dict.fromkeys((Path("."), input_file.parent)):
        try:
            log = read_log(folder / _LOG)
        except QuorivexError:  # none, or damaged
            continue
        if log.input_lines == wanted:
            found.append((folder, log))
    # Of two logs with the same lines the one counts that names this very file.
    found.sort(key=lambda place: not _is_same(place[0] / place[1].input_file, input_file))
    if not found:
        raise QuorivexError(
            f"No run of {input_file} is here: neither the current folder nor that of the file has "
            f"a {_LOG} with its lines.", file=input_file)
    return found[0]


def _is_same(one: Path, other: Path) -> bool:
    return one.exists() and os.path.samefile(one, other)


def _read(input_file: Path, folder: Path, log: Log) -> Result:
    run = read_input_file(input_file)
    summary = read_summary(folder / _SUMMARY)
    if summary.started and summary.started != log.started:
        raise fault(folder / _SUMMARY, f"the summary of the run that started on {log.started}",
                    f"one of {summary.started}")
    iterations = tuple(
        row for row in summary.iterations
        if all(iteration_file(folder, row.iteration, kind).is_file() for kind in ("sus", "pre")))
    if not iterations:
        raise QuorivexError(f"The run of {input_file} has left no iteration. {log.ending}".strip(),
                            file=input_file)
    observations = read_observations(folder / run.observations)
    matrix = folder / run.sensitivity
    with SensitivityFile(matrix) as heading:
        if heading.ndata != len(observations):
            raise fault(folder / run.observations, f"{heading.ndata} data, as in {matrix}",
                        f"{len(observations)}")
        sidecar = read_sidecar(matrix)
        if sidecar is not None and sidecar.bytes != matrix.stat().st_size:
            sidecar = None
        return Result(input_file, folder, run, log, summary, heading.mesh, heading.ground,
                      heading.on_mesh(heading.wtz), heading.compressed, observations, sidecar,
                      _common_crs(observations, sidecar, matrix), iterations)


def _common_crs(observations: Observations, sidecar: Sidecar | None, matrix: Path) -> str:
    codes = {code for code in (observations.crs, sidecar.crs if sidecar else "") if code}
    if len(codes) > 1:
        raise fault(matrix, f"the coordinate system of the observations, {observations.crs}",
                    f"{sidecar.crs if sidecar else ''}")
    return codes.pop() if codes else ""
