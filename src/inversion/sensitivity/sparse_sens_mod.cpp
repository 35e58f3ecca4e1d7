// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/sparse_sens_mod.h"

#include <omp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

/// d, one per row of the panel, += the rows' coefficients times their points of the grid.
QUORIVEX_MULTIVERSIONED
void add_dot_products(const SparseCell& cell, Ahead ahead, const double* w, double* d) {
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
    d[piece->row] += ((s[0] + s[4]) + (s[1] + s[5])) + ((s[2] + s[6]) + (s[3] + s[7]));
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

/// d += the rows of a piece times their points of the grid.
void add_piece(const SparseMatrix& matrix, const SparsePiece& piece, const double* w, double* d) {
  for (std::int64_t b = piece.first_block; b < piece.last_block; ++b) {
    const double* const points = w + b * matrix.block_points();
    for_each_cell(matrix, piece, b, points,
                  [=](const SparseCell& cell, Ahead ahead, std::int64_t row) {
                    add_dot_products(cell, ahead, points, d + row);
                  });
  }
}

/// Some points of the grid.
struct Points {
  double* values;
  std::int64_t count;
};

/// to = the rows of a piece in one of its blocks times d.
void set_to_piece(const SparseMatrix& matrix, const SparsePiece& piece, std::int64_t block,
                  const double* d, const Points& to) {
  std::fill_n(to.values, to.count, 0.0);
  for_each_cell(matrix, piece, block, to.values,
                [=](const SparseCell& cell, Ahead ahead, std::int64_t row) {
                  add_weighted_rows(cell, ahead, d + row, to.values);
                });
}

QUORIVEX_MULTIVERSIONED
void add_points(const double* from, const Points& to) {
#pragma omp simd
  for (std::int64_t i = 0; i < to.count; ++i) to.values[i] += from[i];
}

/// to = the same of `n` parts of a block, a branch of its tree. `more` has room for as many points
/// at every fork below.
void set_to_branch(const SparseMatrix& matrix, const SparsePiece* pieces, std::int64_t n,
                   const double* d, const Points& to, double* more) {
  if (n == 1) return set_to_piece(matrix, *pieces, pieces->first_block, d, to);
  const std::int64_t left = left_branch(n);
  set_to_branch(matrix, pieces, left, d, to, more);
  set_to_branch(matrix, pieces + left, n - left, d, {more, to.count}, more + to.count);
  add_points(more, to);
}

/// A branch of a block's tree that is summed up: parts from the first to before the last.
struct Branch {
  std::int64_t first_part;
  std::int64_t last_part;
  double* sums;
};

/// A block of which a task has some parts only.
struct SharedBlock {
  std::int64_t block;
  std::int64_t parts;
  std::vector<Branch> branches;
};

/// The blocks of which some tasks have parts, block by block; branches lie one behind the other.
std::vector<SharedBlock> shared_blocks(const std::vector<SparsePiece>& pieces,
                                       const std::vector<SparseTask>& tasks, double* sums,
                                       std::int64_t points) {
  std::vector<SharedBlock> blocks;
  for (const SparseTask& task : tasks) {
    if (task.share < 0) continue;
    const SparsePiece& first = pieces[as_size(task.first_piece)];
    const SparsePiece& last = pieces[as_size(task.last_piece - 1)];
    if (blocks.empty() || blocks.back().block != first.first_block)
      blocks.push_back({first.first_block, first.parts, {}});
    blocks.back().branches.push_back({first.part, last.part + 1, sums + task.share * points});
  }
  return blocks;
}

/// Adds up branches of a block, in the order of their parts, that are next to each other in its
/// tree. What a pair makes lies where its first one was. All parts together make one branch.
void join(SharedBlock& block, std::int64_t points) {
  std::size_t count = 0;
  for (Branch right : block.branches) {
    for (; count > 0; --count) {
      const Branch& left = block.branches[count - 1];
      if (!is_fork(left.first_part, right.first_part, right.last_part, block.parts)) break;
      add_points(right.sums, {left.sums, points});
      right = {left.first_part, right.last_part, left.sums};
    }
    block.branches[count++] = right;
  }
  block.branches.resize(count);
}

/// Collective: the branches of the first block, where another process has its first part, go there;
/// those that come here, into `received`, follow the own ones of the last block.
void bring_home(const SparseShares& shares, std::int64_t points, std::vector<SharedBlock>& blocks,
                UninitializedArray<double>& received) {
  const int own = ranks::rank();
  std::vector<std::int64_t> to(as_size(ranks::count()));
  std::vector<std::int64_t> from(to);
  UninitializedArray<double> sent;
  if (const int home = shares.home_of_first(own); home != own) {
    join(blocks.front(), points);
    const std::vector<Branch>& away = blocks.front().branches;
    to[as_size(home)] = length(away) * points;
    sent = {to[as_size(home)], kRoutine};
    for (std::size_t n = 0; n < away.size(); ++n)
      std::copy_n(away[n].sums, points, sent.data() + static_cast<std::int64_t>(n) * points);
    blocks.erase(blocks.begin());
  }
  std::vector<Branch> come;
  for (int r = own + 1; r < ranks::count(); ++r) {
    if (shares.home_of_first(r) != own) continue;
    const auto [first, last] = shares.pieces_of(r);
    const std::vector<SparsePiece> pieces(shares.pieces.begin() + first,
                                          shares.pieces.begin() + last);
    const std::vector<SparseTask> tasks = tasks_of(pieces, most_of_task(shares.pieces));
    SharedBlock block = shared_blocks(pieces, tasks, nullptr, 0).front();
    join(block, 0);
    from[as_size(r)] = length(block.branches) * points;
    come.insert(come.end(), block.branches.begin(), block.branches.end());
  }
  received = {length(come) * points, kRoutine};
  ranks::exchange(sent.view(), to, received.view(), from);
  for (std::size_t n = 0; n < come.size(); ++n) {
    come[n].sums = received.data() + static_cast<std::int64_t>(n) * points;
    blocks.back().branches.push_back(come[n]);
  }
}

}  // namespace

