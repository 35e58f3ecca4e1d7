// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/uninitialized_array.h"
#include "base/view1.h"

namespace quorivex {

/// Which wavelet coefficients of a row are kept, always the largest.
struct CompressionRule {
  enum class Kind {
    relative_error,  ///< the fewest that leave out at most value^2 of the row's energy
    threshold,       ///< those of magnitude value or more
    fraction         ///< value times the number of ground cells
  };
  Kind kind = Kind::relative_error;
  double value = 0.01;
};

/// The coefficients that are kept of a row, in the order of the grid, with room for all of it.
struct CompressedRow {
  explicit CompressedRow(std::int64_t points);

  UninitializedArray<std::int32_t> positions;  ///< from 1, in the wavelet grid
  UninitializedArray<float> values;
  std::int32_t count = 0;
  double relative_error = 0.0;  ///< |row - kept| / |row|
  bool finite = true;           ///< every value fits single precision
};

/// Coefficients of a row by size: their number and energy in classes of a sixteenth of an octave of
/// their squares. Room that a thread keeps from row to row.
struct SizeClasses {
  explicit SizeClasses(std::int64_t points);

  std::vector<double> energy;
  std::vector<double> energy_of_odd;  ///< while it is summed: of every other point
  std::vector<std::int64_t> count;    ///< for a fraction only
  UninitializedArray<std::int32_t>
      undecided;  ///< of the kept ones, from 0: those of the last class
};

/// Keeps what the rule asks for in a survey over `ground_cells` cells. Of equal coefficients at the
/// limit the first ones are kept. Reads the grid twice. Nothing is allocated.
void compress_row(View1<const double> grid, std::int64_t ground_cells, const CompressionRule& rule,
                  SizeClasses& classes, CompressedRow& row);

}  // namespace quorivex
