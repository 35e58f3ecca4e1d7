// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/tables/table.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <map>
#include <new>
#include <optional>
#include <utility>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_file.h"
#include "base/view1.h"
#include "workbench/tables/delimited_text.h"
#include "workbench/tables/missing_marks.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxLine = 1'000'000;

/// The name of the line that a row such as "Line 100" or "Tie: 5" begins.
std::optional<std::string> begins_line(std::string_view row) {
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

/// Whether a field can be the name of a column, rather than a value that is no number.
bool is_name(const std::string& field) {
  constexpr std::array kNoValues{"nan", "inf", "infinity", "na", "n/a", "null", "none"};
  const std::string text = lower_case(field);
  const bool letters = std::any_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || static_cast<unsigned char>(c) >= 0x80;  // UTF-8
  });
  return letters && std::string_view("0123456789+-.*#").find(text.front()) == text.npos &&
         std::find(kNoValues.begin(), kNoValues.end(), text) == kNoValues.end();
}

class TableReader {
 public:
  TableReader(const std::string& name, const TableRequest& request)
      : name_(name), request_(request), marks_(request.missing), faults_(name) {
    for (const WantedColumn& column : request.columns) wanted_.push_back(column.column);
    if (!request.line_column.empty()) wanted_.push_back(request.line_column);
    by_name_ = std::any_of(wanted_.begin(), wanted_.end(),
                           [](const std::string& column) { return column_number(column) == 0; });
    table_.columns.resize(request.columns.size());
    table_.missing.resize(request.columns.size());
  }

  Table read() {
    std::optional<TextFile> file = TextFile::open(name_);
    if (!file) file_not_found("table", name_);
    std::string line;
    for (number_ = 1; file->read_line(line, kMaxLine); ++number_) {
      if (line.size() == kMaxLine) {
        stop_run(
            fmt::format(" ERROR: {} line {} is longer than a million characters.", name_, number_));
      }
      take_line(line);
    }
    faults_.refuse_any();
    if (table_.rows == 0) stop_run(fmt::format(" ERROR: {} holds no row of data.", name_));
    return std::move(table_);
  }

 private:
  void take_line(const std::string& line) {
    const std::string_view text = trim(line);
    if (text.empty()) return;
    if (std::string_view("#/!%").find(text.front()) != std::string_view::npos) {
      if (by_name_ && places_.empty()) look_for_header(text);
      return;
    }
    if (auto begun = begins_line(text)) {
      if (request_.line_column.empty()) begun_line_ = line_of_name(*begun);
      return;
    }
    if (places_.empty() && !take_first_row(line)) return;
    if (separator_ == 0) {
      separator_ = request_.separator != 0 ? request_.separator : guess_separator(line);
    }
    take_row(line, split_fields(line, separator_));
  }

  /// XYZ files name their columns in a comment.
  void look_for_header(std::string_view comment) {
    comment.remove_prefix(std::min(comment.find_first_not_of("#/!% \t"), comment.size()));
    const char separator = request_.separator != 0 ? request_.separator : guess_separator(comment);
    const std::vector<std::string> names = split_fields(comment, separator);
    std::vector<std::size_t> places;
    for (const std::string& column : wanted_) {
      const auto place = place_of(column, names);
      if (!place) return;
      places.push_back(*place);
    }
    set_places(std::move(places), names);
    set_width(names, "the heading");
  }

  /// Finds the columns; true when the first row is one of data.
  bool take_first_row(const std::string& line) {
    separator_ = request_.separator != 0 ? request_.separator : guess_separator(line);
    const std::vector<std::string> fields = split_fields(line, separator_);
    std::vector<std::size_t> places;
    for (const std::string& column : wanted_) {
      const auto place = place_of(column, fields);
      if (!place) {
        std::string names;
        for (const std::string& field : fields) names += " '" + field + "'";
        stop_run(fmt::format(" ERROR: {} line {} should name a column '{}', once. It holds:{}",
                             name_, number_, column, shown(names)));
      }
      places.push_back(*place);
    }
    const bool heading = by_name_ || all_names(fields, places);
    set_places(std::move(places), heading ? fields : std::vector<std::string>{});
    // Columns by number are the way out where a heading does not fit its rows.
    if (by_name_) set_width(fields, "the heading");
    return !heading;
  }

  bool all_names(const std::vector<std::string>& fields,
                 const std::vector<std::size_t>& places) const {
    for (std::size_t c = 0; c < request_.columns.size(); ++c) {
      if (places[c] >= fields.size()) return false;
      const std::string& field = fields[places[c]];
      if (!is_name(field) || marks_.marks(field)) return false;
    }
    return true;
  }

  /// From here on rows should have as many columns as this one; empty ones at its end, which come
  /// of separators at the ends of lines, may be missing.
  void set_width(const std::vector<std::string>& fields, const char* what) {
    most_ = least_ = fields.size();
    while (least_ > 0 && fields[least_ - 1].empty()) --least_;
    width_of_ = fmt::format("{} (line {})", what, number_);
  }

