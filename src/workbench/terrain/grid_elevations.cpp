// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"
#include "workbench/terrain/grid_source.h"

namespace quorivex {
namespace {

constexpr double kFoot = 0.3048;                 // m, exactly
constexpr double kSurveyFoot = 1200.0 / 3937.0;  // m, exactly
constexpr double kMaxPacked = 1100.0;            // deflated values per byte; zlib reaches 1032
constexpr double kAnySize = 1e6;                 // nodes that any file may have
constexpr std::size_t kMostNames = 12;           // bands or parts, in a message
constexpr double kAsciiMark = -9999.0;           // where the header names none
constexpr double kNoElevation = std::numeric_limits<double>::quiet_NaN();

struct Unit {
  std::string name;
  double metres;
};

/// A unit by its word in a file; nothing for one that is not known.
std::optional<Unit> unit_called(const std::string& text) {
  const std::string word = lower_case(trim(text));
  const auto is_one_of = [&](std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
  };
  if (is_one_of({"", "m", "meters", "metres", "meter", "metre"})) return Unit{"metres", 1.0};
  if (word.find("survey") != std::string::npos ||
      is_one_of({"us-ft", "us_ft", "usft", "ftus", "ft us", "ft_us", "ft-us", "foot_us", "sft"})) {
    return Unit{"US survey feet", kSurveyFoot};
  }
  if (is_one_of({"ft", "foot", "feet", "international foot", "foot_international", "intl foot",
                 "ift", "'"})) {
    return Unit{"feet", kFoot};
  }
  return std::nullopt;
}

/// That of the band or, where it has none, of the vertical coordinates.
Unit unit_of(const GridSource& source, int number) {
  const Gdal& gdal = source.gdal;
  const char* const said =
      gdal.GDALGetRasterUnitType(gdal.GDALGetRasterBand(source.dataset, number));
  const std::string word = said == nullptr ? "" : said;
  if (word.empty()) {
    OGRSpatialReferenceH crs = gdal.GDALGetSpatialRef(source.dataset);
    if (crs == nullptr || (gdal.OSRIsCompound(crs) == 0 && gdal.OSRIsVertical(crs) == 0)) {
      return {"metres", 1.0};
    }
    char* unit = nullptr;
    const double metres = gdal.OSRGetTargetLinearUnits(crs, "VERT_CS", &unit);
    for (const Unit& known :
         {Unit{"metres", 1.0}, Unit{"feet", kFoot}, Unit{"US survey feet", kSurveyFoot}}) {
      if (std::abs(metres - known.metres) < 1e-9) return known;
    }
    bad_grid(source.name, fmt::format("the unit of its heights is '{}', of {:g} m",
                                      unit == nullptr ? "" : unit, metres));
  }
  const auto unit = unit_called(word);
  if (!unit) {
    bad_grid(source.name,
             fmt::format("the unit of band {} is '{}'; metres or feet are expected", number, word));
  }
  return *unit;
}

/// The names of its parts, for a file that has no grid of its own.
[[noreturn]] void refuse_parts(const GridSource& source) {
  std::string names;
  std::string first;
  std::size_t listed = 0;
  char** parts = source.gdal.GDALGetMetadata(source.dataset, "SUBDATASETS");
  for (; parts != nullptr && *parts != nullptr; ++parts) {
    const std::string part = *parts;  // SUBDATASET_1_NAME=...
    const std::size_t is = part.find("_NAME=");
    if (is == std::string::npos) continue;
    const std::string name = part.substr(is + 6);
    if (first.empty()) first = name;
    if (++listed <= kMostNames) names += "\n    " + name;
  }
  if (names.empty()) bad_grid(source.name, "it has no band of values");
  bad_grid(source.name, fmt::format("it has several grids:{}\n Write the elevations to a file of "
                                    "their own:\n    gdal_translate '{}' elevations.tif\n",
                                    names, first));
}

bool is_elevation_name(const std::string& name) {
  const std::string word = lower_case(name);
  return word.starts_with("elev") || word.starts_with("height") || word == "dem" || word == "z";
}

/// The bands that hold values, not the opacity of a picture.
std::vector<int> bands_of_values(const GridSource& source) {
  const Gdal& gdal = source.gdal;
  std::vector<int> bands;
  for (int b = 1; b <= gdal.GDALGetRasterCount(source.dataset); ++b) {
    const GDALColorInterp colour =
        gdal.GDALGetRasterColorInterpretation(gdal.GDALGetRasterBand(source.dataset, b));
    if (colour == GCI_PaletteIndex) {
      bad_grid(source.name, fmt::format("band {} is a picture with a palette, not elevations", b));
    }
    if (colour != GCI_AlphaBand) bands.push_back(b);
  }
  return bands;
}

/// A band as its numbers are read.
struct Values {
  GDALRasterBandH band = nullptr;
  GDALRasterBandH mask = nullptr;  // null where every node has a value
  double scale = 1.0;
  double offset = 0.0;
  double mark = kNoElevation;
  double metres = 1.0;
  int block_width = 0;
  int block_rows = 0;
};

Values values_of(const GridSource& source, const ElevationBand& chosen) {
  const Gdal& gdal = source.gdal;
  Values values;
  values.band = gdal.GDALGetRasterBand(source.dataset, chosen.number);
  if (gdal.GDALGetMaskFlags(values.band) != GMF_ALL_VALID) {
    values.mask = gdal.GDALGetMaskBand(values.band);
  }
  int known = 0;
  const double scale = gdal.GDALGetRasterScale(values.band, &known);
  if (known != 0) values.scale = scale;
  const double offset = gdal.GDALGetRasterOffset(values.band, &known);
  if (known != 0) values.offset = offset;
  gdal.GDALGetRasterNoDataValue(values.band, &known);
  if (known == 0 && source.driver() == "AAIGrid") values.mark = kAsciiMark;
  values.metres = chosen.metres;
  gdal.GDALGetBlockSize(values.band, &values.block_width, &values.block_rows);
  return values;
}

/// Bytes of all the files of a grid.
double bytes_of(const GridSource& source) {
  std::error_code unknown;
  auto bytes = static_cast<double>(std::filesystem::file_size(source.name, unknown));
  char** files = source.gdal.GDALGetFileList(source.dataset);
  for (; files != nullptr && *files != nullptr; ++files) {
    if (std::filesystem::equivalent(*files, source.name, unknown)) continue;
    const auto size = std::filesystem::file_size(*files, unknown);
    if (!unknown) bytes += static_cast<double>(size);
  }
  return bytes;
}

void check_size(const GridSource& source, const GridPlace& place, const Values& values) {
  const double nodes = static_cast<double>(place.columns) * static_cast<double>(place.rows);
  const double block = static_cast<double>(values.block_width) * values.block_rows;
  const double bytes = bytes_of(source);
  if (std::max(nodes, block) <= kMaxPacked * bytes + kAnySize) return;
  bad_grid(source.name, fmt::format("it should have {} x {} values, which {:g} bytes cannot hold",
                                    place.columns, place.rows, bytes));
}

bool is_nan(const std::string& text) {
  const std::string word = lower_case(text);
  return word == "nan" || word == "-nan" || word == "+nan";
}

/// Of an ESRI ASCII grid GDAL takes words for 0, reads nothing after the last elevation, and puts a
/// grid without a corner at 0 E 0 N.
void check_ascii_grid(const GridSource& source, const GridPlace& place) {
  std::ifstream file(source.name);
  std::string word;
  const auto is_letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  file >> word;
  std::string header;
  for (; !word.empty() && is_letter(word.front()) && !is_nan(word); file >> word >> word) {
    header += lower_case(word) + ' ';
  }
  const auto has = [&](const char* key) { return header.find(key) != std::string::npos; };
  if (!(has("xllcorner") && has("yllcorner")) && !(has("xllcenter") && has("yllcenter"))) {
    bad_grid(
        source.name,
        "it lacks xllcorner and yllcorner, or xllcenter and yllcenter, of which GDAL needs two "
        "of a kind");
  }
  const std::int64_t nodes = place.columns * place.rows;
  std::int64_t node = 1;
  for (; file && node <= nodes; ++node, file >> word) {
    if (to_number(word) || is_nan(word)) continue;
    bad_grid(source.name,
             fmt::format("elevation {} of {}, '{}', is not a number", node, nodes, word));
  }
  if (node <= nodes)
    bad_grid(source.name, fmt::format("it ends after {} of {} elevations", node - 1, nodes));
  if (file) bad_grid(source.name, fmt::format("there is more after its {} elevations", nodes));
}

bool is_usual_mark(double value) {
  return value == -9999.0 || value == -32768.0 || value == -32767.0;
}

/// Metres of the numbers of a file.
void to_elevations(const Values& values, const std::vector<unsigned char>& mask,
                   std::vector<double>& nodes) {
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if ((values.mask != nullptr && mask[i] == 0) || nodes[i] == values.mark) {
      nodes[i] = kNoElevation;
      continue;
    }
    nodes[i] = values.scale * nodes[i] + values.offset;
    // A mark that is not declared must not become an elevation.
    if (!is_usual_mark(nodes[i])) nodes[i] *= values.metres;
  }
}

}  // namespace

