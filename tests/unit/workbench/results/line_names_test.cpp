// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/line_names.h"

#include <gtest/gtest.h>

#include "base/stop_run.h"
#include "inversion/mesh_io/observations.h"
#include "scratch_folder.h"

namespace quorivex::test {
namespace {

using Names = std::vector<std::string>;

Observations three_data(std::int32_t idir) {
  Observations o;
  o.incl = 60.0;
  o.geomag = 50000.0;
  o.idir = idir;
  o.ndata = 3;
  o.x = {1.0, 2.0, 3.0};
  o.y = o.z = {0.0, 0.0, 0.0};
  o.datum_aincl = o.datum_adecl = {5.0, 6.0, 7.0};
  return o;
}

// What the survey writes comes back, and the values that a run reads are the same as without.
TEST(StationLabels, ReturnAndAreNoValues) {
  const ScratchFolder folder;
  const std::string name = folder.path("survey.mag");
  const std::vector<double> values{10.0, 20.0, 30.0};
  for (const std::int32_t idir : {0, 1}) {
    for (const auto& [written, read] :
         {std::pair{StationLabels{{"line 100", "T, 5!", ""}, {"1.5", "2,5", ""}},
                    StationLabels{{"line 100", "T, 5!", ""}, {"1.5", "2 5", ""}}},
          {StationLabels{{"1e3", "7", "7"}, {}}, StationLabels{{"1e3", "7", "7"}, {}}},
          {StationLabels{{}, {"9", "8", "7"}}, StationLabels{{}, {"9", "8", "7"}}},
          {StationLabels{}, StationLabels{}}}) {
      write_data_file(name, three_data(idir), values, values, {"head", labels_comment(written)},
                      labels_of_data(written));
      const StationLabels labels = read_station_labels(name, 3);
      EXPECT_EQ(labels.line, read.line);
      EXPECT_EQ(labels.fiducial, read.fiducial);
      const Observations data = read_data_file(name, DataColumns::as_found);
      EXPECT_EQ(data.std, values);
      EXPECT_EQ(data.x, three_data(idir).x);
    }
  }
}

// Comments of a file whose head does not speak of labels are none; nor are those of too few data.
TEST(StationLabels, AreOnlyThoseThatTheHeadNames) {
  const ScratchFolder folder;
  const std::string data = "60 0 50000\n60 0 1\n2\n\n1 0 0 5 1 ! A\n! between\n2 0 0 5 1\n";
  const std::string head = "! labels of the data: line\r\n";
  EXPECT_TRUE(read_station_labels(folder.write("plain.mag", data), 2).line.empty());
  EXPECT_TRUE(read_station_labels(folder.write("late.mag", data + head), 2).line.empty());
  EXPECT_EQ(read_station_labels(folder.write("good.mag", head + data), 2).line, (Names{"A", ""}));
  EXPECT_TRUE(read_station_labels(folder.path("good.mag"), 3).line.empty());
  EXPECT_THROW(read_station_labels(folder.path("none.mag"), 2), StopRun);
}

}  // namespace
}  // namespace quorivex::test
