# SPDX-License-Identifier: GPL-3.0-or-later
"""Rows of sensitivity files against the data that the program computes with them."""

import numpy as np
import pytest

import quorivex as q


@pytest.fixture
def here(uneven, monkeypatch):
    monkeypatch.chdir(uneven)


def test_full_rows_give_the_data_of_the_program(here):
    o = q.read_observations("obs.mag")
    with q.SensitivityFile("full.mtx") as file:
        assert not file.compressed and file.ndata == len(o)
        model = np.random.default_rng(2).random(file.mesh.shape)
        q.write_model("random.sus", np.where(file.ground, model, np.nan))
        q.qvx("forward", "--matrix", "full.mtx", "--data", "obs.mag", "--model", "random.sus",
              "--output", "random.mag")
        expected = q.read_predicted("random.mag").predicted
        scaled = model * file.on_mesh(file.wtz)
        # Backwards: a row has to be found without the ones before it.
        for datum in reversed(range(file.ndata)):
            row = file.row(datum).astype(float)
            assert np.nansum(file.on_mesh(row) * scaled) * o.standard_deviation[datum] == (
                pytest.approx(expected[datum], rel=2e-6))
        squares = sum(np.square(row.astype(float) * s)
                      for row, s in zip(file.rows(), o.standard_deviation))
        np.testing.assert_allclose(file.diagonal(), squares, rtol=1e-5)
        with pytest.raises(q.QuorivexError, match="full form"):
            file.compressed_row(0)
        for datum in (-1, file.ndata):
            with pytest.raises(IndexError):
                file.row(datum)


def test_compressed_rows_have_the_norms_of_the_full_ones(here):
    with q.SensitivityFile("s.mtx") as file, q.SensitivityFile("full.mtx") as full:
        assert file.compressed and np.prod(file.wavelet_shape) >= file.mesh.cells
        kept = 0
        first, end = np.prod(file.wavelet_shape), 0
        for row, whole in zip(file.compressed_rows(), full.rows()):
            assert np.unique(row.positions).size == row.positions.size == row.values.size
            first, end = min(first, row.positions.min()), max(end, row.positions.max() + 1)
            kept += row.values.size
            # The transform keeps the norm, and 1 % of it may be lost: 1e-4 of its square.
            share = np.linalg.norm(row.values.astype(float)) / np.linalg.norm(whole.astype(float))
            assert 1 - 1.1e-4 < share ** 2 < 1 + 1e-6
        assert first == 0 and end <= np.prod(file.wavelet_shape)  # the mean is never left out
        assert kept == int(q.read_sidecar("s.mtx").text("coefficients"))
        np.testing.assert_allclose(file.diagonal(), full.diagonal(), rtol=1e-12)
        with pytest.raises(q.QuorivexError, match="compressed"):
            file.row(0)
