// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "workbench/appraisal/statistics.h"
#include "workbench/page/packed_values.h"
#include "workbench/page/page_parts.h"
#include "workbench/page/write_report.h"

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

TEST(NeighbourLikeness, TellsAPatternFromNoise) {
  for (const auto& [ne, nn] : {std::pair{40, 30}, std::pair{1200, 1}, std::pair{1, 1200}}) {
    Places places = grid(ne, nn);
    const SpatialCorrelation noise = neighbour_likeness(places.x, places.y, places.noise).value();
    EXPECT_LT(std::abs(noise.correlation), 0.1) << ne;
    EXPECT_FALSE(noise.significant) << ne;
    EXPECT_LT(noise.standard_errors, 4.5) << ne;
    std::vector<double> wave = places.noise;
    for (std::size_t i = 0; i < wave.size(); ++i) {
      wave[i] += 2.0 * std::sin((places.x[i] + places.y[i]) / 150.0);
    }
    const SpatialCorrelation pattern = neighbour_likeness(places.x, places.y, wave).value();
    EXPECT_GT(pattern.correlation, 0.5) << ne;
    EXPECT_TRUE(pattern.significant) << ne;
  }
}

TEST(NeighbourLikeness, SaysWhereResidualsGather) {
  Places places = grid(40, 30);
  for (std::size_t i = 0; i < places.x.size(); ++i) {
    if (std::hypot(places.x[i] - 5600.0, places.y[i] - 9120.0) < 45.0) places.noise[i] -= 3.5;
  }
  const SpatialCorrelation like = neighbour_likeness(places.x, places.y, places.noise).value();
  EXPECT_GT(like.standard_errors, 4.5);
  EXPECT_LT(like.mean, -1.5);
  EXPECT_LT(std::hypot(like.easting - 5600.0, like.northing - 9120.0), 60.0);
  const std::vector<double> one_place(40, 3.0);
  EXPECT_FALSE(neighbour_likeness(one_place, one_place, one_place));
}

