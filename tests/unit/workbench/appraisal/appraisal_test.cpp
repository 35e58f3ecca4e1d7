// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "workbench/appraisal/fit_rules.h"
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

// With 450 data three deviations are the floor of 0.2; fewer data leave more room.
TEST(FitRules, ChiSquaredMayScatterAsManyDataAllow) {
  struct Case {
    std::int32_t ndata;
    double per_datum;
    ChiSquared judged;
  };
  const double nan = std::nan("");
  for (const auto& [ndata, per_datum, judged] :
       {Case{2121, 0.692, ChiSquared::low}, Case{2121, 0.799, ChiSquared::low},
        Case{2121, 0.801, ChiSquared::expected}, Case{450, 0.801, ChiSquared::expected},
        Case{450, 1.199, ChiSquared::expected}, Case{450, 1.201, ChiSquared::high},
        Case{200, 0.701, ChiSquared::expected}, Case{200, 0.699, ChiSquared::low},
        Case{200, 1.299, ChiSquared::expected}, Case{200, 1.301, ChiSquared::high},
        Case{200, 1.999, ChiSquared::high}, Case{200, 2.0, ChiSquared::far_off},
        Case{10, 0.0, ChiSquared::expected}, Case{10, 2.3, ChiSquared::expected},
        Case{10, 2.4, ChiSquared::far_off}, Case{0, 1.0, ChiSquared::expected},
        Case{200, nan, ChiSquared::far_off}}) {
    EXPECT_EQ(judge_chi_squared(per_datum, ndata), judged) << ndata << " " << per_datum;
  }
}

// A trade-off curve with misfit = 60 beta, so that d norm = -d misfit / beta = -60 d log(misfit).
TEST(FitRules, BetaForTheTargetIsTheSlopeOfTheTradeOffCurve) {
  const auto row = [](double beta, double misfit, double norm) {
    return SummaryRow{.beta = beta, .misfit = misfit, .norm = {.total = norm}};
  };
  const auto on_curve = [&](double beta) {
    return row(beta, 60.0 * beta, 500.0 - 60.0 * std::log(60.0 * beta));
  };
  for (const double target : {301.0, 400.0, 599.0}) {
    EXPECT_NEAR(beta_for_target(on_curve(10.0), on_curve(5.0), target).value(), target / 60.0,
                1e-9);
  }
  // The iteration before lags behind its beta: the value stays between the two.
  SummaryRow lagging = on_curve(10.0);
  lagging.beta = 6.0;
  EXPECT_EQ(beta_for_target(lagging, on_curve(5.0), 480.0), 6.0);
  lagging.beta = 9.0;
  EXPECT_NEAR(beta_for_target(lagging, on_curve(5.0), 480.0).value(), 8.0, 1e-9);
  EXPECT_FALSE(beta_for_target(on_curve(10.0), on_curve(5.0), 300.0));
  EXPECT_FALSE(beta_for_target(on_curve(10.0), on_curve(5.0), 600.0));
  EXPECT_FALSE(beta_for_target(row(10.0, 600.0, 9.0), row(5.0, 300.0, 9.0), 400.0));
  EXPECT_FALSE(beta_for_target(row(10.0, 600.0, 9.0), row(5.0, 0.0, 10.0), 400.0));
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

TEST(Verdict, ARunFarBelowItsTargetSaysSoAndWhatToDo) {
  RunFacts f = fine();
  f.misfit = 320.0;
  f.residuals.per_datum = 0.8;
  EXPECT_EQ(appraise(f).verdict.mark, "Target reached");
  f.misfit = 72.0;
  f.residuals.per_datum = 0.18;
  f.beta = 3.6;
  const auto appraised = [&] {
    const Appraisal appraisal = appraise(f);
    EXPECT_EQ(appraisal.verdict.level, Level::warning);
    EXPECT_NE(appraisal.verdict.headline.find("closer than was asked: misfit 72, 0.18 of the"),
              std::string::npos);
    EXPECT_EQ(appraisal.flags.size(), 1U);
    return appraisal.flags.front().text;
  };
  const auto expect = [&](const char* text) {
    EXPECT_NE(appraised().find(text), std::string::npos) << appraised();
  };
  expect("was asked for, and fits noise.");
  expect("Run mode 2 with a beta above 3.6");
  f.before = SummaryRow{.iteration = 6, .beta = 7.7, .misfit = 480.0, .norm = {.total = 100.0}};
  expect("(quorivex_006.sus, 1.20 of the target), or run mode 2 with a beta between those");
  f.norm.total = 200.0;  // 400 log(480 / 72) / 100
  expect("mode 2 with a beta of about 7.6");
  f.misfit = 300.0;  // nearer to the target than the iteration before
  f.before->misfit = 600.0;
  EXPECT_EQ(appraise(f).flags[0].text.find("Take the iteration before"), std::string::npos);
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
  const auto fit = [&](double per_datum, std::optional<double> target) {
    return title([&](RunFacts& f) {
      f.residuals.per_datum = per_datum;
      f.misfit = 400.0 * per_datum;
      f.target = target;
    });
  };
  EXPECT_EQ(fit(0.7, std::nullopt), "Fits noise");
  EXPECT_EQ(fit(0.5, 200.0), "Fits noise");                 // chifact 0.5, reached
  EXPECT_EQ(fit(0.5, 400.0), "Closer than was asked");      // not both
  EXPECT_EQ(fit(1.5, 800.0), "Closer than was asked");      // chifact 2
  EXPECT_EQ(fit(2.0, 800.0), "Far from fitting the data");  // chifact 2, reached
  EXPECT_EQ(fit(68.0, std::nullopt), "Far from fitting the data");
  EXPECT_EQ(fit(68.0, 400.0), "0 flags");  // the verdict says so
  EXPECT_EQ(fit(1.9, std::nullopt), "0 flags");
  EXPECT_EQ(title([](RunFacts& f) { f.warnings = {"2 stations lie below."}; }),
            "Stations or terrain");
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
