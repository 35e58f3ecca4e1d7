// SPDX-License-Identifier: GPL-3.0-or-later
#include "fuzz/scratch.h"

namespace quorivex::fuzz {

const test::ScratchFolder& scratch() {
  static const test::ScratchFolder kFolder;
  return kFolder;
}

std::string scratch_file(std::string_view bytes) { return scratch().write("file", bytes); }

}  // namespace quorivex::fuzz
