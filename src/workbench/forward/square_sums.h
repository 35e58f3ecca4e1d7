// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "base/ranks.h"
#include "inversion/mesh_io/ground.h"
#include "workbench/forward/data_rows.h"
#include "workbench/forward/turns.h"

namespace quorivex {

/// For each ground cell the sum over the data of the squares of their rows: over the data of each
/// group in their order, and over the groups in theirs. The bits depend neither on the threads nor
/// on the processes of the team. Memory: the sums of a group; a process's share of the others.
class SquareSums {
 public:
  SquareSums(const Ground& ground, std::int32_t ndata, ranks::Team team);

  /// Adds (factor row(c))^2 in the turn of datum i, which has a turn for each row of columns.
  void add(const RowLayout& layout, View1<const double> row, double factor, std::int32_t i,
           Turns& turns);

  /// Ends a round of for_each_round. Collective where the team is all processes.
  void end_round();

  /// The sums, at the end. Collective likewise.
  std::vector<double> take();

 private:
  /// A piece of the cells that is exchanged at a time; each process adds up its share of it.
  template <class Work>
  void for_each_piece(Work work) const;

  const Ground& ground_;
  std::int32_t group_size_;
  ranks::Team team_;
  std::vector<double> group_;  // sums of the group at hand
  std::vector<double> total_;  // of the groups before it; of this process's shares of the pieces
  std::vector<double> received_;
};

}  // namespace quorivex
