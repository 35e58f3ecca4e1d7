// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/tables/delimited_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "base/text.h"

namespace quorivex {
namespace {

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r'; }

/// Takes a field in quotes, its closing quote included; without one it ends with the line.
std::string take_quoted(std::string_view& rest) {
  std::string field;
  rest.remove_prefix(1);
  while (!rest.empty()) {
    const char c = rest.front();
    rest.remove_prefix(1);
    if (c == '"') {
      if (!rest.starts_with('"')) return field;
      rest.remove_prefix(1);
    }
    field.push_back(c);
  }
  return field;
}

}  // namespace

char guess_separator(std::string_view line) {
  std::string unquoted;
  bool quoted = false;
  for (const char c : trim(line)) {
    if (c == '"') quoted = !quoted;
    if (!quoted) unquoted.push_back(c);
  }
  for (const char c : {'\t', ';', ','}) {
    if (unquoted.find(c) != std::string::npos) return c;
  }
  return kBlanks;
}

std::string separator_hint(std::string_view line, char separator) {
  const char other = guess_separator(line);
  if (other == separator || split_fields(line, other).size() < 2) return "";
  const char* name = other == '\t'  ? "tab"
                     : other == ';' ? "semicolon"
                     : other == ',' ? "comma"
                                    : "blank";
  return fmt::format("\n It has {0}s: --separator {0}?", name);
}

std::vector<std::string> split_fields(std::string_view line, char separator) {
  std::vector<std::string> fields;
  const auto ends = [separator](char c) {
    return separator == kBlanks ? is_blank(c) : c == separator;
  };
  const auto skip_blanks = [&](std::string_view& rest) {
    while (!rest.empty() && is_blank(rest.front()) && rest.front() != separator) {
      rest.remove_prefix(1);
    }
  };
  std::string_view rest = line;
  if (separator == kBlanks) rest = trim(rest);
  if (rest.ends_with('\r')) rest.remove_suffix(1);
  if (rest.empty()) return fields;
  while (true) {
    skip_blanks(rest);
    std::string field;
    if (rest.starts_with('"')) field = take_quoted(rest);
    const auto end = std::find_if(rest.begin(), rest.end(), ends);
    const auto length = static_cast<std::size_t>(end - rest.begin());
    fields.push_back(field + std::string(trim(rest.substr(0, length))));
    rest.remove_prefix(length);
    if (rest.empty()) return fields;
    rest.remove_prefix(1);
    if (separator == kBlanks) rest = trim(rest);
  }
}

}  // namespace quorivex
