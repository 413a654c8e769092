// Trap definitions, counting and reports.

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <random>

#include "common/test_run.h"
#include "control/run_clock.h"
#include "control/text_tools.h"
#include "traps/trap_counting.h"
#include "traps/trap_file.h"
#include "traps/trap_reports.h"

namespace dfl {
namespace {

// A run with n parcels alive, in the step that begins at start_run + 10 s of a run of 100 s.
void prepare(RunState& run, const test::TemporaryFolder& folder, const std::string& trap_text,
             int n) {
  test::quiet(run, folder.path("run"));
  Settings& s = run.settings;
  s.trap_file = s.trap_file_as_given = folder.write("run.trp", trap_text);
  s.start_run = DATE_TO_SECONDS(REFyear, {2000, 1, 2, 0, 0, 0, 0});
  s.stop_run = s.start_run + 100.0;
  s.start_trap = s.start_run;
  s.stop_trap = s.stop_run;
  s.time_step = 10.0;
  run.clock.Tnow = s.start_run + 10.0;
  run.clock.NStep = 2;
  ParcelState& p = run.parcels;
  p.NUMparcels = p.NUMborn = p.NUMalive = p.NUMlisted = n;
  p.PARCELS.allocate(n);
  p.ALIVElist.allocate(n);
  p.DEADlist.allocate(n);
  p.DEADflag.allocate(n);
  p.VECLEN = (s.flow_output ? 3 : 0) + (s.residence_calc ? 2 : 0);
  p.VECstore.allocate(n * p.VECLEN, -9999.0f);
  for (int id = 1; id <= n; ++id) {
    p.ALIVElist(id) = id;
    p.PARCELS(id).ALIVE = logical_true;
    p.PARCELS(id).MASS = 2.0f;
    p.PARCELS(id).h = 1.0f;
    if (p.VECLEN > 0) p.PARCELS(id).VEC = p.VECstore.data() + (id - 1) * p.VECLEN;
  }
  READ_TRAPS(run);
}

class TrapRun : public testing::Test {
 protected:
  // The lines of a report, which is closed.
  std::vector<std::string> report(const std::string& name) {
    close_trap_reports(run);
    return test::lines_of(test::read_text(folder.path("run_" + name + ".out")));
  }
  const test::TemporaryFolder folder;
  RunState run;
};

void place(RunState& run, int id, double x, double y) {
  run.parcels.PARCELS(id).X = x;
  run.parcels.PARCELS(id).Y = y;
}

int step(RunState& run) {
  const int removed = TRAP_REPORT(run);
  run.clock.Tnow += run.settings.time_step;
  ++run.clock.NStep;
  return removed;
}

const char* const line_and_box =
    "1\n"
    "7 throat # a comment\n"
    "1 -10. 50. 1 0\n"
    "0. 0.\n"
    "10. 0.\n"
    "1\n"
    "8 the box\n"
    "4 -10. 50. 1 0\n"
    "2 10. 0.\n"
    "1 0. 0.\n"
    "3 10. 10.\n"
    "4 0. 10.\n";

TEST_F(TrapRun, LineAndPolygonCountWithTheirLines) {
  prepare(run, folder, line_and_box, 3);
  EXPECT_EQ(run.traps.TRAPS(1).TRAPname, "throat");
  EXPECT_EQ(run.traps.TRAPS(1).TRAPnumber, "7");
  EXPECT_FLOAT_EQ(run.traps.TRAPS(2).TRAParea, 100.0f);
  place(run, 1, 5.0, 5.0);    // beyond the line and in the box
  place(run, 2, 5.0, 0.0);    // on the line: not across; on the lower edge of the box: outside
  place(run, 3, 10.5, 20.0);  // beside both
  EXPECT_EQ(step(run), 0);
  EXPECT_EQ(run.traps.TRAPS(1).TRAPparcels, 1);
  EXPECT_EQ(run.traps.TRAPS(2).TRAPparcels, 1);
  step(run);  // still there: not counted again
  place(run, 1, 5.0, 30.0);
  step(run);
  place(run, 1, 5.0, 5.0);  // back in the box: counted again; the line counts once only
  step(run);
  EXPECT_EQ(run.traps.TRAPS(1).TRAPparcels, 1);
  EXPECT_EQ(run.traps.TRAPS(2).TRAPparcels, 2);
  EXPECT_FLOAT_EQ(run.traps.TRAPS(2).TRAPmass, 4.0f);
  EXPECT_EQ(run.parcels.NUMtrapsum, 3);
  TRAP_SUMMARY(run);
  const auto lines = report("count");
  ASSERT_EQ(lines.size(), 1u + 3u + 3u + 2u);
  EXPECT_EQ(lines[0], "    STEP     DATE         TIME       PARTICLE    TRAP");
  EXPECT_EQ(lines[1],
            "       2  2000/01/02  00:00:20.000          1       1             5.000"
            "             5.000");
  EXPECT_EQ(lines[2], "       2  2000/01/02  00:00:20.000          1       2");
  // 2 kg and 4 kg in 110 s: a period up to the end of the run takes in its last step.
  EXPECT_EQ(lines[7],
            "    Trap      1 rate =         0.01818 kg/s,  Trap      1 Total=           2.000 kg");
  EXPECT_EQ(lines[8],
            "    Trap      2 rate =         0.03636 kg/s,  Trap      2 Total=           4.000 kg");
}

TEST(Traps, SidesBandsPeriodsAndOneCount) {
  struct Case {
    const char* what;
    const char* settings;  // of a line from (0, 0) to (10, 0)
    double y;
    float h;
    double start, stop;  // s after the start of the run
    int counted, removed;
  };
  const Case cases[] = {
      {"high side", "1 0. 5. 1 0", 1.0, 1.0f, 0.0, 50.0, 1, 0},
      {"high side, parcel on the low side", "1 0. 5. 1 0", -1.0, 1.0f, 0.0, 50.0, 0, 0},
      {"low side", "-1 0. 5. 1 0", -1.0, 1.0f, 0.0, 50.0, 1, 0},
      {"no side", "0 0. 5. 1 0", 1.0, 1.0f, 0.0, 50.0, 0, 0},
      {"below the band", "1 2. 5. 1 0", 1.0, 1.0f, 0.0, 50.0, 0, 0},
      {"above the band", "1 0. 0.5 1 0", 1.0, 1.0f, 0.0, 50.0, 0, 0},
      {"limits belong to the band", "1 1. 1. 1 0", 1.0, 1.0f, 0.0, 50.0, 1, 0},
      {"period begins with this step", "1 0. 5. 1 0", 1.0, 1.0f, 10.0, 50.0, 1, 0},
      {"period ends with this step", "1 0. 5. 1 0", 1.0, 1.0f, 0.0, 10.0, 0, 0},
      {"takes out", "1 0. 5. 0 0", 1.0, 1.0f, 0.0, 50.0, 1, 1},
      {"takes out before its period", "1 0. 5. 0 0", 1.0, 1.0f, 20.0, 50.0, 0, 1},
      {"2 is not opened", "1 0. 5. 2 0", 1.0, 1.0f, 0.0, 50.0, 1, 1},
      {"one count", "1 0. 5. 1 1", 1.0, 1.0f, 0.0, 50.0, 1, 0},
  };
  for (const Case& c : cases) {
    const test::TemporaryFolder folder;
    RunState run;
    prepare(run, folder, std::string("1\n1 a\n") + c.settings + "\n0. 0.\n10. 0.\n0\n", 1);
    run.traps.TRAPS(1).TRAPstart = run.settings.start_run + c.start;
    run.traps.TRAPS(1).TRAPstop = run.settings.start_run + c.stop;
    place(run, 1, 5.0, c.y);
    run.parcels.PARCELS(1).h = c.h;
    EXPECT_EQ(step(run), c.removed) << c.what;
    EXPECT_EQ(run.traps.TRAPS(1).TRAPparcels, c.counted) << c.what;
    EXPECT_EQ(is_true(run.parcels.PARCELS(1).ALIVE), c.removed == 0) << c.what;
    EXPECT_EQ(run.parcels.PARCELS(1).LOSS, c.removed) << c.what;
    EXPECT_EQ(run.parcels.NUMdead, c.removed) << c.what;
  }
}

// Trap, seconds from the start of the run to the entry, seconds of the stay.
struct StayLine {
  int trap;
  double entry, stay;
};

std::string line_of(const RunState& run, const StayLine& line) {
  const auto time = [&](double t) {
    const Date date = SECONDS_TO_DATE(REFyear, run.settings.start_run + t);
    return day_text(date) + " " + time_text(date) + ".0";
  };
  return columns(1, 8) + columns(line.trap, 8) + "  " + time(line.entry) + "  " +
         time(line.entry + line.stay) + "  " + columns(line.stay, 12, 1);
}

std::string box(double left, double right, const char* settings = "4 -10. 50. 1 0") {
  const std::string l = " " + std::to_string(left), r = " " + std::to_string(right);
  return std::string("1 box\n") + settings + "\n1" + l + " 0.\n2" + r + " 0.\n3" + r + " 10.\n4" +
         l + " 10.\n";
}

TEST(Traps, AStayBelongsToItsOwnPolygonAndEndsThere) {
  const std::string left = box(0.0, 10.0), right = box(20.0, 30.0), wide = box(5.0, 25.0);
  const std::string once = box(0.0, 10.0, "4 -10. 50. 1 1");
  const std::string closed = box(0.0, 10.0, "4 -10. 50. 0 0");
  const std::string low = box(0.0, 10.0, "4 -10. 0.5 1 0");
  struct Case {
    const char* what;
    std::string traps;
    double first_step;      // s after the start of the run
    std::vector<double> x;  // at the end of each step; the last is that of the run
    std::vector<StayLine> lines;
  };
  const Case cases[] = {
      {"one polygon", "0\n1\n" + left, 10.0, {15, 5, 5, 15, 15}, {{1, 20, 30}}},
      {"the same place twice",
       "0\n1\n" + left,
       10.0,
       {5, 15, 5, 5, 15},
       {{1, 10, 20}, {1, 30, 30}}},
      {"to the end of the run", "0\n1\n" + left, 10.0, {15, 5, 5}, {{1, 20, 20}}},
      {"from the very start: no line, the next one counts anew",
       "0\n1\n" + left,
       0.0,
       {5, 5, 15, 5, 15},
       {{1, 30, 20}}},
      {"inside from the very start to the end", "0\n1\n" + left, 0.0, {5, 5, 5}, {}},
      {"above the band", "0\n1\n" + low, 10.0, {15, 5, 5, 15}, {}},
      {"one count: not tested again, no end", "0\n1\n" + once, 10.0, {5, 5, 15, 5, 15}, {}},
      {"one count, entered in the last step", "0\n1\n" + once, 10.0, {15, 5}, {{1, 20, 10}}},
      {"taken out", "0\n1\n" + closed, 10.0, {15, 5, 5, 15, 15}, {}},
      {"from left to right in one step",
       "0\n2\n" + left + right,
       10.0,
       {5, 5, 25, 25},
       {{1, 10, 30}, {2, 30, 20}}},
      {"from right to left: the test of the left one came before the stay was over",
       "0\n2\n" + left + right,
       10.0,
       {25, 25, 5, 5},
       {{2, 10, 30}, {1, 40, 10}}},
      {"overlap: the first stay goes on in the common part, the second begins when it ends",
       "0\n2\n" + left + wide,
       10.0,
       {3, 7, 7, 15, 15, 50, 50},
       {{1, 10, 40}, {2, 40, 30}}},
      {"overlap in the last step: one line for each",
       "0\n2\n" + left + wide,
       10.0,
       {7, 7},
       {{1, 10, 20}, {2, 20, 10}}},
      {"outside all others all the time",
       "0\n3\n" + left + right + right,
       10.0,
       {5, 5, 5, 50, 50},
       {{1, 10, 40}}},
      {"a line trap drops the stay of a parcel that is not across",
       "1\n1 line\n1 -10. 50. 1 0\n0. 20.\n10. 20.\n1\n" + left,
       10.0,
       {5, 5, 15, 15},
       {}},
  };
  for (const Case& c : cases) {
    const test::TemporaryFolder folder;
    RunState run;
    run.settings.residence_calc = true;
    prepare(run, folder, c.traps, 1);
    run.clock.Tnow = run.settings.start_run + c.first_step;
    for (std::size_t k = 0; k < c.x.size(); ++k) {
      place(run, 1, c.x[k], 5.0);
      run.parcels.NUMalive = is_true(run.parcels.PARCELS(1).ALIVE) ? 1 : 0;
      run.clock.LASTstep = k + 1 == c.x.size();
      step(run);
    }
    EXPECT_EQ(run.parcels.NUMtrapsum, 0) << c.what;
    close_trap_reports(run);
    const auto lines = test::lines_of(test::read_text(folder.path("run_residency.out")));
    ASSERT_EQ(lines.size(), 1 + c.lines.size()) << c.what;
    EXPECT_EQ(lines[0],
              "PARTICLE    AREA        TIME IN                TIME OUT            RESIDENCY (s)");
    for (std::size_t k = 0; k < c.lines.size(); ++k) {
      EXPECT_EQ(lines[k + 1], line_of(run, c.lines[k])) << c.what;
    }
  }
}

TEST_F(TrapRun, ResidenceLineInFull) {
  run.settings.residence_calc = true;
  run.settings.flow_output = true;  // the stay stands behind the three velocities
  prepare(run, folder, "0\n1\n" + box(0.0, 10.0), 1);
  run.clock.Tnow += 0.3;
  place(run, 1, 5.0, 5.0);
  step(run);
  run.clock.Tnow += 0.66;  // ends at 30.96: more than a field of two columns holds
  place(run, 1, 15.0, 5.0);
  step(run);
  const auto lines = report("residency");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[1],
            "       1       1  2000/01/02 00:00:10.3  2000/01/02 00:00:30**          20.7");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(run.parcels.PARCELS(1).VEC[i], -9999.0f);
}

// A stay opens and ends in the last step; nothing is counted.
TEST_F(TrapRun, LastStepOfAResidenceRunGivesOneLineEach) {
  run.settings.residence_calc = run.settings.last_step_trap = true;
  prepare(run, folder, "0\n1\n" + box(0.0, 10.0), 1);
  place(run, 1, 5.0, 5.0);
  step(run);
  run.clock.LASTstep = true;
  step(run);
  const auto lines = report("bin");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], "    STEP     DATE         TIME       PARTICLE    TRAP");
  EXPECT_EQ(lines[1], line_of(run, {1, 20.0, 10.0}));
  EXPECT_EQ(run.traps.TRAPS(1).TRAPparcels, 0);
  EXPECT_EQ(test::read_text(folder.path("run_conc.out")), "");
}

