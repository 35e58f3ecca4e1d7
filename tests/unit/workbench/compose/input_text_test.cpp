// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/compose/input_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <tuple>

#include "base/stop_run.h"
#include "prism_mesh.h"
#include "scratch_folder.h"

namespace quorivex::test {
namespace {

InversionParameters usual() {
  return {.mode = 1,
          .par = 0.1,
          .tolc = 0.02,
          .obsFile = "a long folder/with blanks/and a name longer than the column.mag",
          .mtxFile = "survey.mtx",
          .initialModel = "VALUE 0.001",
          .referenceModel = "known rocks.sus",
          .activeCellFile = "null",
          .lowerBounds = "VALUE -1e-05",
          .upperBounds = "upper.sus",
          .alphaLine = "200 200 100",
          .mrefInDerivatives = false,
          .weightFile = "w.dat"};
}

using Change = std::function<void(InversionParameters&)>;

// The reader of the inversion gets what was asked for, comments or not.
TEST(InputText, IsReadBackAsItWasMeant) {
  const ScratchFolder folder;
  for (const Change& change :
       {Change{[](auto&) {}}, Change{[](auto& p) { p.mode = 2, p.par = 3276.123456789; }},
        Change{[](auto& p) { p.alphaLine = "0.0001 1 1 1", p.mrefInDerivatives = true; }},
        Change{[](auto& p) { p.activeCellFile = "./null.txt", p.weightFile = "null"; }}}) {
    InversionParameters p = usual();
    change(p);
    const std::string text = input_text(p);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 12);
    EXPECT_EQ(std::count(text.begin(), text.end(), '!'), 12);
    const InversionParameters read = read_input_file(folder.write("run.inp", text));
    const auto tied = [](const InversionParameters& of) {
      return std::tie(of.mode, of.par, of.tolc, of.obsFile, of.mtxFile, of.initialModel,
                      of.referenceModel, of.activeCellFile, of.lowerBounds, of.upperBounds,
                      of.alphaLine, of.mrefInDerivatives, of.weightFile);
    };
    EXPECT_TRUE(tied(read) == tied(p)) << text;
  }
}

TEST(InputText, NamesThatTheLineCannotHoldAreRefused) {
  for (const char* name : {"", " a.mag", "a.mag ", "bang!.mag", "two\nlines"}) {
    InversionParameters p = usual();
    p.obsFile = name;
    EXPECT_THROW(input_text(p), StopRun) << name;
  }
  InversionParameters p = usual();
  p.weightFile = "null_weights.dat";  // would stand for no file
  EXPECT_THROW(input_text(p), StopRun);
}

TEST(InputText, EntriesThatContradictEachOtherAreRefused) {
  EXPECT_NO_THROW(check_entries(usual()));
  for (const Change& change :
       {Change{[](auto& p) { p.lowerBounds = "VALUE 1", p.upperBounds = "VALUE 1"; }},
        Change{[](auto& p) { p.lowerBounds = "VALUE 0.002"; }},
        Change{[](auto& p) { p.upperBounds = "VALUE 0.0005"; }},
        Change{[](auto& p) { p.alphaLine = "0 0 0 0"; }}}) {
    InversionParameters p = usual();
    change(p);
    EXPECT_THROW(check_entries(p), StopRun);
  }
}

TEST(InputText, LengthScalesFollowTheCoreCells) {
  const Ground flat = ground_of({0, 300, 400, 500, 900}, {0, 80, 160}, {0, -10, -30});
  EXPECT_EQ(default_lengths(flat.mesh), "200 160 80");
  const Ground thick = ground_of({0, 10, 20}, {0, 10, 20}, {0, -15, -45});
  EXPECT_EQ(default_lengths(thick.mesh), "20 20 30");
}

}  // namespace
}  // namespace quorivex::test
