// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/line_crossings.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <tuple>
#include <utility>

#include "base/statistics.h"

namespace quorivex {
namespace {

constexpr double kGapOfLine = 3.0;     // medians of the line's steps
constexpr double kGapOfSurvey = 10.0;  // medians of all steps
constexpr double kMinSine = 0.5;
constexpr double kMaxPairs = 1e9;  // some seconds

struct Step {
  std::size_t from = 0;
  std::size_t to = 0;
  std::size_t line = 0;
  bool last = true;   ///< before a gap, or of its line: its end belongs to it, too
  double east = 0.0;  ///< whole numbers: the square of its middle
  double north = 0.0;
};

double length_of(const Stations& s, std::size_t from, std::size_t to) {
  return std::hypot(s.easting[to] - s.easting[from], s.northing[to] - s.northing[from]);
}

/// The median of the steps that lead somewhere; 0 where none does.
double median_step(std::vector<double> lengths) {
  std::erase_if(lengths, [](double length) { return !(length > 0.0); });
  return lengths.empty() ? 0.0 : median(std::move(lengths));
}

/// The steps of all lines but those over gaps, sorted by squares that are as wide as the longest.
std::vector<Step> steps_of(const Stations& s, const LineStations& lines) {
  std::vector<double> all;
  std::vector<double> gaps;  // of each line
  for (const std::vector<std::size_t>& line : lines) {
    std::vector<double> lengths;
    for (std::size_t k = 1; k < line.size(); ++k)
      lengths.push_back(length_of(s, line[k - 1], line[k]));
    all.insert(all.end(), lengths.begin(), lengths.end());
    gaps.push_back(kGapOfLine * median_step(std::move(lengths)));
  }
  const double gap = kGapOfSurvey * median_step(std::move(all));
  std::vector<Step> steps;
  double width = 0.0;
  for (std::size_t line = 0; line < lines.size(); ++line) {
    const std::vector<std::size_t>& at = lines[line];
    bool before = false;  // a step that ends where the next one begins
    for (std::size_t k = 1; k < at.size(); ++k) {
      const double length = length_of(s, at[k - 1], at[k]);
      const bool counts = length > 0.0 && length <= std::min(gap, gaps[line]);
      if (before && counts) steps.back().last = false;
      before = counts;
      if (!counts) continue;
      width = std::max(width, length);
      steps.push_back({.from = at[k - 1], .to = at[k], .line = line});
    }
  }
  for (Step& step : steps) {
    step.east = std::floor(0.5 * (s.easting[step.from] + s.easting[step.to]) / width);
    step.north = std::floor(0.5 * (s.northing[step.from] + s.northing[step.to]) / width);
  }
  std::sort(steps.begin(), steps.end(), [](const Step& a, const Step& b) {
    return std::tie(a.east, a.north, a.from) < std::tie(b.east, b.north, b.from);
  });
  return steps;
}

/// Calls `pair(first, last, begin, end)` for the steps [first, last) of a square and those [begin,
/// end) of three squares, of the nine around it, in one column.
template <class Pair>
void for_neighbours(const std::vector<Step>& steps, Pair pair) {
  using Square = std::pair<double, double>;
  const auto before = [](const Step& step, const Square& square) {
    return Square{step.east, step.north} < square;
  };
  for (std::size_t first = 0; first < steps.size();) {
    const Square here{steps[first].east, steps[first].north};
    std::size_t last = first;
    while (last < steps.size() && Square{steps[last].east, steps[last].north} == here) ++last;
    for (const double column : {here.first, here.first + 1.0}) {
      const auto begin =
          std::lower_bound(steps.begin(), steps.end(), Square{column, here.second - 1.0}, before);
      const auto end =
          std::lower_bound(begin, steps.end(), Square{column, here.second + 2.0}, before);
      pair(first, last, static_cast<std::size_t>(begin - steps.begin()),
           static_cast<std::size_t>(end - steps.begin()));
    }
    first = last;
  }
}

bool is_on(double at, const Step& step) {
  return at >= 0.0 && (at < 1.0 || (step.last && at == 1.0));
}

std::optional<Crossing> crossing_of(const Stations& s, const Step& a, const Step& b) {
  const double ae = s.easting[a.to] - s.easting[a.from];
  const double an = s.northing[a.to] - s.northing[a.from];
  const double be = s.easting[b.to] - s.easting[b.from];
  const double bn = s.northing[b.to] - s.northing[b.from];
  const double area = ae * bn - an * be;
  if (!(std::abs(area) >= kMinSine * std::hypot(ae, an) * std::hypot(be, bn))) return {};
  const double e = s.easting[b.from] - s.easting[a.from];
  const double n = s.northing[b.from] - s.northing[a.from];
  const double on_a = (e * bn - n * be) / area;
  const double on_b = (e * an - n * ae) / area;
  if (!is_on(on_a, a) || !is_on(on_b, b)) return {};
  return Crossing{{a.from, a.to, on_a}, {b.from, b.to, on_b}};
}

}  // namespace

LineStations stations_of_lines(const Stations& stations) {
  LineStations lines;
  for (std::size_t i = 0; i < stations.size(); ++i) {
    const auto line = static_cast<std::size_t>(stations.line[i]);
    if (line >= lines.size()) lines.resize(line + 1);
    lines[line].push_back(i);
  }
  return lines;
}

LineCrossings line_crossings(const Stations& stations, const LineStations& lines) {
  const std::vector<Step> steps = steps_of(stations, lines);
  double pairs = 0.0;
  for_neighbours(steps,
                 [&](std::size_t first, std::size_t last, std::size_t begin, std::size_t end) {
                   pairs += static_cast<double>(last - first) * static_cast<double>(end - begin);
                 });
  if (pairs > kMaxPairs) return {.crossings = {}, .too_dense = true};
  LineCrossings found;
  for_neighbours(steps,
                 [&](std::size_t first, std::size_t last, std::size_t begin, std::size_t end) {
                   for (std::size_t a = first; a < last; ++a) {
                     for (std::size_t b = std::max(begin, a + 1); b < end; ++b) {
                       if (steps[a].line == steps[b].line) continue;
                       if (const auto crossing = crossing_of(stations, steps[a], steps[b]))
                         found.crossings.push_back(*crossing);
                     }
                     found.too_dense = found.too_dense || found.crossings.size() > steps.size();
                     if (found.too_dense) return;
                   }
                 });
  if (found.too_dense) found.crossings.clear();
  return found;
}

}  // namespace quorivex
