// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <algorithm>

#include "inversion/mesh_io/mesh.h"
#include "inversion/mesh_io/observations.h"
#include "run_program.h"
#include "run_qvx.h"

namespace quorivex::test {
namespace {

constexpr const char* kSlopeMesh =
    "14 14 8\n-100 -100 50\n100 12*25 100\n100 12*25 100\n2*10 4*20 2*50\n";
constexpr const char* kField = "60 15 50000\n60 15 1\n";

/// Stations over a slope from 20 to 35 m, 15 m above it. `tail` follows the position.
std::string stations(const std::string& tail) {
  std::string text = fmt::format("{}144\n", kField);
  for (int i = 0; i < 144; ++i) {
    const int east = 13 + 25 * (i % 12);
    text += fmt::format("{} {} {}{}\n", east, 10 + 25 * (i / 12), 35 + east * 0.05, tail);
  }
  return text;
}

/// A folder with a small survey over a block in the cells 7 to 9 by 6 to 8, layers 4 and 5.
class SurveyFolder : public ScratchFolder {
 public:
  SurveyFolder() {
    write("mesh.txt", kSlopeMesh);
    write("terrain.txt", "! slope\n4\n-500 -500 -5\n-500 800 -5\n800 -500 60\n800 800 60\n");
    write("stations.txt", stations(""));
    std::string model;
    for (int j = 1; j <= 14; ++j) {
      for (int i = 1; i <= 14; ++i) {
        const bool block = i >= 7 && i <= 9 && j >= 6 && j <= 8;
        model += block ? "-100 2*0 2*0.1 3*0\n" : "-100 7*0\n";
      }
    }
    write("true.txt", model);
  }

