// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/pictures/cairo_library.h"

#include <dlfcn.h>

namespace quorivex {
namespace {

template <class Function>
bool find_in_cairo(void* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(::dlsym(library, name));
  return function != nullptr;
}

}  // namespace

// NOLINTNEXTLINE(readability-function-size): a line per function
std::optional<Cairo> load_cairo() {
  void* const library = ::dlopen(QUORIVEX_CAIRO_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return {};
  Cairo cairo;
  bool found = true;
#define QUORIVEX_CAIRO_FUNCTION(name) found = find_in_cairo(library, #name, cairo.name) && found;
#include "workbench/pictures/cairo_functions.inc"
#undef QUORIVEX_CAIRO_FUNCTION
  if (!found) return {};
  return cairo;
}

}  // namespace quorivex