// Flight lines 400 m apart, oblique to the mesh or not, however dense the data along them.
TEST(TypicalGap, IsAQuarterOfTheDistanceOfLines) {
  const std::vector<double> widths(150, 20.0);
  const Mesh mesh = make_mesh(0.0, 0.0, 0.0, widths, widths, {20.0});
  for (const auto& [ce, cn] : {std::pair{1.0, 0.0}, std::pair{0.0, 1.0}, std::pair{0.8, 0.6}}) {
    std::vector<double> x;
    std::vector<double> y;
    for (double across = -800.0; across <= 800.0; across += 400.0) {
      for (double along = -900.0; along <= 900.0; along += 10.0) {
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
    EXPECT_EQ(found.most, 0.03);
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
  EXPECT_TRUE(red_flags(f).empty());
  EXPECT_EQ(verdict(f, 0).level, Level::good);
  EXPECT_EQ(verdict(f, 1).level, Level::warning);
  f.misfit = 419.9;
  EXPECT_EQ(verdict(f, 0).level, Level::good);
  f.misfit = 420.1;
  EXPECT_EQ(verdict(f, 0).level, Level::bad);
  EXPECT_NE(verdict(f, 0).headline.find("1.05 times the target of 400"), std::string::npos);
  f.target.reset();
  EXPECT_EQ(verdict(f, 0).mark, "No target");
  f.misfit = 400.0;
  f.iterations_made = 8;
  for (const std::optional<double> target : {std::optional(400.0), std::optional<double>()}) {
    f.target = target;
    const Verdict earlier = verdict(f, 0);
    EXPECT_EQ(earlier.level, Level::warning);
    EXPECT_EQ(earlier.mark, "Iteration 7 of 8");
    EXPECT_NE(earlier.headline.find("not the result of the run, which made 8"), std::string::npos);
    EXPECT_NE(tiles_html(f).find("7 of 8"), std::string::npos);
  }
  f.mismatched_survey_parts = {"stations"};
  EXPECT_EQ(verdict(f, 0).level, Level::bad);
  f.mismatched_survey_parts.clear();
  f.misfit = std::nan("");
  f.target = 400.0;
  EXPECT_EQ(verdict(f, 0).level, Level::bad);
}

TEST(RedFlags, EachHasItsCause) {
  const auto title = [](auto change) {
    RunFacts f = fine();
    change(f);
    const std::vector<RedFlag> flags = red_flags(f);
    return flags.size() == 1 ? flags[0].title : fmt::format("{} flags", flags.size());
  };
  EXPECT_EQ(title([](RunFacts& f) { f.at_upper = 1; }), "Susceptibility at the upper bound");
  EXPECT_EQ(title([](RunFacts& f) { f.gap = 12.6; }), "Data coarser than the cells");
  EXPECT_EQ(title([](RunFacts& f) {
              f.model.edges[3] = {"northern", 0.02, 0.3};
            }),
            "Susceptibility at the edge of the mesh");
  EXPECT_EQ(title([](RunFacts& f) { f.residuals.mean = -0.4; }), "Residuals are off zero");
  EXPECT_EQ(
      title([](RunFacts& f) { f.residuals.likeness = SpatialCorrelation{.standard_errors = 5.0}; }),
      "Residuals have a pattern");
  EXPECT_EQ(
      title([](RunFacts& f) { f.residuals.likeness = SpatialCorrelation{.correlation = 0.5}; }),
      "0 flags");
}

TEST(PageParts, ValuesCannotBecomePartOfThePage) {
  EXPECT_EQ(escaped(R"(<a href="x">'&)"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;");
  EXPECT_EQ(filled("a {{one}} {{two}}.", {{"one", "{{two}}"}, {"two", "2"}}), "a {{two}} 2.");
  EXPECT_THROW(filled("{{three}}", {}), StopRun);
  EXPECT_EQ(spread_iterations(9, 12).size(), 9U);
  EXPECT_EQ(spread_iterations(9, 3), (std::vector<std::size_t>{0, 4, 8}));
  EXPECT_EQ(spread_iterations(9, 1), (std::vector<std::size_t>{8}));
}

/// Writes the files of iterations of a million cells without a word about their neighbours; only
/// those of the last iteration are all alike and small when packed.
FinishedRun million_cells(const ScratchFolder& folder, int iterations) {
  constexpr std::int32_t kSide = 100;
  const std::vector<double> widths(kSide, 25.0);
  FinishedRun run;
  run.input_file = "million.inp";
  run.parameters.activeCellFile = "null";
  run.parameters.lowerBounds = "VALUE 0";
  run.parameters.upperBounds = "VALUE 1";
  run.ground = share_ground(make_mesh(0.0, 0.0, 0.0, widths, widths, widths),
                            {kSide, kSide, std::vector<std::int32_t>(kSide * kSide, 0)});
  Observations& o = run.observations;
  o.ndata = 1;
  o.x = o.y = o.z = o.obs = o.std = {1.0};
  std::mt19937 random(3);
  std::uniform_real_distribution<double> exponent(-5.0, -1.0);
  std::string text;
  for (std::int32_t cell = 0; cell < kSide * kSide * kSide; ++cell) {
    fmt::format_to(std::back_inserter(text), "{:.5e}\n", std::pow(10.0, exponent(random)));
  }
  const std::string model = folder.write("m.sus", text);
  std::string even;
  for (std::size_t cell = 0; cell < as_size(run.ground->mesh.cells()); ++cell) even += "1e-3\n";
  const std::string last = folder.write("last.sus", even);
  const std::string data = folder.write("m.pre", "0 0 0\n0 0 1\n1\n1 1 1 1.0\n");
  for (int iteration = 1; iteration <= iterations; ++iteration) {
    FinishedIteration of_run{
        .row = {}, .model_file = iteration == iterations ? last : model, .predicted_file = data};
    of_run.row.iteration = iteration;
    run.iterations.push_back(of_run);
  }
  return run;
}

TEST(WriteReport, StaysBelowItsSizeForAMillionCells) {
#ifdef QUORIVEX_SANITIZED
  GTEST_SKIP() << "takes minutes with sanitizers";
#endif
  const ScratchFolder folder;
  FinishedRun run = million_cells(folder, 5);
  const ReportWritten several = write_report(run, 12, folder.path("page.html"));
  EXPECT_LT(folder.read("page.html").size(), kMaxBytes);
  EXPECT_GT(several.bytes, kMaxBytes / 2);
  EXPECT_EQ(several.digits_last, kFileDigits);
  EXPECT_EQ(several.iterations.back(), 5);
  run.iterations.pop_back();
  const ReportWritten alone = write_report(run, 1, folder.path("page.html"));
  EXPECT_LT(folder.read("page.html").size(), kMaxBytes);
  EXPECT_EQ(alone.digits_last, kFileDigits);
}

}  // namespace
}  // namespace quorivex::test
