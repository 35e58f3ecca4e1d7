// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/prism_row.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>

#include "base/multiversion.h"
#include "base/stop_run.h"
#include "workbench/forward/vector_maths.h"

namespace quorivex {
namespace {

constexpr std::int64_t kVector = 8;  // doubles of the widest registers
constexpr double kAligned = 1e-100;  // offsets below count as 0, so that no quotient overflows

double sign(double x) { return static_cast<double>(x > 0.0) - static_cast<double>(x < 0.0); }

/// What the nodes of one column have in common. Offsets are in units of the scale of the station.
struct Column {
  std::int64_t nodes = 0;
  double east = 0.0;
  double north = 0.0;
  const double* up = nullptr;
  const double* up_sign = nullptr;
  const double* abs_up = nullptr;
  const double* log_north_of = nullptr;
  const double* log_east_of = nullptr;
  double log_aligned = 0.0;  // stands for the logarithm of a distance of 0
};

/// Layers from `first` to before `end`, none where these are equal.
struct LayerRange {
  std::int32_t first = 0;
  std::int32_t end = 0;
};

/// The smallest range that holds both.
LayerRange hull(const LayerRange& a, const LayerRange& b) {
  if (a.first == a.end) return b;
  if (b.first == b.end) return a;
  return {std::min(a.first, b.first), std::max(a.end, b.end)};
}

/// to[k] = ln of the distance from the line through node k and the point `across` away from it.
QUORIVEX_MULTIVERSIONED
void log_distances(const double* up, double across, std::int64_t nodes, double log_aligned,
                   double* to) {
#pragma omp simd
  for (std::int64_t k = 0; k < nodes; ++k) {
    const double square = across * across + up[k] * up[k];
    const double half_log = 0.5 * log(std::max(square, 4.0 * kAligned * kAligned));
    to[k] = square > 0.0 ? half_log : log_aligned;
  }
}

/// to[k] = the node function at node k of the column (theory, equation 5), for the nodes of a range
/// and those that fill its vectors.
QUORIVEX_MULTIVERSIONED
void node_function(const Column& column, const LayerRange& range, const TensorWeights& w,
                   double* to) {
  const double x = column.east;
  const double y = column.north;
  const double across = x * x + y * y;
  const double log_up_of = across > 0.0 ? 0.5 * log(across) : column.log_aligned;
  // On a vertical face the arctangent jumps from -pi/2 to pi/2; its mean is 0.
  const double x_weight = x == 0.0 ? 0.0 : w.uu - w.ee;
  const double y_weight = y == 0.0 ? 0.0 : w.uu - w.nn;
  const double y_over_x = x == 0.0 ? 0.0 : y / x;
  const double x_over_y = y == 0.0 ? 0.0 : x / y;
  const double abs_x = std::abs(x);
  const double abs_y = std::abs(y);
  const double x_log_weight = w.nu * sign(x);
  const double y_log_weight = w.eu * sign(y);
  const double* const up = column.up;
  const double* const up_sign = column.up_sign;
  const double* const abs_up = column.abs_up;
  const double* const log_north_of = column.log_north_of;
  const double* const log_east_of = column.log_east_of;
  const std::int64_t first = range.first / kVector * kVector;
  const std::int64_t end = (range.end + kVector - 1) / kVector * kVector;
#pragma omp simd
  for (std::int64_t k = first; k < end; ++k) {
    const double r = std::max(std::sqrt(across + up[k] * up[k]), kAligned);
    const double slope = up[k] / r;
    to[k] = x_weight * atan(y_over_x * slope) + y_weight * atan(x_over_y * slope) +
            w.en * up_sign[k] * (log(abs_up[k] + r) - log_up_of) +
            y_log_weight * (log(abs_y + r) - log_north_of[k]) +
            x_log_weight * (log(abs_x + r) - log_east_of[k]);
  }
}

/// The largest offset between the station and a node, as a power of two: dividing by it is exact
/// and keeps the logarithms small where differences between cells are small.
double station_scale(const Mesh& mesh, const Point& station) {
  const double largest =
      std::max({std::abs(mesh.easting_nodes.front() - station.easting),
                std::abs(mesh.easting_nodes.back() - station.easting),
                std::abs(mesh.northing_nodes.front() - station.northing),
                std::abs(mesh.northing_nodes.back() - station.northing),
                std::abs(mesh.z0 - station.elevation),
                std::abs(mesh.z0 - mesh.depth_nodes.back() - station.elevation)});
  return largest > 0.0 ? std::exp2(std::ceil(std::log2(largest))) : 1.0;
}

double offset(double node, double station, double scale) {
  const double difference = (node - station) / scale;
  return std::abs(difference) < kAligned ? 0.0 : difference;
}

void place_station(const Mesh& mesh, const Point& station, double scale, PrismScratch& scratch) {
  for (std::size_t i = 0; i < scratch.east.size(); ++i) {
    scratch.east[i] = offset(mesh.easting_nodes[i], station.easting, scale);
  }
  for (std::size_t j = 0; j < scratch.north.size(); ++j) {
    scratch.north[j] = offset(mesh.northing_nodes[j], station.northing, scale);
  }
  for (std::size_t k = 0; k < scratch.up.size(); ++k) {
    const std::size_t node = std::min(k, mesh.depth_nodes.size() - 1);
    scratch.up[k] = offset(mesh.z0 - mesh.depth_nodes[node], station.elevation, scale);
    scratch.up_sign[k] = sign(scratch.up[k]);
    scratch.abs_up[k] = std::abs(scratch.up[k]);
  }
  for (std::size_t i = 0; i < mesh.de.size(); ++i) {
    scratch.east_centre[i] = mesh.easting_nodes[i] - station.easting + 0.5 * mesh.de[i];
  }
  scratch.layers.place(mesh, station.elevation);
}

/// The near layers of the four columns around node column i of the plane between two rows.
LayerRange near_node(const PrismScratch& scratch, std::size_t i) {
  LayerRange range;
  for (const auto* plans : {&scratch.plans, &scratch.next_plans}) {
    for (std::size_t column = i == 0 ? 0 : i - 1; column <= i && column < plans->size(); ++column) {
      const ColumnPlan& plan = (*plans)[column];
      range = hull(range, {plan.near_first, plan.near_end});
    }
  }
  return range;
}

/// The differences down the columns of plane j of the nodes, j from 0, where cells next to them are
/// near.
void node_plane(std::size_t j, std::int32_t layers, Column column, const TensorWeights& weights,
                PrismScratch& scratch) {
  column.north = scratch.north[j];
  bool begun = false;
  for (std::size_t i = 0; i < scratch.east.size(); ++i) {
    const LayerRange near = near_node(scratch, i);
    if (near.first == near.end) continue;
    if (!begun) {
      log_distances(column.up, column.north, column.nodes, column.log_aligned,
                    scratch.log_east_of.data());
      begun = true;
    }
    column.east = scratch.east[i];
    column.log_north_of =
        scratch.log_north_of.data() + scratch.stride * static_cast<std::int64_t>(i);
    node_function(column, {near.first, near.end + 1}, weights, scratch.column.data());
    double* to = scratch.plane.data() + i * as_size(layers);
    for (std::int32_t k = near.first; k < near.end; ++k) {
      to[k] = scratch.column[as_size(k)] - scratch.column[as_size(k + 1)];
    }
  }
}

/// to[b] = the smallest squared distance of the cells in block b of a column, in units of their
/// longest edges.
QUORIVEX_MULTIVERSIONED
void nearest_of_blocks(const double* up, const double* inverse_edges, double across,
                       double inverse_width, std::int64_t blocks, double* to) {
  for (std::int64_t b = 0; b < blocks; ++b) {
    double found = std::numeric_limits<double>::infinity();
#pragma omp simd reduction(min : found)
    for (std::int64_t k = b * kVector; k < (b + 1) * kVector; ++k) {
      found = std::min(found, (across + up[k] * up[k]) * std::min(inverse_edges[k], inverse_width));
    }
    to[b] = found;
  }
}

/// Sets the terms of the blocks of a column, and returns what holds for the whole column; `first`
/// is its first ground cell, `end` the number of layers.
ColumnPlan plan_column(PrismScratch& scratch, double across, double width, std::int32_t first,
                       std::int32_t end, std::uint8_t* block_terms) {
  const double inverse_width = 1.0 / (width * width);
  const double* const up = scratch.layers.up.data();
  const double* const inverse_edges = scratch.inverse_edges.data();
  const auto blocks = static_cast<std::int64_t>(scratch.nearest.size());
  // No cell is nearer than the column itself, nor has a longer edge than the longest.
  const int at_most = terms_needed(across * std::min(scratch.min_inverse_edge, inverse_width));
  if (at_most == 2 || (at_most == 3 && scratch.layers.all_uniform)) {
    std::fill_n(block_terms, blocks, static_cast<std::uint8_t>(at_most));
    return {.terms = at_most};
  }
  nearest_of_blocks(up, inverse_edges, across, inverse_width, blocks, scratch.nearest.data());
  ColumnPlan plan;
  bool all_far = true;
  for (std::int64_t b = 0; b < blocks; ++b) {
    const int terms = terms_needed(scratch.nearest[as_size(b)]);
    all_far = all_far && terms > 0;
    block_terms[b] = static_cast<std::uint8_t>(terms > 0 ? terms : kMaxTerms);
    plan.terms = std::max<int>(plan.terms, block_terms[b]);
  }
  if (all_far) return plan;
  const auto is_near = [&](std::int32_t k) {
    return terms_needed((across + up[k] * up[k]) * std::min(inverse_edges[k], inverse_width)) == 0;
  };
  while (first < end && !is_near(first)) ++first;
  while (first < end && !is_near(end - 1)) --end;
  if (first < end) {
    plan.near_first = first;
    plan.near_end = end;
  }
  return plan;
}

/// Plans the columns of row j, the next one.
void plan_row(const Ground& ground, std::int32_t j, const ColumnRow& columns,
              PrismScratch& scratch) {
  const Mesh& mesh = ground.mesh;
  for (std::int32_t i = 1; i <= mesh.ne; ++i) {
    const double east = columns.east[i - 1];
    const std::int32_t top = ground.tops(j, i);
    ColumnPlan& plan = scratch.next_plans[as_size(i - 1)];
    plan = {};
    if (top == mesh.nz) continue;
    plan = plan_column(scratch, east * east + columns.north * columns.north,
                       std::max(columns.width, columns.east_width[i - 1]), top, mesh.nz,
                       scratch.next_block_terms.data() + (i - 1) * length(scratch.nearest));
  }
}

/// A cell whose nodes lie on two sides of the station: `sides` is 2 around it, 1 with a node on it.
struct Straddling {
  std::int32_t cell = 0;
  double sides = 0.0;
};

/// The cells of an axis around the station, at most two; `at_zero` is the side of a node on it.
std::array<Straddling, 2> straddling(const std::vector<double>& offsets, std::int32_t cells,
                                     double at_zero) {
  std::array<Straddling, 2> found;
  std::size_t count = 0;
  const auto side = [=](double x) { return x == 0.0 ? at_zero : sign(x); };
  for (std::int32_t i = 1; i <= cells && count < 2; ++i) {
    const double sides = std::abs(side(offsets[as_size(i)]) - side(offsets[as_size(i - 1)]));
    if (sides > 0.0) found[count++] = {i, sides};
  }
  return found;
}

/// The cells that hold the station, by axis; inside a cell the trace of its tensor is -4 pi, which
/// the node function leaves out.
struct Inside {
  std::array<Straddling, 2> east, north, up;
  double uu = 0.0;  ///< weight
};

void add_trace(const Inside& inside, const GridColumn& column, double* cells) {
  if (inside.up[0].cell == 0) return;
  for (const Straddling& j : inside.north) {
    if (j.cell != column.j) continue;
    for (const Straddling& i : inside.east) {
      if (i.cell != column.i) continue;
      for (const Straddling& k : inside.up) {
        if (k.cell <= column.top) continue;
        cells[k.cell - 1 - column.top] -=
            inside.uu * std::numbers::pi / 2.0 * i.sides * j.sides * k.sides;
      }
    }
  }
}

/// The near cells of a column, from the planes of nodes before and after it; `cells` begins with
/// the first layer.
void near_cells(const PrismScratch& scratch, std::size_t i, std::int32_t layers, double* cells) {
  const ColumnPlan& plan = scratch.plans[i];
  const double* const west = scratch.plane.data() + i * as_size(layers);
  const double* const west_before = scratch.plane_before.data() + i * as_size(layers);
  for (std::int32_t k = plan.near_first; k < plan.near_end; ++k) {
    cells[k] = (west[k + layers] - west[k]) - (west_before[k + layers] - west_before[k]);
  }
}

/// The near cells for which the expansion of their pieces is better.
void thin_cells(const PrismScratch& scratch, std::size_t i, const WeightedDerivatives& derivatives,
                const ColumnRow& columns, double* cells) {
  for (std::int32_t k = scratch.plans[i].near_first; k < scratch.plans[i].near_end; ++k) {
    const std::size_t layer = as_size(k);
    const CellFromStation cell{
        {columns.east[i], columns.north, scratch.layers.up[layer]},
        {columns.east_width[i], columns.width, scratch.layers.thickness[layer]}};
    if (is_thin(cell)) cells[k] = value_of_thin_cell(derivatives, cell);
  }
}

/// The columns of a row, whose planes of nodes have been made.
void row_of_columns(const Ground& ground, std::int32_t j, const WeightedDerivatives& derivatives,
                    const ColumnRow& columns, const Inside& inside, PrismScratch& scratch,
                    const ColumnSink& sink) {
  const std::int32_t nz = ground.mesh.nz;
  double* const cells = scratch.column.data();
  scratch.polynomials.make(derivatives, columns, scratch.plans, scratch.layers);
  GridColumn column{.j = j, .above = (j - std::int64_t{1}) * ground.mesh.ne * nz};
  for (std::size_t i = 0; i < scratch.plans.size(); ++i, column.above += nz) {
    column.i = static_cast<std::int32_t>(i) + 1;
    column.top = ground.tops(j, column.i);
    column.before = ground.cells_before(j, column.i);
    scratch.polynomials.evaluate(columns, static_cast<std::int64_t>(i),
                                 scratch.block_terms.data() + i * scratch.nearest.size(),
                                 scratch.layers, cells);
    near_cells(scratch, i, nz, cells);
    thin_cells(scratch, i, derivatives, columns, cells);
    add_trace(inside, column, cells + column.top);
    sink(column, cells + column.top);
  }
}

/// Cells first..last of an axis that hold the station; two when it is on the node between them.
struct Touched {
  std::int32_t first = 1;
  std::int32_t last = 0;
  bool on_node = false;
};

/// `offsets` of the axis' nodes from the station, rising or falling; no cell when it lies outside.
Touched touched(const std::vector<double>& offsets, std::int32_t cells) {
  Touched found;
  for (std::int32_t i = cells; i >= 1; --i) {
    const double first = offsets[as_size(i - 1)];
    const double last = offsets[as_size(i)];
    if (sign(first) * sign(last) > 0.0) continue;
    if (found.last == 0) found.last = i;
    found.first = i;
    found.on_node = found.on_node || first == 0.0 || last == 0.0;
  }
  return found;
}

}  // namespace

PrismScratch::PrismScratch(const Mesh& mesh) : layers(mesh), polynomials(mesh.ne) {
  constexpr const char* kRoutine = "prism_row";
  stride = (mesh.nz + kVector) / kVector * kVector;
  const auto doubles = [](std::int64_t count) {
    return allocate<double>(as_size(count), kRoutine);
  };
  east = doubles(std::int64_t{mesh.ne} + 1);
  north = doubles(std::int64_t{mesh.nn} + 1);
  up = doubles(stride);
  up_sign = doubles(stride);
  abs_up = doubles(stride);
  log_north_of = doubles(stride * (std::int64_t{mesh.ne} + 1));
  log_east_of = doubles(stride);
  column = doubles(stride);
  plane = doubles(mesh.nz * (std::int64_t{mesh.ne} + 1));
  plane_before = plane;
  const std::size_t columns = as_size((mesh.ne + kVector - 1) / kVector * kVector);
  east_centre = allocate<double>(columns, kRoutine);
  east_width = allocate<double>(columns, kRoutine, mesh.de.back());
  std::copy(mesh.de.begin(), mesh.de.end(), east_width.begin());
  inverse_edges = layers.thickness_squared;
  for (double& value : inverse_edges) value = 1.0 / value;
  min_inverse_edge = *std::min_element(inverse_edges.begin(), inverse_edges.end());
  plans = allocate<ColumnPlan>(as_size(mesh.ne), kRoutine);
  next_plans = plans;
  nearest = doubles(length(layers.up) / kVector);
  block_terms = allocate<std::uint8_t>(plans.size() * nearest.size(), kRoutine);
  next_block_terms = block_terms;
}

void prism_row(const Ground& ground, const Point& station, const TensorWeights& weights,
               PrismScratch& scratch, const ColumnSink& sink) {
  const Mesh& mesh = ground.mesh;
  const double scale = station_scale(mesh, station);
  place_station(mesh, station, scale, scratch);
  Column column{.nodes = scratch.stride,
                .up = scratch.up.data(),
                .up_sign = scratch.up_sign.data(),
                .abs_up = scratch.abs_up.data(),
                .log_east_of = scratch.log_east_of.data(),
                .log_aligned = std::log(1e-3 * min_width(mesh) / scale)};
  for (std::size_t i = 0; i < scratch.east.size(); ++i) {
    log_distances(column.up, scratch.east[i], column.nodes, column.log_aligned,
                  scratch.log_north_of.data() + scratch.stride * static_cast<std::int64_t>(i));
  }
  constexpr double kBelow = -1.0;  // the side of a horizontal face with the station on it
  const Inside inside{.east = straddling(scratch.east, mesh.ne, 0.0),
                      .north = straddling(scratch.north, mesh.nn, 0.0),
                      .up = straddling(scratch.up, mesh.nz, kBelow),
                      .uu = weights.uu};
  const WeightedDerivatives derivatives(weights);
  const auto row_at = [&](std::int32_t j) {
    const std::size_t at = as_size(j - 1);
    return ColumnRow{.north = mesh.northing_nodes[at] - station.northing + 0.5 * mesh.dn[at],
                     .width = mesh.dn[at],
                     .east = scratch.east_centre.data(),
                     .east_width = scratch.east_width.data()};
  };
  std::fill(scratch.plans.begin(), scratch.plans.end(), ColumnPlan{});
  plan_row(ground, 1, row_at(1), scratch);
  node_plane(0, mesh.nz, column, weights, scratch);
  for (std::int32_t j = 1; j <= mesh.nn; ++j) {
    std::swap(scratch.plane_before, scratch.plane);
    std::swap(scratch.plans, scratch.next_plans);
    std::swap(scratch.block_terms, scratch.next_block_terms);
    if (j < mesh.nn) {
      plan_row(ground, j + 1, row_at(j + 1), scratch);
    } else {
      std::fill(scratch.next_plans.begin(), scratch.next_plans.end(), ColumnPlan{});
    }
    node_plane(as_size(j), mesh.nz, column, weights, scratch);
    row_of_columns(ground, j, derivatives, row_at(j), inside, scratch, sink);
  }
}

bool on_cell_edge(const Ground& ground, const Point& station, PrismScratch& scratch) {
  const Mesh& mesh = ground.mesh;
  place_station(mesh, station, station_scale(mesh, station), scratch);
  const Touched layers = touched(scratch.up, mesh.nz);
  const Touched rows = touched(scratch.north, mesh.nn);
  const Touched columns = touched(scratch.east, mesh.ne);
  const int planes = static_cast<int>(layers.on_node) + static_cast<int>(rows.on_node) +
                     static_cast<int>(columns.on_node);
  if (planes < 2) return false;
  for (std::int32_t j = rows.first; j <= rows.last; ++j) {
    for (std::int32_t i = columns.first; i <= columns.last; ++i) {
      if (layers.last > ground.tops(j, i)) return true;
    }
  }
  return false;
}

}  // namespace quorivex
