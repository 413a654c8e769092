// Trap definitions, counting and reports.

#include <gtest/gtest.h>

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
  p.VECLEN = s.residence_calc ? 2 : 0;
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

TEST(Traps, LineAndPolygonCountWithTheirLines) {
  const test::TemporaryFolder folder;
  RunState run;
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
  close_trap_reports(run);
  const auto lines = test::lines_of(test::read_text(folder.path("run_count.out")));
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

const char* const two_boxes =
    "0\n2\n"
    "1 left\n4 -10. 50. 1 0\n1 0. 0.\n2 10. 0.\n3 10. 10.\n4 0. 10.\n"
    "2 right\n4 -10. 50. 1 0\n1 20. 0.\n2 30. 0.\n3 30. 10.\n4 20. 10.\n";

TEST(Traps, AStayBelongsToItsOwnPolygon) {
  const test::TemporaryFolder folder;
  RunState run;
  run.settings.residence_calc = true;
  prepare(run, folder, two_boxes, 1);
  place(run, 1, 5.0, 5.0);
  step(run);
  step(run);  // in the left box, outside the right one all the time: no line
  place(run, 1, 25.0, 5.0);
  step(run);  // leaves the left one, enters the right one
  run.clock.LASTstep = true;
  step(run);
  close_trap_reports(run);
  const auto lines = test::lines_of(test::read_text(folder.path("run_residency.out")));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0],
            "PARTICLE    AREA        TIME IN                TIME OUT            RESIDENCY (s)");
  EXPECT_EQ(lines[1],
            "       1       1  2000/01/02 00:00:10.0  2000/01/02 00:00:40.0          30.0");
  EXPECT_EQ(lines[2],
            "       1       2  2000/01/02 00:00:30.0  2000/01/02 00:00:50.0          20.0");
}

TEST(Traps, LastStepTrapsTestTheLastStepOnly) {
  const test::TemporaryFolder folder;
  RunState run;
  run.settings.last_step_trap = true;
  prepare(run, folder, line_and_box, 1);
  place(run, 1, 5.0, 5.0);
  step(run);
  EXPECT_EQ(run.traps.TRAPS(2).TRAPparcels, 0);
  run.clock.LASTstep = true;
  step(run);
  EXPECT_EQ(run.traps.TRAPS(2).TRAPparcels, 1);
  TRAP_SUMMARY(run);
  close_trap_reports(run);
  const auto conc = test::lines_of(test::read_text(folder.path("run_conc.out")));
  ASSERT_EQ(conc.size(), 1u);  // no mesh under the polygon: 0
  EXPECT_EQ(conc[0],
            "    Trap      2 E=           5.000 N=           5.000 Conc.=    0.000000E+00 kg/m3");
}

// The bounding box must not change a result: random points, points on vertices and on edges.
TEST(Traps, BoundingBoxAgreesWithTheBareCount) {
  std::mt19937 generator(7);
  std::uniform_real_distribution<double> uniform(-2.0, 2.0);
  std::uniform_int_distribution<int> grid(-2, 2);
  int inside_total = 0;
  for (int polygon = 0; polygon < 60; ++polygon) {
    const test::TemporaryFolder folder;
    std::string text = "0\n1\n1 p\n5 -10. 50. 1 0\n";
    Array2<double> xy;
    xy.allocate(5, 1, 2);
    for (int i = 1; i <= 5; ++i) {
      xy(i, 1) = grid(generator);
      xy(i, 2) = grid(generator);
      text += std::to_string(i) + " " + std::to_string(xy(i, 1)) + " " + std::to_string(xy(i, 2)) +
              "\n";
    }
    RunState run;
    prepare(run, folder, text, 200);
    int expected = 0;
    for (int id = 1; id <= 200; ++id) {
      const bool round = id % 2 == 0;
      const double x = round ? grid(generator) : uniform(generator);
      const double y = id % 4 < 2 ? grid(generator) : uniform(generator);
      place(run, id, x, y);
      expected += IN_POLYGON(x, y, xy, 5);
    }
    step(run);
    EXPECT_EQ(run.traps.TRAPS(1).TRAPparcels, expected);
    inside_total += expected;
  }
  EXPECT_GT(inside_total, 100);
}

TEST(TrapsDeath, BadFilesAreNamedWithTheirLine) {
  struct Case {
    std::string text;
    const char* message;
  };
  const Case cases[] = {
      {"", "run.trp:1: .*end of the file"},
      {"1\nname first\n", "run.trp:2: expected a trap number, found \"name\""},
      {"1\n\n1 0. 5. 1 0\n", "run.trp:2: expected a trap number"},
      {"1\n1 a\n1 0. x 1 0\n", "run.trp:3: expected a real number, found \"x\""},
      {"1\n1 a\n1 0. 5. 1 0\n0. 0.\n", "run.trp:.*end of the file"},
      {"-1\n", "run.trp:1: expected a number of line traps from 0 to 32767, found -1"},
      {"40000\n", "run.trp:1: expected a number of line traps from 0 to 32767, found 40000"},
      {"0\n1\n1 a\n2000000000 0. 5. 1 0\n", "run.trp:4: expected a number of vertices"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n1 0. 0.\n4 1. 0.\n3 1. 1.\n",
       "run.trp:6: expected a vertex from 1 to 3, found 4"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n1 0. 0.\n1 1. 0.\n3 1. 1.\n", "run.trp:6: second line of vertex 1"},
      {"0\n1\n1 a\n3 0. 5. 1 0\n1 0. 0.\n2 1. 0.\n", "run.trp:.*end of the file"},
  };
  for (const Case& c : cases) {
    EXPECT_EXIT(
        {
          const test::TemporaryFolder folder;
          RunState run;
          run.messages.exit_code = true;
          test::quiet(run, folder.path("run"), true);
          run.settings.trap_file = run.settings.trap_file_as_given =
              folder.write("run.trp", c.text);
          READ_TRAPS(run);
        },
        testing::ExitedWithCode(1), c.message)
        << c.text;
  }
}

}  // namespace
}  // namespace dfl
