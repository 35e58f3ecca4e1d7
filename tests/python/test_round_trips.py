# SPDX-License-Identifier: GPL-3.0-or-later
"""What the package writes is read by the programs with no change in values, and the other way."""

import dataclasses
import re
from pathlib import Path

import numpy as np
import pytest
from conftest import EAST, NORTH, TOP, WIDTHS, survey

import quorivex as q


@pytest.fixture
def mesh(uneven, monkeypatch):
    monkeypatch.chdir(uneven)
    return q.make_mesh(EAST, NORTH, TOP, *WIDTHS)


def ground_of(name="s.mtx"):
    with q.SensitivityFile(name) as file:
        return file.ground


def same(one, other):
    """Every field of two dataclasses, to the last bit."""
    for field in dataclasses.fields(one):
        name = field.name
        np.testing.assert_array_equal(getattr(one, name), getattr(other, name), name)


def test_mesh_has_the_nodes_of_the_program(mesh):
    same(q.read_mesh("mesh.txt"), mesh)
    with q.SensitivityFile("s.mtx") as file:
        q.write_mesh("of_nodes.txt", file.mesh)
        again = q.read_mesh("of_nodes.txt")  # of nodes alone
        for name in ("easting_nodes", "northing_nodes", "depth_nodes", "top"):
            np.testing.assert_array_equal(getattr(file.mesh, name), getattr(mesh, name))
            np.testing.assert_array_equal(getattr(again, name), getattr(mesh, name))
    Path("odd.txt").write_text("\ufeff\n2,3 4 west\n1.5D2 ,2-1\n 1e2 top\n2*7.25\n1 2\n3 x\n"
                               "2*1 2*2\n")
    odd = q.read_mesh("odd.txt")
    assert odd.shape == (4, 3, 2) and odd.easting_nodes[0] == 150.0 and odd.top == 100.0
    assert odd.northing_nodes[0] == 0.2 and list(odd.thicknesses) == [1, 1, 2, 2]


def test_models_have_the_order_and_the_values_of_the_program(mesh):
    q.qvx("model", "--matrix", "s.mtx", "--reference", "box.sus", "--set",
          "box easting=512130:512160 northing=6700060: elevation=:300 reference=0.5")
    expected = np.zeros(mesh.shape)
    e, n, z = ((512130 <= mesh.easting) & (mesh.easting <= 512160), mesh.northing >= 6700060,
               mesh.elevation <= 300)
    expected[np.ix_(z, n, e)] = 0.5
    assert 0 < (expected > 0).sum() < expected.size / 4
    expected[~ground_of()] = np.nan
    np.testing.assert_array_equal(q.read_model("box.sus", mesh), expected)
    model = np.random.default_rng(1).uniform(-1, 1, mesh.shape) ** 9
    model[~ground_of()] = np.nan
    q.write_model("ours.sus", model)
    q.qvx("model", "--matrix", "s.mtx", "--reference", "theirs.sus", "--set",
          "file name=ours.sus reference=@")
    for per_line in (True, False):
        np.testing.assert_array_equal(q.read_model("theirs.sus", mesh, per_line), model)


def test_active_cells_and_weights_have_the_order_of_the_program(mesh):
    q.qvx("model", "--matrix", "s.mtx", "--active", "a.txt", "--weights", "w.txt",
          "--set", "box easting=512130: active=-1 smallness=3.1",
          "--set", "box northing=6700060: smoothness_easting=0.3",
          "--set", "box elevation=:300 smoothness_depth=0.7 smoothness_northing=5")
    codes, weights = q.read_active_cells("a.txt", mesh), q.read_weights("w.txt", mesh)
    ground = ground_of()
    east, north, deep = mesh.easting >= 512130, mesh.northing >= 6700060, mesh.elevation <= 300
    np.testing.assert_array_equal(codes, np.where(ground, np.where(east, -1, 1), 0))
    np.testing.assert_array_equal(weights.smallness, np.where(ground & east, 3.1, 1.0))
    both = ground[:, :, 1:] & ground[:, :, :-1] & north[:, np.newaxis]
    np.testing.assert_array_equal(weights.easting, np.where(both, 0.3, 1.0))
    below = (ground & deep[:, np.newaxis, np.newaxis])
    both = below[:, 1:] & below[:, :-1]
    np.testing.assert_array_equal(weights.northing, np.where(both, 5.0, 1.0))
    np.testing.assert_array_equal(weights.depth, np.where(below[1:] & below[:-1], 0.7, 1.0))
    q.write_active_cells("a2.txt", codes)
    q.write_weights("w2.txt", weights)
    np.testing.assert_array_equal(q.read_active_cells("a2.txt", mesh), codes)
    same(q.read_weights("w2.txt", mesh), weights)
    run = q.InputFile(observations="obs.mag", sensitivity="s.mtx", mode=2, beta=1e3,
                      active_cells="a2.txt", weights="w2.txt", reference_model="box.sus",
                      alphas=(50.0, 40.0, 30.0), lower_bounds=-0.125)
    q.write_model("box.sus", np.where(ground, 0.0, np.nan))
    q.write_input_file("all.inp", run)
    assert q.read_input_file("all.inp") == run
    report = q.qvx("check", "all.inp")
    assert re.search(rf"active cells +{np.count_nonzero(codes == 1)};", report), report
    for text in ("smallness    1 to 3.1", "easting      0.3 to 1", "northing     1 to 5",
                 "depth        0.7 to 1"):
        assert f"weights of {text}" in report, report


@pytest.mark.parametrize("directions", [False, True])
def test_observations_have_the_fingerprints_of_the_program(mesh, directions):
    """The fingerprints stand for the bits of all numbers, as the program has read them."""
    ours = survey(mesh, directions)
    q.write_observations("first.mag", ours)
    read = q.read_observations("first.mag")
    same(read, ours)
    q.write_observations("second.mag", dataclasses.replace(read, comments=()))
    prints = []
    for name in ("first.mag", "second.mag"):
        q.qvx("sensitivity", "--mesh", "mesh.txt", "--topography", "terrain.txt", "--data", name,
              "--output", "d.mtx")
        prints.append(q.read_sidecar("d.mtx").fingerprints)
    assert prints[0] == prints[1]
    # What the program writes of them has fewer digits, but the same names and directions.
    q.qvx("forward", "--matrix", "d.mtx", "--data", "first.mag", "--model", "true.txt",
          "--output", "p.mag")
    theirs = q.read_predicted("p.mag")
    np.testing.assert_allclose(theirs.easting, ours.easting, rtol=1e-9)
    assert (theirs.datum_directions is not None) == directions
    if directions:
        np.testing.assert_allclose(theirs.datum_directions, ours.datum_directions, rtol=1e-4)


def test_writing_never_leaves_half_a_file(mesh, tmp_path):
    file = tmp_path / "model.sus"
    file.write_text("as it was")
    with pytest.raises(q.QuorivexError, match="finite"):
        q.write_model(file, np.full(mesh.shape, np.inf))
    stations = dataclasses.replace(survey(mesh), line=("one name",))
    with pytest.raises(q.QuorivexError, match="names"):
        q.write_observations(file, stations)
    with pytest.raises(q.QuorivexError, match="cannot be written"):
        q.write_mesh(tmp_path / "none" / "mesh.txt", mesh)
    for name in ("null_hypothesis.sus", "a!b", "", "VALUE x"):
        with pytest.raises(q.QuorivexError, match="cannot be the name"):
            q.write_input_file(file, q.InputFile(observations="o", sensitivity=name))
    assert [p.name for p in tmp_path.iterdir()] == ["model.sus"] and file.read_text() == "as it was"
