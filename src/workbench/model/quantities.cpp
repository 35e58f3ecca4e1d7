// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/quantities.h"

namespace quorivex {
namespace {

constexpr double kMinSusceptibility = -1.0;  // SI, a perfect diamagnet
constexpr double kMaxSusceptibility = 1000.0;
constexpr double kMaxWeight = 1e30;

constexpr const char* kWeights = "--weights";

constexpr QuantityRule of_cells(const char* name, const char* option, double usual) {
  return {name, option, usual, kMinSusceptibility, kMaxSusceptibility, std::nullopt};
}

constexpr QuantityRule of_faces(const char* name, Axis axis) {
  return {name, kWeights, 1.0, 0.0, kMaxWeight, axis};
}

constexpr std::array<QuantityRule, kQuantities> kRules{
    {of_cells("initial", "--initial", 0.001), of_cells("reference", "--reference", 0.0),
     of_cells("lower", "--lower", 0.0), of_cells("upper", "--upper", 1.0),
     QuantityRule{"active", "--active", 1.0, -1.0, 1.0, std::nullopt},
     QuantityRule{"smallness", kWeights, 1.0, 0.0, kMaxWeight, std::nullopt},
     of_faces("smoothness_easting", Axis::easting), of_faces("smoothness_northing", Axis::northing),
     of_faces("smoothness_depth", Axis::depth)}};

constexpr const char* kAllFaces = "smoothness";

}  // namespace

const QuantityRule& rule_of(Quantity quantity) { return kRules[index_of(quantity)]; }

std::vector<Quantity> quantities_of(std::string_view key) {
  std::vector<Quantity> found;
  for (const Quantity quantity : kAllQuantities) {
    const QuantityRule& rule = rule_of(quantity);
    if (key == rule.name || (key == kAllFaces && rule.faces)) found.push_back(quantity);
  }
  return found;
}

std::vector<std::string> quantity_keys() {
  std::vector<std::string> keys{kAllFaces};
  keys.reserve(1 + kQuantities);
  for (const QuantityRule& rule : kRules) keys.emplace_back(rule.name);
  return keys;
}

QuantityValues& values_to_set(ModelQuantities& quantities, Quantity quantity,
                              std::int64_t ground_cells) {
  QuantityValues& of = quantities.of[index_of(quantity)];
  if (of.values.empty()) {
    of.setters = allocate<std::int32_t>(as_size(ground_cells), "qvx model");
    of.values = allocate<double>(as_size(ground_cells), "qvx model", rule_of(quantity).usual);
  }
  return of;
}

}  // namespace quorivex
