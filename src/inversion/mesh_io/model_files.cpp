// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/model_files.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/atomic_file.h"
#include "base/fixed_format.h"
#include "base/list_reader.h"
#include "base/parallel_text.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr double kAir = -100.0;

/// The number of "VALUE c"; nothing when the source is a file name.
std::optional<double> read_constant(const std::string& source, std::string_view label,
                                    Report& report) {
  // Trailing blanks are gone by now: VALUE alone is a constant without its number.
  if (source != "VALUE" && !source.starts_with("VALUE ")) return std::nullopt;
  double value = 0.0;
  if (!FreeFormat(std::string_view(source).substr(5)).read(value)) {
    stop_run(fmt::format(" ERROR reading constant value for {} {}", label, source));
  }
  report.log(right(fmt::format("{} was set to: ", label), 31) + sci(value, 11, 4) + "\n");
  return value;
}

void log_file_read(std::string_view label, const std::string& name, Report& report) {
  report.log(right(fmt::format("{} was read from file: ", label), 40) + name + "\n");
}

TextFile open_model(const std::string& name, std::string_view label) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found(label, name);
  return std::move(*file);
}

/// Calls scale(full index, wtz of the cell) for every cell below the column tops.
template <class Scale>
void scale_by_wtz(const ActiveCells& active, const CellScale& wtz, Scale scale) {
  if (!wtz) return;
  require(wtz->size() == active.cells_below_topo, "idx1 /= size(wtz)");
  std::int64_t idx1 = 0;
  for_each_below(active, [&](std::int64_t cell) { scale(cell, (*wtz)(++idx1)); });
}

constexpr std::int64_t kLineBytes = 16;  // more than a line needs

}  // namespace

void read_active_model(const std::string& source, std::string_view label, const ActiveCells& active,
                       CellScale wtz, View1<double> model, Report& report) {
  require(model.size() == active.ncell, "size(model) /= ncell");
  const View1<const std::int32_t> map(active.map);
  if (const auto constant = read_constant(source, label, report)) {
    std::fill(model.begin(), model.end(), *constant);
  } else {
    TextFile file = open_model(source, label);
    FreeFormat values(file);
    const std::string what = fmt::format("{} file", label);
    for (std::int64_t cell = 1; cell <= map.size(); ++cell) {
      double value = 0.0;
      const Read read = values.next(value);
      if (read != Read::value) list_error(read, what, source);
      values.next_line();
      if (map(cell) > 0) model(map(cell)) = value;
    }
    expect_no_more<double>(values, what, source);
    log_file_read(label, source, report);
  }
  scale_by_wtz(active, wtz, [&](std::int64_t cell, double scale) {
    if (map(cell) > 0) model(map(cell)) *= scale;
  });
}

void read_full_model(const std::string& source, std::string_view label, const ActiveCells& active,
                     CellScale wtz, View1<double> full, Report& report) {
  if (const auto constant = read_constant(source, label, report)) {
    std::fill(full.begin(), full.end(), *constant);
  } else {
    TextFile file = open_model(source, label);
    FreeFormat values(file);
    const std::string what = fmt::format("{} file", label);
    read_list(values, full, what, source);
    expect_no_more<double>(values, what, source);
    log_file_read(label, source, report);
  }
  scale_by_wtz(active, wtz, [&](std::int64_t cell, double scale) { full(cell) *= scale; });
}

void output_model(std::string_view base, std::string_view extension, View1<const double> model,
                  std::int32_t iteration, View1<const double> wtz, const ActiveCells& active,
                  const FixedValues& fixed) {
  require(model.size() == active.ncell, "size(model) /= ncell");
  require(wtz.size() == active.cells_below_topo, "idx1 /= size(wtz)");
  std::vector<double> full = allocate<double>(active.map.size(), "output_model");
  active_to_full(active, fixed, model, full);
  const auto top = [&](std::int64_t column) {
    return active.tops(static_cast<std::int32_t>((column - 1) / active.ne + 1),
                       static_cast<std::int32_t>((column - 1) % active.ne + 1));
  };
  const std::int64_t columns = std::int64_t{active.nn} * active.ne;
  std::vector<std::int64_t> below_before = allocate<std::int64_t>(as_size(columns), "output_model");
  std::int64_t idx1 = 0;
  for (std::int64_t column = 1; column <= columns; ++column) {
    below_before[as_size(column - 1)] = idx1;
    idx1 += active.nz - top(column);
  }
  with_alloc_label("output_model", [&] {
    AtomicFile file(numbered_name(base, iteration, extension));
    append_in_parallel(
        file, columns, active.nz * kLineBytes, [&](std::int64_t column, std::string& text) {
          std::size_t cell = as_size((column - 1) * active.nz);
          std::int64_t below = below_before[as_size(column - 1)];
          for (std::int32_t k = 1; k <= active.nz; ++k, ++cell) {
            append_sci(text, k > top(column) ? full[cell] / wtz(++below) : kAir, 12, 5);
            text.push_back('\n');
          }
        });
    file.commit();
  });
}

}  // namespace quorivex
