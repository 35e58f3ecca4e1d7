// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/coordinates/crs.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "base/stop_run.h"
#include "base/text.h"
#include "base/text_file.h"

namespace quorivex {
namespace {

constexpr std::string_view kRemark = "coordinate system:";
constexpr std::string_view kAuthority = "epsg:";
constexpr std::size_t kMaxDigits = 9;
constexpr std::size_t kMaxLine = 200;  // characters of a comment that are looked at

}  // namespace

std::optional<std::string> crs_code(std::string_view text) {
  const std::string_view code = trim(text);
  if (!lower_case(code).starts_with(kAuthority)) return {};
  const std::string_view digits = code.substr(kAuthority.size());
  if (digits.empty() || digits.size() > kMaxDigits || digits.front() == '0' ||
      !std::all_of(digits.begin(), digits.end(),
                   [](unsigned char c) { return std::isdigit(c) != 0; })) {
    return {};
  }
  return fmt::format("EPSG:{}", digits);
}

std::string common_crs(const std::vector<CrsSource>& sources) {
  const CrsSource* known = nullptr;
  for (const CrsSource& source : sources) {
    if (source.crs.empty()) continue;
    if (known == nullptr) known = &source;
    if (source.crs == known->crs) continue;
    stop_run(
        fmt::format(" ERROR: two coordinate systems: {} of {}, {} of {}.\n"
                    " Project one of them (gdalwarp, ogr2ogr), or correct what is said of it.",
                    known->crs, known->from, source.crs, source.from));
  }
  return known == nullptr ? "" : known->crs;
}

std::string crs_remark(const std::string& crs) { return fmt::format("{} {}", kRemark, crs); }

std::string crs_of_observations(const std::string& name) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) return {};
  std::vector<CrsSource> found;
  for (std::string line; file->read_line(line, kMaxLine);) {
    if (trim(line).empty()) continue;
    if (line.front() != '!') break;
    const std::string_view comment = trim(std::string_view(line).substr(1));
    if (!comment.starts_with(kRemark)) continue;
    if (const auto crs = crs_code(comment.substr(kRemark.size()))) found.push_back({*crs, name});
  }
  return common_crs(found);
}

}  // namespace quorivex
