// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/terrain/grid_from_child.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "base/stop_run.h"
#include "base/view1.h"
#include "workbench/terrain/netcdf_input.h"

namespace quorivex {
namespace {

/// What goes through the pipe first: the grid without its nodes, which follow; or how the reading
/// has ended, with the bytes of the text that follows.
struct Head {
  enum class Kind { grid, stop, memory };
  Kind kind = Kind::grid;
  std::int64_t columns = 0;
  std::int64_t rows = 0;
  std::array<double, 4> place{};  // west, south, width, height
  std::size_t text = 0;
};

bool send(int to, const void* bytes, std::size_t count) {
  const auto* next = static_cast<const std::byte*>(bytes);
  while (count > 0) {
    const ssize_t written = ::write(to, next, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    next += written;
    count -= static_cast<std::size_t>(written);
  }
  return true;
}

bool receive(int from, void* bytes, std::size_t count) {
  auto* next = static_cast<std::byte*>(bytes);
  while (count > 0) {
    const ssize_t got = ::read(from, next, count);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    next += got;
    count -= static_cast<std::size_t>(got);
  }
  return true;
}

/// The child's whole life: reads, sends and ends. Words of the C library about a fault go nowhere,
/// and no core is dumped.
[[noreturn]] void be_child(int to, const std::string& name,
                           TerrainGrid (*read)(const std::string& name)) {
  const rlimit none{};
  ::setrlimit(RLIMIT_CORE, &none);
  ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
  Head head;
  TerrainGrid grid;
  std::string text;
  try {
    grid = read(name);
    head.columns = grid.columns;
    head.rows = grid.rows;
    head.place = {grid.west, grid.south, grid.width, grid.height};
  } catch (const StopRun& stop) {
    head.kind = Head::Kind::stop;
    text = stop.console();
    head.text = text.size();
  } catch (const std::bad_alloc&) {
    head.kind = Head::Kind::memory;
  }
  const bool sent = send(to, &head, sizeof(head)) && send(to, text.data(), text.size()) &&
                    send(to, grid.nodes.data(), grid.nodes.size() * sizeof(double));
  ::_exit(sent ? 0 : 1);
}

/// The reading end of the pipe, and the child at the other one.
class Child {
 public:
  Child(pid_t process, int from) : process_(process), from_(from) {}
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;
  ~Child() { end(); }

  bool receive(void* bytes, std::size_t count) const {
    return quorivex::receive(from_, bytes, count);
  }
  /// Waits for its end; true when it has sent all.
  bool end() {
    if (process_ == 0) return true;
    ::close(from_);
    int status = 0;
    while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
    }
    process_ = 0;
    return status == 0;
  }

 private:
  pid_t process_;
  int from_;
};

}  // namespace

TerrainGrid grid_from_child(const std::string& name, TerrainGrid (*read)(const std::string& name)) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::bad_alloc();
  const pid_t process = ::fork();
  if (process == 0) be_child(ends[1], name, read);
  ::close(ends[1]);
  if (process < 0) {
    ::close(ends[0]);
    throw std::bad_alloc();
  }
  Child child(process, ends[0]);
  Head head;
  std::string text;
  TerrainGrid grid;
  bool whole = child.receive(&head, sizeof(head));
  if (whole) {
    text.resize(head.text);
    grid.nodes = allocate<double>(as_size(head.columns * head.rows), "read_netcdf_grid");
    whole = child.receive(text.data(), text.size()) &&
            child.receive(grid.nodes.data(), grid.nodes.size() * sizeof(double));
  }
  if (!child.end() || !whole) bad_netcdf(name, "it is damaged, so that the library fails on it");
  if (head.kind == Head::Kind::stop) throw StopRun(text);
  if (head.kind == Head::Kind::memory) throw std::bad_alloc();
  grid.columns = head.columns;
  grid.rows = head.rows;
  grid.west = head.place[0];
  grid.south = head.place[1];
  grid.width = head.place[2];
  grid.height = head.place[3];
  return grid;
}

}  // namespace quorivex
