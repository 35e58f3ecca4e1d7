// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/results/run_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "base/fixed_format.h"
#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_file.h"
#include "inversion/input/input_file.h"

namespace quorivex {
namespace {

constexpr std::size_t kEchoLength = 200;  // of the log's copy of the input file
constexpr std::size_t kEntries = 12;
constexpr std::size_t kMaxLogLine = 1000;
constexpr std::size_t kMaxEnding = 2000;

/// Adds a line of an input file unless it is empty or a comment.
void add_input_line(const std::string& line, std::vector<std::string>& lines) {
  std::string text = strip_comment(line.substr(0, kEchoLength));
  if (!text.empty() && lines.size() < kEntries) lines.push_back(std::move(text));
}

bool is_dashes(std::string_view line) {
  return line == "----------------------------------------------------------------";
}

/// The rest of a line that begins with the label; nothing for other lines.
std::optional<std::string> after(std::string_view label, std::string_view line) {
  if (!line.starts_with(label)) return std::nullopt;
  return without_controls(trim_right(line.substr(label.size())));
}

/// Reads from the heading of the input file to the end of its copy.
void read_input_copy(TextFile& file, RunLog& log) {
  std::string line;
  while (log.input_name.empty() && file.read_line(line, kMaxLogLine)) {
    log.input_name = after("Reading input file: ", line).value_or("");
    if (const auto version = after("QUORIVEX ", line)) {
      log.version = version->substr(0, version->find(':'));
    }
  }
  bool copy = false;
  while (file.read_line(line, kMaxLogLine)) {
    if (is_dashes(line)) {
      if (copy) return;
      copy = true;
    } else if (copy) {
      add_input_line(line, log.input_lines);
    }
  }
}

/// A line that every iteration writes; what follows the last of them is why the run ended.
bool is_of_iteration(std::string_view line) {
  constexpr std::array kLabels{"Iteration:", "   beta: ", "misfit: ", "beta cpu time:"};
  return std::ranges::any_of(
      kLabels, [=](const char* label) { return line.find(label) != std::string_view::npos; });
}

}  // namespace

std::vector<std::string> entry_lines(const std::string& name) {
  std::vector<std::string> lines;
  std::optional<TextFile> file = TextFile::open(name);
  std::string line;
  while (file && lines.size() < kEntries && file->read_line(line, kEchoLength)) {
    add_input_line(line, lines);
  }
  return lines;
}

RunLog read_run_log(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) cannot_open("log", name);
  RunLog log;
  read_input_copy(*file, log);
  if (log.input_name.empty()) {
    stop_run(
        fmt::format(" ERROR reading log {}: it should hold a copy of the run's input file, "
                    "and does not.",
                    name));
  }
  std::string line;
  bool new_paragraph = true;  // the reason stands alone between empty lines
  // A last line without its end was cut off: the run was interrupted while it was written.
  while (file->read_line(line, kMaxLogLine) && file->line_ended()) {
    const std::string_view text = trim_right(line);
    if (is_of_iteration(text)) {
      log.ending.clear();
    } else if (const auto started = after("QUORIVEX started on: ", text)) {
      log.started = *started;
    } else if (const auto ended = after("QUORIVEX ended on: ", text)) {
      log.ended = *ended;
    } else if (text.find("TOTAL cpu time:") != std::string_view::npos) {
      continue;
    } else if (!text.empty()) {
      if (new_paragraph) log.ending.clear();
      if (!log.ending.empty()) log.ending += ' ';
      log.ending += without_controls(text.substr(text.find_first_not_of(" \t")));
      log.ending.resize(std::min(log.ending.size(), kMaxEnding));
    }
    new_paragraph = text.empty();
  }
  return log;
}

}  // namespace quorivex