TEST(Traps, EndsAndSidesOfALine) {
  struct Case {
    const char* what;
    const char* ends;
    int side;
    double x, y;
    int counted;
  };
  const Case cases[] = {
      {"upright, beyond", "5. 10.\n5. 0.\n", 1, 5.0000001, 5.0, 1},
      {"upright, on it", "5. 10.\n5. 0.\n", 1, 5.0, 5.0, 0},
      {"upright, on it, low side", "5. 10.\n5. 0.\n", -1, 5.0, 5.0, 0},
      {"upright, low side", "5. 10.\n5. 0.\n", -1, 4.9999999, 5.0, 1},
      {"upright, no side", "5. 10.\n5. 0.\n", 0, 4.0, 5.0, 0},
      {"upright, at an end", "5. 10.\n5. 0.\n", 1, 6.0, 10.0, 1},
      {"upright, at the other end", "5. 10.\n5. 0.\n", 1, 6.0, 0.0, 1},
      {"upright, past an end", "5. 10.\n5. 0.\n", 1, 6.0, 10.0000001, 0},
      {"slanted, above", "10. 10.\n0. 0.\n", 1, 5.0, 5.001, 1},
      {"slanted, on it", "10. 10.\n0. 0.\n", 1, 5.0, 5.0, 0},
      {"slanted, below", "10. 10.\n0. 0.\n", -1, 5.0, 4.999, 1},
      {"slanted, at an end", "10. 10.\n0. 0.\n", 1, 10.0, 20.0, 1},
      {"slanted, past an end", "10. 10.\n0. 0.\n", 1, 10.0000001, 20.0, 0},
      // The line stands at 0.1 rounded to 4 bytes, which is a little more.
      {"rounded line, on it from above", "0. .1\n10. .1\n", 1, 5.0, 0.1, 0},
      {"rounded line, on it from below", "0. .1\n10. .1\n", -1, 5.0, 0.1, 1},
  };
  for (const Case& c : cases) {
    const test::TemporaryFolder folder;
    RunState run;
    prepare(run, folder, "1\n1 a\n" + std::to_string(c.side) + " -10. 50. 1 0\n" + c.ends + "0\n",
            1);
    place(run, 1, c.x, c.y);
    step(run);
    EXPECT_EQ(run.traps.TRAPS(1).TRAPparcels, c.counted) << c.what;
  }
}

