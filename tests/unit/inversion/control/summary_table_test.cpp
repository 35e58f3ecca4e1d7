// SPDX-License-Identifier: GPL-3.0-or-later
#include "inversion/control/summary_table.h"

#include <gtest/gtest.h>

namespace quorivex {
namespace {

const ObjectiveValue kStart{
    .predicted = {},
    .misfit = 9876.5,
    .norm = {.total = 1111.0, .s = 1.25, .x = 33.5, .y = 222.0, .z = 4.75e-5}};
const Alphas kAlphas{.s = 1e-4, .e = 2.5, .n = 30.0, .z = 400.0};

// Two numbers, two columns or a heading and its column exchanged; E is the y term, N the x term.
TEST(SummaryTable, TheHeadNamesEveryNumberByItsDirection) {
  const std::string numbers = R"(!   1.2500E+00   !! initial norm S
!   2.2200E+02   !! initial norm E
!   3.3500E+01   !! initial norm N
!   4.7500E-05   !! initial norm Z
!   1.1110E+03   !! initial norm total
!   9.8765E+03   !! initial misfit
)";
  const std::string rest = R"(!  1.000E-04  2.50      30.0      400.       !! alpha values

! iter          beta   data misfit        norm S        norm E        norm N        norm Z)"
                           R"(    model norm  total objective  CG iterations  truncated cells
)";
  EXPECT_EQ(summary_head(kStart, kAlphas, Target{.chifact = 0.75, .misfit = 321.5}),
            "!    1  0.7500   !! mode, chifact\n" + numbers +
                "!   3.2150E+02   !! target data misfit\n" + rest);
  EXPECT_EQ(summary_head(kStart, kAlphas, {}), numbers + rest);
}

TEST(SummaryTable, ARowHoldsItsNumbersUnderTheirHeadings) {
  EXPECT_EQ(summary_row({.number = 12,
                         .beta = 0.5,
                         .misfit = 321.0,
                         .norm = kStart.norm,
                         .objective = 876.5,
                         .cg_iterations = 1234,
                         .truncated_cells = 56789}),
            "    12  5.000000E-01  3.210000E+02  1.250000E+00  2.220000E+02  3.350000E+01"
            "  4.750000E-05  1.111000E+03    8.765000E+02          1234         56789\n");
}

}  // namespace
}  // namespace quorivex
