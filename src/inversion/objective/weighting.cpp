// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/weighting.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <optional>

#include "base/fixed_format.h"
#include "base/list_reader.h"
#include "base/phase_times.h"
#include "base/stop_run.h"
#include "inversion/input/conventions.h"

namespace quorivex {
namespace {

enum AxisName : std::size_t { kX, kY, kZ };

/// One number per axis, in the order x, y, z.
using Triple = std::array<std::int32_t, 3>;

struct Grid {
  Triple counts{};

  std::int64_t cells() const { return std::int64_t{counts[kX]} * counts[kY] * counts[kZ]; }
  /// Offset of cell `at`, from 0.
  std::size_t offset(const Triple& at) const {
    return as_size((at[kX] * std::int64_t{counts[kY]} + at[kY]) * counts[kZ] + at[kZ]);
  }
  Grid shortened(std::size_t axis) const {
    Grid grid = *this;
    grid.counts[axis] = std::max(grid.counts[axis] - 1, 0);
    return grid;
  }
};

template <class Visit>
void for_each_cell(const Grid& grid, Visit visit) {
  for (std::int32_t x = 0; x < grid.counts[kX]; ++x) {
    for (std::int32_t y = 0; y < grid.counts[kY]; ++y) {
      for (std::int32_t z = 0; z < grid.counts[kZ]; ++z) visit(Triple{x, y, z});
    }
  }
}

/// 3-D weights of one operator; without values every weight is 1.
struct Weights {
  Grid grid;
  std::vector<double> values;

  double at(const Triple& cell) const { return values.empty() ? 1.0 : values[grid.offset(cell)]; }
};

struct AllWeights {
  Weights s;
  std::array<Weights, 3> axes;
};

constexpr std::int64_t kNoneNegative = std::numeric_limits<std::int64_t>::max();

/// A weight of the file below 0, the first one.
struct Negative {
  std::int64_t number = kNoneNegative;  ///< of the value in the file, from 1
  double weight = 0.0;
};

/// Reads the rows of an array of weights that the ground has; `number` values of the file come
/// before the array, of which the survey has so many rows.
void read_array(FreeFormat& file, const std::string& name, const Slab& slab, std::int64_t rows,
                Weights& to, std::int64_t& number, Negative& negative) {
  const std::int64_t of_row = std::int64_t{to.grid.counts[kY]} * to.grid.counts[kZ];
  // A process without rows stands behind the last one, of which no pair begins.
  const std::int64_t skipped = std::min(slab.rows_before, rows) * of_row;
  to.values = allocate<double>(as_size(to.grid.cells()), "calc_W_components");
  read_part_of_list(file, {"weight file", name, skipped, rows * of_row}, to.values);
  for (std::size_t n = 0; n < to.values.size() && negative.number == kNoneNegative; ++n) {
    if (to.values[n] < 0.0) {
      negative = {number + skipped + static_cast<std::int64_t>(n) + 1, to.values[n]};
    }
  }
  number += rows * of_row;
}

/// Ends the run at the first negative weight that any process has found.
void check_not_negative(const Negative& negative, const std::string& name, const Slab& slab) {
  std::int64_t first = negative.number;
  if (slab.team == ranks::Team::all) first = -ranks::max(-first);
  if (first == kNoneNegative) return;
  if (first == negative.number) {
    stop_run(fmt::format(" ERROR: weights should not be negative; value {} in weight file {} is{}",
                         negative.number, name, sci(negative.weight, 12, 4)));
  }
  ranks::meet();
}

AllWeights read_weights(const std::string& name, const Grid& mesh, const Slab& slab) {
  AllWeights w{.s = {mesh, {}}, .axes = {}};
  for (std::size_t axis = 0; axis < 3; ++axis) w.axes[axis].grid = mesh.shortened(axis);
  if (is_null(name)) return w;
  const PhaseTimer timer(Phase::read);
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("weight", name);
  FreeFormat values(*file);
  std::int64_t number = 0;
  Negative negative;
  for (Weights* part : {&w.s, &w.axes[kY], &w.axes[kX], &w.axes[kZ]}) {
    const std::int64_t rows = part == &w.axes[kX] ? slab.rows - 1 : slab.rows;
    read_array(values, name, slab, rows, *part, number, negative);
  }
  check_not_negative(negative, name, slab);
  expect_no_more(values, "weight file", name);
  return w;
}

struct Cells {
  const ActiveCells& active;
  Grid grid;
  std::array<const std::vector<double>*, 3> widths;

