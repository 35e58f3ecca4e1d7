// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/row_compression.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

#include "base/multiversion.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

// A class is known by exponent and first four bits of the square. Squares below 2^-160 and above
// 2^160 share the first and the last class; the limit within a class is found by sorting it.
constexpr int kShift = 48;
constexpr std::int32_t kOctaves = 160;
constexpr std::int32_t kFirst = (1023 - kOctaves) << 4;
constexpr std::int32_t kClasses = 2 * kOctaves << 4;

std::int32_t class_of(double square) {
  const auto top = static_cast<std::int32_t>(std::bit_cast<std::uint64_t>(square) >> kShift);
  return std::clamp(top - kFirst, 0, kClasses - 1);
}

/// Squares of a class lie from here to before the beginning of the next one.
double begin_of_class(std::int64_t number) {
  if (number <= 0) return 0.0;
  if (number >= kClasses) return std::numeric_limits<double>::infinity();
  return std::bit_cast<double>(static_cast<std::uint64_t>(number + kFirst) << kShift);
}

// A row is looked at in pieces of so many points, whose squares stay in the cache.
constexpr std::int64_t kPiece = 1024;

struct Piece {
  std::array<double, kPiece> square;
  std::array<std::int32_t, kPiece> number;  // of the class
};

QUORIVEX_MULTIVERSIONED
void classify(const double* c, std::int64_t count, Piece& piece) {
  double* const to = piece.square.data();
  std::int32_t* const number = piece.number.data();
#pragma omp simd
  for (std::int64_t p = 0; p < count; ++p) {
    to[p] = c[p] * c[p];
    number[p] = class_of(to[p]);
  }
}

/// Calls visit(piece, its length) for the pieces of a row.
template <class Visit>
void for_each_piece(View1<const double> grid, Visit visit) {
  Piece piece;
  for (std::int64_t begin = 0; begin < grid.size(); begin += kPiece) {
    const std::int64_t count = std::min(kPiece, grid.size() - begin);
    classify(grid.data() + begin, count, piece);
    visit(piece, count);
  }
}

void sort_into_classes(View1<const double> grid, SizeClasses& classes) {
  // Neighbours are often of one class; with two sums their additions do not wait for each other.
  std::fill(classes.energy.begin(), classes.energy.end(), 0.0);
  std::fill(classes.energy_of_odd.begin(), classes.energy_of_odd.end(), 0.0);
  double* const even = classes.energy.data();
  double* const odd = classes.energy_of_odd.data();
  for_each_piece(grid, [=](const Piece& piece, std::int64_t count) {
    for (std::int64_t p = 0; p + 1 < count; p += 2) {
      const std::size_t at = as_size(p);
      even[piece.number[at]] += piece.square[at];
      odd[piece.number[at + 1]] += piece.square[at + 1];
    }
    if (count % 2 != 0) even[piece.number[as_size(count - 1)]] += piece.square[as_size(count - 1)];
  });
  for (std::size_t n = 0; n < classes.energy.size(); ++n) even[n] += odd[n];
}

constexpr std::int64_t kAnyCount = std::numeric_limits<std::int64_t>::max();

/// What is dropped: every square of the classes below `undecided`, none of those above, and of that
/// class the squares below `square`, all but the `count` largest, or the smallest ones while they
/// fit into `energy`.
struct Limit {
  std::int64_t undecided = 0;
  double square = 0.0;
  double energy = 0.0;
  std::int64_t count = kAnyCount;
};

Limit within_energy(const SizeClasses& classes, double error) {
  const double all = std::accumulate(classes.energy.begin(), classes.energy.end(), 0.0);
  Limit limit{.energy = error * error * all};
  for (; limit.undecided < kClasses - 1; ++limit.undecided) {
    const double energy = classes.energy[as_size(limit.undecided)];
    if (!(energy <= limit.energy)) break;
    limit.energy -= energy;
  }
  return limit;
}

Limit largest(View1<const double> grid, std::int64_t kept, SizeClasses& classes) {
  std::fill(classes.count.begin(), classes.count.end(), 0);
  for_each_piece(grid, [&](const Piece& piece, std::int64_t count) {
    for (std::int64_t p = 0; p < count; ++p) ++classes.count[as_size(piece.number[as_size(p)])];
  });
  Limit limit{.undecided = kClasses - 1, .count = kept};
  for (; limit.undecided > 0; --limit.undecided) {
    const std::int64_t count = classes.count[as_size(limit.undecided)];
    if (count >= limit.count) break;
    limit.count -= count;
  }
  return limit;
}

Limit limit_of(View1<const double> grid, std::int64_t ground_cells, const CompressionRule& rule,
               SizeClasses& classes) {
  switch (rule.kind) {
    case CompressionRule::Kind::relative_error:
      return within_energy(classes, rule.value);
    case CompressionRule::Kind::fraction:
      return largest(grid, std::llround(rule.value * static_cast<double>(ground_cells)), classes);
    case CompressionRule::Kind::threshold:
      break;
  }
  const double square = rule.value * rule.value;
  return {.undecided = class_of(square), .square = square};
}

/// to[p] = whether the square is not below `low`, 0 or 1, for so many points and the rest of the
/// last word of 8.
QUORIVEX_MULTIVERSIONED
void mark_large(const double* c, std::int64_t count, double low, std::uint8_t* to) {
#pragma omp simd
  for (std::int64_t p = 0; p < count; ++p) to[p] = c[p] * c[p] < low ? 0 : 1;
  for (std::int64_t p = count; p % 8 != 0; ++p) to[p] = 0;
}

