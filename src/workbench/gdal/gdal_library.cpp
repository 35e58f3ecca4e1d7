// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/gdal/gdal_library.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstdint>
#include <cstdlib>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr std::int64_t kCache = std::int64_t{64} << 20;  // bytes of blocks that GDAL keeps

// Drivers that reach for other files or the network, or take plain points for a grid.
constexpr const char* kSkipped =
    "VRT,DERIVED,XYZ,WMS,WCS,WMTS,HTTP,DAAS,PLMOSAIC,PLSCENES,EEDAI,NGW,OGCAPI,STACTA,STACIT,"
    "PostGISRaster,Rasterlite,MRF,MBTiles,KMLSUPEROVERLAY,PDF,CAD,Zarr";

template <class Function>
void find(void* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(::dlsym(library, name));
  if (function == nullptr) stop_run(fmt::format(" ERROR: GDAL has no function {}.", name));
}

void* open_library() {
  ::setenv("OPENBLAS_NUM_THREADS", "1", 1);  // one of its libraries would start threads at once
  return ::dlopen(QUORIVEX_GDAL_LIBRARY, RTLD_NOW | RTLD_LOCAL);
}

// NOLINTNEXTLINE(readability-function-size): a line per function
Gdal functions() {
  void* const library = open_library();
  if (library == nullptr) {
    stop_run(fmt::format(
        " ERROR: the library GDAL, which reads grids of terrain, cannot be loaded: {}.\n"
        " Install it, or give the terrain as points.",
        ::dlerror()));
  }
  Gdal gdal;
#define QUORIVEX_GDAL_FUNCTION(name) find(library, #name, gdal.name);
#include "workbench/gdal/gdal_functions.inc"
#undef QUORIVEX_GDAL_FUNCTION
  return gdal;
}

}  // namespace

bool is_gdal_there() { return open_library() != nullptr; }

Gdal load_gdal() {
  const Gdal gdal = functions();
  gdal.CPLSetErrorHandler(gdal.CPLQuietErrorHandler);
  const auto set = [&](const char* option, const char* value) {
    gdal.CPLSetConfigOption(option, value);
  };
  set("GDAL_SKIP", kSkipped);
  set("GDAL_DRIVER_PATH", "disable");
  set("GDAL_PAM_ENABLED", "NO");  // nothing from or into .aux.xml
  set("GDAL_NUM_THREADS", "1");
  set("AAIGRID_DATATYPE", "Float64");
  // Of x and y without standard names, as GMT writes them; check_netcdf_axes knows their order.
  set("GDAL_NETCDF_IGNORE_XY_AXIS_NAME_CHECKS", "YES");
  gdal.GDALAllRegister();
  gdal.GDALSetCacheMax64(kCache);
  return gdal;
}

}  // namespace quorivex
