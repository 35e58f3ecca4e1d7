// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/tables/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <new>
#include <optional>
#include <utility>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_faults.h"
#include "base/text_file.h"
#include "workbench/tables/delimited_text.h"
#include "workbench/tables/missing_marks.h"
#include "workbench/tables/row_faults.h"
#include "workbench/tables/table_layout.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxLine = 1'000'000;

/// Numbers the flight lines of a table by their names, from 0.
struct FlightLines {
  std::vector<std::string> names;
  std::map<std::string, std::int32_t> numbers;

  std::int32_t number_of(const std::string& name) {
    const auto [at, added] = numbers.emplace(name, static_cast<std::int32_t>(names.size()));
    if (added) names.push_back(name);
    return at->second;
  }
};

/// One row of data; with a fault or a mark of a missing value its values are of no use.
struct Row {
  std::vector<double> values;
  std::vector<std::string> texts;
  std::optional<std::size_t> missing;  // the first wanted column that holds a mark
  std::string fault;                   // why the row cannot be used; empty: it can
};

/// Reads the next line, from the second on over the one before; false at the end of the file.
bool next_line(TextFile& file, const std::string& name, std::string& buffer, TableLine& line) {
  if (!file.read_line(buffer, kMaxLine)) return false;
  ++line.number;
  if (buffer.size() == kMaxLine) {
    stop_run(
        fmt::format(" ERROR: {} line {} is longer than a million characters.", name, line.number));
  }
  line.text = buffer;
  return true;
}

/// The name of the flight line that a row such as "Line 100" or "Tie: 5" begins.
std::optional<std::string> flight_line_begun_by(std::string_view row) {
  constexpr std::array kWords{"line", "tie", "base", "test", "trend", "random", "special"};
  constexpr std::string_view kBetween = " \t:,;";
  const std::string_view text = trim(row);
  const std::size_t end = std::min(text.find_first_of(kBetween), text.size());
  const std::string word = lower_case(text.substr(0, end));
  if (std::find(kWords.begin(), kWords.end(), word) == kWords.end()) return std::nullopt;
  std::string_view rest = text.substr(end);
  rest.remove_prefix(std::min(rest.find_first_not_of(kBetween), rest.size()));
  if (rest.find_first_of(" \t,;") != std::string_view::npos) return std::nullopt;
  return word + " " + std::string(rest);
}

/// Why a row of these fields does not have the columns that it should have; empty: it does.
std::string width_fault(const std::vector<std::string>& fields, const TableLayout& layout) {
  const RowWidth& width = *layout.width;
  const bool surplus =
      std::any_of(fields.begin() + static_cast<std::ptrdiff_t>(std::min(fields.size(), width.max)),
                  fields.end(), [](const std::string& field) { return !field.empty(); });
  if (fields.size() < width.min || surplus) {
    return fmt::format("has {} columns, but {} has {}", fields.size(), width.source, width.max);
  }
  // One past it, which is 0 past kNoColumn.
  const std::size_t end = *std::max_element(layout.columns.begin(), layout.columns.end(),
                                            [](auto a, auto b) { return a + 1 < b + 1; }) +
                          1;
  if (end <= fields.size()) return "";
  return fmt::format("should have {} columns or more, not {}", end, fields.size());
}

/// Why a field cannot be a value of the column; empty: it can, and `value` has it.
std::string parse_value(const WantedColumn& wanted, std::size_t column, const std::string& field,
                        const MissingMarks& marks, std::string_view option, double& value) {
  const auto number = to_number(field);
  if (!number || *number < wanted.min || *number > wanted.max) {
    return fmt::format("{} (column {}) should be a number from {} to {}, not '{}'", wanted.what,
                       column + 1, wanted.min, wanted.max, excerpt(field));
  }
  if (marks.looks_like_one(*number)) {
    return fmt::format(
        "{0} (column {1}) of {2} looks like a mark of a missing value; '{3}{2}' leaves it out, "
        "'{3}none' takes it",
        wanted.what, column + 1, field, option);
  }
  value = *number;
  return "";
}

std::string_view missing_option(const TableRequest& request) {
  return request.in_recipe ? "missing=" : "--missing ";
}

/// Parses the wanted values of a row into `row`, whose memory is used again.
void parse_row(const std::vector<std::string>& fields, const TableLayout& layout,
               const TableRequest& request, const MissingMarks& marks, Row& row) {
  row.values.assign(request.columns.size(), 0.0);
  row.texts.resize(request.columns.size());
  row.missing.reset();
  row.fault = width_fault(fields, layout);
  for (std::size_t c = 0; c < row.values.size() && row.fault.empty(); ++c) {
    const std::size_t column = layout.columns[c];
    if (column == kNoColumn) continue;
    const WantedColumn& wanted = request.columns[c];
    if (wanted.gaps && (fields[column].empty() || marks.marks(fields[column]))) {
      row.values[c] = std::numeric_limits<double>::quiet_NaN();
    } else if (marks.marks(fields[column])) {
      if (!row.missing) row.missing = c;
    } else if (!wanted.text) {
      row.fault = parse_value(wanted, column, fields[column], marks, missing_option(request),
                              row.values[c]);
    } else if (fields[column].empty()) {
      row.fault = fmt::format("{} (column {}) is empty; '{}empty' leaves such rows out",
                              wanted.what, column + 1, missing_option(request));
    } else {
      row.texts[c] = fields[column];
    }
  }
}

