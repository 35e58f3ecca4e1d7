// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/embedded_files.h"

// The assembler reads the files; the build names their folder and their dependencies. A byte after
// each of them gives its end a symbol of its own.
#define QUORIVEX_EMBED(symbol, file)                                                       \
  asm(".section .rodata\n" #symbol "_begin:\n.incbin \"" QUORIVEX_EMBEDDED_FOLDER "/" file \
      "\"\n" #symbol "_end:\n.byte 0\n.previous\n");                                       \
  extern "C" const char symbol##_begin[]; /* NOLINT(bugprone-macro-parentheses) */         \
  extern "C" const char symbol##_end[]    /* NOLINT(bugprone-macro-parentheses) */

QUORIVEX_EMBED(quorivex_page_template, "page.html");
QUORIVEX_EMBED(quorivex_page_style, "page.css");
QUORIVEX_EMBED(quorivex_page_scripts, "page.js");
QUORIVEX_EMBED(quorivex_plotting_library, "library.js");
QUORIVEX_EMBED(quorivex_plotting_licence, "library_licence.txt");

namespace quorivex {
namespace {

std::string_view between(const char* begin, const char* end) {
  return {begin, static_cast<std::size_t>(end - begin)};
}

}  // namespace

std::string_view page_template() {
  return between(quorivex_page_template_begin, quorivex_page_template_end);
}

std::string_view page_style() {
  return between(quorivex_page_style_begin, quorivex_page_style_end);
}

std::string_view page_scripts() {
  return between(quorivex_page_scripts_begin, quorivex_page_scripts_end);
}

std::string_view plotting_library() {
  return between(quorivex_plotting_library_begin, quorivex_plotting_library_end);
}

std::string_view plotting_licence() {
  return between(quorivex_plotting_licence_begin, quorivex_plotting_licence_end);
}

}  // namespace quorivex
