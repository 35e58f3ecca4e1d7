// SPDX-License-Identifier: GPL-3.0-or-later
#include <new>

#include "base/phase_times.h"
#include "base/prepare_process.h"
#include "base/report.h"
#include "base/stop_run.h"
#include "inversion/control/run_sequence.h"

namespace {

using quorivex::Report;
using quorivex::StopRun;

/// The end of a run that stopped early: its text to the console, then to the log.
void report_stop(const StopRun& stop, Report& report) {
  Report::console(stop.console);
  try {
    report.log(stop.log);
    report.close();
  } catch (const StopRun&) {
    // The console has been told why the run stops; that the log cannot be is no second reason.
  }
}

void run(int argc, char** argv, Report& report) {
  try {
    quorivex::run_sequence({argv + (argc > 0 ? 1 : 0), argv + argc}, report);
  } catch (const std::bad_alloc&) {
    quorivex::alloc_error("plexo");
  }
}

}  // namespace

int main(int argc, char** argv) {
  quorivex::prepare_process();
  Report report;
  try {
    run(argc, argv, report);
  } catch (const StopRun& stop) {
    report_stop(stop, report);
  }
  quorivex::report_phase_times();
  return 0;
}
