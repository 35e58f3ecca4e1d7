# SPDX-License-Identifier: GPL-3.0-or-later
"""Runs of the program from Python."""

import os
import shutil
import time

import pytest

import quorivex as q


def copy(folder, to):
    """A run's inputs without its results; its large files are links."""
    copied = shutil.copytree(folder, to / "run", ignore=shutil.ignore_patterns("quorivex*", "*.mtx"))
    for matrix in folder.glob("*.mtx"):
        (copied / matrix.name).symlink_to(matrix)
    return copied


@pytest.fixture
def with_number(tmp_path):
    """The program behind a script that notes its process."""
    script = tmp_path / "noted"
    script.write_text(f'#!/bin/sh\necho $$ >"{tmp_path}/number"\nexec quorivex "$@"\n')
    script.chmod(0o755)
    return script, lambda: int((tmp_path / "number").read_text())


def test_rows_come_with_their_files_while_the_run_goes_on(two_blocks, tmp_path, with_number):
    folder = copy(two_blocks, tmp_path)
    script, number = with_number
    rows = q.run("two_blocks.inp", threads=1, program=os.path.relpath(script), folder=folder)
    first = next(rows)
    os.kill(number(), 0)
    assert first.iteration == 1 and q.read_summary(folder / "quorivex.out").ended == ""
    result = q.open_result(folder)
    assert result.predicted(1).size == 861
    assert result.to_xarray(1).attrs["data_misfit"] == first.misfit
    began = time.monotonic()
    rows.close()
    assert time.monotonic() - began < 5
    with pytest.raises(ProcessLookupError):
        os.kill(number(), 0)
    assert "ended on" not in (folder / "quorivex.log").read_text()


def test_rows_are_those_of_the_summary(uneven, tmp_path):
    folder = copy(uneven, tmp_path)
    rows = tuple(q.run(folder / "run.inp", folder=folder))
    assert rows == q.read_summary(folder / "quorivex.out").iterations
    assert rows == q.read_summary(uneven / "quorivex.out").iterations  # of one thread


@pytest.mark.parametrize("old, new, message", [
    ("VALUE 1.0", "VALUE 0.0", "ERROR: Upper bound should be greater than lower"),
    ("obs.mag", "no.mag", "ERROR: data file not found: no.mag"),
    ("SMOOTH_MOD", "SMOOTH", "ERROR: input file should contain either SMOOTH_MOD or SMOOTH_MOD_D"),
])
def test_failed_runs_raise_the_message_of_the_program(uneven, tmp_path, old, new, message):
    folder = copy(uneven, tmp_path)
    (folder / "run.inp").write_text((folder / "run.inp").read_text().replace(old, new))
    with pytest.raises(q.RunFailed) as failed:
        list(q.run("run.inp", folder=folder))
    assert str(failed.value).startswith(message) and len(str(failed.value).splitlines()) <= 2
    assert failed.value.status == 0 and "QUORIVEX" in failed.value.console


def test_killed_and_missing_programs_raise(uneven, two_blocks, tmp_path, with_number):
    folder = copy(two_blocks, tmp_path)
    script, number = with_number
    rows = q.run("two_blocks.inp", program=script, folder=folder)
    next(rows)
    os.kill(number(), 9)
    with pytest.raises(q.RunFailed, match="signal 9"):
        list(rows)
    with pytest.raises(q.QuorivexError, match="cannot be started"):
        list(q.run("run.inp", program="no_such_program", folder=uneven))
    with pytest.raises(q.QuorivexError, match="no folder"):
        list(q.run("run.inp", folder=uneven / "none"))
    with pytest.raises(q.QuorivexError, match="file not found: no.inp"):
        q.qvx("report", "no.inp", folder=uneven)