/// Calls visit(p) for the points from 0 whose square is not below `low`, in order.
template <class Visit>
void for_each_large(View1<const double> grid, double low, Visit visit) {
  std::array<std::uint8_t, kPiece> large;
  for (std::int64_t begin = 0; begin < grid.size(); begin += kPiece) {
    const std::int64_t count = std::min(kPiece, grid.size() - begin);
    mark_large(grid.data() + begin, count, low, large.data());
    for (std::int64_t word = 0; word < count; word += 8) {
      std::uint64_t marks = 0;
      std::memcpy(&marks, large.data() + word, sizeof marks);
      for (; marks != 0; marks &= marks - 1) visit(begin + word + std::countr_zero(marks) / 8);
    }
  }
}

struct Picked {
  double rounding = 0.0;       ///< energy of the rounding to single precision
  std::int64_t undecided = 0;  ///< coefficients of that class
};

/// Moves what is kept to the row, the undecided class included.
Picked pick(View1<const double> grid, std::int64_t undecided_class, SizeClasses& classes,
            CompressedRow& row) {
  const double high = begin_of_class(undecided_class + 1);
  Picked picked;
  std::int32_t count = 0;
  bool finite = true;
  const double* const c = grid.data();
  for_each_large(grid, begin_of_class(undecided_class), [&](std::int64_t p) {
    const auto stored = static_cast<float>(c[p]);
    const double error = c[p] - static_cast<double>(stored);
    picked.rounding += error * error;
    if (stored == 0.0F) return;
    if (c[p] * c[p] < high) classes.undecided.data()[picked.undecided++] = count;
    row.positions.data()[count] = static_cast<std::int32_t>(p) + 1;
    row.values.data()[count] = stored;
    finite = finite && std::isfinite(stored);
    ++count;
  });
  row.count = count;
  row.finite = finite;
  return picked;
}

/// Puts those of the undecided ones that are dropped first, and returns their end. `smaller` orders
/// them, the later of equal ones first.
template <class Square, class Smaller>
std::int32_t* end_of_dropped(std::int32_t* first, std::int32_t* last, const Limit& limit,
                             Square square, Smaller smaller) {
  if (limit.square > 0.0) {
    return std::partition(first, last, [&](std::int32_t n) { return square(n) < limit.square; });
  }
  if (limit.count != kAnyCount) {
    std::int32_t* const end = last - std::min<std::int64_t>(limit.count, last - first);
    std::nth_element(first, end, last, smaller);
    return end;
  }
  // Bisection: what lies before `first` is dropped, what lies from `last` on is kept.
  double left = limit.energy;
  while (first != last) {
    std::int32_t* const middle = first + (last - first) / 2;
    std::nth_element(first, middle, last, smaller);
    double lower_half = 0.0;
    for (const std::int32_t* n = first; n <= middle; ++n) lower_half += square(*n);
    if (lower_half <= left) {
      left -= lower_half;
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return first;
}

/// Takes the dropped ones out of the row; returns their energy.
double drop_undecided(View1<const double> grid, const Limit& limit, std::int64_t undecided,
                      SizeClasses& classes, CompressedRow& row) {
  std::int32_t* const positions = row.positions.data();
  const auto square = [&](std::int32_t n) {
    const double c = grid(positions[n]);
    return c * c;
  };
  const auto smaller = [&](std::int32_t a, std::int32_t b) {
    const double of_a = square(a);
    const double of_b = square(b);
    return of_a < of_b || (of_a == of_b && a > b);
  };
  std::int32_t* const first = classes.undecided.data();
  std::int32_t* const end = end_of_dropped(first, first + undecided, limit, square, smaller);
  double energy = 0.0;
  for (std::int32_t* n = first; n != end; ++n) energy += square(*n);
  for (std::int32_t* n = first; n != end; ++n) positions[*n] = 0;
  if (first == end) return energy;
  std::int32_t to = *std::min_element(first, end);
  for (std::int32_t n = to; n < row.count; ++n) {
    if (positions[n] == 0) continue;
    positions[to] = positions[n];
    row.values.data()[to] = row.values.data()[n];
    ++to;
  }
  row.count = to;
  return energy;
}

}  // namespace

CompressedRow::CompressedRow(std::int64_t points)
    : positions(points, "compress_row"), values(points, "compress_row") {}

SizeClasses::SizeClasses(std::int64_t points)
    : energy(allocate<double>(as_size(kClasses), "compress_row")),
      energy_of_odd(energy),
      count(allocate<std::int64_t>(as_size(kClasses), "compress_row")),
      undecided(points, "compress_row") {}

void compress_row(View1<const double> grid, std::int64_t ground_cells, const CompressionRule& rule,
                  SizeClasses& classes, CompressedRow& row) {
  sort_into_classes(grid, classes);
  const Limit limit = limit_of(grid, ground_cells, rule, classes);
  const Picked picked = pick(grid, limit.undecided, classes, row);
  const auto undecided = classes.energy.begin() + limit.undecided;
  const double dropped = std::accumulate(classes.energy.begin(), undecided, picked.rounding) +
                         drop_undecided(grid, limit, picked.undecided, classes, row);
  const double all = std::accumulate(classes.energy.begin(), classes.energy.end(), 0.0);
  row.relative_error = all > 0.0 ? std::sqrt(dropped / all) : 0.0;
}

}  // namespace quorivex
