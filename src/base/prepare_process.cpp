// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/prepare_process.h"

#include <fcntl.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <csignal>
#include <initializer_list>

#include "base/interruption.h"

namespace quorivex {

void prepare_process() {
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
