// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/stop_run.h"
#include "base/view1.h"

/// The processes that share a run. The programs whose names end in -mpi are linked with
/// ranks_mpi.cpp, all others with ranks_serial.cpp, in which a process is alone. Nothing else of
/// the project knows MPI.
///
/// Functions called collective are called by all processes in the same order, from the main thread
/// and outside parallel regions. Each first asks whether a process has failed, and throws its
/// StopRun then; so a process may fail anywhere, and the others need not know where. What a
/// collective allocates, it allocates before it asks.
namespace quorivex::ranks {

/// While it exists, the process is one of several. Made first in main, ended by all processes.
/// Standard output and standard error of all but the first lead nowhere.
class World {
 public:
  World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World();  // NOLINT(performance-trivially-destructible): that of MPI is not
};

/// Whether the program is linked with MPI.
bool with_mpi();
/// Name and version of the MPI library, "Open MPI v4.1.4"; empty without MPI.
std::string mpi_library();
/// Number of this process, from 0, and their count.
int rank();
int count();
inline bool is_first() { return rank() == 0; }

/// Whose work it is: of each process for itself, or of all together.
enum class Team { alone, all };
inline int rank(Team team) { return team == Team::all ? rank() : 0; }
inline int count(Team team) { return team == Team::all ? count() : 1; }

/// Of things numbered from 0, those from `begin` to before `end`.
struct Share {
  std::int64_t begin = 0;
  std::int64_t end = 0;
  std::int64_t size() const { return end - begin; }
};
/// The share of process `of` in `n` things that `processes` divide evenly, in the order of ranks.
inline Share share_of(std::int64_t n, int of, int processes) {
  return {n * of / processes, n * (of + std::int64_t{1}) / processes};
}

// The agreed end.

/// Ends the part of a process that fails: waits until the others come to a collective, which then
/// throws there. Returns why all of them end: `stop` of the lowest rank that failed, for the first
/// process to print. To be called where main has caught `stop`, also when it came out of a
/// collective.
const StopRun& fail(const StopRun& stop);

/// Collective: nothing but the question whether a process has failed.
void meet();

/// Collective: the last one, before main returns without having caught anything.
void finish();

// Scalars and vectors that all processes have.

/// Collective: values(n) becomes the sum over the processes. Exact, hence the same in any order.
void sum(View1<std::int64_t> values);
std::int64_t sum(std::int64_t value);

/// Collective: the largest value of a process; none is NaN.
double max(double value);
std::int64_t max(std::int64_t value);
/// The same entry by entry.
void max(View1<double> values);

/// Collective: entries that one process has set and the others have left at 0 get their value
/// everywhere.
void merge(View1<double> values);

/// Sums of a number over the lower ranks, and over all.
struct PrefixSum {
  std::int64_t before = 0;
  std::int64_t total = 0;
};
/// Collective.
PrefixSum prefix_sum(std::int64_t value);

/// Collective: the bytes of the first process, as many everywhere.
void broadcast(View1<char> bytes);
/// Collective: the number of the first process.
double broadcast(double value);
/// Collective: the text of the first process, whose length the others need not know.
std::string broadcast_text(const std::string& text);

// Vectors in parts.

/// Collective: each process has filled its share of `whole`; the shares follow one another in the
/// order of ranks. Afterwards everybody has all of it.
void all_gather(View1<double> whole, Share own);
/// Collective: the parts of all processes one after another, in the order of ranks.
std::vector<double> all_gather(View1<const double> own, const std::vector<std::int64_t>& sizes);

/// Collective: of the texts of all processes, of any length, the first one is handed all in the
/// order of ranks, in pieces of about a megabyte.
void gather(std::string_view own, const std::function<void(std::string_view piece)>& take);

/// Collective: to[r] goes to process r; what comes from each.
std::vector<std::int64_t> exchange_counts(const std::vector<std::int64_t>& to);

/// Collective: the first to[0] values of `send` go to process 0, the next to[1] to process 1, and
/// so on; `receive` is filled in the same way. Process r expects from[s] values of s, which are the
/// to[r] of s.
void exchange(View1<const double> send, const std::vector<std::int64_t>& to, View1<double> receive,
              const std::vector<std::int64_t>& from);
void exchange(View1<const std::int32_t> send, const std::vector<std::int64_t>& to,
              View1<std::int32_t> receive, const std::vector<std::int64_t>& from);

/// What goes to, or comes from, the processes before and after this one.
template <class T>
struct Neighbours {
  View1<T> before;
  View1<T> after;
};
/// Collective: what a process sends to a neighbour is as long as what that one receives. The first
/// process has none before it, and the last none after it: their views are not touched.
void exchange_with_neighbours(const Neighbours<const double>& send,
                              const Neighbours<double>& receive);

/// Bytes that this process has handed over for others so far; a vector that is summed or broadcast
/// counts once. For tests.
std::int64_t bytes_sent();

}  // namespace quorivex::ranks
