// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/check/findings.h"

#include <fmt/format.h>

#include "base/view1.h"

namespace quorivex {
namespace {

/// Prints a text after its kind; further lines of it stand below the first.
void marked(std::string_view kind, std::string_view text) {
  const std::string indent = fmt::format("\n{:{}}", "", kind.size() + 2);
  std::string lines(text);
  for (std::size_t at = lines.find('\n'); at != std::string::npos;
       at = lines.find('\n', at + indent.size())) {
    lines.replace(at, 1, indent);
  }
  fmt::print("{}: {}\n", kind, lines);
}

std::string counted(int number, std::string_view what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

}  // namespace

void Findings::section(std::string_view title) { fmt::print("\n{}\n", title); }

void Findings::fact(std::string_view name, std::string_view text) {
  fmt::print("  {:<23} {}\n", name, text);
}

void Findings::line(std::string_view text) { fmt::print("  {}\n", text); }

void Findings::note(std::string_view text) { marked("note", text); }

void Findings::warning(std::string_view text) {
  ++warnings_;
  marked("warning", text);
}

void Findings::error(std::string_view text) {
  ++errors_;
  marked("error", text);
}

void Findings::stop(std::string_view console) {
  const std::size_t first = std::min(console.find_first_not_of(" \n"), console.size());
  const std::size_t last = console.find_last_not_of(" \n");
  error(fmt::format("the run would stop here and say\n{}",
                    console.substr(first, last == std::string_view::npos ? 0 : last + 1 - first)));
}

int Findings::close() const {
  std::string text = "fine";
  if (errors_ > 0) {
    text = counted(errors_, "error");
    if (warnings_ > 0) text += ", " + counted(warnings_, "warning");
  } else if (warnings_ > 0) {
    text = counted(warnings_, "warning");
  }
  fmt::print("\n{}\n", text);
  return errors_ > 0 ? 2 : warnings_ > 0 ? 1 : 0;
}

std::string range_in_words(const std::vector<double>& values, std::string_view unit, int digits) {
  if (values.empty()) return "no values";
  const auto [least, most] = std::minmax_element(values.begin(), values.end());
  const std::string from = fmt::format("{:.{}g}", *least, digits);
  const std::string to = fmt::format("{:.{}g}", *most, digits);
  return from == to ? fmt::format("{} {} everywhere", from, unit)
                    : fmt::format("{} to {} {}", from, to, unit);
}

double median_of(std::vector<double> values) {
  const auto middle = values.begin() + length(values) / 2;
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace quorivex
