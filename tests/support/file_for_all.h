// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/ranks.h"
#include "inversion/sensitivity/getpar.h"
#include "records.h"
#include "scratch_folder.h"

namespace quorivex::test {

/// A file that the first process writes for all.
struct FileForAll {
  explicit FileForAll(const std::vector<std::string>& records) {
    if (ranks::is_first()) name = folder.emplace().write("sens.mtx", framed(records));
    name = ranks::broadcast_text(name);
  }
  ~FileForAll() { ranks::meet(); }  // before the folder goes

  std::optional<ScratchFolder> folder;
  std::string name;
};

inline SensitivityFile read_part(const std::string& name) {
  OpenSensitivityFile opened = open_sensitivity_file(name);
  take_part(opened);
  read_wtz(opened);
  return read_matrix_rows(std::move(opened));
}

}  // namespace quorivex::test
