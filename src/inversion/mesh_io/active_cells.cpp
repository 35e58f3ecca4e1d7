// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/mesh_io/active_cells.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/list_reader.h"
#include "base/stop_run.h"
#include "base/view1.h"
#include "inversion/input/conventions.h"

namespace quorivex {
namespace {

constexpr const char* kActiveCellsRoutine = "get_active_cells";

std::vector<std::int32_t> read_codes(const std::string& name, std::int64_t cells) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("active cells", name);
  std::vector<std::int32_t> codes = allocate<std::int32_t>(as_size(cells), kActiveCellsRoutine);
  FreeFormat values(*file);
  read_list(values, codes, "active cell file", name);
  expect_no_more(values, "active cell file", name);
  if (std::any_of(codes.begin(), codes.end(), [](auto code) { return code < -1 || code > 1; })) {
    stop_run(fmt::format(" ERROR: values in the active cell file should be -1, 0 or 1. {}", name));
  }
  return codes;
}

/// Turns the codes in `active.map` into positions and counts the kinds.
void number_cells(ActiveCells& active) {
  const View1<std::int32_t> map(active.map);
  for_each_cell(*active.ground, [&](const GridCell& at) {
    std::int32_t& entry = map(at.cell);
    if (entry == 0 || at.air()) {
      entry = 0;
      ++active.zero_cells;
    } else if (entry == 1) {
      entry = ++active.ncell;
    } else {
      entry = -(++active.influence_cells);
    }
  });
}

}  // namespace

ActiveCells read_active_cells(const std::string& source, SharedGround ground) {
  const std::int64_t cells = ground->mesh.cells();
  ActiveCells active{.ground = std::move(ground), .map = {}};
  active.map = is_null(source) ? allocate<std::int32_t>(as_size(cells), kActiveCellsRoutine, 1)
                               : read_codes(source, cells);
  number_cells(active);
  return active;
}

void check_any_active(const ActiveCells& active) {
  if (active.ncell == 0) stop_run("ERROR: all cells are inactive.");
}

ActiveCells get_active_cells(const std::string& source, SharedGround ground) {
  ActiveCells active = read_active_cells(source, std::move(ground));
  check_any_active(active);
  return active;
}

}  // namespace quorivex
