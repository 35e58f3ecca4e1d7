// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>

#include <sstream>

#include "base/view1.h"
#include "run_program.h"
#include "run_qvx.h"
#include "values.h"
#include "workbench/pictures/picture.h"

namespace quorivex::test {
namespace {

/// A folder with a run over 7 x 5 x 4 cells, and what other programs say of its slices.
class SlicesFolder : public ScratchFolder {
 public:
  SlicesFolder() {
    write_case(*this, survey, {});
    run_program(*this, "run.inp 1");
    model = numbers(read("quorivex_002.sus"));
  }
  /// Of the cell at column i, row j, layer k, from 0.
  double value(std::int32_t i, std::int32_t j, std::int32_t k) const {
    const Mesh& mesh = survey.mesh;
    return model[as_size((std::int64_t{j} * mesh.ne + i) * mesh.nz + k)];
  }
  /// What GDAL finds at a place of a file, one number per band.
  std::vector<double> at(const std::string& file, const std::string& options, double x,
                         double y) const {
    return numbers(
        shell(fmt::format("gdallocationinfo -valonly {} '{}' {} {}", options, file, x, y)));
  }
  std::string shell(const std::string& command) const {
    const std::string all = "cd '" + path("") + "' && " + command + " > shell.txt 2>&1";
    EXPECT_EQ(std::system(all.c_str()), 0) << read("shell.txt");
    return read("shell.txt");
  }

  Survey survey = make_survey({.ne = 7, .nn = 5, .nz = 4});
  std::vector<double> model;
};

// Axes, orientation and draping of files as another program sees them; a missing coordinate system.
TEST(ExportSlices, OtherProgramsFindEachCellAtItsPlace) {
  if (!kReadsGrids) GTEST_SKIP();
  const SlicesFolder folder;
  const Mesh& mesh = folder.survey.mesh;
  const QvxRun made =
      run_qvx(folder,
              "export run.inp --iteration 2 --slices s --depths 12.5 --elevations 237.5 "
              "--eastings 1051 --crs EPSG:32754");
  ASSERT_EQ(made.status, 0) << made.err;
  const std::string depth = "s/depth_0012.5m";
  const std::string level = "s/elevation_0237.5m";
  for (std::int32_t j = 0; j < mesh.nn; j += 2) {
    for (std::int32_t i = 0; i < mesh.ne; i += 2) {
      const double e = mesh.easting_nodes[static_cast<std::size_t>(i)] + 8;
      const double n = mesh.northing_nodes[static_cast<std::size_t>(j)] + 8;
      const std::int32_t top = folder.survey.tops(j + 1, i + 1);
      for (const char* form : {".tif", ".asc"}) {
        const std::vector<double> draped = folder.at(depth + form, "-geoloc", e, n);
        ASSERT_EQ(draped.size(), 1U) << depth << form;
        EXPECT_NEAR(draped[0], folder.value(i, j, top), 1e-6) << i << " " << j << form;
        EXPECT_NEAR(folder.at(level + form, "-geoloc", e, n)[0], folder.value(i, j, 2), 1e-6);
      }
    }
  }
  for (const char* form : {".tif", ".asc"}) {
    EXPECT_NE(folder.shell("gdalinfo '" + depth + form + "'").find("WGS 84 / UTM zone 54S"),
              std::string::npos);
  }
  const std::string info = folder.shell("gdalinfo '" + depth + ".tif'");
  EXPECT_NE(info.find("NoData Value=-9999"), std::string::npos) << info;
  EXPECT_NE(info.find("iteration=2"), std::string::npos) << info;
  EXPECT_EQ(folder.has("s/easting_1051m.png"), kDraws);
}

// A picture that is blank, upside down, or in colours of another range than its bar.
TEST(ExportSlices, ThePictureHasTheColourOfACellAtItsPlace) {
  if (!kReadsGrids || !kDraws) GTEST_SKIP();
  const SlicesFolder folder;
  const Mesh& mesh = folder.survey.mesh;
  const std::string command =
      "export run.inp --iteration 2 --slices s --elevations 237.5 --range 0,0.03";
  ASSERT_EQ(run_qvx(folder, command).status, 0);
  Picture picture;
  picture.x_nodes = mesh.easting_nodes;
  picture.y_nodes = mesh.northing_nodes;
  picture.captions = {"", ""};
  const PictureLayout layout = layout_of(picture);
  const std::string file = "s/elevation_0237.5m.png";
  EXPECT_NE(folder.shell("gdalinfo '" + file + "'")
                .find(fmt::format("Size is {}, {}", layout.width, layout.height)),
            std::string::npos);
  for (std::int32_t j = 0; j < mesh.nn; j += 2) {
    for (std::int32_t i = 0; i < mesh.ne; i += 2) {
      // Off the middle of the cell, where a station's dot may be.
      const double x = layout.plot_left + (i + 0.2) / mesh.ne * layout.plot_width;
      const double y = layout.plot_top + (mesh.nn - j - 0.8) / mesh.nn * layout.plot_height;
      const std::vector<double> rgb = folder.at(file, "", static_cast<int>(x), static_cast<int>(y));
      ASSERT_GE(rgb.size(), 3U);
      const std::uint32_t colour = colour_of(folder.value(i, j, 2), 0.0, 0.03);
      EXPECT_NEAR(rgb[0], colour >> 16, 2.0) << i << " " << j;
      EXPECT_NEAR(rgb[1], colour >> 8 & 255U, 2.0) << i << " " << j;
      EXPECT_NEAR(rgb[2], colour & 255U, 2.0) << i << " " << j;
    }
  }
}

TEST(ExportSlices, RefusalsNameTheSpanAndWriteNothing) {
  const SlicesFolder folder;
  folder.write("file", "");
  const std::string start = "export run.inp --slices ";
  expect_refused(folder, start + "s", "--slices needs the places");
  expect_refused(folder, start + "s --elevations 9999",
                 "elevation 9999 m lies outside the model that is exported, which spans");
  expect_refused(folder, start + "s --depths 1,x", "--depths: should be a number");
  expect_refused(folder, start + "s --depths 1 --range 2,1", "--range should be a smaller");
  expect_refused(folder, start + "file --depths 1", "the folder file cannot be made");
  expect_refused(folder, start + "file/such --depths 1", "the folder file/such cannot be made");
  std::string many = "1";
  for (int n = 1; n <= 5000; ++n) many += ",1";
  expect_refused(folder, start + "s --iteration all --depths " + many, "are more than 10000");
  EXPECT_FALSE(folder.has("s"));
  std::filesystem::create_directory(folder.path("s"));
  std::filesystem::create_symlink("../obs.dat", folder.path("s/depth_0001m.asc"));
  expect_refused(folder, start + "s --depths 1", "would replace a file that is read");
  EXPECT_EQ(folder.read("obs.dat"), observations_text(folder.survey));
}

}  // namespace
}  // namespace quorivex::test
