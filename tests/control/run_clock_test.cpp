#include "control/run_clock.h"

#include <gtest/gtest.h>

#include <string>

#include "common/test_run.h"

namespace dfl {
namespace {

TEST(Calendar, LeapYearsFollowTheGregorianRule) {
  EXPECT_TRUE(IS_LEAP(2000));
  EXPECT_TRUE(IS_LEAP(2024));
  EXPECT_FALSE(IS_LEAP(1900));
  EXPECT_FALSE(IS_LEAP(2023));
}

TEST(Calendar, SecondsOfKnownDates) {
  struct Case {
    Date date;
    double seconds;
  };
  // Days since 1 January 1950: 1970-01-01 is 20 years with five leap days, 2000-01-01 50 years
  // with twelve.
  const Case cases[] = {
      {{1950, 1, 1, 0, 0, 0, 0}, 0.0},
      {{1950, 1, 1, 1, 2, 3, 250}, 3723.25},
      {{1970, 1, 1, 0, 0, 0, 0}, 7305.0 * 86400.0},
      {{2000, 1, 1, 0, 0, 0, 0}, 18262.0 * 86400.0},
      {{2000, 2, 29, 0, 0, 0, 0}, (18262.0 + 59.0) * 86400.0},
      {{2000, 3, 1, 0, 0, 0, 0}, (18262.0 + 60.0) * 86400.0},
      {{2000, 12, 31, 0, 0, 0, 0}, (18262.0 + 365.0) * 86400.0},
      {{1949, 12, 31, 0, 0, 0, 0}, -86400.0},
  };
  for (const Case& c : cases) EXPECT_EQ(DATE_TO_SECONDS(REFyear, c.date), c.seconds);
}

TEST(Calendar, DatesComeBackAcrossMonthAndLeapEnds) {
  for (int year : {1950, 1952, 1999, 2000, 2001, 2100, 2349, 2350, 2351, 9999}) {
    for (int month = 1; month <= 12; ++month) {
      for (int day : {1, 28}) {
        const Date date = {year, month, day, 23, 59, 58, 500};
        EXPECT_EQ(SECONDS_TO_DATE(REFyear, DATE_TO_SECONDS(REFyear, date)), date);
      }
    }
  }
  const Date leap_day = {2024, 2, 29, 12, 0, 0, 125};
  EXPECT_EQ(SECONDS_TO_DATE(REFyear, DATE_TO_SECONDS(REFyear, leap_day)), leap_day);
  const Date before_reference = {1949, 12, 31, 23, 0, 0, 0};
  EXPECT_EQ(SECONDS_TO_DATE(REFyear, -3600.0), before_reference);
}

TEST(Calendar, MillisecondsRoundAndCarryIntoTheNextYear) {
  const double end_of_1999 = 18262.0 * 86400.0;
  const Date new_year = {2000, 1, 1, 0, 0, 0, 0};
  EXPECT_EQ(SECONDS_TO_DATE(REFyear, end_of_1999 - 0.0003), new_year);
  // The fraction is cut at tenths of a millisecond before it is rounded: 0.9994 keeps 999.
  const Date just_before = {1999, 12, 31, 23, 59, 59, 999};
  EXPECT_EQ(SECONDS_TO_DATE(REFyear, end_of_1999 - 0.00055), just_before);
}

TEST(Calendar, SnapTimeKeepsAThirdOfASecondOnMilliseconds) {
  EXPECT_EQ(SNAP_TIME(1000.0 - 30.0, 1000.0), 970.0);
  EXPECT_DOUBLE_EQ(SNAP_TIME(5.0 + 1.0 / 3.0, 5.0), 5.333);
  EXPECT_DOUBLE_EQ(SNAP_TIME(0.0005, 0.0), 0.001);  // halves go away from zero
  EXPECT_DOUBLE_EQ(SNAP_TIME(-0.0005, 0.0), -0.001);
}

class StepReport : public testing::Test {
 protected:
  StepReport() {
    run.messages.console_out = std::fopen(folder.path("console").c_str(), "w+");
    run.messages.echo_file = std::fopen(folder.path("echo").c_str(), "w+");
    run.settings.start_run = DATE_TO_SECONDS(REFyear, {2000, 1, 2, 1, 0, 0, 0});
    run.settings.output_inc = 10;
    run.settings.mapping_inc = 15;
    run.clock.Tnow = run.settings.start_run;
  }
  ~StepReport() override {
    std::fclose(run.messages.console_out);
    std::fclose(run.messages.echo_file);
  }
  void step(int n) {
    run.clock.NStep = n;
    ++run.clock.OUTcount;
    ++run.clock.MAPcount;
    STEP_REPORT(run);
  }
  std::string shown() const { return test::read_text(folder.path("console")); }
  std::string logged() {
    std::fflush(run.messages.echo_file);
    return test::read_text(folder.path("echo"));
  }

