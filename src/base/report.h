// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string_view>

#include "base/output_file.h"

namespace quorivex {

/// The three places a run writes text to: the console (standard output), the log and the summary.
/// Every text is whole lines, ends included. Log and summary take nothing until they are open.
class Report {
 public:
  void open_log(const char* name) { log_.emplace(name); }
  void open_summary(const char* name) { summary_.emplace(name); }

  static void console(std::string_view text);
  void log(std::string_view text);
  void summary(std::string_view text);
  /// Console, then log once it is open.
  void both(std::string_view text);

  void flush_log();
  void flush_summary();
  /// Writes what is buffered and closes; a file that cannot be written ends the run.
  void close();

 private:
  std::optional<OutputFile> log_;
  std::optional<OutputFile> summary_;
};

}  // namespace quorivex
