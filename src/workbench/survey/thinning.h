// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace quorivex {

/// Stations in the order of their table, one entry per station.
struct Stations {
  std::vector<double> easting;    ///< metres
  std::vector<double> northing;   ///< metres
  std::vector<double> elevation;  ///< metres
  std::vector<double> field;      ///< nT
  std::vector<std::int32_t> line;
  std::vector<std::int64_t> number;   ///< line of the table's file
  std::vector<double> deviation;      ///< standard deviation, nT; empty where no column has it
  std::vector<std::string> fiducial;  ///< empty where no column has it

  std::size_t size() const { return easting.size(); }
};

/// On each line keeps the stations nearest to multiples of `spacing` (m), measured from its first
/// station along the horizontal path in the order of the table; of equally near ones the first.
/// @return indices of the stations kept, from 0, ascending
std::vector<std::size_t> thin_along_lines(const Stations& stations, double spacing);

enum class GridChoice {
  nearest,  ///< the station nearest to the cell's centre
  median    ///< the station with the median of the cell's fields, the lower of the middle two
};

/// Keeps one station per cell of a horizontal grid whose cell boundaries are the multiples of
/// `size` (m). A station on a boundary belongs to the cell east or north of it.
/// @return indices of the stations kept, from 0, ascending
std::vector<std::size_t> thin_to_grid(const Stations& stations, double size, GridChoice choice);

/// The stations with these indices, from 0.
Stations select(const Stations& stations, const std::vector<std::size_t>& kept);

}  // namespace quorivex
