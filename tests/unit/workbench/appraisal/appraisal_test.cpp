// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "workbench/appraisal/statistics.h"
#include "workbench/appraisal/verdict.h"

namespace quorivex::test {
namespace {

struct Places {
  std::vector<double> x;
  std::vector<double> y;
  std::vector<double> noise;
};

/// Stations every 20 m of `ne` columns and `nn` rows, with independent normal errors.
Places grid(int ne, int nn) {
  std::mt19937 random(7);
  std::normal_distribution<double> normal;
  Places places;
  for (int j = 0; j < nn; ++j) {
    for (int i = 0; i < ne; ++i) {
      places.x.push_back(5000.0 + 20.0 * i);
      places.y.push_back(9000.0 + 20.0 * j);
      places.noise.push_back(normal(random));
    }
  }
  return places;
}

TEST(SpatialCorrelation, TellsAPatternFromNoise) {
  for (const auto& [ne, nn] : {std::pair{40, 30}, std::pair{1200, 1}, std::pair{1, 1200}}) {
    Places places = grid(ne, nn);
    const SpatialCorrelation noise = spatial_correlation(places.x, places.y, places.noise).value();
    EXPECT_LT(std::abs(noise.correlation), 0.1) << ne;
    EXPECT_FALSE(noise.significant) << ne;
    EXPECT_LT(noise.standard_errors, 4.5) << ne;
    std::vector<double> wave = places.noise;
    for (std::size_t i = 0; i < wave.size(); ++i) {
      wave[i] += 2.0 * std::sin((places.x[i] + places.y[i]) / 150.0);
    }
    const SpatialCorrelation pattern = spatial_correlation(places.x, places.y, wave).value();
    EXPECT_GT(pattern.correlation, 0.5) << ne;
    EXPECT_TRUE(pattern.significant) << ne;
  }
}

TEST(SpatialCorrelation, SaysWhereResidualsGather) {
  Places places = grid(40, 30);
  for (std::size_t i = 0; i < places.x.size(); ++i) {
    if (std::hypot(places.x[i] - 5600.0, places.y[i] - 9120.0) < 45.0) places.noise[i] -= 3.5;
  }
  const SpatialCorrelation like = spatial_correlation(places.x, places.y, places.noise).value();
  EXPECT_GT(like.standard_errors, 4.5);
  EXPECT_LT(like.mean, -1.5);
  EXPECT_LT(std::hypot(like.easting - 5600.0, like.northing - 9120.0), 60.0);
  const std::vector<double> one_place(40, 3.0);
  EXPECT_FALSE(spatial_correlation(one_place, one_place, one_place));
}

// Flight lines 400 m apart, oblique to the mesh or not, however dense the data along them.
TEST(TypicalGap, IsAQuarterOfTheDistanceOfLines) {
  const std::vector<double> widths(150, 20.0);
  const Mesh mesh = make_mesh(0.0, 0.0, 0.0, widths, widths, {20.0});
  for (const auto& [ce, cn] : {std::pair{1.0, 0.0}, std::pair{0.0, 1.0}, std::pair{0.8, 0.6}}) {
    std::vector<double> x;
    std::vector<double> y;
    for (int across = -800; across <= 800; across += 400) {
      for (int along = -900; along <= 900; along += 10) {
        x.push_back(1510.0 + along * ce - across * cn);
        y.push_back(1510.0 + along * cn + across * ce);
      }
    }
    EXPECT_NEAR(typical_gap(mesh, x, y), 100.0, 8.0) << ce;
  }
  std::vector<double> line(21);
  std::iota(line.begin(), line.end(), 30.0);
  EXPECT_NEAR(typical_gap(mesh, line, std::vector<double>(21, 7.0)), 0.25, 0.02);
  EXPECT_EQ(typical_gap(mesh, {10.0}, {10.0}), 0.0);
}

TEST(ModelStatistics, FindsEachSideOfTheMesh) {
  const Mesh mesh = make_mesh(0.0, 0.0, 100.0, {10, 20, 30, 40}, {10, 20, 30}, {5, 6, 7});
  const double air = std::nan("");
  for (const auto& [cell, side] :
       {std::pair{0 + 3 * (0 + 4 * 1), 0}, std::pair{0 + 3 * (3 + 4 * 1), 1},
        std::pair{1 + 3 * (1 + 4 * 0), 2}, std::pair{1 + 3 * (2 + 4 * 2), 3},
        std::pair{2 + 3 * (1 + 4 * 1), 4}}) {
    std::vector<double> values(36, 0.01);
    values[6] = air;
    values[as_size(cell)] = 0.03;
    const ModelStatistics found = model_statistics(mesh, values);
    EXPECT_EQ(found.max, 0.03);
    EXPECT_EQ(found.median, 0.01);
    for (int other = 0; other < 5; ++other) {
      EXPECT_EQ(found.edges.at(as_size(other)).departure, other == side ? 1.0 : 0.0)
          << side << other;
    }
  }
}

RunFacts fine() {
  RunFacts f;
  f.ndata = 400;
  f.iteration = f.iterations_made = 7;
  f.misfit = 410.0;
  f.target = 400.0;
  f.active_cells = 1000;
  f.gap = 12.0;
  f.narrowest_cell = 10.0;
  f.residuals.per_datum = 1.025;
  return f;
}

TEST(Verdict, DependsOnTheTargetAndOnFlags) {
  RunFacts f = fine();
  EXPECT_EQ(appraise(f).verdict.mark, "Target reached");
  EXPECT_EQ(appraise(f).verdict.level, Level::good);
  f.at_upper = 1;
  EXPECT_EQ(appraise(f).verdict.level, Level::warning);
  f.at_upper = 0;
  // The run itself accepts 5 % in single precision, which is slightly more.
  f.misfit = 420.0000002;
  EXPECT_EQ(appraise(f).verdict.level, Level::good);
  f.misfit = 420.000001;
  EXPECT_EQ(appraise(f).verdict.level, Level::bad);
  EXPECT_NE(appraise(f).verdict.headline.find("1.05 times the target of 400"), std::string::npos);
  f.target.reset();
  EXPECT_EQ(appraise(f).verdict.mark, "No target");
  f.misfit = std::nan("");
  f.target = 400.0;
  EXPECT_EQ(appraise(f).verdict.level, Level::bad);
}

TEST(Verdict, IsNeverGoodForAnEarlierIterationOrOtherObservations) {
  RunFacts f = fine();
  f.iterations_made = 8;
  for (const std::optional<double> target : {std::optional(400.0), std::optional<double>()}) {
    f.target = target;
    const Verdict earlier = appraise(f).verdict;
    EXPECT_EQ(earlier.level, Level::warning);
    EXPECT_EQ(earlier.mark, "Iteration 7 of 8");
    EXPECT_NE(earlier.headline.find("not the result of the run, which made 8"), std::string::npos);
  }
  f = fine();
  f.mismatched_survey_parts = {"stations"};
  EXPECT_EQ(appraise(f).verdict.level, Level::bad);
}

TEST(Verdict, SaysHowTheRunEnded) {
  const auto first = [](bool ended, const char* ending, double misfit) {
    RunFacts f = fine();
    f.ended = ended;
    f.ending = ending;
    f.misfit = misfit;
    return appraise(f).verdict.sentences.front();
  };
  EXPECT_EQ(first(false, "", 410.0), "The run was interrupted or is still running.");
  EXPECT_EQ(first(false, "The disk is full.", 410.0), "The run stopped early: The disk is full.");
  EXPECT_EQ(first(true, "It will not fall.", 900.0), "The run ended with: It will not fall.");
  EXPECT_EQ(first(true, "Target misfit reached.", 410.0).substr(0, 11), "Chi-squared");
}

TEST(RedFlags, EachHasItsCause) {
  const auto title = [](auto change) {
    RunFacts f = fine();
    change(f);
    const std::vector<RedFlag> flags = appraise(f).flags;
    return flags.size() == 1 ? flags[0].title : fmt::format("{} flags", flags.size());
  };
  EXPECT_EQ(title([](RunFacts& f) { f.at_upper = 1; }), "Susceptibility at the upper bound");
  EXPECT_EQ(title([](RunFacts& f) { f.gap = 12.6; }), "Data coarser than the cells");
  EXPECT_EQ(title([](RunFacts& f) {
              f.model.edges[3] = {"northern", 0.02, 0.3};
            }),
            "Susceptibility at the edge of the mesh");
  EXPECT_EQ(title([](RunFacts& f) { f.residuals.mean = -0.4; }), "Residuals are biased");
  EXPECT_EQ(title([](RunFacts& f) {
              f.residuals.correlation = SpatialCorrelation{.standard_errors = 5.0};
            }),
            "Residuals have a pattern");
  EXPECT_EQ(
      title([](RunFacts& f) { f.residuals.correlation = SpatialCorrelation{.correlation = 0.5}; }),
      "0 flags");
}

}  // namespace
}  // namespace quorivex::test
