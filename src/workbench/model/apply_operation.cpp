// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/apply_operation.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/nearest_word.h"
#include "base/text.h"
#include "workbench/model/limits.h"
#include "workbench/model/model_values.h"
#include "workbench/model/operation_keys.h"
#include "workbench/model/polygon.h"
#include "workbench/model/shapes.h"
#include "workbench/model/surfaces.h"
#include "workbench/model/table_operations.h"
#include "workbench/model/weights.h"
#include "workbench/tables/row_faults.h"

namespace quorivex {
namespace {

const OperationKind* find_kind(const std::string& word) {
  const std::vector<OperationKind>& kinds = operation_kinds();
  const auto at = std::find_if(kinds.begin(), kinds.end(),
                               [&](const OperationKind& kind) { return kind.word == word; });
  return at == kinds.end() ? nullptr : &*at;
}

/// "; did you mean box?", or the words that there are.
std::string meant(const std::string& word, const std::vector<std::string>& known) {
  const std::string nearest = nearest_word(word, known);
  return nearest.empty() ? fmt::format("; there are {}", fmt::join(known, ", "))
                         : fmt::format("; did you mean {}?", nearest);
}

const OperationKind& kind_of(const Operation& operation) {
  const OperationKind* kind = find_kind(operation.word);
  if (kind) return *kind;
  std::vector<std::string> words;
  for (const OperationKind& known : operation_kinds()) words.emplace_back(known.word);
  refuse(operation, fmt::format("there is no operation {}{}", excerpt(operation.word),
                                meant(operation.word, words)));
}

/// Keys that say where an operation holds.
std::vector<std::string> region_keys(const OperationKind& kind) {
  std::vector<std::string> keys = kind.keys;
  keys.insert(keys.end(), limit_keys().begin(), limit_keys().end());
  return keys;
}

std::string expected_value(const QuantityRule& rule) {
  return fmt::format("{}, or @NAME of values that the operation brings or of another quantity",
                     rule.name == std::string_view("active")
                         ? "1, 0 or -1"
                         : fmt::format("a number from {} to {}", rule.min, rule.max));
}

bool fits(Quantity quantity, double value) {
  const QuantityRule& rule = rule_of(quantity);
  const bool whole = quantity != Quantity::active || value == std::round(value);
  return whole && value >= rule.min && value <= rule.max;  // false for NaN
}

void check_quantity(const Operation& operation, const OperationKind& kind, const Setting& setting,
                    Quantity quantity) {
  const QuantityRule& rule = rule_of(quantity);
  if (kind.faces_only && !rule.faces) {
    refuse(operation, fmt::format("{} sets faces between cells, so smoothness, "
                                  "smoothness_easting, smoothness_northing or smoothness_depth, "
                                  "not {}",
                                  kind.word, rule.name));
  }
  if (setting.multiplies && quantity == Quantity::active) {
    refuse(operation, "codes of active cells are set, not multiplied");
  }
  if (setting.value.front() == '@') return;
  const std::optional<double> value = to_number(setting.value);
  const bool good =
      value && (setting.multiplies ? std::abs(*value) <= kMaxPlace : fits(quantity, *value));
  if (!good) {
    refuse(operation, fmt::format("{}={} should be {}", setting.key, excerpt(setting.value),
                                  expected_value(rule)));
  }
}

/// A number, a column of the operation, or another quantity of the cells.
class SettingValues {
 public:
  SettingValues(const Operation& operation, const Setting& setting, const Selection& selection,
                const ModelQuantities& quantities)
      : selection_(selection), quantities_(quantities) {
    constant_ = to_number(setting.value);
    if (constant_) return;
    const std::string name = setting.value.substr(1);
    const auto named = [&](const Column& column) { return column.name == name; };
    const auto column = std::find_if(selection.columns.begin(), selection.columns.end(), named);
    if (column != selection.columns.end()) {
      column_ = &*column;
      return;
    }
    const std::vector<Quantity> found = quantities_of(name);
    if (found.size() == 1 && !rule_of(found[0]).faces) {
      other_ = found[0];
      return;
    }
    std::vector<std::string> known;
    for (const Column& brought : selection.columns) known.push_back("@" + brought.name);
    for (const Quantity quantity : kAllQuantities) {
      if (!rule_of(quantity).faces) known.push_back(fmt::format("@{}", rule_of(quantity).name));
    }
    refuse(operation, fmt::format("{}={}: there are no such values{}", setting.key,
                                  excerpt(setting.value), meant(setting.value, known)));
  }

  /// Of a ground cell where the operation holds; NaN for none.
  double operator()(std::int64_t below) const {
    if (constant_) return *constant_;
    if (other_) return quantities_(*other_, below);
    return column_->values[as_size(selection_.entries[as_size(below - 1)] - 1)];
  }

 private:
  const Selection& selection_;
  const ModelQuantities& quantities_;
  std::optional<double> constant_;
  std::optional<Quantity> other_;
  const Column* column_ = nullptr;
};

/// What an operation sets one quantity with.
struct Assignment {
  const Operation& operation;
  const Setting& setting;
  Quantity quantity;
  std::int32_t number;  ///< of the operation
};

/// Sets the values of one quantity and adds them up.
class Setter {
 public:
  Setter(const Assignment& assignment, const ModelCells& cells, QuantityValues& to)
      : assignment_(assignment), cells_(cells), to_(to) {
    facts_.quantity = assignment.quantity;
  }

