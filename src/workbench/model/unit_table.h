// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/model/source_columns.h"

namespace quorivex {

/// The text by which two names of a unit are compared: numbers by value, so that "3.0" is "3".
std::string unit_key(const std::string& name);

/// The units of some rows.
struct UnitCodes {
  std::vector<std::string> names;    ///< keys, in the order in which they first appear
  std::vector<std::int64_t> counts;  ///< rows of each
  std::vector<std::int32_t> of_row;  ///< number of its unit, from 1
};
UnitCodes code_units(const std::vector<std::string>& names);

/// Values by unit.
struct UnitTable {
  std::string file;
  std::vector<std::string> names;           ///< keys
  std::vector<std::vector<double>> values;  ///< as requested, one per unit
};

/// Reads a table with one row per unit: the name in the column "unit" (or "code", or the one that
/// `columns` has in the data), and the columns of numbers. The row named * is for all others.
/// @throws StopRun as read_source_table, and for a unit in two rows
UnitTable read_unit_table(const std::string& file, const SourceColumns& columns,
                          SourceNotes& notes);

/// The values of the units of the data. A unit that is not in the table has those of its row *.
/// @param source  of the units, for messages
/// @throws StopRun listing the units that are not in the table, where it has no row *
std::vector<std::vector<double>> values_of_units(const UnitTable& table, const UnitCodes& units,
                                                 const std::string& source, SourceNotes& notes);

}  // namespace quorivex
