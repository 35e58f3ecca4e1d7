// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <mpi.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>
#include <optional>
#include <type_traits>

#include "base/interruption.h"
#include "base/ranks.h"

namespace quorivex::ranks {
namespace {

constexpr const char* kRoutine = "ranks";
constexpr std::int64_t kPiece = std::int64_t{1} << 20;  // elements of a message, at most
constexpr std::size_t kText = 16384;                    // bytes of a text of a StopRun, with its 0

/// Belongs to the process, as its rank does.
struct State {
  int rank = 0;
  int count = 1;
  std::int64_t bytes_sent = 0;
  bool ended = false;           // no collective follows
  std::optional<StopRun> stop;  // the agreed one
  std::array<std::array<char, kText>, 3> texts{};
};
State& state() {
  static State of_process;
  return of_process;
}

template <class T>
MPI_Datatype type_of() {
  if constexpr (std::is_same_v<T, double>) return MPI_DOUBLE;
  if constexpr (std::is_same_v<T, std::int32_t>) return MPI_INT32_T;
  if constexpr (std::is_same_v<T, std::int64_t>) return MPI_INT64_T;
  return MPI_CHAR;
}

/// Calls piece(offset, count) for pieces of n elements.
template <class Piece>
void in_pieces(std::int64_t n, Piece piece) {
  for (std::int64_t at = 0; at < n; at += kPiece) {
    piece(at, static_cast<int>(std::min(kPiece, n - at)));
  }
}

template <class T>
void count_bytes(std::int64_t elements) {
  if (count() > 1) state().bytes_sent += elements * static_cast<std::int64_t>(sizeof(T));
}

/// The lowest rank that has failed, or count(). Every collective begins with this one message.
int lowest_failed(bool failed) {
  int lowest = failed ? rank() : count();
  MPI_Allreduce(MPI_IN_PLACE, &lowest, 1, MPI_INT, MPI_MIN, MPI_COMM_WORLD);
  return lowest;
}

/// Everybody gets the texts of `stop`, which only the process `from` reads. Nothing is allocated
/// before they have arrived: memory may be what is missing.
void agree_on(const StopRun& stop, int from) {
  State& s = state();
  s.ended = true;
  const std::array<std::string_view, 3> texts{stop.console(), stop.log(), stop.detail()};
  for (std::size_t n = 0; n < texts.size(); ++n) {
    const std::size_t size = std::min(texts[n].size(), kText - 1);
    *std::copy_n(texts[n].data(), size, s.texts[n].data()) = '\0';
  }
  MPI_Bcast(s.texts.data(), static_cast<int>(sizeof(s.texts)), MPI_CHAR, from, MPI_COMM_WORLD);
  try {
    s.stop.emplace(s.texts[0].data(), s.texts[1].data(), s.texts[2].data());
  } catch (const std::bad_alloc&) {
    s.stop.emplace(StopRun::out_of_memory(kRoutine));
  }
}

void throw_if_failed() {
  const int failed = lowest_failed(false);
  if (failed == count()) return;
  static const StopRun kOfAnother("");
  agree_on(kOfAnother, failed);
  throw StopRun(*state().stop);
}

/// Messages between pairs of processes, which start together.
class Transfers {
 public:
  template <class T>
  void send(const T* from, std::int64_t n, int to) {
    count_bytes<T>(n);
    // MPI takes the address of what it only reads.
    in_pieces(n, [&](std::int64_t at, int part) {
      messages_.push_back({const_cast<T*>(from) + at, part, type_of<T>(), to, true});
    });
  }
  template <class T>
  void receive(T* to, std::int64_t n, int from) {
    in_pieces(n, [&](std::int64_t at, int part) {
      messages_.push_back({to + at, part, type_of<T>(), from, false});
    });
  }
  /// Collective, with any number of messages.
  void run() {
    std::vector<MPI_Request> requests =
        with_alloc_label(kRoutine, [&] { return std::vector<MPI_Request>(messages_.size()); });
    throw_if_failed();
    for (std::size_t n = 0; n < messages_.size(); ++n) {
      const Message& m = messages_[n];
      if (m.is_sent) {
        MPI_Isend(m.data, m.count, m.type, m.other, 0, MPI_COMM_WORLD, &requests[n]);
      } else {
        MPI_Irecv(m.data, m.count, m.type, m.other, 0, MPI_COMM_WORLD, &requests[n]);
      }
    }
    MPI_Waitall(static_cast<int>(requests.size()), requests.data(), MPI_STATUSES_IGNORE);
  }