TEST_F(TrapRun, WhatHappenedBeforeThePeriodIsRemembered) {
  prepare(run, folder, line_and_box, 1);
  for (int j = 1; j <= 2; ++j) run.traps.TRAPS(j).TRAPstart = run.settings.start_run + 20.0;
  place(run, 1, 5.0, 5.0);
  step(run);
  step(run);  // the period has begun, but the parcel came in before it
  EXPECT_EQ(run.parcels.NUMtrapsum, 0);
  place(run, 1, 5.0, -5.0);
  step(run);
  place(run, 1, 5.0, 5.0);
  step(run);
  EXPECT_EQ(run.traps.TRAPS(1).TRAPparcels, 0);  // a line never again
  EXPECT_EQ(run.traps.TRAPS(2).TRAPparcels, 1);  // a polygon at the next entry
}

// Taken out by the first trap, still counted by the one behind it, and dead only once; a parcel
// that died in this step is passed over.
TEST_F(TrapRun, AParcelTakenOutIsStillCountedByTheTrapsBehind) {
  prepare(run, folder,
          "1\n1 a\n1 -10. 50. 0 0\n0. 0.\n10. 0.\n1\n" + box(0.0, 10.0, "4 -10. 50. 0 0"), 2);
  place(run, 1, 5.0, 5.0);
  place(run, 2, 5.0, 5.0);
  run.parcels.DEADflag(1) = logical_true;
  EXPECT_EQ(step(run), 1);
  EXPECT_EQ(run.traps.TRAPS(1).TRAPparcels, 1);
  EXPECT_EQ(run.traps.TRAPS(2).TRAPparcels, 1);
  EXPECT_EQ(run.parcels.NUMdead, 1);
  EXPECT_EQ(run.parcels.DEADlist(1), 2);
  EXPECT_EQ(run.parcels.PARCELS(2).LOSS, 1);
}

