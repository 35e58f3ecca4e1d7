// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cairo.h>

#include <optional>

namespace quorivex {

/// What is called of cairo (https://www.cairographics.org/manual). Linked, it and its libraries
/// would make every start of the program a third slower.
struct Cairo {
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define QUORIVEX_CAIRO_FUNCTION(name) decltype(&::name) name = nullptr;
#include "workbench/pictures/cairo_functions.inc"
#undef QUORIVEX_CAIRO_FUNCTION
};

/// Nothing where the library, or one of these functions, is missing.
std::optional<Cairo> load_cairo();

}  // namespace quorivex
