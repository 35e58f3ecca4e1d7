// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/json_text.h"

#include <fmt/format.h>

#include <cmath>
#include <iterator>

namespace quorivex {

std::string json_text(std::string_view text) {
  std::string json = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      json += {'\\', c};
    } else if (static_cast<unsigned char>(c) < 0x20) {
      fmt::format_to(std::back_inserter(json), "\\u{:04x}", c);
    } else {
      json += c;
    }
  }
  return json + '"';
}

std::string json_number(double value) {
  return std::isfinite(value) ? fmt::format("{}", value) : "null";
}

std::string json_object(std::initializer_list<std::pair<std::string_view, std::string>> members) {
  std::string json = "{";
  for (const auto& [name, value] : members) {
    if (json.size() > 1) json += ',';
    json += json_text(name) + ':' + value;
  }
  return json + '}';
}

}  // namespace quorivex
