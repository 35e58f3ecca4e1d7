# SPDX-License-Identifier: GPL-3.0-or-later
"""quorivex from Python: read and write its files, run it, and look at its results.

docs/python.md of the project is the manual. Arrays of cells have the axes (elevation, northing,
easting), all rising; coordinates are metres, data nT, susceptibilities SI.
"""

from .errors import QuorivexError, RunFailed
from .input_file import InputFile, read_input_file, write_input_file
from .log import Log, LogIteration, read_log
from .mesh import Mesh, make_mesh, read_mesh, write_mesh
from .models import (Weights, read_active_cells, read_model, read_weights, write_active_cells,
                     write_model, write_weights)
from .observations import (Observations, PredictedData, Stations, read_observations, read_predicted,
                           read_stations, write_observations, write_stations)
from .results import Result, open_result
from .run import qvx, run
from .sensitivity import CompressedRow, SensitivityFile
from .sidecar import Sidecar, read_sidecar
from .summary import Iteration, Summary, read_summary
from .version import __version__

__all__ = [
    "CompressedRow", "InputFile", "Iteration", "Log", "LogIteration", "Mesh", "Observations",
    "PredictedData", "QuorivexError", "Result", "RunFailed", "SensitivityFile", "Sidecar",
    "Stations", "Summary", "Weights", "__version__", "make_mesh", "open_result", "qvx",
    "read_active_cells", "read_input_file", "read_log", "read_mesh", "read_model",
    "read_observations", "read_predicted", "read_sidecar", "read_stations", "read_summary",
    "read_weights", "run", "write_active_cells", "write_input_file", "write_mesh", "write_model",
    "write_observations", "write_stations", "write_weights",
]
