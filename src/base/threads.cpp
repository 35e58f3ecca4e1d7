// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/threads.h"

#include <fmt/format.h>
#include <omp.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <new>
#include <vector>

namespace quorivex {
namespace {

/// Bytes of the stacks of OpenMP's threads where its variable sets them: a number of kilobytes, or
/// one with the unit B, K, M or G; 0 where it does not.
std::size_t stack_bytes(const char* variable) {
  const char* const text = std::getenv(variable);
  if (text == nullptr) return 0;
  char* end = nullptr;
  const unsigned long long number = std::strtoull(text, &end, 10);
  while (std::isspace(static_cast<unsigned char>(*end)) != 0) ++end;
  int shift = 10;
  switch (std::tolower(static_cast<unsigned char>(*end))) {
    case 'b':
      shift = 0;
      break;
    case 'm':
      shift = 20;
      break;
    case 'g':
      shift = 30;
      break;
    default:
      break;
  }
  return number > SIZE_MAX >> shift ? 0 : static_cast<std::size_t>(number) << shift;
}

extern "C" void* wait_for_end(void* end) {
  static_cast<std::atomic<bool>*>(end)->wait(false);
  return nullptr;
}

/// How many of `wanted` threads the system starts beside this one, all at once.
int startable(int wanted) {
  pthread_attr_t attributes;
  if (::pthread_attr_init(&attributes) != 0) return 0;
  for (const char* variable : {"GOMP_STACKSIZE", "OMP_STACKSIZE"}) {
    if (const std::size_t bytes = stack_bytes(variable)) {
      ::pthread_attr_setstacksize(&attributes, bytes);  // one that is too small is ignored
    }
  }
  std::vector<pthread_t> threads;
  threads.reserve(static_cast<std::size_t>(wanted));
  std::atomic<bool> end = false;
  pthread_t thread{};
  while (static_cast<int>(threads.size()) < wanted &&
         ::pthread_create(&thread, &attributes, wait_for_end, &end) == 0) {
    threads.push_back(thread);
  }
  end = true;
  end.notify_all();
  for (const pthread_t started : threads) ::pthread_join(started, nullptr);
  ::pthread_attr_destroy(&attributes);
  return static_cast<int>(threads.size());
}

}  // namespace

std::string use_threads(int wanted) {
  const int started = wanted > 1 ? 1 + startable(wanted - 1) : 1;
  const int used = started < wanted ? std::max(1, started / 2) : wanted;
  omp_set_num_threads(used);
  if (used == wanted) return "";
  return fmt::format("the system starts {} of {} threads at once; {} used.", started, wanted,
                     used == 1 ? "one is" : fmt::format("{} are", used));
}

}  // namespace quorivex
