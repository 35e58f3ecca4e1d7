// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/prepare_process.h"

#include <fcntl.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <unistd.h>

#include <array>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <initializer_list>

#include "base/interruption.h"

namespace quorivex {
namespace {

#ifdef __clang__
constexpr bool kGccsOpenMp = false;
#else
constexpr bool kGccsOpenMp = true;
#endif

/// A thread that waits for work looks for it in a short loop, then sleeps. The loop of GCC's OpenMP
/// is a hundred times as long by itself: where other programs use the cores it takes the time away
/// from the very thread that it waits for (docs/performance.md has figures). Its length is read
/// when the program is loaded.
void shorten_waiting_loops(char** argv) {
  constexpr const char* kVariable = "GOMP_SPINCOUNT";
  if (std::getenv(kVariable) != nullptr || std::getenv("OMP_WAIT_POLICY") != nullptr) return;
  std::array<char, PATH_MAX> program{};
  const auto length = ::readlink("/proc/self/exe", program.data(), program.size() - 1);
  if (length <= 0 || ::setenv(kVariable, "1000", 1) != 0) return;
  ::execv(program.data(), argv);  // where that fails, this one goes on
}

}  // namespace

void prepare_process(char** argv) {
  if (kGccsOpenMp && argv != nullptr) shorten_waiting_loops(argv);
#ifdef __GLIBC__
  // Vectors of cells go back to the system when they are freed. Left to itself malloc keeps up to
  // 32 MB each from the second one on, a sixth of the memory of a survey of a million cells.
  ::mallopt(M_MMAP_THRESHOLD, 1 << 20);
#endif
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  end_cleanly_on_signals();
  for (const int stream : {0, 1, 2}) {
    if (::fcntl(stream, F_GETFD) < 0) static_cast<void>(::open("/dev/null", O_RDWR));
  }
}

}  // namespace quorivex
