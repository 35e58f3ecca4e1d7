// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>

#include "scratch_folder.h"
#include "workbench/export/csv_files.h"
#include "workbench/export/model_grid.h"
#include "workbench/export/vtk_files.h"

namespace quorivex::test {
namespace {

const double kAir = std::nan("");

/// Value 100 row + 10 column + layer, each counted from 1, in the cell order of the mesh.
std::vector<double> numbered_cells(const Mesh& mesh) {
  std::vector<double> values;
  for (int j = 1; j <= mesh.nn; ++j) {
    for (int i = 1; i <= mesh.ne; ++i) {
      for (int k = 1; k <= mesh.nz; ++k) values.push_back(100.0 * j + 10.0 * i + k);
    }
  }
  return values;
}

ModelGrid core_of(const std::vector<double>& easting, const std::vector<double>& northing,
                  double origin = 0.0) {
  const Mesh mesh = make_mesh(origin, origin, 100.0, easting, northing, {5, 10});
  return make_model_grid(mesh, ModelExtent::core, numbered_cells(mesh));
}

TEST(ModelGrid, CountsLayersFromTheBottomAndColumnsFromTheCore) {
  const ModelGrid grid = core_of({80, 40, 20, 20, 30, 20, 60}, {50, 25, 25, 25, 90});
  ASSERT_EQ(grid.cells(), 4 * 3 * 2) << "from the first to the last column of 20 m";
  EXPECT_EQ(grid.easting_nodes, (std::vector<double>{120, 140, 160, 190, 210}));
  EXPECT_EQ(grid.northing_nodes, (std::vector<double>{50, 75, 100, 125}));
  EXPECT_EQ(grid.elevation_nodes, (std::vector<double>{85, 95, 100}));
  EXPECT_EQ(grid(0, 0, 0), 232.0);
  EXPECT_EQ(grid(3, 0, 1), 261.0);
  EXPECT_EQ(grid(3, 2, 0), 462.0);
}

// Widths are differences of coordinates; a mesh may have one column, or none of a common width.
TEST(ModelGrid, TheCoreOfUnusualMeshes) {
  const std::vector<double> close{70, 25, 25 + 1e-9, 25 - 1e-9, 70.5};
  EXPECT_EQ(core_of(close, close, 6.8e6).cells(), 3 * 3 * 2);
  EXPECT_EQ(core_of({25}, {30}).cells(), 2);
  EXPECT_EQ(core_of({10, 20, 30}, {30, 20, 10}).cells(), 1 * 1 * 2);
}

TEST(ModelGrid, TheRangeIsThatOfTheExportedGroundCells) {
  const Mesh mesh = make_mesh(0.0, 0.0, 0.0, {90, 20, 20, 90}, {20}, {5, 10});
  const auto range = [&](const std::vector<double>& values) {
    return value_range(make_model_grid(mesh, ModelExtent::core, values));
  };
  const ValueRange ground = range({9, -9, kAir, 2, kAir, -1, 9, -9});
  EXPECT_EQ(ground.count, 2);
  EXPECT_EQ(ground.min, -1.0);
  EXPECT_EQ(ground.max, 2.0);
  const ValueRange none = range(std::vector<double>(8, kAir));
  EXPECT_EQ(none.count, 0);
  EXPECT_EQ(none.min, 0.0);
  EXPECT_EQ(none.max, 0.0);
}

// Coordinates of maps have seven digits before the point; none of them may be lost.
TEST(CsvFiles, KeepCoordinatesAndTheOrderOfModelFiles) {
  const ScratchFolder folder;
  const Mesh mesh = make_mesh(499450.25, 6799450.125, 362.5, {25, 0.5}, {12.5}, {4, 8});
  const ModelGrid grid =
      make_model_grid(mesh, ModelExtent::whole, {kAir, -0.00123456, 0.0, 1.5e-7});
  write_model_csv(folder.path("m.csv"), grid, true);
  const std::string head =
      "easting,northing,elevation,width_easting,width_northing,thickness,susceptibility\n";
  const std::string ground =
      "499462.75,6799456.375,354.5,25,12.5,8,-0.00123456\n"
      "499475.5,6799456.375,360.5,0.5,12.5,4,0\n499475.5,6799456.375,354.5,0.5,12.5,8,1.5e-07\n";
  EXPECT_EQ(folder.read("m.csv"), head + "499462.75,6799456.375,360.5,25,12.5,4,\n" + ground);
  write_model_csv(folder.path("m.csv"), grid, false);
  EXPECT_EQ(folder.read("m.csv"), head + ground);
}

TEST(DataFit, OfOneDatumInCsv) {
  const ScratchFolder folder;
  Observations o;
  o.ndata = 1;
  o.x = {499450.25};
  o.y = {6799450.125};
  o.z = {380.5};
  o.std = {4.0};
  o.obs = {-30.0};  // in standard deviations
  write_data_csv(folder.path("d.csv"), o, data_fit(o, {-118.0}));
  const std::string text = folder.read("d.csv");
  EXPECT_EQ(text.substr(text.find('\n') + 1),
            "1,499450.25,6799450.125,380.5,-120,4,-118,-2,-0.5\n");
  write_data_csv(folder.path("d.csv"), o, data_fit(o, {-118.0}), {{R"(5, "B")"}, {"7"}});
  EXPECT_TRUE(folder.read("d.csv").ends_with(",-0.5,\"5, \"\"B\"\"\",7\n"));
  for (const auto& [label, field] :
       std::map<std::string, std::string>{{"=1+1", "'=1+1"},
                                          {"=A(\"b\")", "\"'=A(\"\"b\"\")\""},
                                          {"@x", "'@x"},
                                          {"+5-3", "'+5-3"},
                                          {"-5-3", "'-5-3"},
                                          {"\rx", "\"'\rx\""},
                                          {"-5.5", "-5.5"},
                                          {"+5e3", "+5e3"},
                                          {"a=b", "a=b"},
                                          {"a\nb", "\"a\nb\""}}) {
    write_data_csv(folder.path("l.csv"), o, data_fit(o, {-118.0}), {{label}, {}});
    EXPECT_TRUE(folder.read("l.csv").ends_with(",-0.5," + field + "\n")) << field;
  }
  EXPECT_NE(folder.read("d.csv").find("normalised_residual,line,fiducial\n"), std::string::npos);
}

TEST(VtkFiles, NamesCannotBreakACollection) {
  const ScratchFolder folder;
  write_collection(folder.path("m.pvd"),
                   {{.iteration = 3, .part = 0, .file = R"(a & <b> "c".vtr)"}});
  EXPECT_NE(folder.read("m.pvd").find(
                R"(timestep="3" part="0" file="a &amp; &lt;b&gt; &quot;c&quot;.vtr"/>)"),
            std::string::npos);
}

}  // namespace
}  // namespace quorivex::test
