// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/record_file.h"
#include "base/view1.h"

namespace quorivex {

/// An open sensitivity file with the two ways in which it can be wrong.
struct SensitivitySource {
  std::string name;
  RecordFile file;

  /// A record that is missing, cut off or too short.
  void need(bool read) const;
  /// A record with contents that cannot be right; `why` is the second line of the message.
  void check(bool holds, const std::string& why) const;
  /// All values lie from `min` to `max`; `what` are they, in which record.
  void check_range(View1<const std::int32_t> values, std::int32_t min, std::int32_t max,
                   std::int64_t record, std::string_view what) const;
  /// Begins a record that must hold `count` items of `bytes` each, before they are allocated.
  void begin(std::int64_t count, std::size_t bytes);
};

/// @throws StopRun file_not_found("sensitivity")
SensitivitySource open_sensitivity_source(const std::string& name);

}  // namespace quorivex
