// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "inversion/mesh_io/ground.h"

namespace quorivex {

/// What lines 5 to 9 and 12 of an input file take. The last three belong to the faces between
/// neighbouring cells.
enum class Quantity : std::uint8_t {
  initial,
  reference,
  lower,
  upper,
  active,
  smallness,
  smoothness_easting,
  smoothness_northing,
  smoothness_depth
};
inline constexpr std::size_t kQuantities = 9;
inline constexpr std::size_t index_of(Quantity quantity) {
  return static_cast<std::size_t>(quantity);
}
inline constexpr std::array<Quantity, kQuantities> kAllQuantities{Quantity::initial,
                                                                  Quantity::reference,
                                                                  Quantity::lower,
                                                                  Quantity::upper,
                                                                  Quantity::active,
                                                                  Quantity::smallness,
                                                                  Quantity::smoothness_easting,
                                                                  Quantity::smoothness_northing,
                                                                  Quantity::smoothness_depth};

enum class Axis : std::uint8_t { easting, northing, depth };

struct QuantityRule {
  const char* name;
  const char* option;  ///< of the file that holds it: "--weights"
  double usual;        ///< where no operation sets it: that of `qvx input`
  double min;
  double max;
  std::optional<Axis> faces;  ///< the axis that they lie across; nothing for cells
};

const QuantityRule& rule_of(Quantity quantity);

/// The quantities that a key sets; `smoothness` sets three, and a key of a region none.
std::vector<Quantity> quantities_of(std::string_view key);

/// Every key that sets quantities.
std::vector<std::string> quantity_keys();

/// A quantity of the ground cells; of a face it stands at the first of its two cells.
struct QuantityValues {
  std::vector<double> values;  ///< one per ground cell; none: the usual one everywhere
  std::vector<std::int32_t>
      setters;  ///< likewise: the operation, from 1, that set it last; 0: none
};

struct ModelQuantities {
  std::array<QuantityValues, kQuantities> of;

  bool is_set(Quantity quantity) const { return !of[index_of(quantity)].values.empty(); }
  /// Of ground cell `below`, from 1.
  double operator()(Quantity quantity, std::int64_t below) const {
    const std::vector<double>& values = of[index_of(quantity)].values;
    return values.empty() ? rule_of(quantity).usual : values[as_size(below - 1)];
  }
  std::int32_t setter(Quantity quantity, std::int64_t below) const {
    const std::vector<std::int32_t>& setters = of[index_of(quantity)].setters;
    return setters.empty() ? 0 : setters[as_size(below - 1)];
  }
};

/// The values to be written, which are the usual ones where nothing has set them yet.
QuantityValues& values_to_set(ModelQuantities& quantities, Quantity quantity,
                              std::int64_t ground_cells);

}  // namespace quorivex
