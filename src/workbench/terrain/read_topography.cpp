// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/read_topography.h"

#include <algorithm>
#include <new>

#include "base/stop_run.h"
#include "workbench/terrain/surface_points.h"
#include "workbench/terrain/triangulation.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "read_topography";
constexpr double kAboveAll = 1e20;  // metres, higher than any ground

using Ground = std::function<double(double, double)>;

/// Node 1, centre of cell 1, node 2, ..., the last node.
std::vector<double> nodes_and_centres(const std::vector<double>& nodes) {
  std::vector<double> refined = allocate<double>(2 * nodes.size() - 1, kRoutine);
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    if (i > 0) refined[2 * i - 1] = (nodes[i - 1] + nodes[i]) * 0.5;
    refined[2 * i] = nodes[i];
  }
  return refined;
}

/// Along one line of the refined grid, for each cell the lowest ground at its three places.
std::vector<double> lowest_on_line(const std::vector<double>& eastings, double northing,
                                   const Ground& ground) {
  std::vector<double> lowest = allocate<double>(eastings.size() / 2, kRoutine);
  double west = ground(eastings[0], northing);
  for (std::size_t i = 0; i < lowest.size(); ++i) {
    const double centre = ground(eastings[2 * i + 1], northing);
    const double east = ground(eastings[2 * i + 2], northing);
    lowest[i] = std::min({kAboveAll, west, centre, east});  // this order ignores a NaN
    west = east;
  }
  return lowest;
}

/// Elevations of the layers' boundaries, the mesh top first.
std::vector<double> boundaries_of(const Mesh& mesh) {
  std::vector<double> boundaries = allocate<double>(mesh.depth_nodes.size(), kRoutine);
  std::transform(mesh.depth_nodes.begin(), mesh.depth_nodes.end(), boundaries.begin(),
                 [&](double depth) { return mesh.z0 - depth; });
  return boundaries;
}

std::int32_t air_cells(const std::vector<double>& boundaries, double ground) {
  const auto nz = static_cast<std::int32_t>(boundaries.size() - 1);
  if (ground >= boundaries.front()) return 0;
  if (ground < boundaries.back()) return nz;
  // Not a binary search: thicknesses may be zero or negative.
  for (std::int32_t k = 1; k < nz; ++k) {
    if (boundaries[as_size(k - 1)] >= ground && ground >= boundaries[as_size(k)]) return k;
  }
  return nz;
}

}  // namespace

ColumnTops column_tops(const Mesh& mesh, const Ground& ground) {
  const std::vector<double> eastings = nodes_and_centres(mesh.easting_nodes);
  const std::vector<double> northings = nodes_and_centres(mesh.northing_nodes);
  const std::vector<double> boundaries = boundaries_of(mesh);
  const std::size_t nn = northings.size() / 2;
  const std::size_t ne = eastings.size() / 2;
  ColumnTops tops{.nn = mesh.nn, .ne = mesh.ne, .tops = allocate<std::int32_t>(nn * ne, kRoutine)};
  std::vector<double> south = lowest_on_line(eastings, northings[0], ground);
  for (std::size_t j = 0; j < nn; ++j) {
    const std::vector<double> centre = lowest_on_line(eastings, northings[2 * j + 1], ground);
    std::vector<double> north = lowest_on_line(eastings, northings[2 * j + 2], ground);
    for (std::size_t i = 0; i < ne; ++i) {
      tops.tops[i * nn + j] = air_cells(boundaries, std::min({south[i], centre[i], north[i]}));
    }
    south = std::move(north);
  }
  return tops;
}

ColumnTops read_topography(const std::string& name, const Mesh& mesh) {
  try {
    const Surface surface(read_surface_points(name, mesh));
    return column_tops(mesh, [&](double easting, double northing) {
      return surface.elevation(easting, northing);
    });
  } catch (const std::bad_alloc&) {
    alloc_error(kRoutine);
  }
}

}  // namespace quorivex
