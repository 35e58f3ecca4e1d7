// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/tables/table_layout.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/view1.h"
#include "workbench/tables/delimited_text.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

/// As requested, then the line column, then that of the fiducials.
std::vector<WantedColumn> wanted_columns(const TableRequest& request) {
  std::vector<WantedColumn> wanted = request.columns;
  if (!request.line_column.empty()) wanted.push_back({"line", request.line_column});
  if (!request.fiducial_column.empty()) wanted.push_back({"fiducial", request.fiducial_column});
  return wanted;
}

/// Ends the reading where two of the wanted are in one column.
void refuse_same_column(const std::string& file, const TableLayout& layout,
                        const TableRequest& request) {
  for (std::size_t c = 0; c < request.columns.size(); ++c) {
    for (std::size_t before = 0; before < c; ++before) {
      if (layout.columns[before] != layout.columns[c] || layout.columns[c] == kNoColumn) continue;
      stop_run(fmt::format(" ERROR: {} and {} are both taken from column {} of {}.",
                           request.columns[before].what, request.columns[c].what,
                           layout.columns[c] + 1, file));
    }
  }
}

char separator_of(std::string_view line, const TableRequest& request) {
  return request.separator != 0 ? request.separator : guess_separator(line);
}

/// The place of a column, from 0. An exact match wins over one that differs in case.
std::optional<std::size_t> find_column(const std::string& column,
                                       const std::vector<std::string>& names) {
  if (const std::int64_t number = column_number(column)) return as_size(number - 1);
  for (const bool exact : {true, false}) {
    const auto same = [&](const std::string& name) {
      return exact ? name == column : lower_case(name) == lower_case(column);
    };
    const auto count = std::count_if(names.begin(), names.end(), same);
    if (count > 1) return std::nullopt;
    if (count == 1) {
      return as_size(std::find_if(names.begin(), names.end(), same) - names.begin());
    }
  }
  return std::nullopt;
}

/// The place of a wanted column, by its own name or by one of the usual; nothing where it is not
/// there, or in several places.
std::optional<std::size_t> place_of(const WantedColumn& wanted,
                                    const std::vector<std::string>& names) {
  if (!wanted.column.empty()) {
    const auto place = find_column(wanted.column, names);
    if (place || wanted.usual.empty()) return place;
  }
  const auto is_usual = [&](const std::string& name) {
    return std::find(wanted.usual.begin(), wanted.usual.end(), lower_case(name)) !=
           wanted.usual.end();
  };
  const auto count = std::count_if(names.begin(), names.end(), is_usual);
  if (count == 0 && wanted.optional) return kNoColumn;
  if (count != 1) return std::nullopt;
  return as_size(std::find_if(names.begin(), names.end(), is_usual) - names.begin());
}

/// What the heading should have had.
std::string expected_column(const WantedColumn& wanted) {
  if (wanted.usual.empty()) return fmt::format("should name a column '{}', once", wanted.column);
  std::string names;
  for (const std::string& name : wanted.usual) {
    names += (names.empty() ? "'" : name == wanted.usual.back() ? " or '" : ", '") + name + "'";
  }
  return fmt::format("should have one column {} (columns={}:NAME takes another)", names,
                     wanted.what);
}

/// Whether a field can be the name of a column, rather than an invalid value.
bool is_name(const std::string& field) {
  constexpr std::array kNoValues{"nan", "inf", "infinity", "na", "n/a", "null", "none"};
  const std::string text = lower_case(field);
  const bool letters = std::any_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;  // UTF-8
  });
  return letters && std::string_view("0123456789+-.*#").find(text.front()) == text.npos &&
         std::find(kNoValues.begin(), kNoValues.end(), text) == kNoValues.end();
}

bool all_names(const std::vector<std::string>& fields, const std::vector<std::size_t>& columns,
               const MissingMarks& marks) {
  return std::all_of(columns.begin(), columns.end(), [&](std::size_t column) {
    return column < fields.size() && is_name(fields[column]) && !marks.marks(fields[column]);
  });
}

RowWidth width_of(const std::vector<std::string>& fields, const char* what, std::int64_t line) {
  RowWidth width{fields.size(), fields.size(), fmt::format("{} (line {})", what, line)};
  while (width.min > 0 && fields[width.min - 1].empty()) --width.min;
  return width;
}

}  // namespace

bool needs_heading(const TableRequest& request) {
  const std::vector<WantedColumn> wanted = wanted_columns(request);
  return std::any_of(wanted.begin(), wanted.end(),
                     [](const WantedColumn& w) { return column_number(w.column) == 0; });
}

std::optional<TableLayout> layout_from_comment(const std::string& file, const TableLine& comment,
                                               const TableRequest& request) {
  std::string_view text = comment.text;
  text.remove_prefix(std::min(text.find_first_not_of("#/!% \t"), text.size()));
  TableLayout layout;
  layout.heading = split_fields(text, separator_of(text, request));
  layout.heading_line = comment.number;
  for (const WantedColumn& column : wanted_columns(request)) {
    const auto place = place_of(column, layout.heading);
    if (!place) return std::nullopt;
    layout.columns.push_back(*place);
  }
  refuse_same_column(file, layout, request);
  layout.width = width_of(layout.heading, "the heading", comment.number);
  return layout;
}

TableLayout layout_from_first_row(const std::string& file, const TableLine& row,
                                  const TableRequest& request, const MissingMarks& marks) {
  TableLayout layout;
  layout.separator = separator_of(row.text, request);
  std::vector<std::string> fields = split_fields(row.text, layout.separator);
  for (const WantedColumn& column : wanted_columns(request)) {
    const auto place = place_of(column, fields);
    if (!place) {
      std::string names;
      for (const std::string& field : fields) names += " '" + field + "'";
      stop_run(fmt::format(" ERROR: {} line {} {}. It holds:{}{}", file, row.number,
                           expected_column(column), excerpt(names),
                           separator_hint(row.text, layout.separator)));
    }
    layout.columns.push_back(*place);
  }
  refuse_same_column(file, layout, request);
  const bool by_name = needs_heading(request);
  // The line column holds names in rows of data too.
  const std::vector<std::size_t> of_numbers(
      layout.columns.begin(),
      layout.columns.begin() + static_cast<std::ptrdiff_t>(request.columns.size()));
  if (by_name || all_names(fields, of_numbers, marks)) {
    // Columns by number are the way out where a heading does not match its rows.
    if (by_name) layout.width = width_of(fields, "the heading", row.number);
    layout.heading = std::move(fields);
    layout.heading_line = row.number;
  }
  return layout;
}

void complete_layout(TableLayout& layout, const TableLine& first_row, const TableRequest& request) {
  if (layout.separator == 0) layout.separator = separator_of(first_row.text, request);
  if (!layout.width) {
    const auto fields = split_fields(first_row.text, layout.separator);
    layout.width = width_of(fields, "the first row", first_row.number);
  }
}

std::vector<std::string> column_names(const TableLayout& layout) {
  const bool fits = !layout.width || layout.heading.size() == layout.width->max;
  std::vector<std::string> names;
  for (const std::size_t column : layout.columns) {
    if (column == kNoColumn) {
      names.emplace_back();
      continue;
    }
    names.push_back(fits && column < layout.heading.size() ? layout.heading[column]
                                                           : fmt::format("#{}", column + 1));
  }
  return names;
}

}  // namespace quorivex
