// SPDX-License-Identifier: GPL-3.0-or-later
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>

#include "base/fixed_format.h"
#include "base/free_format.h"
#include "scratch_folder.h"

namespace quorivex::test {

TEST(FixedFormat, GeneralFillsTenColumnsOnBothSidesOfEveryLimit) {
  std::string text;
  for (const double value : {0.0, -0.0, 0.09999, 0.1, -0.5, 0.9994, 0.9996, 9.994, 9.996, 99.94,
                             -99.96, 999.4, 999.6, -999.6, 1000.0, 1e-100, HUGE_VAL, std::nan("")})
    text += three_significant(value) + "|";
  EXPECT_EQ(text,
            " 0.000E+00|-0.000E+00| 9.999E-02| 0.100    |-0.500    | 0.999    |  1.00    |"
            "  9.99    |  10.0    |  99.9    | -100.    |  999.    | 1000.    |-1000.    |"
            " 1.000E+03|1.000E-100|  Infinity|       NaN|");
  // Everywhere: the nearest number of three digits.
  for (int thousandths = 100; thousandths < 1000000; thousandths += 5) {
    const double value = thousandths / 1000.0;
    EXPECT_EQ(std::stod(three_significant(value)), std::stod(fmt::format("{:.2e}", value)))
        << value;
  }
}

TEST(FixedFormat, AWideNumberTakesMoreColumnsAndLosesNothing) {
  EXPECT_EQ(sci(0.001, 11, 4) + sci(-0.0, 11, 4), " 1.0000E-03-0.0000E+00");
  EXPECT_EQ(sci(9.9996e99, 11, 3) + sci(-1.5e-300, 9, 2), " 1.000E+100-1.50E-300");
  EXPECT_EQ(sci(-HUGE_VAL, 6, 3) + fixed(std::nan(""), 6, 2), "-Infinity   NaN");
  EXPECT_EQ(fixed(-0.125, 8, 1) + fixed(12345678.75, 8, 2), "    -0.112345678.75");
  EXPECT_EQ(whole(-5, 4) + whole(2147483648, 4) + three_digits(7), "  -52147483648007");
  EXPECT_EQ(fmt::format("{}|{}", trim_right("\t a b \t\r"), trim_right(" \t\r ")), "\t a b|");
}

/// What up to thirteen reads of a file bring: each value, "?" for a bad one, "end" at the end of
/// the text. The reader's buffer ends after the first character of the text.
template <class T>
std::string outcome(const std::string& text) {
  const ScratchFolder folder;
  auto file = TextFile::open(folder.write("values", std::string(64 * 1024 - 1, ' ') + text));
  FreeFormat from(*file);
  std::string seen;
  for (int reads = 0; reads < 13 && !seen.ends_with("end"); ++reads) {
    T value{};
    const Read read = from.next(value);
    seen += read == Read::value ? fmt::format("{} ", value) : read == Read::bad ? "? " : "end";
  }
  return seen;
}

TEST(FreeFormat, SeparatorsRepeatsAndEmptyValues) {
  EXPECT_EQ(outcome<double>("1 2\t3\r\n4,5 ,\n 6, "), "1 2 3 4 5 6 end");
  EXPECT_EQ(outcome<double>(",1,,2,\n,3*,4"), "? 1 ? 2 ? ? ? ? 4 end");
  EXPECT_EQ(outcome<double>("2*.5,7 0*1 -1*1 1.5*1 *1 2*3*4 9999999999999999999*1"),
            "0.5 0.5 7 ? ? ? ? ? ? ? end");
  EXPECT_EQ(outcome<double>("1/2"), "1 ? ? ? ? ? ? ? ? ? ? ? ? ");
}

TEST(FreeFormat, ANumberUsesItsWholeTokenAndIsFiniteAndFitsItsType) {
  EXPECT_EQ(outcome<double>("1d2 1D+2 1E-2 +1.5 -.5 5. 2*1d1"),
            "100 100 0.01 1.5 -0.5 5 10 10 end");
  EXPECT_EQ(outcome<double>("1.5-3 -1.+2 5+0 2*.5-1 1.0-100 1-400 1.0+400 1e5-3 1-2-3 .-3 1e-"),
            "0.0015 -100 5 0.05 0.05 1e-100 0 ? ? ? ? ? end");
  EXPECT_EQ(outcome<double>("+-5 -+5 ++5 + 12abc 0x10 1e '5' !"), "? ? ? ? ? ? ? ? ? end");
  EXPECT_EQ(outcome<double>("nan inf -Infinity 1e400 -1d400 1e-400 +1e-400"), "? ? ? ? ? 0 0 end");
  EXPECT_EQ(outcome<int>("-2147483648 2147483648 4294967297 1.5 1+1"), "-2147483648 ? ? ? ? end");
}

}  // namespace quorivex::test
