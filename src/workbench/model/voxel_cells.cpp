// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/voxel_cells.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "base/memory.h"
#include "base/stop_run.h"
#include "workbench/model/mesh_places.h"

namespace quorivex {
namespace {

constexpr const char* kVoxelCells = "voxels_of_cells";
constexpr double kOnFace = 1e-6;        // of a voxel or a cell: rounded faces
constexpr double kCoveredTwice = 1e-3;  // of a cell
constexpr double kHalf = 0.5 - 1e-9;    // of a cell, with rounded faces

/// The span along an axis of the mesh, where depths take the place of elevations.
Span along_mesh(const Mesh& mesh, std::size_t axis, const Span& span) {
  return axis == 2 ? Span{mesh.z0 - span.high, mesh.z0 - span.low} : span;
}

/// Some cells of an axis, from 0.
struct CellRange {
  std::int32_t first = 0;
  std::int32_t end = 0;
};

CellRange cells_overlapping(const std::vector<double>& nodes, const Span& span) {
  const auto first = std::upper_bound(nodes.begin(), nodes.end(), span.low) - nodes.begin() - 1;
  const auto end = std::lower_bound(nodes.begin(), nodes.end(), span.high) - nodes.begin();
  const std::ptrdiff_t cells = static_cast<std::ptrdiff_t>(nodes.size()) - 1;
  return {static_cast<std::int32_t>(std::max<std::ptrdiff_t>(first, 0)),
          static_cast<std::int32_t>(std::min(end, cells))};
}

/// The voxels on the axes of a mesh: their spans there, and the cells of each.
struct OnMesh {
  std::array<std::vector<Span>, 3> spans;
  std::array<std::vector<CellRange>, 3> cells;
};

template <class CellsOf>
OnMesh on_mesh(const Mesh& mesh, const Voxels& voxels, CellsOf cells_of) {
  OnMesh found;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    for (const Span& span : voxels.spans[axis]) {
      append_checked(found.spans[axis], along_mesh(mesh, axis, span));
      append_checked(found.cells[axis], cells_of(axis, found.spans[axis].back()));
    }
  }
  return found;
}

/// Visits the ground cells of a voxel: visit(cell from 1, place).
template <class Visit>
void for_cells_of(const Ground& ground, const OnMesh& on, const std::array<std::int32_t, 3>& voxel,
                  Visit visit) {
  std::array<CellRange, 3> cells;
  for (std::size_t axis = 0; axis < 3; ++axis) cells[axis] = on.cells[axis][as_size(voxel[axis])];
  CellPlace at{};
  for (at[1] = cells[1].first; at[1] < cells[1].end; ++at[1]) {
    for (at[0] = cells[0].first; at[0] < cells[0].end; ++at[0]) {
      const std::int32_t top = ground.tops(at[1] + 1, at[0] + 1);
      for (at[2] = std::max(cells[2].first, top); at[2] < cells[2].end; ++at[2]) {
        visit(ground_cell(ground, at), at);
      }
    }
  }
}

double volume_of(const Mesh& mesh, const CellPlace& at) {
  return mesh.de[as_size(at[0])] * mesh.dn[as_size(at[1])] * mesh.dz[as_size(at[2])];
}

/// "voxel 7", "line 8".
std::string voxel_name(const Voxels& voxels, std::size_t voxel) {
  return voxels.lines.empty() ? fmt::format("voxel {}", voxel + 1)
                              : fmt::format("line {}", voxels.lines[voxel]);
}

/// Nothing where rounded faces alone overlap.
double shared_length(const Span& a, const Span& b) {
  const double shared = std::min(a.high, b.high) - std::max(a.low, b.low);
  return shared > kOnFace * std::min(a.high - a.low, b.high - b.low) ? shared : 0.0;
}

/// Visits what voxels and cells share: visit(voxel, cell from 1, volume). Returns the part of each
/// ground cell that is covered.
/// @param used  of each voxel whether it shares anything
template <class Visit>
std::vector<double> for_each_overlap(const Ground& ground, const Voxels& voxels,
                                     std::vector<std::uint8_t>& used, Visit visit) {
  const Mesh& mesh = ground.mesh;
  const OnMesh on = on_mesh(mesh, voxels, [&](std::size_t axis, const Span& span) {
    return cells_overlapping(nodes_of(mesh, axis), span);
  });
  auto covered = allocate<double>(as_size(ground.cells()), kVoxelCells);
  for (std::size_t v = 0; v < voxels.at.size(); ++v) {
    for_cells_of(ground, on, voxels.at[v], [&](std::int64_t cell, const CellPlace& at) {
      double volume = 1.0;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        const Span& span = on.spans[axis][as_size(voxels.at[v][axis])];
        const std::vector<double>& nodes = nodes_of(mesh, axis);
        const std::size_t node = as_size(at[axis]);
        volume *= shared_length(span, {nodes[node], nodes[node + 1]});
      }
      if (volume == 0.0) return;
      double& part = covered[as_size(cell - 1)];
      part += volume / volume_of(mesh, at);
      if (part > 1.0 + kCoveredTwice) {
        stop_run(
            fmt::format(" ERROR: {}: the voxel of {} overlaps others within the cell at k {} "
                        "i {} j {}.",
                        voxels.file, voxel_name(voxels, v), at[2] + 1, at[0] + 1, at[1] + 1));
      }
      used[v] = 1;
      visit(v, as_size(cell - 1), volume);
    });
  }
  return covered;
}

