// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/export/netcdf_file.h"

#include <fmt/format.h>
#include <netcdf.h>
#include <netcdf_mem.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "base/atomic_file.h"
#include "base/isolated.h"
#include "base/stop_run.h"
#include "base/view1.h"
#include "workbench/gdal/crs_definition.h"

namespace quorivex {
namespace {

constexpr std::size_t kFirstBytes = std::size_t{1} << 20;
constexpr int kDeflate = 2;  // more takes longer and saves a few per cent

/// A netCDF file that grows in memory, with the library's status codes as StopRun. On a full disk
/// the library would crash rather than fail, so it is never given one.
class NetcdfFile {
 public:
  explicit NetcdfFile(std::string name) : name_(std::move(name)) {
    need(nc_create_mem("model.nc", NC_NETCDF4, kFirstBytes, &id_));
    open_ = true;
    int before = 0;
    need(nc_set_fill(id_, NC_NOFILL, &before));  // every value is written
  }
  NetcdfFile(const NetcdfFile&) = delete;
  NetcdfFile& operator=(const NetcdfFile&) = delete;
  ~NetcdfFile() {
    if (open_) nc_close(id_);
  }

  int dimension(const char* name, std::int64_t size) {
    int dimension = 0;
    need(nc_def_dim(id_, name, as_size(size), &dimension));
    return dimension;
  }
  template <std::size_t Rank>
  int variable(const char* name, nc_type type, const std::array<int, Rank>& dimensions) {
    int variable = 0;
    need(nc_def_var(id_, name, type, static_cast<int>(Rank), dimensions.data(), &variable));
    variables_.push_back({name});
    return variable;
  }
  /// `variable` is NC_GLOBAL for an attribute of the file.
  void attribute(int variable, const char* name, const std::string& text) {
    need(nc_put_att_text(id_, variable, name, text.size(), text.c_str()));
    count_attribute(variable);
  }
  void attribute(int variable, const char* name, double value) {
    need(nc_put_att_double(id_, variable, name, NC_DOUBLE, 1, &value));
    count_attribute(variable);
  }
  void attribute(int variable, const char* name, const std::array<float, 2>& values) {
    need(nc_put_att_float(id_, variable, name, NC_FLOAT, values.size(), values.data()));
    count_attribute(variable);
  }
  void attribute(int variable, const char* name, int value) {
    need(nc_put_att_int(id_, variable, name, NC_INT, 1, &value));
    count_attribute(variable);
  }
  /// Fill value, compression, and the chunk that is written and compressed as a whole.
  void layout(int variable, float fill, const std::array<std::size_t, 3>& piece) {
    need(nc_put_att_float(id_, variable, "_FillValue", NC_FLOAT, 1, &fill));
    count_attribute(variable);
    need(nc_def_var_chunking(id_, variable, NC_CHUNKED, piece.data()));
    need(nc_def_var_deflate(id_, variable, 1, 1, kDeflate));
  }
  void end_definitions() { need(nc_enddef(id_)); }
  void put(int variable, const std::vector<double>& values) {
    need(nc_put_var_double(id_, variable, values.data()));
    add_up(variable, values);
  }
  void put(int variable, const std::array<std::size_t, 3>& start,
           const std::array<std::size_t, 3>& count, const std::vector<float>& values) {
    need(nc_put_vara_float(id_, variable, start.data(), count.data(), values.data()));
    add_up(variable, values);
  }
  /// Completes the file, reads it back and writes its bytes.
  void close(const TakeBytes& write) {
    open_ = false;
    NC_memio whole{};
    need(nc_close_memio(id_, &whole));
    const std::unique_ptr<void, decltype(&std::free)> memory(whole.memory, &std::free);
    check(whole);
    write({static_cast<const char*>(memory.get()), whole.size});
  }

 private:
  /// What a variable should hold when it is read back.
  struct Variable {
    std::string name;
    int attributes = 0;
    double sum = 0.0;  // of the values in their order
  };

