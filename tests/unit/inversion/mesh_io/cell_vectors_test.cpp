// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/cell_vectors.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include "base/stop_run.h"
#include "inversion/mesh_io/model_files.h"
#include "scratch_folder.h"

namespace quorivex::test {

using Numbers = std::vector<double>;

/// Twelve cells in six columns, those with the numbers 1, 3, 4 and 11 in air. The codes of the air
/// cells differ, so that a code that outlives the column tops shows.
struct Cells : testing::Test {
  Cells() {
    mesh.ne = 3;
    mesh.nn = mesh.nz = 2;
    const std::string codes = folder.write("codes", "1 0 -1 1 -1\n1,0 , 3*1\t1 -1\n \r\n");
    ground = share_ground(mesh, {.nn = 2, .ne = 3, .tops = {1, 0, 2, 0, 0, 1}});
    active = get_active_cells(codes, ground);
  }

  const ScratchFolder folder;
  Mesh mesh;
  SharedGround ground;
  ActiveCells active;
  Numbers full{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  Numbers wtz{2, 3, 4, 5, 6, 7, 8, 9};       // for the cells 2, 5, 6, 7, 8, 9, 10 and 12
  Numbers model = Numbers(4, std::nan(""));  // an entry left out shows
};

// A column or a cell counted twice or left out, numbers that start from 0, easting for northing.
TEST_F(Cells, TheLoopsVisitEachCellWithItsNumbersAndItsPlace) {
  std::vector<std::int64_t> below;
  std::int64_t cell = 0;
  for_each_cell(*ground, [&](const GridCell& at) {
    EXPECT_EQ(at.cell, ++cell);
    EXPECT_EQ(at.cell, at.k + (at.i - 1) * 2 + (at.j - 1) * 6);
    EXPECT_EQ(at.air(), at.k <= ground->tops(at.j, at.i));
    if (at.air()) return;
    below.push_back(at.cell);
    EXPECT_EQ(at.below, length(below));
  });
  EXPECT_EQ(below, (std::vector<std::int64_t>{2, 5, 6, 7, 8, 9, 10, 12}));
  for_each_ground_cell(*ground, [&](const GridCell& at) {
    EXPECT_EQ(at.cell, below[as_size(at.below - 1)]);
    EXPECT_EQ(at.cell, at.k + (at.i - 1) * 2 + (at.j - 1) * 6);
  });
  std::int64_t number = 0;
  for_each_column(*ground, [&](const GridColumn& column) {
    const GridColumn same = ground->column(++number);
    EXPECT_EQ(std::tie(column.i, column.j, column.top, column.above, column.before),
              std::tie(same.i, same.j, same.top, same.above, same.before));
    EXPECT_EQ(column.before, ground->cells_before(column.j, column.i));
  });
  EXPECT_EQ(number, 6);
  EXPECT_EQ(ground->cells(), 8);
  EXPECT_EQ(ground->air_cells(), 4);
}

TEST(Ground, WithoutAGroundCellIsMadeButCanBeRefused) {
  const Ground all_air = make_ground(make_mesh(0, 0, 9, {5, 3}, {4}, {2, 7}), {1, 2, {2, 2}});
  EXPECT_EQ(all_air.cells(), 0);
  EXPECT_THROW(check_not_all_air(all_air), StopRun);
  const Ground half = make_ground(all_air.mesh, {1, 2, {2, 1}});
  check_not_all_air(half);
  EXPECT_EQ(half.surface(1, 2), 7.0);
  EXPECT_EQ(min_width(half.mesh), 2.0);
  EXPECT_EQ(min_horizontal_width(half.mesh), 3.0);
}

TEST_F(Cells, AirBeatsCodesAndEachKindCountsInCellOrder) {
  EXPECT_EQ(active.map, (std::vector<std::int32_t>{0, 0, 0, 0, -1, 1, 0, 2, 3, 4, 0, -2}));
  active = get_active_cells("NULL", ground);
  EXPECT_EQ(active.map, (std::vector<std::int32_t>{0, 1, 0, 0, 2, 3, 4, 5, 6, 7, 0, 8}));
}

TEST_F(Cells, EveryConversionPutsEachValueInItsCell) {
  full_to_active(active, full, model);
  EXPECT_EQ(model, (Numbers{6, 8, 9, 10}));
  Numbers below(8, std::nan(""));
  full_to_below(*ground, full, below);
  EXPECT_EQ(below, (Numbers{2, 5, 6, 7, 8, 9, 10, 12}));
  active_to_full(active, split_reference(active, full), model, full);
  EXPECT_EQ(full, (Numbers{0, 2, 0, 0, 5, 6, 7, 8, 9, 10, 0, 12}));
  active_to_below(active, Numbers{1, 2, 3, 4}, below);
  EXPECT_EQ(below, (Numbers{0, 0, 1, 0, 2, 3, 4, 0}));
  below_to_active(active, below, model);
  EXPECT_EQ(model, (Numbers{1, 2, 3, 4}));
}

TEST_F(Cells, ModelsAreScaledWhenReadAndBackWhenWritten) {
  EXPECT_EQ(read_active_model("VALUE 0.5", "m", active, model), 0.5);
  scale_active_model(active, wtz, model);
  EXPECT_EQ(model, (Numbers{2, 3, 3.5, 4}));
  const std::string lines = folder.write("m", "1\n2\n3\n4 9\n5 x\n3*6\n\n7\n8\n9\n10,\n11\n12\n\n");
  EXPECT_EQ(read_active_model(lines, "m", active, model), std::nullopt);
  scale_active_model(active, wtz, model);
  EXPECT_EQ(model, (Numbers{24, 48, 63, 80}));
  read_full_model(folder.write("f", "1 2 3,4 5 6 7 8 9 10 11 12"), "m", *ground, full);
  scale_full_model(*ground, wtz, full);
  EXPECT_EQ(full, (Numbers{1, 4, 3, 4, 15, 24, 35, 48, 63, 80, 11, 108}));
  output_model(folder.path("inv_007.sus"), model, wtz, active, split_reference(active, full));
  EXPECT_EQ(folder.read("inv_007.sus"),
            "-1.00000E+02\n 2.00000E+00\n-1.00000E+02\n-1.00000E+02\n 5.00000E+00\n 6.00000E+00\n"
            " 7.00000E+00\n 8.00000E+00\n 9.00000E+00\n 1.00000E+01\n-1.00000E+02\n 1.20000E+01\n");
}

TEST_F(Cells, ANumberAfterTheLastOfAListIsOneTooManyButWordsAreNot) {
  for (const std::string left :
       {"", " that is all", "Nancy", "information", ",,", "12abc", "/ 13"}) {
    read_full_model(folder.write("f", "12*1\n" + left), "m", *ground, full);
    EXPECT_EQ(full, Numbers(12, 1.0)) << left;
  }
  for (const std::string left : {"13", "nan", "2*NaN", "+inf", "-Infinity", "1e999"}) {
    EXPECT_THROW(read_full_model(folder.write("f", "12*1\n" + left), "m", *ground, full), StopRun)
        << left;
    const std::string codes = folder.write("c", "12*1\n" + left);
    EXPECT_THROW(read_active_cells(codes, ground), StopRun) << left;
  }
}

}  // namespace quorivex::test
