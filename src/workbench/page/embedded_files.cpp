// SPDX-License-Identifier: GPL-3.0-or-later
#include "workbench/page/embedded_files.h"

#include "base/embedded_file.h"

namespace quorivex {

QUORIVEX_EMBED(page_template, QUORIVEX_EMBEDDED_FOLDER "/page.html")
QUORIVEX_EMBED(report_template, QUORIVEX_EMBEDDED_FOLDER "/report.html")
QUORIVEX_EMBED(models_template, QUORIVEX_EMBEDDED_FOLDER "/models.html")
QUORIVEX_EMBED(viewer_template, QUORIVEX_EMBEDDED_FOLDER "/viewer.html")
QUORIVEX_EMBED(page_style, QUORIVEX_EMBEDDED_FOLDER "/page.css")
QUORIVEX_EMBED(report_scripts, QUORIVEX_EMBEDDED_FOLDER "/report_page.js")
QUORIVEX_EMBED(models_scripts, QUORIVEX_EMBEDDED_FOLDER "/models_page.js")
QUORIVEX_EMBED(plotting_library, QUORIVEX_EMBEDDED_FOLDER "/library.js")
QUORIVEX_EMBED(plotting_licence, QUORIVEX_EMBEDDED_FOLDER "/library_licence.txt")

}  // namespace quorivex
