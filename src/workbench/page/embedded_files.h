// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace quorivex {

// Files of web/ and of the plotting library, put into the program when it is built.

std::string_view page_template();     ///< page.html, with {{names}} to be replaced
std::string_view page_style();        ///< page.css
std::string_view page_scripts();      ///< the page's own scripts, one after another
std::string_view plotting_library();  ///< plotly.js, minified
std::string_view plotting_licence();

}  // namespace quorivex
