// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "inversion/control/timer.h"
#include "inversion/solver/next_beta.h"

namespace quorivex {

TEST(NextBeta, AimsAtTheTargetAlongAPowerLawButNeverFallsFasterThanItsFactor) {
  EXPECT_EQ(next_beta({8.0, 101.0}, {}, 100.0), 4.0) << "after the first iteration";
  constexpr double k95 = 0.9499999992549419;  // 1 - 0.05 in single precision
  const struct {
    Iteration now, before;
    double target, next;
  } table[] = {{{4, 160}, {8, 640}, 129.6, 3.6},      // misfit = 10 beta^2 is 129.6 at beta = 3.6
               {{4, 125}, {8, 120}, 100, 3.2 * k95},  // the misfit rises,
               {{4, 125}, {8, 125}, 100, 3.2 * k95},  // stays,
               {{4, 125}, {8, 126}, 100, 3.2 * k95},  // falls so little that the law aims far below
               {{4, 110}, {8, 110}, 100, 4 * 0.8},    // the largest factor
               {{4, 1000}, {8, 1000}, 100, 4 * 0.5}};  // the smallest
  for (const auto& row : table)
    EXPECT_DOUBLE_EQ(next_beta(row.now, row.before, row.target), row.next) << row.before.misfit;
}

// Tolerances of double precision would refuse 105 and 1001.
TEST(StopTests, HaveTheTolerancesOfSinglePrecision) {
  EXPECT_TRUE(target_reached(105.0, 100.0) && target_reached(105.00000007, 100.0));
  EXPECT_FALSE(target_reached(105.00000008, 100.0) || target_reached(1e300, 100.0));
  EXPECT_TRUE(plateaued(1001.0, 1000.0) && plateaued(1001.00000004, 1000.0));
  EXPECT_FALSE(plateaued(1001.00000006, 1000.0) || plateaued(998.9, 1000.0));
}

TEST(Timer, CutsTimesPadsTheMonthWithABlankAndGivesEveryFebruary28Days) {
  EXPECT_EQ(elapsed_line("beta", 3725.5), "      beta cpu time:   1:02:05.50\n");
  EXPECT_EQ(elapsed_line("TOTAL  ", 3599.998046875), "     TOTAL cpu time:   0:59:59.99\n");
  WallTime time{.calendar = {}, .milliseconds = 250};
  strptime("2024-03-05 09:04:05", "%F %T", &time.calendar);
  EXPECT_EQ(date_line("ended on: ", time), "ended on:  3/05/2024  09:04:05\n");
  for (int month = 1, days = 4; month <= 12; ++month) {
    time.calendar.tm_mon = month - 1;
    EXPECT_EQ(seconds_of_year(time), 86400.0 * days + 32645.25) << month;
    days += month == 2 ? 28 : month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
  }
}

}  // namespace quorivex
