#include "parcels/sources.h"

#include <gtest/gtest.h>

#include <cmath>

#include "parcels/random_stream.h"
#include "parcels/source_counts.h"
#include "parcels/source_run.h"

namespace dfl {
namespace {

using test::at_second;
using test::SourceRun;

// Row ends: mass, scatter, z scatter, amount, D50, sigma, density, Ws, TAUcr, TAUcd.
const std::string sand = " 1.0 0.0 0.0 0.25 0.0002 0.0 2650 -1 0 0\n";

TEST(SourceFile, AllSectionsArriveInTheirFields) {
  SourceRun s;
  s.read(
      "1 instantaneous sources\n"
      "7, 1, 'dump, first'\n"
      "2020 6 1 0 0 5, 10 20 -3, 2 0.5 0.25 9, 0.0003 0.4 2600 0.01 0.2 0.1\n"
      "0\n"
      "1\n"
      "\n"
      "-8 2 \"the pipe\"   SurfaceDatum \n"
      "2020 6 1 0 0 0 1 2 3 4 5 6 1.5 0.5 99 0.25 2D-4 0 2650 -1 0 0\n"
      "2020 6 1 1 0 0 1 2 3 4 5 6 1.5 0.5 99 0.25 2D-4 0 2650 -1 0 0\n"
      "1\n"
      "9 4 2 plain trailing words\n"
      "-1 0 0 0 0 0\n10 10 1\n30 10 1\n30 20 1\n10 20 1\n"
      "1 0.5 99 0.01 0.0002 0 2650 -1 0 0\n"
      "2020 6 1 1 0 0\n10 10 1\n30 10 1\n30 20 1\n10 20 1\n"
      "1 0.5 99 0.01 0.0002 0 2650 -1 0 0\n");
  const ParcelState& parcels = s.run.parcels;
  EXPECT_EQ((std::vector<int>{parcels.NUMinst, parcels.NUMpoint, parcels.NUMline, parcels.NUMarea}),
            (std::vector<int>{1, 0, 1, 1}));
  const SourceRecord& dump = parcels.SRCinst(1);
  EXPECT_EQ(dump.SRCid, 7);
  EXPECT_EQ(dump.SRCname, "dump, first");
  EXPECT_EQ(dump.SRCpos(1, 3), -3.0);
  const Instruction& row = dump.SRCrow(1);
  EXPECT_EQ(row.ROWtime, s.run.settings.start_run + 5.0);
  EXPECT_EQ(
      (std::vector<float>{row.ROWmass, row.ROWscatter, row.ROWscatterz, row.ROWtotal, row.ROWd50,
                          row.ROWsigma, row.ROWrhos, row.ROWws, row.ROWtaucr, row.ROWtaucd}),
      (std::vector<float>{2, 0.5f, 0.25f, 9, 0.0003f, 0.4f, 2600, 0.01f, 0.2f, 0.1f}));
  EXPECT_EQ(row.ROWreleased, 4.0f);  // 9 kg in parcels of 2 kg, truncated
  EXPECT_EQ(row.ROWgrains.size(), 4);
  const SourceRecord& pipe = parcels.SRCline(1);
  EXPECT_EQ(pipe.SRCid, -8);
  EXPECT_EQ(pipe.SRCname, "the pipe");
  EXPECT_EQ(pipe.SRCdatum, surfacedatum);
  EXPECT_EQ(pipe.SRCpos(2, 6), 6.0);
  EXPECT_EQ(pipe.SRCrow(1).ROWrate, 0.25f);
  EXPECT_EQ(pipe.SRCrow(1).ROWd50, 0.0002f);
  const SourceRecord& field = parcels.SRCarea(1);
  EXPECT_EQ(field.SRCverts, 4);
  EXPECT_EQ(field.SRCrows, 2);
  EXPECT_EQ(field.SRCname, "plain");
  EXPECT_EQ(field.SRCpos(1, 7), 30.0);
  EXPECT_EQ(field.SRCarea_m2(1), 200.0f);
  // A negative year: one second after the start of the run.
  EXPECT_EQ(field.SRCrow(1).ROWtime, s.run.settings.start_run + 1.0);
  EXPECT_EQ(field.SRCrow(1).ROWdate, (Date{2020, 6, 1, 0, 0, 1, 0}));
  EXPECT_EQ(parcels.RELfirst, s.run.settings.start_run);
  EXPECT_EQ(parcels.RELlast, s.run.settings.start_run + 3600.0);
  const std::string echo = test::read_text(s.folder.path("t.input"));
  EXPECT_EQ(echo,
            "Sources\nInstants: 1\nPoints:   0\nLines:    1\nAreas:    1\n\n"
            "Number of particles: " +
                std::to_string(parcels.NUMparcels) + "\n");
}

TEST(SourceFile, EmptySectionsAndNoFileGiveNoParcels) {
  SourceRun empty;
  empty.read("0\n0\n0\n0\n");
  EXPECT_EQ(empty.run.parcels.NUMparcels, 0);
  EXPECT_EQ(empty.run.parcels.RELlast, 0.0);
  EXPECT_EQ(empty.run.parcels.RELfirst, empty.run.settings.stop_run);
  // Nothing will ever be released: the first step ends the run.
  empty.step();
  BUILD_ALIVE_LIST(empty.run);
  EXPECT_TRUE(empty.run.clock.STOPrun);

  SourceRun none;
  none.run.settings.no_parcels = true;
  none.run.settings.source_file = none.folder.path("does_not_exist");
  SOURCE_SETUP(none.run);
  EXPECT_EQ(none.run.parcels.NUMparcels, 0);
  EXPECT_EQ(none.run.parcels.ALIVElist.size(), 1);
}

TEST(SourceFile, DatumWordsInAnyCaseAndNothingForTheBed) {
  struct Case {
    const char* rest;
    int datum;
  };
  for (const Case& c : {Case{"", beddatum}, Case{"  \t", beddatum}, Case{"\r", beddatum},
                        Case{" BEDDATUM", beddatum}, Case{"\tdepthDistributed  ", depthdistributed},
                        Case{", 'surfacedatum'\r", surfacedatum}}) {
    SourceRun s;
    s.read(std::string("0\n0\n1\n1 1 'l'") + c.rest + "\n" + at_second(0) + "1 1 0 9 9 0" + sand +
           "0\n");
    EXPECT_EQ(s.run.parcels.SRCline(1).SRCdatum, c.datum) << c.rest;
  }
}

TEST(SourceFileDeath, FaultsAreToldWithTheirPlace) {
  struct Case {
    std::string text, message;
  };
  const std::string first = at_second(0), point = "50 50 0", line = "1 1 0 9 9 0";
  const std::string area_end = " 1 0 0 1 0.0002 0 2650 -1 0 0\n";
  const auto area = [&](const std::string& vertices) {
    return "0\n0\n0\n1\n1 3 1 'a'\n" + first + "\n" + vertices + area_end;
  };
  const Case cases[] = {
      {"0\n-1\n", "sources.txt:2: expected the number of point sources, 0 or more"},
      {"x\n", "sources.txt:1: expected an integer, found \"x\""},
      {"0\n0\n", "sources.txt:2: expected an integer, found the end of the file"},
      {"2000000000\n1 1 'a'\n" + first + point + sand, "expected an integer, found the end"},
      {"1\n1 2000000000 'a'\n" + first + point + sand, "expected an integer, found the end"},
      {"0\n0\n0\n1\n1 2000000000 1 'a'\n" + first + "\n1 1 0\n", "found the end of the file"},
      {"0\n0\n1\n", "sources.txt:3: expected the head of a line source, found the end"},
      {"0\n0\n1\n\n1 x 'a'\n", "sources.txt:5: expected an integer, found \"x\""},
      {"0\n1\n1 0 'a'\n", "sources.txt:3: expected 1 row or more, found 0"},
      {"0\n0\n0\n1\n1 2 1 'a'\n", "sources.txt:5: expected 3 vertices or more, found 2"},
      {"1\n1 1 'a'\n2020 13 1 0 0 0 " + point + sand,
       "sources.txt:3: expected a month from 1 to 12, found 13"},
      {"1\n1 1 'a'\n" + first + "50 50 0 1 0 0 1 -0.1 0 2650 -1 0 0\n",
       "sources.txt:3: expected a grain size D50 of 0 or more"},
      {"1\n1 1 'a'\n" + first + "50 50 z" + sand,
       "sources.txt:3: expected a real number, found \"z\""},
      {"2\n1 1 'a'\n" + first + point + sand + "2 2 'b'\n" + first + point + sand + first +
           "500 50 0" + sand,
       "ERROR: Instantaneous source not in domain     2     2"},
      {"0\n1\n1 1 'a'\n" + first + "-1 50 0" + sand,
       "ERROR: Point source not in domain     1     1"},
      {"0\n0\n1\n1 1 'a'\n" + first + "1 1 0 1 101 0" + sand,
       "ERROR: Line source not in domain     1     1"},
      {area("1 1 0\n9 1 0\n9 109 0\n"), "ERROR: Area source not in domain     1     1"},
      {area("1 1 0\n9 9 0\n9 1 0\n"), "ERROR: SeaArea not counter-clockwise     1     1"},
      {area("1 1 0\n9 1 0\n9 9 1\n"), "ERROR: Area source not in a plane     1     1"},
      {"0\n0\n1\n1 1 'a' middatum\n" + first + line + sand, "ERROR: Line source datum unknown"},
      {"0\n1\n1 2 'a'\n" + first + point + " 0 0 0 1 0.0002 0 2650 -1 0 0\n" + at_second(3600) +
           point + sand + "0\n0\n",
       "point source 1, row 1: the mass of one particle must be above 0"},
      {"1\n1 2 'a'\n" + first + point + sand + first + point +
           " 1e-30 0 0 1e9 0.0002 0 2650 -1 0 0\n0\n0\n0\n",
       "instantaneous source 1, row 2: too many particles"},
      {"0\n1\n1 2 'a'\n" + first + point + " 1e-8 0 0 1e6 0.0002 0 2650 -1 0 0\n" +
           at_second(3600) + point + sand + "0\n0\n",
       "point source 1, row 1: too many particles"},
  };
  for (const Case& c : cases) {
    EXPECT_EXIT(
        {
          SourceRun s(true);
          s.read(c.text);
        },
        testing::ExitedWithCode(0), c.message)
        << c.text;
  }
}

TEST(SourceFile, OddButUsableValuesAreTakenWithAWarningInTheEchoFile) {
  SourceRun s;
  // 36 hours and 90 seconds after 31 May; a source number beyond 2 bytes.
  s.read("1\n40000 1 'a'\n2020 5 31 36 0 90 50 50 1" + sand + "0\n0\n0\n");
  EXPECT_EQ(s.run.parcels.SRCinst(1).SRCid, 40000);
  EXPECT_EQ(s.run.parcels.SRCinst(1).SRCrow(1).ROWtime,
            s.run.settings.start_run + 12.0 * 3600.0 + 90.0);
  const std::string echo = test::read_text(s.folder.path("t.input"));
  for (const char* text :
       {"sources.txt:2: parcels of source 40000 carry its number in 2 bytes, -25536\n",
        "sources.txt:3: expected an hour from 0 to 24, found 36, which is counted on\n",
        "sources.txt:3: expected a second from 0 to 60, found 90, which is counted on\n"}) {
    EXPECT_NE(echo.find(text), std::string::npos) << text << echo;
  }
}

TEST(SourceFile, WarnsWhenTheLastRowDoesNotPassTheEndOfTheRun) {
  const auto rows = [](int last, const char* position) {
    return "1 2 'a'\n" + at_second(0) + position + sand + at_second(last) + position + sand;
  };
  SourceRun s;
  s.read("0\n2\n" + rows(1001, "50 50 0") + rows(1000, "50 50 0") + "1\n" +
         rows(900, "1 1 0 9 9 0") + "0\n");
  std::fflush(s.run.messages.error_file);
  EXPECT_EQ(
      test::lines_of(test::read_text(s.folder.path("t.err"))),
      (std::vector<std::string>{
          "", "WARNING: Last instruction from point source does not exceed duration of run     2",
          "", "WARNING: Last instruction from line source does not exceed duration of run     1"}));
}

TEST(SourceFile, AreasInTheThreePlanesHaveTheirArea) {
  SourceRun s;
  const auto area = [](const char* vertices) {
    return "1 4 1 'a'\n" + at_second(2000) + "\n" + vertices + " 1 0 0 1 0.0002 0 2650 -1 0 0\n";
  };
  s.read("0\n0\n0\n3\n" + area("10 10 1\n14 10 1\n14 13 1\n10 13 1\n") +
         area("10 10 1\n14 10 1\n14 10 6\n10 10 6\n") +
         area("10 10 1\n10 13 1\n10 13 3\n10 10 3\n"));
  const Array<SourceRecord>& areas = s.run.parcels.SRCarea;
  const float expected[] = {12.0f, 20.0f, 6.0f};
  for (int i = 1; i <= 3; ++i) {
    EXPECT_FLOAT_EQ(areas(i).SRCarea_m2(1), expected[i - 1]);
    EXPECT_EQ(is_true(areas(i).SRCplaneXY(1)), i == 1);
    EXPECT_EQ(is_true(areas(i).SRCplaneXZ(1)), i == 2);
    EXPECT_EQ(is_true(areas(i).SRCplaneYZ(1)), i == 3);
  }
}

// A point source with one row at each of the given times.
struct Row {
  int second;
  float rate;
};
std::string point_source(const std::vector<Row>& rows, const std::string& mass = "1") {
  std::string text = "0\n1\n1 " + std::to_string(rows.size()) + " 'p'\n";
  for (const Row& row : rows) {
    text += at_second(row.second) + "50 50 1 " + mass + " 0 0 " + std::to_string(row.rate) +
            " 0.0002 0 2650 -1 0 0\n";
  }
  return text + "0\n0\n";
}

TEST(Counts, ReleaseTheMassThatTheRateAsksFor) {
  // Steps of 10 s from 0 to 1000 s, the last one included.
  const struct {
    const char* name;
    std::vector<Row> rows;
    std::string mass;
    int parcels;
  } cases[] = {
      {"one row has no next one", {{0, 1.0f}}, "1", 0},
      {"constant rate over 101 steps", {{0, 0.5f}, {5000, 0.5f}}, "2", 252},  // 505 kg
      {"interval inside the run", {{100, 0.5f}, {400, 0.5f}}, "0.5", 300},
      {"ends between steps", {{100, 1.0f}, {125, 1.0f}}, "1", 25},
      {"starts between steps, from the first step inside", {{101, 1.0f}, {141, 1.0f}}, "1", 31},
      {"ramp: 0 to 1 kg/s in 400 s", {{0, 0.0f}, {400, 1.0f}}, "1", 200},
      {"three rows, 0.7 parcels left in the first are lost",
       {{0, 0.067f}, {100, 0.05f}, {200, 0.05f}},
       "1",
       10},  // 5.85 and 5.0
      {"before and after the run", {{2000, 1.0f}, {3000, 1.0f}}, "1", 0},
      {"rows out of order are never active", {{500, 1.0f}, {300, 1.0f}}, "1", 0},
      {"no rate", {{0, 0.0f}, {2000, 0.0f}}, "1", 0},
      {"no rate and no mass", {{0, 0.0f}, {2000, 0.0f}}, "0", 0},
  };
  for (const auto& c : cases) {
    SourceRun s;
    const std::array<int, 2> before = s.run.parcels.random.state;
    s.read(point_source(c.rows, c.mass));
    EXPECT_EQ(s.run.parcels.random.state, before);  // grains of one size draw no numbers
    EXPECT_EQ(s.run.parcels.NUMparcels, c.parcels) << c.name;
    int grains = 0;
    for (const Instruction& row : s.run.parcels.SRCpoint(1).SRCrow) grains += row.ROWgrains.size();
    EXPECT_EQ(grains, c.parcels) << c.name;
    // What the count has used is put back for the releases.
    EXPECT_EQ(s.run.parcels.SRCpoint(1).SRCcum(1), 0.0f);
    EXPECT_EQ(s.run.parcels.SRCpoint(1).SRCrow(1).ROWreleased, 0.0f);
  }
}

TEST(Counts, InstantaneousRowsOutsideTheRunKeepTheirTimeAndHaveNoParcels) {
  SourceRun s;
  s.read("1\n1 3 'i'\n2020 5 31 23 59 59 50 50 0" + sand + at_second(1000) + "50 50 0 0.1 0 0 1" +
         " 0.0002 0 2650 -1 0 0\n" + at_second(1001) + "50 50 0" + sand + "0\n0\n0\n");
  const SourceRecord& source = s.run.parcels.SRCinst(1);
  EXPECT_EQ(source.SRCrow(1).ROWtime, s.run.settings.start_run - 1.0);
  EXPECT_EQ(source.SRCrow(1).ROWreleased, 0.0f);
  EXPECT_EQ(source.SRCrow(2).ROWreleased, 10.0f);
  EXPECT_EQ(source.SRCrow(3).ROWreleased, 0.0f);
  EXPECT_EQ(s.run.parcels.NUMparcels, 10);
}

TEST(Counts, GrainSizeFollowsTheInterpolatedMedian) {
  SourceRun s;
  s.read("0\n1\n1 2 'p'\n" + at_second(0) + "50 50 1 1 0 0 0.1 0.0001 0 2650 -1 0 0\n" +
         at_second(100) + "50 50 1 1 0 0 0.1 0.0003 0 2650 -1 0 0\n0\n0\n");
  const Array<float>& grains = s.run.parcels.SRCpoint(1).SRCrow(1).ROWgrains;
  ASSERT_EQ(grains.size(), 10);
  for (int i = 1; i <= 10; ++i) {
    // Middle of the i-th step of ten.
    EXPECT_NEAR(grains(i), 0.0001f + 0.0002f * (static_cast<float>(i) - 0.5f) / 10.0f, 1.0e-9f);
  }
}

TEST(Counts, TimesStartWhereTheLoopWouldBe) {
  // A jump to a row's time has to land on the very times of the loop, to the last bit.
  for (double dt : {10.0, 0.5, 0.1, 1.0 / 3.0, 0.0014, 0.0016, 3600.0}) {
    Settings settings;
    settings.time_step = dt;
    settings.start_run = DATE_TO_SECONDS(REFyear, {2020, 6, 1, 0, 0, 0, 0}) + 0.125;
    for (double after : {-5.0, 0.0, 7.0, 123.4567, 700.0}) {
      const double t = settings.start_run + after * dt;
      const double jumped = loop_time_before(settings, t);
      double Tnow = settings.start_run - dt;
      bool met = jumped == Tnow;
      while (!met && Tnow < t) {
        Tnow = SNAP_TIME(Tnow, settings.start_run) + dt;
        met = jumped == Tnow;
      }
      EXPECT_TRUE(met) << dt << " " << after;
      EXPECT_TRUE(jumped < t || jumped == settings.start_run - dt) << dt << " " << after;
      EXPECT_GT(jumped, t - 8.0 * dt - 0.01) << dt << " " << after;  // a jump, not a walk
      if (after < 0.0) break;
    }
  }
}

TEST(CountsDeath, TimeStepBelowTheMillisecondGridIsRefused) {
  EXPECT_EXIT(
      {
        SourceRun s(true);
        s.run.settings.time_step = 0.0004;
        s.read(point_source({{0, 1.0f}, {2000, 1.0f}}));
      },
      testing::ExitedWithCode(0), "the time step is too short");
}

TEST(GrainSizes, AreFormedInFourBytesBehindTheOffset) {
  RandomStream random, copy;
  seed_generator(random, 5, 6);
  copy = random;
  constexpr int n = 1000, offset = 3;
  Array<float> table;
  table.allocate(n + offset, -1.0f);
  GRAIN_SIZES(random, false, n, offset, 2650.0f, 0.00025f, 0.4f, false, table);
  EXPECT_EQ(table(offset), -1.0f);
  const float phi50 = -(std::log(0.00025f * 1000.0f) / std::log(2.0f));
  for (int i = 1; i <= n; ++i) {
    const float g = static_cast<float>(GAUSS_NUMBER(copy));
    ASSERT_EQ(table(offset + i), std::pow(2.0f, -(phi50 + g * (0.4f * 0.4f))) / 1000.0f) << i;
  }
}

TEST(GrainSizes, ByWeightBringsHalfTheMassBelowTheMedian) {
  const auto share_below = [](bool by_weight) {
    RandomStream random;
    seed_generator(random, 5, 6);
    Array<float> table;
    table.allocate(200000);
    GRAIN_SIZES(random, false, 200000, 0, 2650.0f, 0.0002f, 0.5f, by_weight, table);
    double total = 0.0, below = 0.0;
    for (float d : table) {
      const double mass = std::pow(static_cast<double>(d), 3.0);
      total += mass;
      if (d < 0.0002f) below += mass;
    }
    return below / total;
  };
  // The large grains weigh most. With a spread of 0.25 phi, weighting by mass moves the median by
  // 3 ln 2 times 0.0625 = 0.13 phi or 0.52 deviations; nine steps of 1 % make up for it.
  EXPECT_NEAR(share_below(false), 0.3016, 0.005);
  EXPECT_NEAR(share_below(true), 0.5, 0.011);
}

TEST(GrainSizes, ByWeightGivesUpAfterTenRounds) {
  // One grain has all the mass below or above the median, so that no round is good enough.
  RandomStream random, counted;
  seed_generator(random, 5, 6);
  counted = random;
  Array<float> table;
  table.allocate(1);
  GRAIN_SIZES(random, false, 1, 0, 2650.0f, 0.0002f, 0.5f, true, table);
  for (int i = 0; i < 10; ++i) GAUSS_NUMBER(counted);
  EXPECT_EQ(random.state, counted.state);
  EXPECT_EQ(random.gauss_kept, counted.gauss_kept);
}

TEST(GrainSizes, WideSpreadsAreCutAndDebugGivesTheMedian) {
  struct Case {
    float sigma, limit;  // of the normal deviate
    bool debug;
  };
  for (const Case& c : {Case{1.0f, 6.0f, false}, Case{2.5f, 3.0f, false}, Case{3.5f, 0.5f, false},
                        Case{4.5f, 0.0f, false}, Case{1.0f, 0.0f, true}}) {
    RandomStream random;
    Array<float> table;
    table.allocate(5000);
    GRAIN_SIZES(random, c.debug, 5000, 0, 2650.0f, 0.001f, c.sigma, false, table);
    double widest = 0.0;
    for (float d : table) {
      widest = std::max(widest, std::abs(std::log2(static_cast<double>(d) * 1000.0)));
    }
    const double reach = static_cast<double>(c.limit * c.sigma * c.sigma);
    EXPECT_LE(widest, reach + 1.0e-5) << c.sigma;
    if (c.limit < 1.0f) {
      EXPECT_NEAR(widest, reach, 1.0e-5) << c.sigma;
    }
  }
}

}  // namespace
}  // namespace dfl
