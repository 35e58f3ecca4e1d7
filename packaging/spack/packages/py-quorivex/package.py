# SPDX-License-Identifier: GPL-3.0-or-later
"""Recipe of the Python package for Spack; that of quorivex says what was tried."""

from spack.package import *


class PyQuorivex(PythonPackage):
    """The files, runs and results of quorivex from Python."""

    url = "file:///releases/quorivex-0.1.0.tar.xz"
    license("GPL-3.0-or-later", checked_by=None)
    version("0.1.0", sha256="0" * 64)

    depends_on("python@3.11:", type=("build", "run"))
    depends_on("py-setuptools@66:", type="build")
    depends_on("py-wheel", type="build")
    depends_on("py-numpy@1.24:", type=("build", "run"))
    depends_on("py-xarray", type="run")
    depends_on("quorivex", type="run")
