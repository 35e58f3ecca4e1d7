// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "base/ranks.h"
#include "base/uninitialized_array.h"
#include "base/view1.h"

namespace quorivex {

struct FullMatrix;
class SparseMatrix;

// A datum of G x is a sum over all columns. It is formed of doubles, each the sum of a few
// neighbouring columns in fixed order, that become multiples of 2^-e and are added as integers:
// exactly, hence the same in whatever order, by whichever threads and processes. e is the largest
// for which |row|_1 max|x| 2^e, which no sum exceeds, is at most 2^62.

/// Upper bounds of the sums of absolute values of the rows, close to them; NaN for a row with a
/// value that is not finite. They depend on the matrix alone, not on who has which part of it.
/// @throws StopRun alloc_error("getpar")
std::vector<double> row_norms(const SparseMatrix& matrix, ranks::Team team = ranks::Team::alone);
std::vector<double> row_norms(const FullMatrix& matrix, std::int64_t rows,
                              ranks::Team team = ranks::Team::alone);

/// The largest absolute value; infinite where a value is not finite.
double largest_absolute(View1<const double> values);

/// The sums of one product, datum by datum, each thread its own.
class ExactSums {
 public:
  /// The norms of the rows, and the largest absolute value of what they are multiplied with, or of
  /// what of it this process has. Collective for a team.
  ExactSums(View1<const double> norms, double largest, ranks::Team team);

  /// What a sum is multiplied with before it is added; 0 where the result is NaN or 0.
  const double* scales() const { return scales_.data(); }
  /// Called by each thread of a parallel region, in the region: its sums, set to 0.
  std::int64_t* begin_thread();
  /// Adds the values of some rows, which are sums of a piece, to those of a thread.
  void add(const ranks::Share& rows, const double* values, std::int64_t* of_thread) const;
  /// After the region: d = the sums of all threads. Collective for a team.
  void finish(View1<double> d);

 private:
  View1<const double> norms_;
  double largest_;
  ranks::Team team_;
  std::int64_t threads_;
  UninitializedArray<double> scales_;
  UninitializedArray<std::int64_t> sums_;
};

/// A sum as a multiple of its unit, the nearest one: errors in one direction would add up. NaN,
/// which has no place in a result, gives 0.
inline std::int64_t to_units(double sum, double scale) {
  const double units = sum * scale;
  return units == units ? static_cast<std::int64_t>(units + std::copysign(0.5, units)) : 0;
}

}  // namespace quorivex
