// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/matrix_part.h"

#include <algorithm>

#include "inversion/sensitivity/sensitivity_state.h"

namespace quorivex {

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
