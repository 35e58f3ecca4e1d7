// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/active_cells.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "base/fixed_format.h"
#include "base/list_reader.h"
#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr const char* kRoutine = "get_active_cells";

std::vector<std::int32_t> read_codes(const std::string& name, std::int64_t cells, Report& report) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("active cells", name);
  std::vector<std::int32_t> codes = allocate<std::int32_t>(as_size(cells), kRoutine);
  FreeFormat values(*file);
  read_list(values, codes, "active cell file", name);
  expect_no_more<std::int32_t>(values, "active cell file", name);
  if (std::any_of(codes.begin(), codes.end(), [](auto code) { return code < -1 || code > 1; })) {
    stop_run(fmt::format(" ERROR: values in the active cell file should be -1, 0 or 1. {}", name));
  }
  report.log(fmt::format("active cells were read from file: {}\n", name));
  return codes;
}

/// Turns the codes in `active.map` into positions and counts the kinds.
void number_cells(ActiveCells& active) {
  std::size_t cell = 0;
  for (std::int32_t j = 1; j <= active.nn; ++j) {
    for (std::int32_t i = 1; i <= active.ne; ++i) {
      const std::int32_t top = active.tops(j, i);
      for (std::int32_t k = 1; k <= active.nz; ++k, ++cell) {
        std::int32_t& entry = active.map[cell];
        if (entry == 0 || k <= top) {
          entry = 0;
          ++active.zero_cells;
        } else if (entry == 1) {
          entry = ++active.ncell;
        } else {
          entry = -(++active.influence_cells);
        }
      }
    }
  }
}

void log_counts(const ActiveCells& active, Report& report) {
  const auto line = [&](std::string_view label, std::int32_t count) {
    report.log(right(label, 30) + whole(count, 8) + "\n");
  };
  report.log(
      fmt::format("{} {} x {} x {}\n", right("# of cells:", 30), active.ne, active.nn, active.nz));
  line("total # of cells:", active.total_cells);
  if (active.ncell != active.cells_below_topo) line("# of active cells:", active.ncell);
  line("# of cells below topo:", active.cells_below_topo);
  if (active.influence_cells > 0) line("# of inactive cells (inf):", active.influence_cells);
  if (active.zero_cells > 0) line("# of inactive cells:", active.zero_cells);
  report.log("\n");
}

}  // namespace

ActiveCells get_active_cells(const std::string& source, const Mesh& mesh, const ColumnTops& tops,
                             Report& report) {
  ActiveCells active{.ne = mesh.ne, .nn = mesh.nn, .nz = mesh.nz, .tops = tops, .map = {}};
  const bool all = source.starts_with("null") || source.starts_with("NULL");
  active.map = all ? allocate<std::int32_t>(as_size(mesh.cells()), kRoutine, 1)
                   : read_codes(source, mesh.cells(), report);
  number_cells(active);
  active.total_cells = static_cast<std::int32_t>(mesh.cells());
  const std::int64_t air = std::accumulate(tops.tops.begin(), tops.tops.end(), std::int64_t{0});
  active.cells_below_topo = static_cast<std::int32_t>(mesh.cells() - air);
  log_counts(active, report);
  if (active.ncell == 0) stop_run("ERROR: all cells are inactive.");
  return active;
}

}  // namespace quorivex
