// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/geomagnetism/igrf_coefficients.h"

#include <fmt/format.h>

#include <cmath>
#include <cstdint>
#include <cstring>
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

/// Walks through the table: little-endian; a version, the length and padding in 16 bytes, then
/// arrays at multiples of 8 bytes, each a reference count, a number of axes, a length (32 bits
/// each) and 64-bit reals. The arrays are an epoch's coefficients and their change by turns.
class ArrayFile {
 public:
  ArrayFile() {
    if (kIgrfTableBytes < kHead || integer(0) != 1 || integer(4) != kIgrfTableBytes) {
      unknown_layout("known head");
    }
  }

  bool at_end() const { return at_ >= kIgrfTableBytes; }

  std::vector<double> next() {
    constexpr std::size_t kArrayHead = 12;
    constexpr std::size_t kArrayBytes = kArrayHead + kCount * sizeof(double);
    if (at_ + kArrayBytes > kIgrfTableBytes || integer(at_) != 1 || integer(at_ + 4) != 1 ||
        integer(at_ + 8) != kCount) {
      unknown_layout("array of 195 coefficients where one is due");
    }
    std::vector<double> values(kCount);
    std::memcpy(values.data(), kIgrfTable + at_ + kArrayHead, kCount * sizeof(double));
    at_ = (at_ + kArrayBytes + 7) / 8 * 8;
    return values;
  }

 private:
  static constexpr std::size_t kHead = 16;

  static std::uint32_t integer(std::size_t at) {
    std::uint32_t value = 0;
    std::memcpy(&value, kIgrfTable + at, sizeof(value));
    return value;
  }

  std::size_t at_ = kHead;
};

std::vector<IgrfEpoch> read_epochs() {
  std::vector<IgrfEpoch> epochs;
  for (ArrayFile file; !file.at_end();) {
    IgrfEpoch epoch;
    epoch.year = kFirstYear + kIgrfInterval * static_cast<double>(epochs.size());
    epoch.coefficients = file.next();
    epoch.change = file.next();
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
