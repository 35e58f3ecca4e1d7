// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/voxels.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <netcdf.h>

#include <cmath>
#include <map>
#include <numeric>

#include "base/stop_run.h"
#include "prism_mesh.h"
#include "scratch_folder.h"
#include "values.h"
#include "workbench/geometry/segment_tree.h"
#include "workbench/model/unit_table.h"
#include "workbench/model/voxel_cells.h"

namespace quorivex::test {
namespace {

struct VoxelBox {
  SpacePoint low;
  SpacePoint high;
  double value;
};

/// Uneven along every axis, with air of 0 or 1 layers.
Ground uneven_cells() {
  const Ground all = ground_of({0.0, 10.0, 40.0, 55.0}, {100.0, 120.0, 125.0, 140.0, 170.0},
                               {50.0, 46.0, 40.0, 25.0, 0.0});
  ColumnTops tops = all.tops;
  for (std::size_t n = 0; n < tops.tops.size(); n += 2) tops.tops[n] = 1;
  return make_ground(all.mesh, tops);
}

std::vector<VoxelBox> cells_as_boxes(const Ground& ground) {
  std::vector<VoxelBox> boxes;
  for_each_ground_cell(ground, [&](const GridCell& at) {
    const Mesh& mesh = ground.mesh;
    boxes.push_back({{mesh.easting_nodes[as_size(at.i - 1)], mesh.northing_nodes[as_size(at.j - 1)],
                      ground.elevation(at.k + 1)},
                     {mesh.easting_nodes[as_size(at.i)], mesh.northing_nodes[as_size(at.j)],
                      ground.elevation(at.k)},
                     0.0});
  });
  return boxes;
}

/// A lattice over the ground from `first`, every seventh voxel missing.
std::vector<VoxelBox> lattice(const SpacePoint& first, const SpacePoint& size) {
  std::vector<VoxelBox> boxes;
  const std::vector<double> values = values_of_seed(100'000, 7);
  const SpacePoint end{50.0, 170.0, 50.0};
  std::array<int, 3> counts{};
  for (std::size_t a = 0; a < 3; ++a) {
    counts[a] = static_cast<int>(std::ceil((end[a] - first[a]) / size[a]));
  }
  for (int n = 0; n < counts[0] * counts[1] * counts[2]; ++n) {
    if (n % 7 == 6) continue;
    const std::array<int, 3> at{n % counts[0], n / counts[0] % counts[1],
                                n / counts[0] / counts[1]};
    VoxelBox box{{}, {}, values[as_size(n)]};
    for (std::size_t a = 0; a < 3; ++a) {
      box.low[a] = first[a] + at[a] * size[a];
      box.high[a] = box.low[a] + size[a];
    }
    boxes.push_back(box);
  }
  return boxes;
}

std::string as_table(const std::vector<VoxelBox>& boxes, bool with_sizes) {
  std::string text = with_sizes ? "X,Y,Z,dx,DY,dz,sus,code\n" : "X,Y,Z,sus,code\n";
  for (const VoxelBox& box : boxes) {
    for (std::size_t a = 0; a < 3; ++a)
      text += fmt::format("{},", 0.5 * (box.low[a] + box.high[a]));
    if (with_sizes) {
      for (std::size_t a = 0; a < 3; ++a) text += fmt::format("{},", box.high[a] - box.low[a]);
    }
    text += fmt::format("{},{}\n", box.value,
                        box.value < -0.2  ? "low"
                        : box.value < 0.4 ? "2"
                                          : "hi");
  }
  return text;
}

Voxels voxels_from(const std::string& text) {
  const ScratchFolder folder;
  SourceNotes notes;
  return read_voxel_table(folder.write("v.csv", text), {{"sus"}, "code", {}, {}}, notes);
}

double shared_volume(const VoxelBox& a, const VoxelBox& b) {
  double volume = 1.0;
  for (std::size_t k = 0; k < 3; ++k) {
    volume *= std::max(0.0, std::min(a.high[k], b.high[k]) - std::max(a.low[k], b.low[k]));
  }
  return volume;
}

/// Compares all three methods with sums over every pair of a cell and a voxel.
void expect_as_pairs(const std::vector<VoxelBox>& boxes, bool with_sizes) {
  const Ground ground = uneven_cells();
  const std::vector<VoxelBox> cells = cells_as_boxes(ground);
  const Voxels voxels = voxels_from(as_table(boxes, with_sizes));
  const UnitCodes units = code_units(voxels.units);
  const VoxelMeans means = means_of_voxels(ground, voxels);
  const VoxelCells largest = largest_units(ground, voxels, units.of_row);
  const VoxelCells nearest = voxels_at_centres(ground, voxels);
  std::int64_t partly = 0;
  for (std::size_t c = 0; c < cells.size(); ++c) {
    double volume = 0.0;
    double sum = 0.0;
    std::map<std::string, double> of_unit;
    std::int32_t holds = 0;
    for (std::size_t v = 0; v < boxes.size(); ++v) {
      const double shared = shared_volume(cells[c], boxes[v]);
      volume += shared;
      sum += shared * boxes[v].value;
      of_unit[voxels.units[v]] += shared;
      bool inside = true;
      for (std::size_t a = 0; a < 3; ++a) {
        const double centre = 0.5 * (cells[c].low[a] + cells[c].high[a]);
        inside = inside && centre > boxes[v].low[a] - 1e-9 && centre < boxes[v].high[a] + 1e-9;
      }
      if (inside && holds == 0) holds = static_cast<std::int32_t>(v + 1);
    }
    const bool half = volume >= 0.5 * shared_volume(cells[c], cells[c]);
    partly += !half && volume > 0.0 ? 1 : 0;
    ASSERT_EQ(means.cells.entries[c] != 0, half) << c;
    ASSERT_EQ(largest.entries[c] != 0, half) << c;
    EXPECT_EQ(nearest.entries[c], holds) << c;
    if (!half) continue;
    EXPECT_LE(std::abs(means.values[0][c] - sum / volume), 1e-12) << c;
    const double most = std::max_element(of_unit.begin(), of_unit.end(), [](auto& a, auto& b) {
                          return a.second < b.second;
                        })->second;
    EXPECT_GE(of_unit[units.names[as_size(largest.entries[c] - 1)]], most * (1.0 - 1e-9)) << c;
  }
  EXPECT_EQ(means.cells.less_than_half, partly);
}

TEST(VoxelCells, FinerCoarserAndShiftedAsSumsOverAllPairs) {
  expect_as_pairs(lattice({-1.3, 98.7, -3.1}, {2.7, 4.1, 1.9}), false);
  expect_as_pairs(lattice({-11.0, 87.0, -3.0}, {31.0, 23.0, 17.0}), false);
  expect_as_pairs(lattice({13.0, 109.0, 1.0}, {9.0, 40.0, 3.0}), false);
  std::vector<VoxelBox> cells = cells_as_boxes(uneven_cells());  // sizes of many kinds
  for (std::size_t n = 0; n < cells.size(); ++n) cells[n].value = static_cast<double>(n);
  expect_as_pairs(cells, true);
}

std::string voxel_refusal(const std::string& text) {
  try {
    const Voxels voxels = voxels_from(text);
    means_of_voxels(uneven_cells(), voxels);
    voxels_at_centres(uneven_cells(), voxels);
  } catch (const StopRun& stop) {
    return std::string(stop.console());
  }
  return "not refused";
}

TEST(VoxelTable, WhatIsNoSetOfBoxesIsRefused) {
  const auto expect = [](const std::string& text, const std::string& part) {
    const std::string refused = voxel_refusal(text);
    EXPECT_NE(refused.find(part), std::string::npos) << part << "\n" << refused;
  };
  const std::string head = "x,y,z,sus,code\n";
  expect(head + "0,0,0,1,a\n10,10,10,1,a\n25,0,0,1,a\n", "line 3: easting 10 is not at a regular");
  expect(head + "0,0,0,1,a\n10,10,0,1,a\n", "elevation 0 is the only one");
  expect(head + "0,0,0,1,a\n10,10,10,1,a\n0,0,0.0002,2,a\n", "lines 2 and 4 hold the same voxel");
  expect(head + "0,0,0,x,a\n", "sus (column 4) should be a number");
  expect("x,y,z,dx,dy,dz,sus,code\n0,0,0,0,1,1,1,a\n",
         "dx (column 4) should be a number from 0.001");
  expect("x,y,z,dx,dy,dz,sus,code\n20,110,20,90,90,90,1,a\n20,111,20,90,90,90,1,a\n",
         "overlaps others within the cell");
  EXPECT_EQ(voxel_refusal(head + "0.04,0,0,1,a\n33.33,10,10,1,a\n133.36,0,0,1,a\n"), "not refused");
}

/// A variable over easting, northing and depth, packed, every fifth value missing.
void write_netcdf(const std::string& name, int format, bool with_bounds) {
  int file = 0;
  ASSERT_EQ(nc_create(name.c_str(), NC_CLOBBER | format, &file), NC_NOERR);
  std::array<int, 3> dimensions{};
  int two = 0;
  nc_def_dim(file, "b", 2, &two);
  const std::array<const char*, 3> names{"x", "northing", "depth"};
  const std::array<std::size_t, 3> sizes{4, 3, 2};
  const std::array<double, 3> first{5.0, 112.0, -38.0};
  const std::array<double, 3> step{15.0, 20.0, 25.0};
  std::array<int, 3> coordinates{};
  std::array<int, 3> bounds{};
  for (std::size_t d = 0; d < 3; ++d) {
    nc_def_dim(file, names[d], sizes[d], &dimensions[d]);
    nc_def_var(file, names[d], NC_DOUBLE, 1, &dimensions[d], &coordinates[d]);
    if (!with_bounds) continue;
    const std::string faces = std::string(names[d]) + "_f";
    const std::array<int, 2> both{dimensions[d], two};
    nc_def_var(file, faces.c_str(), NC_DOUBLE, 2, both.data(), &bounds[d]);
    nc_put_att_text(file, coordinates[d], "bounds", faces.size(), faces.c_str());
  }
  int variable = 0;
  nc_def_var(file, "k", NC_SHORT, 3, dimensions.data(), &variable);
  const short fill = -99;
  const double factor = 0.5;
  nc_put_att_short(file, variable, "_FillValue", NC_SHORT, 1, &fill);
  nc_put_att_double(file, variable, "scale_factor", NC_DOUBLE, 1, &factor);
  nc_enddef(file);
  for (std::size_t d = 0; d < 3; ++d) {
    std::vector<double> centres;
    std::vector<double> faces;
    for (std::size_t n = 0; n < sizes[d]; ++n) {
      const double centre = first[d] + static_cast<double>(n) * step[d];
      centres.push_back(centre);
      faces.insert(faces.end(), {centre - 0.5 * step[d], centre + 0.5 * step[d]});
    }
    nc_put_var_double(file, coordinates[d], centres.data());
    if (with_bounds) nc_put_var_double(file, bounds[d], faces.data());
  }
  std::vector<short> values(24);
  for (short n = 0; n < 24; ++n) values[as_size(n)] = n % 5 == 3 ? fill : n;
  nc_put_var_short(file, variable, values.data());
  ASSERT_EQ(nc_close(file), NC_NOERR);
}

TEST(VoxelNetcdf, AnyOrderOfAxesAndDepthsGiveTheVoxelsOfATable) {
  std::vector<VoxelBox> boxes;
  for (int n = 0; n < 24; ++n) {
    if (n % 5 == 3) continue;
    const double x = 5.0 + 15.0 * (n / 6);
    const double y = 112.0 + 20.0 * (n / 2 % 3);
    const double z = 38.0 - 25.0 * (n % 2);
    boxes.push_back({{x - 7.5, y - 10.0, z - 12.5}, {x + 7.5, y + 10.0, z + 12.5}, 0.5 * n});
  }
  const Ground ground = uneven_cells();
  const VoxelMeans expected = means_of_voxels(ground, voxels_from(as_table(boxes, true)));
  const ScratchFolder folder;
  for (const int format : {0, NC_64BIT_OFFSET, NC_NETCDF4}) {
    for (const bool with_bounds : {false, true}) {
      const std::string name = folder.path("v.nc");
      write_netcdf(name, format, with_bounds);
      EXPECT_TRUE(is_netcdf_file(name));
      SourceNotes notes;
      const Voxels voxels = read_voxel_netcdf(name, {{"k"}, "", {}, {}}, notes);
      const VoxelMeans means = means_of_voxels(ground, voxels);
      EXPECT_EQ(means.cells.entries, expected.cells.entries);
      EXPECT_EQ(means.values, expected.values);
      EXPECT_GT(means.cells.with, 10);
      EXPECT_EQ(notes.remarks[0], name + ": 19 voxels, 5 left out as marked missing");
      const Voxels units = read_voxel_netcdf(name, {{}, "k", {}, {}}, notes);
      EXPECT_EQ(units.units[1], "0.5");
      EXPECT_THROW(read_voxel_netcdf(name, {{"x"}, "", {}, {}}, notes), StopRun);
      const std::string whole = folder.read("v.nc");
      for (const std::size_t cut : {4U, 90U, 200U, 300U}) {
        const std::string part = folder.write("part.nc", whole.substr(0, whole.size() - cut));
        EXPECT_THROW(read_voxel_netcdf(part, {{"k"}, "", {}, {}}, notes), StopRun) << cut;
      }
    }
  }
}

}  // namespace
}  // namespace quorivex::test