// A datum's sum goes over the blocks of a piece in order, and is exact over the pieces. A point's
// sum goes over the rows of a piece in order, and over the parts of its block along a fixed tree.
// Pieces depend on the matrix alone.

void CALC_GV(const SensitivityState& sens, View1<const double> w, View1<double> d) {
  const PhaseTimer timer(Phase::matrix);
  const SparseMatrix& matrix = sens.Gs;
  const std::vector<SparsePiece>& pieces = matrix.pieces();
  ExactSums sums(sens.norms, largest_absolute(w), sens.part.team);
  UninitializedArray<double> of_pieces(omp_get_max_threads() * d.size(), kRoutine);
#pragma omp parallel default(none) shared(matrix, pieces, sums, of_pieces, w, d)
  {
    std::int64_t* const of_thread = sums.begin_thread();
    double* const of_piece = of_pieces.data() + omp_get_thread_num() * d.size();
#pragma omp for schedule(dynamic, 1)
    for (const SparseTask& task : matrix.tasks()) {
      for (std::int64_t n = task.first_piece; n < task.last_piece; ++n) {
        const SparsePiece& piece = pieces[as_size(n)];
        std::fill(of_piece + piece.first_row, of_piece + piece.last_row, 0.0);
        add_piece(matrix, piece, w.data(), of_piece);
        sums.add({piece.first_row, piece.last_row}, of_piece, of_thread);
      }
    }
  }
  sums.finish(d);
}

void CALC_GTV(const SensitivityState& sens, View1<const double> d, View1<double> w) {
  const PhaseTimer timer(Phase::matrix);
  const SparseMatrix& matrix = sens.Gs;
  const std::int64_t points = matrix.block_points();
  const auto shares = std::count_if(matrix.tasks().begin(), matrix.tasks().end(),
                                    [](const SparseTask& task) { return task.share >= 0; });
  UninitializedArray<double> sums(shares * points, kRoutine);
  UninitializedArray<double> more(omp_get_max_threads() * kTaskForks * points, kRoutine);
  std::vector<SharedBlock> blocks = with_alloc_label(kRoutine, [&] {
    return shared_blocks(matrix.pieces(), matrix.tasks(), sums.data(), points);
  });
  const auto block_of = [&](std::int64_t b) {
    return Points{w.data() + b * points, std::min(points, w.size() - b * points)};
  };
#pragma omp parallel for schedule(dynamic, 1) default(none) \
    shared(matrix, points, block_of, sums, more, d)
  for (const SparseTask& task : matrix.tasks()) {
    const SparsePiece* const pieces = matrix.pieces().data();
    const SparsePiece& first = pieces[task.first_piece];
    if (first.parts > 1) {
      const Points to = task.share >= 0 ? Points{sums.data() + task.share * points, points}
                                        : block_of(first.first_block);
      set_to_branch(matrix, &first, task.last_piece - task.first_piece, d.data(), to,
                    more.data() + omp_get_thread_num() * kTaskForks * points);
      continue;
    }
    for (std::int64_t n = task.first_piece; n < task.last_piece; ++n) {
      for (std::int64_t b = pieces[n].first_block; b < pieces[n].last_block; ++b)
        set_to_piece(matrix, pieces[n], b, d.data(), block_of(b));
    }
  }
  UninitializedArray<double> received;
  if (sens.part.team == ranks::Team::all) {
    with_alloc_label(kRoutine, [&] { bring_home(sens.part.shares, points, blocks, received); });
  }
#pragma omp parallel for schedule(dynamic, 1) default(none) shared(blocks, points, block_of)
  for (SharedBlock& block : blocks) {
    join(block, points);
    const Points to = block_of(block.block);
    std::copy_n(block.branches.front().sums, to.count, to.values);
  }
}

void CALC_GTGV(const SensitivityState& sens, View1<double> w) {
  std::vector<double> work = allocate<double>(as_size(sens.ndata), kRoutine);
  CALC_GV(sens, w, work);
  CALC_GTV(sens, work, w);
}

}  // namespace quorivex::SPARSE_SENS_MOD
