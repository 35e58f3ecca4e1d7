// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "workbench/page/packed_values.h"
#include "workbench/page/page_frame.h"
#include "workbench/page/page_parts.h"
#include "workbench/page/write_models_page.h"
#include "workbench/page/write_report.h"

namespace quorivex::test {
namespace {

TEST(PageParts, ValuesCannotBecomePartOfThePage) {
  EXPECT_EQ(fill_template("a {{one}} {{two}}.", {{"one", "{{two}}"}, {"two", "2"}}),
            "a {{two}} 2.");
  EXPECT_THROW(fill_template("{{three}}", {}), StopRun);
  EXPECT_THROW(fill_template("{{one", {{"one", "1"}}), StopRun);
  const Verdict verdict{
      .level = Level::bad, .mark = "<b>", .headline = "a & b", .sentences = {"\"c\""}};
  const std::string html = verdict_html(verdict);
  for (const char* text : {"verdict bad", "&lt;b&gt;", "a &amp; b", "&quot;c&quot;"}) {
    EXPECT_NE(html.find(text), std::string::npos) << html;
  }
}

TEST(PageParts, DatesAreUnambiguous) {
  EXPECT_EQ(iso_date("11/21/2026  09:08:07"), "2026-11-21 09:08:07");
  for (const char* other : {"", "11/", "2026-11-21 09:08:07", "21 November"}) {
    EXPECT_EQ(iso_date(other), other);
  }
}

TEST(PageParts, TilesTellTheLastIterationFromTheRuns) {
  RunFacts facts;
  facts.iteration = 7;
  facts.iterations_made = 8;
  EXPECT_NE(tiles_html(facts).find("7 of 8"), std::string::npos);
  facts.iterations_made = 7;
  EXPECT_EQ(tiles_html(facts).find("7 of"), std::string::npos);
}

TEST(SpreadIterations, HoldsTheFirstAndTheLast) {
  EXPECT_EQ(spread_iterations(9, 12).size(), 9U);
  EXPECT_EQ(spread_iterations(9, 3), (std::vector<std::size_t>{0, 4, 8}));
  EXPECT_EQ(spread_iterations(9, 1), (std::vector<std::size_t>{8}));
}

/// Writes the files of iterations of a million cells whose values have nothing in common; only
/// those of the last iteration are all equal and small when packed.
FinishedRun million_cells(const ScratchFolder& folder, int iterations) {
  constexpr std::int32_t kSide = 100;
  const std::vector<double> widths(kSide, 25.0);
  FinishedRun run;
  run.input_file = "million.inp";
  run.parameters.activeCellFile = "null";
  run.parameters.lowerBounds = "VALUE 0";
  run.parameters.upperBounds = "VALUE 1";
  run.ground = share_ground(make_mesh(0.0, 0.0, 0.0, widths, widths, widths),
                            {kSide, kSide, std::vector<std::int32_t>(as_size(kSide) * kSide, 0)});
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
  EXPECT_EQ(several.digits_last, kModelDigits);
  EXPECT_EQ(several.iterations.back(), 5);
  run.iterations.pop_back();
  const ReportWritten alone = write_report(run, 1, folder.path("page.html"));
  EXPECT_LT(folder.read("page.html").size(), kMaxBytes);
  EXPECT_EQ(alone.digits_last, kModelDigits);
}

TEST(WriteModelsPage, TakesDigitsFromTheModelsThatNeedMostRoom) {
#ifdef QUORIVEX_SANITIZED
  GTEST_SKIP() << "takes minutes with sanitizers";
#endif
  const ScratchFolder folder;
  const std::vector<double> widths(100, 25.0);
  ModelsPage page;
  page.ground = share_ground(make_mesh(0.0, 0.0, 0.0, widths, widths, widths),
                             {100, 100, std::vector<std::int32_t>(10'000, 0)});
  std::mt19937 random(3);
  std::uniform_real_distribution<double> exponent(-5.0, -1.0);
  for (const char* name : {"first", "even", "second"}) {
    page.models.push_back({name, "SI", std::vector<double>(1'000'000, 0.0123456)});
    if (page.models.size() == 2) continue;
    for (double& value : page.models.back().values) value = std::pow(10.0, exponent(random));
  }
  const ModelsPageWritten written = write_models_page(page, folder.path("page.html"));
  EXPECT_LT(folder.read("page.html").size(), kMaxBytes);
  EXPECT_GT(written.bytes, kMaxBytes / 2);
  EXPECT_EQ(written.digits[1], kModelDigits);
  EXPECT_LT(written.digits[0], kModelDigits);
  EXPECT_LE(std::abs(written.digits[0] - written.digits[2]), 1);
}

}  // namespace
}  // namespace quorivex::test
