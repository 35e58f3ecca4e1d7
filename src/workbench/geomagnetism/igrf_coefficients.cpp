// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geomagnetism/igrf_coefficients.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>

#include "base/free_format.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/geomagnetism/igrf_table.h"

namespace quorivex {
namespace {

constexpr std::string_view kTitle = "# IGRF ";

/// The lines of a table one by one, without comments.
struct TableLines {
  std::string_view rest;
  int number = 0;  // of the line that was taken last

  std::string_view take() {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = trim(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    ++number;
    return line;
  }

  std::string_view next() {
    std::string_view line = take();
    while (line.starts_with('#')) line = take();
    return line;
  }

  [[noreturn]] void refuse(const std::string& expected) const {
    stop_run(fmt::format(" ERROR: line {} of the IGRF table that qvx was built with should hold {}",
                         number, expected));
  }
};

std::string read_name(TableLines& lines) {
  const std::string_view title = lines.take();
  std::int32_t generation = 0;
  FreeFormat values(title.substr(std::min(kTitle.size(), title.size())));
  if (!title.starts_with(kTitle) || !values.read(generation)) {
    lines.refuse("\"# IGRF\" and the generation");
  }
  return fmt::format("IGRF-{}", generation);
}

bool at_end(FreeFormat& values) {
  double more = 0.0;
  return values.next(more) == Read::end;
}

/// Reads the counts and the years of the epochs, which must agree.
void read_epochs(TableLines& lines, std::vector<IgrfEpoch>& epochs) {
  FreeFormat counts(lines.next());
  std::int32_t lowest = 0;
  std::int32_t highest = 0;
  std::int32_t number = 0;
  std::int32_t spline = 0;
  std::int32_t steps = 0;
  double first = 0.0;
  double last = 0.0;
  if (!counts.read(lowest, highest, number, spline, steps, first, last) || !at_end(counts) ||
      lowest != 1 || highest != static_cast<std::int32_t>(kIgrfDegree) || number < 2 ||
      spline != 2 || steps != 1) {
    lines.refuse(fmt::format("1 {} EPOCHS 2 1 FIRST-YEAR LAST-YEAR", kIgrfDegree));
  }
  FreeFormat years(lines.next());
  for (std::int32_t e = 0; e < number; ++e) {
    IgrfEpoch epoch;
    if (!years.read(epoch.year) || !(epochs.empty() || epoch.year > epochs.back().year)) break;
    epochs.push_back(epoch);
  }
  if (epochs.size() != static_cast<std::size_t>(number) || !at_end(years) ||
      epochs.front().year != first || epochs.back().year != last) {
    lines.refuse(fmt::format("{} ascending years from {} to {}", number, first, last));
  }
}

/// Reads the value of each epoch for the cosine (`order` from 0) or sine (below 0) of a degree.
void read_coefficient(TableLines& lines, std::int32_t degree, std::int32_t order,
                      std::vector<IgrfEpoch>& epochs) {
  FreeFormat values(lines.next());
  std::int32_t n = 0;
  std::int32_t m = 0;
  bool read = values.read(n, m) && n == degree && m == order;
  for (IgrfEpoch& epoch : epochs) {
    read = read && values.read(epoch.coefficients.emplace_back());
  }
  if (!read || !at_end(values)) {
    lines.refuse(fmt::format("degree {}, order {} and {} values", degree, order, epochs.size()));
  }
}

}  // namespace

IgrfModel read_igrf(std::string_view table) {
  TableLines lines{table};
  IgrfModel model;
  model.name = read_name(lines);
  read_epochs(lines, model.epochs);
  for (std::int32_t n = 1; n <= static_cast<std::int32_t>(kIgrfDegree); ++n) {
    read_coefficient(lines, n, 0, model.epochs);
    for (std::int32_t m = 1; m <= n; ++m) {
      read_coefficient(lines, n, m, model.epochs);
      read_coefficient(lines, n, -m, model.epochs);
    }
  }
  if (!trim(lines.rest).empty()) {
    lines.next();
    lines.refuse("nothing more");
  }
  return model;
}

const IgrfModel& igrf() {
  static const IgrfModel model = read_igrf(igrf_table());
  return model;
}

}  // namespace quorivex
