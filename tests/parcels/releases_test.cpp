#include "parcels/releases.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "parcels/kinematics.h"
#include "parcels/random_stream.h"
#include "parcels/source_counts.h"
#include "parcels/source_run.h"
#include "sediment/primitives.h"

namespace dfl {
namespace {

using test::at_second;
using test::SourceRun;

// Sections of a file with sources of one kind only; `source` from its head on.
std::string inst(const std::string& source) {
  return "1\n1 1 'i'\n" + source + "0\n0\n0\n";
}
std::string point(const std::string& rows, int count = 2) {
  return "0\n1\n1 " + std::to_string(count) + " 'p'\n" + rows + "0\n0\n";
}
std::string line(const std::string& rows, const std::string& datum = "") {
  return "0\n0\n1\n1 2 'l' " + datum + "\n" + rows + "0\n";
}
// Both rows of a line at one place, from 0 s to 5000 s. end: z scatter to TAUcd.
std::string steady_line(const std::string& place, const std::string& end,
                        const std::string& datum = "") {
  return line(at_second(0) + place + " " + end + "\n" + at_second(5000) + place + " " + end + "\n",
              datum);
}
std::string steady_area(const std::string& vertices, int count, const std::string& end) {
  const std::string body = "\n" + vertices + end + "\n";
  return "0\n0\n0\n1\n1 " + std::to_string(count) + " 2 'a'\n" + at_second(0) + body +
         at_second(5000) + body;
}

TEST(Releases, AllKindsReleaseExactlyWhatWasCounted) {
  SourceRun s;
  const std::string end = " 0 0.013 0.0002 0.3 2650 -1 0 0\n";
  s.read("1\n1 2 'i'\n" + at_second(15) + "50 50 1 0.7 1 0.1 20" + " 0.0002 0.3 2650 -1 0 0\n" +
         at_second(995) + "50 50 1 0.7 1 0.1 20 0.0002 0.3 2650 -1 0 0\n" + "1\n2 3 'p'\n" +
         at_second(3) + "50 50 1 0.3 2 0 0.1 0.0002 0.3 2650 -1 0 0\n" + at_second(303) +
         "60 50 1 0.3 2 0 0.9 0.0002 0.3 2650 -1 0 0\n" + at_second(777) +
         "60 50 1 0.3 2 0 0.2 0.0002 0.3 2650 -1 0 0\n" + "1\n3 2 'l'\n" + at_second(0) +
         "10 10 1 40 50 1 0.3 1" + end + at_second(4000) + "20 10 1 40 70 1 0.3 1" + end +
         "1\n4 3 2 'a'\n" + at_second(0) + "\n10 10 1\n50 10 1\n10 50 1\n0.3 1" + end +
         at_second(4000) + "\n10 10 1\n60 10 1\n10 60 1\n0.3 1" + end);
  int asked = 0;
  while (s.run.clock.Tnow < s.run.settings.stop_run) {
    s.step();
    asked += s.run.parcels.NUMnew;
  }
  EXPECT_GT(s.run.parcels.NUMborn, 1000);
  EXPECT_EQ(s.run.parcels.NUMborn, s.run.parcels.NUMparcels);
  EXPECT_EQ(asked, s.run.parcels.NUMborn);
  int of_source[5] = {};
  for (int id = 1; id <= s.run.parcels.NUMborn; ++id) {
    const Parcel& parcel = s.parcel(id);
    ++of_source[parcel.SOURCE];
    ASSERT_TRUE(is_true(parcel.ALIVE));
    ASSERT_TRUE(in_element(s.run.mesh, parcel.ELEMENT, parcel.X, parcel.Y));
    ASSERT_EQ(parcel.LOSS, 0);
  }
  EXPECT_EQ(of_source[1], 56);  // 20 kg in parcels of 0.7 kg, twice
  // The line: 0.013 kg/s/m over a length of 50 m at first and 52.7 m at 1010 s.
  EXPECT_NEAR(of_source[3] * 0.3, 0.013 * 1010.0 * 51.35, 0.002 * 674.0);
  // The area does not grow with its vertices: the rate is per area of row 1, 800 m2.
  EXPECT_NEAR(of_source[4] * 0.3, 0.013 * 1010.0 * 800.0, 20.0);
}

TEST(Releases, InstantaneousRowFiresOnceAndFractionsCarryOver) {
  const std::string quarter = "50 50 1 4 0 0 0.1 0.0002 0 2650 -1 0 0\n";  // parcels a step
  const std::pair<std::string, std::vector<int>> cases[] = {
      {inst(at_second(15) + "50 50 1 1 0 0 7 0.0002 0 2650 -1 0 0\n"), {0, 0, 7, 7, 7}},
      {point(at_second(0) + quarter + at_second(5000) + quarter), {0, 0, 0, 1, 1, 1, 1, 2}}};
  for (const auto& [text, expected] : cases) {
    SourceRun s;
    s.read(text);
    for (int born : expected) {  // at 0, 10, 20 ... s
      s.step();
      EXPECT_EQ(s.run.parcels.NUMborn, born);
    }
    if (s.run.parcels.NUMinst == 0) continue;
    EXPECT_EQ(s.run.parcels.SRCinst(1).SRCrow(1).ROWtime, -999.0);
    EXPECT_EQ(s.run.parcels.NUMnew, 0);
  }
}

TEST(Releases, RateAndFractionAreThoseOfTheMiddleOfTheStep) {
  SourceRecord source;
  source.SRCrows = 2;
  source.SRCrow.allocate(2);
  source.SRCrow(1).ROWtime = 1000.0;
  source.SRCrow(2).ROWtime = 1100.0;
  source.SRCrow(1).ROWrate = 2.0f;
  source.SRCrow(2).ROWrate = 4.0f;
  struct Case {
    double Tnow;
    bool active;
    float f, length;
  };
  for (const Case& c : {Case{999.0, false, 0.0f, 0.0f}, Case{1000.0, true, 0.05f, 10.0f},
                        Case{1050.0, true, 0.55f, 10.0f}, Case{1090.0, true, 0.95f, 10.0f},
                        // The interval ends in 4 s: the middle and the length are of that part.
                        Case{1096.0, true, 0.98f, 4.0f}, Case{1100.0, false, 0.0f, 0.0f}}) {
    RowMoment moment;
    EXPECT_EQ(row_moment(source, 1, c.Tnow, 10.0, moment), c.active) << c.Tnow;
    EXPECT_FALSE(row_moment(source, 2, c.Tnow, 10.0, moment));
    if (!c.active) continue;
    EXPECT_FLOAT_EQ(moment.f, c.f);
    EXPECT_FLOAT_EQ(moment.length, c.length);
    EXPECT_FLOAT_EQ(moment.Q, 2.0f + 2.0f * c.f);
  }
}

TEST(Releases, PointMovesBetweenItsRowsAndItsDensityWithIt) {
  SourceRun s;
  s.read(point(at_second(0) + "10 90 1 1 0 0 0.1 0.0002 0 2600 0.01 0 0\n" + at_second(100) +
               "30 50 3 1 0 0 0.1 0.0002 0 2700 0.01 0 0\n"));
  for (int i = 0; i < 10; ++i) s.step();
  ASSERT_EQ(s.run.parcels.NUMborn, 10);
  for (int i = 1; i <= 10; ++i) {
    const double f = (i - 0.5) / 10.0;
    EXPECT_NEAR(s.parcel(i).X, 10.0 + 20.0 * f, 1.0e-4);
    EXPECT_NEAR(s.parcel(i).Y, 90.0 - 40.0 * f, 1.0e-4);
    EXPECT_NEAR(s.parcel(i).h, 1.0f + 2.0f * static_cast<float>(f), 1.0e-5f);
    EXPECT_NEAR(s.parcel(i).RHOs, 2600.0f + 100.0f * static_cast<float>(f), 1.0e-3f);
  }
}

TEST(Releases, HeightIsHeldBetweenTheBedAndTheSurface) {
  struct Case {
    const char* name;
    bool datum;
    const char* z;
    float h, Z;
    bool dormant;
  };
  // Depth 10 m, bed 8 m below datum, so that the surface stands at 2 m. hf: three quarters of a D90
  // that 4 bytes hold exactly.
  const float D90 = 0.00048828125f, hf = 0.0003662109375f;
  const Case cases[] = {
      {"above the bed", false, "2.5", 2.5f, -5.5f, false},
      {"on the bed", false, "0", hf, hf - 8.0f, true},
      {"exactly at hf", false, "0.0003662109375", hf, hf - 8.0f, true},
      {"just above hf", false, "0.00036622", 0.00036622f, 0.00036622f - 8.0f, false},
      {"below the bed", false, "-4", hf, hf - 8.0f, true},
      {"above the surface", false, "50", 10.0f, 2.0f, false},
      {"elevation", true, "-2.5", 5.5f, -2.5f, false},
      {"elevation under the bed", true, "-9", hf, hf - 8.0f, true},
      {"elevation above the surface", true, "3", 10.0f, 2.0f, false},
  };
  for (const Case& c : cases) {
    SourceRun s;
    s.run.settings.source_to_datum = c.datum;
    s.run.sediment.D90.fill(D90);
    s.read(inst(at_second(0) + "50 50 " + c.z + " 1 0 0 1 0.0002 0 2650 -1 0 0\n"));
    s.step();
    EXPECT_NEAR(s.parcel(1).h, c.h, 1.0e-6f) << c.name;
    EXPECT_NEAR(s.parcel(1).Z, c.Z, 1.0e-5f) << c.name;
    EXPECT_EQ(is_true(s.parcel(1).DORMANT), c.dormant) << c.name;
    EXPECT_EQ(s.parcel(1).MOBILITY, c.dormant ? 0.0f : 1.0f) << c.name;
  }
}

TEST(Releases, GivenPropertiesAreKeptAndMissingOnesAreFormed) {
  struct Case {
    const char* kind;
    float ws, taucr, taucd;
    bool given;
  };
  const float rho = 1025.0f, nu = 1.2e-6f, D = 0.0002f, RHOs = 2650.0f;
  const float tau = TAUCR_SOULSBY(rho, RHOs, nu, D), Ws = FALL_VELOCITY(nu, rho, RHOs, D);
  // The mark of a given stress follows TAUcd of an instantaneous row, TAUcr of the others.
  const Case cases[] = {{"inst", -1.0f, 0.0f, 0.0f, false},
                        {"inst", 0.0f, 0.5f, 0.0f, false},
                        {"inst", 0.02f, 0.0f, 0.25f, true},
                        {"point", -1.0f, 0.0f, 0.25f, false},
                        {"point", 0.02f, 0.5f, -1.0f, true}};
  for (const Case& c : cases) {
    SourceRun s;
    s.run.parcels.TAUgiven = !c.given;
    const std::string end = " 0.0002 0 2650 " + std::to_string(c.ws) + " " +
                            std::to_string(c.taucr) + " " + std::to_string(c.taucd) + "\n";
    const std::string row = "50 50 1 1 0 0 1" + end;
    s.read(std::string(c.kind) == "inst" ? inst(at_second(0) + row)
                                         : point(at_second(0) + row + at_second(5000) + row));
    s.step();
    ASSERT_GE(s.run.parcels.NUMborn, 1);
    const Parcel& parcel = s.parcel(1);
    EXPECT_EQ(parcel.Ws, c.ws < 0.0f ? Ws : c.ws);
    EXPECT_EQ(parcel.TAUcr, c.taucr > 0.0f ? c.taucr : tau);
    EXPECT_EQ(parcel.TAUcd, c.taucd > 0.0f ? c.taucd : tau);
    EXPECT_EQ(s.run.parcels.TAUgiven, c.given);
    EXPECT_EQ(parcel.MASS, 1.0f);
    EXPECT_EQ(parcel.D, D);
  }
}

TEST(Releases, NeutrallyBuoyantParcelTakesTheWaterDensityAndDoesNotSink) {
  SourceRun s;
  s.run.settings.neutrally_buoyant = true;
  s.read(inst(at_second(0) + "50 50 1 1 0 0 1 0.0002 0 2650 -1 0 0\n"));
  s.step();
  EXPECT_EQ(s.parcel(1).RHOs, 1025.0f);
  EXPECT_EQ(s.parcel(1).Ws, 0.0f);
  EXPECT_EQ(s.parcel(1).TAUcr, 1.0e-6f);
}

TEST(Releases, PlacesAreFormedInFourBytesWhileParcelsKeepEight) {
  SourceRun s;
  s.read("1\n1 1 'i'\n" + at_second(0) + "50.1 40.3 5.7 1 3.3 0.7 100 0.0002 0 2650 0.01 0 0\n" +
         "0\n1\n2 2 'l'\n" + at_second(0) + "10.1 20.7 1 40.3 60.9 1 1 0.7 0 0.1 0.0002 0 2650" +
         " 0.01 0 0\n" + at_second(5000) + "10.1 20.7 1 40.3 60.9 1 1 0.7 0 0.1 0.0002 0 2650" +
         " 0.01 0 0\n0\n");
  RandomStream copy = s.run.parcels.random;
  s.step();
  const auto deviate = [&] {
    return static_cast<float>(std::min(std::max(GAUSS_NUMBER(copy), -6.0), 6.0));
  };
  ASSERT_GT(s.run.parcels.NUMborn, 110);
  for (int id = 1; id <= 100; ++id) {
    const float g1 = deviate(), g2 = deviate(), g3 = deviate();
    ASSERT_EQ(s.parcel(id).X, static_cast<double>(g1 * 3.3f + 50.1f)) << id;
    ASSERT_EQ(s.parcel(id).Y, static_cast<double>(g2 * 3.3f + 40.3f)) << id;
    ASSERT_EQ(s.parcel(id).h, g3 * 0.7f + 5.7f) << id;
  }
  std::array<float, 2> chain = {0.3f, 0.7f};
  // Not from literals, whose sine the compiler would work out with more digits.
  const Array2<double>& ends = s.run.parcels.SRCline(1).SRCpos;
  const float dx = static_cast<float>(ends(1, 4)) - 10.1f;
  const float dy = static_cast<float>(ends(1, 5)) - 20.7f, a = std::atan2(dy, dx);
  for (int id = 101; id <= s.run.parcels.NUMborn; ++id) {
    seed_generator(copy, static_cast<int>(chain[1] * 2.0e6f), static_cast<int>(chain[0] * 1.0e6f));
    for (float& r : chain) r = UNIFORM_NUMBER(copy);
    const float g1 = deviate(), g2 = deviate();
    ASSERT_EQ(s.parcel(id).X, static_cast<double>(dx * chain[0] + 10.1f + std::sin(a) * 0.7f * g1));
    ASSERT_EQ(s.parcel(id).Y, static_cast<double>(dy * chain[0] + 20.7f + std::cos(a) * 0.7f * g1));
    if (const float wanted = g2 * 0.7f + 1.0f; wanted > 0.01f) {  // else on the bed
      ASSERT_EQ(s.parcel(id).h, wanted) << id;
    }
  }
}

TEST(Releases, ParcelScatteredOffTheMeshIsDrawnAgain) {
  SourceRun s;
  s.read(inst(at_second(0) + "0 50 1 1 5 0 2000 0.0002 0 2650 -1 0 0\n"));
  s.step();
  double sum = 0.0;
  for (int id = 1; id <= 2000; ++id) {
    EXPECT_GE(s.parcel(id).X, 0.0);
    sum += s.parcel(id).X;
  }
  // Mean of half a normal distribution: sqrt(2 / pi) times 5.
  EXPECT_NEAR(sum / 2000.0, 3.989, 5.0 * 3.014 / std::sqrt(2000.0));
}

TEST(Releases, DebugPutsParcelsOnTheRowsOwnPlaceWithoutDraws) {
  SourceRun s;
  s.run.settings.debug = true;
  const std::string line_row = "10 20 1 40 60 1 1 5 0 0.01 0.0002 0 2650 -1 0 0\n";
  const std::string area_row =
      "\n10 10 1\n30 10 1\n30 20 1\n10 20 1\n1 5 0 0.001 0.0002 0 2650 -1 0 0\n";
  s.read("1\n1 1 'i'\n" + at_second(0) + "50 60 1 1 5 1 3 0.0002 0.5 2650 -1 0 0\n0\n1\n1 2 'l'\n" +
         at_second(0) + line_row + at_second(5000) + line_row + "1\n1 4 2 'a'\n" + at_second(0) +
         area_row + at_second(5000) + area_row);
  const std::array<int, 2> state = s.run.parcels.random.state;
  s.step();
  ASSERT_EQ(s.run.parcels.NUMborn, 3 + 5 + 2);
  const double x[] = {50.0, 10.0, 20.0}, y[] = {60.0, 20.0, 15.0};
  const int id[] = {3, 8, 10};
  for (int k = 0; k < 3; ++k) {
    EXPECT_EQ(s.parcel(id[k]).X, x[k]);
    EXPECT_EQ(s.parcel(id[k]).Y, y[k]);
    EXPECT_EQ(s.parcel(id[k]).h, 1.0f);
    EXPECT_NEAR(s.parcel(id[k]).D, 0.0002f, 1.0e-10f);  // through a logarithm and back
  }
  EXPECT_EQ(s.run.parcels.random.state, state);
}

TEST(LineReleases, DatumWordsPlaceTheHeight) {
  const struct {
    const char* name;
    const char* place;
    const char* datum;
    bool source_to_datum;
    float lowest, highest;  // heights that are filled evenly, or one height
    int parcels;            // of 0.1 kg/s/m, or kg/s, in parcels of 0.1 kg over 1010 s
  } cases[] = {
      {"level, bed", "20 20 4 50 60 4", "", false, 4.0f, 4.0f, 50500},
      {"level, elevation", "20 20 -2 50 60 -2", "beddatum", true, 6.0f, 6.0f, 50500},
      {"level, surface", "20 20 3 50 60 3", "surfacedatum", false, 7.0f, 7.0f, 50500},
      {"level, below all depths", "20 20 30 50 60 30", "surfacedatum", false, 0.0003f, 0.0003f,
       50500},
      {"level, half depth", "20 20 0.5 50 60 0.5", "depthdistributed", false, 5.0f, 5.0f, 1010},
      {"vertical, bed", "20 20 2 20 20 6", "", false, 2.0f, 6.0f, 4040},
      {"vertical, depth", "20 20 0.2 20 20 0.6", "depthdistributed", false, 2.0f, 6.0f, 1010},
      {"vertical, surface", "20 20 2 20 20 6", "surfacedatum", false, 4.0f, 8.0f, 4040},
  };
  for (const auto& c : cases) {
    SourceRun s;
    s.run.settings.source_to_datum = c.source_to_datum;
    s.read(steady_line(c.place, "0.1 0 0 0.1 0.0002 0 2650 0.01 0 0", c.datum));
    s.run_all();
    const int n = s.run.parcels.NUMborn;
    EXPECT_NEAR(n, c.parcels, 2) << c.name;  // sums of 4-byte steps
    float lowest = 100.0f, highest = 0.0f;
    double sum = 0.0;
    for (int id = 1; id <= n; ++id) {
      lowest = std::min(lowest, s.parcel(id).h);
      highest = std::max(highest, s.parcel(id).h);
      sum += static_cast<double>(s.parcel(id).h);
    }
    const float range = c.highest - c.lowest;
    EXPECT_NEAR(lowest, c.lowest, 0.02f * range + 1.0e-5f) << c.name;
    EXPECT_NEAR(highest, c.highest, 0.02f * range + 1.0e-5f) << c.name;
    EXPECT_NEAR(sum / n, static_cast<double>(c.lowest + c.highest) / 2.0,
                5.0 * static_cast<double>(range) / std::sqrt(12.0 * n) + 1.0e-5)
        << c.name;
  }
}

TEST(LineReleasesDeath, UnfitLinesStopTheRun) {
  const struct {
    const char *place, *datum;
    bool source_to_datum;
    const char* message;
  } cases[] = {
      {"20 20 4 50 60 5", "", false, "ERROR:  \\*\\*\\* Line source not in a plane     1     1"},
      {"20 20 4 50 60 4", "surfacedatum", true,
       "ERROR: SOURCE_DATUM not available with surfacedatum source type"},
      {"20 20 1 50 60 1", "depthdistributed", true,
       "ERROR: SOURCE_DATUM not available with depthdistributed source type"},
  };
  for (const auto& c : cases) {
    EXPECT_EXIT(
        {
          SourceRun s(true);
          s.run.settings.source_to_datum = c.source_to_datum;
          s.read(steady_line(c.place, "1 0 0 0.1 0.0002 0 2650 0.01 0 0", c.datum));
          s.step();
        },
        testing::ExitedWithCode(0), c.message);
  }
}

TEST(AreaReleases, FillTheirPlaneEvenlyWithScatterAcrossAnUprightOne) {
  const struct {
    const char* vertices;
    int count;
    std::array<double, 3> low, high, mean;  // of x, y and height; the triangle is right-angled
  } cases[] = {{"10 10 2\n70 10 2\n10 70 2\n", 3, {10, 10, 2}, {70, 70, 2}, {30, 30, 2}},
               {"40 20 2\n40 60 2\n40 60 6\n40 20 6\n", 4, {40, 20, 2}, {40, 60, 6}, {40, 40, 4}},
               {"20 40 2\n60 40 2\n60 40 6\n20 40 6\n", 4, {20, 40, 2}, {60, 40, 6}, {40, 40, 4}}};
  for (const auto& c : cases) {
    const bool triangle = c.count == 3;
    SCOPED_TRACE(c.vertices);
    SourceRun s;
    s.read(steady_area(
        c.vertices, c.count,
        triangle ? "1 0 0 0.01 0.0002 0 2650 0.01 0 0" : "1 0.5 0 0.05 0.0002 0 2650 0.01 0 0"));
    s.run_all();
    const int n = s.run.parcels.NUMborn;
    ASSERT_NEAR(n, triangle ? 18180 : 8080, 1);
    std::array<double, 3> sum = {}, squares = {};
    int corner = 0;
    for (int id = 1; id <= n; ++id) {
      const Parcel& p = s.parcel(id);
      const std::array<double, 3> at = {p.X, p.Y, static_cast<double>(p.h)};
      for (std::size_t k = 0; k < 3; ++k) {
        sum[k] += at[k];
        squares[k] += (at[k] - c.mean[k]) * (at[k] - c.mean[k]);
        const bool scattered = !triangle && k < 2 && c.low[k] == c.high[k];
        ASSERT_TRUE(scattered || (at[k] >= c.low[k] && at[k] <= c.high[k])) << k << " " << at[k];
      }
      ASSERT_TRUE(!triangle || p.X + p.Y <= 80.0 + 1.0e-4);
      if (p.X < 40.0 && p.Y < 40.0) ++corner;  // half of the triangle
    }
    for (std::size_t k = 0; k < 3; ++k) {
      const double width = c.high[k] - c.low[k];
      // Variance of an even spread; 0.5 is the scatter.
      const double deviation = width > 0.0 ? width / std::sqrt(triangle ? 18.0 : 12.0) : 0.5;
      EXPECT_NEAR(sum[k] / n, c.mean[k], 5.0 * deviation / std::sqrt(n)) << k;
      if (triangle && k == 2) continue;  // no height but one
      EXPECT_NEAR(std::sqrt(squares[k] / n), deviation, 5.0 * deviation / std::sqrt(2.0 * n)) << k;
    }
    if (triangle) {
      EXPECT_NEAR(corner / static_cast<double>(n), 0.5, 2.5 / std::sqrt(n));
    }
  }
}

TEST(AreaReleasesDeath, HopelessDrawsEndWithSourceAndRow) {
  // The polygon of row 1 is left behind by the box of the moment, so that no draw falls into it.
  const std::string end = "1 0 0 0.01 0.0002 0 2650 0.01 0 0\n";
  const std::string text = "0\n0\n0\n1\n1 3 2 'a'\n" + at_second(0) +
                           "\n10 10 1\n20 10 1\n10 20 1\n" + end + at_second(1000) +
                           "\n80 80 1\n90 80 1\n80 90 1\n" + end;
  EXPECT_EXIT(
      {
        SourceRun s(true);
        s.read(text);
        s.run_all();
      },
      testing::ExitedWithCode(0),
      "No position found for a particle of area source, row     1     1");
  // With debug the point is the middle of the box, here in the notch of the polygon.
  EXPECT_EXIT(
      {
        SourceRun s(true);
        s.run.settings.debug = true;
        s.read(steady_area("10 10 1\n50 10 1\n12 12 1\n10 50 1\n", 4, end));
        s.step();
      },
      testing::ExitedWithCode(0), "No position found for a particle of area source");
}

TEST(Releases, StillShipRunsItsPropellersWhileAPointSourceHasARate) {
  SourceRun s;
  s.read(point(at_second(0) + "50 50 1 1 0 0 0.1 0.0002 0 2650 -1 0 0\n" + at_second(20) +
                   "50 50 1 1 0 0 0 0.0002 0 2650 -1 0 0\n" + at_second(500) +
                   "50 50 1 1 0 0 0 0.0002 0 2650 -1 0 0\n",
               3));
  s.step();
  EXPECT_FALSE(s.run.ships.SHIPrunning);  // the ship is not known to stay in place
  s.run.ships.SHIPstill = true;
  s.step();
  EXPECT_TRUE(s.run.ships.SHIPrunning);
  s.step();
  EXPECT_FALSE(s.run.ships.SHIPrunning);
}

bool inside_polygon(const std::array<double, 8>& corners, Plane plane, double x, double y) {
  Array2<double> position;
  position.allocate(2, 1, 12, 99.0);
  const int u = plane == Plane::yz ? 2 : 1, v = plane == Plane::xy ? 2 : 3;
  for (int i = 0; i < 4; ++i) {
    position(2, 3 * i + u) = corners[static_cast<std::size_t>(2 * i)];
    position(2, 3 * i + v) = corners[static_cast<std::size_t>(2 * i) + 1];
  }
  return INPOLYm(static_cast<float>(x), static_cast<float>(y), position, 2, 4, plane);
}

TEST(PointInPolygon, EdgesAndVerticesOfASquareAndOfADiamond) {
  // Right and top edge of the square belong to it, left and bottom do not; the slanted edges of the
  // diamond all do.
  const struct {
    double x, y;
    bool square, diamond;
  } cases[] = {
      {2, 2, true, true},    {0.5, 0.5, true, false}, {3.9, 2, true, true},  {5, 2, false, false},
      {-1, 2, false, false}, {2, 5, false, false},    {2, -1, false, false}, {5, 5, false, false},
      {4, 2, true, true},    {2, 4, true, true},      {0, 2, false, false},  {2, 0, false, false},
      {1, 1, true, true},    {3, 1, true, true},      {3, 3, true, true},    {1, 3, true, true},
      {0, 0, false, false},  {4, 0, false, false},    {4, 4, true, false},   {0, 4, false, false}};
  for (const auto& c : cases) {
    for (Plane plane : {Plane::xy, Plane::xz, Plane::yz}) {
      EXPECT_EQ(inside_polygon({0, 0, 4, 0, 4, 4, 0, 4}, plane, c.x, c.y), c.square)
          << c.x << " " << c.y;
      EXPECT_EQ(inside_polygon({2, 0, 4, 2, 2, 4, 0, 2}, plane, c.x, c.y), c.diamond)
          << c.x << " " << c.y;
    }
  }
}

TEST(PointInPolygon, LargeCoordinatesKeepTheirDigits) {
  // Differences are formed in 8 bytes: half a metre at 5 million counts.
  const std::array<double, 8> corners = {500000.0, 5000000.1, 500001.0, 5000000.1,
                                         500001.0, 5000000.9, 500000.0, 5000000.9};
  for (const double y : {5000000.0, 5000000.5, 5000001.0}) {
    EXPECT_EQ(inside_polygon(corners, Plane::xy, 500000.5, y), y == 5000000.5);
  }
}

}  // namespace
}  // namespace dfl
