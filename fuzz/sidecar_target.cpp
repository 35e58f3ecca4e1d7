// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/outcome.h"
#include "fuzz/scratch.h"
#include "fuzz/targets.h"
#include "workbench/sidecar/sidecar.h"

namespace quorivex::fuzz {
namespace {

/// The sidecar of these bytes as it is written.
std::string text_read(std::string_view bytes) {
  scratch().write("survey.mtx.info", bytes);
  return sidecar_text(read_sidecar(scratch().path("survey.mtx")).value());
}

}  // namespace

std::string sidecar(std::string_view bytes) {
  return printable_outcome([&] {
    std::string text = printable(text_read(bytes));
    const bool lines_fit = text.size() < 2000;  // none is cut where its name is filled with blanks
    expect(!lines_fit || text_read(text) == text, "a sidecar that is not read as it was written");
    return text;
  });
}

}  // namespace quorivex::fuzz
