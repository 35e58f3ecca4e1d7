// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/export/slices.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/stop_run.h"
#include "scratch_folder.h"
#include "workbench/export/ascii_grid.h"
#include "workbench/pictures/picture.h"

namespace quorivex::test {
namespace {

/// 3 x 2 x 3 cells, the western column wider; each cell has the value 100 row + 10 column + layer,
/// counted from 1. The top layer of the south-western column is air.
struct NumberedModel {
  Ground ground = make_ground(make_mesh(1000, 2000, 90, {40, 20, 20}, {20, 20}, {10, 20, 30}),
                              {.nn = 2, .ne = 3, .tops = {1, 0, 0, 0, 0, 0}});
  ModelGrid grid = make_model_grid(ground.mesh, ModelExtent::whole, values());

  static std::vector<double> values() {
    std::vector<double> all;
    for (int j = 1; j <= 2; ++j) {
      for (int i = 1; i <= 3; ++i) {
        for (int k = 1; k <= 3; ++k) all.push_back(100.0 * j + 10.0 * i + k);
      }
    }
    all.front() = std::nan("");
    return all;
  }
  /// The values of a slice; -1 in air.
  std::vector<double> cut(SliceKind kind, double metres) const {
    std::vector<double> values = cut_model(grid, ground, {kind, metres}).values;
    for (double& value : values) value = std::isnan(value) ? -1.0 : value;
    return values;
  }
};

// Axes exchanged, layers upside down, and the cell on the wrong side of a face.
TEST(Slices, HoldTheCellsThatTheyCut) {
  const NumberedModel model;
  using Values = std::vector<double>;
  EXPECT_EQ(model.cut(SliceKind::elevation, 85), (Values{-1, 121, 131, 211, 221, 231}));
  EXPECT_EQ(model.cut(SliceKind::elevation, 80), (Values{112, 122, 132, 212, 222, 232}));
  EXPECT_EQ(model.cut(SliceKind::elevation, 30), (Values{113, 123, 133, 213, 223, 233}));
  EXPECT_EQ(model.cut(SliceKind::depth, 0), (Values{112, 121, 131, 211, 221, 231}));
  EXPECT_EQ(model.cut(SliceKind::depth, 25), (Values{113, 122, 132, 212, 222, 232}));
  EXPECT_EQ(model.cut(SliceKind::depth, 55), (Values{-1, 123, 133, 213, 223, 233}));
  EXPECT_EQ(model.cut(SliceKind::easting, 1030), (Values{113, 213, 112, 212, -1, 211}));
  EXPECT_EQ(model.cut(SliceKind::easting, 1040), (Values{113, 213, 112, 212, -1, 211}));
  EXPECT_EQ(model.cut(SliceKind::northing, 2021),
            (Values{213, 223, 233, 212, 222, 232, 211, 221, 231}));
  EXPECT_THROW(check_slice_places(model.grid, model.ground, {{SliceKind::elevation, 91}}), StopRun);
  EXPECT_THROW(check_slice_places(model.grid, model.ground, {{SliceKind::depth, 61}}), StopRun);
}

// Rows from the south, padding that is not resampled, another corner than the outer one.
TEST(Slices, AsciiGridsAreEvenAndBeginInTheNorth) {
  const NumberedModel model;
  EXPECT_EQ(raster_cell(model.grid), 20.0);
  EXPECT_FALSE(is_even(model.grid, 20.0));
  const Slice plan = cut_model(model.grid, model.ground, {SliceKind::elevation, 85});
  const ScratchFolder folder;
  write_ascii_grid(folder.path("s.asc"), raster_of(plan, 20.0));
  const std::string text = folder.read("s.asc");
  for (const char* line : {"ncols 4\n", "nrows 2\n", "xllcorner 1000\n", "yllcorner 2000\n",
                           "cellsize 20\n", "NODATA_value -9999\n"}) {
    EXPECT_NE(text.find(line), std::string::npos) << line << text;
  }
  EXPECT_TRUE(text.ends_with("\n211 211 221 231\n-9999 -9999 121 131\n")) << text;
  EXPECT_THROW(raster_of(plan, 1e-3), StopRun);
}

TEST(Slices, NamesSortAndDiffer) {
  EXPECT_EQ(slice_name({SliceKind::depth, 25}), "depth_0025m");
  EXPECT_EQ(slice_name({SliceKind::elevation, -12.5}), "elevation_-0012.5m");
  EXPECT_EQ(slice_name({SliceKind::northing, 6800500}), "northing_6800500m");
}

TEST(Pictures, ShallowSectionsAreStretchedAndMapsAreNot) {
  Picture picture;
  picture.x_nodes = {0, 10000};
  picture.y_nodes = {0, 400};
  EXPECT_EQ(layout_of(picture).exaggeration, 1.0);
  picture.is_map = false;
  const PictureLayout section = layout_of(picture);
  EXPECT_EQ(section.exaggeration, 10.0);
  EXPECT_NEAR(section.plot_height, section.plot_width * 0.4, 1.0);
  EXPECT_EQ(round_numbers(0.0, 0.0241, 6), (std::vector<double>{0, 0.005, 0.01, 0.015, 0.02}));
}

}  // namespace
}  // namespace quorivex::test
