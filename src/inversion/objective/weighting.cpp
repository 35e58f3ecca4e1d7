// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/weighting.h"

#include <fmt/format.h>

#include <array>
#include <cmath>
#include <optional>

#include "base/fixed_format.h"
#include "base/list_reader.h"
#include "base/phase_times.h"
#include "base/stop_run.h"
#include "inversion/input/conventions.h"

namespace quorivex {
namespace {

/// Position of a cell or the counts of a grid, in the order of the axes x, y, z.
struct Grid {
  std::int32_t x = 0;
  std::int32_t y = 0;
  std::int32_t z = 0;

  std::int64_t cells() const { return std::int64_t{x} * y * z; }
  /// Offset of cell (i, j, k), all from 1, in a grid of these counts.
  std::size_t offset(std::int32_t i, std::int32_t j, std::int32_t k) const {
    return as_size(((i - std::int64_t{1}) * y + j - 1) * z + k - 1);
  }
};

/// 3-D weights of one operator; without values every weight is 1.
struct Weights {
  Grid grid;
  std::vector<double> values;

  double at(std::int32_t i, std::int32_t j, std::int32_t k) const {
    return values.empty() ? 1.0 : values[grid.offset(i, j, k)];
  }
};

struct AllWeights {
  Weights s;
  Weights x;
  Weights y;
  Weights z;
};

AllWeights read_weights(const std::string& name, const Grid& mesh) {
  AllWeights w{.s = {.grid = mesh, .values = {}},
               .x = {.grid = {mesh.x - 1, mesh.y, mesh.z}, .values = {}},
               .y = {.grid = {mesh.x, mesh.y - 1, mesh.z}, .values = {}},
               .z = {.grid = {mesh.x, mesh.y, mesh.z - 1}, .values = {}}};
  if (is_null(name)) return w;
  const PhaseTimer timer(Phase::read);
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("weight", name);
  FreeFormat values(*file);
  std::int64_t number = 0;
  for (Weights* part : {&w.s, &w.y, &w.x, &w.z}) {
    part->values = allocate<double>(as_size(part->grid.cells()), "calc_W_components");
    read_list(values, part->values, "weight file", name);
    for (const double weight : part->values) {
      ++number;
      if (weight < 0.0) {
        stop_run(
            fmt::format(" ERROR: weights should not be negative; value {} in weight file {} "
                        "is{}",
                        number, name, sci(weight, 12, 4)));
      }
    }
  }
  expect_no_more(values, "weight file", name);
  return w;
}

/// What is particular to one axis: the step from c1 to c2, and the row's entry.
struct Axis {
  Grid step;          ///< 1 along the axis, 0 along the others
  const char* label;  ///< routine name for a failed allocation
  std::array<const char*, 3> checks;
};

struct Cells {
  const Mesh& mesh;
  const ActiveCells& active;
  Grid counts;
};

std::vector<double> centre_distances(const std::vector<double>& widths) {
  std::vector<double> distances = allocate<double>(widths.size() - 1, "calc_W_components");
  for (std::size_t i = 0; i < distances.size(); ++i) {
    distances[i] = (widths[i] + widths[i + 1]) * 0.5;
  }
  return distances;
}

void reserve_rows(CsrHalf& half, std::int64_t nrow, std::int64_t entries, const char* label) {
  try {
    half.pointers.reserve(as_size(nrow + 1));
    half.columns.reserve(as_size(entries));
    half.values.reserve(as_size(entries));
  } catch (const std::bad_alloc&) {
    alloc_error(label);
  } catch (const std::length_error&) {
    alloc_error(label);
  }
}

/// Adds a cell's entry to the half that its map value selects.
void add_entry(DifferenceOperator& op, std::int32_t map, double value) {
  if (map > 0) {
    op.active.add(map, value);
  } else {
    op.inactive.add(-map, value);
  }
}

/// Builds one operator; magnitude(i, j, k) is v of the pair whose first cell is (k, j, i).
template <class Magnitude>
DifferenceOperator build(const Cells& cells, const Axis& axis, Magnitude magnitude) {
  const Grid pairs{cells.counts.x - axis.step.x, cells.counts.y - axis.step.y,
                   cells.counts.z - axis.step.z};
  DifferenceOperator op;
  op.nrow = pairs.cells();
  // Each cell enters at most two rows, each row has at most two entries.
  const std::int64_t most_active = std::min(2 * op.nrow, 2 * std::int64_t{cells.active.ncell});
  const std::int64_t most_inactive =
      std::min(2 * op.nrow, 2 * std::int64_t{cells.active.influence_cells});
  const bool has_inactive = cells.active.influence_cells > 0;
  reserve_rows(op.active, op.nrow, most_active, axis.label);
  if (has_inactive) reserve_rows(op.inactive, op.nrow, most_inactive, axis.label);

  for (std::int32_t i = 1; i <= pairs.x; ++i) {
    for (std::int32_t j = 1; j <= pairs.y; ++j) {
      for (std::int32_t k = 1; k <= pairs.z; ++k) {
        op.active.start_row();
        if (has_inactive) op.inactive.start_row();
        const std::int32_t map1 = cells.active.map[cells.counts.offset(i, j, k)];
        const std::int32_t map2 =
            cells.active
                .map[cells.counts.offset(i + axis.step.x, j + axis.step.y, k + axis.step.z)];
        if (map1 == 0 || map2 == 0) continue;
        const double v = magnitude(i, j, k);
        add_entry(op, map1, -v);
        add_entry(op, map2, v);
      }
    }
  }
  op.active.start_row();  // the closing pointers
  if (has_inactive) op.inactive.start_row();
  require(op.active.rows() == op.nrow, axis.checks[0]);
  require(length(op.active.values) <= 2 * op.nrow, axis.checks[1]);
  require(length(op.inactive.values) <= 2 * op.nrow, axis.checks[2]);
  return op;
}

/// sqrt(alpha w area h) / h
double entry(double alpha, double weight, double width1, double width2, double distance) {
  return std::sqrt(alpha * weight * width1 * width2 * distance) / distance;
}

DifferenceOperator get_Wx(const Cells& cells, const Weights& w, double alpha) {
  const View1<const double> dy(cells.mesh.de);
  const View1<const double> dz(cells.mesh.dz);
  const std::vector<double> distances = centre_distances(cells.mesh.dn);
  const View1<const double> hx(distances);
  const Axis axis{
      {1, 0, 0}, "get_Wx", {"irow /= nrow_x", "icount-1 > size(Wx)", "icount_i-1 > size(Wxi)"}};
  return build(cells, axis, [&](std::int32_t i, std::int32_t j, std::int32_t k) {
    return entry(alpha, w.at(i, j, k), dy(j), dz(k), hx(i));
  });
}

DifferenceOperator get_Wy(const Cells& cells, const Weights& w, double alpha) {
  const View1<const double> dx(cells.mesh.dn);
  const View1<const double> dz(cells.mesh.dz);
  const std::vector<double> distances = centre_distances(cells.mesh.de);
  const View1<const double> hy(distances);
  const Axis axis{
      {0, 1, 0}, "get_Wy", {"irow /= nrow_y", "icount-1 > size(Wy)", "icount_i-1 > size(Wyi)"}};
  return build(cells, axis, [&](std::int32_t i, std::int32_t j, std::int32_t k) {
    return entry(alpha, w.at(i, j, k), dx(i), dz(k), hy(j));
  });
}

DifferenceOperator get_Wz(const Cells& cells, const Weights& w, double alpha) {
  const View1<const double> dx(cells.mesh.dn);
  const View1<const double> dy(cells.mesh.de);
  const std::vector<double> distances = centre_distances(cells.mesh.dz);
  const View1<const double> hz(distances);
  const Axis axis{
      {0, 0, 1}, "get_Wz", {"irow /= nrow_z", "icount-1 > size(Wz)", "icount_i-1 > size(Wzi)"}};
  return build(cells, axis, [&](std::int32_t i, std::int32_t j, std::int32_t k) {
    return entry(alpha, w.at(i, j, k), dx(i), dy(j), hz(k));
  });
}

std::vector<double> get_Ws(const Cells& cells, const Weights& w, double alpha) {
  std::vector<double> Ws = allocate<double>(as_size(cells.active.ncell), "calc_W_components");
  const View1<double> of_cell(Ws);
  const View1<const double> dx(cells.mesh.dn);
  const View1<const double> dy(cells.mesh.de);
  const View1<const double> dz(cells.mesh.dz);
  for (std::int32_t i = 1; i <= cells.counts.x; ++i) {
    for (std::int32_t j = 1; j <= cells.counts.y; ++j) {
      for (std::int32_t k = 1; k <= cells.counts.z; ++k) {
        const std::int32_t p = cells.active.map[cells.counts.offset(i, j, k)];
        if (p > 0) of_cell(p) = std::sqrt(w.at(i, j, k) * alpha * dx(i) * dy(j) * dz(k));
      }
    }
  }
  return Ws;
}

}  // namespace

WeightingOperators calc_W_components(const std::string& weightFile, const Mesh& mesh,
                                     const ActiveCells& active, const Alphas& alphas) {
  const Cells cells{mesh, active, {mesh.nn, mesh.ne, mesh.nz}};
  const AllWeights w = read_weights(weightFile, cells.counts);
  WeightingOperators operators;
  operators.Ws = get_Ws(cells, w.s, alphas.s);
  operators.Wx = get_Wx(cells, w.x, alphas.n);
  operators.Wy = get_Wy(cells, w.y, alphas.e);
  operators.Wz = get_Wz(cells, w.z, alphas.z);
  operators.stencil = make_stencil(operators.Wx, operators.Wy, operators.Wz, length(operators.Ws));
  return operators;
}

}  // namespace quorivex
