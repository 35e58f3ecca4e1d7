// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/view1.h"

/// The discrete wavelet transform W of a vector on the wavelet grid, axis by axis: a pyramid of
/// periodic filters (Mallat 1989). With an orthonormal filter the inverse is also the transpose.
namespace quorivex::WTN_MOD {

/// A filter pair: the smooth coefficients come from the low-pass, the details from the high-pass.
struct Filter {
  std::vector<double> low;
  std::vector<double> high;  ///< the low-pass reversed, its signs -, +, -, + before the reversal

  std::int64_t ncof() const { return length(low); }
};

Filter filter_setup(std::vector<double> low_pass);

/// One level on a(1..n) in place: forward for isign >= 0, smooth half first; else inverse.
/// n is a power of two and at least 4.
void PWT(const Filter& filter, View1<double> a, std::int64_t n, int isign);

/// Work vectors of a thread: 16 lines of the longest axis, side by side, four times.
struct Scratch {
  explicit Scratch(const std::array<std::int32_t, 3>& counts);

  std::vector<double> lines;
  std::vector<double> work;
  std::vector<double> more;
  std::vector<double> done;
};

/// All levels along every axis of more than 4 points, in place, on all threads, from the first
/// to the last, inverse from the last to the first. The first axis runs fastest; each such count is
/// a power of two. Every line is transformed by itself, so that the bits do not depend on the
/// threads.
void WTN(const Filter& filter, View1<double> a, const std::array<std::int32_t, 3>& counts,
         int isign);

/// The same along one axis: lines of n points, of which the first points come before all second
/// ones.
void transform_side_by_side(const Filter& filter, View1<double> a, std::int32_t n, int isign);

/// WTN on the calling thread alone, within the parallel region of a caller.
void WTN(const Filter& filter, View1<double> a, const std::array<std::int32_t, 3>& counts,
         int isign, Scratch& scratch);

/// The forward transform of a grid whose points beyond `used` along an axis count as zero, whatever
/// stands there.
void transform_padded(const Filter& filter, View1<double> a,
                      const std::array<std::int32_t, 3>& counts,
                      const std::array<std::int32_t, 3>& used, Scratch& scratch);

}  // namespace quorivex::WTN_MOD
