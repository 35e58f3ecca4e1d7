// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>

#include <csignal>
#include <new>

#include "base/report.h"
#include "base/stop_run.h"
#include "control/run_sequence.h"

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

/// Makes failures that the system would answer with a signal, or with a mix-up of files, ordinary
/// ones: a file beyond the size limit, a console that went away, standard streams that are closed.
void prepare_process() {
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  for (const int stream : {0, 1, 2}) {
    if (::fcntl(stream, F_GETFD) < 0) static_cast<void>(::open("/dev/null", O_RDWR));
  }
}

}  // namespace

int main(int argc, char** argv) {
  prepare_process();
  Report report;
  try {
    run(argc, argv, report);
  } catch (const StopRun& stop) {
    report_stop(stop, report);
  }
  return 0;
}