 private:
  struct Message {
    void* data;
    int count;
    MPI_Datatype type;
    int other;
    bool is_sent;
  };
  std::vector<Message> messages_;
};

template <class T>
T largest(T value) {
  throw_if_failed();
  count_bytes<T>(1);
  MPI_Allreduce(MPI_IN_PLACE, &value, 1, type_of<T>(), MPI_MAX, MPI_COMM_WORLD);
  return value;
}

/// `value` of each process.
std::vector<std::int64_t> of_each(std::int64_t value) {
  std::vector<std::int64_t> values = allocate<std::int64_t>(as_size(count()), kRoutine);
  throw_if_failed();
  count_bytes<std::int64_t>(1);
  MPI_Allgather(&value, 1, MPI_INT64_T, values.data(), 1, MPI_INT64_T, MPI_COMM_WORLD);
  return values;
}

PrefixSum prefix_of(const std::vector<std::int64_t>& values) {
  const auto own = values.begin() + rank();
  const std::int64_t before = std::accumulate(values.begin(), own, std::int64_t{0});
  return {before, std::accumulate(own, values.end(), before)};
}

/// The same, of few elements: one message, whatever the number of processes.
void gather_small_parts(View1<double> whole, Share own, const std::vector<std::int64_t>& sizes) {
  const std::vector<int> counts =
      with_alloc_label(kRoutine, [&] { return std::vector<int>(sizes.begin(), sizes.end()); });
  std::vector<int> before = allocate<int>(counts.size(), kRoutine);
  std::exclusive_scan(counts.begin(), counts.end(), before.begin(), 0);
  throw_if_failed();
  count_bytes<double>(own.size());
  MPI_Allgatherv(MPI_IN_PLACE, 0, MPI_DOUBLE, whole.data(), counts.data(), before.data(),
                 MPI_DOUBLE, MPI_COMM_WORLD);
}

/// Everybody gets the parts of `whole`, of these sizes; the own one is there.
void gather_parts(View1<double> whole, Share own, const std::vector<std::int64_t>& sizes) {
  if (whole.size() <= kPiece) return gather_small_parts(whole, own, sizes);
  Transfers transfers;
  double* part = whole.data();
  for (int r = 0; r < count(); ++r) {
    const std::int64_t size = sizes[as_size(r)];
    if (r != rank()) {
      transfers.receive(part, size, r);
      transfers.send(whole.data() + own.begin, own.size(), r);
    }
    part += size;
  }
  transfers.run();
}

template <class T>
void exchange_of(View1<const T> send, const std::vector<std::int64_t>& to, View1<T> receive,
                 const std::vector<std::int64_t>& from) {
  Transfers transfers;
  const T* source = send.data();
  T* target = receive.data();
  for (int r = 0; r < count(); ++r) {
    const auto other = as_size(r);
    if (r == rank()) {
      std::copy_n(source, to[other], target);
    } else {
      transfers.send(source, to[other], r);
      transfers.receive(target, from[other], r);
    }
    source += to[other];
    target += from[other];
  }
  transfers.run();
}

}  // namespace

World::World() {
  int provided = 0;
  MPI_Init_thread(nullptr, nullptr, MPI_THREAD_FUNNELED, &provided);
  State& s = state();
  MPI_Comm_rank(MPI_COMM_WORLD, &s.rank);
  MPI_Comm_size(MPI_COMM_WORLD, &s.count);
  if (s.rank == 0) return;
  end_last_on_signals();
  const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere < 0) return;
  ::dup2(nowhere, STDOUT_FILENO);
  ::dup2(nowhere, STDERR_FILENO);
  ::close(nowhere);
}

World::~World() {
  std::fflush(nullptr);
  MPI_Barrier(MPI_COMM_WORLD);  // what the first process has to print is printed
  MPI_Finalize();
}

bool with_mpi() { return true; }
std::string mpi_library() {
  std::array<char, MPI_MAX_LIBRARY_VERSION_STRING> text{};
  int length = 0;
  MPI_Get_library_version(text.data(), &length);
  const std::string_view all(text.data(), as_size(length));
  return std::string(all.substr(0, all.find_first_of(",\n")));  // details of its build follow
}
int rank() { return state().rank; }
int count() { return state().count; }

const StopRun& fail(const StopRun& stop) {
  if (!state().ended) agree_on(stop, lowest_failed(true));
  return state().stop ? *state().stop : stop;
}

void meet() { throw_if_failed(); }

void finish() {
  throw_if_failed();
  state().ended = true;
}

void sum(View1<std::int64_t> values) {
  throw_if_failed();
  count_bytes<std::int64_t>(values.size());
  in_pieces(values.size(), [&](std::int64_t at, int part) {
    MPI_Allreduce(MPI_IN_PLACE, values.data() + at, part, MPI_INT64_T, MPI_SUM, MPI_COMM_WORLD);
  });
}

