// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/commands/version_text.h"

// Of most libraries nothing but the macros of their versions.
#include <CGAL/version.h>
#include <CLI/Version.hpp>
#include <GeographicLib/Config.h>
#include <fmt/format.h>
#include <netcdf_meta.h>
#include <nlohmann/json.hpp>
#include <xxhash.h>
#include <zlib.h>
#ifdef QUORIVEX_WITH_GDAL
#include <gdal_version.h>
#endif
#ifdef QUORIVEX_WITH_CAIRO
#include <cairo-version.h>
#endif

#include "base/multiversion.h"
#include "base/ranks.h"
#include "workbench/commands/commit.h"

namespace quorivex {
namespace {

#ifdef __clang__
constexpr const char* kCompiler = "Clang " __clang_version__;
#else
constexpr const char* kCompiler = "GCC " __VERSION__;
#endif

/// "4.5" of 201511, the month in which that version appeared (https://www.openmp.org).
std::string openmp_version() {
  switch (_OPENMP) {
    case 201511:
      return "4.5";
    case 201811:
      return "5.0";
    case 202011:
      return "5.1";
    case 202111:
      return "5.2";
    default:
      return fmt::format("of {}", _OPENMP);
  }
}

std::string loaded_libraries() {
  std::string gdal = "without GDAL";
  std::string cairo = "without cairo";
#ifdef QUORIVEX_WITH_GDAL
  gdal = "GDAL " GDAL_RELEASE_NAME;
#endif
#ifdef QUORIVEX_WITH_CAIRO
  cairo =
      fmt::format("cairo {}.{}.{}", CAIRO_VERSION_MAJOR, CAIRO_VERSION_MINOR, CAIRO_VERSION_MICRO);
#endif
  return fmt::format("loaded when needed: {}, {}", gdal, cairo);
}

}  // namespace

std::string version_text(const std::string& program) {
  std::string text = fmt::format("{} {}", program, QUORIVEX_VERSION);
  if (*kCommit != '\0') text += fmt::format(" (commit {})", kCommit);
  text += fmt::format("\ncompiled with {}; OpenMP {}; kernels for {}\n", kCompiler,
                      openmp_version(), kKernels);
  text += fmt::format("fmt {}.{}.{}, CLI11 {}, JSON {}.{}.{}, xxHash {}.{}.{}, zlib {}\n",
                      FMT_VERSION / 10000, FMT_VERSION / 100 % 100, FMT_VERSION % 100,
                      CLI11_VERSION, NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR,
                      NLOHMANN_JSON_VERSION_PATCH, XXH_VERSION_MAJOR, XXH_VERSION_MINOR,
                      XXH_VERSION_RELEASE, ZLIB_VERSION);
  text += fmt::format("CGAL {}, GeographicLib {}, netCDF {}\n{}", CGAL_VERSION_STR,
                      GEOGRAPHICLIB_VERSION_STRING, NC_VERSION, loaded_libraries());
  if (ranks::with_mpi()) text += fmt::format("\n{}", ranks::mpi_library());
  return text;
}

}  // namespace quorivex
