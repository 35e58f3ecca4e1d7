// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/thread_report.h"

#include <fmt/format.h>
#include <omp.h>

#include <algorithm>

#include "base/fixed_format.h"
#include "base/free_format.h"
#include "base/threads.h"
#include "inversion/input/program_name.h"

namespace quorivex {

std::string set_threads(std::string_view text) {
  constexpr int kMaxThreads = 999;
  std::int32_t wanted = 0;
  if (!FreeFormat(text).read(wanted) || wanted < 1) wanted = omp_get_max_threads();
  const std::string fewer = use_threads(std::min(wanted, kMaxThreads));
  return fewer.empty() ? "" : fmt::format("\nWARNING: {}\n\n", fewer);
}

std::string thread_report(std::string_view name) {
  const int threads = omp_get_max_threads();
  std::string text = "\nParallelized with OpenMP.  # of threads:" + whole(threads, 3) + "\n";
  if (threads > omp_get_num_procs()) {
    text += "\nWARNING: more threads started than processors available.\n\n";
  }
  return text + fmt::format("{} {}: 3-D inversion of magnetic surveys for susceptibility\n", name,
                            kVersion);
}

}  // namespace quorivex
