// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/stop_run.h"
#include "workbench/terrain/terrain.h"

namespace quorivex::test {

inline std::string refusal_of(const std::string& file) {
  try {
    read_terrain(file);
  } catch (const StopRun& stop) {
    return std::string(stop.console());
  }
  return "not refused";
}

inline void expect_text(const std::string& whole, const std::string& part) {
  EXPECT_NE(whole.find(part), std::string::npos) << part << "\n" << whole;
}

}  // namespace quorivex::test
