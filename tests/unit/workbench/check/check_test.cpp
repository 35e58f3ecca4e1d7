// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "change_ground.h"
#include "compressed.h"
#include "scratch_folder.h"
#include "survey.h"
#include "workbench/check/findings.h"
#include "workbench/check/matrix_checks.h"
#include "workbench/check/sensitivity_summary.h"

namespace quorivex::test {
namespace {

SensitivityFile matrix() {
  const ScratchFolder folder;
  const Survey survey = make_survey({.ne = 5, .nn = 4, .nz = 3});
  return getpar(folder.write("s.mtx", framed(compressed_records(survey, 4))));
}

std::string printed(const std::function<void()>& step) {
  std::fflush(stdout);
  testing::internal::CaptureStdout();
  step();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

// Errors outweigh warnings whatever their order; notes count for nothing.
TEST(Findings, TheStatusIsThatOfTheWorst) {
  const auto close = [](const std::function<void(Findings&)>& find, int status) {
    return printed([&] {
      Findings findings;
      find(findings);
      EXPECT_EQ(findings.close(), status);
    });
  };
  EXPECT_EQ(close([](auto&) { Findings::note("a\nb"); }, 0), "note: a\n      b\n\nfine\n");
  EXPECT_EQ(close([](auto& f) { f.warning("w"); }, 1), "warning: w\n\n1 warning\n");
  const std::string both = close(
      [](auto& f) {
        EXPECT_FALSE(f.attempt([] { stop_run(" ERROR: first\n second"); }));
        EXPECT_FALSE(f.attempt([] { throw std::bad_alloc(); }));
        EXPECT_TRUE(f.attempt([] {}));
        f.warning("w");
      },
      2);
  EXPECT_EQ(both,
            "error: the run would stop here and say\n       ERROR: first\n        second\n"
            "error: not enough memory\nwarning: w\n\n2 errors, 1 warning\n");
}

TEST(MatrixFaults, EachIsFoundOnceAndAGoodFileHasNone) {
  EXPECT_TRUE(find_matrix_faults(matrix()).empty());
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  const auto expect = [](const std::function<void(SensitivityFile&)>& change,
                         const std::string& text) {
    SensitivityFile file = matrix();
    change(file);
    const std::vector<std::string> faults = find_matrix_faults(file);
    ASSERT_EQ(faults.size(), 1U) << text;
    EXPECT_NE(faults[0].find(text), std::string::npos) << faults[0];
  };
  expect([](auto& f) { f.sens.ndata = 0; }, "there are no data");
  expect([](auto& f) { change_ground(f, [&](Ground& g) { g.tops.tops[0] += 1; }); },
         "the matrix has 35 columns, but 34 cells");
  expect([&](auto& f) { change_ground(f, [&](Ground& g) { g.mesh.de[4] = nan; }); },
         "along easting should be positive: 1 of 5 values");
  expect([](auto& f) { change_ground(f, [&](Ground& g) { g.mesh.dn[0] = 0.0; }); },
         "along northing should be positive: 1 of 4 values");
  expect([](auto& f) { change_ground(f, [&](Ground& g) { g.mesh.dz[2] = -1.0; }); },
         "positive thickness: 1 of 3 values, the first is "
         "number 3, -1");
  expect([&](auto& f) { f.sens.wtz[6] = f.sens.wtz[8] = infinity; },
         "wtz should be positive: 2 of 35 values, the first is number 7, inf");
  expect([](auto& f) { f.sens.gdiag[34] = -1e-9; }, "gdiag should not be negative: 1 of 35");
  expect([](auto& f) { f.sens.filter.low[1] += 1e-3; }, "filter is not orthonormal");
}

TEST(MatrixFaults, FilterDefectIsTheLargestDeviationFromAnOrthonormalFilter) {
  const double root = std::sqrt(0.5);
  EXPECT_NEAR(filter_defect(std::vector{root, root}), 0.0, 1e-15);
  EXPECT_NEAR(filter_defect(std::vector{1.0, 1.0}), 1.0, 1e-15);
  EXPECT_NEAR(filter_defect(std::vector{root, 0.0, 0.5, 0.5}), root * 0.5, 1e-15);  // shift by 2
  EXPECT_EQ(filter_defect(std::vector{1.0}), std::numeric_limits<double>::infinity());
}

TEST(MatrixChecks, AFileOfAnotherKindIsToldFromABrokenOne) {
  const ScratchFolder folder;
  const Survey survey = make_survey({.ne = 2, .nn = 2, .nz = 2});
  const std::string good = framed(sensitivity_records(survey));
  EXPECT_FALSE(is_other_file(folder.write("good.mtx", good)));
  EXPECT_FALSE(is_other_file(folder.write("cut.mtx", good.substr(0, 10))));
  EXPECT_FALSE(is_other_file(folder.write("empty.mtx", "")));
  EXPECT_FALSE(is_other_file(folder.path("none.mtx")));
  EXPECT_TRUE(is_other_file(folder.write("survey.mag", "60 15 50000\n")));
}

// A millimetre is within the rounding of text files, more is another mesh; elevations count, so
// that a mesh that lies higher by one layer differs.
TEST(MatrixChecks, MeshesAreComparedToTheMillimetre) {
  const ScratchFolder folder;
  const std::string file = folder.write("m.txt", "3 2 2\n0 0 100\n3*10\n2*10\n2*5");
  const Mesh mesh = read_mesh_file(file);
  const auto compare = [&](const std::function<void(Mesh&)>& change) {
    Mesh other = mesh;
    change(other);
    return printed([&] {
      Findings findings;
      check_mesh(file, other, findings);
    });
  };
  EXPECT_EQ(compare([](auto& m) { m.z0 += 0.9e-3; }),
            "  mesh                    that of " + file + "\n");
  EXPECT_NE(compare([](auto& m) { m.z0 += 1.1e-3; }).find("differ along elevation"),
            std::string::npos);
  EXPECT_NE(compare([](auto& m) { m.easting_nodes.pop_back(); }).find("differ along easting\n"),
            std::string::npos);
  EXPECT_NE(compare([](auto& m) {
              m.northing_nodes[2] += 1.0, m.depth_nodes[1] += 1.0;
            }).find("differ along northing, elevation"),
            std::string::npos);
}

}  // namespace
}  // namespace quorivex::test
