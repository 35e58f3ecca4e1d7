// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/observations.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "base/stop_run.h"
#include "scratch_folder.h"

namespace quorivex::test {
namespace {

using Values = std::vector<double>;

// Comments, blank lines, commas and trailing values anywhere; a line that is too long for its end.
const std::string kHead = "! survey\n\n65, -12 50000 ! field\n \t \n64 -11 ";
const std::string kCount = "!\n2 data\r\n";

TEST(Observations, OneDirectionForAllData) {
  const ScratchFolder folder;
  const std::string name = folder.write(
      "obs", kHead + "1\n" + kCount + "\n10 20 -5 30 4 the first\n!1 1 1 1 1\n11,21,-6,-1,2" +
                 std::string(1000, ' ') + "x\n99 99 99 99 99\n");
  const Observations o = read_data_file(name, DataColumns::values, 2);
  EXPECT_EQ((Values{o.incl, o.decl, o.geomag, o.aincl, o.adecl}),
            (Values{65, -12, 50000, 64, -11}));
  EXPECT_EQ(o.idir, 1);
  EXPECT_EQ(o.ndata, 2);
  EXPECT_EQ(o.x, (Values{10, 11}));
  EXPECT_EQ(o.y, (Values{20, 21}));
  EXPECT_EQ(o.z, (Values{-5, -6}));
  EXPECT_EQ(o.obs, (Values{7.5, -0.5})) << "divided by the standard deviation";
  EXPECT_EQ(o.std, (Values{4, 2}));
  EXPECT_TRUE(o.datum_aincl.empty() && o.datum_adecl.empty());
}

TEST(Observations, ADirectionForEachDatum) {
  const ScratchFolder folder;
  const std::string name = folder.write(
      "obs", kHead + "0\n" + kCount + "10 20 -5 61 71 30 4 8\n11 21 -6 62 72 -1 2 !\n");
  const Observations o = read_data_file(name, DataColumns::values);
  EXPECT_EQ(o.idir, 0);
  EXPECT_EQ(o.z, (Values{-5, -6}));
  EXPECT_EQ(o.datum_aincl, (Values{61, 62}));
  EXPECT_EQ(o.datum_adecl, (Values{71, 72}));
  EXPECT_EQ(o.obs, (Values{7.5, -0.5}));
  EXPECT_EQ(o.std, (Values{4, 2}));
}

// Where and why, for those who may say more than the run.
TEST(Observations, RefusalsKnowTheirLine) {
  const ScratchFolder folder;
  const std::string head = "! survey\n60 0 50000\n60 0 1\n1\n";
  for (const auto& [text, detail] :
       {std::pair{head + "\n1 2 3 4 0\n", std::string("Line 6 of ")},
        {head + "1 2 3 4 x\n", " should begin with 5 numbers, not 4."},
        {head + "1 2 3 4 999999999999*nan\n", " should begin with 5 numbers, not 4."},
        {"60,5 0,5 50000\n60,5 6,5 1\n", "Line 2 of "},
        {"60,5 0,5 50000\n60,5 6,5 1\n", " In '60,5' the comma separates two values"},
        {"\xFF\xFE" + head, " is UTF-16 text or binary; save it as text in UTF-8."},
        {head, "The file has 4 lines."}}) {
    try {
      read_data_file(folder.write("obs", text), DataColumns::values);
      ADD_FAILURE() << text;
    } catch (const StopRun& stop) {
      EXPECT_NE(stop.detail().find(detail), std::string::npos) << stop.detail();
      EXPECT_EQ(stop.console().find(detail), std::string::npos) << stop.console();
    }
  }
}

TEST(Observations, PositionsAreReadWithoutValuesAndAsFoundTheyDecide) {
  const ScratchFolder folder;
  const std::string bare = folder.write("bare", "1 2 3\n4 5 0\n1\n10 20 -5 61 71\n");
  const std::string full = folder.write("full", "1 2 3\n4 5 0\n1\n10 20 -5 61 71 30 0\n");
  for (const auto& [name, columns] :
       {std::pair{bare, DataColumns::positions}, std::pair{full, DataColumns::positions},
        std::pair{bare, DataColumns::as_found}}) {
    const Observations o = read_data_file(name, columns);
    EXPECT_EQ(o.x, Values{10});
    EXPECT_EQ(o.datum_adecl, Values{71});
    EXPECT_TRUE(o.obs.empty() && o.std.empty());
  }
  EXPECT_THROW(read_data_file(bare, DataColumns::values), StopRun);
  EXPECT_THROW(read_data_file(full, DataColumns::as_found), StopRun) << "its deviation is 0";
}

/// What quorivex writes for these predicted data, into a folder of its own.
std::string predicted_file(const Observations& observations, const Values& predicted) {
  const ScratchFolder folder;
  const auto here = std::filesystem::current_path();
  std::filesystem::current_path(folder.path(""));
  write_predicted_data("run", "pre", observations, predicted, 7);
  std::filesystem::current_path(here);
  return folder.read("run_007.pre");
}

TEST(Observations, PredictedDataFillTheirColumnsAndComeBack) {
  Observations o{.incl = 65.126,
                 .decl = -12.5,
                 .geomag = 54321.0,
                 .aincl = 64.0,
                 .adecl = -11.25,
                 .idir = 1,
                 .ndata = 2,
                 .x = {1234.5, -7},
                 .y = {0.25, 1e7},
                 .z = {-3, 1e-3},
                 .datum_aincl = {},
                 .datum_adecl = {},
                 .obs = {0, 0},
                 .std = {2, 0.5}};
  const Values normalised{1.5, -40};
  EXPECT_EQ(predicted_file(o, normalised),
            "     65.13    -12.50  54321.00  !! incl, decl, geomag\n"
            "     64.00    -11.25      1     !! aincl, adecl, idir\n"
            "      2                         !! # of data\n"
            "  1.234500000E+03  2.500000000E-01 -3.000000000E+00    3.000000E+00\n"
            " -7.000000000E+00  1.000000000E+07  1.000000000E-03   -2.000000E+01\n");
  o.idir = 0;
  o.datum_aincl = {61, -62};
  o.datum_adecl = {71, 7.25};
  const std::string text = predicted_file(o, normalised);
  EXPECT_EQ(text,
            "     65.13    -12.50  54321.00  !! incl, decl, geomag\n"
            "     64.00    -11.25      0     !! aincl, adecl, idir\n"
            "      2                         !! # of data\n"
            "  1.234500000E+03  2.500000000E-01 -3.000000000E+00    6.1000E+01  7.1000E+01"
            "    3.000000E+00\n"
            " -7.000000000E+00  1.000000000E+07  1.000000000E-03   -6.2000E+01  7.2500E+00"
            "   -2.000000E+01\n");
  const ScratchFolder folder;
  const std::string name = folder.write("pre", text);
  EXPECT_EQ(read_predicted_data(name, o), (Values{3, -20}));
  const Observations back = read_data_file(name, DataColumns::positions);
  EXPECT_EQ(back.y, o.y);
  EXPECT_EQ(back.datum_aincl, o.datum_aincl);
  o.z[1] = 2e-3;
  EXPECT_THROW(read_predicted_data(name, o), StopRun) << "a station elsewhere";
}

TEST(Observations, DataWithDeviationsAndCommentsComeBackAsObservations) {
  const ScratchFolder folder;
  const std::string name = folder.path("obs");
  const Observations o{.incl = 1,
                       .decl = 2,
                       .geomag = 3,
                       .aincl = 4,
                       .adecl = 5,
                       .idir = 1,
                       .ndata = 1,
                       .x = {10},
                       .y = {20},
                       .z = {30},
                       .datum_aincl = {},
                       .datum_adecl = {},
                       .obs = {},
                       .std = {}};
  const Values values{12};
  const Values deviations{4};
  write_data_file(name, o, values, deviations, {"from a file\n9 9 9", "second"});
  EXPECT_TRUE(folder.read("obs").starts_with("! from a file 9 9 9\n! second\n      1.00 "));
  const Observations back = read_data_file(name, DataColumns::as_found, 1);
  EXPECT_EQ(back.obs, Values{3});
  EXPECT_EQ(back.std, deviations);
}

}  // namespace
}  // namespace quorivex::test
