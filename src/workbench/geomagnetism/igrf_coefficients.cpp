// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geomagnetism/igrf_coefficients.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/stop_run.h"
#include "workbench/geomagnetism/igrf_table.h"

namespace quorivex {
namespace {

constexpr std::size_t kCount = kIgrfDegree * (kIgrfDegree + 2);
constexpr double kFirstYear = 1900.0;

[[noreturn]] void unknown_layout(const char* what) {
  stop_run(fmt::format(" ERROR: the IGRF table that this program was built with has no {}.", what));
}

// The table is little-endian: a version, the length and padding in 16 bytes, then arrays at
// multiples of 8 bytes, each a reference count, a number of axes, a length (32 bits each) and
// 64-bit reals. The arrays are alternately an epoch's coefficients and their change.
constexpr std::size_t kHead = 16;
constexpr std::size_t kArrayHead = 12;
constexpr std::size_t kArrayBytes = kArrayHead + kCount * sizeof(double);

std::uint32_t integer(std::string_view bytes, std::size_t at) {
  std::uint32_t value = 0;
  std::memcpy(&value, bytes.data() + at, sizeof(value));
  return value;
}

/// Reads the array at the front of `rest` and removes it, with the padding after it.
std::vector<double> next_array(std::string_view& rest) {
  if (rest.size() < kArrayBytes || integer(rest, 0) != 1 || integer(rest, 4) != 1 ||
      integer(rest, 8) != kCount) {
    unknown_layout("array of 195 coefficients where one is due");
  }
  std::vector<double> values(kCount);
  std::memcpy(values.data(), rest.data() + kArrayHead, kCount * sizeof(double));
  const std::size_t padded = (kArrayBytes + 7) / 8 * 8;
  rest.remove_prefix(std::min(padded, rest.size()));
  return values;
}

std::vector<IgrfEpoch> read_epochs() {
  const std::string_view table = igrf_table();
  if (table.size() < kHead || integer(table, 0) != 1 || integer(table, 4) != table.size()) {
    unknown_layout("known head");
  }
  std::vector<IgrfEpoch> epochs;
  for (std::string_view rest = table.substr(kHead); !rest.empty();) {
    IgrfEpoch epoch;
    epoch.year = kFirstYear + kIgrfInterval * static_cast<double>(epochs.size());
    epoch.coefficients = next_array(rest);
    epoch.change = next_array(rest);
    epochs.push_back(std::move(epoch));
  }
  // The change must lead from each epoch to the next: that holds for no other order of the arrays.
  for (std::size_t e = 0; e + 1 < epochs.size(); ++e) {
    for (std::size_t k = 0; k < kCount; ++k) {
      const double reached = epochs[e].coefficients[k] + kIgrfInterval * epochs[e].change[k];
      if (!(std::abs(reached - epochs[e + 1].coefficients[k]) < 0.01)) {
        unknown_layout("epochs five years apart");
      }
    }
  }
  if (epochs.size() < 2) unknown_layout("epochs");
  return epochs;
}

}  // namespace

const std::vector<IgrfEpoch>& igrf_epochs() {
  static const std::vector<IgrfEpoch> epochs = read_epochs();
  return epochs;
}

std::string igrf_name() {
  constexpr double kEpochOf12 = 2015.0;
  return fmt::format("IGRF-{:.0f}",
                     12.0 + (igrf_epochs().back().year - kEpochOf12) / kIgrfInterval);
}

}  // namespace quorivex
