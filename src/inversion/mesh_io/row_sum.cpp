// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/row_sum.h"

#include <algorithm>
#include <utility>

namespace quorivex {
namespace {

constexpr std::int64_t kPieceEntries = 4096;

}  // namespace

RowPieces::RowPieces(std::vector<std::int64_t> before, const Slab& slab, std::string_view label)
    : begin(std::move(before)),
      own_first(slab.own_first),
      own_end(slab.own_end),
      survey_rows(slab.rows),
      team(slab.team) {
  for (std::size_t row = 0; row + 1 < begin.size(); ++row) {
    for (std::int64_t first = begin[row]; first < begin[row + 1]; first += kPieceEntries) {
      const std::int64_t last = std::min(first + kPieceEntries, begin[row + 1]);
      with_alloc_label(label, [&] {
        pieces.push_back({first, last, static_cast<std::int32_t>(row)});
      });
    }
  }
}

void exchange_neighbour_rows(const RowPieces& rows, View1<double> vector) {
  if (rows.team == ranks::Team::alone) return;
  const auto part = [&](std::int64_t first, std::int64_t end) {
    return View1<double>(vector.data() + first, end - first);
  };
  const std::int64_t own_begin = rows.own_begin_entry();
  const std::int64_t own_end = rows.own_end_entry();
  const bool any = rows.own_end > rows.own_first;
  const bool before = any && rows.own_first > 0;
  const bool after = any && rows.own_end + 1 < static_cast<std::int64_t>(rows.begin.size());
  const View1<double> nothing = part(own_begin, own_begin);
  const View1<double> first_own =
      before ? part(own_begin, rows.begin[as_size(rows.own_first + 1)]) : nothing;
  const View1<double> last_own =
      after ? part(rows.begin[as_size(rows.own_end - 1)], own_end) : nothing;
  ranks::exchange_with_neighbours(
      {first_own, last_own},
      {before ? part(0, own_begin) : nothing, after ? part(own_end, rows.begin.back()) : nothing});
}

void clear_neighbour_rows(const RowPieces& rows, View1<double> vector) {
  std::fill(vector.data(), vector.data() + rows.own_begin_entry(), 0.0);
  std::fill(vector.data() + rows.own_end_entry(), vector.data() + vector.size(), 0.0);
}

double max_of_all(const RowPieces& rows, double value) {
  return rows.team == ranks::Team::alone ? value : ranks::max(value);
}

std::int64_t sum_of_all(const RowPieces& rows, std::int64_t value) {
  return rows.team == ranks::Team::alone ? value : ranks::sum(value);
}

}  // namespace quorivex
