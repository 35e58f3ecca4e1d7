// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/matrix_part.h"

#include <algorithm>

#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {
namespace {

/// What parts of two processes have in common.
std::int64_t common(const ranks::Share& a, const ranks::Share& b) {
  return std::max<std::int64_t>(std::min(a.end, b.end) - std::max(a.begin, b.begin), 0);
}

using ShareOf = ranks::Share (MatrixPart::*)(int) const;

/// Collective: from shares `from` of all columns to shares `to`, both in the order of ranks.
void hand_over(const MatrixPart& part, View1<const double> values, ShareOf from,
               View1<double> result, ShareOf to) {
  const int own = ranks::rank();
  std::vector<std::int64_t> sent;
  std::vector<std::int64_t> received;
  for (int r = 0; r < ranks::count(); ++r) {
    sent.push_back(common((part.*from)(own), (part.*to)(r)));
    received.push_back(common((part.*from)(r), (part.*to)(own)));
  }
  ranks::exchange(values, sent, result, received);
}

}  // namespace

ranks::Share SparseShares::pieces_of(int process) const {
  return {first_piece[as_size(process)], first_piece[as_size(process + 1)]};
}

ranks::Share SparseShares::blocks(int process) const {
  const auto [first, last] = pieces_of(process);
  if (first == last) return {};
  return {pieces[as_size(first)].first_block, pieces[as_size(last - 1)].last_block};
}

ranks::Share SparseShares::home_blocks(int process) const {
  const auto first_home = [&](int of) {
    const auto first = as_size(first_piece[as_size(of)]);
    if (first == pieces.size()) return pieces.empty() ? 0 : pieces.back().last_block;
    return pieces[first].first_block + (pieces[first].part > 0 ? 1 : 0);
  };
  return {first_home(process), first_home(process + 1)};
}

int SparseShares::home_of_first(int process) const {
  if (blocks(process).size() == 0) return process;
  int home = process;
  while (home_blocks(home).begin > blocks(process).begin) --home;
  return home;
}

ranks::Share MatrixPart::own_cells(int process) const {
  return {ground_cells[as_size(process)], ground_cells[as_size(process + 1)]};
}

ranks::Share MatrixPart::own_columns(int process) const {
  constexpr std::int64_t kGranule = FullMatrix::kGranule;
  const ranks::Share granules =
      ranks::share_of((columns + kGranule - 1) / kGranule, process, ranks::count(team));
  return {std::min(granules.begin * kGranule, columns), std::min(granules.end * kGranule, columns)};
}

void MatrixPart::cells_to_columns(View1<const double> cells, View1<double> of_columns) const {
  hand_over(*this, cells, &MatrixPart::own_cells, of_columns, &MatrixPart::own_columns);
}

void MatrixPart::columns_to_cells(View1<const double> of_columns, View1<double> cells) const {
  hand_over(*this, of_columns, &MatrixPart::own_columns, cells, &MatrixPart::own_cells);
}

MatrixPart part_of_all(const Ground& survey, std::int64_t columns) {
  MatrixPart part;
  part.team = ranks::Team::all;
  part.columns = columns;
  for (int r = 0; r <= ranks::count(); ++r) {
    const std::int64_t row = own_rows(survey.mesh.nn, r).begin;
    part.mesh_rows.push_back(row);
    part.ground_cells.push_back(survey.before[as_size(row * survey.mesh.ne)]);
  }
  return part;
}

}  // namespace quorivex
