// SPDX-License-Identifier: GPL-3.0-or-later
// Run by mpiexec with several numbers of processes; see tests/CMakeLists.txt. Each process compares
// its part with what it reads and computes as if it were alone.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "base/ranks.h"
#include "compressed.h"
#include "file_for_all.h"
#include "inversion/sensitivity/products.h"
#include "values.h"

namespace quorivex::test {
namespace {

/// Of the ground cells of the survey every fifth is not active.
ActiveCells active_of(const SharedGround& ground, bool all) {
  ActiveCells active{.ground = ground, .map = {}, .rows = {}, .survey = {}};
  for_each_cell(*ground, [&](const GridCell& cell) {
    const bool used = all || (cell.cell + ground->slab.cells_before) % 5 != 0;
    active.map.push_back(!cell.air() && used ? ++active.ncell : 0);
  });
  return active;
}

/// The entries of an active vector of the survey that belong to a slab, and which are of own rows.
struct Local {
  std::vector<double> values;
  std::vector<bool> own;
};
Local local_of(const ActiveCells& whole, const std::vector<double>& m, const ActiveCells& part) {
  Local local;
  const Ground& ground = *part.ground;
  for_each_cell(ground, [&](const GridCell& cell) {
    if (part.map[as_size(cell.cell - 1)] == 0) return;
    const std::int64_t of_survey = cell.cell + ground.slab.cells_before;
    local.values.push_back(m[as_size(whole.map[as_size(of_survey - 1)] - 1)]);
    local.own.push_back(cell.j > ground.slab.own_first && cell.j <= ground.slab.own_end);
  });
  return local;
}

bool same_bits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), 8 * a.size()) == 0);
}

/// Own entries equal those of the survey, the others are 0.
void expect_part(const ActiveCells& whole, const std::vector<double>& m, const ActiveCells& part,
                 const std::vector<double>& got) {
  Local expected = local_of(whole, m, part);
  for (std::size_t n = 0; n < expected.own.size(); ++n) {
    if (!expected.own[n]) expected.values[n] = 0.0;
  }
  EXPECT_TRUE(same_bits(got, expected.values));
}

/// Rows in falling, rising and mixed order with a position that comes twice, and an empty one.
std::vector<std::string> with_rows_of_every_order(std::vector<std::string> records) {
  for (std::size_t n = 6; n + 1 < records.size(); ++n) {
    const auto nnz = static_cast<std::size_t>(*reinterpret_cast<const int*>(records[n].data()));
    std::vector<std::int32_t> positions(nnz);
    std::vector<float> values(nnz);
    std::memcpy(positions.data(), records[n].data() + 4, 4 * nnz);
    std::memcpy(values.data(), records[n].data() + 4 + 4 * nnz, 4 * nnz);
    if (n % 3 != 0) {
      std::reverse(positions.begin(), positions.end());
      std::reverse(values.begin(), values.end());
    }
    if (n % 4 == 1) {
      for (const std::size_t at : {0U, 1U, 2U, 3U}) positions[nnz / 2 + at] = positions[nnz / 2];
      std::swap(positions.front(), positions.back());
    }
    if (n == 8) positions = {}, values = {};
    records[n] = record(static_cast<std::int32_t>(positions.size()), positions, values);
  }
  return records;
}

void expect_products_of_one_process(const std::vector<std::string>& records) {
  const FileForAll file(records);
  const SensitivityFile whole = getpar(file.name);
  const SensitivityFile part = read_part(file.name);
  const auto before = whole.sens.wtz.begin() + part.ground->slab.ground_cells_before;
  EXPECT_TRUE(std::equal(part.sens.wtz.begin(), part.sens.wtz.end(), before));
  EXPECT_EQ(length(part.sens.gdiag), part.ground->cells());
  EXPECT_TRUE(same_bits(part.sens.norms, whole.sens.norms));
  const std::vector<double> t = values_of_seed(as_size(whole.sens.ndata), 2);
  for (const bool all : {true, false}) {
    const ActiveCells active = active_of(whole.ground, all);
    const ActiveCells own = active_of(part.ground, all);
    const std::vector<double> m = values_of_seed(as_size(active.ncell), 1);
    Local local = local_of(active, m, own);
    for (std::size_t n = 0; n < local.own.size(); ++n) {
      if (!local.own[n]) local.values[n] = std::numeric_limits<double>::quiet_NaN();
    }
    std::vector<double> d(t.size());
    std::vector<double> got_d(t.size());
    std::vector<double> back(m.size());
    std::vector<double> got_back(local.values.size(), 7.0);
    if (whole.sens.compressed || all) {
      gprod(whole.sens, active, m, d);
      gprod(part.sens, own, local.values, got_d);
      EXPECT_TRUE(same_bits(got_d, d));
    }
    gtprod(whole.sens, active, t, back);
    gtprod(part.sens, own, t, got_back);
    expect_part(active, back, own, got_back);
    GtgprodWork whole_work(whole.sens, active);
    GtgprodWork work(part.sens, own);
    gtgprod(whole.sens, active, m, back, whole_work);
    const std::int64_t sent_before = ranks::bytes_sent();
    gtgprod(part.sens, own, local.values, got_back, work);
    const std::int64_t sent = ranks::sum(ranks::bytes_sent() - sent_before);
    expect_part(active, back, own, got_back);
    // Two transforms exchange the grid at most twice each; the data vector goes twice, with some
    // numbers.
    const std::int64_t cells = whole.sens.compressed ? 4 * whole.sens.nwav : 2 * whole.sens.nsens;
    EXPECT_LE(sent, 8 * (cells + ranks::count() * (2 * whole.sens.ndata + 8)));
  }
}

// Cells, padding or air taken for others; a plane, line or block that goes elsewhere, or nowhere;
// parts of a block added in another order; processes that have nothing.
TEST(SharedProducts, HaveTheBitsOfOneProcess) {
  for (const Size& size : {Size{9, 13, 7}, {16, 3, 20}, {20, 33, 9}, {3, 2, 3}}) {
    const Survey survey = make_survey(size);
    expect_products_of_one_process(sensitivity_records(survey));
    expect_products_of_one_process(compressed_records(survey, 6));
    expect_products_of_one_process(with_rows_of_every_order(compressed_records(survey, 4, 1e-4)));
  }
}

/// What is wrong in the file is told as to one process, whoever finds it.
bool same_message(bool wrong_position) {
  std::vector<std::string> records =
      compressed_records(make_survey({.ne = 9, .nn = 8, .nz = 7}), 4);
  if (wrong_position) records[records.size() - 2] = record(1, 99999, 1.0F);
  records[records.size() - (wrong_position ? 2 : 3)][3] = wrong_position ? '\0' : '\x7f';
  const FileForAll file(records);
  std::string expected;
  try {
    getpar(file.name);
  } catch (const StopRun& stop) {
    expected = stop.message();
  }
  try {
    read_part(file.name);
    ranks::finish();
  } catch (const StopRun& stop) {
    const std::string got(ranks::fail(stop).message());
    return !expected.empty() && got == expected;
  }
  return false;
}

}  // namespace
}  // namespace quorivex::test

int main(int argc, char** argv) {
  const quorivex::ranks::World world;
  if (argc > 1 && argv[1][0] != '-') {
    return quorivex::test::same_message(std::string(argv[1]) == "position") ? 0 : 1;
  }
  testing::InitGoogleTest(&argc, argv);
  const std::int64_t failed = RUN_ALL_TESTS() == 0 ? 0 : 1;
  return quorivex::ranks::sum(failed) == 0 ? 0 : 1;
}
