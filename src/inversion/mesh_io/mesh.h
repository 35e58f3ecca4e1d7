// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/record_file.h"

namespace quorivex {

/// The grid of cells. Cells count from 1 with depth fastest (top to bottom), then easting (west to
/// east), then northing (south to north): cell (k, i, j) is k + (i-1) nz + (j-1) nz ne.
struct Mesh {
  std::int32_t ne = 0;                 ///< cells along easting
  std::int32_t nn = 0;                 ///< cells along northing
  std::int32_t nz = 0;                 ///< cells along depth
  std::vector<double> easting_nodes;   ///< ne+1 coordinates, west to east
  std::vector<double> northing_nodes;  ///< nn+1 coordinates, south to north
  std::vector<double> depth_nodes;     ///< nz+1 depths below the mesh top, positive downward
  std::vector<double> de;              ///< widths along easting
  std::vector<double> dn;              ///< widths along northing
  std::vector<double> dz;              ///< thicknesses
  double z0 = 0.0;                     ///< elevation of the mesh top

  std::int64_t cells() const { return std::int64_t{ne} * nn * nz; }
};

/// True when all counts are positive and the number of cells fits 32 bits.
bool valid_counts(std::int32_t ne, std::int32_t nn, std::int32_t nz);

/// The smallest cell width of the three axes, and of the two horizontal ones.
double min_width(const Mesh& mesh);
double min_horizontal_width(const Mesh& mesh);

/// The mesh with these widths whose western, southern and upper faces lie at `west`, `south`,
/// `top`.
Mesh make_mesh(double west, double south, double top, std::vector<double> de,
               std::vector<double> dn, std::vector<double> dz);

/// Reads a text mesh file: ne nn nz; west, south and top of the mesh; the three lists of widths.
/// @throws StopRun " ERROR reading mesh file: NAME", with the reason in its detail; file_not_found;
///         alloc_error("mesh")
Mesh read_mesh_file(const std::string& name);

/// Writes a text mesh file with the fewest digits from which the same mesh is read.
/// @throws StopRun "ERROR writing file NAME: REASON"
void write_mesh_file(const std::string& name, const Mesh& mesh);

/// Widths as in a text mesh file, "3*25 40": runs of equal ones with a repeat count, on lines of at
/// most `columns` characters. The last line is ended too, the others are by `line_end`.
std::string width_list(const std::vector<double>& widths, std::size_t columns,
                       std::string_view line_end = "\n");

/// Reads the mesh record of a sensitivity file: northing, easting and depth nodes, then z0.
/// The counts come in that file's order. Nothing when the record cannot be read.
std::optional<Mesh> read_mesh_record(RecordFile& file, std::int32_t nn, std::int32_t ne,
                                     std::int32_t nz);

}  // namespace quorivex
