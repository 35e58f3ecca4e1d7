// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/isolated.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <fstream>
#include <string>

#include "base/stop_run.h"

namespace quorivex {
namespace {

constexpr std::size_t kStackBytes = std::size_t{4} << 20;

[[noreturn]] void not_started(int error) {
  stop_run(std::string(" ERROR: no process could be started: ") + std::strerror(error));
}

struct Call {
  const std::function<void()>& action;
  std::exception_ptr thrown;
};

extern "C" void* run_call(void* argument) {
  Call& call = *static_cast<Call*>(argument);
  try {
    call.action();
  } catch (...) {
    call.thrown = std::current_exception();
  }
  return nullptr;
}

struct Pipe {
  Pipe() {
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) not_started(errno);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    close_end(0);
    close_end(1);
  }
  void close_end(std::size_t end) {
    if (ends[end] >= 0) ::close(ends[end]);
    ends[end] = -1;
  }
  std::array<int, 2> ends{-1, -1};  // to read from, to write to
};

bool write_all(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(file, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void read_all(int file, const TakeBytes& take) {
  std::array<char, 32768> bytes;  // NOLINT(*-member-init): filled by read
  for (;;) {
    const ssize_t count = ::read(file, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    take({bytes.data(), static_cast<std::size_t>(count)});
  }
}

/// The pipes of a process: what it makes, and how it ended ('.', or '!' and a message).
struct Child {
  Pipe bytes;
  Pipe end;
  pid_t process = -1;

  ~Child() {
    bytes.close_end(0);  // it may still be writing
    if (process > 0) ::waitpid(process, nullptr, 0);
  }
};

[[noreturn]] void be_child(const std::function<void(const TakeBytes&)>& make, Child& child) {
  // Otherwise this process would wait for itself to read on where the other one has given up.
  child.bytes.close_end(0);
  child.end.close_end(0);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    static_cast<void>(std::signal(signal, SIG_DFL));
  // What the C library says of a crash goes nowhere, and no core is dumped.
  const rlimit none{};
  ::setrlimit(RLIMIT_CORE, &none);
  ::dup2(::open("/dev/null", O_WRONLY), STDERR_FILENO);
  const int bytes = child.bytes.ends[1];
  const int end = child.end.ends[1];
  const auto tell = [bytes, end](std::string_view how, std::string_view message) {
    ::close(bytes);  // the other process reads how it ended when no more bytes can come
    if (write_all(end, how)) write_all(end, message);
  };
  try {
    make([bytes](std::string_view text) {
      if (!write_all(bytes, text)) ::_exit(1);
    });
    tell(".", "");
  } catch (const StopRun& stop) {
    tell("!", stop.console());
  } catch (const std::bad_alloc&) {
    tell("!", StopRun::out_of_memory("a library").console());
  }
  ::_exit(0);
}

/// Bytes of this process, mapped files and all.
[[maybe_unused]] rlim_t used_memory() {
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace

void on_own_stack(const std::function<void()>& action) {
  Call call{action, nullptr};
  pthread_attr_t attributes;
  pthread_t thread{};
  ::pthread_attr_init(&attributes);
  ::pthread_attr_setstacksize(&attributes, kStackBytes);
  const int error = ::pthread_create(&thread, &attributes, run_call, &call);
  ::pthread_attr_destroy(&attributes);
  if (error != 0) not_started(error);
  ::pthread_join(thread, nullptr);
  if (call.thrown) std::rethrow_exception(call.thrown);
}

void limit_seconds(std::uint64_t seconds) {
  const rlimit limit{seconds, RLIM_INFINITY};
  ::setrlimit(RLIMIT_CPU, &limit);
}

void limit_memory([[maybe_unused]] std::optional<std::uint64_t> bytes) {
#ifndef QUORIVEX_SANITIZED  // the sanitizers map terabytes
  const rlimit limit{bytes ? used_memory() + *bytes : RLIM_INFINITY, RLIM_INFINITY};
  ::setrlimit(RLIMIT_AS, &limit);
#endif
}

bool in_own_process(const std::function<void(const TakeBytes& write)>& make,
                    const TakeBytes& take) {
  Child child;
  int error = 0;
  on_own_stack([&] {
    child.process = ::fork();
    if (child.process == 0) be_child(make, child);
    error = errno;
  });
  if (child.process < 0) not_started(error);
  child.bytes.close_end(1);
  child.end.close_end(1);
  read_all(child.bytes.ends[0], take);
  std::string end;
  read_all(child.end.ends[0], [&end](std::string_view text) { end += text; });
  if (end.starts_with('!')) throw StopRun(end.substr(1));
  return !end.empty();
}

}  // namespace quorivex