  test::TemporaryFolder folder;
  RunState run;
};

TEST_F(StepReport, OutputFallsOnStepOneAndEveryIncrementAfterIt) {
  run.parcels.NUMborn = 1;
  std::vector<int> out, map;
  for (int n = 1; n <= 31; ++n) {
    step(n);
    if (run.clock.OUTnow) out.push_back(n);
    if (run.clock.MAPnow) map.push_back(n);
  }
  EXPECT_EQ(out, (std::vector<int>{1, 11, 21, 31}));
  EXPECT_EQ(map, (std::vector<int>{1, 16, 31}));
  EXPECT_EQ(run.clock.STEPmark, " => P+M");
}

TEST_F(StepReport, StepOneWithoutParcelsMarksMapsOnly) {
  step(1);
  EXPECT_EQ(shown(),
            "\r       1  2000/01/02  01:00:00.0       0       0       0       0       0 => M  ");
  EXPECT_EQ(logged(), "Map output @        1 [2000/01/02  01:00:00.000]\n");
}

TEST_F(StepReport, ParcelLineShowsCountsAndFractionInTwoColumns) {
  run.settings.no_parcels = false;
  run.parcels.NUMborn = 12;
  run.parcels.NUMalive = 11;
  run.parcels.NUMdead = 1;
  run.parcels.NUMactive = 7;
  run.parcels.NUMdormant = 4;
  run.clock.OUTcount = 9;
  run.clock.Tnow += 0.5;
  step(2);
  EXPECT_EQ(shown(),
            "\r       2  2000/01/02  01:00:00.5      12      11       1       7       4 => P  ");
  EXPECT_EQ(logged(), "");
}

// 0.15 lies above its decimal value in 4 bytes and below it in 8; 0.45 the other way round.
TEST_F(StepReport, FractionIsRoundedAsA4ByteNumber) {
  run.settings.no_parcels = true;
  const double start = run.clock.Tnow;
  for (const auto& [fraction, text] :
       {std::pair{0.15, ".2"}, {0.45, ".4"}, {0.65, ".6"}, {0.85, ".9"}, {0.95, ".9"}}) {
    run.clock.Tnow = start + fraction;
    step(2);
    EXPECT_NE(shown().find(std::string("01:00:00") + text + "  "), std::string::npos) << fraction;
    std::fclose(run.messages.console_out);
    run.messages.console_out = std::fopen(folder.path("console").c_str(), "w+");
  }
}

TEST_F(StepReport, FractionOfAFullSecondDoesNotFit) {
  run.settings.no_parcels = true;
  run.clock.Tnow += 0.96;
  step(2);
  EXPECT_EQ(shown(), "\r       2  2000/01/02  01:00:00**       " + std::string(40, ' '));
}

TEST_F(StepReport, HostedRunShowsABlockAtEveryHundredthStepOnly) {
  run.messages.HOSTEDmode = true;
  run.parcels.NUMborn = 3;
  for (int n : {1, 2, 99, 101}) step(n);
  EXPECT_EQ(shown(), "");
  run.clock.OUTcount = 0;
  step(100);
  EXPECT_EQ(run.clock.STEPmark, "-------");
  EXPECT_EQ(shown(),
            "\n\n\nSTEP:      100\nDATE: 2000/01/02\nTIME: 01:00:00.0\n\n"
            "BORN=       3    ALIVE=       0    DEAD=       0    ACTIVE=       0    "
            "DORMANT=       0\n\n");
}

}  // namespace
}  // namespace dfl
