// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/text_faults.h"

#include <gtest/gtest.h>

namespace quorivex::test {
namespace {

TEST(TextFaults, DecimalCommasAreFoundBesideOtherWordsOnly) {
  for (const auto& [line, found] : {std::pair{"453307,5 7559169,7 3", "453307,5"},
                                    {"L1;-0,25;7", "-0,25"},
                                    {"1\t1,5e3", "1,5e3"},
                                    {"1.5 +2,25\r", "+2,25"},
                                    {"1,5", ""},          // may be two values
                                    {"1,2,3 4,5,6", ""},  // values between commas
                                    {"1.0,0.02 5", ""},   // two values
                                    {"1, 2, 3", ""},      // likewise
                                    {"a,5 5,a ,5 5, 1,-5", ""},
                                    {"", ""}}) {
    EXPECT_EQ(decimal_comma_in(line), found) << line;
  }
}

TEST(TextFaults, FormatsThatAreNoPlainTextAreNamed) {
  using namespace std::string_view_literals;
  for (const auto& [beginning, said] : {std::pair{"PK\x03\x04rest"sv, "CSV"sv},
                                        {"\xD0\xCF\x11\xE0\xA1"sv, "CSV"sv},
                                        {"\xFF\xFE_"sv, "UTF-8"sv},
                                        {"\0E\0N"sv, "UTF-8"sv}}) {
    EXPECT_TRUE(foreign_format(beginning).ends_with(said)) << foreign_format(beginning);
  }
  for (const char* text : {"", "PK 1 2", "\xC3\x9F,E,N", "1 2 3"})
    EXPECT_EQ(foreign_format(text), "") << text;
}

}  // namespace
}  // namespace quorivex::test
