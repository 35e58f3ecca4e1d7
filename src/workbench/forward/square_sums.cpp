// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/square_sums.h"

#include <algorithm>
#include <utility>

#include "base/multiversion.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kSquareSumsRoutine = "square_sums";
constexpr std::int64_t kCellPiece = std::int64_t{1} << 22;  // cells

QUORIVEX_MULTIVERSIONED
void add_squares_of(const double* from, std::int64_t count, double factor, double* to) {
#pragma omp simd
  for (std::int64_t k = 0; k < count; ++k) to[k] += factor * (from[k] * from[k]);
}

/// Adds the sums of a group to the total and begins them anew.
QUORIVEX_MULTIVERSIONED
void move_sums(double* group, std::int64_t count, double* total) {
#pragma omp simd
  for (std::int64_t k = 0; k < count; ++k) {
    total[k] += group[k];
    group[k] = 0.0;
  }
}

/// total(c) += the parts' c-th values in the order of the parts, which have `size` values each.
void add_parts(const std::vector<double>& parts, std::int64_t size, double* total) {
  const double* const from = parts.data();
  const int count = ranks::count();
#pragma omp parallel for schedule(static) default(none) shared(from, size, total, count)
  for (std::int64_t c = 0; c < size; ++c) {
    double sum = total[c];
    for (int r = 0; r < count; ++r) sum += from[r * size + c];
    total[c] = sum;
  }
}

}  // namespace

SquareSums::SquareSums(const Ground& ground, std::int32_t ndata, ranks::Team team)
    : ground_(ground),
      group_size_(group_size(ndata)),
      team_(team),
      group_(allocate<double>(as_size(ground.cells()), kSquareSumsRoutine)) {
  std::int64_t own = 0;
  std::int64_t longest = 0;
  for_each_piece([&](ranks::Share /*piece*/, ranks::Share share) {
    own += share.size();
    longest = std::max(longest, share.size());
  });
  total_ = allocate<double>(as_size(own), kSquareSumsRoutine);
  if (ranks::count(team) > 1)
    received_ = allocate<double>(as_size(longest * ranks::count()), kSquareSumsRoutine);
}

template <class Work>
void SquareSums::for_each_piece(Work work) const {
  for (std::int64_t begin = 0; begin < ground_.cells(); begin += kCellPiece) {
    const std::int64_t size = std::min(kCellPiece, ground_.cells() - begin);
    const ranks::Share own = ranks::share_of(size, ranks::rank(team_), ranks::count(team_));
    work(ranks::Share{begin, begin + size}, own);
  }
}

void SquareSums::add(const RowLayout& layout, View1<const double> row, double factor,
                     std::int32_t i, Turns& turns) {
  const double square = factor * factor;
  // Of several processes each has one group in a round, and ends it there.
  const bool begins_group = ranks::count(team_) == 1 && i > 1 && (i - 1) % group_size_ == 0;
  std::int64_t number = 0;
  for (std::size_t j = 0; j < as_size(ground_.mesh.nn); ++j) {
    if (!turns.await(j, i)) return;
    for (std::int32_t n = 0; n < ground_.mesh.ne; ++n) {
      const GridColumn column = ground_.column(++number);
      const std::int32_t count = ground_.mesh.nz - column.top;
      const double* const from = row.data() + layout.begin(column);
      double* const to = group_.data() + column.before;
      if (begins_group) move_sums(to, count, total_.data() + column.before);
      add_squares_of(from, count, square, to);
    }
    turns.pass(j, i);
  }
}

void SquareSums::end_round() {
  if (ranks::count(team_) == 1) return;
  const int processes = ranks::count();
  std::vector<std::int64_t> to(as_size(processes));
  double* total = total_.data();
  for_each_piece([&](ranks::Share piece, ranks::Share own) {
    for (int r = 0; r < processes; ++r) {
      to[as_size(r)] = ranks::share_of(piece.size(), r, processes).size();
    }
    const std::vector<std::int64_t> from(as_size(processes), own.size());
    ranks::exchange({group_.data() + piece.begin, piece.size()}, to,
                    {received_.data(), processes * own.size()}, from);
    add_parts(received_, own.size(), total);
    total += own.size();
  });
  std::fill(group_.begin(), group_.end(), 0.0);
}

std::vector<double> SquareSums::take() {
  if (ranks::count(team_) == 1) {
    for (std::size_t c = 0; c < total_.size(); ++c) total_[c] += group_[c];
    return std::move(total_);
  }
  const double* total = total_.data();
  for_each_piece([&](ranks::Share piece, ranks::Share own) {
    double* const whole = group_.data() + piece.begin;
    std::copy_n(total, own.size(), whole + own.begin);
    ranks::all_gather({whole, piece.size()}, own);
    total += own.size();
  });
  return std::move(group_);
}

}  // namespace quorivex