TEST_F(TrapRun, EchoOfATrap) {
  run.messages.echo_file = std::fopen(folder.path("run.input").c_str(), "w");
  prepare(run, folder,
          "1, # items behind those asked for are passed\n"
          "7\tthroat\t line # a comment # more\n"
          "-1, -1.25 2.5, 1 2 99 unused\n0. 0. 7\n3*10.\n1\n8\n3 0. 12345.6789 0 1\n"
          "3 0. 1.\n1 0. 0.\n2 1. 0.\n",
          1);
  std::fclose(run.messages.echo_file);
  run.messages.echo_file = nullptr;
  EXPECT_EQ(run.traps.TRAPS(1).TRAPname, "throat  line");
  EXPECT_EQ(run.traps.TRAPS(2).TRAPname, "");
  EXPECT_FLOAT_EQ(run.traps.TRAPS(2).TRAParea, 0.5f);
  EXPECT_EQ(test::read_text(folder.path("run.input")),
            "Line Trap\n"
            "  Dir.:     -1\n"
            "  Top:        -1.250\n"
            "  Bottom:      2.500\n"
            "  Opened:   T\n"
            "  1 count:  F\n"
            "\n"
            "Polygon Trap\n"
            "  Sides:           3\n"
            "  Top:         0.000\n"
            "  Bottom:   ********\n"
            "  Opened:   F\n"
            "  1 count:  T\n"
            "\n");
}

