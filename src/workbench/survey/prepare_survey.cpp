// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/prepare_survey.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <numeric>
#include <utility>

#include "base/stop_run.h"
#include "base/text.h"
#include "workbench/geomagnetism/geomagnetic_field.h"
#include "workbench/geomagnetism/igrf_coefficients.h"
#include "workbench/tables/table.h"
#include "workbench/terrain/terrain.h"

namespace quorivex {
namespace {

constexpr double kFarthest = 1e9;         // metres
constexpr double kHighest = 1e5;          // metres
constexpr double kStrongest = 2e5;        // nT, on Earth
constexpr double kLikeWholeField = 15e3;  // nT; no anomaly has such a median

/// The columns that are asked for, and where each is among them.
struct Columns {
  std::vector<WantedColumn> wanted;
  std::size_t easting = 0;
  std::size_t northing = 0;
  std::size_t field = 0;
  std::optional<std::size_t> elevation;
  std::optional<std::size_t> height;
  std::optional<std::size_t> longitude;
  std::optional<std::size_t> latitude;
};

Columns columns_of(const SurveyTable& table) {
  Columns c;
  const auto add = [&](const char* what, const std::string& column, double least, double most) {
    c.wanted.push_back({what, column, least, most});
    return c.wanted.size() - 1;
  };
  c.easting = add("easting", table.easting, -kFarthest, kFarthest);
  c.northing = add("northing", table.northing, -kFarthest, kFarthest);
  c.field = add("field", table.field, -kStrongest, kStrongest);
  if (!table.elevation.empty()) {
    c.elevation = add("elevation", table.elevation, -kHighest, kHighest);
  } else if (const auto same = to_number(table.height); !same) {
    c.height = add("height", table.height, -kHighest, kHighest);
  } else if (std::abs(*same) > kHighest) {
    stop_run(fmt::format(
        " ERROR: --height should be from {:g} to {:g} m, or name a column (of which '#4' is the\n"
        " fourth); found {}.",
        -kHighest, kHighest, table.height));
  }
  if (!table.longitude.empty()) {
    c.longitude = add("longitude", table.longitude, -360.0, 360.0);
    c.latitude = add("latitude", table.latitude, -90.0, 90.0);
  }
  return c;
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return 0.5 * (values[(values.size() - 1) / 2] + values[values.size() / 2]);
}

double mean(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) sum += value;
  return sum / static_cast<double>(values.size());
}

std::string range_in_words(const std::vector<double>& values) {
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  return fmt::format("{:.10g} to {:.10g}", *least, *most);
}

/// Prepares one survey step by step, each with its remark.
class Preparation {
 public:
  explicit Preparation(const SurveyChoices& choices) : choices_(choices) {}

  PreparedSurvey run() {
    read();
    find_elevations();
    thin();
    find_trend();
    find_deviations();
    find_field();
    return assemble();
  }

 private:
  void remark(std::string text) { result_.remarks.push_back(std::move(text)); }
  void warn(std::string text) { result_.warnings.push_back(std::move(text)); }

  void read() {
    const SurveyTable& from = choices_.table;
    columns_ = columns_of(from);
    table_ = read_table(from.name, {columns_.wanted, from.line, from.separator, from.missing});
    const auto left_out =
        std::accumulate(table_.missing.begin(), table_.missing.end(), std::int64_t{0});
    std::string by;
    for (std::size_t c = 0; c < table_.missing.size(); ++c) {
      if (table_.missing[c] == 0) continue;
      by += fmt::format("{}{} {}", by.empty() ? " (" : ", ", columns_.wanted[c].what,
                        table_.missing[c]);
    }
    remark(fmt::format("{}: {} rows read, {} left out as marked missing{}", from.name, table_.rows,
                       left_out, by.empty() ? "" : by + ")"));
    if (table_.number.empty()) {
      stop_run(
          fmt::format(" ERROR: all {} rows of {} are marked as missing.", table_.rows, from.name));
    }
    if (length(table_.number) > std::numeric_limits<std::int32_t>::max()) {
      stop_run(fmt::format(" ERROR: {} holds more rows than observations can have.", from.name));
    }
    remark(fmt::format("columns: easting {}, northing {}, field {} ({})",
                       table_.names[columns_.easting], table_.names[columns_.northing],
                       table_.names[columns_.field],
                       table_.heading > 0 ? fmt::format("line {} taken as heading", table_.heading)
                                          : "no heading"));
    stations_.easting = table_.columns[columns_.easting];
    stations_.northing = table_.columns[columns_.northing];
    stations_.field = table_.columns[columns_.field];
    stations_.line = table_.line;
    stations_.number = table_.number;
  }