  void set(const GridCell& at, double value) {
    if (std::isnan(value)) return;
    double& place = to_.values[as_size(at.below - 1)];
    const double now = assignment_.setting.multiplies ? place * value : value;
    if (!fits(assignment_.quantity, now)) {
      refuse(assignment_.operation,
             fmt::format("{} would be {} in {}; it should be {}",
                         rule_of(assignment_.quantity).name, now, describe_cell(cells_, at),
                         expected_value(rule_of(assignment_.quantity))));
    }
    if (place != now) ++facts_.changed;
    place = now;
    to_.setters[as_size(at.below - 1)] = assignment_.number;
    facts_.min = facts_.count == 0 ? now : std::min(facts_.min, now);
    facts_.max = facts_.count == 0 ? now : std::max(facts_.max, now);
    ++facts_.count;
    sum_ += now;
  }

  SetFacts facts() const {
    SetFacts facts = facts_;
    if (facts.count > 0) facts.mean = sum_ / static_cast<double>(facts.count);
    return facts;
  }

 private:
  const Assignment& assignment_;
  const ModelCells& cells_;
  QuantityValues& to_;
  SetFacts facts_;
  double sum_ = 0.0;
};

SetFacts assign(const Assignment& assignment, const ModelCells& cells, const Selection& selection,
                ModelQuantities& quantities) {
  QuantityValues& to = values_to_set(quantities, assignment.quantity, cells.ground->cells());
  const SettingValues values(assignment.operation, assignment.setting, selection, quantities);
  Setter setter(assignment, cells, to);
  const auto holds = [&](std::int64_t below) { return selection.entries[as_size(below - 1)] > 0; };
  const std::optional<Axis> faces = rule_of(assignment.quantity).faces;
  if (faces) {
    for_each_face(*cells.ground, *faces, [&](const GridCell& at, std::int64_t second) {
      if (!holds(at.below) || !holds(second)) return;
      if (selection.face && !selection.face(at.below, second)) return;
      setter.set(at, 0.5 * values(at.below) + 0.5 * values(second));
    });
  } else {
    for_each_ground_cell(*cells.ground, [&](const GridCell& at) {
      if (holds(at.below)) setter.set(at, values(at.below));
    });
  }
  return setter.facts();
}

}  // namespace

const std::vector<OperationKind>& operation_kinds() {
  static const std::vector<OperationKind> kKinds{
      {"all", {}, select_all},
      {"box", {}, select_box},
      {"ellipsoid", {"centre", "axes", "azimuth", "dip"}, select_ellipsoid},
      {"slab", {"centre", "strike", "dip", "length", "extent", "thickness"}, select_slab},
      {"above", {"surface"}, select_above},
      {"below", {"surface"}, select_below},
      {"between", {"top", "base"}, select_between},
      {"polygon", {"outline"}, select_polygon},
      {"file", {"name"}, select_file},
      {"holes",
       {"collars", "surveys", "intervals", "reach", "unit", "units", "missing", "columns"},
       select_holes},
      {"voxels", {"file", "method", "unit", "units", "missing", "columns"}, select_voxels},
      {"depth_weight", {"exponent", "offset"}, select_depth_weight},
      {"distance_weight", {"exponent", "offset"}, select_distance_weight},
      {"edges", {"model", "jump"}, select_edges, true}};
  return kKinds;
}

void check_operation(const Operation& operation) {
  const OperationKind& kind = kind_of(operation);
  const std::vector<std::string> region = region_keys(kind);
  bool sets = false;
  for (const Setting& setting : operation.settings) {
    const std::vector<Quantity> quantities = quantities_of(setting.key);
    for (const Quantity quantity : quantities) check_quantity(operation, kind, setting, quantity);
    sets = sets || !quantities.empty();
    if (!quantities.empty()) continue;
    if (std::find(region.begin(), region.end(), setting.key) == region.end()) {
      std::vector<std::string> known = region;
      for (const std::string& key : quantity_keys()) known.push_back(key);
      refuse(operation, fmt::format("{} has no key {}{}", kind.word, excerpt(setting.key),
                                    meant(setting.key, known)));
    }
    if (setting.multiplies) {
      refuse(operation, fmt::format("{}*= should be {}=: only quantities are multiplied",
                                    setting.key, setting.key));
    }
  }
  if (!sets) {
    refuse(operation, fmt::format("it sets nothing; add a quantity and its value, {}=NUMBER",
                                  fmt::join(quantity_keys(), "=NUMBER, ")));
  }
}

OperationFacts apply_operation(const Operation& operation, std::int32_t number,
                               const ModelSources& sources, ModelQuantities& quantities) {
  const ModelCells& cells = sources.cells;
  Selection selection = kind_of(operation).select(operation, sources);
  apply_limits(operation, cells, selection);
  OperationFacts facts;
  facts.remarks = std::move(selection.remarks);
  for_each_ground_cell(*cells.ground, [&](const GridCell& at) {
    if (selection.entries[as_size(at.below - 1)] == 0) return;
    ++facts.cells;
    facts.volume += cells.volume(at);
  });
  for (const Setting& setting : operation.settings) {
    for (const Quantity quantity : quantities_of(setting.key)) {
      facts.set.push_back(
          assign({operation, setting, quantity, number}, cells, selection, quantities));
    }
  }
  return facts;
}

}  // namespace quorivex