std::int64_t sum(std::int64_t value) {
  sum(View1<std::int64_t>(&value, 1));
  return value;
}

double max(double value) { return largest(value); }
std::int64_t max(std::int64_t value) { return largest(value); }

void max(View1<double> values) {
  throw_if_failed();
  count_bytes<double>(values.size());
  in_pieces(values.size(), [&](std::int64_t at, int part) {
    MPI_Allreduce(MPI_IN_PLACE, values.data() + at, part, MPI_DOUBLE, MPI_MAX, MPI_COMM_WORLD);
  });
}

void merge(View1<double> values) {
  throw_if_failed();
  count_bytes<double>(values.size());
  in_pieces(values.size(), [&](std::int64_t at, int part) {
    MPI_Allreduce(MPI_IN_PLACE, values.data() + at, part, MPI_INT64_T, MPI_BOR, MPI_COMM_WORLD);
  });
}

PrefixSum prefix_sum(std::int64_t value) { return prefix_of(of_each(value)); }

void broadcast(View1<char> bytes) {
  throw_if_failed();
  if (is_first()) count_bytes<char>(bytes.size());
  in_pieces(bytes.size(), [&](std::int64_t at, int part) {
    MPI_Bcast(bytes.data() + at, part, MPI_CHAR, 0, MPI_COMM_WORLD);
  });
}

double broadcast(double value) {
  broadcast(View1<char>(reinterpret_cast<char*>(&value), sizeof(value)));
  return value;
}

std::string broadcast_text(const std::string& text) {
  const std::int64_t size = sum(is_first() ? length(text) : 0);
  std::string everywhere = text;
  everywhere.resize(as_size(size));
  broadcast({everywhere.data(), size});
  return everywhere;
}

void all_gather(View1<double> whole, Share own) {
  // Of empty shares the borders may lie anywhere.
  gather_parts(whole, own, of_each(own.size()));
}

std::vector<double> all_gather(View1<const double> own, const std::vector<std::int64_t>& sizes) {
  const auto [before, total] = prefix_of(sizes);
  std::vector<double> whole = allocate<double>(as_size(total), kRoutine);
  std::copy(own.begin(), own.end(), whole.begin() + before);
  gather_parts(whole, {before, before + own.size()}, sizes);
  return whole;
}

void gather(std::string_view own, const std::function<void(std::string_view)>& take) {
  const std::vector<std::int64_t> sizes = of_each(length(own));
  std::vector<char> piece;
  if (is_first()) {
    const std::int64_t longest = *std::max_element(sizes.begin(), sizes.end());
    piece = allocate<char>(as_size(std::min(longest, kPiece)), kRoutine);
  }
  for (int r = 0; r < count(); ++r) {
    in_pieces(sizes[as_size(r)], [&](std::int64_t at, int part) {
      if (r == 0) {
        if (is_first()) take(own.substr(as_size(at), as_size(part)));
        return;
      }
      Transfers transfers;
      if (rank() == r) transfers.send(own.data() + at, part, 0);
      if (is_first()) transfers.receive(piece.data(), part, r);
      transfers.run();
      if (is_first()) take({piece.data(), as_size(part)});
    });
  }
}

std::vector<std::int64_t> exchange_counts(const std::vector<std::int64_t>& to) {
  std::vector<std::int64_t> from = allocate<std::int64_t>(to.size(), kRoutine);
  throw_if_failed();
  count_bytes<std::int64_t>(count() - 1);
  MPI_Alltoall(to.data(), 1, MPI_INT64_T, from.data(), 1, MPI_INT64_T, MPI_COMM_WORLD);
  return from;
}

void exchange(View1<const double> send, const std::vector<std::int64_t>& to, View1<double> receive,
              const std::vector<std::int64_t>& from) {
  exchange_of(send, to, receive, from);
}

void exchange(View1<const std::int32_t> send, const std::vector<std::int64_t>& to,
              View1<std::int32_t> receive, const std::vector<std::int64_t>& from) {
  exchange_of(send, to, receive, from);
}

void exchange_with_neighbours(const Neighbours<const double>& send,
                              const Neighbours<double>& receive) {
  Transfers transfers;
  if (!is_first()) {
    transfers.send(send.before.data(), send.before.size(), rank() - 1);
    transfers.receive(receive.before.data(), receive.before.size(), rank() - 1);
  }
  if (rank() + 1 < count()) {
    transfers.send(send.after.data(), send.after.size(), rank() + 1);
    transfers.receive(receive.after.data(), receive.after.size(), rank() + 1);
  }
  transfers.run();
}

std::int64_t bytes_sent() { return state().bytes_sent; }

}  // namespace quorivex::ranks
