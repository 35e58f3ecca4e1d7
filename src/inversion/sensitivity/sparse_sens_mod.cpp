// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/sparse_sens_mod.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "base/fixed_tree.h"
#include "base/multiversion.h"
#include "base/phase_times.h"
#include "base/stop_run.h"
#include "inversion/sensitivity/exact_sums.h"

namespace quorivex::SPARSE_SENS_MOD {
namespace {

constexpr const char* kRoutine = "CALC_GTGV";

// Rows are short here: what ends a row's piece costs as much as what it holds. So its last vector
// is a whole one too, in which 0 replaces what lies beyond the piece, and no branch depends on the
// remainder. Vectors are listed element by element, from which the compiler makes the best code.
constexpr int kDots = 8;
using Doubles8 = double __attribute__((vector_size(64)));
using Bits8 = std::int64_t __attribute__((vector_size(64)));
constexpr int kAdds = 4;
using Doubles4 = double __attribute__((vector_size(32)));
using Bits4 = std::int64_t __attribute__((vector_size(32)));

/// Points of the grid that are needed soon, those of the next block, of which a few are fetched
/// with every row.
struct Ahead {
  const double* next;
  std::int64_t step;

  void fetch() {
    __builtin_prefetch(next, 0, 2);
    next += step;
  }
};

/// Puts 0 in place of what follows the first `left` elements of x.
template <class Bits, class Doubles>
inline void keep_first(std::int64_t left, Doubles& x) {
  static constexpr std::int64_t kBits[] = {-1, -1, -1, -1, -1, -1, -1, -1, 0, 0, 0, 0, 0, 0, 0, 0};
  Bits bits;
  std::memcpy(&bits, kBits + 8 - left, sizeof(bits));
  x = reinterpret_cast<Doubles>(reinterpret_cast<Bits>(x) & bits);
}

/// Prefetches the coefficients some steps further on, whether of this row or of the next ones. The
/// processor's own look-ahead ends at every page and reaches less than half the bandwidth.
inline void fetch_ahead(const std::uint16_t* positions, const float* values) {
  constexpr int kAhead = 512;
  __builtin_prefetch(positions + kAhead);
  __builtin_prefetch(values + kAhead);
}

/// x = eight coefficients times their points of the grid.
inline void multiply(const float* v, const std::uint16_t* p, const double* w, Doubles8& x) {
  x = Doubles8{v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]} *
      Doubles8{w[p[0]], w[p[1]], w[p[2]], w[p[3]], w[p[4]], w[p[5]], w[p[6]], w[p[7]]};
}

/// sums, one per row of the panel, += the rows' coefficients times their points of the grid, as
/// multiples of the rows' units.
QUORIVEX_MULTIVERSIONED
void add_dot_products(const SparseCell& cell, Ahead ahead, const double* w, const double* scales,
                      std::int64_t* sums) {
  const std::uint16_t* positions = cell.positions;
  const float* values = cell.values;
  for (const RowPiece* piece = cell.first; piece != cell.last; ++piece) {
    ahead.fetch();
    std::int64_t left = piece->count;
    Doubles8 sum{};
    Doubles8 x;
    for (; left > kDots; left -= kDots, positions += kDots, values += kDots) {
      fetch_ahead(positions, values);
      multiply(values, positions, w, x);
      sum += x;
    }
    multiply(values, positions, w, x);
    keep_first<Bits8>(left, x);
    const Doubles8 s = sum + x;
    const double total = ((s[0] + s[4]) + (s[1] + s[5])) + ((s[2] + s[6]) + (s[3] + s[7]));
    sums[piece->row] += to_units(total, scales[piece->row]);
    positions += left;
    values += left;
  }
}

/// x = four coefficients times t.
inline void weight(const float* v, double t, Doubles4& x) {
  x = Doubles4{v[0], v[1], v[2], v[3]} * t;
}

/// Adds four products to their points, one after the other: a position may come twice.
inline void add(const Doubles4& x, const std::uint16_t* positions, double* w) {
  w[positions[0]] += x[0];
  w[positions[1]] += x[1];
  w[positions[2]] += x[2];
  w[positions[3]] += x[3];
}

/// The points of the grid += the rows' coefficients times d, one per row of the panel.
QUORIVEX_MULTIVERSIONED
void add_weighted_rows(const SparseCell& cell, Ahead ahead, const double* d, double* w) {
  const std::uint16_t* positions = cell.positions;
  const float* values = cell.values;
  for (const RowPiece* piece = cell.first; piece != cell.last; ++piece) {
    ahead.fetch();
    std::int64_t left = piece->count;
    const double t = d[piece->row];
    Doubles4 x;
    for (; left > kAdds; left -= kAdds, positions += kAdds, values += kAdds) {
      fetch_ahead(positions, values);
      weight(values, t, x);
      add(x, positions, w);
    }
    weight(values, t, x);
    keep_first<Bits4>(left, x);
    add(x, positions, w);
    positions += left;
    values += left;
  }
}

/// Calls visit(cell, ahead, rows before its panel) for a block of a piece, panel by panel. The
/// points of the block are followed by those of the next one.
template <class Visit>
void for_each_cell(const SparseMatrix& matrix, const SparsePiece& piece, std::int64_t block,
                   const double* points, Visit visit) {
  const double* const next = points + matrix.block_points();
  const std::int64_t step = matrix.block_points() / std::max<std::int64_t>(matrix.rows(), 1) + 1;
  for (const SparsePanel& panel : matrix.panels()) {
    const std::int64_t from = piece.first_row - panel.rows_before;
    const std::int64_t to = piece.last_row - panel.rows_before;
    if (from >= panel.rows || to <= 0) continue;
    const SparseCell cell = panel.cell(block);
    const bool whole = from <= 0 && to >= panel.rows;
    visit(whole ? cell : rows_of(cell, from, to), Ahead{next + panel.rows_before * step, step},
          panel.rows_before);
  }
}

}  // namespace

