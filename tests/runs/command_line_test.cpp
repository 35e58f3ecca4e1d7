// SPDX-License-Identifier: GPL-3.0-or-later
#include <regex>

#include "run_qvx.h"

namespace quorivex::test {
namespace {

// The typo, and what was meant, before anything that is missing because of it.
TEST(QvxCommandLine, WordsThatDoNotExistAreNamedWithTheNearest) {
  const ScratchFolder folder;
  for (const auto& [arguments, message] :
       {std::pair{"survey --tabel x", "no option --tabel; did you mean --table?"},
        {"mesh --data x --outpt=y", "no option --outpt; did you mean --output?"},
        {"input --DATA x", "no option --DATA; did you mean --data? Run qvx input --help"},
        {"info s.mtx --tabel", "no option --tabel. Run qvx info --help"},
        {"mesh -data x", "no option -data; did you mean --data?"},
        {"mesh \u2013data x", "no option \u2013data; did you mean --data?"},
        {"mesh --topo x", "did you mean --topography?"},
        {"mesh data x", "data: did you mean --data?"},
        {"mesh --data my survey.mag", "Nothing takes the argument survey.mag"},
        {"mesh --chifact=1", "--chifact belongs to qvx input and qvx continue. Run qvx mesh"},
        {"export a.inp --iterations 3",
         "did you mean --iteration? --iterations belongs to qvx rep"},
        {"--verison", "no option --verison; did you mean --version?"},
        {"--data x mesh", "Options follow the subcommand: qvx SUBCOMMAND --data."},
        {"sensitiviy", "no subcommand sensitiviy; did you mean sensitivity?"},
        {"help sensitiviy", "no subcommand sensitiviy; did you mean sensitivity?"},
        {"MODEL", "did you mean model?"},
        {"xyz", "no subcommand xyz. Run qvx --help"},
        {"sensitivity --mesh a --data b --wavelet daub5",
         "should be none, haar, daub4, daub6, daub8 or sym4, not daub5; did you mean daub4?"},
        {"survey --remove quadratic", "--remove: should be constant or plane, not quadratic."}}) {
    expect_refused(folder, arguments, message);
  }
}

TEST(QvxCommandLine, WhatIsMissingIsNamedWithTheLineForHelp) {
  const ScratchFolder folder;
  for (const auto& [arguments, message] :
       {std::pair{"mesh", "qvx mesh needs --data FILE and --output FILE.\nRun qvx mesh --help"},
        {"info", "qvx info needs FILE."},
        {"mesh --data a --output", "--output needs a value: --output FILE."},
        {"mesh --data --output b", "--data needs a value: --data FILE."},
        {"mesh --data a --data b --output c", "--data is given 2 times."},
        {"input --data a --matrix b --output c --lengths 1,2", "needs 3 values, E,N,Z, not 2."},
        {"mesh --data a --output b --bottom-layers 1.5",
         "a whole number from 0 to 100, not 1.5.\nRun qvx mesh --help"}}) {
    expect_refused(folder, arguments, message);
  }
  const QvxRun check = run_qvx(folder, "check");
  EXPECT_EQ(check.status, 2);
  EXPECT_EQ(check.err,
            "qvx check needs RUN.inp.\nRun qvx check --help for all options and examples.\n");
}

TEST(QvxCommandLine, HelpIsFoundHoweverItIsAskedFor) {
  const ScratchFolder folder;
  const std::string help = run_qvx(folder, "--help").out;
  const QvxRun alone = run_qvx(folder, "");
  EXPECT_EQ(alone.status, 1);
  EXPECT_EQ(alone.out, help);
  EXPECT_EQ(alone.err, "");
  EXPECT_EQ(run_qvx(folder, "help").out, help);
  const std::string survey = run_qvx(folder, "survey --help").out;
  for (const char* asked : {"help survey", "--help survey", "-h survey", "survey -h"}) {
    const QvxRun run = run_qvx(folder, asked);
    EXPECT_EQ(run.status, 0) << asked;
    EXPECT_EQ(run.out, survey) << asked;
  }
}

// Scripts read the second word.
TEST(QvxCommandLine, TheVersionBeginsWithItsNumber) {
  const ScratchFolder folder;
  const QvxRun run = run_qvx(folder, "--version");
  EXPECT_EQ(run.status, 0);
  EXPECT_TRUE(std::regex_search(
      run.out, std::regex("^qvx [0-9]+[.][0-9]+[.][0-9]+( \\(commit [0-9a-f]{7,}(, changed)?\\))?\n"
                          "compiled with .*\n(.*\n)*CGAL [0-9.]+, GeographicLib [0-9.]+, netCDF")))
      << run.out;
}

}  // namespace
}  // namespace quorivex::test
