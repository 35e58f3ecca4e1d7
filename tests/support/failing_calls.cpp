// SPDX-License-Identifier: GPL-3.0-or-later
// For LD_PRELOAD: in the program quorivex, allocation number FAIL_FROM and every later one fail; in
// quorivex-mpi those by new, because MPI ends the program by itself when it gets no memory.
// At a regular end the number of allocations goes to the file ALLOCATIONS_FILE.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

extern "C" {
void* __libc_malloc(std::size_t size);                           // NOLINT(*-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size);        // NOLINT(*-reserved-identifier)
void* __libc_realloc(void* memory, std::size_t size);            // NOLINT(*-reserved-identifier)
void* __libc_memalign(std::size_t alignment, std::size_t size);  // NOLINT(*-reserved-identifier)
}

namespace {

std::atomic<long> fail_from{0};  // 0: allocations are not counted
std::atomic<long> allocations{0};
std::atomic<bool> only_new{false};

// Libraries are initialised before a preloaded one: what they allocate there is not counted.
__attribute__((constructor)) void begin() {
  const char* from = std::getenv("FAIL_FROM");
  only_new = std::strcmp(program_invocation_short_name, "quorivex-mpi") == 0;
  const bool tested = only_new || std::strcmp(program_invocation_short_name, "quorivex") == 0;
  if (from != nullptr && tested) fail_from = std::atol(from);
}

__attribute__((destructor)) void end() {
  const char* name = std::getenv("ALLOCATIONS_FILE");
  if (fail_from == 0 || name == nullptr) return;
  const int file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0) return;
  static_cast<void>(::dprintf(file, "%ld\n", allocations.load()));
  ::close(file);
}

/// The runtime of the threads ends the program by itself when it gets no memory.
bool of_thread_runtime(const void* caller) {
  Dl_info library{};
  return dladdr(caller, &library) != 0 && (std::strstr(library.dli_fname, "libgomp") != nullptr ||
                                           std::strstr(library.dli_fname, "libomp") != nullptr);
}

bool fails(const void* caller) {
  const long from = fail_from;
  if (from == 0 || only_new || of_thread_runtime(caller) || ++allocations < from) return false;
  errno = ENOMEM;
  return true;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  return fails(__builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  return fails(__builtin_return_address(0)) ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
  return fails(__builtin_return_address(0)) ? nullptr : __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return fails(__builtin_return_address(0)) ? nullptr : __libc_memalign(alignment, size);
}

}  // extern "C"

void* operator new(std::size_t size) {  // NOLINT(misc-new-delete-overloads): freed as ever
  const bool failing = only_new && fail_from != 0 && ++allocations >= fail_from;
  void* const memory = failing ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