TEST_F(TrapRun, LastStepWithoutATrapFileDoesNothing) {
  run.settings.last_step_trap = true;
  prepare(run, folder, "0\n0\n", 1);
  close_trap_reports(run);
  run.traps = {};
  run.clock.LASTstep = true;
  EXPECT_EQ(step(run), 0);
  EXPECT_FALSE(run.traps.TRAPon);
}

TEST_F(TrapRun, NoTrapsGiveHeadsOnly) {
  prepare(run, folder, "0\n0\n", 1);
  EXPECT_EQ(step(run), 0);
  TRAP_SUMMARY(run);
  close_trap_reports(run);
  EXPECT_EQ(test::read_text(folder.path("run_count.out")),
            "    STEP     DATE         TIME       PARTICLE    TRAP\n\n\n\n");
}

TEST_F(TrapRun, LastStepTrapsTestTheLastStepOnly) {
  run.settings.last_step_trap = true;
  prepare(run, folder, line_and_box, 1);
  place(run, 1, 5.0, 5.0);
  step(run);
  EXPECT_EQ(run.traps.TRAPS(2).TRAPparcels, 0);
  run.clock.LASTstep = true;
  step(run);
  EXPECT_EQ(run.traps.TRAPS(2).TRAPparcels, 1);
  TRAP_SUMMARY(run);
  const auto conc = report("conc");
  ASSERT_EQ(conc.size(), 1u);  // no mesh under the polygon: 0
  EXPECT_EQ(conc[0],
            "    Trap      2 E=           5.000 N=           5.000 Conc.=    0.000000E+00 kg/m3");
}

