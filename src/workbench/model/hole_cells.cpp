// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/hole_cells.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/stop_run.h"
#include "workbench/model/mesh_places.h"

namespace quorivex {
namespace {

constexpr const char* kHoleCells = "cells_of_holes";

/// The path of a hole in a ground cell, by its number from 1.
struct PathInCell {
  std::int64_t cell;
  double length;
};

/// Appends the ground cells that a straight piece of a path passes through.
/// @param parts  room for the parts of its length at which it goes from one cell to another
void pass_through(const Ground& ground, const Segment& piece, std::vector<double>& parts,
                  std::vector<PathInCell>& passed) {
  const Mesh& mesh = ground.mesh;
  const SpacePoint a = below_top(mesh, piece.from);
  const SpacePoint b = below_top(mesh, piece.to);
  parts = {0.0, 1.0};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const std::vector<double>& nodes = nodes_of(mesh, axis);
    const auto [low, high] = std::minmax(a[axis], b[axis]);
    const auto first = std::upper_bound(nodes.begin(), nodes.end(), low);
    for (auto node = first; node != nodes.end() && *node < high; ++node) {
      parts.push_back((*node - a[axis]) / (b[axis] - a[axis]));
    }
  }
  std::sort(parts.begin(), parts.end());
  const double length = std::hypot(b[0] - a[0], b[1] - a[1], b[2] - a[2]);
  for (std::size_t n = 1; n < parts.size(); ++n) {
    const double middle = 0.5 * (parts[n - 1] + parts[n]);
    CellPlace at{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
      at[axis] = cell_along(nodes_of(mesh, axis), a[axis] + middle * (b[axis] - a[axis]));
    }
    if (std::min({at[0], at[1], at[2]}) < 0) continue;
    const std::int64_t cell = ground_cell(ground, at);
    if (cell > 0) passed.push_back({cell, (parts[n] - parts[n - 1]) * length});
  }
}

/// The straight pieces of all intervals, each with the number of its interval from 1.
struct Pieces {
  std::vector<Segment> segments;
  std::vector<std::int32_t> intervals;
};

Pieces pieces_of(const DrillHoles& holes) {
  Pieces pieces;
  for (std::size_t n = 0; n < holes.intervals.size(); ++n) {
    const HoleInterval& part = holes.intervals[n];
    const std::vector<SpacePoint> places =
        places_between(holes.paths[part.hole], part.from, part.to);
    for (std::size_t p = 1; p < places.size(); ++p) {
      append_checked(pieces.segments, {places[p - 1], places[p]});
      append_checked(pieces.intervals, static_cast<std::int32_t>(n + 1));
    }
  }
  return pieces;
}

/// Gives each cell that a path passes through the interval that is longest in it.
void give_to_passed(const Ground& ground, const Pieces& pieces, HoleCells& cells) {
  std::vector<double> longest = allocate<double>(as_size(ground.cells()), kHoleCells);
  std::vector<double> parts;
  std::vector<PathInCell> passed;
  for (std::size_t first = 0; first < pieces.segments.size();) {
    const std::int32_t interval = pieces.intervals[first];
    passed.clear();
    for (; first < pieces.segments.size() && pieces.intervals[first] == interval; ++first) {
      pass_through(ground, pieces.segments[first], parts, passed);
    }
    std::stable_sort(passed.begin(), passed.end(),
                     [](const auto& a, const auto& b) { return a.cell < b.cell; });
    for (auto at = passed.begin(); at != passed.end();) {
      const std::size_t cell = as_size(at->cell - 1);
      double sum = 0.0;
      for (; at != passed.end() && as_size(at->cell - 1) == cell; ++at) {
        sum += at->length;
      }
      if (cells.intervals[cell] == 0) ++cells.passed;
      if (cells.intervals[cell] == 0 || sum > longest[cell]) {
        longest[cell] = sum;
        cells.intervals[cell] = interval;
      }
    }
  }
}

/// Gives each other cell the interval whose path is nearest.
void give_to_near(const Ground& ground, const Pieces& pieces, double reach, HoleCells& cells) {
  const SegmentTree tree(pieces.segments);
  const Mesh& mesh = ground.mesh;
  std::int64_t near = 0;
#pragma omp parallel for default(none) shared(ground, mesh, tree, pieces, cells, reach) \
    reduction(+ : near) schedule(dynamic, 64)
  for (std::int64_t number = 1; number <= ground.columns(); ++number) {
    const GridColumn column = ground.column(number);
    const std::size_t i = as_size(column.i);
    const std::size_t j = as_size(column.j);
    const double easting = 0.5 * (mesh.easting_nodes[i - 1] + mesh.easting_nodes[i]);
    const double northing = 0.5 * (mesh.northing_nodes[j - 1] + mesh.northing_nodes[j]);
    for (std::int32_t k = column.top + 1; k <= mesh.nz; ++k) {
      std::int32_t& interval = cells.intervals[as_size(column.before + k - column.top - 1)];
      if (interval != 0) continue;
      const double elevation = 0.5 * (ground.elevation(k) + ground.elevation(k + 1));
      const std::size_t nearest = tree.nearest({easting, northing, elevation}, reach);
      if (nearest == tree.size()) continue;
      interval = pieces.intervals[nearest];
      ++near;
    }
  }
  cells.near = near;
}

}  // namespace

HoleCells cells_of_holes(const Ground& ground, const DrillHoles& holes, double reach) {
  return with_alloc_label(kHoleCells, [&] {
    HoleCells cells;
    cells.intervals = allocate<std::int32_t>(as_size(ground.cells()), kHoleCells);
    const Pieces pieces = pieces_of(holes);
    give_to_passed(ground, pieces, cells);
    if (reach > 0.0) give_to_near(ground, pieces, reach, cells);
    return cells;
  });
}

void note_reach(const Ground& ground, const DrillHoles& holes, const HoleCells& cells,
                SourceNotes& notes) {
  std::vector<std::uint8_t> reaches(holes.intervals.size() + 1);
  for (const std::int32_t interval : cells.intervals) reaches[as_size(interval)] = 1;
  std::int64_t without = 0;
  std::int64_t in_air = 0;
  std::int64_t beside = 0;
  for (std::size_t n = 0; n < holes.intervals.size(); ++n) {
    if (reaches[n + 1] == 0) ++without;
    const HoleInterval& part = holes.intervals[n];
    const SpacePoint middle =
        below_top(ground.mesh, place_at(holes.paths[part.hole], 0.5 * (part.from + part.to)));
    CellPlace at{};
    for (std::size_t a = 0; a < 3; ++a) at[a] = cell_along(nodes_of(ground.mesh, a), middle[a]);
    const bool in_columns = at[0] >= 0 && at[1] >= 0;
    if (in_columns && (middle[2] < 0.0 || (at[2] >= 0 && ground_cell(ground, at) == 0))) {
      ++in_air;
    } else if (!in_columns || at[2] < 0) {
      ++beside;
    }
  }
  notes.remarks.push_back(
      fmt::format("{} cells that holes pass through and {} others within reach have a value",
                  cells.passed, cells.near));
  notes.remarks.push_back(
      fmt::format("{} of {} intervals give their value to no cell; the middles of {} lie outside "
                  "the mesh",
                  without, holes.intervals.size(), beside));
  if (in_air > 0) {
    notes.warnings.push_back(
        fmt::format("the middles of {} of {} intervals lie above the ground of the mesh: do the "
                    "elevations of the collars fit it?",
                    in_air, holes.intervals.size()));
  }
}

}  // namespace quorivex
