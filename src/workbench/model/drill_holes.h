// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <vector>

#include "workbench/model/desurvey.h"
#include "workbench/model/source_columns.h"

namespace quorivex {

/// The files of drill holes.
struct HoleTables {
  std::string collars;    ///< hole, easting, northing, elevation; azimuth and dip may follow
  std::string surveys;    ///< hole, depth, azimuth, dip; empty: none
  std::string intervals;  ///< hole, from, to, and the columns that are wanted
};

/// A part of a hole.
struct HoleInterval {
  std::size_t hole = 0;
  double from = 0.0;  ///< metres along the hole
  double to = 0.0;
};

/// Drill holes with the values of their intervals, which do not overlap.
struct DrillHoles {
  std::vector<HolePath> paths;              ///< one per hole, as in the table of collars
  std::vector<HoleInterval> intervals;      ///< by hole, then from its collar down
  std::vector<std::vector<double>> values;  ///< as SourceColumns::values, one per interval
  std::vector<std::string> units;           ///< of each interval; empty without
};

/// Reads the tables of drill holes. A hole is straight where it has no row in the table of surveys:
/// in the direction that the table of collars gives, or vertical. Rows that say the same of a
/// collar count once.
/// @throws StopRun as read_source_table; for two collars of a hole, two directions at a depth or
/// opposite ones, and an interval that ends before it begins, overlaps another, or is of no hole
DrillHoles read_drill_holes(const HoleTables& tables, const SourceColumns& columns,
                            SourceNotes& notes);

}  // namespace quorivex
