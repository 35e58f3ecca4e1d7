// SPDX-License-Identifier: GPL-3.0-or-later
#include <array>
#include <cstdlib>

#include "base/output_file.h"
#include "base/stop_run.h"
#include "base/view1.h"
#include "workbench/gdal/gdal_library.h"
#include "workbench/gdal/raster.h"

namespace quorivex {
namespace {

constexpr const char* kPlace = "/vsimem/slice.tif";

/// A file in GDAL's memory while it is made.
class GeoTiff {
 public:
  GeoTiff(const Gdal& gdal, const std::string& name) : gdal_(gdal), name_(name) {}

  void need(bool good) const {
    if (!good) writing_failed(name_, std::string("GDAL: ") + gdal_.CPLGetLastErrorMsg());
  }
  void need(CPLErr status) const { need(status == CE_None); }

  void make(const Raster& raster, const RasterTexts& texts) const {
    const std::array<const char*, 2> options{"COMPRESS=DEFLATE", nullptr};
    GDALDriverH driver = gdal_.GDALGetDriverByName("GTiff");
    need(driver != nullptr);
    GDALDatasetH dataset =
        gdal_.GDALCreate(driver, kPlace, static_cast<int>(raster.columns),
                         static_cast<int>(raster.rows), 1, GDT_Float32, options.data());
    need(dataset != nullptr);
    place(dataset, raster, texts.crs);
    GDALRasterBandH band = gdal_.GDALGetRasterBand(dataset, 1);
    need(gdal_.GDALSetRasterNoDataValue(band, double{Raster::kNoData}));
    need(gdal_.GDALSetRasterUnitType(band, texts.unit.c_str()));
    gdal_.GDALSetDescription(band, texts.description.c_str());
    for (const auto& [key, value] : texts.metadata) {
      need(gdal_.GDALSetMetadataItem(dataset, key.c_str(), value.c_str(), nullptr));
    }
    std::vector<float> values = raster.values;  // GDAL takes what it writes as not const
    move(dataset, GF_Write, raster, values);
    gdal_.CPLErrorReset();
    gdal_.GDALClose(dataset);  // tells what goes wrong by its last message alone
    need(gdal_.CPLGetLastErrorType() < CE_Failure);
  }

  /// The file as it would be read; nothing may have been lost.
  std::string bytes(const Raster& raster) const {
    GDALDatasetH dataset =
        gdal_.GDALOpenEx(kPlace, GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR, nullptr, nullptr, nullptr);
    need(dataset != nullptr);
    std::vector<float> values(raster.values.size());
    move(dataset, GF_Read, raster, values);
    gdal_.GDALClose(dataset);
    if (values != raster.values) writing_failed(name_, "GDAL lost a part of it");
    vsi_l_offset size = 0;
    const GByte* const data = gdal_.VSIGetMemFileBuffer(kPlace, &size, 0);
    need(data != nullptr);
    std::string all(reinterpret_cast<const char*>(data), size);
    gdal_.VSIUnlink(kPlace);
    return all;
  }

 private:
  void place(GDALDatasetH dataset, const Raster& raster, const std::string& crs) const {
    const double north = raster.south + raster.cell * static_cast<double>(raster.rows);
    std::array<double, 6> place{raster.west, raster.cell, 0.0, north, 0.0, -raster.cell};
    need(gdal_.GDALSetGeoTransform(dataset, place.data()));
    if (crs.empty()) return;
    OGRSpatialReferenceH system = gdal_.OSRNewSpatialReference(nullptr);
    const int code = std::atoi(crs.c_str() + crs.find(':') + 1);
    need(gdal_.OSRImportFromEPSG(system, code) == OGRERR_NONE);
    need(gdal_.GDALSetSpatialRef(dataset, system));
    gdal_.OSRDestroySpatialReference(system);
  }

  void move(GDALDatasetH dataset, GDALRWFlag direction, const Raster& raster,
            std::vector<float>& values) const {
    const int columns = static_cast<int>(raster.columns);
    const int rows = static_cast<int>(raster.rows);
    need(gdal_.GDALRasterIO(gdal_.GDALGetRasterBand(dataset, 1), direction, 0, 0, columns, rows,
                            values.data(), columns, rows, GDT_Float32, 0, 0));
  }

  const Gdal& gdal_;
  const std::string& name_;
};

}  // namespace

std::string geotiff_bytes(const std::string& name, const Raster& raster, const RasterTexts& texts) {
  if (!is_gdal_there()) return {};
  const Gdal gdal = load_gdal();
  const GeoTiff file(gdal, name);
  file.make(raster, texts);
  return file.bytes(raster);
}

}  // namespace quorivex
