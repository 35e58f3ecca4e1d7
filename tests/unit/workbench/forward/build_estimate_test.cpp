// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/forward/build_estimate.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <filesystem>

#include "base/stop_run.h"
#include "inversion/sensitivity/wavelet_filters.h"
#include "prism_mesh.h"
#include "scratch_folder.h"
#include "workbench/forward/write_sensitivity_file.h"

namespace quorivex::test {
namespace {

const Ground& low_ground() {
  static const Ground made = [] {
    Ground flat = ground_of({0, 20, 40, 60, 80, 100}, {0, 20, 40, 60, 80, 100, 120},
                            {0, -10, -20, -40, -80}, 1);
    flat.tops.tops[8] = 2;
    return make_ground(flat.mesh, flat.tops);
  }();
  return made;
}

Observations stations(std::int32_t count) {
  Observations survey = field(60, 10, 52000, 60, 10);
  for (std::int32_t i = 0; i < count; ++i) {
    survey.x.push_back(3 + 17 * (i % 6));
    survey.y.push_back(5 + 1.3 * i);
    survey.z.push_back(20 + i % 3);
    survey.std.push_back(2.0);
    survey.obs.push_back(i);
  }
  survey.ndata = count;
  return survey;
}

BuildOptions options(const std::string& wavelet) {
  BuildOptions build;
  if (wavelet != "none") build.low_pass = low_pass_filter(wavelet);
  return build;
}

constexpr ScaleRule kScale{.offset = 5.0};

BuildSummary write(const ScratchFolder& folder, const Observations& survey,
                   const BuildOptions& build) {
  return write_sensitivity_file(folder.path("s.mtx"), low_ground(), survey, kScale, build,
                                {{"mesh_file", "m.txt"}});
}

// Bytes around the rows left out or taken twice, a share of data taken for that of rows.
TEST(BuildEstimate, OfASampleScalesToTheWholeFile) {
  omp_set_num_threads(2);
  for (const std::string wavelet : {"none", "haar"}) {
    for (const std::int32_t ndata : {20, 90}) {  // the sample holds all rows, and 32 of them
      const ScratchFolder folder;
      const BuildOptions build = options(wavelet);
      const BuildEstimate estimate = estimate_build(low_ground(), stations(ndata), kScale, build);
      const BuildSummary written = write(folder, stations(ndata), build);
      const auto bytes = static_cast<double>(std::filesystem::file_size(folder.path("s.mtx")));
      EXPECT_EQ(static_cast<double>(written.bytes), bytes);
      EXPECT_EQ(estimate.sampled_rows, std::min(ndata, 32));
      const bool exact = ndata == 20 || wavelet == "none";
      EXPECT_NEAR(estimate.file_bytes, bytes, exact ? 1e-6 : 0.02 * bytes) << wavelet << ndata;
      const MatrixCounts counts = counts_of_build(low_ground(), ndata, build, written.coefficients);
      EXPECT_NEAR(inversion_bytes(estimate.counts), inversion_bytes(counts),
                  exact ? 0.0 : 0.02 * matrix_bytes(counts));
    }
  }
}

// A tenth of the deviations forgotten, an error that is safe but not the largest.
TEST(BuildEstimate, AdvisesTheLargestRowErrorThatTheDeviationsAllow) {
  const Observations survey = stations(20);
  const std::vector<double> wtz = cell_scale(low_ground(), survey, kScale);
  BuildOptions build = options("haar");
  const auto is_small = [&](double error) {
    build.rule.value = error;
    const BuildSummary made = build_sensitivity(low_ground(), survey, wtz, build, [](auto) {});
    return std::all_of(made.prediction_errors.begin(), made.prediction_errors.end(),
                       [](const PredictionError& of) { return of.rms < 0.1 * 2.0; });
  };
  const std::optional<double> error = advised_row_error(low_ground(), survey, kScale, build);
  ASSERT_TRUE(error.has_value());
  EXPECT_TRUE(is_small(*error));
  EXPECT_FALSE(is_small(2.0 * *error));  // beyond the next larger one
  Observations exact = survey;
  exact.std.assign(20, 1e-20);
  EXPECT_FALSE(advised_row_error(low_ground(), exact, kScale, build).has_value());
}

TEST(BuildEstimate, TheSampleIsSpreadOverAllData) {
  Observations survey = stations(90);
  survey.idir = 0;
  survey.datum_aincl = survey.y;
  survey.datum_adecl = survey.x;
  const Observations sample = evenly_sampled(survey, 4);
  EXPECT_EQ(sample.ndata, 4);
  EXPECT_EQ(sample.obs, (std::vector<double>{0, 22, 45, 67}));
  EXPECT_EQ(sample.datum_aincl, sample.y);
  EXPECT_EQ(sample.datum_adecl, sample.x);
  EXPECT_EQ(evenly_sampled(survey, 90).obs, survey.obs);
}

// The sidecar of what the file held before, still there when a build is interrupted between the
// two; through a link, one at each place.
TEST(WriteSensitivityFile, LeavesTheSidecarOfThisFileAlone) {
  const ScratchFolder folder;
  std::filesystem::create_directory(folder.path("store"));
  folder.write("store/real.mtx", "old");
  folder.write("store/real.mtx.info", "old");
  folder.write("s.mtx.info", "old");
  std::filesystem::create_symlink("store/real.mtx", folder.path("s.mtx"));
  const BuildSummary written = write(folder, stations(12), options("haar"));
  EXPECT_FALSE(folder.has("s.mtx.info"));
  EXPECT_TRUE(std::filesystem::is_symlink(folder.path("s.mtx")));
  const std::optional<Sidecar> sidecar = read_sidecar(folder.path("s.mtx"));
  ASSERT_TRUE(sidecar.has_value());
  EXPECT_EQ(sidecar->bytes, written.bytes);
  EXPECT_EQ(sidecar->info_lines.back().name, "mesh_file");
  EXPECT_TRUE(differing_parts(*sidecar, survey_parts(stations(12))).empty());
  EXPECT_EQ(differing_parts(*sidecar, survey_parts(stations(13))).size(), 3U);
}

// A build that fails must not take the earlier file, or its sidecar, with it.
TEST(WriteSensitivityFile, ThatFailsLeavesTheEarlierFiles) {
  const ScratchFolder folder;
  folder.write("s.mtx", "old");
  folder.write("s.mtx.info", "old");
  Observations survey = stations(12);
  survey.std[11] = 1e-300;
  EXPECT_THROW(write(folder, survey, options("none")), StopRun);
  EXPECT_EQ(folder.read("s.mtx"), "old");
  EXPECT_EQ(folder.read("s.mtx.info"), "old");
  EXPECT_FALSE(folder.has_leftovers());
}

}  // namespace
}  // namespace quorivex::test
