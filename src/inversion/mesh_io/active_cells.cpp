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

std::vector<std::int32_t> read_codes(const std::string& name, const Ground& ground) {
  std::optional<TextFile> file = TextFile::open(name);
  if (!file) file_not_found("active cells", name);
  std::vector<std::int32_t> codes =
      allocate<std::int32_t>(as_size(ground.mesh.cells()), kActiveCellsRoutine);
  FreeFormat values(*file);
  const ListPart part{"active cell file", name, ground.slab.cells_before, ground.slab.cells};
  read_part_of_list(values, part, codes);
  expect_no_more(values, "active cell file", name);
  if (std::any_of(codes.begin(), codes.end(), [](auto code) { return code < -1 || code > 1; })) {
    stop_run(fmt::format(" ERROR: values in the active cell file should be -1, 0 or 1. {}", name));
  }
  return codes;
}

/// Turns the codes in `active.map` into positions and counts the kinds, in the own rows too.
void number_cells(ActiveCells& active) {
  const Ground& ground = *active.ground;
  const Slab& slab = ground.slab;
  const View1<std::int32_t> map(active.map);
  ActiveCells::Counts own;
  std::vector<std::int64_t> before =
      allocate<std::int64_t>(as_size(ground.mesh.nn + 1), kActiveCellsRoutine);
  for_each_cell(ground, [&](const GridCell& at) {
    std::int32_t& entry = map(at.cell);
    const int counted = at.j > slab.own_first && at.j <= slab.own_end ? 1 : 0;
    if (entry == 0 || at.air()) {
      entry = 0;
      ++active.zero_cells;
      own.zero += counted;
    } else if (entry == 1) {
      entry = ++active.ncell;
      own.active += counted;
    } else {
      entry = -(++active.influence_cells);
      own.influence += counted;
    }
    before[as_size(at.j)] = active.ncell;
  });
  active.rows = RowPieces(std::move(before), slab, kActiveCellsRoutine);
  active.survey = {sum_of_all(active.rows, own.active), sum_of_all(active.rows, own.zero),
                   sum_of_all(active.rows, own.influence)};
}

}  // namespace

ActiveCells read_active_cells(const std::string& source, SharedGround ground) {
  ActiveCells active{.ground = std::move(ground), .map = {}, .rows = {}, .survey = {}};
  const Ground& all = *active.ground;
  active.map = is_null(source)
                   ? allocate<std::int32_t>(as_size(all.mesh.cells()), kActiveCellsRoutine, 1)
                   : read_codes(source, all);
  number_cells(active);
  return active;
}

void check_any_active(const ActiveCells& active) {
  if (active.survey.active == 0) stop_run("ERROR: all cells are inactive.");
}

ActiveCells get_active_cells(const std::string& source, SharedGround ground) {
  ActiveCells active = read_active_cells(source, std::move(ground));
  check_any_active(active);
  return active;
}

}  // namespace quorivex
