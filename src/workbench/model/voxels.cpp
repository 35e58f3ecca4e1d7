// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/voxels.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "base/memory.h"
#include "base/stop_run.h"
#include "base/view1.h"

namespace quorivex {
namespace {

constexpr double kSameCentre = 0.001;    // metres
constexpr double kMaxUnevenness = 0.02;  // of a step: rounded coordinates
constexpr double kMinVoxel = 0.001;      // metres
constexpr std::array<const char*, 3> kVoxelAxes{"easting", "northing", "elevation"};
constexpr std::array<const char*, 3> kVoxelSizes{"dx", "dy", "dz"};
constexpr std::array<const char*, 3> kExportedSizes{"width_easting", "width_northing", "thickness"};

/// The spans of an axis, and which of them each voxel has.
struct SpanTable {
  std::vector<Span> spans;
  std::vector<std::int32_t> of_voxel;
};

std::vector<double> distinct_sorted(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const auto same = [](double a, double b) { return b - a <= kSameCentre; };
  values.erase(std::unique(values.begin(), values.end(), same), values.end());
  return values;
}

/// Ends the command at a centre that is not at a regular step.
[[noreturn]] void refuse_steps(const std::string& file, const Table& table, std::size_t axis,
                               double centre, const std::string& why) {
  const std::vector<double>& centres = table.columns[axis];
  const auto at = std::find(centres.begin(), centres.end(), centre) - centres.begin();
  stop_run(fmt::format(
      " ERROR: {} line {}: {} {:.10g} {}.\n Give the sizes of the voxels in a "
      "column {}.",
      file, table.number[as_size(at)], kVoxelAxes[axis], centre, why, kVoxelSizes[axis]));
}

/// Centres at regular steps, some of which may be missing.
SpanTable regular_spans(const std::string& file, const Table& table, std::size_t axis) {
  const std::vector<double>& centres = table.columns[axis];
  const std::vector<double> distinct = distinct_sorted(centres);
  const double first = distinct.front();
  if (distinct.size() == 1) {
    refuse_steps(file, table, axis, first, "is the only one, which tells no size");
  }
  double least = distinct[1] - first;
  for (std::size_t n = 2; n < distinct.size(); ++n) {
    least = std::min(least, distinct[n] - distinct[n - 1]);
  }
  const double range = distinct.back() - first;
  const double step = range / std::round(range / least);
  SpanTable found;
  for (const double centre : distinct) {
    const double number = std::round((centre - first) / step);
    if (std::abs(first + number * step - centre) > kMaxUnevenness * step) {
      refuse_steps(
          file, table, axis, centre,
          fmt::format("is not at a regular step: from {:.10g} on they are {:g} m", first, step));
    }
    // The faces of neighbours are the same numbers.
    append_checked(found.spans,
                   {first + (number - 0.5) * step, first + ((number + 1.0) - 0.5) * step});
  }
  for (const double centre : centres) {
    const auto after = std::upper_bound(distinct.begin(), distinct.end(), centre);
    append_checked(found.of_voxel, static_cast<std::int32_t>(after - distinct.begin()) - 1);
  }
  return found;
}

/// Centres with sizes.
SpanTable sized_spans(const std::vector<double>& centres, const std::vector<double>& sizes) {
  using CentreAndSize = std::pair<double, double>;
  std::vector<CentreAndSize> distinct;
  for (std::size_t n = 0; n < centres.size(); ++n) {
    append_checked(distinct, CentreAndSize{centres[n], sizes[n]});
  }
  std::sort(distinct.begin(), distinct.end());
  distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
  SpanTable found;
  for (const auto& [centre, size] : distinct) {
    append_checked(found.spans, {centre - 0.5 * size, centre + 0.5 * size});
  }
  for (std::size_t n = 0; n < centres.size(); ++n) {
    const auto at =
        std::lower_bound(distinct.begin(), distinct.end(), CentreAndSize{centres[n], sizes[n]});
    append_checked(found.of_voxel, static_cast<std::int32_t>(at - distinct.begin()));
  }
  return found;
}

void refuse_same_voxels(const Voxels& voxels) {
  std::vector<std::size_t> order = allocate<std::size_t>(voxels.at.size(), "read_voxel_table");
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return voxels.at[a] < voxels.at[b]; });
  const auto same = std::adjacent_find(
      order.begin(), order.end(),
      [&](std::size_t a, std::size_t b) { return voxels.at[a] == voxels.at[b]; });
  if (same == order.end()) return;
  stop_run(fmt::format(" ERROR: {} lines {} and {} hold the same voxel.", voxels.file,
                       voxels.lines[*same], voxels.lines[*(same + 1)]));
}

std::vector<WantedColumn> voxel_columns(const SourceColumns& columns) {
  std::vector<WantedColumn> wanted = place_columns(columns);
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const char* size = kVoxelSizes[axis];
    wanted.push_back(
        geometry_column(columns, size, {size, kExportedSizes[axis]}, kMinVoxel, kMaxCoordinate));
    wanted.back().optional = true;
  }
  add_value_columns(columns, wanted);
  return wanted;
}

}  // namespace

Voxels read_voxel_table(const std::string& file, const SourceColumns& columns, SourceNotes& notes) {
  return with_alloc_label("read_voxel_table", [&] {
    Table table = read_source_table(file, voxel_columns(columns), columns, notes);
    Voxels voxels;
    voxels.file = file;
    voxels.lines = table.number;
    voxels.at = allocate<std::array<std::int32_t, 3>>(table.number.size(), "read_voxel_table");
    std::string sizes;
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const std::vector<double>& given = table.columns[3 + axis];
      SpanTable found = given.empty() ? regular_spans(file, table, axis)
                                      : sized_spans(table.columns[axis], given);
      for (std::size_t n = 0; n < voxels.at.size(); ++n) voxels.at[n][axis] = found.of_voxel[n];
      voxels.spans[axis] = std::move(found.spans);
      const Span& one = voxels.spans[axis].front();
      sizes += (axis == 0 ? "" : " x ") +
               (given.empty() ? fmt::format("{:g}", one.high - one.low) : table.names[3 + axis]);
    }
    notes.remarks.push_back(
        fmt::format("{} voxels of {} m (easting, northing, elevation)", voxels.at.size(), sizes));
    refuse_same_voxels(voxels);
    for (std::size_t v = 0; v < columns.values.size(); ++v) {
      voxels.values.push_back(std::move(table.columns[6 + v]));
    }
    if (!columns.unit.empty()) voxels.units = std::move(table.texts.back());
    return voxels;
  });
}

}  // namespace quorivex
