// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/report.h"

#include <cstdio>

namespace quorivex {

void Report::console(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void Report::log(std::string_view text) {
  if (log_) log_->append(text);
}

void Report::summary(std::string_view text) {
  if (summary_) summary_->append(text);
}

void Report::both(std::string_view text) {
  console(text);
  log(text);
}

void Report::flush_log() {
  if (log_) log_->flush();
}

void Report::flush_summary() {
  if (summary_) summary_->flush();
}

void Report::close() {
  if (summary_) summary_->close();
  summary_.reset();
  if (log_) log_->close();
  log_.reset();
}

}  // namespace quorivex
