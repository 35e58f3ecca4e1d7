// SPDX-License-Identifier: GPL-3.0-or-later
#include <exception>

#include "base/phase_times.h"
#include "base/prepare_process.h"
#include "base/ranks.h"
#include "base/report.h"
#include "base/stop_run.h"
#include "inversion/control/run_sequence.h"

namespace {

using quorivex::Report;
using quorivex::StopRun;

/// The end of a run that stopped early: its text to the console, then to the log.
void report_stop(const StopRun& stop, Report& report) {
  Report::console(stop.console());
  // The console has the reason why the run stops: a file that cannot be written is not reported
  // too.
  try {
    report.log(stop.log());
    report.flush_log();  // before the summary, which may be what cannot be written
    report.close();
  } catch (const std::exception&) {
  }
}

void run(int argc, char** argv, Report& report) {
  quorivex::with_alloc_label("plexo", [&] {
    quorivex::run_sequence({argv + (argc > 0 ? 1 : 0), argv + argc}, report);
  });
  quorivex::ranks::finish();
}

}  // namespace

int main(int argc, char** argv) {
  quorivex::prepare_process();
  const quorivex::ranks::World world;
  Report report;
  try {
    run(argc, argv, report);
  } catch (const StopRun& stop) {
    report_stop(quorivex::ranks::fail(stop), report);
  }
  quorivex::report_phase_times();
  return 0;
}
