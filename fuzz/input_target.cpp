// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "inversion/input/input_file.h"
#include "inversion/objective/alphas.h"
#include "records.h"
#include "workbench/check/input_lines.h"

namespace quorivex::fuzz {

std::string input(std::string_view bytes) {
  const std::string name = scratch_file(bytes);
  return outcome([&] {
    const InversionParameters read = read_input_file(name);
    std::string found = test::record(read.mode, read.par, read.tolc);
    for (const std::string& doubt : input_line_doubts(name)) found += doubt;
    return found + outcome([&] { return test::record(read_alphas(read.alphaLine).alphas); });
  });
}

}  // namespace quorivex::fuzz
