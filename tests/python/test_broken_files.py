# SPDX-License-Identifier: GPL-3.0-or-later
"""Damaged files are refused quickly, with a message that names them, and without the memory that
they ask for."""

import random
import struct
import time
import tracemalloc

import numpy as np
import pytest

import quorivex as q


def read_matrix(name):
    with q.SensitivityFile(name) as file:
        for _ in file.compressed_rows() if file.compressed else file.rows():
            pass
        return file.diagonal()


MESH = q.make_mesh(0, 0, 0, [1] * 7, [1] * 5, [1] * 6)  # as many cells as the run has
READERS = {
    "mesh.txt": q.read_mesh, "obs.mag": q.read_observations, "quorivex_001.pre": q.read_predicted,
    "quorivex.out": q.read_summary, "quorivex.log": q.read_log, "run.inp": q.read_input_file,
    "s.mtx": read_matrix, "full.mtx": read_matrix,
    "s.mtx.info": lambda name: q.read_sidecar(str(name).removesuffix(".info")),
    "quorivex_001.sus": lambda name: q.read_model(name, MESH),
}
# Files that may end anywhere: a run that goes on is writing them, or they say less.
MAY_BE_SHORT = ("quorivex.out", "quorivex.log", "s.mtx.info")


def attempt(read, file):
    """True where the file was read; any other error than that of the package is a fault."""
    tracemalloc.start()
    began = time.monotonic()
    try:
        read(file)
        return True
    except q.QuorivexError as error:
        assert error.file is not None and error.file.name in str(error)
        return False
    finally:
        peak = tracemalloc.get_traced_memory()[1]
        tracemalloc.stop()
        assert time.monotonic() - began < 5
        assert peak < 10 * file.stat().st_size + 3_000_000, f"{peak} bytes for {file}"


@pytest.mark.parametrize("name", READERS)
def test_cut_files(uneven, tmp_path, name):
    whole = (uneven / name).read_bytes()
    file = tmp_path / name
    places = {*np.linspace(0, len(whole) - 1, 60).astype(int), *range(0, min(400, len(whole)), 9)}
    for place in sorted(places):
        file.write_bytes(whole[:place])
        # A text without its last characters may lack nothing but digits or comments.
        if attempt(READERS[name], file) and name not in MAY_BE_SHORT:
            assert not name.endswith(".mtx") and place > 0.9 * len(whole), place
    file.write_bytes(whole)
    assert attempt(READERS[name], file)


@pytest.mark.parametrize("name", READERS)
def test_changed_bytes(uneven, tmp_path, name):
    whole = (uneven / name).read_bytes()
    file = tmp_path / name
    dice = random.Random(name)
    for _ in range(150):
        bytes_ = bytearray(whole)
        for _ in range(dice.choice((1, 1, 3, 20))):
            at = dice.randrange(min(len(whole), dice.choice((200, 2000, len(whole)))))
            bytes_[at] = dice.choice((0, 9, 10, 32, 42, 44, 45, 47, 127, 255, dice.randrange(256)))
        file.write_bytes(bytes_)
        attempt(READERS[name], file)


def test_huge_counts(uneven, tmp_path):
    huge = {"mesh.txt": "1000000 2000 1\n0 0 0\n1000000*1\n",
            "obs.mag": "65 12 5e4\n65 12 1\n2147483647\n1 2 3 4 5\n",
            "quorivex_001.sus": "99999999999999999999*0.5\n"}
    for name, text in huge.items():
        file = tmp_path / name
        file.write_text(text)
        if name == "mesh.txt":  # widths that the file does hold
            with pytest.raises(q.QuorivexError, match="2000 widths along northing"):
                q.read_mesh(file)
        else:
            assert not attempt(READERS[name], file)
    whole = (uneven / "s.mtx").read_bytes()
    file = tmp_path / "s.mtx"
    for at in range(4, 24, 4):  # ndata, nsens and the counts of the mesh
        for count in (2**31 - 1, 10**6, -1):
            file.write_bytes(whole[:at] + struct.pack("<i", count) + whole[at + 4:])
            assert not attempt(read_matrix, file)


def test_messages_say_where_and_what(tmp_path):
    file = tmp_path / "survey.mag"
    file.write_text("! a comment\n65 12 52000\n65 12 1\n2\n\n1 2 3 4 5 ! L1\n1 2 3,5 x\n")
    with pytest.raises(q.QuorivexError) as error:
        q.read_observations(file)
    e = error.value
    assert (e.file, e.line, e.expected) == (file, 7, "5 numbers of datum 2 of 2")
    assert e.found == "'1 2 3,5 x'" and f"{file}, line 7: expected 5 numbers" in str(e)
    file.write_text("65 12 52000\n65 12 1\n1\n1 2 3 4 0\n")
    with pytest.raises(q.QuorivexError, match="line 4: expected a standard deviation above 0"):
        q.read_observations(file)
    mesh = q.make_mesh(0, 0, 0, [1, 1], [1], [1, 1])
    file.write_text("0.1 2*0.2\n0.3 0.4\n")
    with pytest.raises(q.QuorivexError, match="survey.mag: expected 4 susceptibilities; found"):
        q.read_model(file, mesh)
    file.write_text("1 1\n0 0.5\n")
    with pytest.raises(q.QuorivexError, match="line 2: expected a number of .*; found '0.5'"):
        q.read_active_cells(file, mesh)
    with pytest.raises(q.QuorivexError, match="found a folder"):
        q.read_mesh(tmp_path)


@pytest.mark.parametrize("text, values", [
    ("3*0.5 1", [0.5, 0.5, 0.5, 1]), ("1,2 ,3\n,4", [1, 2, 3, 4]),
    ("1.5-3 1d2\t+2E+1 .5", [1.5e-3, 100, 20, 0.5]), ("1 2 3 4 and a comment", [1, 2, 3, 4]),
    ("1 2 3 4/", [1, 2, 3, 4]), ("\r\n1 2\r\n3 4\r\n", [1, 2, 3, 4]), ("1,,2 3 4", None),
    ("2* 3 4 5", None), ("1 2 3/4", None), ("0*1 2 3 4 5", None), ("1 2 3 1_0", None),
    ("1 2 3 nan", None), ("1 2 3 1e999", None), ("1 2 3 0x1", None), ("1 2 3 4 5", None),
    ("1 2 3", None),
])
def test_free_format(tmp_path, text, values):
    file = tmp_path / "list"
    file.write_bytes(text.encode())
    mesh = q.make_mesh(0, 0, 0, [1, 1], [1, 1], [1])
    if values is None:
        with pytest.raises(q.QuorivexError):
            q.read_model(file, mesh)
    else:
        np.testing.assert_array_equal(q.read_model(file, mesh).ravel(), values)