/// Leaves the entries where a cell is covered by half or more; counts.
void keep_half_covered(const std::vector<double>& covered, const std::vector<std::uint8_t>& used,
                       VoxelCells& cells) {
  for (std::size_t cell = 0; cell < covered.size(); ++cell) {
    if (covered[cell] >= kHalf) {
      ++cells.with;
    } else {
      cells.entries[cell] = 0;
      if (covered[cell] > 0.0) ++cells.less_than_half;
    }
  }
  cells.unused = std::count(used.begin(), used.end(), std::uint8_t{0});
}

}  // namespace

VoxelCells voxels_at_centres(const Ground& ground, const Voxels& voxels) {
  const Mesh& mesh = ground.mesh;
  std::array<std::vector<double>, 3> centres;
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const std::vector<double>& nodes = nodes_of(mesh, axis);
    for (std::size_t n = 1; n < nodes.size(); ++n) {
      centres[axis].push_back(0.5 * (nodes[n - 1] + nodes[n]));
    }
  }
  const OnMesh on = on_mesh(mesh, voxels, [&](std::size_t axis, const Span& span) {
    const double more = kOnFace * 0.5 * (span.high - span.low);
    const std::vector<double>& all = centres[axis];
    const auto first = std::lower_bound(all.begin(), all.end(), span.low - more);
    const auto end = std::upper_bound(first, all.end(), span.high + more);
    return CellRange{static_cast<std::int32_t>(first - all.begin()),
                     static_cast<std::int32_t>(end - all.begin())};
  });
  VoxelCells cells;
  cells.entries = allocate<std::int32_t>(as_size(ground.cells()), kVoxelCells);
  // How far a centre is from that of its voxel: 1 is at a face.
  auto off = allocate<float>(as_size(ground.cells()), kVoxelCells, 2.0F);
  auto used = allocate<std::uint8_t>(voxels.at.size() + 1, kVoxelCells);
  for (std::size_t v = 0; v < voxels.at.size(); ++v) {
    for_cells_of(ground, on, voxels.at[v], [&](std::int64_t cell, const CellPlace& at) {
      double now = 0.0;
      for (std::size_t axis = 0; axis < 3; ++axis) {
        const Span& span = on.spans[axis][as_size(voxels.at[v][axis])];
        now =
            std::max(now, std::abs(2.0 * centres[axis][as_size(at[axis])] - span.low - span.high) /
                              (span.high - span.low));
      }
      float& before = off[as_size(cell - 1)];
      std::int32_t& entry = cells.entries[as_size(cell - 1)];
      constexpr float kWithin = 1.0F - 1e-5F;
      if (entry != 0 && before < kWithin && now < kWithin) {
        stop_run(
            fmt::format(" ERROR: {}: the voxels of {} and {} overlap at the centre of the "
                        "cell k {} i {} j {}.",
                        voxels.file, voxel_name(voxels, as_size(entry - 1)), voxel_name(voxels, v),
                        at[2] + 1, at[0] + 1, at[1] + 1));
      }
      if (entry != 0 && (before < kWithin || now >= kWithin)) return;
      entry = static_cast<std::int32_t>(v + 1);
      before = static_cast<float>(now);
    });
  }
  for (const std::int32_t entry : cells.entries) used[as_size(entry)] = 1;
  cells.with = length(cells.entries) - std::count(cells.entries.begin(), cells.entries.end(), 0);
  cells.unused = std::count(used.begin() + 1, used.end(), std::uint8_t{0});
  return cells;
}