  void find_elevations() {
    if (columns_.elevation) {
      stations_.elevation = table_.columns[*columns_.elevation];
      remark(fmt::format("elevation: column {}", table_.names[*columns_.elevation]));
      return;
    }
    const double same = to_number(choices_.table.height).value_or(0.0);
    if (!columns_.height && same < 0.0) {
      warn(fmt::format(
          "--height {:g} puts all stations below the ground, which is right for boreholes only.",
          same));
    }
    const Terrain terrain = read_terrain(choices_.terrain);
    std::int64_t beyond = 0;
    for (std::size_t i = 0; i < stations_.size(); ++i) {
      const double e = stations_.easting[i];
      const double n = stations_.northing[i];
      const double ground = terrain.elevation(e, n);
      if (!std::isfinite(ground)) {
        stop_run(
            fmt::format(" ERROR: the terrain {} has no elevation at {:.10g} E {:.10g} N, the "
                        "station of line {} "
                        "of {}.",
                        choices_.terrain, e, n, stations_.number[i], choices_.table.name));
      }
      if (!terrain.covers(e, n)) ++beyond;
      const double height = columns_.height ? table_.columns[*columns_.height][i] : same;
      stations_.elevation.push_back(ground + height);
    }
    remark(fmt::format(
        "elevation: {} above the terrain {} ({})",
        columns_.height ? "column " + table_.names[*columns_.height] : fmt::format("{:g} m", same),
        choices_.terrain, terrain.description));
    if (beyond > 0) {
      warn(
          fmt::format("{} stations lie outside the terrain; below them the ground is that of its "
                      "nearest edge.",
                      beyond));
    }
  }

  void thin() {
    const std::size_t before = stations_.size();
    std::string how = "no thinning";
    if (choices_.spacing > 0.0) {
      stations_ = select(stations_, thin_along_lines(stations_, choices_.spacing));
      how = fmt::format("nearest to every {:g} m along {} lines", choices_.spacing,
                        table_.line_names.size());
      if (table_.line_names.size() == 1 && table_.line_names.front().empty()) {
        warn(
            "the table names no lines, so that all stations were thinned as one; --line names the "
            "column that tells them apart.");
      }
    } else if (choices_.grid > 0.0) {
      stations_ = select(stations_, thin_to_grid(stations_, choices_.grid, choices_.grid_choice));
      how = fmt::format("{} each {:g} m cell",
                        choices_.grid_choice == GridChoice::median
                            ? "station with the median of"
                            : "station nearest to the centre of",
                        choices_.grid);
    }
    remark(fmt::format("thinned away: {} ({}); used: {}", before - stations_.size(), how,
                       stations_.size()));
  }

