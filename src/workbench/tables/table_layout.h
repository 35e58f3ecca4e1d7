// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "workbench/tables/missing_marks.h"
#include "workbench/tables/table.h"

namespace quorivex {

inline constexpr std::size_t kNoColumn = static_cast<std::size_t>(-1);  ///< it is not there

/// The number of columns that rows should have. Empty ones at the end, which come from separators
/// at the ends of lines, may be missing.
struct RowWidth {
  std::size_t min = 0;
  std::size_t max = 0;
  std::string source;  ///< the line that sets it, for messages: "the heading (line 1)"
};

/// Where the rows of a table hold the columns that are wanted.
struct TableLayout {
  std::vector<std::size_t> columns;  ///< of the wanted ones, from 0; then line and fiducial column;
                                     ///< kNoColumn for one that need not be there
  std::vector<std::string> heading;  ///< all names in the heading; empty without one
  std::int64_t heading_line = 0;     ///< in the file; 0 without one
  char separator = 0;                ///< 0 until the first row of data shows it
  std::optional<RowWidth> width;     ///< nothing until the first row of data sets it
};

/// A line of the file with its number from 1, for messages.
struct TableLine {
  std::string_view text;
  std::int64_t number = 0;
};

/// Whether a column is wanted by its name, so that there must be a heading.
bool needs_heading(const TableRequest& request);

/// The layout from a comment that names all wanted columns, as in XYZ files; nothing from others.
std::optional<TableLayout> layout_from_comment(const std::string& file, const TableLine& comment,
                                               const TableRequest& request);

/// The layout from the first line that is not a comment: a heading, or a row of data.
/// @throws StopRun where a wanted column is not there, there more than once, or wanted twice
TableLayout layout_from_first_row(const std::string& file, const TableLine& row,
                                  const TableRequest& request, const MissingMarks& marks);

/// Completes the layout with what the first row of data shows: separator and width.
void complete_layout(TableLayout& layout, const TableLine& first_row, const TableRequest& request);

/// Names of the wanted columns: from the heading, if it has as many as the rows, otherwise "#3".
std::vector<std::string> column_names(const TableLayout& layout);

}  // namespace quorivex
