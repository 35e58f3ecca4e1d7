# SPDX-License-Identifier: GPL-3.0-or-later
"""Runs of the real programs, in the folder that QUORIVEX_BIN names, for the tests."""

import dataclasses
import os
import shutil
from pathlib import Path

import numpy as np
import pytest

import quorivex as q

BIN = os.path.abspath(os.environ.get("QUORIVEX_BIN", "build/release/bin"))
os.environ["PATH"] = BIN + os.pathsep + os.environ["PATH"]
EXAMPLES = Path(__file__).resolve().parents[2] / "examples"


@pytest.fixture(scope="session")
def two_blocks(tmp_path_factory):
    """The example, inverted."""
    folder = tmp_path_factory.mktemp("runs") / "two_blocks"
    shutil.copytree(EXAMPLES / "two_blocks", folder)
    ground = ("--mesh", "mesh.txt", "--topography", "terrain.txt")
    q.qvx("forward", *ground, "--data", "stations.txt", "--model", "true_model.txt",
          "--noise-floor", 2, "--noise-percent", 1, "--output", "observations.mag", folder=folder)
    q.qvx("sensitivity", *ground, "--data", "observations.mag", "--output", "two_blocks.mtx",
          folder=folder)
    rows = list(q.run("two_blocks.inp", folder=folder))
    assert len(rows) > 5
    return folder


# Counts and widths differ along all axes, and few of these numbers are exact in binary.
WIDTHS = ([60.1, 40.3, 25, 25, 25, 25, 70.7], [50.3, *3 * [20.123456789012345], 80.9],
          [9.7, 15, 20.1, 30, 40, 60])
EAST, NORTH, TOP = 512000.7, 6700000.3, 340.1


def terrain(e, n):
    """A plane that falls to the north-east, more along easting."""
    return 337.0 - 0.10 * (e - EAST) - 0.05 * (n - NORTH)


def survey(mesh, directions=False):
    """A survey with names and a coordinate system, its data of one block still to come."""
    e, n = (a.ravel() for a in np.meshgrid(np.arange(EAST + 61.3, mesh.easting_nodes[-1], 23.1),
                                           np.arange(NORTH + 27.7, mesh.northing_nodes[-1], 21.1)))
    return q.Observations(
        inclination=65.123, declination=12.0, strength=52000.1, anomaly_inclination=60.7,
        anomaly_declination=11.1, easting=e, northing=n, elevation=terrain(e, n) + 20.123456789012,
        datum_directions=np.column_stack([60 + e / 1e3 % 1, 11 + n % 3]) if directions else None,
        line=tuple(f"L {y:.0f}, east" for y in n), fiducial=tuple(f"{x:.1f}" for x in e),
        crs="EPSG:32754", comments=("made by a test",), observed=np.sin(e / 7.0) / 3.0,
        standard_deviation=1.0 + np.cos(n / 5.0) ** 2)


@pytest.fixture(scope="session")
def uneven(tmp_path_factory):
    """Cells of unequal widths below a slope; all input files are written by the package. s.mtx is
    compressed, full.mtx is not."""
    folder = tmp_path_factory.mktemp("runs") / "uneven"
    folder.mkdir()
    mesh = q.make_mesh(EAST, NORTH, TOP, *WIDTHS)
    q.write_mesh(folder / "mesh.txt", mesh)
    corners = [(x, y) for x in (EAST - 50, EAST + 400) for y in (NORTH - 50, NORTH + 400)]
    (folder / "terrain.txt").write_text("".join(f"{x} {y} {terrain(x, y)}\n" for x, y in corners))
    stations = survey(mesh)
    q.write_stations(folder / "stations.txt", stations)
    model = np.zeros(mesh.shape)
    model[2:4, 1:3, 3:5] = 0.08
    q.write_model(folder / "true.txt", model)
    ground = ("--mesh", "mesh.txt", "--topography", "terrain.txt")
    q.qvx("forward", *ground, "--data", "stations.txt", "--model", "true.txt", "--noise-floor", 1,
          "--output", "noisy.mag", folder=folder)
    noisy = q.read_observations(folder / "noisy.mag")
    q.write_observations(folder / "obs.mag", dataclasses.replace(
        stations, observed=noisy.observed, standard_deviation=noisy.standard_deviation))
    for name, options in (("s.mtx", ()), ("full.mtx", ("--wavelet", "none"))):
        q.qvx("sensitivity", *ground, "--data", "obs.mag", "--output", name, *options,
              folder=folder)
    q.write_input_file(folder / "run.inp", q.InputFile(observations="obs.mag", sensitivity="s.mtx"))
    assert len(list(q.run("run.inp", threads=1, folder=folder))) > 2
    return folder
