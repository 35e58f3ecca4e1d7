// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/html_table.h"

#include <fmt/format.h>

#include <string_view>

#include "base/text.h"

namespace quorivex {
namespace {

std::string cells(const std::vector<std::string>& texts, const char* first, const char* other) {
  std::string html = "<tr>";
  const char* tag = first;
  for (const std::string& text : texts) {
    html += fmt::format("<{}>{}</{}>", tag, escape_xml(text), std::string_view(tag).substr(0, 2));
    tag = other;
  }
  return html + "</tr>\n";
}

}  // namespace

std::string html_table(const char* kind, const std::string& caption,
                       const std::vector<std::string>& heading, const TableRows& rows) {
  std::string html =
      fmt::format("<div class=\"table\"><table class=\"{}\">\n<caption>{}</caption>\n", kind,
                  escape_xml(caption));
  if (!heading.empty()) {
    html += "<thead>" + cells(heading, "th scope=\"col\"", "th scope=\"col\"") + "</thead>\n";
  }
  html += "<tbody>\n";
  for (const auto& row : rows) html += cells(row, "th scope=\"row\"", "td");
  return html + "</tbody></table></div>\n";
}

}  // namespace quorivex