// Count of the crossings of the edges with one half of an axis through (a, b), edge by edge.
bool bare_count(double a, double b, const Array2<double>& xy, int n) {
  int sign = -1;
  for (int i = 1; i <= n; ++i) {
    const int k = i % n + 1;
    const float u1 = static_cast<float>(xy(i, 1) - a), v1 = static_cast<float>(xy(i, 2) - b);
    const float u2 = static_cast<float>(xy(k, 1) - a), v2 = static_cast<float>(xy(k, 2) - b);
    if ((v1 < 0.0f && v2 < 0.0f) || (u1 < 0.0f && u2 < 0.0f)) continue;
    if (u1 >= 0.0f && u2 >= 0.0f) continue;
    if (v1 >= 0.0f && v2 >= 0.0f) {
      sign = -sign;
    } else {
      const float t = (v1 * u2 - v2 * u1) / (u2 - u1);
      if (t == 0.0f) return true;
      if (t > 0.0f) sign = -sign;
    }
  }
  return sign >= 0;
}

// The bounding box must not change a result: random points, points on vertices, on edges, on the
// sides of the box and so near to them that the difference is 0 in 4 bytes.
TEST(Traps, BoundingBoxAgreesWithTheBareCount) {
  std::mt19937 generator(7);
  std::uniform_real_distribution<double> uniform(-2.5, 2.5);
  std::uniform_int_distribution<int> lattice(-2, 2), vertex(1, 5), quarter(0, 4);
  const double nothings[] = {0.0, 1e-50, -1e-50, 1e-12, -1e-12, 0.5, -0.5};
  std::uniform_int_distribution<std::size_t> nothing(0, std::size(nothings) - 1);
  constexpr int points = 600;
  int inside_total = 0, on_edge_total = 0;
  for (int polygon = 0; polygon < 60; ++polygon) {
    // The second half far from the origin, where 8 bytes leave less.
    const double x0 = polygon < 30 ? 0.0 : 512345.25, y0 = polygon < 30 ? 0.0 : 6123456.75;
    const test::TemporaryFolder folder;
    std::string text = "0\n1\n1 p\n5 -10. 50. 1 0\n";
    Array2<double> xy;
    xy.allocate(5, 1, 2);
    for (int i = 1; i <= 5; ++i) {
      xy(i, 1) = x0 + lattice(generator);
      xy(i, 2) = y0 + lattice(generator);
      text += std::to_string(i) + " " + std::to_string(xy(i, 1)) + " " + std::to_string(xy(i, 2)) +
              "\n";
    }
    RunState run;
    prepare(run, folder, text, points);
    const Trap& trap = run.traps.TRAPS(1);
    for (int id = 1; id <= points; ++id) {
      const int a = vertex(generator), b = vertex(generator);
      const double t = quarter(generator) * 0.25;
      double x = x0 + uniform(generator), y = y0 + uniform(generator);
      if (id % 5 == 1) {  // on an edge or a diagonal
        x = xy(a, 1) + t * (xy(b, 1) - xy(a, 1));
        y = xy(a, 2) + t * (xy(b, 2) - xy(a, 2));
        ++on_edge_total;
      } else if (id % 5 == 2) {
        x = x0 + lattice(generator);
      } else if (id % 5 == 3) {  // on the box or near it
        x = (id % 2 == 0 ? trap.xmin : trap.xmax) + nothings[nothing(generator)];
      } else if (id % 5 == 4) {
        y = (id % 2 == 0 ? trap.ymin : trap.ymax) + nothings[nothing(generator)];
        if (id % 3 == 0) x = xy(a, 1) + nothings[nothing(generator)];
      }
      place(run, id, x, y);
    }
    step(run);
    for (int id = 1; id <= points; ++id) {
      const Parcel& parcel = run.parcels.PARCELS(id);
      const bool inside = bare_count(parcel.X, parcel.Y, xy, 5);
      EXPECT_EQ(IN_POLYGON(parcel.X, parcel.Y, xy, 5), inside) << parcel.X << ' ' << parcel.Y;
      EXPECT_EQ(parcel.TRAPSTATE[0], inside ? 1 : 0) << parcel.X << ' ' << parcel.Y;
      inside_total += inside;
    }
  }
  EXPECT_GT(inside_total, 1000);
  EXPECT_GT(on_edge_total, 1000);
}

