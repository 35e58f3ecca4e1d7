// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/export/vtk_files.h"

#include <fmt/format.h>

#include <cmath>
#include <functional>
#include <numeric>
#include <utility>

#include "base/atomic_file.h"
#include "base/record_writer.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"

namespace quorivex {
namespace {

constexpr std::uint8_t kHidden = 32;  // HIDDENCELL of vtkDataSetAttributes

/// The arrays of a file: one tag each where they belong, their bytes at the end.
class AppendedArrays {
 public:
  using Write = std::function<void(AtomicFile&)>;

  /// The tag of an array of `bytes` bytes, which `write` appends when its turn comes.
  std::string add(const char* type, const char* name, int components, std::int64_t bytes,
                  Write write) {
    std::string tag = fmt::format(
        "        <DataArray type=\"{}\" Name=\"{}\" NumberOfComponents=\"{}\" format=\"appended\" "
        "offset=\"{}\"/>\n",
        type, name, components, offset_);
    arrays_.push_back({static_cast<std::uint64_t>(bytes), std::move(write)});
    offset_ += bytes + static_cast<std::int64_t>(sizeof(std::uint64_t));
    return tag;
  }
  /// The same for values that stay where they are until the file is written.
  template <class T>
  std::string add(const char* type, const char* name, const std::vector<T>& values,
                  int components = 1) {
    const std::string_view bytes = bytes_of(values);
    return add(type, name, components, length(bytes),
               [bytes](AtomicFile& file) { file.append(bytes); });
  }
  std::string add(const char* name, const std::vector<double>& values, int components = 1) {
    return add("Float64", name, values, components);
  }

  void write(AtomicFile& file) const {
    file.append("  <AppendedData encoding=\"raw\">\n_");
    for (const Array& array : arrays_) {
      file.append(bytes_of(&array.bytes, 1));
      array.write(file);
    }
    file.append("\n  </AppendedData>\n</VTKFile>\n");
  }

 private:
  struct Array {
    std::uint64_t bytes;
    Write write;
  };
  std::vector<Array> arrays_;
  std::int64_t offset_ = 0;
};

std::string head(const char* type) {
  return fmt::format(
      "<?xml version=\"1.0\"?>\n<VTKFile type=\"{}\" version=\"1.0\" byte_order=\"LittleEndian\" "
      "header_type=\"UInt64\">\n",
      type);
}

/// The coordinate system as field data: the codes of its characters, as VTK has texts in ASCII.
std::string crs_field(const std::string& crs) {
  if (crs.empty()) return {};
  std::string codes;
  for (const char c : crs) codes += fmt::format("{} ", static_cast<unsigned>(c));
  return fmt::format(
      "    <FieldData>\n      <DataArray type=\"String\" Name=\"coordinate_system\" "
      "NumberOfTuples=\"1\" format=\"ascii\">{}0</DataArray>\n    </FieldData>\n",
      codes);
}

/// Appends value(i, j, k) of every cell, easting fastest, one layer in memory.
template <class T, class Value>
void append_cells(AtomicFile& file, const ModelGrid& grid, Value value) {
  std::vector<T> layer = allocate<T>(as_size(grid.ne * grid.nn), "write_model_vtr");
  for (std::int64_t k = 0; k < grid.nz; ++k) {
    auto to = layer.begin();
    for (std::int64_t j = 0; j < grid.nn; ++j) {
      for (std::int64_t i = 0; i < grid.ne; ++i) *to++ = value(grid(i, j, k));
    }
    file.append(bytes_of(layer));
  }
}

}  // namespace

void write_models_vtr(const std::string& name, const std::vector<NamedGrid>& models,
                      const std::string& crs) {
  AppendedArrays arrays;
  const ModelGrid& grid = models.front().grid;
  const std::string extent = fmt::format("0 {} 0 {} 0 {}", grid.ne, grid.nn, grid.nz);
  std::string text = head("RectilinearGrid");
  text += fmt::format(
      "  <RectilinearGrid WholeExtent=\"{0}\">\n{2}    <Piece Extent=\"{0}\">\n"
      "      <CellData Scalars=\"{1}\">\n",
      extent, models.front().name, crs_field(crs));
  for (const NamedGrid& model : models) {
    text += arrays.add("Float32", model.name.c_str(), 1, grid.cells() * std::int64_t{sizeof(float)},
                       [&](AtomicFile& file) {
                         append_cells<float>(file, model.grid, [](double value) {
                           return std::isnan(value) ? 0.0F : static_cast<float>(value);
                         });
                       });
  }
  text += arrays.add("UInt8", "vtkGhostType", 1, grid.cells(), [&](AtomicFile& file) {
    append_cells<std::uint8_t>(
        file, grid, [](double value) { return std::isnan(value) ? kHidden : std::uint8_t{0}; });
  });
  text += "      </CellData>\n      <Coordinates>\n";
  text += arrays.add("easting", grid.easting_nodes);
  text += arrays.add("northing", grid.northing_nodes);
  text += arrays.add("elevation", grid.elevation_nodes);
  text += "      </Coordinates>\n    </Piece>\n  </RectilinearGrid>\n";
  AtomicFile file(name);
  file.append(text);
  arrays.write(file);
  file.commit();
}

void write_model_vtr(const std::string& name, const ModelGrid& grid, const std::string& crs) {
  write_models_vtr(name, {{"susceptibility", grid}}, crs);
}

void write_data_vtp(const std::string& name, const Observations& observations, const DataFit& fit,
                    const std::string& crs) {
  const std::size_t ndata = fit.observed.size();
  std::vector<double> places;
  std::vector<std::int64_t> from_0(ndata);
  std::iota(from_0.begin(), from_0.end(), 0);
  std::vector<std::int64_t> from_1(ndata);
  std::iota(from_1.begin(), from_1.end(), 1);
  for (std::size_t i = 0; i < ndata; ++i) {
    places.insert(places.end(), {observations.x[i], observations.y[i], observations.z[i]});
  }
  AppendedArrays arrays;
  std::string text = head("PolyData");
  text += fmt::format(
      "  <PolyData>\n{1}    <Piece NumberOfPoints=\"{0}\" NumberOfVerts=\"{0}\" "
      "NumberOfLines=\"0\" "
      "NumberOfStrips=\"0\" NumberOfPolys=\"0\">\n      <PointData Scalars=\"observed\">\n",
      ndata, crs_field(crs));
  text += arrays.add("Int64", "datum", from_1);
  text += arrays.add("observed", fit.observed);
  text += arrays.add("standard_deviation", observations.std);
  text += arrays.add("predicted", fit.predicted);
  text += arrays.add("residual", fit.residual);
  text += arrays.add("normalised_residual", fit.normalised);
  text += "      </PointData>\n      <Points>\n" + arrays.add("stations", places, 3);
  text += "      </Points>\n      <Verts>\n";
  text += arrays.add("Int64", "connectivity", from_0);
  text += arrays.add("Int64", "offsets", from_1);
  text += "      </Verts>\n    </Piece>\n  </PolyData>\n";
  AtomicFile file(name);
  file.append(text);
  arrays.write(file);
  file.commit();
}

void write_collection(const std::string& name, const std::vector<CollectionEntry>& entries) {
  AtomicFile file(name);
  file.append(head("Collection") + "  <Collection>\n");
  for (const CollectionEntry& entry : entries) {
    file.append(fmt::format("    <DataSet timestep=\"{}\" part=\"{}\" file=\"{}\"/>\n",
                            entry.iteration, entry.part, escape_xml(entry.file)));
  }
  file.append("  </Collection>\n</VTKFile>\n");
  file.commit();
}

}  // namespace quorivex
