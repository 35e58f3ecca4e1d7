// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/survey/survey_doubts.h"

#include <gtest/gtest.h>

#include "base/stop_run.h"
#include "workbench/survey/repeated_stations.h"

namespace quorivex::test {
namespace {

/// Ten by ten stations, `step` apart, from this corner on.
Stations square(double easting, double northing, double step) {
  Stations s;
  for (int i = 0; i < 100; ++i) {
    s.easting.push_back(easting + step * (i % 10));
    s.northing.push_back(northing + step * (i / 10));
  }
  return s;
}

TEST(SurveyDoubts, SmallSurveysAndCloseStationsAreQuestioned) {
  for (const auto& [stations, expected] : {std::pair{square(140.5, -22.1, 5e-4), "degrees"},
                                           {square(453.3, 7554.2, 0.05), "kilometres"},
                                           {square(10.0, 20.0, 0.55), "degrees"},  // 4.95 m
                                           {square(10.0, 20.0, 0.56), ""},         // 5.04 m
                                           {square(453300.0, 7554200.0, 50.0), ""}}) {
    const std::string doubt = coordinate_doubt(stations).value_or("");
    EXPECT_EQ(doubt.empty(), *expected == 0) << doubt;
    EXPECT_NE(doubt.find(expected), std::string::npos) << doubt;
  }
  // A long line in kilometres: only its spacing tells.
  Stations line;
  for (int i = 0; i < 1000; ++i) {
    line.easting.push_back(0.19 * i);
    line.northing.push_back(0.0);
  }
  EXPECT_NE(coordinate_doubt(line).value_or("").find("kilometres"), std::string::npos);
  for (double& easting : line.easting) easting *= 1.1;  // 0.209
  EXPECT_FALSE(coordinate_doubt(line));
}

TEST(SurveyDoubts, UnitsOfFieldStrengthAndPercentage) {
  EXPECT_THROW(refuse_tesla({0.0, -9.9e-5}), StopRun);
  EXPECT_NO_THROW(refuse_tesla({1.1e-4, 0.0}));
  EXPECT_NO_THROW(refuse_tesla({0.0, 0.0}));
  for (const auto& [given, meant] : {std::pair{5e-5, 5e4}, {0.05, 5e4}, {0.5, 5e4}, {50.0, 5e4}}) {
    EXPECT_NEAR(strength_in_nanotesla(given).value_or(0.0), meant, 1e-6) << given;
  }
  for (const double good : {50000.0, 20000.0, 1.0, 500.0, 0.0, -50.0})
    EXPECT_FALSE(strength_in_nanotesla(good)) << good;
  EXPECT_TRUE(percent_doubt(0.05) && percent_doubt(0.2));
  EXPECT_FALSE(percent_doubt(0.0) || percent_doubt(0.5));
}

TEST(RepeatedStations, AreAveragedToTheMillimetreAndTheFirstGivesTheRest) {
  Stations s;
  s.easting = {450000.0, 7.0, 450000.0001, 450000.0, 450000.0, 7.0};
  s.northing = {2.0, 2.0, 2.0, 2.0, 2.002, 2.0};
  s.elevation = {3.0, 3.0, 3.0, 4.0, 3.0, 3.0};
  s.field = {10.0, 1.0, 40.0, 5.0, 6.0, 3.0};
  s.deviation = {1.0, 2.0, 3.0, 4.0, 5.0, 8.0};
  s.line = {0, 0, 1, 1, 1, 2};
  s.number = {2, 3, 4, 5, 6, 7};
  s.fiducial = {"a", "b", "c", "d", "e", "f"};
  const Stations one = average_repeated(s);
  EXPECT_EQ(one.field, (std::vector<double>{25.0, 2.0, 5.0, 6.0}));
  EXPECT_EQ(one.deviation, (std::vector<double>{2.0, 5.0, 4.0, 5.0}));
  EXPECT_EQ(one.number, (std::vector<std::int64_t>{2, 3, 5, 6}));
  EXPECT_EQ(one.fiducial, (std::vector<std::string>{"a", "b", "d", "e"}));
}

}  // namespace
}  // namespace quorivex::test
