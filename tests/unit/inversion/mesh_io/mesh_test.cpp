// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/mesh.h"

#include <gtest/gtest.h>

#include "base/stop_run.h"
#include "scratch_folder.h"

namespace quorivex::test {

using Numbers = std::vector<double>;

/// How reading a text mesh file that is to be refused ends.
static StopRun stop_of(const std::string& name) {
  try {
    read_mesh_file(name);
  } catch (const StopRun& stop) {
    return stop;
  }
  ADD_FAILURE() << name << " was read";
  return StopRun("");
}

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
  for (const auto& [text, reason] :
       {std::pair{"3 2", "The counts could not be read."},
        {"0 1 1\n0 0 0\n\n1\n1", "The counts should be from 1 to a million"},
        {"2147483647 1 1\n0 0 0\n2147483647*1\n1\n1", "The counts should be from 1"},
        {"2 1 1\n0 top 0", "West, south and top of the mesh could not be read."},
        {"2 1 1\n0 0 0\n5\n6\n7", "Width 1 of 1 along depth could not be read."},
        {"3 1 1\n0 0 0\n5 6 deep", "Width 3 of 3 along easting could not be read."}}) {
    const StopRun stop = stop_of(folder.write("mesh", text));
    const std::string quoted = "\n ERROR reading mesh file: " + folder.path("mesh") + "\n\n";
    EXPECT_EQ(std::string(stop.what()), quoted);
    EXPECT_TRUE(stop.detail().starts_with(reason)) << stop.detail();
  }
}

TEST(Mesh, AWrittenFileGivesTheSameMeshBack) {
  const ScratchFolder folder;
  Numbers de(60, 0.1);
  for (std::size_t i = 0; i < 30; ++i) de[i] = 1234.5 + static_cast<double>(i) / 3.0;
  const Mesh mesh = make_mesh(455123.7, -12345678.25, -0.3, de, {7}, {1, 1, 2.5, 1});
  write_mesh_file(folder.path("mesh"), mesh);
  const Mesh read = read_mesh_file(folder.path("mesh"));
  EXPECT_EQ(read.easting_nodes, mesh.easting_nodes);
  EXPECT_EQ(read.northing_nodes, mesh.northing_nodes);
  EXPECT_EQ(read.dz, mesh.dz);
  EXPECT_EQ(read.z0, mesh.z0);
  EXPECT_NE(folder.read("mesh").find(" 30*0.1\n7\n2*1 2.5 1\n"), std::string::npos);
  EXPECT_EQ(width_list({10, 10, 20, 30}, 7, "|"), "2*10 20|30\n");
}

}  // namespace quorivex::test
