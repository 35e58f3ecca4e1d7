#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Checks the recipes of this folder as far as that goes without conda, Spack and containers: syntax,
the options of CMake that they set, files that they name, and the version. Status 1 where one is wrong.

Needs Debian's python3-yaml and python3-jinja2.
"""

import ast
import re
import sys
from pathlib import Path

import jinja2
import yaml

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
VERSION = (ROOT / "VERSION").read_text().strip()
RECIPES = [path for folder in ("conda-forge", "spack", "container")
           for path in sorted((HERE / folder).rglob("*")) if path.is_file() and path.suffix != ".pyc"]
# In the release tarball, not in the repository.
ONLY_RELEASED = {"plotly/LICENSE"}


def meta() -> dict:
    """meta.yaml as conda reads it, with names in place of the versions that only conda knows."""
    text = (HERE / "conda-forge/meta.yaml").read_text()
    functions = {name: lambda argument, **_: argument
                 for name in ("compiler", "stdlib", "pin_compatible")}
    return yaml.safe_load(jinja2.Template(text).render(**functions, PYTHON="python"))


def known_options() -> set[str]:
    text = "".join(path.read_text() for path in
                   [ROOT / "CMakeLists.txt", *sorted((ROOT / "src").rglob("CMakeLists.txt"))])
    return set(re.findall(r"(?:option|set)\((QUORIVEX_\w+)", text))


def unknown_options() -> list[str]:
    known = known_options()
    return [f"{path.relative_to(ROOT)}: CMakeLists.txt has no option {name}"
            for path in RECIPES
            for name in re.findall(r"(?:-D|define\(\"|variant\(\")(QUORIVEX_\w+)", path.read_text())
            if name not in known]


def other_versions() -> list[str]:
    pattern = re.compile(r'(?:version\("|version = "|VERSION=|image\.version |quorivex-)(\d+\.\d+\.\d+)')
    return [f"{path.relative_to(ROOT)}: version {found} instead of {VERSION}"
            for path in RECIPES for found in pattern.findall(path.read_text()) if found != VERSION]


def absent_files(recipe: dict) -> list[str]:
    named = set()
    for part in [recipe, *recipe["outputs"]]:
        files = part.get("about", {}).get("license_file", [])
        named.update([files] if isinstance(files, str) else files)
    return [f"meta.yaml: there is no {name}" for name in sorted(named - ONLY_RELEASED)
            if not (ROOT / name).is_file()]


def main() -> int:
    for path in RECIPES:
        if path.suffix == ".py":
            ast.parse(path.read_text(), str(path))
        elif path.suffix == ".yaml" and path.name != "meta.yaml":
            yaml.safe_load(path.read_text())
    faults = unknown_options() + other_versions() + absent_files(meta())
    print("\n".join(faults) if faults else f"{len(RECIPES)} files of recipes have nothing wrong.")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