  bool fits_width(const std::vector<std::string>& fields) const {
    const bool surplus =
        std::any_of(fields.begin() + std::min(length(fields), static_cast<std::int64_t>(most_)),
                    fields.end(), [](const std::string& field) { return !field.empty(); });
    return fields.size() >= least_ && !surplus;
  }

  void set_places(std::vector<std::size_t> places, const std::vector<std::string>& names) {
    if (!names.empty()) table_.heading = number_;
    heading_columns_ = names.size();
    places_ = std::move(places);
    name_columns(names);
  }

  void name_columns(const std::vector<std::string>& names) {
    table_.names.clear();
    for (const std::size_t place : places_) {
      table_.names.push_back(place < names.size() ? names[place] : fmt::format("#{}", place + 1));
    }
  }

  /// The name as it stands comes before one that differs in capitals.
  static std::optional<std::size_t> place_of(const std::string& column,
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

  void take_row(const std::string& line, const std::vector<std::string>& fields) {
    ++table_.rows;
    if (most_ == 0) {
      set_width(fields, "the first row");
      // A heading of other columns does not tell their names.
      if (fields.size() != heading_columns_) name_columns({});
    }
    if (!fits_width(fields)) {
      return faults_.add(
          number_, fmt::format("has {} columns, but {} has {}", fields.size(), width_of_, most_),
          line);
    }
    const std::size_t last = *std::max_element(places_.begin(), places_.end());
    if (last >= fields.size()) {
      return faults_.add(
          number_, fmt::format("should have {} columns or more, not {}", last + 1, fields.size()),
          line);
    }
    row_.clear();
    std::optional<std::size_t> marked;
    for (std::size_t c = 0; c < request_.columns.size(); ++c) {
      const std::string& field = fields[places_[c]];
      const bool is_marked = marks_.marks(field);
      if (is_marked && !marked) marked = c;
      row_.push_back(0.0);
      if (!is_marked && !take_value(c, field, line)) return;
    }
    if (marked) {
      ++table_.missing[*marked];
      return;
    }
    for (std::size_t c = 0; c < row_.size(); ++c) table_.columns[c].push_back(row_[c]);
    table_.number.push_back(number_);
    if (!request_.line_column.empty()) begun_line_ = line_of_name(fields[places_.back()]);
    if (begun_line_ < 0) begun_line_ = line_of_name("");
    table_.line.push_back(begun_line_);
  }

  bool take_value(std::size_t c, const std::string& field, const std::string& line) {
    const WantedColumn& wanted = request_.columns[c];
    const auto value = to_number(field);
    if (!value || *value < wanted.least || *value > wanted.most) {
      faults_.add(number_,
                  fmt::format("{} (column {}) should be a number from {} to {}, not '{}'",
                              wanted.what, places_[c] + 1, wanted.least, wanted.most, shown(field)),
                  line);
      return false;
    }
    if (marks_.looks_like_one(*value)) {
      faults_.add(number_,
                  fmt::format("{} (column {}) of {} looks like a mark of a missing value; "
                              "'--missing {}' leaves it out, '--missing none' takes it",
                              wanted.what, places_[c] + 1, field, field),
                  line);
      return false;
    }
    row_.back() = *value;
    return true;
  }

  std::int32_t line_of_name(const std::string& line) {
    const auto [at, added] =
        line_numbers_.emplace(line, static_cast<std::int32_t>(table_.line_names.size()));
    if (added) table_.line_names.push_back(line);
    return at->second;
  }

  const std::string& name_;
  const TableRequest& request_;
  MissingMarks marks_;
  RowFaults faults_;
  std::vector<std::string> wanted_;  // the line column is the last one
  bool by_name_ = false;
  std::vector<std::size_t> places_;  // of the wanted columns, from 0; empty: not yet known
  char separator_ = 0;
  std::size_t heading_columns_ = 0;
  std::size_t least_ = 0;  // columns of a row
  std::size_t most_ = 0;   // 0: not yet known
  std::string width_of_;   // the line that these are of
  std::int64_t number_ = 0;
  std::int32_t begun_line_ = -1;
  std::map<std::string, std::int32_t> line_numbers_;
  std::vector<double> row_;
  Table table_;
};

}  // namespace

std::int64_t column_number(const std::string& column) {
  const std::string digits = column.starts_with('#') ? column.substr(1) : column;
  const bool number =
      !digits.empty() && digits.size() < 7 && digits.find_first_not_of("0123456789") == digits.npos;
  return number ? std::stoll(digits) : 0;
}

Table read_table(const std::string& name, const TableRequest& request) {
  try {
    return TableReader(name, request).read();
  } catch (const std::bad_alloc&) {
    alloc_error("read_table");
  }
}

}  // namespace quorivex
