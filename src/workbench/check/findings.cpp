// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/findings.h"

#include <fmt/format.h>

#include "base/text.h"

namespace quorivex {
namespace {

/// Prints a text after its kind; its further lines are indented below the first.
void print_marked(std::string_view kind, std::string_view text) {
  const std::string indent = fmt::format("\n{:{}}", "", kind.size() + 2);
  std::string lines = without_controls(text);
  for (std::size_t at = lines.find('\n'); at != std::string::npos;
       at = lines.find('\n', at + indent.size())) {
    lines.replace(at, 1, indent);
  }
  fmt::print("{}: {}\n", kind, lines);
}

std::string count_of(int number, std::string_view what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

}  // namespace

void Findings::section(std::string_view title) { fmt::print("\n{}\n", without_controls(title)); }

void Findings::fact(std::string_view name, std::string_view text) {
  fmt::print("  {:<23} {}\n", name, without_controls(text));
}

void Findings::line(std::string_view text) { fmt::print("  {}\n", text); }

void Findings::note(std::string_view text) { print_marked("note", text); }

void Findings::warning(std::string_view text) {
  ++warnings_;
  print_marked("warning", text);
}

void Findings::error(std::string_view text) {
  ++errors_;
  print_marked("error", text);
}

void Findings::stop(const StopRun& end) {
  error(fmt::format("the run would stop here and say\n{}", end.message()));
}

int Findings::close() const {
  std::string text = "fine";
  if (errors_ > 0) {
    text = count_of(errors_, "error");
    if (warnings_ > 0) text += ", " + count_of(warnings_, "warning");
  } else if (warnings_ > 0) {
    text = count_of(warnings_, "warning");
  }
  fmt::print("\n{}\n", text);
  return errors_ > 0 ? 2 : warnings_ > 0 ? 1 : 0;
}

}  // namespace quorivex
