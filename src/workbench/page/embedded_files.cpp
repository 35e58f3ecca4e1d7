// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/embedded_files.h"

#include "base/embedded_file.h"

namespace quorivex {

QUORIVEX_EMBED(page_template, QUORIVEX_EMBEDDED_FOLDER "/page.html")
QUORIVEX_EMBED(page_style, QUORIVEX_EMBEDDED_FOLDER "/page.css")
QUORIVEX_EMBED(page_scripts, QUORIVEX_EMBEDDED_FOLDER "/page.js")
QUORIVEX_EMBED(plotting_library, QUORIVEX_EMBEDDED_FOLDER "/library.js")
QUORIVEX_EMBED(plotting_licence, QUORIVEX_EMBEDDED_FOLDER "/library_licence.txt")

}  // namespace quorivex
