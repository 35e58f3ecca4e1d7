// SPDX-License-Identifier: GPL-3.0-or-later
// Of a process that is alone. ranks_mpi.cpp takes its place in the programs with MPI: their object
// defines all of this, so that the linker does not take this one out of the library.
#include <algorithm>

#include "base/ranks.h"

namespace quorivex::ranks {

World::World() = default;
World::~World() = default;

bool with_mpi() { return false; }
std::string mpi_library() { return ""; }
int rank() { return 0; }
int count() { return 1; }

const StopRun& fail(const StopRun& stop) { return stop; }
void meet() {}
void finish() {}

void sum(View1<std::int64_t> /*values*/) {}
std::int64_t sum(std::int64_t value) { return value; }
double max(double value) { return value; }
std::int64_t max(std::int64_t value) { return value; }
void max(View1<double> /*values*/) {}
void merge(View1<double> /*values*/) {}
PrefixSum prefix_sum(std::int64_t value) { return {0, value}; }
void broadcast(View1<char> /*bytes*/) {}
double broadcast(double value) { return value; }
std::string broadcast_text(const std::string& text) { return text; }

void all_gather(View1<double> /*whole*/, Share /*own*/) {}
std::vector<double> all_gather(View1<const double> own,
                               const std::vector<std::int64_t>& /*sizes*/) {
  return {own.begin(), own.end()};
}
void gather(std::string_view own, const std::function<void(std::string_view)>& take) {
  if (!own.empty()) take(own);
}
std::vector<std::int64_t> exchange_counts(const std::vector<std::int64_t>& to) { return to; }
void exchange(View1<const double> send, const std::vector<std::int64_t>& /*to*/,
              View1<double> receive, const std::vector<std::int64_t>& /*from*/) {
  std::copy(send.begin(), send.end(), receive.begin());
}
void exchange(View1<const std::int32_t> send, const std::vector<std::int64_t>& /*to*/,
              View1<std::int32_t> receive, const std::vector<std::int64_t>& /*from*/) {
  std::copy(send.begin(), send.end(), receive.begin());
}
void exchange_with_neighbours(const Neighbours<const double>& /*send*/,
                              const Neighbours<double>& /*receive*/) {}

std::int64_t bytes_sent() { return 0; }

}  // namespace quorivex::ranks
