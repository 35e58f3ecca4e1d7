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

/// Appends a line for each value.
template <class To>
void append_lines(To& to, View1<const double> values) {
  append_in_parallel(to, values.size(), kModelLineBytes, [&](std::int64_t n, std::string& text) {
    append_sci(text, values(n), 12, 5);
    text.push_back('\n');
  });
}

/// Collective where the rows are divided: each process makes the lines of its own rows, which the
/// first one writes.
void write_values(const std::string& name, const Ground& ground, View1<const double> values) {
  const bool divided = ground.slab.team == ranks::Team::all;
  std::optional<AtomicFile> file;
  if (!divided || ranks::is_first()) file.emplace(name);
  const std::int64_t row = std::int64_t{ground.mesh.ne} * ground.mesh.nz;
  const View1<const double> own(values.data() + ground.slab.own_first * row,
                                (ground.slab.own_end - ground.slab.own_first) * row);
  if (divided) {
    std::string lines;
    append_lines(lines, own);
    ranks::gather(lines, [&](std::string_view piece) { file->append(piece); });
  } else {
    append_lines(*file, own);
  }
  if (file) file->commit();
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
  const Slab& slab = active.ground->slab;
  const std::int64_t cells = length(active.map);
  for (std::int64_t cell = 0; cell < slab.cells; ++cell) {
    double value = 0.0;
    const Read read = values.next(value);
    if (read != Read::value) list_error(read, what, source, values);
    values.next_line();
    const std::int64_t here = cell - slab.cells_before;
    if (here < 0 || here >= cells) continue;
    const std::int32_t entry = active.map[as_size(here)];
    if (entry > 0) model(entry) = value;
  }
  expect_no_more(values, what, source);
  return std::nullopt;
}

std::optional<double> read_full_model(const std::string& source, std::string_view label,
                                      const Ground& ground, View1<double> full) {
  if (const std::optional<double> constant = read_constant(source, label)) {
    std::fill(full.begin(), full.end(), *constant);
    return constant;
  }
  TextFile file = open_model(source, label);
  FreeFormat values(file);
  const std::string what = fmt::format("{} file", label);
  read_part_of_list(values, {what, source, ground.slab.cells_before, ground.slab.cells}, full);
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
  for_each_cell(ground, [&](const GridCell& at) {
    full(at.cell) = at.air() ? kAirValue : full(at.cell) / wtz(at.below);
  });
  with_alloc_label("output_model", [&] { write_values(name, ground, full); });
}

}  // namespace quorivex
