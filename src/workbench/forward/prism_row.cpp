// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/prism_row.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "base/stop_run.h"

namespace quorivex {
namespace {

/// Plans the columns of row j.
void plan_row(const Ground& ground, std::int32_t j, const ColumnRow& columns,
              const StationLayers& layers, RowPlan& row) {
  const Mesh& mesh = ground.mesh;
  row.any_near = false;
  for (std::int32_t i = 1; i <= mesh.ne; ++i) {
    const double east = columns.east[i - 1];
    const ColumnPlace place{.across = east * east + columns.north * columns.north,
                            .width = std::max(columns.width, columns.east_width[i - 1]),
                            .top = ground.tops(j, i),
                            .end = mesh.nz};
    ColumnPlan& plan = row.columns[as_size(i - 1)];
    plan = plan_column(layers, place, row.block_terms.data() + (i - 1) * layers.blocks());
    row.any_near = row.any_near || plan.any_near();
  }
}

/// to[i] = the near layers of the columns around node i of the plane between two rows.
void near_nodes(const RowPlan& south, const RowPlan& north, std::vector<LayerRange>& to) {
  std::fill(to.begin(), to.end(), LayerRange{});
  for (const RowPlan* row : {&south, &north}) {
    if (!row->any_near) continue;
    for (std::size_t i = 0; i < row->columns.size(); ++i) {
      const LayerRange near{row->columns[i].near_first, row->columns[i].near_end};
      to[i] = hull(to[i], near);
      to[i + 1] = hull(to[i + 1], near);
    }
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

/// The near cells of a column, from their nodes or, where it is better, by the expansion of their
/// pieces; `cells` begins with the first layer.
void near_cells(const PrismScratch& scratch, std::size_t i, const WeightedDerivatives& derivatives,
                const ColumnRow& columns, double* cells) {
  const ColumnPlan& plan = scratch.row.columns[i];
  for (std::int32_t k = plan.near_first; k < plan.near_end; ++k) {
    const std::size_t layer = as_size(k);
    const CellFromStation cell{
        {columns.east[i], columns.north, scratch.layers.up[layer]},
        {columns.east_width[i], columns.width, scratch.layers.thickness[layer]}};
    cells[k] =
        is_thin(cell) ? value_of_thin_cell(derivatives, cell) : scratch.nodes.value(i, layer);
  }
}

/// The columns of a row, whose planes of nodes have been made.
void row_of_columns(const Ground& ground, std::int32_t j, const WeightedDerivatives& derivatives,
                    const ColumnRow& columns, const Inside& inside, PrismScratch& scratch,
                    const ColumnSink& sink) {
  const std::int32_t nz = ground.mesh.nz;
  double* const cells = scratch.column.data();
  scratch.polynomials.make(derivatives, columns, scratch.row.columns, scratch.layers);
  GridColumn column{.j = j, .above = (j - std::int64_t{1}) * ground.mesh.ne * nz};
  const std::uint8_t* block_terms = scratch.row.block_terms.data();
  for (std::int32_t i = 0; i < ground.mesh.ne; ++i, column.above += nz) {
    column.i = i + 1;
    column.top = ground.tops(j, column.i);
    column.before = ground.cells_before(j, column.i);
    scratch.polynomials.evaluate(columns, i, block_terms, scratch.layers, cells);
    near_cells(scratch, as_size(i), derivatives, columns, cells);
    add_trace(inside, column, cells + column.top);
    sink(column, cells + column.top);
    block_terms += scratch.layers.blocks();
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

PrismScratch::PrismScratch(const Mesh& mesh) : nodes(mesh), layers(mesh), polynomials(mesh.ne) {
  const std::size_t columns = as_size((mesh.ne + kVector - 1) / kVector * kVector);
  east_centre = allocate<double>(columns, kPrismRow);
  east_width = allocate<double>(columns, kPrismRow, mesh.de.back());
  std::copy(mesh.de.begin(), mesh.de.end(), east_width.begin());
  near = allocate<LayerRange>(nodes.east.size(), kPrismRow);
  row.columns = allocate<ColumnPlan>(as_size(mesh.ne), kPrismRow);
  row.block_terms = allocate<std::uint8_t>(as_size(mesh.ne * layers.blocks()), kPrismRow);
  next_row = row;
  column = allocate<double>(layers.up.size(), kPrismRow);
}

void prism_row(const Ground& ground, const Point& station, const TensorWeights& weights,
               PrismScratch& scratch, const ColumnSink& sink) {
  const Mesh& mesh = ground.mesh;
  NodePlanes& nodes = scratch.nodes;
  nodes.place(mesh, station);
  scratch.layers.place(mesh, station.elevation);
  for (std::size_t i = 0; i < mesh.de.size(); ++i) {
    scratch.east_centre[i] = mesh.easting_nodes[i] - station.easting + 0.5 * mesh.de[i];
  }
  constexpr double kBelow = -1.0;  // the side of a horizontal face with the station on it
  const Inside inside{.east = straddling(nodes.east, mesh.ne, 0.0),
                      .north = straddling(nodes.north, mesh.nn, 0.0),
                      .up = straddling(nodes.up, mesh.nz, kBelow),
                      .uu = weights.uu};
  const WeightedDerivatives derivatives(weights);
  const auto row_at = [&](std::int32_t j) {
    const std::size_t at = as_size(j - 1);
    return ColumnRow{.north = mesh.northing_nodes[at] - station.northing + 0.5 * mesh.dn[at],
                     .width = mesh.dn[at],
                     .east = scratch.east_centre.data(),
                     .east_width = scratch.east_width.data()};
  };
  scratch.row.any_near = false;
  for (std::int32_t j = 0; j <= mesh.nn; ++j) {
    scratch.next_row.any_near = false;
    if (j < mesh.nn) plan_row(ground, j + 1, row_at(j + 1), scratch.layers, scratch.next_row);
    near_nodes(scratch.row, scratch.next_row, scratch.near);
    nodes.next(as_size(j), scratch.near, weights);
    if (j > 0) row_of_columns(ground, j, derivatives, row_at(j), inside, scratch, sink);
    std::swap(scratch.row, scratch.next_row);
  }
}

bool on_cell_edge(const Ground& ground, const Point& station, PrismScratch& scratch) {
  const Mesh& mesh = ground.mesh;
  scratch.nodes.place(mesh, station);
  const Touched layers = touched(scratch.nodes.up, mesh.nz);
  const Touched rows = touched(scratch.nodes.north, mesh.nn);
  const Touched columns = touched(scratch.nodes.east, mesh.ne);
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
