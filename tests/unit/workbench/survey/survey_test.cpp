// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cmath>

#include "base/stop_run.h"
#include "values.h"
#include "workbench/geomagnetism/geomagnetic_field.h"
#include "workbench/geomagnetism/igrf_coefficients.h"
#include "workbench/geomagnetism/igrf_table.h"
#include "workbench/survey/inducing_field.h"
#include "workbench/survey/thinning.h"
#include "workbench/survey/trend.h"

namespace quorivex::test {
namespace {

using Kept = std::vector<std::size_t>;

void add(Stations& stations, double e, double n, double field, std::int32_t line = 0) {
  stations.easting.push_back(e);
  stations.northing.push_back(n);
  stations.elevation.push_back(0.0);
  stations.field.push_back(field);
  stations.line.push_back(line);
  stations.number.push_back(static_cast<std::int64_t>(stations.number.size()) + 1);
}

// Distances from the first station; a line that bends, one that runs back, and a gap.
TEST(Thinning, AlongLinesByThePathOfEachLine) {
  Stations s;
  add(s, 0, 0, 0);       // line 0: 0
  add(s, 0, 30, 0);      // 30
  add(s, 900, 0, 0, 1);  // line 1: 0
  add(s, 0, 60, 0);      // 60, nearest to 50
  add(s, 40, 60, 0);     // 100
  add(s, 840, 0, 0, 1);  // 60: nearest to 50
  add(s, 48, 60, 0);     // 108
  add(s, 548, 60, 0);    // 608 after a gap: nearest to 600
  add(s, 800, 0, 0, 1);  // 100
  EXPECT_EQ(thin_along_lines(s, 50.0), (Kept{0, 2, 3, 4, 5, 7, 8}));
  EXPECT_EQ(thin_along_lines(s, 1e6), (Kept{0, 2}));
  EXPECT_EQ(thin_along_lines(s, 0.5).size(), s.size());
  EXPECT_EQ(thin_along_lines({}, 5.0), Kept{});
}

TEST(Thinning, ToAGridOneStationACell) {
  Stations s;
  add(s, 100, 0, 9);     // cell 1, 0
  add(s, -1, -1, 1);     // cell -1, -1
  add(s, 160, 50, 4);    // 1, 0: near the centre at 150, 50
  add(s, 199.9, 99, 3);  // 1, 0
  add(s, 149, 50, 8);    // 1, 0: nearest, second largest
  add(s, 150, 100, 5);   // 1, 1
  EXPECT_EQ(thin_to_grid(s, 100.0, GridChoice::nearest), (Kept{1, 4, 5}));
  EXPECT_EQ(thin_to_grid(s, 100.0, GridChoice::median), (Kept{1, 2, 5}));  // of 3 4 8 9
  const Stations kept = select(s, {1, 4});
  EXPECT_EQ(kept.field, (std::vector<double>{1, 8}));
  EXPECT_EQ(kept.number, (std::vector<std::int64_t>{2, 5}));
}

// 400 stations about a far centre, a plane, and an anomaly on a tenth of them.
Stations plane_with_anomaly(double anomaly) {
  Stations s;
  for (int i = 0; i < 400; ++i) {
    const double e = 456000.0 + 50.0 * (i % 20 - 9.5);
    const double n = 7556000.0 + 80.0 * (std::floor(i / 20) - 9.5);
    const bool hit = std::hypot(e - 456000.0, n - 7556000.0) < 200.0;
    add(s, e, n, 300.0 + 0.02 * (e - 456000.0) - 0.03 * (n - 7556000.0) + (hit ? anomaly : 0.0));
  }
  return s;
}

void expect_plane(const Trend& trend, double tolerance) {
  EXPECT_NEAR(trend.level, 300.0, tolerance);
  EXPECT_NEAR(trend.east, 0.02, tolerance * 1e-3);
  EXPECT_NEAR(trend.north, -0.03, tolerance * 1e-3);
}

TEST(Trends, FitsFindThePlaneAndTheRobustOnePassesOverTheAnomaly) {
  const auto fit = [](const Stations& s, TrendKind kind, TrendFit how, double beyond) {
    return fit_trend(s, kind, how, 456000.0, 7556000.0, beyond);
  };
  const Stations anomalous = plane_with_anomaly(5000.0);
  expect_plane(fit(plane_with_anomaly(0.0), TrendKind::plane, TrendFit::squares, -1), 1e-9);
  expect_plane(fit(anomalous, TrendKind::plane, TrendFit::absolute, -1), 1e-4);
  expect_plane(fit(anomalous, TrendKind::plane, TrendFit::squares, 200.0), 1e-9);
  EXPECT_GT(fit(anomalous, TrendKind::plane, TrendFit::squares, -1).level, 350.0);
  Stations three;
  for (const double field : {1.0, 2.0, 9.0}) add(three, field, field, field);
  EXPECT_DOUBLE_EQ(fit(three, TrendKind::constant, TrendFit::squares, -1).level, 4.0);
  EXPECT_DOUBLE_EQ(fit(three, TrendKind::constant, TrendFit::absolute, -1).level, 2.0);
  for (const TrendFit how : {TrendFit::squares, TrendFit::absolute})
    EXPECT_THROW(fit(three, TrendKind::plane, how, -1), StopRun);  // on one line
  EXPECT_THROW(fit(anomalous, TrendKind::plane, TrendFit::squares, 2000.0), StopRun);

  Stations s = plane_with_anomaly(0.0);
  remove_trend(fit(s, TrendKind::plane, TrendFit::squares, -1), s);
  for (const double value : s.field) EXPECT_NEAR(value, 0.0, 1e-9);
}

TEST(Trends, AreDescribedWithoutMeaninglessDigits) {
  const Trend trend{455900.12345, 7556700.0000001, 359.7532391, 1.449216203e-2, -1e-9};
  EXPECT_EQ(describe_trend(trend, TrendKind::constant), "359.75 nT");
  EXPECT_EQ(describe_trend(trend, TrendKind::plane),
            "359.75 nT at 455900.123 E 7556700 N, 14.492 nT/km eastward and 0 nT/km northward");
}

// The least sum of absolute residuals is where no step in any direction lowers it.
TEST(Trends, NoPlaneNearTheRobustOneHasSmallerAbsoluteResiduals) {
  Stations s = plane_with_anomaly(700.0);
  const std::vector<double> noise = values_of_seed(s.size(), 5);
  for (std::size_t i = 0; i < s.size(); ++i) s.field[i] += 20.0 * noise[i];
  const Trend best = fit_trend(s, TrendKind::plane, TrendFit::absolute, 456000.0, 7556000.0, -1);
  const auto sum = [&](const Trend& t) {
    double total = 0.0;
    for (std::size_t i = 0; i < s.size(); ++i)
      total += std::abs(s.field[i] - t.at(s.easting[i], s.northing[i]));
    return total;
  };
  for (const double step : {-0.01, 0.01}) {
    Trend level = best;
    Trend east = best;
    Trend north = best;
    level.level += step;
    east.east += step * 1e-3;
    north.north += step * 1e-3;
    for (const Trend& other : {level, east, north}) EXPECT_LE(sum(best), sum(other) + 1e-6);
  }
}

// The first is of the calculator of the model's publishers, in its precision. The others were
// computed apart from the program: the sum over n and m term by term, with Schmidt functions from
// the formula of Rodrigues (Winch et al. 2005, doi:10.1111/j.1365-246X.2004.02472.x).
TEST(GeomagneticField, AgreesWithIndependentValues) {
  const auto expect_field = [](const GeoPosition& position, const char* date, MainField expected,
                               double degrees, double nanotesla) {
    const MainField field = igrf_field(position, parse_date(date));
    EXPECT_NEAR(field.inclination, expected.inclination, degrees) << date;
    EXPECT_NEAR(field.declination, expected.declination, degrees) << date;
    EXPECT_NEAR(field.strength, expected.strength, nanotesla) << date;
  };
  const GeoPosition osborne{140.575, -22.094, 350.0};
  expect_field(osborne, "1990.5", {-53.36, 6.66, 52083.0}, 0.006, 2.0);
  const double degrees = 2e-5;
  expect_field(osborne, "2024-05-01", {-52.84757, 6.05430, 51477.272}, degrees, 0.002);
  expect_field({-120.3, 63.7, 1200.0}, "2012.75", {80.89340, 21.47050, 58622.990}, degrees, 0.002);
  expect_field({30.2, -35.4, 0.0}, "2027-10-01", {-61.58969, -34.76804, 27930.524}, degrees, 0.002);
  expect_field({10.0, 50.0, 0.0}, "1900", {64.98055, -11.26930, 46517.565}, degrees, 0.002);
  expect_field({10.0, 50.0, 0.0}, "2030-01-01", {65.93263, 4.54907, 49374.931}, degrees, 0.002);
}

TEST(GeomagneticField, RefusesOtherDatesAndPlaces) {
  for (const char* date : {"1899-12-31", "2030-01-02", "2030.5"}) {
    EXPECT_FALSE(has_igrf_field(parse_date(date)));
    try {
      igrf_field({10.0, 50.0, 0.0}, parse_date(date));
      ADD_FAILURE() << date;
    } catch (const StopRun& stop) {
      const std::string words =
          "IGRF-14 holds the field of the years 1900 to 2030 (its start), not of ";
      EXPECT_NE(stop.console().find(words + date + "."), std::string::npos) << stop.console();
    }
  }
  EXPECT_THROW(igrf_field({0.0, 50.0, 0.0}, {std::nan(""), "nan"}), StopRun);
  EXPECT_THROW(igrf_field({0.0, 91.0, 0.0}, {2000.0, ""}), StopRun);
  EXPECT_THROW(igrf_field({std::nan(""), 9.0, 0.0}, {2000.0, ""}), StopRun);
}

// Each change makes a table that a program would read wrongly if it were not refused.
TEST(GeomagneticField, RefusesATableOfAnotherLayout) {
  const std::string table(igrf_table());
  const auto changed = [&](const std::string& from, const std::string& to) {
    std::string text = table;
    text.replace(text.find(from), from.size(), to);
    return text;
  };
  const std::string last_row = table.substr(table.rfind("\n13 -13") + 1);
  for (const std::string& bad :
       {changed("# IGRF 14", "# WMM"), changed("1  13 27", "1  12 27"), changed("13 27", "13 26"),
        changed("27 2 1", "27 3 1"), changed("2030.0\n", "2035.0\n"),
        changed("1905.0 1910.0", "1910.0 1905.0"), changed(" 1  -1 ", " 1   1 "),
        changed("-31543 ", ""), changed("-31543", "-31543 1"), changed("-31543", "x"),
        changed(last_row, ""), table + last_row, std::string()}) {
    EXPECT_THROW(read_igrf(bad), StopRun) << bad.substr(0, 400);
  }
  try {
    read_igrf(changed("-31543", "-31543 1"));
  } catch (const StopRun& stop) {
    EXPECT_NE(stop.console().find("line 6 of the IGRF table"), std::string::npos) << stop.console();
  }
}

TEST(GeomagneticField, DatesAndUtmCoordinates) {
  EXPECT_EQ(parse_date("1990.5").year, 1990.5);
  EXPECT_EQ(parse_date("2011-01-01").year, 2011.0);
  EXPECT_DOUBLE_EQ(parse_date("1990-07-01").year, 1990.0 + 181.0 / 365.0);
  for (const char* bad : {"", "x", "1990-13-01", "1990-02-31", "90-", "1.7.1990", "nan", "now"})
    EXPECT_THROW(parse_date(bad), StopRun) << bad;

  const UtmPosition utm = position_of_utm("54S", 455900.0, 7556700.0);  // west of 141 E, southern
  EXPECT_NEAR(utm.position.longitude, 140.5725, 1e-3);
  EXPECT_NEAR(utm.position.latitude, -22.0944, 1e-3);
  EXPECT_NEAR(utm.convergence, 0.16, 0.005);
  for (const char* bad : {"", "61S", "54", "S", "x"})
    EXPECT_THROW(position_of_utm(bad, 455900.0, 7556700.0), StopRun) << bad;
  EXPECT_THROW(position_of_utm("54S", 4559000.0, 7556700.0), StopRun);
}

TEST(CompareFields, NamesWhatIsFarFromTheFieldOfThePlace) {
  const MainField place{-53.4, 179.0, 52000.0};
  const auto compared = [&](double inclination, double declination, double strength) {
    const auto found = compare_fields({inclination, declination, strength}, place);
    return found.empty() ? "" : found.size() == 1 ? found[0] : "several";
  };
  EXPECT_EQ(compared(-58.3, -176.1, 54500.0), "");  // 4.9 degrees each, one across south
  EXPECT_NE(compared(53.4, 179.0, 52000.0).find("has the opposite sign of -53.40"),
            std::string::npos);
  EXPECT_NE(compared(-48.3, 179.0, 52000.0).find("inclination given, -48.30, is far from -53.40"),
            std::string::npos);
  EXPECT_NE(compared(-53.4, 173.9, 52000.0).find("declination given, 173.90"), std::string::npos);
  for (const double strength : {54700.0, 49300.0, 5.2e-5, std::nan("")}) {
    EXPECT_NE(compared(-53.4, 179.0, strength).find("strength given"), std::string::npos);
  }
  EXPECT_EQ(compare_fields({5.0, 0.0, 3e4}, {2.0, 0.0, 3e4}).size(), 0U);
}

}  // namespace
}  // namespace quorivex::test