  [[noreturn]] void fail(const char* why) const {
    stop_run(fmt::format(" ERROR writing file {}: {}", name_, why));
  }
  void need(int status) const {
    if (status != NC_NOERR) fail(nc_strerror(status));
  }
  void count_attribute(int variable) {
    ++(variable == NC_GLOBAL ? attributes_ : variables_[as_size(variable)].attributes);
  }
  template <class T>
  void add_up(int variable, const std::vector<T>& values) {
    double& sum = variables_[as_size(variable)].sum;
    for (const T value : values) sum += static_cast<double>(value);
  }

  /// Where memory ends, the library may leave out a variable without a word.
  void check(const NC_memio& whole) {
    int count = 0;
    int attributes = 0;
    need(nc_open_mem("model.nc", NC_NOWRITE, whole.size, whole.memory, &id_));
    open_ = true;
    need(nc_inq(id_, nullptr, &count, &attributes, nullptr));
    const bool whole_file =
        as_size(count) == variables_.size() && attributes == attributes_ &&
        std::all_of(variables_.begin(), variables_.end(), [&](const auto& v) { return holds(v); });
    if (!whole_file) fail("the netCDF library lost a part of it; is there enough memory?");
  }

  bool holds(const Variable& expected) const {
    std::array<int, NC_MAX_VAR_DIMS> dimensions{};
    int id = 0;
    int rank = 0;
    int attributes = 0;
    if (nc_inq_varid(id_, expected.name.c_str(), &id) != NC_NOERR) return false;
    need(nc_inq_var(id_, id, nullptr, nullptr, &rank, dimensions.data(), &attributes));
    std::size_t size = 1;
    for (int d = 0; d < rank; ++d) {
      std::size_t length = 0;
      need(nc_inq_dimlen(id_, dimensions[as_size(d)], &length));
      size *= length;
    }
    auto values = allocate<double>(size, "write_model_netcdf");
    need(nc_get_var_double(id_, id, values.data()));
    double sum = 0.0;
    for (const double value : values) sum += value;
    return attributes == expected.attributes && sum == expected.sum;
  }

  std::string name_;
  std::vector<Variable> variables_;
  int attributes_ = 0;
  int id_ = 0;
  bool open_ = false;
};

/// A coordinate with the faces of its cells.
class Axis {
 public:
  Axis(NetcdfFile& file, const char* name, const char* axis, const char* standard_name,
       const std::vector<double>& nodes, int two)
      : centres_(middles(nodes)), dimension_(file.dimension(name, length(centres_))) {
    for (std::size_t i = 1; i < nodes.size(); ++i) {
      faces_.insert(faces_.end(), {nodes[i - 1], nodes[i]});
    }
    const std::string bounds = std::string(name) + "_bounds";
    variable_ = file.variable<1>(name, NC_DOUBLE, {dimension_});
    bounds_ = file.variable<2>(bounds.c_str(), NC_DOUBLE, {dimension_, two});
    file.attribute(variable_, "standard_name", standard_name);
    file.attribute(variable_, "long_name", name);
    file.attribute(variable_, "units", "m");
    file.attribute(variable_, "axis", axis);
    file.attribute(variable_, "bounds", bounds);
  }

  void put(NetcdfFile& file) const {
    file.put(variable_, centres_);
    file.put(bounds_, faces_);
  }
  int dimension() const { return dimension_; }
  int variable() const { return variable_; }

