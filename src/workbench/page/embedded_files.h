// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace quorivex {

// Files of web/ and of the plotting library, put into the program when it is built.

std::string_view page_template();    ///< page.html, with {{names}} to be replaced: the frame of all
std::string_view report_template();  ///< report.html, likewise: what is in the page of a run
std::string_view models_template();  ///< models.html, likewise: what is in the page of models
std::string_view viewer_template();  ///< viewer.html: sections and their controls
std::string_view page_style();       ///< page.css
std::string_view report_scripts();   ///< the scripts of the page of a run, one after another
std::string_view models_scripts();   ///< those of the page of models
std::string_view plotting_library();  ///< plotly.js, minified
std::string_view plotting_licence();

}  // namespace quorivex
