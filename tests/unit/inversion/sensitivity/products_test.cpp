// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <omp.h>

#include <limits>
#include <numeric>
#include <tuple>

#include "inversion/sensitivity/exact_sums.h"
#include "inversion/sensitivity/full_sens_mod.h"
#include "inversion/sensitivity/getpar.h"
#include "inversion/sensitivity/sparse_sens_mod.h"
#include "plain_products.h"
#include "scratch_folder.h"
#include "survey.h"

namespace quorivex::test {
namespace {

constexpr double kPoison = std::numeric_limits<double>::quiet_NaN();

// A cell lost or doubled at the edge of a block, a row lost after the last four, a float sum.
// All numbers are eighths, some with a tail of 2^-30 that a float would lose: every sum is exact.
TEST(FullSens, ProductsEqualThePlainLoopsForEveryBlockingAndThreadCount) {
  for (const auto& [nsens, ndata] : {std::pair{1, 1},
                                     {127, 5},
                                     {16383, 3},
                                     {16384, 4},
                                     {16401, 6},
                                     {33003, 9},
                                     {300, 261},
                                     {16401, 261}}) {
    SensitivityState sens;
    sens.nsens = nsens;
    sens.ndata = ndata;
    sens.Gfull = {nsens, UninitializedArray<float>(std::int64_t{nsens} * ndata, "test")};
    std::vector<double> x(as_size(nsens));
    std::vector<double> t(as_size(ndata));
    std::vector<double> d(as_size(ndata));
    std::vector<double> back(as_size(nsens));
    for (std::vector<double>* values : {&x, &t}) {
      for (int at = 0; double& value : *values) value = (at++ % 23 - 11) / 8.0 + 0x1p-30;
    }
    float* g = sens.Gfull.values.data();
    int number = 0;
    for (std::size_t at = 0; at < t.size() * x.size(); ++at) {
      number = (number * 37 + 11) % 1009;
      g[at] = static_cast<float>(number - 500) / 8.0F;
    }
    sens.norms = row_norms(sens.Gfull, ndata);
    plain_full_gv(sens.Gfull, x, d);
    plain_full_gtv(sens.Gfull, t, back);
    for (const int threads : {1, 2, 5}) {
      omp_set_num_threads(threads);
      std::vector<double> got_d(d.size(), kPoison);
      std::vector<double> got_back(back.size(), kPoison);
      FULL_SENS_MOD::CALC_FULL_GV(sens, x, got_d);
      FULL_SENS_MOD::CALC_FULL_GTV(sens, t, got_back);
      EXPECT_EQ(got_d, d) << nsens << " cells, " << threads << " threads";
      EXPECT_EQ(got_back, back) << nsens << " cells, " << threads << " threads";
    }
    // Sums that are rounded have one order for every number of threads.
    for (double& value : x) value += 0.1;
    for (double& value : t) value += 0.1;
    for (const int threads : {1, 2, 5}) {
      omp_set_num_threads(threads);
      std::vector<double> got_d(d.size());
      std::vector<double> got_back(back.size());
      FULL_SENS_MOD::CALC_FULL_GV(sens, x, got_d);
      FULL_SENS_MOD::CALC_FULL_GTV(sens, t, got_back);
      if (threads == 1) std::tie(d, back) = std::tie(got_d, got_back);
      EXPECT_TRUE(got_d == d && got_back == back) << nsens << " cells, " << threads << " threads";
    }
  }
}

/// Reads a file of three rows on a grid of 4 x 3 x 2 points, with an uneven mesh.
SensitivityFile read_compressed_file(const Survey& survey) {
  const ScratchFolder folder;
  const std::string file = framed(
      {record(3, survey.nsens(), 2, 3, 3),
       record(200.0, 220.0, 250.0,
              std::vector{100.0, 125.0, 175.0, 180.0, 4.0, 5.0, 7.0, 10.0, 300.0}),
       record(survey.tops.tops), record(2, 0.5, 0.25), record(2, 3, 4), record(1, survey.wtz),
       record(2, 16, 3, 1.5F, -2.5F), record(0), record(1, 7, 4.0F, 99, 99),  // longer than needed
       record(survey.gdiag)});
  return getpar(folder.write("sens.mtx", file));
}

// A mesh record or column tops read easting first, depths summed up.
TEST(Getpar, ReadsAnUnevenMesh) {
  const Survey survey = make_survey({.ne = 3, .nn = 2, .nz = 3});
  const SensitivityFile read = read_compressed_file(survey);
  EXPECT_EQ(read.ground->tops.tops, survey.tops.tops);
  EXPECT_EQ(read.ground->tops(1, 2), survey.tops(1, 2));
  EXPECT_EQ(read.ground->mesh.northing_nodes, (std::vector{200.0, 220.0, 250.0}));
  EXPECT_EQ(read.ground->mesh.de, (std::vector{25.0, 50.0, 5.0}));
  EXPECT_EQ(read.ground->mesh.depth_nodes, (std::vector{4.0, 5.0, 7.0, 10.0}));
  EXPECT_EQ(read.ground->mesh.z0, 300.0);
}

// Scale and diagonal exchanged; the counts of the grid in the order of the file.
TEST(Getpar, ReadsWhatBelongsToTheMatrix) {
  const Survey survey = make_survey({.ne = 3, .nn = 2, .nz = 3});
  const SensitivityState sens = read_compressed_file(survey).sens;
  EXPECT_EQ(sens.wtz, survey.wtz);
  EXPECT_EQ(sens.gdiag, survey.gdiag);
  EXPECT_EQ(sens.filter.low, (std::vector{0.5, 0.25}));
  EXPECT_EQ(sens.nwav, 24);
  EXPECT_EQ(sens.grid_counts(), (std::array{4, 3, 2}));
}

// Positions and values swapped, rows shifted by an empty one.
TEST(Getpar, ReadsCompressedRows) {
  const SensitivityState sens = read_compressed_file(make_survey({.ne = 3, .nn = 2, .nz = 3})).sens;
  EXPECT_EQ(sens.Gs.row_statistics()[0].entries, 2);
  EXPECT_EQ(sens.Gs.row_statistics()[1].entries, 0);
  std::vector<double> grid(24);
  SPARSE_SENS_MOD::CALC_GTV(sens, std::vector{1.0, 10.0, 100.0}, grid);
  std::vector<double> expected(24);
  expected[2] = -2.5;
  expected[6] = 400.0;
  expected[15] = 1.5;
  EXPECT_EQ(grid, expected);
}

TEST(Getpar, TheFilterLengthTellsTheForm) {
  const Survey survey = make_survey({.ne = 3, .nn = 2, .nz = 3});
  EXPECT_TRUE(read_compressed_file(survey).sens.compressed);
  const ScratchFolder folder;
  std::vector<std::string> full = sensitivity_records(survey);
  full[3] = record(-1);
  EXPECT_FALSE(getpar(folder.write("full.mtx", framed(full))).sens.compressed);
}

// A row that is longer than the batches in which rows are read.
TEST(Getpar, ReadsRowsOfVeryDifferentLengths) {
  const Survey survey = make_survey({.ne = 2, .nn = 2, .nz = 3});
  std::vector<std::string> records = sensitivity_records(survey);
  const std::vector<std::int32_t> lengths{3, 100000, 0, 131072};
  records[3] = record(2, 0.5, 0.25);
  records[4] = record(2, 2, 32768);
  std::vector<double> expected(131072);
  for (std::size_t row = 0; row < lengths.size(); ++row) {
    std::vector<std::int32_t> positions(as_size(lengths[row]));
    std::iota(positions.begin(), positions.end(), 131073 - lengths[row]);
    const auto value = static_cast<float>(row + 1);
    for (const std::int32_t p : positions) expected[as_size(p - 1)] += value;
    records[6 + row] = record(lengths[row], positions, std::vector<float>(positions.size(), value));
  }
  const ScratchFolder folder;
  const auto read = getpar(folder.write("sens.mtx", framed(records)));
  std::vector<double> grid(expected.size());
  SPARSE_SENS_MOD::CALC_GTV(read.sens, std::vector<double>(4, 1.0), grid);
  EXPECT_TRUE(grid == expected);
  std::vector<double> sums(4);
  SPARSE_SENS_MOD::CALC_GV(read.sens, std::vector<double>(grid.size(), 1.0), sums);
  EXPECT_EQ(sums, (std::vector{3.0, 200000.0, 0.0, 524288.0}));
}

}  // namespace
}  // namespace quorivex::test
