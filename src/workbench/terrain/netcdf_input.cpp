// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/netcdf_input.h"

#include <fmt/format.h>
#include <netcdf_mem.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <utility>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"
#include "workbench/terrain/netcdf_header.h"
#include "workbench/terrain/terrain_grid.h"

namespace quorivex {
namespace {

constexpr const char* kGridRoutine = "read_netcdf_grid";
constexpr double kMaxPacked = 1100.0;   // deflated values per byte; 1032 is what zlib reaches
constexpr std::size_t kMaxText = 1000;  // of an attribute

std::vector<char> bytes_of(const std::string& name) {
  std::error_code failed;
  const std::uintmax_t size = std::filesystem::file_size(name, failed);
  std::ifstream file(name, std::ios::binary);
  if (failed || !file) bad_netcdf(name, "it cannot be opened");
  std::vector<char> bytes = allocate<char>(size, kGridRoutine);
  file.read(bytes.data(), length(bytes));
  if (file.gcount() != length(bytes)) bad_netcdf(name, "it cannot be read");
  return bytes;
}

}  // namespace

void bad_netcdf(const std::string& name, const std::string& why) {
  stop_run(fmt::format(
      " ERROR reading terrain grid {}: {}.\n"
      " Expected a netCDF file with one variable of elevations (m) over northing and easting, as\n"
      " GMT and GDAL write it, and for both a variable of coordinates (m) at regular steps.",
      name, why));
}

NetcdfInput::NetcdfInput(const std::string& name) : name_(name), bytes_(bytes_of(name)) {
  if (!header_fits({bytes_.data(), bytes_.size()})) {
    bad_netcdf(name, "its header is damaged or cut short");
  }
  need(nc_open_mem("terrain.nc", NC_NOWRITE, bytes_.size(), bytes_.data(), &id_));
}

NetcdfInput::~NetcdfInput() { nc_close(id_); }

std::vector<NetcdfVariable> NetcdfInput::variables() const {
  int count = 0;
  need(nc_inq_nvars(id_, &count));
  std::vector<NetcdfVariable> all;
  for (int v = 0; v < count; ++v) {
    std::array<char, NC_MAX_NAME + 1> text{};
    NetcdfVariable variable{.id = v, .name = {}, .type = NC_NAT, .dimensions = {}};
    int rank = 0;
    need(nc_inq_varndims(id_, v, &rank));
    variable.dimensions.resize(as_size(rank));
    need(nc_inq_var(id_, v, text.data(), &variable.type, nullptr, variable.dimensions.data(),
                    nullptr));
    variable.name = text.data();
    all.push_back(std::move(variable));
  }
  return all;
}

std::string NetcdfInput::dimension_name(int dimension) const {
  std::array<char, NC_MAX_NAME + 1> text{};
  need(nc_inq_dimname(id_, dimension, text.data()));
  return text.data();
}

std::int64_t NetcdfInput::nodes(int dimension) const {
  std::size_t nodes = 0;
  need(nc_inq_dimlen(id_, dimension, &nodes));
  if (nodes < 2 || nodes > as_size(kMaxNodes)) {
    bad_netcdf(name_, fmt::format("{} has {} nodes; from 2 to a million are expected",
                                  dimension_name(dimension), nodes));
  }
  return static_cast<std::int64_t>(nodes);
}

std::vector<double> NetcdfInput::values(const NetcdfVariable& variable) const {
  double count = 1.0;
  for (const int dimension : variable.dimensions) {
    count *= static_cast<double>(nodes(dimension));
  }
  std::vector<std::size_t> piece(variable.dimensions.size(), 1);
  int storage = NC_CONTIGUOUS;
  need(nc_inq_var_chunking(id_, variable.id, &storage, piece.data()));
  double in_piece = 1.0;
  if (storage == NC_CHUNKED) {
    for (const std::size_t side : piece) in_piece *= static_cast<double>(side);
  }
  if (std::max(count, in_piece) > kMaxPacked * static_cast<double>(bytes_.size())) {
    bad_netcdf(name_, fmt::format("{} should have {:g} values, which {} bytes cannot hold",
                                  variable.name, count, bytes_.size()));
  }
  auto values = allocate<double>(static_cast<std::size_t>(count), kGridRoutine);
  need(nc_get_var_double(id_, variable.id, values.data()));
  return values;
}

std::string NetcdfInput::text(const NetcdfVariable& variable, const char* attribute) const {
  nc_type type = NC_NAT;
  std::size_t size = 0;
  if (nc_inq_att(id_, variable.id, attribute, &type, &size) != NC_NOERR || size == 0) return {};
  if (type == NC_STRING && size == 1) {
    char* string = nullptr;
    need(nc_get_att_string(id_, variable.id, attribute, &string));
    std::string text = string == nullptr ? "" : string;
    nc_free_string(1, &string);
    return lower_case(trim(text));
  }
  if (type != NC_CHAR || size > kMaxText) {
    bad_netcdf(name_, fmt::format("{} of {} is not a text", attribute, variable.name));
  }
  std::string text(size, '\0');
  need(nc_get_att_text(id_, variable.id, attribute, text.data()));
  return lower_case(trim(text.substr(0, text.find('\0'))));
}

std::vector<double> NetcdfInput::numbers(const NetcdfVariable& variable,
                                         const char* attribute) const {
  nc_type type = NC_NAT;
  std::size_t size = 0;
  if (nc_inq_att(id_, variable.id, attribute, &type, &size) != NC_NOERR) return {};
  if (type == NC_CHAR || type >= NC_STRING || size > kMaxText) {
    bad_netcdf(name_, fmt::format("{} of {} is not a number", attribute, variable.name));
  }
  std::vector<double> numbers(size);
  if (size > 0) need(nc_get_att_double(id_, variable.id, attribute, numbers.data()));
  return numbers;
}

void NetcdfInput::need(int status) const {
  if (status == NC_NOERR) return;
  bad_netcdf(name_, fmt::format("it is damaged or cut short ({})", nc_strerror(status)));
}

}  // namespace quorivex
