// SPDX-License-Identifier: GPL-3.0-or-later
#include "mesh_io/mesh.h"

#include <gtest/gtest.h>

#include "base/stop_run.h"
#include "scratch_folder.h"

namespace quorivex::test {

using Numbers = std::vector<double>;

TEST(Mesh, EachListOfATextFileBeginsOnANewLineAndMayTakeMore) {
  const ScratchFolder folder;
  const Mesh mesh = read_mesh_file(
      folder.write("mesh", "3 1 4 cells\n100. 200. 300. corner\n25\n\n2*50. 9\n10*20.\n3*5,\n6"));
  EXPECT_EQ(mesh.z0, 300.0);
  EXPECT_EQ(mesh.easting_nodes, (Numbers{100, 125, 175, 225}));
  EXPECT_EQ(mesh.northing_nodes, (Numbers{200, 220}));
  EXPECT_EQ(mesh.depth_nodes, (Numbers{0, 5, 10, 15, 21}));
}

TEST(Mesh, ATextFileThatEndsEarlyOrClaimsTooManyCellsIsRefused) {
  EXPECT_TRUE(valid_counts(2147483647, 1, 1) && !valid_counts(65536, 32768, 1));
  EXPECT_FALSE(valid_counts(65536, 65536, 1) || valid_counts(-1, -1, 1));
  const ScratchFolder folder;
  for (const char* text : {"3 2", "2 1 1\n0 0 0\n5\n6\n7", "0 1 1\n0 0 0\n\n1\n1"}) {
    EXPECT_THROW(read_mesh_file(folder.write("mesh", text)), StopRun) << text;
  }
}

}  // namespace quorivex::test
