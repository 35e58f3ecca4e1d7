// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/objective/stencil.h"

#include <numeric>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "calc_W_components";

/// Calls pair(c1, c2, v^2) for the rows of two active cells, from 0, and single(c, v^2) for those
/// of an active cell and an inactive one.
template <class Pair, class Single>
void for_each_row(const DifferenceOperator& op, Pair pair, Single single) {
  const CsrHalf& half = op.active;
  for (std::int64_t r = 0; r < op.nrow; ++r) {
    const auto first = std::size_t{half.pointers[as_size(r)] - 1};
    const auto last = std::size_t{half.pointers[as_size(r + 1)] - 1};
    if (first == last) continue;
    const double square = half.values[first] * half.values[first];
    if (last - first == 2) {
      pair(half.columns[first] - 1, half.columns[first + 1] - 1, square);
    } else {
      single(half.columns[first] - 1, square);
    }
  }
}

std::vector<std::int32_t> own_positions(std::int64_t ncell) {
  std::vector<std::int32_t> positions = allocate<std::int32_t>(as_size(ncell), kRoutine);
  std::iota(positions.begin(), positions.end(), 0);
  return positions;
}

}  // namespace

Stencil make_stencil(const DifferenceOperator& Wx, const DifferenceOperator& Wy,
                     const DifferenceOperator& Wz, std::int64_t ncell) {
  Stencil stencil;
  const bool has_inactive = !Wx.inactive.pointers.empty();
  if (has_inactive) stencil.influence = allocate<double>(as_size(ncell), kRoutine);
  const auto add_influence = [&](std::int32_t c, double square) {
    stencil.influence[as_size(c)] += square;
  };
  const auto pairs_of = [&](const DifferenceOperator& op, Stencil::Pairs& pairs) {
    pairs = {allocate<double>(as_size(ncell), kRoutine), own_positions(ncell),
             own_positions(ncell)};
    for_each_row(
        op,
        [&](std::int32_t c1, std::int32_t c2, double square) {
          pairs.weights[as_size(c1)] = square;
          pairs.next[as_size(c1)] = c2;
          pairs.before[as_size(c2)] = c1;
        },
        add_influence);
  };
  pairs_of(Wx, stencil.x);
  pairs_of(Wy, stencil.y);
  stencil.z_weights = allocate<double>(as_size(ncell), kRoutine);
  for_each_row(
      Wz,
      [&](std::int32_t c1, std::int32_t c2, double square) {
        require(c2 == c1 + 1, "neighbours in depth do not follow each other");
        stencil.z_weights[as_size(c1)] = square;
      },
      add_influence);
  return stencil;
}

}  // namespace quorivex
