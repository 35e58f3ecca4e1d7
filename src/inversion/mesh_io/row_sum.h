// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <vector>

#include "base/ranks.h"
#include "base/stop_run.h"
#include "inversion/mesh_io/ground.h"

namespace quorivex {

/// A vector whose entries belong to the rows of a ground, row after row, in pieces for the threads.
struct RowPieces {
  struct Piece {
    std::int64_t first = 0;
    std::int64_t last = 0;  ///< one past the last
    std::int32_t row = 0;   ///< from 0, of the ground
  };

  RowPieces() = default;
  /// @param begin  entries before each row, and their total
  RowPieces(std::vector<std::int64_t> begin, const Slab& slab, std::string_view label);

  bool is_own(std::int32_t row) const { return row >= own_first && row < own_end; }
  /// Own entries, from 0.
  std::int64_t own_begin_entry() const { return begin[as_size(own_first)]; }
  std::int64_t own_end_entry() const { return begin[as_size(own_end)]; }

  std::vector<std::int64_t> begin{0};
  std::vector<Piece> pieces;
  std::int32_t own_first = 0;
  std::int32_t own_end = 0;
  std::int64_t survey_rows = 0;
  ranks::Team team = ranks::Team::alone;
};

/// The rows' sums in the order of the survey's rows; `own` are those of the own ones.
template <class Sum>
Sum sum_of_rows(const std::vector<Sum>& own, const RowPieces& rows) {
  static_assert(std::is_trivially_copyable_v<Sum> && sizeof(Sum) % sizeof(double) == 0);
  Sum total{};
  const auto add = [&](const std::vector<Sum>& sums) {
    for (const Sum& sum : sums) total += sum;
  };
  if (rows.team == ranks::Team::alone) {
    add(own);
    return total;
  }
  // NOLINTNEXTLINE(bugprone-sizeof-expression): Sum may be double itself
  constexpr std::int64_t kDoubles = sizeof(Sum) / sizeof(double);
  std::vector<std::int64_t> sizes(as_size(ranks::count()));
  for (int r = 0; r < ranks::count(); ++r)
    sizes[as_size(r)] = kDoubles * own_rows(rows.survey_rows, r).size();
  const std::vector<double> all = ranks::all_gather(
      {reinterpret_cast<const double*>(own.data()), kDoubles * length(own)}, sizes);
  const auto* const sums = reinterpret_cast<const Sum*>(all.data());
  add({sums, sums + length(all) / kDoubles});
  return total;
}

/// Calls part(first, last) -> sum for the pieces of all rows on all threads, and adds up the
/// results of own rows: those of a row in order, then the rows of all processes in their order. The
/// bits depend neither on threads nor on processes. Sum consists of doubles, has operator+= and
/// starts at 0.
template <class Sum, class Part>
Sum row_sum(const RowPieces& rows, std::string_view label, Part part) {
  std::vector<Sum> sums = allocate<Sum>(rows.pieces.size(), label);
  std::vector<Sum> own = allocate<Sum>(as_size(rows.own_end - rows.own_first), label);
#pragma omp parallel for schedule(static) default(none) shared(rows, part, sums)
  for (std::size_t p = 0; p < rows.pieces.size(); ++p) {
    sums[p] = part(rows.pieces[p].first, rows.pieces[p].last);
  }
  for (std::size_t p = 0; p < sums.size(); ++p) {
    const std::int32_t row = rows.pieces[p].row;
    if (rows.is_own(row)) own[as_size(row - rows.own_first)] += sums[p];
  }
  return sum_of_rows(own, rows);
}

/// Collective where the rows are divided: gives entries of neighbouring rows the values of their
/// owners.
void exchange_neighbour_rows(const RowPieces& rows, View1<double> vector);

/// Sets the entries of neighbouring rows to 0.
void clear_neighbour_rows(const RowPieces& rows, View1<double> vector);

/// Of all processes where the rows are divided.
double max_of_all(const RowPieces& rows, double value);
std::int64_t sum_of_all(const RowPieces& rows, std::int64_t value);

}  // namespace quorivex
