// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/gdal_grid.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "base/isolated.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"
#include "workbench/terrain/grid_source.h"

namespace quorivex {
namespace {

// Damage can keep a library busy for ever, or make it ask for all memory.
constexpr std::uint64_t kSeconds = 4;               // of a processor,
constexpr std::uint64_t kBytesPerSecond = 100'000;  // and more for long files
constexpr std::uint64_t kMemory = 1'000'000'000;    // bytes, while nothing is known of the grid,
constexpr std::uint64_t kMemoryPerByte = 20;        // and more for long files
constexpr std::size_t kMaxReason = 4000;            // characters; a pipe holds 65536
constexpr const char* kInMemory = "/vsimem/terrain.nc";

/// A grid as it goes from one process to another: this, two texts, its nodes.
struct GridHead {
  std::int64_t columns, rows;
  double west, south, width, height;
  std::uint64_t crs, unit;  // bytes of the texts
};

/// The bytes of a classic netCDF file, whose library takes zeros for what a file cut short lacks
/// unless it is read from memory; nothing of any other.
std::vector<char> bytes_of_classic(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  std::vector<char> bytes(3);
  if (!file.read(bytes.data(), 3) || std::string_view(bytes.data(), 3) != "CDF") return {};
  const auto size = static_cast<std::size_t>(std::filesystem::file_size(name));
  bytes = allocate<char>(size, "read_topography");
  file.seekg(0);
  file.read(bytes.data(), static_cast<std::streamsize>(size));
  if (!file) bad_grid(name, "it cannot be read");
  return bytes;
}

void write_grid(const std::string& name, const TakeBytes& write) {
  const Gdal gdal = load_gdal();
  const std::uint64_t length = std::filesystem::file_size(name);
  limit_seconds(kSeconds + length / kBytesPerSecond);
  limit_memory(kMemory + kMemoryPerByte * length);
  std::vector<char> bytes = bytes_of_classic(name);
  // A whole path is no connection of any kind.
  std::string path = std::filesystem::absolute(name).lexically_normal();
  if (!bytes.empty()) {
    path = kInMemory;
    auto* const data = reinterpret_cast<GByte*>(bytes.data());
    if (gdal.VSIFileFromMemBuffer(kInMemory, data, bytes.size(), 0) == nullptr) {
      bad_grid(name, "it cannot be read" + as_gdal_says(gdal));
    }
  }
  if (gdal.GDALIdentifyDriverEx(path.c_str(), GDAL_OF_RASTER, nullptr, nullptr) == nullptr) return;
  gdal.CPLErrorReset();
  GDALDatasetH dataset = gdal.GDALOpenEx(path.c_str(), GDAL_OF_RASTER | GDAL_OF_VERBOSE_ERROR,
                                         nullptr, nullptr, nullptr);
  if (dataset == nullptr) bad_grid(name, "it cannot be opened" + as_gdal_says(gdal));
  const GridSource source{gdal, name, dataset};
  const ElevationBand band = elevation_band(source);
  const GridPlace place = place_of(source);
  check_values(source, place, band);
  limit_memory({});  // now it is known what the grid needs
  const std::string crs = crs_of(source);
  const GridHead head{place.columns, place.rows,   place.west, place.south,
                      place.width,   place.height, crs.size(), band.unit.size()};
  write({reinterpret_cast<const char*>(&head), sizeof(head)});
  write(crs);
  write(band.unit);
  write_elevations(source, place, band, write);
}

/// Takes a grid as it comes.
class GridTaker {
 public:
  void take(std::string_view bytes) {
    if (!grid_) {
      start_.append(bytes);
      if (!read_start()) return;
      bytes = start_;
    }
    // The other process has counted the nodes before it sends the first.
    const std::size_t count = std::min(bytes.size(), grid_->nodes.size() * sizeof(double) - taken_);
    std::memcpy(reinterpret_cast<char*>(grid_->nodes.data()) + taken_, bytes.data(), count);
    taken_ += count;
  }

  /// Nothing where nothing came.
  std::optional<TerrainGrid> grid() { return std::move(grid_); }
  bool is_whole() const { return !grid_ || taken_ == grid_->nodes.size() * sizeof(double); }

 private:
  /// Leaves in start_ what belongs to the nodes.
  bool read_start() {
    GridHead head{};
    if (start_.size() < sizeof(head)) return false;
    std::memcpy(&head, start_.data(), sizeof(head));
    const std::size_t texts = sizeof(head) + head.crs + head.unit;
    if (start_.size() < texts) return false;
    TerrainGrid grid{.columns = head.columns,
                     .rows = head.rows,
                     .west = head.west,
                     .south = head.south,
                     .width = head.width,
                     .height = head.height,
                     .nodes = {},
                     .crs = start_.substr(sizeof(head), head.crs),
                     .unit = start_.substr(sizeof(head) + head.crs, head.unit)};
    grid.nodes = allocate<double>(as_size(head.columns * head.rows), "read_topography");
    grid_ = std::move(grid);
    start_.erase(0, texts);
    return true;
  }

  std::string start_;
  std::optional<TerrainGrid> grid_;
  std::size_t taken_ = 0;
};

}  // namespace

void bad_grid(const std::string& name, const std::string& reason) {
  const std::string why = reason.substr(0, kMaxReason);
  stop_run(without_controls(fmt::format(
      " ERROR reading terrain grid {}: {}{}"
      " Expected one band of elevations in metres or feet, over northing and easting in metres, in "
      "a\n raster file that GDAL reads: GeoTIFF, ESRI ASCII, netCDF, ERS and others.",
      name, why, why.ends_with('\n') ? "" : ".\n")));
}

std::string as_gdal_says(const Gdal& gdal) {
  const std::string message = gdal.CPLGetLastErrorMsg();
  return message.empty() ? "" : " (GDAL: " + message + ")";
}

void preload_gdal() { load_gdal(); }

std::optional<TerrainGrid> read_gdal_grid(const std::string& name) {
  if (name.starts_with("/vsi")) bad_grid(name, "names that begin with /vsi are not read");
  GridTaker taker;
  const bool read = in_own_process([&](const TakeBytes& write) { write_grid(name, write); },
                                   [&](std::string_view bytes) { taker.take(bytes); });
  if (!read || !taker.is_whole()) bad_grid(name, "it is damaged, so that GDAL fails on it");
  return taker.grid();
}

}  // namespace quorivex