// A datum is summed exactly over the blocks. A point's sum goes over the rows of a piece in order
// and then over the pieces of its block along a fixed tree. Pieces depend on the matrix alone.

void CALC_GV(const SensitivityState& sens, View1<const double> w, View1<double> d) {
  const PhaseTimer timer(Phase::matrix);
  const SparseMatrix& matrix = sens.Gs;
  const std::vector<SparsePiece>& pieces = matrix.pieces();
  ExactSums sums(sens.norms, largest_absolute(w));
#pragma omp parallel default(none) shared(matrix, pieces, sums, w)
  {
    std::int64_t* const of_thread = sums.begin_thread();
#pragma omp for schedule(dynamic, 1)
    for (const SparsePiece& piece : pieces) {
      for (std::int64_t b = piece.first_block; b < piece.last_block; ++b) {
        const double* const points = w.data() + b * matrix.block_points();
        for_each_cell(matrix, piece, b, points,
                      [&](const SparseCell& cell, Ahead ahead, std::int64_t row) {
                        add_dot_products(cell, ahead, points, sums.scales() + row, of_thread + row);
                      });
      }
    }
  }
  sums.finish(d);
}

void CALC_GTV(const SensitivityState& sens, View1<const double> d, View1<double> w) {
  const PhaseTimer timer(Phase::matrix);
  const SparseMatrix& matrix = sens.Gs;
  const std::vector<SparsePiece>& pieces = matrix.pieces();
  const std::int64_t points = matrix.block_points();
  const auto shares = std::count_if(pieces.begin(), pieces.end(),
                                    [](const SparsePiece& piece) { return piece.share >= 0; });
  UninitializedArray<double> sums(shares * points, kRoutine);
  const auto size_of = [&](std::int64_t b) { return std::min(points, w.size() - b * points); };
#pragma omp parallel for schedule(dynamic, 1) default(none) \
    shared(matrix, pieces, points, size_of, sums, d, w)
  for (const SparsePiece& piece : pieces) {
    for (std::int64_t b = piece.first_block; b < piece.last_block; ++b) {
      double* const to =
          piece.share >= 0 ? sums.data() + piece.share * points : w.data() + b * points;
      std::fill_n(to, size_of(b), 0.0);
      for_each_cell(matrix, piece, b, to,
                    [&](const SparseCell& cell, Ahead ahead, std::int64_t row) {
                      add_weighted_rows(cell, ahead, d.data() + row, to);
                    });
    }
  }
  // In one parallel region: there may be many such blocks, and little to add in each.
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(pieces, points, size_of, sums, w)
  for (auto piece = pieces.begin(); piece < pieces.end(); ++piece) {
    const auto same = [&](const SparsePiece& other) { return other.column == piece->column; };
    if (piece->share < 0 || (piece != pieces.begin() && same(piece[-1]))) continue;
    const std::int64_t b = piece->first_block;
    sum_in_pairs(sums.data() + piece->share * points, std::count_if(piece, pieces.end(), same),
                 points, {w.data() + b * points, size_of(b)});
  }
}

void CALC_GTGV(const SensitivityState& sens, View1<double> w) {
  std::vector<double> work = allocate<double>(as_size(sens.ndata), kRoutine);
  CALC_GV(sens, w, work);
  CALC_GTV(sens, work, w);
}

}  // namespace quorivex::SPARSE_SENS_MOD
