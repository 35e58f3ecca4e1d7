// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/archive.h"
#include "fuzz/outcome.h"
#include "fuzz/targets.h"
#include "inversion/control/read_run.h"
#include "records.h"
#include "workbench/check/check_run.h"

namespace quorivex::fuzz {

/// What quorivex reads before its first iteration. Where it stops, qvx check finds an error.
std::string run(std::string_view bytes) {
  const UnpackedArchive archive(bytes);
  bool stops = true;
  std::string found = outcome([&] {
    Report report;
    InversionParameters input = read_input(archive.first(), report);
    check_mode_and_tolc(input);
    const RunSetup setup = read_run(input, report);
    stops = false;
    return test::record(setup.models.model, setup.models.mref, setup.diagonals.data_trace);
  });
  constexpr int kErrors = 2;
  expect(!stops || check_run(archive.first(), "") == kErrors,
         "qvx check finds no error where the run stops: " + found);
  return found;
}

}  // namespace quorivex::fuzz