  QvxRun qvx(const std::string& arguments) const { return run_qvx(*this, arguments); }
};

constexpr const char* kGround = "--mesh mesh.txt --topography terrain.txt";

// A step of the way that does not fit the next one: noise and deviations, scale, signs, cell order.
TEST(SurveyToModel, TheWholeWayFindsTheBlockAndReachesTheTarget) {
  const SurveyFolder folder;
  const std::string ground = kGround;
  const std::string forward = "forward " + ground + " --data stations.txt --model true.txt ";
  ASSERT_EQ(
      folder.qvx(forward + "--noise-floor 1 --noise-percent 2 --seed 3 --output noisy.mag").status,
      0);
  ASSERT_EQ(folder.qvx(forward + "--output exact.mag").status, 0);
  const QvxRun built =
      folder.qvx("sensitivity " + ground + " --data noisy.mag --output s.mtx --error 0.005");
  ASSERT_EQ(built.status, 0) << built.err;
  EXPECT_NE(built.out.find("144 data x"), std::string::npos) << built.out;

  const Observations noisy = read_data_file(folder.path("noisy.mag"), DataColumns::values);
  EXPECT_TRUE(read_data_file(folder.path("exact.mag"), DataColumns::as_found).std.empty());
  const auto exact_lines = folder.read("exact.mag");
  ASSERT_EQ(
      folder.qvx("forward --matrix s.mtx --data noisy.mag --model true.txt --output m.mag").status,
      0);
  double misfit = 0.0;
  double largest = 0.0;
  std::istringstream exact(exact_lines.substr(exact_lines.find("# of data\n") + 10));
  const std::string from_matrix_text = folder.read("m.mag");
  std::istringstream from_matrix(
      from_matrix_text.substr(from_matrix_text.find("# of data\n") + 10));
  for (std::size_t i = 0; i < noisy.obs.size(); ++i) {
    double skip = 0.0;
    double value = 0.0;
    double approximate = 0.0;
    exact >> skip >> skip >> skip >> value;
    from_matrix >> skip >> skip >> skip >> approximate;
    EXPECT_NEAR(approximate, value, 1.0) << "datum " << i + 1;
    misfit += std::pow(noisy.obs[i] - value / noisy.std[i], 2);
    largest = std::max(largest, std::abs(value));
  }
  EXPECT_NEAR(misfit / 144.0, 1.0, 0.3);
  EXPECT_GT(largest, 50.0);

  folder.write("run.inp",
               "1\n1.0 0.02\nnoisy.mag\ns.mtx\nVALUE 0.001\nVALUE 0\nnull\nVALUE 0\nVALUE 1\nnull\n"
               "SMOOTH_MOD\nnull\n");
  const std::string console = run_program(folder, "run.inp 1");
  ASSERT_NE(console.find("Target misfit reached."), std::string::npos) << console;
  int iteration = 1;
  while (folder.has(fmt::format("quorivex_{:03}.sus", iteration + 1))) ++iteration;
  std::istringstream text(folder.read(fmt::format("quorivex_{:03}.sus", iteration)));
  const std::vector<double> model{std::istream_iterator<double>(text), {}};
  ASSERT_EQ(model.size(), 14U * 14U * 8U);
  const auto at = std::max_element(model.begin(), model.end()) - model.begin();
  EXPECT_GT(model[static_cast<std::size_t>(at)], 0.02);
  EXPECT_NEAR(static_cast<double>(at % 8), 3.5, 1.5);
  EXPECT_NEAR(static_cast<double>(at / 8 % 14), 7, 1);
  EXPECT_NEAR(static_cast<double>(at / (8 * 14)), 6, 1);
}

TEST(SurveyToModel, PlanWritesNothingAndTellsTheSize) {
  const SurveyFolder folder;
  folder.write("obs.mag", stations(" 5.0 1.0"));
  const std::string command =
      std::string("sensitivity ") + kGround + " --data obs.mag --wavelet none";
  const QvxRun plan = folder.qvx(command + " --plan --output s.mtx");
  EXPECT_EQ(plan.status, 0) << plan.err;
  EXPECT_FALSE(folder.has("s.mtx"));
  const QvxRun built = folder.qvx(command + " --output s.mtx");
  const auto size = [](const std::string& text) {
    const std::size_t at = text.find("  size");
    return text.substr(at, text.find('\n', at) - at);
  };
  EXPECT_EQ(size(plan.out), size(built.out));
}

TEST(SurveyToModel, WarnsAndHintsWhereDataCanHardlyBeMeant) {
  const SurveyFolder folder;
  std::string odd = fmt::format(
      "60 15 5e-5\n60 15 1\n3\n100 100 -20 1e-8 1e-9\n5000 0 90 1e-8 1e-9\n"
      "0 0 10 2e-8 1e-9\n");
  folder.write("obs.mag", odd);
  const QvxRun run =
      folder.qvx("sensitivity --mesh mesh.txt --elevation 30 --data obs.mag --output s.mtx");
  EXPECT_EQ(run.status, 0) << run.err;
  for (const char* text : {"looks like tesla", "they look like tesla", "2 of 3 stations lie below",
                           "datum 1 at easting 100.00", "1 of 3 stations lie outside the mesh",
                           "2 of 3 stations lie on an edge"}) {
    EXPECT_NE(run.err.find(text), std::string::npos) << text << "\n" << run.err;
  }
}

TEST(SurveyToModel, RefusalsNameTheCauseAndLeaveNoFile) {
  const SurveyFolder folder;
  folder.write("obs.mag", stations(" 5.0 1.0"));
  folder.write("flat.txt", "2 2 2\n0 0 0\n10 0\n10 10\n5 5\n");
  folder.write("away.txt", "3\n9000 9000 5\n9100 9000 5\n9000 9100 5\n");
  const std::string build = "sensitivity --output s.mtx --data obs.mag ";
  const std::string mesh = "--mesh mesh.txt ";
  expect_refused(folder, "sensitivity --output s.mtx --data stations.txt " + mesh,
                 "stations.txt holds no standard deviations");
  expect_refused(folder, build + "--mesh flat.txt", "easting width 2 is 0");
  expect_refused(folder, build + mesh + "--topography away.txt", "Topography is outside the mesh.");
  expect_refused(folder, build + mesh + "--elevation -500", "all cells of the mesh lie above");
  expect_refused(folder, build + mesh + "--topography terrain.txt --elevation 3", "excludes");
  expect_refused(folder, build + mesh + "--wavelet daub5", "daub5");
  expect_refused(folder, build + mesh + "--error 2", "--error");
  expect_refused(folder, "sensitivity --data obs.mag " + mesh, "--output is missing");
  expect_refused(folder, "sensitivity --output ./obs.mag --data obs.mag " + mesh, "would replace");
  expect_refused(folder, "forward --data obs.mag --model true.txt --output f.mag", "--matrix");
  expect_refused(folder, "forward --data obs.mag --model mesh.txt --output f.mag " + mesh, "model");
  expect_refused(folder, "nonsense", "subcommand");
  EXPECT_FALSE(folder.has("s.mtx") || folder.has("f.mag") || folder.has_leftovers());
}

// Grids and points through every command; ground that a mesh loses, and what is no elevation.
TEST(SurveyToModel, TheTerrainIsReadAlikeByEveryCommandAndNoneIsLostSilently) {
  if (!kReadsGrids) GTEST_SKIP();
  const SurveyFolder folder;
  folder.write("obs.mag", stations(" 5.0 1.0"));
  const auto grid = [](const std::string& values) {
    return "ncols 2\nnrows 2\nxllcenter -9500\nyllcenter -9500\ncellsize 20000\n" + values;
  };
  folder.write("dem.asc", grid("-5 45.5 -5 45.5\n"));
  folder.write("dem.txt",
               "4\n-9500 -9500 -5\n-9500 10500 -5\n10500 -9500 45.5\n10500 10500 45.5\n");
  folder.write("gap.asc", grid("-5 -9999 -5 45\n"));
  folder.write("mark.txt", "4\n-500 -500 -5\n-500 800 -5\n800 -500 -9999\n800 800 60\n");
  const auto built = [&](const std::string& terrain) {
    const QvxRun run = folder.qvx(
        "sensitivity --wavelet none --mesh mesh.txt --data obs.mag --output s.mtx --topography " +
        terrain);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(run.err.starts_with("Warning: the cells' ground lies 9.4 m below")) << run.err;
    EXPECT_EQ(run.err.rfind("Warning:"), 0U) << run.err;
    const std::string gap =
        "9.4 m below the terrain (median), 9.7 m (95th percentile); stations 33 m above it instead "
        "of 23 m\n";
    EXPECT_NE(folder.qvx("info s.mtx").out.find("  cells_ground         " + gap),
              std::string::npos);
    return folder.read("s.mtx");
  };
  folder.write(
      "dem.xyz",
      "east,north,z\n-9500,-9500,-5\n-9500,10500,-5\n10500,-9500,45.5\n10500,10500,45.5\n");
  EXPECT_TRUE(built("dem.asc") == built("dem.txt"));
  EXPECT_TRUE(built("dem.txt") == built("dem.xyz"));
  // A mesh under the terrain, and one that is too low.
  const std::string mesh =
      "mesh --data obs.mag --topography dem.asc --cell 50 --padding 100 --output ";
  const QvxRun high = folder.qvx(mesh + "high.txt");
  EXPECT_EQ(high.status, 0) << high.err;
  EXPECT_EQ(high.err, "");
  EXPECT_NE(high.out.find("--mesh high.txt --topography dem.asc --data"), std::string::npos);
  EXPECT_NE(folder.qvx(mesh + "low.txt --top 19").err.find("cuts off the terrain of"),
            std::string::npos);
  for (const std::string command :
       {"sensitivity --plan --topography dem.asc", "sensitivity --plan --elevation 20",
        "forward --model model.txt --output f.mag --elevation 20"}) {
    const Mesh low = read_mesh_file(folder.path("low.txt"));
    folder.write("model.txt", fmt::format("{}*0", low.cells()));
    const QvxRun cut = folder.qvx(command + " --data obs.mag --mesh low.txt");
    EXPECT_EQ(cut.status, 0) << cut.err;
    EXPECT_NE(cut.err.find("Warning: the top of the mesh, 19 m, cuts off"), std::string::npos)
        << cut.err;
    const QvxRun whole = folder.qvx(command + " --data obs.mag --mesh high.txt");
    EXPECT_EQ(whole.err.find("cuts off"), std::string::npos) << whole.err;
  }
  for (const std::string command :
       {"sensitivity --output g.mtx --mesh mesh.txt", "mesh --output g"}) {
    expect_refused(folder, command + " --data obs.mag --topography gap.asc", "no elevation at");
    expect_refused(folder, command + " --data obs.mag --topography mark.txt",
                   "usually marks places");
    expect_refused(folder, command + " --data obs.mag --topography mesh.txt",
                   "topography file mesh.txt, line 3, should hold");
  }
  EXPECT_FALSE(folder.has("g.mtx") || folder.has("g"));
}

// Directions of the header taken for those of the datum; a file of both that the way back misreads.
TEST(SurveyToModel, EachDatumMayHaveADirectionOfItsOwn) {
  const SurveyFolder folder;
  const std::string forward = std::string("forward --model true.txt ") + kGround + " --data ";
  const auto predicted = [&](const std::string& name, const std::string& text) {
    folder.write(name, text);
    EXPECT_EQ(folder.qvx(forward + name + " --noise-floor 1e-9 --output p.mag").status, 0);
    return read_data_file(folder.path("p.mag"), DataColumns::values);
  };
  const std::string place = "160 150 45 ";
  const auto north = predicted("n.txt", "60 15 50000\n0 0 1\n1\n" + place);
  const auto down = predicted("d.txt", "60 15 50000\n90 0 1\n1\n" + place);
  const auto own =
      predicted("o.txt", "60 15 50000\n12 34 0\n2\n" + place + "0 0\n" + place + "90 0\n");
  ASSERT_EQ(own.obs.size(), 2U);
  EXPECT_EQ(own.incl, 60);
  EXPECT_GT(std::abs(own.obs[0] * own.std[0]), 1.0);
  for (const auto& [datum, expected] : {std::pair{0U, &north}, {1U, &down}})
    EXPECT_NEAR(own.obs[datum] * own.std[datum], expected->obs[0] * expected->std[0], 1e-6);
}

// A limit or a size that "not a number" slips through; work begun that cannot be kept.
TEST(SurveyToModel, WhatCannotBeMeantIsRefusedBeforeTheWorkBegins) {
  const SurveyFolder folder;
  folder.write("obs.mag", stations(" 5.0 1.0"));
  folder.write("far.mag", "60 15 50000\n60 15 1\n1\n1e300 0 0 5 1\n");
  folder.write("huge.txt", "600 600 1200\n0 0 0\n600*10\n600*10\n1200*10\n");
  const std::string build = "sensitivity --output s.mtx --data obs.mag --mesh ";
  for (const char* option : {"--error nan", "--threshold nan", "--keep 0", "--keep nan",
                             "--elevation inf", "--scale-exponent nan", "--threads 0"})
    expect_refused(folder, build + "mesh.txt " + option, "--");
  const std::string forward = "forward --mesh mesh.txt --data obs.mag --model true.txt --output f ";
  for (const char* option : {"--noise-floor nan", "--noise-percent -1"})
    expect_refused(folder, forward + option, "noise");
  expect_refused(folder, build + "huge.txt", "432000000 cells below the ground are more");
  expect_refused(folder, "sensitivity --output s.mtx --data far.mag --mesh mesh.txt", "metres");
  EXPECT_FALSE(folder.has("s.mtx") || folder.has("f"));
}

// A build that a full disk ends: no file that looks whole, no half of one.
TEST(SurveyToModel, AFullDiskLeavesNoFile) {
#ifdef QUORIVEX_SANITIZED
  GTEST_SKIP() << "the thread sanitizer's own files exceed the limit";
#endif
  const SurveyFolder folder;
  folder.write("obs.mag", stations(" 5.0 1.0"));
  const QvxRun run = run_qvx(
      folder, std::string("sensitivity --output s.mtx --data obs.mag ") + kGround, "ulimit -f 100");
  EXPECT_EQ(run.status, 1);
  EXPECT_NE(run.err.find("ERROR writing file s.mtx"), std::string::npos) << run.err;
  EXPECT_FALSE(folder.has("s.mtx") || folder.has_leftovers());
}

// A build that a signal ends: a file left behind, or a status that a batch system takes for
// success.
TEST(SurveyToModel, ASignalLeavesNoFileAndSaysSo) {
  const SurveyFolder folder;
  folder.write("obs.mag", stations(" 5.0 1.0"));
  folder.write("large.txt", "200 200 30\n-400 -400 50\n200*5\n200*5\n30*5\n");
  for (const auto& [signal, status] : std::map<std::string, int>{{"INT", 130}, {"TERM", 143}}) {
    // A shell without job control (set -m) would let its background jobs ignore SIGINT.
    folder.write("interrupt.sh", fmt::format("set -m\ncd '{}'\n'" QVX_PROGRAM
                                             "' sensitivity --output s.mtx --data obs.mag --mesh "
                                             "large.txt > out.txt 2> err.txt &\n"
                                             "until ls | grep -q part; do sleep 0.01; done\n"
                                             "kill -{} $!\nwait $!\n[ $? = {} ]\n",
                                             folder.path(""), signal, status));
    EXPECT_EQ(std::system(("bash '" + folder.path("interrupt.sh") + "'").c_str()), 0);
    EXPECT_NE(folder.read("err.txt").find("Interrupted"), std::string::npos);
    EXPECT_FALSE(folder.has("s.mtx") || folder.has("s.mtx.info") || folder.has_leftovers())
        << signal;
  }
}

}  // namespace
}  // namespace quorivex::test
