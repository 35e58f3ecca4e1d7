# SPDX-License-Identifier: GPL-3.0-or-later
"""Recipe for Spack; `spack repo add packaging/spack` makes it known. From an unpacked release tarball:

    spack dev-build quorivex@0.1.0 +mpi

Not built so far: where this was written Spack and its packages cannot be reached, so that even the
names of the dependencies are unproven (of esbuild in particular: where Spack has none, state it as
external). ../../../README.md says what was tried instead.
"""

from spack.package import *


class Quorivex(CMakePackage):
    """3-D inversion of magnetic surveys for susceptibility, with a workbench that prepares surveys
    and shows results."""

    # Address and checksum of a release tarball come here when there is one that is published.
    url = "file:///releases/quorivex-0.1.0.tar.xz"
    license("GPL-3.0-or-later AND MIT", checked_by=None)
    version("0.1.0", sha256="0" * 64)

    variant("workbench", default=True, description="Build the workbench qvx")
    variant("mpi", default=False, description="Build quorivex-mpi and qvx-mpi, for several processes")
    variant("gdal", default=True, when="+workbench",
            description="Read grids of terrain and write GeoTIFF with GDAL")
    variant("cairo", default=True, when="+workbench", description="Draw slices of models with cairo")
    variant("native", default=False, description="Compile for this machine's processor only")

    generator("ninja")
    depends_on("cxx", type="build")
    depends_on("cmake@3.25:", type="build")
    depends_on("fmt@9:")
    depends_on("mpi", when="+mpi")
    with when("+workbench"):
        depends_on("esbuild", type="build")
        depends_on("cgal@5.5:")
        depends_on("cli11@2:")
        depends_on("geographiclib@2:")
        depends_on("netcdf-c")
        depends_on("nlohmann-json")
        depends_on("xxhash")
        depends_on("zlib-api")
        # Loaded when they are needed, by the name of the version built with.
        depends_on("gdal+netcdf", when="+gdal")
        depends_on("cairo+png", when="+cairo")

    requires("platform=linux", msg="quorivex was not tried on other systems")
    conflicts("%gcc@:11", msg="quorivex needs GCC 12")
    conflicts("%clang@:13", msg="quorivex needs clang 14")

    def cmake_args(self):
        plotly = join_path(self.stage.source_path, "plotly", "plotly-cartesian.min.js")
        return [
            self.define("QUORIVEX_TESTS", False),
            self.define("QUORIVEX_BENCH", False),
            self.define("QUORIVEX_PLOTLY_JS", plotly),
            self.define_from_variant("QUORIVEX_WORKBENCH", "workbench"),
            self.define_from_variant("QUORIVEX_MPI", "mpi"),
            self.define_from_variant("QUORIVEX_GDAL", "gdal"),
            self.define_from_variant("QUORIVEX_CAIRO", "cairo"),
            self.define_from_variant("QUORIVEX_NATIVE", "native"),
        ]

    @run_after("install")
    @on_package_attributes(run_tests=True)
    def print_sample_input(self):
        Executable(self.prefix.bin.quorivex)("-inp")
