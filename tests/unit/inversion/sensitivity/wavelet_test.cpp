// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <tuple>

#include "compressed.h"
#include "inversion/sensitivity/exact_sums.h"
#include "inversion/sensitivity/sparse_sens_mod.h"
#include "plain_products.h"
#include "values.h"

namespace quorivex::test {
namespace {

constexpr double kUnwritten = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kLengths[] = {2, 4, 6, 8, 10, 16};

// A shifted offset, also for odd lengths, a sign of the high-pass, a wrong wrap, smooth and detail
// halves exchanged; an inverse that is not the transpose.
TEST(Wavelet, OneLevelEqualsTheDenseMatrixOfItsDefinition) {
  for (std::size_t ncof = 1; ncof <= 17; ++ncof) {
    const std::vector<double> c =
        ncof % 2 == 0 ? orthonormal_filter(ncof) : values_of_seed(ncof, 4);
    const auto filter = WTN_MOD::filter_setup(c);
    for (const std::size_t n : {4U, 8U, 32U}) {
      std::vector<std::vector<double>> W(n, std::vector<double>(n));
      for (std::size_t i = 0; i < n / 2; ++i) {
        for (std::size_t k = 0; k < ncof; ++k) {
          const std::size_t column = (2 * i + 2 + k + ncof * n - ncof / 2) % n;
          W[i][column] += c[k];
          const std::size_t reversed = ncof - 1 - k;
          W[n / 2 + i][column] += (reversed % 2 == 0 ? -1.0 : 1.0) * c[reversed];
        }
      }
      const std::vector<double> a = values_of_seed(n, ncof);
      std::vector<double> forward = a;
      std::vector<double> inverse = a;
      WTN_MOD::PWT(filter, forward, length(a), 0);
      WTN_MOD::PWT(filter, inverse, length(a), -1);
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

// A line shifted within its bundle, a last bundle that is not full, threads that share a buffer; a
// tap or a term at the wrong place in the loops of one of the filters, or where it wraps round.
TEST(Wavelet, BundlesOfLinesGiveTheBitsOfSingleLinesForEveryFilterAndNumberOfThreads) {
  for (const std::size_t taps : {2U, 4U, 6U, 8U, 10U}) {
    const auto filter = WTN_MOD::filter_setup(orthonormal_filter(taps));
    for (const std::array<std::int32_t, 3> counts :
         {std::array{8, 3, 16}, {32, 8, 2}, {1, 64, 8}}) {
      const auto size = as_size(std::int64_t{counts[0]} * counts[1] * counts[2]);
      for (const int isign : {1, -1}) {
        std::vector<double> expected = values_of_seed(size, 3);
        plain_transform(filter, expected, counts, isign);
        for (const int threads : {1, 2, 5}) {
          omp_set_num_threads(threads);
          std::vector<double> got = values_of_seed(size, 3);
          WTN_MOD::WTN(filter, got, counts, isign);
          EXPECT_EQ(got, expected) << threads << " threads, " << taps << " taps";
        }
      }
    }
  }
}

// What stands beyond the part in use taken for values, on axes that are transformed and on others.
TEST(Wavelet, APaddedGridIsTransformedAsOneOfZerosBeyondItsPart) {
  const auto filter = WTN_MOD::filter_setup(orthonormal_filter(6));
  struct Case {
    std::array<std::int32_t, 3> counts, used;
  };
  for (const auto& [counts, used] : {Case{{8, 16, 32}, {5, 11, 20}}, Case{{32, 4, 8}, {17, 3, 5}},
                                     Case{{8, 32, 2}, {8, 17, 1}}, Case{{4, 16, 8}, {3, 9, 5}}}) {
    std::vector<double> padded =
        values_of_seed(as_size(std::int64_t{counts[0]} * counts[1] * counts[2]), 5);
    std::vector<double> zeros = padded;
    std::size_t n = 0;
    for (std::int32_t j = 0; j < counts[2]; ++j) {
      for (std::int32_t i = 0; i < counts[1]; ++i) {
        for (std::int32_t k = 0; k < counts[0]; ++k, ++n) {
          if (k >= used[0] || i >= used[1] || j >= used[2]) zeros[n] = 0.0;
        }
      }
    }
    WTN_MOD::Scratch scratch(counts);
    WTN_MOD::transform_padded(filter, padded, counts, used, scratch);
    WTN_MOD::WTN(filter, zeros, counts, 1);
    EXPECT_EQ(padded, zeros) << counts[1];
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

/// The payload bytes of a row with these positions, and its values -1, -7/8, -6/8, ...
std::string row_bytes(const std::vector<std::int32_t>& positions) {
  std::vector<float> values;
  for (std::size_t k = 0; k < positions.size(); ++k)
    values.push_back((static_cast<float>(k % 61) - 8.0F) / 8.0F);
  return record(positions, values);
}

/// Positions of rows that are empty, short, long, descending and at the edges of blocks.
std::vector<std::vector<std::int32_t>> rows_of_every_shape(std::int32_t points) {
  const auto every = [](std::int32_t step, std::int32_t first, std::int32_t last) {
    std::vector<std::int32_t> positions;
    for (std::int32_t p = first; p <= last; p += step) positions.push_back(p);
    return positions;
  };
  std::vector<std::vector<std::int32_t>> rows{
      {}, {points}, {1}, every(1, 1, std::min(points, 9000)), {}};
  rows.push_back(every(97, 1, points));
  std::reverse(rows.back().begin(), rows.back().end());
  for (const std::int32_t edge : {256, 512, 8192, 16384, 65536}) {
    if (edge < points) rows.push_back({edge, edge + 1, edge - 1, edge});
  }
  return rows;
}

// An entry lost, doubled or moved at the edge of a block or of a panel, or by the sort of a row; a
// sum whose order depends on the threads. All sums are exact in double.
TEST(SparseSens, ProductsEqualThePlainLoopsForEveryShape) {
  for (const std::int32_t points : {1, 300, 512, 20000, 2200000}) {
    SensitivityState sens;
    const std::vector<std::vector<std::int32_t>> rows = rows_of_every_shape(points);
    sens.ndata = static_cast<std::int32_t>(rows.size());
    // Of long rows few blocks for the smaller grid, hundreds for the largest.
    sens.Gs =
        SparseMatrix(points, sens.ndata, sens.ndata * std::int64_t{points > 20000 ? points : 100});
    std::vector<double> w(as_size(points));
    for (std::size_t at = 0; at < w.size(); ++at) w[at] = static_cast<double>(at % 1009) + 0x1p-20;
    std::vector<double> t(rows.size());
    std::iota(t.begin(), t.end(), 0x1p-20 - 3.0);
    std::vector<double> d(rows.size());
    std::vector<double> back(w.size());
    SparseRows whole(length(rows), 2200000);
    const std::size_t panel = points == 20000 ? 1 : 4;  // rows
    for (std::size_t first = 0; first < rows.size(); first += panel) {
      SparseRows part(length(rows), 2200000);
      for (std::size_t i = first; i < std::min(first + panel, rows.size()); ++i) {
        const std::string bytes = row_bytes(rows[i]);
        for (SparseRows* to : {&part, &whole})
          std::memcpy(to->append(length(rows[i])), bytes.data(), bytes.size());
      }
      sens.Gs.append(part);
    }
    sens.norms = row_norms(sens.Gs);
    plain_gv(whole, w, d);
    plain_gtv(whole, t, back);
    for (std::size_t i = 0; i < rows.size(); ++i)
      EXPECT_EQ(sens.Gs.row_statistics()[i].entries, length(rows[i]));
    for (const int threads : {1, 2, 3, 4, 64}) {
      omp_set_num_threads(threads);
      std::vector<double> got_d(d.size(), kUnwritten);
      std::vector<double> got_back(back.size(), kUnwritten);
      SPARSE_SENS_MOD::CALC_GV(sens, w, got_d);
      SPARSE_SENS_MOD::CALC_GTV(sens, t, got_back);
      EXPECT_EQ(got_d, d) << points << " points, " << threads << " threads";
      EXPECT_TRUE(got_back == back) << points << " points, " << threads << " threads";
    }
    // Sums that are rounded have one order for every number of threads.
    const std::vector<double> odd_w = values_of_seed(w.size(), 5);
    const std::vector<double> odd_t = values_of_seed(t.size(), 6);
    for (const int threads : {1, 2, 3, 4, 64}) {
      omp_set_num_threads(threads);
      std::vector<double> got_d(d.size());
      std::vector<double> got_back(back.size());
      SPARSE_SENS_MOD::CALC_GV(sens, odd_w, got_d);
      SPARSE_SENS_MOD::CALC_GTV(sens, odd_t, got_back);
      if (threads == 1) std::tie(d, back) = std::tie(got_d, got_back);
      EXPECT_TRUE(got_d == d && got_back == back) << points << " points, " << threads << " threads";
    }
  }
}

/// 200 rows of which each holds all of the first 300 of 5,000 points, and then every third point
/// in turn, appended in panels of so many rows.
SparseMatrix matrix_with_a_heavy_block(std::int64_t panel) {
  constexpr std::int64_t kRows = 200;
  constexpr std::int64_t kEntries = 300 + 1567;
  SparseMatrix matrix(5000, kRows, kRows * kEntries);
  for (std::int64_t row = 0; row < kRows;) {
    SparseRows part(panel, panel * kEntries);
    for (std::int64_t i = 0; i < panel && row < kRows; ++i, ++row) {
      std::vector<std::int32_t> positions(300);
      std::iota(positions.begin(), positions.end(), 1);
      for (auto p = static_cast<std::int32_t>(301 + row % 3); p <= 5000; p += 3)
        positions.push_back(p);
      const std::string bytes = row_bytes(positions);
      std::memcpy(part.append(length(positions)), bytes.data(), bytes.size());
    }
    matrix.append(part);
  }
  return matrix;
}

// A block that no more than one thread can multiply; an entry in two pieces or in none; pieces,
// and so sums, that depend on how the rows came.
TEST(SparseSens, PiecesAreSmallAndDependOnTheCoefficientsAlone) {
  SensitivityState sens;
  sens.ndata = 200;
  std::vector<double> d;
  std::vector<double> back;
  for (const std::int64_t panel : {200, 23, 1}) {
    sens.Gs = matrix_with_a_heavy_block(panel);
    sens.norms = row_norms(sens.Gs);
    std::vector<std::int64_t> left(as_size(sens.Gs.blocks()), 0);
    for (std::int64_t b = 0; b < length(left); ++b) left[as_size(b)] = sens.Gs.entries(b);
    for (const SparsePiece& piece : sens.Gs.pieces()) {
      std::int64_t entries = 0;
      for (const SparsePanel& of : sens.Gs.panels()) {
        for (std::int64_t b = piece.first_block; b < piece.last_block; ++b) {
          const SparseCell cell = rows_of(of.cell(b), piece.first_row - of.rows_before,
                                          piece.last_row - of.rows_before);
          for (const RowPiece* row = cell.first; row < cell.last; ++row) {
            entries += row->count;
            left[as_size(b)] -= row->count;
          }
        }
      }
      EXPECT_LE(entries, sens.Gs.entries() / 64);
    }
    EXPECT_EQ(left, std::vector<std::int64_t>(left.size(), 0));
    std::vector<double> got_d(200, kUnwritten);
    std::vector<double> got_back(5000, kUnwritten);
    SPARSE_SENS_MOD::CALC_GV(sens, values_of_seed(5000, 5), got_d);
    SPARSE_SENS_MOD::CALC_GTV(sens, values_of_seed(200, 6), got_back);
    if (panel == 200) std::tie(d, back) = std::tie(got_d, got_back);
    EXPECT_TRUE(got_d == d && got_back == back) << "panels of " << panel << " rows";
  }
}

// Counts as of 4,096 data over 524,288 points: some blocks hold a tenth of all coefficients, most
// of them a hundredth or less, all more in their first rows. Full form: 250,000 cells.
TEST(SparseSens, UpTo64ProcessesGetSharesOfAtMost105PercentOfTheirMean) {
  SparseCounts counts(128, 4096);
  std::int64_t all = 0;
  for (std::int64_t b = 0; b < counts.blocks; ++b) {
    for (std::int64_t row = 0; row < counts.rows; ++row) {
      const std::int64_t entries =
          30 + 4000 / (8 * b + 8) + (row + b * 37) % 11 + 10000 / (row + 99);
      counts(b, row) += entries;
      all += entries;
    }
  }
  const std::vector<SparsePiece> pieces = cut_into_pieces(counts, 4096);
  EXPECT_LT(pieces.size(), 700U);
  const std::int64_t granules = (250000 + FullMatrix::kGranule - 1) / FullMatrix::kGranule;
  for (int processes = 2; processes <= 64; ++processes) {
    const std::vector<std::int64_t> first = deal_pieces(pieces, processes);
    std::int64_t sum_of_all = 0;
    for (int r = 0; r < processes; ++r) {
      std::int64_t sum = 0;
      for (std::int64_t n = first[as_size(r)]; n < first[as_size(r + 1)]; ++n)
        sum += pieces[as_size(n)].entries;
      EXPECT_LE(static_cast<double>(sum * processes), 1.05 * static_cast<double>(all)) << processes;
      sum_of_all += sum;
      const std::int64_t cells =
          ranks::share_of(granules, r, processes).size() * FullMatrix::kGranule;
      EXPECT_LE(static_cast<double>(cells * processes), 1.05 * 250000.0) << processes;
    }
    EXPECT_EQ(sum_of_all, all);
  }
}

}  // namespace
}  // namespace quorivex::test
