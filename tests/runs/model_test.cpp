// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include "run_program.h"
#include "run_qvx.h"

namespace quorivex::test {
namespace {

constexpr const char* kCells = "--mesh mesh.txt --topography 'my terrain.txt' ";
constexpr const char* kOutputs =
    "--initial i.sus --reference r.sus --lower l.sus --upper u.sus --active a.txt --weights w.txt ";

/// A survey above relief, its sensitivity file, and a recipe.
class ModelFolder : public ScratchFolder {
 public:
  ModelFolder() {
    write("mesh.txt", "8 7 5\n-100 -75 50\n8*25\n7*25\n2*10 3*20\n");
    write("my terrain.txt", "-150 -150 50\n150 -150 31\n150 150 22\n-150 150 45\n");
    write("my base.txt", "-150 -150 0\n150 -150 -10\n150 150 5\n-150 150 10\n");
    write("r.txt", R"(# what is known
box depth=40: active=0
below surface="my base.txt" reference=0.01 upper=0.02 initial=@reference smoothness=0.5
slab centre=0,0,20 strike=30 dip=50 length=120 extent=80 thickness=30 lower=0.005 initial=0.01 reference=0.01
depth_weight exponent=1 offset=10 smallness=@
)");
    std::string text = "60 15 50000\n60 15 1\n30\n";
    for (int i = 0; i < 30; ++i) {
      text += fmt::format("{} {} 65 {} 2\n", -61 + 25 * (i % 6), -52 + 25 * (i / 6),
                          i == 14 ? 40 : i % 3);
    }
    write("s.mag", text);
    const QvxRun run = run_qvx(
        *this, std::string("sensitivity --threads 1 --data s.mag ") + kCells + "--output s.mtx");
    EXPECT_EQ(run.status, 0) << run.err;
  }
};

TEST(QvxModel, WhatItWritesPassesTheCheckAndRuns) {
  const ModelFolder folder;
  const QvxRun run = run_qvx(folder, std::string("model --matrix s.mtx --data s.mag --recipe r.txt "
                                                 "--vtr q.vtr ") +
                                         kOutputs);
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  const std::size_t next = run.out.find("\n  qvx input ");
  ASSERT_NE(next, std::string::npos) << run.out;
  const std::string command =
      run.out.substr(next + 7, run.out.find("INPUT") - next - 7) + "run.inp --chifact 10";
  ASSERT_EQ(run_qvx(folder, command).status, 0) << command;
  const QvxRun check = run_qvx(folder, "check --threads 1 run.inp");
  EXPECT_EQ(check.status, 0) << check.out;
  EXPECT_NE(check.out.find("weights of depth        0.5 to 1\n"), std::string::npos) << check.out;
  const std::string console = run_program(folder, "run.inp 1");
  EXPECT_NE(console.find("Target misfit reached."), std::string::npos) << console;
  const std::string vtr = folder.read("q.vtr");
  for (const char* name : {"lower", "active", "smallness", "smoothness_northing", "vtkGhostType"}) {
    EXPECT_NE(vtr.find(fmt::format("Name=\"{}\"", name)), std::string::npos) << name;
  }
}

TEST(QvxModel, MeshAndTerrainGiveTheCellsOfTheSensitivityFile) {
  const ModelFolder folder;
  const std::string recipe = std::string(" --recipe r.txt ") + kOutputs;
  ASSERT_EQ(run_qvx(folder, "model --matrix s.mtx" + recipe).status, 0);
  const std::string first = folder.read("l.sus") + folder.read("w.txt");
  ASSERT_EQ(run_qvx(folder, std::string("model ") + kCells + recipe).status, 0);
  EXPECT_EQ(folder.read("l.sus") + folder.read("w.txt"), first);
  ASSERT_EQ(run_qvx(folder, "model --mesh mesh.txt --elevation 50" + recipe).status, 0);
  EXPECT_NE(folder.read("l.sus") + folder.read("w.txt"), first);
}

TEST(QvxModel, NothingIsWrittenWhereSomethingIsWrong) {
  const ModelFolder folder;
  folder.write("crossed.txt", "all upper=0.1\n\nbox depth=40: lower=0.2\n");
  folder.write("air.sus", "280*-100\n");
  folder.write("u.sus", "mine");
  const std::string model = "model --matrix s.mtx --upper u.sus ";
  for (const auto& [options, message] :
       {std::pair{"--lower l.sus --recipe crossed.txt",
                  "lower 0.2 (crossed.txt, line 3), upper 0.1 (crossed.txt, line 1)"},
        {"--recipe crossed.txt", "crossed.txt, line 3: it sets lower, but no file is named"},
        {"--recipe none.txt", "recipe file not found: none.txt"},
        {"--recipe mesh.txt", "mesh.txt, line 1: 7 should be KEY=VALUE"},
        {"--recipe s.mtx", "the recipe s.mtx is UTF-16 text or binary"},
        {"--set ''", "operation 1: it is empty"},
        {"--set 'all upper=1' --set 'al upper=1'", "operation 2: there is no operation al; did"},
        {"--set 'file name=u.sus upper=@'", "would replace a file that is read"},
        {"--set 'all upper=1' --lower u.sus", "two outputs have the name u.sus"},
        {"--set 'file name=mesh.txt upper=@'", "operation 1: "},
        {"--mesh mesh.txt --set 'all upper=1'", "--mesh"},
        {"--elevation 3 --set 'all upper=1'", "leave --topography and --elevation out"},
        {"--set 'all upper=1' --show u.sus", "--show requires --page"},
        {"--page p.html --set 'all upper=1' --show s.mag --show mesh.txt",
         "ERROR: end reached reading model file s.mag"},
        {"--page p.html --set 'all upper=1' --show crossed.txt",
         "ERROR reading model file crossed.txt"},
        {"--page p.html --set 'all upper=1' --show air.sus", "every ground cell is air"},
        {"--page s.mtx --set 'all upper=1'", "would replace a file that is read"},
        {"--page r.txt --set 'all upper=1' --show r.txt", "would replace a file that is read"},
        {"--page p.html --show mesh.txt", "only --page with --show needs none"},
        {"", "--recipe"}}) {
    expect_refused(folder, model + options, message);
  }
  expect_refused(folder, "model --upper x --set 'all upper=1'", "--mesh, or with --matrix");
  EXPECT_EQ(folder.read("u.sus"), "mine");
  EXPECT_FALSE(folder.has("l.sus"));
  EXPECT_FALSE(folder.has("p.html"));
  EXPECT_FALSE(folder.has_leftovers());
}

TEST(QvxModel, APageShowsFilesWithoutAnyOperation) {
  const ModelFolder folder;
  std::string values;
  for (int cell = 0; cell < 280; ++cell) values += cell % 5 == 3 ? "-100\n" : "0.002\n";
  values.replace(values.find("0.002", 500), 5, "0.004");
  folder.write("a<b.sus", values);
  const QvxRun run =
      run_qvx(folder, std::string("model ") + kCells + "--page p.html --show 'a<b.sus'");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out.find("Next:"), std::string::npos) << run.out;
  const std::string page = folder.read("p.html");
  for (const char* text : {"a&lt;b.sus</th><td>SI</td><td>0.002</td>", "<td>0.004</td><td>56</td>",
                           "<h1>Models for mesh.txt</h1>", R"(id="model-1" data-digits="6")"}) {
    EXPECT_NE(page.find(text), std::string::npos) << text;
  }
}

TEST(QvxModel, EmptyRegionsAndUntouchedFilesAreTold) {
  const ModelFolder folder;
  const QvxRun run = run_qvx(folder,
                             "model --matrix s.mtx --upper u.sus --active a.txt --set 'box "
                             "easting=900: upper=0.5' --set 'all upper=0.0005'");
  EXPECT_EQ(run.status, 0);
  for (const char* message : {"Warning: operation 1: no ground cell lies in the region\n",
                              "Note: no operation sets what a.txt holds.\n",
                              "Warning: the initial model lies outside the bounds in "}) {
    EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
  }
  EXPECT_EQ(folder.read("u.sus").substr(0, 12), "-100\n0.0005\n")
      << folder.read("u.sus").substr(0, 60);
}

}  // namespace
}  // namespace quorivex::test