ElevationBand elevation_band(const GridSource& source) {
  const Gdal& gdal = source.gdal;
  const std::vector<int> bands = bands_of_values(source);
  if (bands.empty()) refuse_parts(source);
  const auto name = [&](int b) {
    return std::string(gdal.GDALGetDescription(gdal.GDALGetRasterBand(source.dataset, b)));
  };
  if (bands.size() > 1 && !is_elevation_name(name(bands.front()))) {
    std::string names;
    for (const int b : bands) {
      if (as_size(b) <= kMostNames)
        names += fmt::format(" {} ({})", b, name(b).empty() ? "-" : name(b));
    }
    bad_grid(source.name, fmt::format("it has {} bands:{}. Write that of the elevations to a file "
                                      "of its own:\n    gdal_translate -b {} {} elevations.tif\n",
                                      bands.size(), names, bands.front(), source.name));
  }
  const Unit unit = unit_of(source, bands.front());
  return {bands.front(), unit.name, unit.metres};
}

void check_values(const GridSource& source, const GridPlace& place, const ElevationBand& band) {
  const Values values = values_of(source, band);
  check_size(source, place, values);
  if (source.driver() == "AAIGrid") check_ascii_grid(source, place);
}

void write_elevations(const GridSource& source, const GridPlace& place, const ElevationBand& band,
                      const TakeBytes& write) {
  const Values values = values_of(source, band);
  const std::int64_t piece = std::clamp<std::int64_t>(values.block_rows, 1, place.rows);
  auto nodes = allocate<double>(as_size(piece * place.columns), "read_topography");
  auto mask = allocate<unsigned char>(nodes.size(), "read_topography");
  const auto columns = static_cast<int>(place.columns);
  const std::int64_t pieces = (place.rows + piece - 1) / piece;
  for (std::int64_t p = 0; p < pieces; ++p) {
    const std::int64_t first = (place.from_south ? pieces - 1 - p : p) * piece;
    const std::int64_t rows = std::min(piece, place.rows - first);
    const auto read = [&](GDALRasterBandH from, GDALDataType type, void* to) {
      const auto top = static_cast<int>(first);
      const auto height = static_cast<int>(rows);
      if (source.gdal.GDALRasterIO(from, GF_Read, 0, top, columns, height, to, columns, height,
                                   type, 0, 0) == CE_None) {
        return;
      }
      bad_grid(source.name, fmt::format("rows {} to {} of band {} cannot be read{}", first + 1,
                                        first + rows, band.number, as_gdal_says(source.gdal)));
    };
    nodes.resize(as_size(rows * place.columns));
    read(values.band, GDT_Float64, nodes.data());
    if (values.mask != nullptr) read(values.mask, GDT_Byte, mask.data());
    to_elevations(values, mask, nodes);
    for (std::int64_t r = 0; r < rows; ++r) {
      double* const row = nodes.data() + (place.from_south ? rows - 1 - r : r) * place.columns;
      if (place.from_east) std::reverse(row, row + columns);
      write({reinterpret_cast<const char*>(row), as_size(columns) * sizeof(double)});
    }
    nodes.resize(as_size(piece * place.columns));
  }
}

}  // namespace quorivex
