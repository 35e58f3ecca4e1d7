// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/polygon.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "base/memory.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_file.h"
#include "workbench/model/operation_keys.h"
#include "workbench/tables/delimited_text.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxOutlineLine = 10'000;  // characters
constexpr std::size_t kMinCorners = 3;

/// Builds the rings of an outline from its lines.
class OutlineReader {
 public:
  explicit OutlineReader(std::string name) : name_(std::move(name)) {}

  void take(const std::string& line) {
    ++number_;
    const std::string_view text = trim(line);
    if (text.empty() || text.front() == '>') return end_ring();
    if (text.front() == '#' || text.front() == '!') return;
    const std::vector<std::string> fields = split_fields(text, guess_separator(text));
    MapPoint corner{};
    for (std::size_t n = 0; n < corner.size(); ++n) {
      // What follows the northing may be parted from it by a blank.
      const std::string field = n < fields.size() ? fields[n] : "";
      const auto value =
          to_number(field.substr(0, n == 0 ? field.npos : field.find_first_of(" \t")));
      if (!value || !(std::abs(*value) <= kMaxPlace)) {
        refuse_line(fmt::format("should hold easting and northing (m):\n    {}", excerpt(line)));
      }
      corner[n] = *value;
    }
    append_checked(ring_, corner);
  }

  void end_ring() {
    if (ring_.empty()) return;
    if (ring_.size() > 1 && ring_.front() == ring_.back()) ring_.pop_back();
    if (ring_.size() < kMinCorners) {
      refuse_line(fmt::format("ends a ring of {} corners; a ring has three or more", ring_.size()));
    }
    append_checked(rings_, std::move(ring_));
    ring_.clear();
  }

  std::vector<Ring> rings() {
    end_ring();
    if (rings_.empty()) stop_run(fmt::format(" ERROR: the outline {} holds no corners.", name_));
    return std::move(rings_);
  }

 private:
  [[noreturn]] void refuse_line(const std::string& why) const {
    stop_run(fmt::format(" ERROR: outline {}, line {}, {}", name_, number_, why));
  }

  std::string name_;
  std::int64_t number_ = 0;
  Ring ring_;
  std::vector<Ring> rings_;
};

/// Where the rings cross a line of this northing, from west to east. A corner on the line belongs
/// to what lies north of it.
std::vector<double> crossings(const std::vector<Ring>& rings, double northing) {
  std::vector<double> eastings;
  for (const Ring& ring : rings) {
    for (std::size_t n = 0; n < ring.size(); ++n) {
      const MapPoint& a = ring[n];
      const MapPoint& b = ring[n + 1 == ring.size() ? 0 : n + 1];
      if ((a[1] > northing) == (b[1] > northing)) continue;
      eastings.push_back(a[0] + (northing - a[1]) / (b[1] - a[1]) * (b[0] - a[0]));
    }
  }
  std::sort(eastings.begin(), eastings.end());
  return eastings;
}

}  // namespace

std::vector<Ring> read_outline(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) cannot_open("outline", name);
  OutlineReader reader(name);
  std::string line;
  while (file->read_line(line, kMaxOutlineLine)) reader.take(line);
  return reader.rings();
}

Selection select_polygon(const Operation& operation, const ModelSources& sources) {
  const std::string& name = needed_text(operation, "outline");
  const std::vector<Ring> rings = read_for(operation, [&] { return read_outline(name); });
  const ModelCells& cells = sources.cells;
  std::vector<bool> columns;  // easting fastest
  for (const double northing : cells.northings) {
    const std::vector<double> borders = crossings(rings, northing);
    for (const double easting : cells.eastings) {
      const auto east = std::upper_bound(borders.begin(), borders.end(), easting);
      columns.push_back((east - borders.begin()) % 2 == 1);
    }
  }
  return select_cells(cells, [&](const GridCell& at) {
    return columns[as_size((at.j - 1) * std::int64_t{cells.ground->mesh.ne} + at.i - 1)];
  });
}

}  // namespace quorivex