using DamageRun = void (*)(RunState& run, const test::TemporaryFolder& folder);

// Reading a trap file with this text stops the run with a message.
void expect_stop(const std::string& text, const std::string& message, DamageRun damage = nullptr) {
  EXPECT_EXIT(
      {
        const test::TemporaryFolder folder;
        RunState run;
        run.messages.exit_code = true;
        test::quiet(run, folder.path("run"), true);
        run.settings.trap_file = run.settings.trap_file_as_given = folder.write("run.trp", text);
        if (damage != nullptr) damage(run, folder);
        READ_TRAPS(run);
        close_trap_reports(run);
      },
      testing::ExitedWithCode(1), message)
      << text;
}

TEST(TrapsDeath, BadFilesAreNamedWithTheirLine) {
  struct Case {
    std::string text;
    const char* message;
  };
  const Case cases[] = {
      {"", "run.trp:1: .*end of the file"},
      {"/\n", "run.trp:1: expected 1 items, found one left out"},
      {"one\n", "run.trp:1: expected an integer, found \"one\""},
      {"1.5\n", "run.trp:1: expected an integer, found \"1.5\""},
      {"99999999999\n", "run.trp:1: expected an integer within its range"},
      {"0\n", "run.trp:1: .*end of the file"},
      {"0\n32768\n", "run.trp:2: expected a number of polygon traps from 0 to 32767"},
      {"0\n-2\n", "run.trp:2: expected a number of polygon traps from 0 to 32767, found -2"},
      {"1\n1 a\n1 0. 5. 1 0\n0. 0.\n1. 0.\n32767\n",
       "run.trp:6: expected 32767 traps at most, found 32768"},
      {"32767\n1 a\n", "run.trp:2: .*end of the file"},
      {"1\n", "run.trp:1: expected the name of a trap, found the end of the file"},
      {"1\n/ a\n", "run.trp:2: expected a trap number, found \"/\""},
      {"1\n1.0 a\n", "run.trp:2: expected a trap number, found \"1.0\""},
      {"1\n#1 a\n", "run.trp:2: expected a trap number, found \"#1\""},
      {"1\n1 a\n1 0. ,, 1 0\n", "run.trp:3: expected 5 items, found one left out"},
      {"1\n1 a\n1 0. 5. /\n", "run.trp:3: expected 5 items, found one left out"},
      {"1\n1 a\n1 0. nan 1 0\n", "run.trp:3: expected a real number, found \"nan\""},
      {"1\n1 a\n1 0. 1e60 1 0\n", "run.trp:3: expected a real number within its range"},
      {"1\n1 a\n1 0. 5. T F\n", "run.trp:3: expected an integer, found \"T\""},
      {"1\n1 a\n1 0. 5. 1 0\nx 0.\n", "run.trp:4: expected a real number, found \"x\""},
      {"1\n1 a\n1 0. 5. 1 0\n0. 0.\n/\n", "run.trp:5: expected 2 items, found one left out"},
      {"0\n1\n1 a\n-3 0. 5. 1 0\n", "run.trp:4: expected a number of vertices .*, found -3"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n0 0. 0.\n", "run.trp:5: expected a vertex from 1 to 3, found 0"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n-1 0. 0.\n", "run.trp:5: expected a vertex from 1 to 3, found -1"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n1 0. 0.\n2 b 0.\n",
       "run.trp:6: expected a real number, found \"b\""},
      {"0\n1\n1 a\n3 0. 5. 1 0\n1 0. 0.\n2 1.,,\n",
       "run.trp:6: expected 3 items, found one left out"},
      {"1\n\n1 0. 5. 1 0\n", "run.trp:2: expected a trap number"},
      {"1\n1 a\n1 0. 5. 1 0\n0. 0.\n", "run.trp:.*end of the file"},
      {"-1\n", "run.trp:1: expected a number of line traps from 0 to 32767, found -1"},
      {"40000\n", "run.trp:1: expected a number of line traps from 0 to 32767, found 40000"},
      {"0\n1\n1 a\n2000000000 0. 5. 1 0\n", "run.trp:4: expected a number of vertices"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n1 0. 0.\n4 1. 0.\n3 1. 1.\n",
       "run.trp:6: expected a vertex from 1 to 3, found 4"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n1 0. 0.\n1 1. 0.\n3 1. 1.\n", "run.trp:6: second line of vertex 1"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n1 0. 0.\n2 1. 0.\n", "run.trp:.*end of the file"},
  };
  for (const Case& c : cases) expect_stop(c.text, c.message);
}

