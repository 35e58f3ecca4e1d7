// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/model_files.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/atomic_file.h"
#include "base/fixed_format.h"
#include "base/list_reader.h"
#include "base/parallel_text.h"
#include "base/stop_run.h"
#include "inversion/input/conventions.h"

namespace quorivex {
namespace {

constexpr std::int64_t kModelLineBytes = 16;  // more than a line needs

/// The number of "VALUE c"; nothing when the source is a file name.
std::optional<double> read_constant(const std::string& source, std::string_view label) {
  const std::optional<std::string_view> number = constant_of(source);
  if (!number) return std::nullopt;
  double value = 0.0;
  if (!FreeFormat(*number).read(value)) {
    stop_run(fmt::format(" ERROR reading constant value for {} {}", label, source));
  }
  return value;
}

TextFile open_model(const std::string& name, std::string_view label) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found(label, name);
  return std::move(*file);
}

}  // namespace

std::optional<double> read_active_model(const std::string& source, std::string_view label,
                                        const ActiveCells& active, View1<double> model) {
  require(model.size() == active.ncell, "size(model) /= ncell");
  if (const std::optional<double> constant = read_constant(source, label)) {
    std::fill(model.begin(), model.end(), *constant);
    return constant;
  }
  TextFile file = open_model(source, label);
  FreeFormat values(file);
  const std::string what = fmt::format("{} file", label);
  for (const std::int32_t entry : active.map) {
    double value = 0.0;
    const Read read = values.next(value);
    if (read != Read::value) list_error(read, what, source);
    values.next_line();
    if (entry > 0) model(entry) = value;
  }
  expect_no_more(values, what, source);
  return std::nullopt;
}

std::optional<double> read_full_model(const std::string& source, std::string_view label,
                                      View1<double> full) {
  if (const std::optional<double> constant = read_constant(source, label)) {
    std::fill(full.begin(), full.end(), *constant);
    return constant;
  }
  TextFile file = open_model(source, label);
  FreeFormat values(file);
  const std::string what = fmt::format("{} file", label);
  read_list(values, full, what, source);
  expect_no_more(values, what, source);
  return std::nullopt;
}

void scale_active_model(const ActiveCells& active, View1<const double> wtz, View1<double> model) {
  require(wtz.size() == active.ground->cells(), "idx1 /= size(wtz)");
  const View1<const std::int32_t> map(active.map);
  for_each_ground_cell(*active.ground, [&](const GridCell& at) {
    if (map(at.cell) > 0) model(map(at.cell)) *= wtz(at.below);
  });
}

void scale_full_model(const Ground& ground, View1<const double> wtz, View1<double> full) {
  require(wtz.size() == ground.cells(), "idx1 /= size(wtz)");
  for_each_ground_cell(ground, [&](const GridCell& at) { full(at.cell) *= wtz(at.below); });
}

void output_model(const std::string& name, View1<const double> model, View1<const double> wtz,
                  const ActiveCells& active, const FixedValues& fixed) {
  require(model.size() == active.ncell, "size(model) /= ncell");
  const Ground& ground = *active.ground;
  require(wtz.size() == ground.cells(), "idx1 /= size(wtz)");
  std::vector<double> values = allocate<double>(active.map.size(), "output_model");
  const View1<double> full(values);
  active_to_full(active, fixed, model, full);
  with_alloc_label("output_model", [&] {
    AtomicFile file(name);
    append_in_parallel(file, ground.columns(), ground.mesh.nz * kModelLineBytes,
                       [&](std::int64_t number, std::string& text) {
                         const auto line = [&](const GridCell& at) {
                           append_sci(text, at.air() ? kAirValue : full(at.cell) / wtz(at.below),
                                      12, 5);
                           text.push_back('\n');
                         };
                         for_each_cell_of(ground, ground.column(number), 1, line);
                       });
    file.commit();
  });
}

}  // namespace quorivex
