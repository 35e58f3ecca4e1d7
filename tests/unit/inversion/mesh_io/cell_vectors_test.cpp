// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/cell_vectors.h"

#include <gtest/gtest.h>

#include <cmath>

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

TEST_F(Cells, AirBeatsCodesAndEachKindCountsInCellOrder) {
  EXPECT_EQ(active.map, (std::vector<std::int32_t>{0, 0, 0, 0, -1, 1, 0, 2, 3, 4, 0, -2}));
  active = get_active_cells("NULL", ground);
  EXPECT_EQ(active.map, (std::vector<std::int32_t>{0, 1, 0, 0, 2, 3, 4, 5, 6, 7, 0, 8}));
}

TEST_F(Cells, EveryConversionPutsEachValueInItsCell) {
  full_to_active(active, full, model);
  EXPECT_EQ(model, (Numbers{6, 8, 9, 10}));
  Numbers below(8, std::nan(""));
  full_to_below(active, full, below);
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
  read_full_model(folder.write("f", "1 2 3,4 5 6 7 8 9 10 11 12"), "m", full);
  scale_full_model(*ground, wtz, full);
  EXPECT_EQ(full, (Numbers{1, 4, 3, 4, 15, 24, 35, 48, 63, 80, 11, 108}));
  output_model(folder.path("inv"), "sus", model, 7, wtz, active, split_reference(active, full));
  EXPECT_EQ(folder.read("inv_007.sus"),
            "-1.00000E+02\n 2.00000E+00\n-1.00000E+02\n-1.00000E+02\n 5.00000E+00\n 6.00000E+00\n"
            " 7.00000E+00\n 8.00000E+00\n 9.00000E+00\n 1.00000E+01\n-1.00000E+02\n 1.20000E+01\n");
}

}  // namespace quorivex::test
