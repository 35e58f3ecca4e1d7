// SPDX-License-Identifier: GPL-3.0-or-later
#include <exception>
#include <string_view>

#include "base/interruption.h"
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

Report* report_at_exit = nullptr;

void tell_exit() {
  constexpr std::string_view kText = "\nMemory allocation error in: a library\n\n";
  Report::console(kText);
  try {
    report_at_exit->log(kText);
    report_at_exit->flush_log();
  } catch (const std::exception&) {
  }
}

}  // namespace

int main(int argc, char** argv) {
  quorivex::prepare_process(argv);
  const quorivex::ranks::World world;
  Report report;
  report_at_exit = &report;
  const quorivex::ExitGuard guard(tell_exit, 0);
  try {
    run(argc, argv, report);
  } catch (const StopRun& stop) {
    report_stop(quorivex::ranks::fail(stop), report);
  }
  quorivex::report_phase_times();
  return 0;
}