  void find_trend() {
    const TrendChoice& t = choices_.trend;
    if (!t.kind) {
      remark("removed: nothing");
    } else {
      const auto middle = [](const std::vector<double>& values) {
        const auto [least, most] = std::minmax_element(values.begin(), values.end());
        return 0.5 * (*least + *most);
      };
      const double e = t.centre ? (*t.centre)[0] : middle(stations_.easting);
      const double n = t.centre ? (*t.centre)[1] : middle(stations_.northing);
      const Trend trend =
          t.given ? Trend{e, n, (*t.given)[0], (*t.given)[1] * 1e-3, (*t.given)[2] * 1e-3}
                  : fit_trend(stations_, *t.kind, t.fit, e, n, t.beyond);
      remove_trend(trend, stations_);
      std::string how = "as given";
      if (!t.given) {
        how = t.fit == TrendFit::absolute ? "least absolute residuals" : "least squares";
        if (t.beyond >= 0.0) {
          how += fmt::format(" of the stations beyond {:g} m from {:.10g} E {:.10g} N", t.beyond, e,
                             n);
        }
      }
      remark(fmt::format("removed: {} {} ({})",
                         *t.kind == TrendKind::constant ? "constant" : "plane",
                         trend_in_words(trend, *t.kind), how));
    }
    if (std::abs(median(stations_.field)) > kLikeWholeField) {
      warn(
          "the data look like the whole field of the Earth, not like its anomaly; --remove takes "
          "the\nregional field away.");
    }
  }

  void find_deviations() {
    for (const double value : stations_.field) {
      result_.deviations.push_back(choices_.floor + choices_.percent / 100.0 * std::abs(value));
    }
    remark(fmt::format("standard deviation: {:g} nT + {:g} % of |datum|, {} nT", choices_.floor,
                       choices_.percent, range_in_words(result_.deviations)));
  }

  MapPlace place() const {
    const FieldChoice& f = choices_.field;
    MapPlace map;
    if (!f.utm_zone.empty()) {
      map = place_of_utm(f.utm_zone, mean(stations_.easting), mean(stations_.northing));
    } else if (f.at) {
      map.place = {(*f.at)[0], (*f.at)[1], 0.0};
    } else {
      // Beside the first station, which keeps those on both sides of 180 degrees together.
      std::vector<double> longitudes = table_.columns[*columns_.longitude];
      for (double& longitude : longitudes)
        longitude = longitudes.front() + std::remainder(longitude - longitudes.front(), 360.0);
      map.place = {std::remainder(mean(longitudes), 360.0),
                   mean(table_.columns[*columns_.latitude]), 0.0};
    }
    map.place.height = f.height.value_or(median(stations_.elevation));
    return map;
  }

  void find_field() {
    const FieldChoice& f = choices_.field;
    double convergence = f.convergence.value_or(0.0);
    MainField field;
    std::string from = "as given";
    if (f.date.empty()) {
      field = {*f.inclination, *f.declination, *f.strength};
    } else {
      const MapPlace map = place();
      if (!f.convergence) convergence = map.convergence;
      const double year = decimal_year(f.date);
      field = igrf_field(map.place, year);
      from =
          fmt::format("{} at longitude {:.5f}, latitude {:.5f}, height {:.0f} m, {:.2f}",
                      igrf_name(), map.place.longitude, map.place.latitude, map.place.height, year);
      if (!f.convergence && f.utm_zone.empty()) {
        warn(
            "the declination is that from true north: without --convergence or --utm the grid is "
            "taken\nto have its north there.");
      }
    }
    Observations& o = result_.observations;
    o.incl = o.aincl = field.inclination;
    o.decl = o.adecl = field.declination - convergence;
    o.geomag = field.strength;
    remark(
        fmt::format("field: inclination {:.2f}, declination {:.2f} from true north, {:.0f} nT, {}",
                    field.inclination, field.declination, field.strength, from));
    remark(fmt::format("grid convergence {:.2f}, so the declination from grid north is {:.2f}",
                       convergence, o.decl));
  }

  PreparedSurvey assemble() {
    Observations& o = result_.observations;
    o.ndata = static_cast<std::int32_t>(stations_.size());
    o.x = stations_.easting;
    o.y = stations_.northing;
    o.z = stations_.elevation;
    result_.values = stations_.field;
    return std::move(result_);
  }

  const SurveyChoices& choices_;
  Columns columns_;
  Table table_;
  Stations stations_;
  PreparedSurvey result_;
};

}  // namespace

PreparedSurvey prepare_survey(const SurveyChoices& choices) {
  try {
    return Preparation(choices).run();
  } catch (const std::bad_alloc&) {
    alloc_error("prepare_survey");
  }
}

}  // namespace quorivex
