# SPDX-License-Identifier: GPL-3.0-or-later
"""The version: that of the installed package, in a source tree that of its file VERSION."""

from __future__ import annotations

from importlib import metadata
from pathlib import Path


def _version() -> str:
    # A source tree that is used as it stands goes before a package that is installed elsewhere.
    tree = Path(__file__).resolve().parents[2]
    if (tree / "pyproject.toml").is_file() and (tree / "VERSION").is_file():
        return (tree / "VERSION").read_text(encoding="utf-8").strip()
    return metadata.version("quorivex")


__version__ = _version()
