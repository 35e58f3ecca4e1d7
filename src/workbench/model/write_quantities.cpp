// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/model/write_quantities.h"

#include <fmt/format.h>

#include <deque>
#include <iterator>
#include <limits>

#include "base/atomic_file.h"
#include "base/stop_run.h"
#include "inversion/input/conventions.h"

namespace quorivex {
namespace {

/// Lines of numbers with the fewest digits that are read as the same ones.
class NumberLines {
 public:
  explicit NumberLines(AtomicFile& file) : file_(file) {}
  void append(double value) {
    fmt::format_to(std::back_inserter(text_), "{}\n", value);
    if (text_.size() >= kPiece) flush();
  }
  void flush() {
    file_.append(text_);
    text_.clear();
  }

 private:
  static constexpr std::size_t kPiece = std::size_t{1} << 20;
  AtomicFile& file_;
  std::string text_;
};

void append_cells(Quantity quantity, double in_air, const ModelQuantities& quantities,
                  const ModelCells& cells, NumberLines& lines) {
  for_each_cell(*cells.ground, [&](const GridCell& at) {
    lines.append(at.air() ? in_air : quantities(quantity, at.below));
  });
}

/// The faces between every two neighbours along an axis, in the cell order of the first.
void append_faces(Quantity quantity, Axis axis, const ModelQuantities& quantities,
                  const ModelCells& cells, NumberLines& lines) {
  const Ground& ground = *cells.ground;
  for_each_cell(ground, [&](const GridCell& at) {
    const bool last = axis == Axis::easting    ? at.i == ground.mesh.ne
                      : axis == Axis::northing ? at.j == ground.mesh.nn
                                               : at.k == ground.mesh.nz;
    if (last) return;
    // A face with air on one side is used by no row and has never been set.
    lines.append(at.air() ? rule_of(quantity).usual : quantities(quantity, at.below));
  });
}

void append_quantity(Quantity quantity, const ModelQuantities& quantities, const ModelCells& cells,
                     NumberLines& lines) {
  switch (quantity) {
    case Quantity::active:
      append_cells(quantity, 0.0, quantities, cells, lines);
      return;
    case Quantity::smallness:
      append_cells(quantity, rule_of(quantity).usual, quantities, cells, lines);
      for (const Quantity faces : {Quantity::smoothness_easting, Quantity::smoothness_northing,
                                   Quantity::smoothness_depth}) {
        append_faces(faces, *rule_of(faces).faces, quantities, cells, lines);
      }
      return;
    default:
      append_cells(quantity, kAirValue, quantities, cells, lines);
  }
}

}  // namespace

void write_quantities(const std::vector<QuantityFile>& files, const ModelQuantities& quantities,
                      const ModelCells& cells) {
  std::deque<AtomicFile> written;
  for (const QuantityFile& file : files) {
    NumberLines lines(written.emplace_back(file.name));
    append_quantity(file.quantity, quantities, cells, lines);
    lines.flush();
  }
  for (AtomicFile& file : written) file.commit();
}

std::vector<double> values_of_cells(Quantity quantity, const ModelQuantities& quantities,
                                    const ModelCells& cells) {
  const Ground& ground = *cells.ground;
  const std::optional<Axis> faces = rule_of(quantity).faces;
  std::vector<double> below = allocate<double>(as_size(ground.cells()), "qvx model");
  if (faces) {
    std::vector<std::int32_t> counts = allocate<std::int32_t>(as_size(ground.cells()), "qvx model");
    for_each_face(ground, *faces, [&](const GridCell& at, std::int64_t second) {
      for (const std::int64_t cell : {at.below, second}) {
        below[as_size(cell - 1)] += quantities(quantity, at.below);
        ++counts[as_size(cell - 1)];
      }
    });
    for (std::size_t n = 0; n < below.size(); ++n) {
      below[n] = counts[n] == 0 ? rule_of(quantity).usual : below[n] / counts[n];
    }
  } else {
    for (std::int64_t n = 1; n <= ground.cells(); ++n) {
      below[as_size(n - 1)] = quantities(quantity, n);
    }
  }
  std::vector<double> full = allocate<double>(as_size(ground.mesh.cells()), "qvx model",
                                              std::numeric_limits<double>::quiet_NaN());
  for_each_ground_cell(ground, [&](const GridCell& at) {
    full[as_size(at.cell - 1)] = below[as_size(at.below - 1)];
  });
  return full;
}

}  // namespace quorivex
