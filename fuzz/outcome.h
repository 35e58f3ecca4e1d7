// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/stop_run.h"

namespace quorivex::fuzz {

/// A fault where the condition does not hold.
inline void expect(bool holds, const std::string& what) {
  if (!holds) throw std::logic_error(what);
}

/// The text; a fault where it holds control characters other than line ends.
inline const std::string& printable(const std::string& text) {
  expect(std::none_of(text.begin(), text.end(),
                      [](unsigned char c) { return (c < ' ' && c != '\n') || c == 0x7F; }),
         "a control character in: " + text);
  return text;
}

/// The message, and what is known beyond it; a fault where it is empty.
inline std::string text_of(const StopRun& stop) {
  expect(!stop.message().empty(), "a message without words");
  return std::string(stop.message()) + "\n" + stop.detail();
}

/// The result of read(), or the message with which it stops the run.
template <class Read>
std::string outcome(Read read) {
  try {
    return read();
  } catch (const StopRun& stop) {
    return text_of(stop);
  }
}

/// The same for readers that quote a line of a file without its control characters.
template <class Read>
std::string printable_outcome(Read read) {
  try {
    return read();
  } catch (const StopRun& stop) {
    return printable(text_of(stop));
  }
}

}  // namespace quorivex::fuzz
