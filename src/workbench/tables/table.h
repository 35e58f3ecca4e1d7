// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quorivex {

/// A column that is wanted from a table.
struct WantedColumn {
  std::string what;         ///< what it holds, for messages: "easting"
  std::string column = {};  ///< its name in the table, or its number from 1
  double min = 0.0;         ///< values outside `min` to `max` are refused
  double max = 0.0;
  std::vector<std::string> usual = {};  ///< names to look for where `column` is empty or not there
  bool optional = false;                ///< it need not be there
  bool gaps = false;  ///< a number that is not there, or marked as missing, is NaN in its row
  bool text = false;  ///< of words, rather than numbers from `min` to `max`
};

struct TableRequest {
  std::vector<WantedColumn> columns;
  std::string line_column;           ///< holds the names of flight lines; empty: see Table::line
  std::string fiducial_column;       ///< holds names of the stations; empty for none
  char separator = 0;                ///< 0: guessed from the table; ' ': runs of blanks and tabs
  std::vector<std::string> missing;  ///< marks of missing values; "empty" is an empty field,
                                     ///< "none" accepts -9999 and the like as numbers
  bool flight_lines = true;          ///< a row such as "Line 100" begins a flight line
  bool in_recipe = false;            ///< messages name options as "missing=", not "--missing "
};

/// The rows of a table without those that hold a mark of a missing value in a wanted column.
struct Table {
  std::vector<std::vector<double>> columns;     ///< as requested, one value per row; empty for a
                                                ///< column of words, or one that is not there
  std::vector<std::vector<std::string>> texts;  ///< of the columns of words in the same places
  std::vector<std::int32_t> line;               ///< of each row: index into line_names, from 0
  std::vector<std::string> line_names;          ///< from the line column, or from rows "Line 100";
                                                ///< a single "" where the table names no lines
  std::vector<std::string> fiducial;            ///< of each row; empty without its column
  std::vector<std::int64_t> number;             ///< of each row: its line of the file, from 1
  std::int64_t rows = 0;                        ///< including those left out
  std::vector<std::int64_t> missing;  ///< rows left out, by the first column that is marked
  std::int64_t heading = 0;           ///< its line of the file; 0 without one
  std::vector<std::string> names;  ///< of the columns as requested; "#3" without a heading; empty
                                   ///< for one that is not there
};

/// Reads a text table: comment lines (first character #, /, ! or %), a heading where columns are
/// wanted by name (a comment line that names all of them, or the first row), then one row per line.
/// With columns by number, a first row that holds words in all of them is a heading too.
/// A row of one of the words Line, Tie, Base, Test, Trend, Random and Special with at most one name
/// begins a flight line, as in XYZ files.
/// A column of words holds no empty field, unless it is marked as missing.
/// A decimal comma ends the reading at once, and so do two wanted columns that are the same one.
/// @throws StopRun naming the first five lines that do not have the columns of the heading or the
/// first row, or hold a value that is not a number, is out of range, or looks like a mark of a
/// missing value that was not named; file_not_found
Table read_table(const std::string& name, const TableRequest& request);

/// The number of a column given as "3" or "#3"; 0 for a name.
std::int64_t column_number(const std::string& column);

}  // namespace quorivex
