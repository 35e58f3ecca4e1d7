// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/appraisal/survey_lines.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "base/statistics.h"

namespace quorivex {
namespace {

using Line = std::vector<std::size_t>;

constexpr double kGap = 10.0;         // median steps that a gap within a line is shorter than
constexpr double kShort = 0.5;        // median steps below which a step has no direction
constexpr double kCosTurn = 0.70710;  // of 45 degrees
constexpr std::size_t kBack = 4;      // data before, from where the heading of a line is taken
constexpr std::size_t kLeast = 4;     // data of a line without a name
constexpr double kStrip = 0.1;        // width / length

struct Step {
  double east = 0.0;
  double north = 0.0;
  double length() const { return std::hypot(east, north); }
};

Step step_between(const std::vector<double>& x, const std::vector<double>& y, std::size_t from,
                  std::size_t to) {
  return {x[to] - x[from], y[to] - y[from]};
}

double median_step(const std::vector<double>& x, const std::vector<double>& y) {
  std::vector<double> lengths;
  for (std::size_t i = 1; i < x.size(); ++i) {
    const double length = step_between(x, y, i - 1, i).length();
    if (length > 0.0) lengths.push_back(length);
  }
  return lengths.empty() ? 0.0 : median(std::move(lengths));
}

/// True where `step`, from the last datum of the line on, leaves its direction.
bool turns(const std::vector<double>& x, const std::vector<double>& y, const Line& line,
           const Step& step, double shortest) {
  const std::size_t back = line[line.size() - std::min(line.size(), kBack + 1)];
  const Step heading = step_between(x, y, back, line.back());
  const double lengths = heading.length() * step.length();
  if (heading.length() < shortest || step.length() < shortest) return false;
  return heading.east * step.east + heading.north * step.north < kCosTurn * lengths;
}

std::vector<Line> cut_order(const std::vector<double>& x, const std::vector<double>& y) {
  const double typical = median_step(x, y);
  std::vector<Line> lines;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const Step step = i == 0 ? Step{} : step_between(x, y, i - 1, i);
    const bool gap = lines.empty() || step.length() > kGap * typical;
    const bool turn = !gap && turns(x, y, lines.back(), step, kShort * typical);
    // The corner belongs to the line after a piece that is left out.
    const bool corner = turn && lines.back().size() < kLeast;
    if (corner) lines.back().pop_back();
    if (gap || turn) lines.push_back(corner ? Line{i - 1} : Line{});
    lines.back().push_back(i);
  }
  const auto is_piece = [](const Line& line) { return line.size() < kLeast; };
  lines.erase(std::remove_if(lines.begin(), lines.end(), is_piece), lines.end());
  std::size_t kept = 0;
  for (const Line& line : lines) kept += line.size();
  if (2 * kept < x.size()) lines.clear();
  return lines;
}

std::vector<SurveyLine> lines_by_name(const std::vector<std::string>& names) {
  std::map<std::string, std::size_t> known;
  std::vector<SurveyLine> lines;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i].empty()) continue;
    const auto [at, added] = known.try_emplace(names[i], lines.size());
    if (added) lines.push_back({names[i], {}});
    lines[at->second].data.push_back(i);
  }
  const auto is_single = [](const SurveyLine& line) { return line.data.size() < 2; };
  lines.erase(std::remove_if(lines.begin(), lines.end(), is_single), lines.end());
  return lines;
}

}  // namespace

std::vector<SurveyLine> survey_lines(const std::vector<double>& x, const std::vector<double>& y,
                                     const std::vector<std::string>& names) {
  std::vector<SurveyLine> lines = lines_by_name(names);
  if (names.empty()) {
    for (Line& data : cut_order(x, y)) {
      lines.push_back({std::to_string(lines.size() + 1), std::move(data)});
    }
  }
  for (SurveyLine& line : lines) {
    const Step all = step_between(x, y, line.data.front(), line.data.back());
    const bool eastward = std::abs(all.east) >= std::abs(all.north);
    if ((eastward ? all.east : all.north) < 0.0) std::reverse(line.data.begin(), line.data.end());
  }
  return lines;
}

bool is_strip(const std::vector<double>& x, const std::vector<double>& y) {
  const auto n = static_cast<double>(x.size());
  double east = 0.0;
  double north = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    east += x[i] / n;
    north += y[i] / n;
  }
  double ee = 0.0;
  double en = 0.0;
  double nn = 0.0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    ee += (x[i] - east) * (x[i] - east);
    en += (x[i] - east) * (y[i] - north);
    nn += (y[i] - north) * (y[i] - north);
  }
  // The variances along and across: the eigenvalues of the covariance matrix.
  const double mean = 0.5 * (ee + nn);
  const double apart = std::hypot(0.5 * (ee - nn), en);
  return mean > 0.0 && mean - apart < kStrip * kStrip * (mean + apart);
}

}  // namespace quorivex
