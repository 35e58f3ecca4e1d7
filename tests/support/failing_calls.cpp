// SPDX-License-Identifier: GPL-3.0-or-later
// For LD_PRELOAD: in the programs quorivex and qvx, call number FAIL_FROM of one kind and every
// later one fail; with FAIL_ONCE only that one; with FAIL_SIGNAL that signal comes in its place.
// FAILING_CALL is the kind:
//   allocation       no memory; the kind without FAILING_CALL
//   write, console   the disk is full: for files, and for standard output
//   create, read     no permission to open a file for writing, for reading
//   rename, sync     an error of the disk
// In quorivex-mpi only new fails, because MPI ends the program by itself when it gets no memory.
// At a regular end the number of calls goes to the file CALLS_FILE.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

extern "C" {
void* __libc_malloc(std::size_t size);                           // NOLINT(*-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size);        // NOLINT(*-reserved-identifier)
void* __libc_realloc(void* memory, std::size_t size);            // NOLINT(*-reserved-identifier)
void* __libc_memalign(std::size_t alignment, std::size_t size);  // NOLINT(*-reserved-identifier)
}

namespace {

struct Kind {
  std::string_view name;
  int error;
};
constexpr Kind kAllocation{"allocation", ENOMEM};
constexpr Kind kNew{"new", ENOMEM};
constexpr Kind kWrite{"write", ENOSPC};
constexpr Kind kConsole{"console", ENOSPC};
constexpr Kind kCreate{"create", EACCES};
constexpr Kind kRead{"read", EACCES};
constexpr Kind kRename{"rename", EIO};
constexpr Kind kSync{"sync", EIO};

std::atomic<long> fail_from{0};      // 0: nothing is counted
std::atomic<long>* calls = nullptr;  // of this process and those that it starts
bool once = false;
int signal_instead = 0;
const char* failing = "allocation";

/// Counts a call of this kind; true with errno when it is to fail.
bool fails(const Kind& kind) {
  const long from = fail_from;
  if (from == 0 || kind.name != failing) return false;
  const long call = ++*calls;
  if (once ? call != from : call < from) return false;
  if (signal_instead != 0) return call == from && ::raise(signal_instead) != 0;
  errno = kind.error;
  return true;
}

/// The C library's own stream writes where nothing can be put between; one of cookies does not.
ssize_t write_console(void* /*nothing*/, const char* text, std::size_t size) {
  return fails(kConsole) ? 0 : ::syscall(SYS_write, STDOUT_FILENO, text, size);
}

// Libraries are initialised before a preloaded one: what they call there is not counted.
__attribute__((constructor)) void begin() {
  const char* from = std::getenv("FAIL_FROM");
  const std::string_view program = program_invocation_short_name;
  const bool mpi = program == "quorivex-mpi";
  if (from == nullptr || !(mpi || program == "quorivex" || program == "qvx")) return;
  if (const char* kind = std::getenv("FAILING_CALL"); kind != nullptr) failing = kind;
  if (mpi) failing = "new";
  once = std::getenv("FAIL_ONCE") != nullptr;
  if (const char* signal = std::getenv("FAIL_SIGNAL"); signal != nullptr) {
    signal_instead = std::atoi(signal);
  }
  if (failing == kConsole.name) {
    stdout = ::fopencookie(nullptr, "w", {nullptr, write_console, nullptr, nullptr});
  }
  void* const shared =
      ::mmap(nullptr, sizeof(*calls), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  calls = new (shared) std::atomic<long>(0);
  fail_from = std::atol(from);
}

__attribute__((destructor)) void end() {
  const char* name = std::getenv("CALLS_FILE");
  if (fail_from == 0 || name == nullptr) return;
  fail_from = 0;
  const int file = ::open(name, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0) return;
  static_cast<void>(::dprintf(file, "%ld\n", calls->load()));
  ::close(file);
}

/// Clang's runtime of the threads aborts when it gets no memory.
bool of_clang_threads(const void* caller) {
  Dl_info library{};
  return dladdr(caller, &library) != 0 && std::strstr(library.dli_fname, "libomp") != nullptr;
}

bool has_no_memory(const void* caller) {
  return fail_from != 0 && !of_clang_threads(caller) && fails(kAllocation);
}

bool cannot_write(int file) { return file > STDERR_FILENO && fails(kWrite); }

int open_at(int folder, const char* name, int flags, std::va_list more) {
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  const bool reads = (flags & (O_WRONLY | O_RDWR | O_CREAT)) == 0;
  if (fails(reads ? kRead : kCreate)) return -1;
  return static_cast<int>(::syscall(SYS_openat, folder, name, flags, mode));
}

int rename_at(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  if (fails(kRename)) return -1;
  return static_cast<int>(::syscall(SYS_renameat2, from_folder, from, to_folder, to, flags));
}

int sync_file(int file) { return fails(kSync) ? -1 : static_cast<int>(::syscall(SYS_fsync, file)); }

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  return has_no_memory(__builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
  return has_no_memory(__builtin_return_address(0)) ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) {
  return has_no_memory(__builtin_return_address(0)) ? nullptr : __libc_realloc(memory, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return has_no_memory(__builtin_return_address(0)) ? nullptr : __libc_memalign(alignment, size);
}

ssize_t write(int file, const void* from, std::size_t size) {
  return cannot_write(file) ? -1 : ::syscall(SYS_write, file, from, size);
}

ssize_t writev(int file, const iovec* pieces, int count) {
  return cannot_write(file) ? -1 : ::syscall(SYS_writev, file, pieces, count);
}

ssize_t pwrite(int file, const void* from, std::size_t size, off_t at) {
  return cannot_write(file) ? -1 : ::syscall(SYS_pwrite64, file, from, size, at);
}

ssize_t pwrite64(int file, const void* from, std::size_t size, off64_t at) {
  return pwrite(file, from, size, at);
}

int open(const char* name, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const int file = open_at(AT_FDCWD, name, flags, more);
  va_end(more);
  return file;
}

int openat(int folder, const char* name, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const int file = open_at(folder, name, flags, more);
  va_end(more);
  return file;
}

int open64(const char* name, int flags, ...) __attribute__((alias("open")));
int openat64(int folder, const char* name, int flags, ...) __attribute__((alias("openat")));

int rename(const char* from, const char* to) { return rename_at(AT_FDCWD, from, AT_FDCWD, to, 0); }

int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) {
  return rename_at(from_folder, from, to_folder, to, flags);
}

int fsync(int file) { return sync_file(file); }
int fdatasync(int file) { return sync_file(file); }

}  // extern "C"

void* operator new(std::size_t size) {  // NOLINT(misc-new-delete-overloads): freed as ever
  void* const memory = fails(kNew) ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
