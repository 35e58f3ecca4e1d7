// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/run_summary.h"

#include <fmt/format.h>

#include <optional>
#include <string_view>

#include "base/fixed_format.h"
#include "base/free_format.h"
#include "base/stop_run.h"
#include "base/text_file.h"
#include "base/view1.h"

namespace quorivex {
namespace {

constexpr std::size_t kMaxSummaryLine = 1000;

/// The lines of the heading: "! VALUE   !! LABEL".
class HeadingLine {
 public:
  explicit HeadingLine(std::string_view line) : line_(line) {}

  template <class... Values>
  bool is(std::string_view label, Values&... values) const {
    const std::size_t at = line_.find("!! ");
    if (at == std::string_view::npos || line_.substr(at + 3) != label) return false;
    return FreeFormat(line_.substr(1, at - 1)).read(values...);
  }

 private:
  std::string_view line_;
};

void read_heading_line(std::string_view line, RunSummary& summary) {
  constexpr std::string_view kStarted = "! QUORIVEX started on: ";
  if (line.starts_with(kStarted)) summary.started = line.substr(kStarted.size());
  const HeadingLine heading(line);
  NormTerms& norm = summary.initial_norm;
  heading.is("initial norm S", norm.s) || heading.is("initial norm E", norm.e) ||
      heading.is("initial norm N", norm.n) || heading.is("initial norm Z", norm.z) ||
      heading.is("initial norm total", norm.total) ||
      heading.is("initial misfit", summary.initial_misfit);
}

std::optional<SummaryRow> read_row(std::string_view line) {
  SummaryRow row;
  FreeFormat values(line);
  const bool read =
      values.read(row.iteration, row.beta, row.misfit, row.norm.s, row.norm.e, row.norm.n,
                  row.norm.z, row.norm.total, row.objective, row.cg_iterations, row.cells_on_bound);
  return read ? std::optional(row) : std::nullopt;
}

}  // namespace

RunSummary read_run_summary(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) cannot_open("summary", name);
  RunSummary summary;
  std::string line;
  bool empty = true;
  for (std::int64_t number = 1; file->read_line(line, kMaxSummaryLine); ++number) {
    const std::string_view text = trim_right(line);
    if (text.empty()) continue;
    empty = false;
    if (text.front() == '!') {
      read_heading_line(text, summary);
      continue;
    }
    const std::optional<SummaryRow> row = read_row(text);
    const auto next = static_cast<std::int32_t>(length(summary.rows) + 1);
    if (!row || row->iteration != next) {
      summary.note =
          fmt::format("line {} of {} should be the row of iteration {} with 11 numbers, and is not",
                      number, name, next);
      break;
    }
    summary.rows.push_back(*row);
  }
  if (summary.started.empty() && !empty) {
    stop_run(
        fmt::format(" ERROR reading summary {}: it should begin with the date of the run, and "
                    "does not.",
                    name));
  }
  return summary;
}

}  // namespace quorivex
