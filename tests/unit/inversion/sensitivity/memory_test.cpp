// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/memory.h"

#include <gtest/gtest.h>

#include <limits>

#include "compressed.h"
#include "scratch_folder.h"
#include "survey.h"

namespace quorivex::test {
namespace {

SensitivityFile read(const std::vector<std::string>& records) {
  const ScratchFolder folder;
  return getpar(folder.write("s.mtx", framed(records)));
}

template <class Items>
double bytes(const Items& items) {
  return static_cast<double>(items.size()) * sizeof(*items.data());
}

// An estimate from counts that is not what the matrix holds once it is read: blocks chosen
// otherwise, bytes of the file instead of those in memory, cells of the mesh instead of the ground.
TEST(Memory, OfAMatrixIsThatOfItsArrays) {
  const Survey survey = make_survey({.ne = 9, .nn = 8, .nz = 7});
  const SensitivityFile compressed = read(compressed_records(survey, 4, 1e-3));
  double held = 0.0;
  for (const SparsePanel& panel : compressed.sens.Gs.panels())
    held += bytes(panel.positions) + bytes(panel.values) + bytes(panel.pieces);
  const MatrixCounts counts = counts_of(compressed);
  // Besides the places behind the last coefficients; a row need not have some in every block.
  held -= 6.0 * SparseCell::kReadBeyond * static_cast<double>(compressed.sens.Gs.panels().size());
  EXPECT_LE(held, matrix_bytes(counts));
  EXPECT_GE(held, 0.99 * matrix_bytes(counts));
  EXPECT_EQ(full_bytes(counts), 4.0 * survey.ndata() * survey.nsens());
  EXPECT_EQ(counts.mesh_cells, 9 * 8 * 7);
  EXPECT_EQ(counts.grid_points, 16 * 8 * 8);

  const SensitivityFile full = read(sensitivity_records(survey));
  EXPECT_EQ(matrix_bytes(counts_of(full)), bytes(full.sens.Gfull.values));
}

// Runs measured with /usr/bin/time: the figure is the largest resident set in bytes.
TEST(Memory, OfARunAgreesWithMeasuredRuns) {
  const auto expect_near = [](const MatrixCounts& counts, double measured) {
    EXPECT_NEAR(inversion_bytes(counts), measured, 0.1 * measured);
  };
  const auto compressed = [](std::int64_t ndata, std::int64_t nsens, std::int64_t coefficients,
                             std::int64_t mesh_cells, std::int64_t points) {
    return MatrixCounts{ndata, nsens, coefficients, true, mesh_cells, points};
  };
  expect_near(compressed(16, 512, 2'169, 512, 512), 4.9e6);
  expect_near(compressed(861, 49'432, 10'064'888, 70'000, 131'072), 79.0e6);
  expect_near(compressed(256, 131'072, 861'821, 131'072, 131'072), 35.9e6);
  expect_near(compressed(256, 65'536, 600'488, 131'072, 131'072), 22.4e6);
  expect_near(compressed(576, 524'288, 2'889'071, 524'288, 524'288), 126.4e6);
  expect_near({256, 65'536, 0, false, 65'536, 0}, 84.2e6);
}

TEST(Memory, CountsOfAnySizeGiveAPositiveNumber) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  EXPECT_GT(inversion_bytes({kMax, kMax, kMax * 1000, true, kMax, kMax}), 1e13);
  EXPECT_GT(inversion_bytes({kMax, kMax, 0, false, kMax, 0}), 1e19);
  EXPECT_GT(inversion_bytes({0, 0, 0, true, 0, 1}), 0.0);
}

}  // namespace
}  // namespace quorivex::test
