// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/sensitivity/sensitivity_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "base/multiversion.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

QUORIVEX_MULTIVERSIONED
bool all_in_range(const std::int32_t* values, std::int64_t count, std::int32_t min,
                  std::int32_t max) {
  const auto width = static_cast<std::uint32_t>(max) - static_cast<std::uint32_t>(min);
  std::uint32_t wrong = 0;
#pragma omp simd reduction(| : wrong)
  for (std::int64_t i = 0; i < count; ++i) {
    wrong |= static_cast<std::uint32_t>(values[i]) - static_cast<std::uint32_t>(min) > width;
  }
  return wrong == 0;
}

}  // namespace

void SensitivitySource::need(bool read) const {
  if (!read) stop_run(fmt::format("ERROR reading sensitivity file {}", name));
}

void SensitivitySource::check(bool holds, const std::string& why) const {
  if (!holds) stop_run(fmt::format("ERROR reading sensitivity file {}\n {}", name, why));
}

void SensitivitySource::check_range(View1<const std::int32_t> values, std::int32_t min,
                                    std::int32_t max, std::int64_t record,
                                    std::string_view what) const {
  if (all_in_range(values.data(), values.size(), min, max)) return;
  const auto* wrong = std::find_if(values.begin(), values.end(),
                                   [=](std::int32_t value) { return value < min || value > max; });
  check(false, fmt::format("Record {}: {} should lie from {} to {}; found {}.", record, what, min,
                           max, *wrong));
}

void SensitivitySource::begin(std::int64_t count, std::size_t bytes) {
  need(file.begin() && count * static_cast<std::int64_t>(bytes) <= file.left_in_record());
}

SensitivitySource open_sensitivity_source(const std::string& name) {
  std::optional<RecordFile> file = RecordFile::open(name);
  if (!file) file_not_found("sensitivity", name);
  return {name, std::move(*file)};
}

}  // namespace quorivex