VoxelMeans means_of_voxels(const Ground& ground, const Voxels& voxels) {
  const std::size_t ground_cells = as_size(ground.cells());
  VoxelMeans means;
  means.cells.entries = allocate<std::int32_t>(ground_cells, kVoxelCells);
  for (std::size_t c = 0; c < voxels.values.size(); ++c) {
    append_checked(means.values, allocate<double>(ground_cells, kVoxelCells));
  }
  auto volumes = allocate<double>(ground_cells, kVoxelCells);
  auto used = allocate<std::uint8_t>(voxels.at.size(), kVoxelCells);
  const std::vector<double> covered = for_each_overlap(
      ground, voxels, used, [&](std::size_t voxel, std::size_t cell, double volume) {
        volumes[cell] += volume;
        for (std::size_t c = 0; c < voxels.values.size(); ++c) {
          means.values[c][cell] += volume * voxels.values[c][voxel];
        }
      });
  for (std::size_t cell = 0; cell < ground_cells; ++cell) {
    if (volumes[cell] <= 0.0) continue;
    means.cells.entries[cell] = static_cast<std::int32_t>(cell + 1);
    for (std::vector<double>& values : means.values) values[cell] /= volumes[cell];
  }
  keep_half_covered(covered, used, means.cells);
  return means;
}

VoxelCells largest_units(const Ground& ground, const Voxels& voxels,
                         const std::vector<std::int32_t>& units) {
  return with_alloc_label(kVoxelCells, [&] {
    struct Part {
      std::size_t cell;
      std::int32_t unit;
      double volume;
    };
    std::vector<Part> parts;
    auto used = allocate<std::uint8_t>(voxels.at.size(), kVoxelCells);
    const std::vector<double> covered = for_each_overlap(
        ground, voxels, used, [&](std::size_t voxel, std::size_t cell, double volume) {
          append_checked(parts, Part{cell, units[voxel], volume});
        });
    std::stable_sort(parts.begin(), parts.end(), [](const Part& a, const Part& b) {
      return std::tie(a.cell, a.unit) < std::tie(b.cell, b.unit);
    });
    VoxelCells cells;
    cells.entries = allocate<std::int32_t>(as_size(ground.cells()), kVoxelCells);
    auto largest = allocate<double>(as_size(ground.cells()), kVoxelCells);
    for (auto part = parts.begin(); part != parts.end();) {
      const Part of = *part;
      double volume = 0.0;
      for (; part != parts.end() && part->cell == of.cell && part->unit == of.unit; ++part) {
        volume += part->volume;
      }
      // Of equal volumes those of the first unit, whatever the rounding of their sums.
      if (volume <= largest[of.cell] * (1.0 + 1e-12)) continue;
      largest[of.cell] = volume;
      cells.entries[of.cell] = of.unit;
    }
    keep_half_covered(covered, used, cells);
    return cells;
  });
}

}  // namespace quorivex
