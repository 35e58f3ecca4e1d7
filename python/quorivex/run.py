# SPDX-License-Identifier: GPL-3.0-or-later
"""Running the programs: `run` an inversion, and `qvx` for everything around it."""

from __future__ import annotations

import os
import signal
import subprocess
import sys
import tempfile
from collections.abc import Iterator, Sequence
from pathlib import Path
from typing import IO

from .errors import QuorivexError, RunFailed
from .summary import Iteration, read_summary
from .text_files import FilePath

_COMPLETED = "Inversion completed."
# Lines that a run prints on its way; what follows the last of them tells why it stopped.
_ON_ITS_WAY = ("Parallelized with OpenMP", "QUORIVEX ", "alpha values:", "alpha (s, e, n, z):",
               "length scales:", "Le, Ln, Lz:", "cpu time:", "Start inversion", "Iteration:",
               "data misfit:")
_SAMPLE = "sample input file"
_SECONDS_TO_END = 10.0


def run(input_file: FilePath, threads: int | None = None,
        program: FilePath | Sequence[str] = "quorivex",
        folder: FilePath = ".") -> Iterator[Iteration]:
    """Inverts, and yields the row of each iteration as soon as its files are written.

    The program starts in `folder`, with the first row that is asked for; `input_file` is as seen
    from there. `program` may be a list: `["mpiexec", "-n", "4", "quorivex-mpi"]`. Closing the
    iterator ends the program, and so does an exception or an interruption in the loop around it.
    Raises RunFailed with the program's message if the run does not come to its end.
    """
    if threads is not None and not 1 <= threads <= 999:
        raise QuorivexError(f"The number of threads should be from 1 to 999, not {threads}.")
    command = [*_command(program), str(input_file)] + ([] if threads is None else [f"{threads}"])
    console: list[str] = []
    iterations = 0
    with tempfile.TemporaryFile("w+", encoding="utf-8", errors="replace") as errors:
        process = _start(command, folder, errors)
        try:
            assert process.stdout is not None
            for line in process.stdout:
                console.append(line)
                if "beta cpu time:" in line:
                    iterations += 1
                    yield _row(Path(folder), iterations)
            status = process.wait()
        finally:
            _end(process)
        errors.seek(0)
        _judge(command[0], "".join(console), errors.read(), status)


def qvx(*arguments: FilePath | int | float, program: FilePath = "qvx",
        folder: FilePath = ".") -> str:
    """Runs a command of qvx in `folder`, `qvx("check", "survey.inp")`, and returns what it printed.

    Raises QuorivexError with its message if it fails; warnings of `check` are no failure.
    """
    command = [*_command(program), *(str(argument) for argument in arguments)]
    with _start(command, folder, subprocess.STDOUT) as process:
        try:
            assert process.stdout is not None
            text = process.stdout.read()
            status = process.wait()
        finally:
            _end(process)
    worst = 1 if arguments[:1] == ("check",) else 0
    if not 0 <= status <= worst:
        raise QuorivexError(text.strip() or _without_message(command[0], status))
    return text


def _command(program: FilePath | Sequence[str]) -> list[str]:
    words = [os.fspath(program)] if isinstance(program, str | os.PathLike) else list(program)
    # The program is started in another folder: a name with a folder is as seen from this one.
    if os.sep in words[0]:
        words[0] = os.path.abspath(words[0])
    return words


def _start(command: list[str], folder: FilePath, errors: int | IO[str]) -> subprocess.Popen[str]:
    if not Path(folder).is_dir():
        raise QuorivexError(f"There is no folder {folder}.", file=Path(folder))
    try:
        return subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=errors, encoding="utf-8",
                                errors="replace")
    except OSError as error:
        raise QuorivexError(f"{command[0]} cannot be started: {error.strerror}. Is it on the PATH?"
                            ) from None


def _end(process: subprocess.Popen[str]) -> None:
    """Ends a program that has not ended by itself."""
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(_SECONDS_TO_END)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()
    if process.stdout is not None:
        process.stdout.close()


def _row(folder: Path, number: int) -> Iteration:
    rows = read_summary(folder / "quorivex.out").iterations
    if len(rows) < number:
        raise QuorivexError(f"{folder / 'quorivex.out'} lacks the row of iteration {number}.")
    return rows[number - 1]


def _judge(program: str, console: str, errors: str, status: int) -> None:
    """Raises where a run failed; its exit status is 0 whatever happened."""
    _, completed, behind = console.partition(_COMPLETED)
    message = _message(console)
    if status == 0 and completed and not _message(behind):
        sys.stderr.write(errors)  # times of phases, for instance
        return
    message = message.replace(_COMPLETED, "").strip() or errors.strip()
    raise RunFailed(message or _without_message(program, status), console + errors, status)


def _message(console: str) -> str:
    """What a run says behind the last line on its way, without the sample of an input file."""
    lines = console.splitlines()
    behind = [n for n, line in enumerate(lines, 1) if any(word in line for word in _ON_ITS_WAY)]
    left = lines[behind[-1] if behind else 0:]
    sample = next((n for n, line in enumerate(left) if _SAMPLE in line), len(left))
    return "\n".join(line.strip() for line in left[:sample] if line.strip())


def _without_message(program: str, status: int) -> str:
    if status < 0:
        return f"{program} was ended by signal {-status} ({signal.strsignal(-status)})."
    return f"{program} ended with status {status} and without a message."
