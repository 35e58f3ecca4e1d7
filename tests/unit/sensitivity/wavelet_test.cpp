// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <omp.h>

#include <cstring>
#include <limits>
#include <numeric>

#include "compressed.h"
#include "sensitivity/sparse_sens_mod.h"
#include "values.h"

namespace quorivex::test {
namespace {

constexpr double kPoison = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kLengths[] = {2, 4, 6, 8, 10, 16};

// A shifted offset, a sign of the high-pass, a wrong wrap, smooth and detail halves exchanged; an
// inverse that is not the transpose.
TEST(Wavelet, OneLevelEqualsTheDenseMatrixOfItsDefinition) {
  for (const std::size_t ncof : kLengths) {
    const std::vector<double> c = orthonormal_filter(ncof);
    const auto filter = WTN_MOD::filter_setup(c);
    for (const std::size_t n : {4U, 8U, 32U}) {
      std::vector<std::vector<double>> W(n, std::vector<double>(n));
      for (std::size_t i = 0; i < n / 2; ++i) {
        for (std::size_t k = 0; k < ncof; ++k) {
          const std::size_t column = (2 * i + 2 + k + ncof * n - ncof / 2) % n;
          W[i][column] += c[k];
          W[n / 2 + i][column] += (k % 2 == 0 ? 1.0 : -1.0) * c[ncof - 1 - k];
        }
      }
      const std::vector<double> a = values_of_seed(n, ncof);
      std::vector<double> forward = a;
      std::vector<double> inverse = a;
      std::vector<double> work(n, kPoison);
      WTN_MOD::PWT(filter, forward, length(a), 0, work);
      WTN_MOD::PWT(filter, inverse, length(a), -1, work);
      for (std::size_t i = 0; i < n; ++i) {
        std::vector<double> column;
        for (std::size_t r = 0; r < n; ++r) column.push_back(W[r][i]);
        EXPECT_NEAR(forward[i], dot(W[i], a), 1e-13) << ncof << " coefficients, line of " << n;
        EXPECT_NEAR(inverse[i], dot(column, a), 1e-13) << ncof << " coefficients, line of " << n;
      }
    }
  }
}

// A level left out or done in the wrong order, an axis with the wrong stride.
TEST(Wavelet, TransformKeepsScalarProductsAndItsInverseUndoesIt) {
  for (const std::size_t ncof : kLengths) {
    const auto filter = WTN_MOD::filter_setup(orthonormal_filter(ncof));
    for (const std::array<std::int32_t, 3> counts : {std::array{8, 4, 16}, {16, 8, 8}, {3, 2, 1}}) {
      const auto size = as_size(std::int64_t{counts[0]} * counts[1] * counts[2]);
      const std::vector<double> a = values_of_seed(size, 1);
      std::vector<double> b = values_of_seed(size, 2);
      const double product = dot(a, b);
      std::vector<double> back = a;
      WTN_MOD::WTN(filter, back, counts, 1);
      WTN_MOD::WTN(filter, b, counts, 1);
      EXPECT_NEAR(dot(back, b), product, 1e-11);
      WTN_MOD::WTN(filter, back, counts, -1);
      for (std::size_t i = 0; i < size; ++i) EXPECT_NEAR(back[i], a[i], 1e-12);
    }
  }
}

// An axis of exactly 4 points transformed; a constant that leaves details.
TEST(Wavelet, OnlyAxesOfMoreThanFourPointsAreTransformed) {
  const double h = std::sqrt(0.5);
  const auto haar = WTN_MOD::filter_setup({h, h});
  std::vector<double> a(64);
  for (std::size_t k = 0; k < 8; ++k) a[5 + 8 * k] = 1.0;  // one line along the third axis
  std::vector<double> expected(64);
  expected[5] = expected[13] = 2.0;  // two smooth coefficients are left of 8 points
  WTN_MOD::WTN(haar, a, {2, 4, 8}, 1);
  for (std::size_t i = 0; i < 64; ++i) EXPECT_NEAR(a[i], expected[i], 1e-14) << i;
}

// A lost, doubled or shortened entry; a piece beyond a short row. All sums are exact in double.
TEST(SparseSens, ProductsEqualThePlainLoopsForEveryChunkingAndThreadCount) {
  SensitivityState sens;
  sens.Gs = SparseRows(5, 85);
  constexpr std::int32_t kPoints = 12800;  // enough for the sums of the threads to be shared out
  std::vector<double> w(kPoints);
  std::iota(w.begin(), w.end(), 0x1p-25 - 30.0);
  const std::vector<double> t{1.0, -2.0, 0.5, 0x1p-30, 3.0};
  std::vector<double> d(5);
  std::vector<double> back(kPoints);
  for (const std::int64_t nnz : {0, 1, 3, 17, 64}) {
    const auto i = as_size(sens.Gs.rows());
    std::vector<std::int32_t> positions;
    std::vector<float> values;
    for (std::int64_t k = 0; k < nnz; ++k) {
      positions.push_back(static_cast<std::int32_t>((k * 27 + 5) % 64 * 200 + 1));
      values.push_back(static_cast<float>(k - 9) / 8.0F);
      d[i] += values.back() * w[as_size(positions.back() - 1)];
      back[as_size(positions.back() - 1)] += values.back() * t[i];
    }
    const std::string bytes = record(positions, values);
    std::memcpy(sens.Gs.append(nnz), bytes.data(), bytes.size());
  }
  sens.ndata = 5;
  for (const int threads : {1, 2, 4}) {
    omp_set_num_threads(threads);
    for (const std::int32_t nchunk : {1, 2, 3, 7, 64, 65}) {
      sens.nchunk = nchunk;
      std::vector<double> got_d(5, kPoison);
      std::vector<double> got_back(kPoints, kPoison);
      SPARSE_SENS_MOD::CALC_GV(sens, w, got_d);
      SPARSE_SENS_MOD::CALC_GTV(sens, t, got_back);
      EXPECT_EQ(got_d, d) << nchunk << " pieces, " << threads << " threads";
      EXPECT_TRUE(got_back == back) << nchunk << " pieces, " << threads << " threads";
    }
  }
}

}  // namespace
}  // namespace quorivex::test