  std::int32_t map(const Triple& at) const { return active.map[grid.offset(at)]; }
  double width(std::size_t axis, const Triple& at) const {
    return (*widths[axis])[as_size(at[axis])];
  }
};

/// What is particular to the operator of one axis.
struct Axis {
  std::size_t number;
  const char* label;  ///< routine name for a failed allocation
  std::array<const char*, 3> checks;
};

constexpr Axis kAxes[] = {
    {kX, "get_Wx", {"irow /= nrow_x", "icount-1 > size(Wx)", "icount_i-1 > size(Wxi)"}},
    {kY, "get_Wy", {"irow /= nrow_y", "icount-1 > size(Wy)", "icount_i-1 > size(Wyi)"}},
    {kZ, "get_Wz", {"irow /= nrow_z", "icount-1 > size(Wz)", "icount_i-1 > size(Wzi)"}}};

/// v = sqrt(alpha w area h) / h of the row that joins cell `at` with the next one along the axis.
double magnitude(const Cells& cells, std::size_t axis, const Triple& at, const Triple& next,
                 double alpha_w) {
  const double h = (cells.width(axis, at) + cells.width(axis, next)) * 0.5;
  const double width1 = cells.width(axis == kX ? kY : kX, at);
  const double width2 = cells.width(axis == kZ ? kY : kZ, at);
  return std::sqrt(alpha_w * width1 * width2 * h) / h;
}

/// An operator without rows: every cell is its own neighbour.
DifferenceOperator no_rows(const Cells& cells, const Axis& axis) {
  const std::size_t ncell = as_size(cells.active.ncell);
  DifferenceOperator op;
  op.weights = allocate<double>(ncell, axis.label);
  if (axis.number == kZ) return op;
  op.next = allocate<std::int32_t>(ncell, axis.label);
  std::iota(op.next.begin(), op.next.end(), 0);
  op.before = allocate<std::int32_t>(ncell, axis.label);
  std::iota(op.before.begin(), op.before.end(), 0);
  return op;
}

/// Enters the row of two active cells, from 0.
void add_row(DifferenceOperator& op, std::int32_t first, std::int32_t second, double v) {
  op.weights[as_size(first)] = v * v;
  if (op.next.empty()) {
    require(second == first + 1, "neighbours in depth do not follow each other");
  } else {
    op.next[as_size(first)] = second;
    op.before[as_size(second)] = first;
  }
}

/// The rows of one axis.
DifferenceOperator get_W(const Cells& cells, const Axis& axis, double alpha, const Weights& w) {
  const Grid pairs = cells.grid.shortened(axis.number);
  const std::int64_t nrow = pairs.cells();
  DifferenceOperator op = no_rows(cells, axis);
  const Ground& ground = *cells.active.ground;
  std::vector<std::int64_t> rows = allocate<std::int64_t>(as_size(ground.mesh.nn + 1), axis.label);
  std::int64_t irow = 0;
  std::int64_t icount = 0;    // active entries
  std::int64_t icount_i = 0;  // entries of inactive cells with influence
  for_each_cell(pairs, [&](const Triple& at) {
    ++irow;
    Triple next = at;
    ++next[axis.number];
    const std::int32_t map1 = cells.map(at);
    const std::int32_t map2 = cells.map(next);
    if (map1 == 0 || map2 == 0) return;
    const double v = magnitude(cells, axis.number, at, next, alpha * w.at(at));
    for (const std::int32_t map : {map1, map2}) ++(map > 0 ? icount : icount_i);
    if (map1 > 0 && map2 > 0) {
      add_row(op, map1 - 1, map2 - 1, v);
    } else {
      with_alloc_label(axis.label, [&] { append_checked(op.influence, {map1, map2, v}); });
    }
    rows[as_size(at[kX] + 1)] = length(op.influence);
  });
  require(irow == nrow, axis.checks[0]);
  require(icount <= 2 * nrow, axis.checks[1]);
  require(icount_i <= 2 * nrow, axis.checks[2]);
  op.influence.shrink_to_fit();
  for (std::size_t j = 1; j < rows.size(); ++j) rows[j] = std::max(rows[j], rows[j - 1]);
  op.influence_rows = RowPieces(std::move(rows), ground.slab, axis.label);
  return op;
}

std::vector<double> get_Ws(const Cells& cells, const Weights& w, double alpha) {
  std::vector<double> Ws = allocate<double>(as_size(cells.active.ncell), "calc_W_components");
  for_each_cell(cells.grid, [&](const Triple& at) {
    const std::int32_t p = cells.map(at);
    if (p <= 0) return;
    Ws[as_size(p - 1)] = std::sqrt(w.at(at) * alpha * cells.width(kX, at) * cells.width(kY, at) *
                                   cells.width(kZ, at));
  });
  return Ws;
}

/// The sum of v^2 over the influence rows of each active cell.
std::vector<double> influence_diagonal(const WeightingOperators& operators) {
  std::vector<double> sums = allocate<double>(operators.Ws.size(), "calc_W_components");
  for (const DifferenceOperator* op : {&operators.Wx, &operators.Wy, &operators.Wz}) {
    for (const InfluenceRow& row : op->influence) {
      const std::int32_t active = std::max(row.first, row.second);
      if (active > 0) sums[as_size(active - 1)] += row.v * row.v;
    }
  }
  return sums;
}

}  // namespace

WeightingOperators calc_W_components(const std::string& weightFile, const Mesh& mesh,
                                     const ActiveCells& active, const Alphas& alphas) {
  const Cells cells{active, {{mesh.nn, mesh.ne, mesh.nz}}, {&mesh.dn, &mesh.de, &mesh.dz}};
  const Slab& slab = active.ground->slab;
  const AllWeights w = read_weights(weightFile, cells.grid, slab);
  WeightingOperators operators;
  operators.rows = active.rows;
  operators.Ws = get_Ws(cells, w.s, alphas.s);
  operators.Wx = get_W(cells, kAxes[kX], alphas.n, w.axes[kX]);
  operators.Wy = get_W(cells, kAxes[kY], alphas.e, w.axes[kY]);
  operators.Wz = get_W(cells, kAxes[kZ], alphas.z, w.axes[kZ]);
  if (active.influence_cells > 0) operators.influence = influence_diagonal(operators);
  return operators;
}

}  // namespace quorivex