 private:
  std::vector<double> centres_;
  std::vector<double> faces_;  // lower and upper of each cell
  int dimension_;
  int variable_ = 0;
  int bounds_ = 0;
};

void put_model(NetcdfFile& file, int variable, const ModelGrid& grid) {
  const std::array<std::size_t, 3> count{1, as_size(grid.nn), as_size(grid.ne)};
  std::vector<float> layer = allocate<float>(as_size(grid.nn * grid.ne), "write_model_netcdf");
  for (std::int64_t k = 0; k < grid.nz; ++k) {
    auto to = layer.begin();
    for (std::int64_t j = 0; j < grid.nn; ++j) {
      for (std::int64_t i = 0; i < grid.ne; ++i) {
        const double value = grid(i, j, k);
        *to++ = std::isnan(value) ? NC_FILL_FLOAT : static_cast<float>(value);
      }
    }
    file.put(variable, {as_size(k), 0, 0}, count, layer);
  }
}

void describe_file(NetcdfFile& file, const std::string& run_name, const SummaryRow& row) {
  file.attribute(NC_GLOBAL, "Conventions", "CF-1.8");
  file.attribute(
      NC_GLOBAL, "title",
      fmt::format("Magnetic susceptibility: iteration {} of {}", row.iteration, run_name));
  file.attribute(NC_GLOBAL, "source", "quorivex, 3-D inversion of magnetic data");
  file.attribute(
      NC_GLOBAL, "history",
      fmt::format("qvx export {}: iteration {} of {}", QUORIVEX_VERSION, row.iteration, run_name));
  file.attribute(NC_GLOBAL, "iteration", row.iteration);
  file.attribute(NC_GLOBAL, "beta", row.beta);
  file.attribute(NC_GLOBAL, "data_misfit", row.misfit);
}

/// A code, and its definition where there is one.
struct Crs {
  std::string code;  // "EPSG:32754"; empty for none
  std::optional<CrsDefinition> definition;
};

/// The variable that describes the coordinate system of the model; it has attributes only.
int add_grid_mapping(NetcdfFile& file, int model, const Crs& crs) {
  const int mapping = file.variable<0>("crs", NC_INT, {});
  file.attribute(mapping, "long_name", "coordinate reference system");
  file.attribute(mapping, "epsg_code", crs.code);
  if (crs.definition) {
    file.attribute(mapping, "projected_crs_name", crs.definition->name);
    file.attribute(mapping, "crs_wkt", crs.definition->wkt);
    file.attribute(mapping, "spatial_ref", crs.definition->wkt1);  // what GDAL reads first
  }
  file.attribute(model, "grid_mapping", "crs");
  return mapping;
}

void make_file(const std::string& name, const ModelGrid& grid, const std::string& run_name,
               const SummaryRow& row, const Crs& crs, const TakeBytes& write) {
  NetcdfFile file(name);
  describe_file(file, run_name, row);
  const int two = file.dimension("bounds", 2);
  const Axis elevation(file, "elevation", "Z", "altitude", grid.elevation_nodes, two);
  file.attribute(elevation.variable(), "positive", "up");
  const Axis northing(file, "northing", "Y", "projection_y_coordinate", grid.northing_nodes, two);
  const Axis easting(file, "easting", "X", "projection_x_coordinate", grid.easting_nodes, two);
  const int model =
      file.variable<3>("susceptibility", NC_FLOAT,
                       {elevation.dimension(), northing.dimension(), easting.dimension()});
  file.layout(model, NC_FILL_FLOAT, {1, as_size(grid.nn), as_size(grid.ne)});
  file.attribute(model, "long_name", "magnetic susceptibility (SI)");
  file.attribute(model, "units", "1");
  const ValueRange range = value_range(grid);
  file.attribute(model, "actual_range",
                 std::array{static_cast<float>(range.min), static_cast<float>(range.max)});
  file.attribute(model, "comment", "constant within each cell; cells without a value are air");
  std::optional<int> mapping;
  if (!crs.code.empty()) mapping = add_grid_mapping(file, model, crs);
  file.end_definitions();
  if (mapping) file.put(*mapping, {0.0});
  for (const Axis* axis : {&elevation, &northing, &easting}) axis->put(file);
  put_model(file, model, grid);
  file.close(write);
}

}  // namespace

void write_model_netcdf(const std::string& name, const ModelGrid& grid, const std::string& run_name,
                        const SummaryRow& row, const std::string& crs) {
  const Crs known{crs, crs.empty() ? std::nullopt : define_crs(crs)};
  AtomicFile file(name);
  // Where memory ends within the library it crashes.
  const bool made = in_own_process(
      [&](const TakeBytes& write) { make_file(name, grid, run_name, row, known, write); },
      [&file](std::string_view bytes) { file.append(bytes); });
  if (!made) writing_failed(name, "the netCDF library failed; is there enough memory?");
  file.commit();
}

}  // namespace quorivex
