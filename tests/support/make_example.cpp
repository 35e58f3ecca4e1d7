// SPDX-License-Identifier: GPL-3.0-or-later
// Writes the sensitivity file and the observations of the buried-block example into a folder.
#include <fmt/format.h>

#include <fstream>

#include "survey.h"

int main(int argc, char** argv) {
  using namespace quorivex::test;
  if (argc == 2) {
    const std::string folder = argv[1];
    const Survey survey = make_survey({.ne = 24, .nn = 20, .nz = 12});
    std::ofstream mtx(folder + "/block.mtx", std::ios::binary);
    std::ofstream obs(folder + "/block.mag");
    mtx << framed(sensitivity_records(survey)) << std::flush;
    obs << observations_text(survey) << std::flush;
    if (mtx && obs) return 0;
  }
  fmt::print(stderr, "usage: make_example FOLDER (one that can be written into)\n");
  return 1;
}