/// Ends the reading where the file is no text, or writes its numbers with a comma.
void refuse_other_formats(const std::string& name, const TableLine& line, bool faulty) {
  if (line.number == 1) {
    const std::string format = foreign_format(line.text);
    if (!format.empty()) stop_run(fmt::format(" ERROR: {} {}.", name, format));
  }
  const std::string_view comma = faulty ? decimal_comma_in(line.text) : std::string_view{};
  if (comma.empty()) return;
  stop_run(
      fmt::format(" ERROR: {} line {} has a decimal comma, '{}'. Numbers need a decimal point: "
                  "export the\n table with one, or replace the commas (sed 's/,/./g' {} > "
                  "points.txt).",
                  name, line.number, excerpt(comma), name));
}

/// Adds a usable row to the table.
void append(Table& table, const Row& row, const TableRequest& request, const TableLayout& layout,
            std::int64_t number, std::int32_t flight_line) {
  for (std::size_t c = 0; c < row.values.size(); ++c) {
    if (layout.columns[c] == kNoColumn) continue;
    if (request.columns[c].text) {
      append_checked(table.texts[c], row.texts[c]);
    } else {
      append_checked(table.columns[c], row.values[c]);
    }
  }
  append_checked(table.number, number);
  append_checked(table.line, flight_line);
}

/// What the whole file says of the table.
void finish(const std::string& name, const std::optional<TableLayout>& layout,
            std::vector<std::string> line_names, Table& table) {
  if (table.rows == 0) stop_run(fmt::format(" ERROR: {} holds no row of data.", name));
  table.line_names = std::move(line_names);
  table.heading = layout->heading_line;
  table.names = column_names(*layout);
}

/// The flight line of a row: in its column, or begun by a row of its own.
std::string flight_line_of(const std::vector<std::string>& fields, const TableLayout& layout,
                           const TableRequest& request, const std::optional<std::string>& begun) {
  if (request.line_column.empty()) return begun.value_or("");
  return fields[layout.columns[request.columns.size()]];
}

bool is_comment(std::string_view text) {
  return std::string_view("#/!%").find(text.front()) != std::string_view::npos;
}

Table read_rows(TextFile& file, const std::string& name, const TableRequest& request) {
  const MissingMarks marks(request.missing);
  const bool by_name = needs_heading(request);
  Table table;
  table.columns.resize(request.columns.size());
  table.texts.resize(request.columns.size());
  table.missing.resize(request.columns.size());
  std::optional<TableLayout> layout;
  FlightLines flight_lines;
  std::optional<std::string> begun;  // the flight line that a row of its own has begun
  RowFaults faults(name, fmt::format("Correct them, or name the marks of missing values ({}'*') to "
                                     "leave\n such rows out.",
                                     missing_option(request)));
  Row row;
  std::string buffer;
  for (TableLine line; next_line(file, name, buffer, line);) {
    refuse_other_formats(name, line, false);
    const std::string_view text = trim(line.text);
    if (text.empty()) continue;
    if (is_comment(text)) {
      if (by_name && !layout) layout = layout_from_comment(name, {text, line.number}, request);
      continue;
    }
    if (auto flight_line = request.flight_lines ? flight_line_begun_by(text) : std::nullopt) {
      begun = std::move(flight_line);
      if (request.line_column.empty()) flight_lines.number_of(*begun);
      continue;
    }
    if (!layout) {
      layout = layout_from_first_row(name, line, request, marks);
      if (layout->heading_line == line.number) continue;
    }
    if (table.rows++ == 0) complete_layout(*layout, line, request);
    const std::vector<std::string> fields = split_fields(line.text, layout->separator);
    parse_row(fields, *layout, request, marks, row);
    if (!row.fault.empty()) {
      refuse_other_formats(name, line, true);
      const bool one_field = fields.size() == 1 && !request.in_recipe;
      faults.add(line.number,
                 row.fault + (one_field ? separator_hint(line.text, layout->separator) : ""),
                 line.text);
    } else if (row.missing) {
      ++table.missing[*row.missing];
    } else {
      append(table, row, request, *layout, line.number,
             flight_lines.number_of(flight_line_of(fields, *layout, request, begun)));
      if (!request.fiducial_column.empty()) {
        append_checked(table.fiducial, fields[layout->columns.back()]);
      }
    }
  }
  faults.refuse_any();
  finish(name, layout, std::move(flight_lines.names), table);
  return table;
}

}  // namespace

std::int64_t column_number(const std::string& column) {
  const std::string digits = column.starts_with('#') ? column.substr(1) : column;
  const bool number =
      !digits.empty() && digits.size() < 7 && digits.find_first_not_of("0123456789") == digits.npos;
  return number ? std::stoll(digits) : 0;
}

Table read_table(const std::string& name, const TableRequest& request) {
  try {
    std::optional<TextFile> file = TextFile::open(name);
    if (!file) cannot_open("table", name);
    return read_rows(*file, name, request);
  } catch (const std::bad_alloc&) {
    alloc_error("read_table");
  }
}

}  // namespace quorivex
