// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

/// Puts a file into the program when it is built, and defines `std::string_view name()`, which
/// returns its bytes. To be used in namespace quorivex, with a name of its own in the program; the
/// build must list the file among the source's OBJECT_DEPENDS.
/// @param path  a string literal
// The assembler reads the file. A byte after it makes its end a symbol of its own, and global
// symbols are found from any part into which link-time optimisation cuts the program.
// NOLINTBEGIN(bugprone-macro-parentheses): a name and the parts of one string cannot have any
#define QUORIVEX_EMBED(name, path)                                              \
  asm(".pushsection .rodata\n"                                                  \
      ".global quorivex_" #name "_begin\n.hidden quorivex_" #name               \
      "_begin\n"                                                                \
      ".global quorivex_" #name "_end\n.hidden quorivex_" #name                 \
      "_end\n"                                                                  \
      "quorivex_" #name "_begin:\n.incbin \"" path                              \
      "\"\n"                                                                    \
      "quorivex_" #name "_end:\n.byte 0\n.popsection\n");                       \
  std::string_view name() {                                                     \
    extern const char name##_begin[] asm("quorivex_" #name "_begin");           \
    extern const char name##_end[] asm("quorivex_" #name "_end");               \
    return {name##_begin, static_cast<std::size_t>(name##_end - name##_begin)}; \
  }
// NOLINTEND(bugprone-macro-parentheses)
