// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/prepare_process.h"

#include <fcntl.h>

#include <csignal>
#include <initializer_list>

#include "base/interruption.h"

namespace quorivex {

void prepare_process() {
  static_cast<void>(std::signal(SIGXFSZ, SIG_IGN));
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  end_cleanly_on_signals();
  for (const int stream : {0, 1, 2}) {
    if (::fcntl(stream, F_GETFD) < 0) static_cast<void>(::open("/dev/null", O_RDWR));
  }
}

}  // namespace quorivex