// A file that ends anywhere: at a line end, or in a line. None is taken for a shorter, whole one.
TEST(TrapsDeath, CutFilesAreTold) {
  const std::string whole = line_and_box;
  const std::size_t last_number = whole.size() - 4;  // "10.", of which a digit is a number, too
  for (std::size_t length = 0; length < last_number; length += length < 20 ? 1 : 3) {
    expect_stop(whole.substr(0, length), "run.trp:[0-9]+: ");
  }
}

TEST(TrapsDeath, FilesThatCannotBeReadOrWritten) {
  struct Case {
    const char* what;
    DamageRun damage;
    const char* message;
  };
  const Case cases[] = {
      {"no trap file",
       [](RunState& run, const test::TemporaryFolder& folder) {
         run.settings.trap_file = folder.path("absent.trp");
         run.settings.trap_file_as_given = folder.path("Absent.trp");
       },
       "Cannot open file \".*/Absent.trp\": No such file"},
      {"a folder",
       [](RunState& run, const test::TemporaryFolder& folder) {
         run.settings.trap_file = run.settings.trap_file_as_given = folder.path(".");
       },
       "Cannot read file \".*/.\": not a regular file"},
      {"no folder for the report",
       [](RunState& run, const test::TemporaryFolder& folder) {
         run.settings.output_prefix = folder.path("nowhere/run");
       },
       "Cannot create file \".*/nowhere/run_count.out\": No such file"},
      {"a folder in place of the report",
       [](RunState&, const test::TemporaryFolder& folder) {
         std::filesystem::create_directory(folder.path("run_count.out"));
       },
       "Cannot create file \".*/run_count.out\": Is a directory"},
      {"a folder in place of the concentrations",
       [](RunState& run, const test::TemporaryFolder& folder) {
         run.settings.last_step_trap = true;
         std::filesystem::create_directory(folder.path("run_conc.out"));
       },
       "Cannot create file \".*/run_conc.out\": Is a directory"},
      {"no room for the report",
       [](RunState&, const test::TemporaryFolder& folder) {
         std::filesystem::create_symlink("/dev/full", folder.path("run_count.out"));
       },
       "Cannot write file \".*/run_count.out\": No space left"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    expect_stop(line_and_box, c.message, c.damage);
  }
}

}  // namespace
}  // namespace dfl
