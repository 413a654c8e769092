#include "ships/propeller_wash.h"

#include "literal_ship.h"
#include "ship_run.h"

namespace dfl {
namespace {

using test::ShipRun;

// One propeller of 6 m at the origin, its axis 5 m below the surface, heading north: the jet points
// to -y.
ShipState one_propeller() {
  ShipState ships;
  ships.PROPdiameter = 6.0f;
  ships.PROPpitch = 1.0f;
  ships.PROPmethod = 1;
  ships.PROPdrive = 80.0f;
  ships.propeller[0].z = 5.0f;
  ships.propeller[1].z = 5.0f;
  return ships;
}

JetVelocity wash_at(const ShipState& ships, float H, double x, double y, float z,
                    float heading = 0.0f) {
  return PROP_WASH(MessageState{}, propeller_jets(ships, ships.propeller, heading, 1025.0f), H, x,
                   y, z);
}

TEST(PropellerWash, ExitSpeedOfTheThreeMethods) {
  ShipState ships = one_propeller();
  const auto V0 = [&](int method, bool ducted, float drive) {
    ships.PROPmethod = method;
    ships.PROPducted = ducted;
    ships.PROPdrive = drive;
    return propeller_jets(ships, ships.propeller, 0.0f, 1000.0f).V0;
  };
  // Open, p = 1: Kt = 7.0833 - 8.9167 + 5.4667 - 1.07 - 2.0833 = 0.48; 1.6 x 80/60 x 6 x
  // sqrt(0.48).
  EXPECT_NEAR(V0(1, false, 80.0f), 8.8680f, 1e-3f);
  // Ducted: Kt = 0.522, N = 2: 12.8 x sqrt(0.261).
  EXPECT_NEAR(V0(1, true, 80.0f), 6.5392f, 1e-3f);
  // (1.6 / 6) sqrt(9810 x 500 / 1000) = 0.266667 x 70.036, and over 2 when ducted.
  EXPECT_NEAR(V0(2, false, 500.0f), 18.6762f, 1e-3f);
  EXPECT_NEAR(V0(2, true, 500.0f), 13.2061f, 1e-3f);
  // 1.48 (5000 / 36)^0.333 = 1.48 x 5.1700
  EXPECT_NEAR(V0(3, false, 5000.0f), 7.6516f, 1e-2f);
  EXPECT_NEAR(V0(3, true, 5000.0f) / V0(3, false, 5000.0f), 1.17f / 1.48f, 1e-5f);
}

TEST(PropellerWash, JetPointsAsternAndDecaysAlongItsAxis) {
  const ShipState ships = one_propeller();
  const float H = 20.0f, axis = 15.0f;  // the axis 15 m above the bed
  const float V0 = propeller_jets(ships, ships.propeller, 0.0f, 1025.0f).V0;
  struct Case {
    double behind;  // m
    float share;    // of V0
  };
  // Far: C = 1.88 exp(-0.092 x 20 / 6), e = min(1, (3 + 2 x 20 / 6) / 15) = 0.64444 plus a little.
  const float C = 1.88f * std::exp(-0.092f * H / 6.0f);
  const Case cases[] = {
      {0.0, 1.0f},  // the propeller itself
      {6.0, 1.0f},        {6.0 * 2.6, 1.0f},
      {6.0 * 4.0, 0.65f}, {6.0 * 10.0, C * std::pow(10.0f, -(0.644444f + 0.006345f * 0.355556f))},
  };
  for (const Case& c : cases) {
    const JetVelocity north = wash_at(ships, H, 0.0, -c.behind, axis);
    EXPECT_NEAR(north.V, -c.share * V0, 2e-4f * V0) << c.behind;
    EXPECT_NEAR(north.U, 0.0f, 1e-4f * V0) << c.behind;
    const JetVelocity east = wash_at(ships, H, -c.behind, 0.0, axis, 90.0f);
    EXPECT_NEAR(east.U, -c.share * V0, 2e-4f * V0) << c.behind;
  }
  // The speed falls to exp(-22.2 r^2 / X^2), away from the propeller.
  const JetVelocity aside = wash_at(ships, H, 1.0, -12.0, axis);
  const float V = V0 * std::exp(-22.2f / 144.0f), R = std::sqrt(145.0f);
  EXPECT_NEAR(aside.U, V / R, 1e-4f);
  EXPECT_NEAR(aside.V, -V * 12.0f / R, 1e-4f);
  EXPECT_NEAR(aside.W, 0.0f, 1e-4f);
}

TEST(PropellerWash, NothingForwardInThePlaneAndFarOffTheAxis) {
  const ShipState ships = one_propeller();
  const double places[][2] = {{0.0, 1.0}, {0.0, 1000.0}, {3.0, 0.0}, {1000.0, 0.0}, {50.0, -20.0}};
  for (const auto& place : places) {
    const JetVelocity v = wash_at(ships, 20.0f, place[0], place[1], 15.0f);
    EXPECT_EQ(v.U, 0.0f);
    EXPECT_EQ(v.V, 0.0f);
  }
}

TEST(PropellerWash, FarWakeOfAnExponentOfOneStaysFinite) {
  const ShipState ships = one_propeller();
  for (double behind : {1.0e3, 3.0e4, 1.0e6}) {  // beyond 5000 diameters the exponential overflows
    const JetVelocity v = wash_at(ships, 40.0f, 0.0, -behind, 35.0f);
    EXPECT_TRUE(std::isfinite(v.V)) << behind;
    EXPECT_LT(v.V, 0.0f) << behind;
  }
}

TEST(PropellerWash, PointForwardOfOnePropellerEndsTheSum) {
  ShipState ships = one_propeller();
  ships.NUMprops = 2;
  ships.propeller[1].y = 20.0f;  // further ahead, heading north
  const JetVelocity first_alone = wash_at(one_propeller(), 20.0f, 0.0, -10.0, 15.0f);
  const JetVelocity both = wash_at(ships, 20.0f, 0.0, -10.0, 15.0f);
  EXPECT_LT(both.V, first_alone.V);
  // Between the two: astern of the second alone, and yet nothing.
  EXPECT_EQ(wash_at(ships, 20.0f, 0.0, 10.0, 15.0f).V, 0.0f);
  std::swap(ships.propeller[0], ships.propeller[1]);
  EXPECT_LT(wash_at(ships, 20.0f, 0.0, 10.0, 15.0f).V, 0.0f);
}

TEST(PropellerWash, PitchOutsideItsRangeCountsAsOneAndIsStored) {
  for (float pitch : {0.5f, 1.5f}) EXPECT_EQ(pitch_in_range(pitch), 1.0f);
  for (float pitch : {0.6f, 1.0f, 1.4f}) EXPECT_EQ(pitch_in_range(pitch), pitch);
  ShipRun s;
  s.propeller("0", "0\n0.5\n0\n1\n80\n0\n0\n0\n");
  s.route("2 a\n0 0 10\n515 0 10\n");
  s.run.settings.currents = false;
  SHIP_SETUP(s.run);
  EXPECT_EQ(s.run.ships.PROPpitch, 0.5f);
  s.pass_at(0.0);
  EXPECT_EQ(s.run.ships.PROPpitch, 1.0f);
}

TEST(PropellerWash, SameBytesAsTheFormulasTakenOneByOne) {
  for (int number : {1, 2}) {
    for (bool flag : {false, true}) {
      ShipState ships = one_propeller();
      ships.NUMprops = number;
      ships.PROPducted = ships.PROPclearance = ships.PROPhalfdecay = flag;
      ships.PROPangle = flag ? 4.0f : 0.0f;
      ships.propeller[0].x = -6.0f;
      ships.propeller[1].x = 6.0f;
      for (float H : {1.0f, 9.0f, 30.0f}) {
        for (int i = -400; i <= 400; i += 7) {
          for (int j = -900; j <= 50; j += 11) {
            const double x = 0.25 * i, y = 0.5 * j;
            const JetVelocity a = wash_at(ships, H, x, y, std::min(1.0f, H / 2.0f), 13.0f);
            const JetVelocity b = test::literal_prop_wash(ships, ships.propeller, 13.0f, H, 1025.0f,
                                                          x, y, std::min(1.0f, H / 2.0f));
            ASSERT_TRUE(test::same_bytes(a.U, b.U) && test::same_bytes(a.V, b.V) &&
                        test::same_bytes(a.W, b.W))
                << x << ' ' << y << ' ' << H;
          }
        }
      }
    }
  }
}

TEST(PropellerWash, UnknownMethodStopsAtTheFirstPointAstern) {
  ShipState ships = one_propeller();
  for (int method : {0, 4, -1}) {
    ships.PROPmethod = method;
    EXPECT_EQ(wash_at(ships, 20.0f, 0.0, 10.0, 15.0f).V, 0.0f);
    EXPECT_EXIT(
        {
          RunState run;
          run.messages.console_out = stderr;
          run.messages.console_in = nullptr;
          run.messages.output_prefix = "/dev/null/none";
          PROP_WASH(run.messages, propeller_jets(ships, ships.propeller, 0.0f, 1025.0f), 20.0f, 0.0,
                    -10.0, 15.0f);
        },
        testing::ExitedWithCode(0), " \\*\\*\\* PROPWASH METHOD ERROR \\*\\*\\*");
  }
}

TEST(PropellerWash, DataFileIsReadLineByLine) {
  ShipRun s;
  s.run.settings.propwash_data_file =
      s.folder.write("p", "5.5 m diameter\n-1\n1\n0.9\n3.5\n2\n4000\n1\n9.\n-1.\n-4.5\n1\n");
  READ_PROPWASH_DATA(s.run);
  const ShipState& ships = s.run.ships;
  EXPECT_EQ(ships.PROPdiameter, 5.5f);
  EXPECT_EQ(ships.NUMprops, 1);
  EXPECT_TRUE(ships.PROPducted && ships.PROPclearance && ships.PROPhalfdecay);
  EXPECT_EQ(ships.PROPpitch, 0.9f);
  EXPECT_EQ(ships.PROPangle, 3.5f);
  EXPECT_EQ(ships.PROPmethod, 2);
  EXPECT_EQ(ships.PROPdrive, 4000.0f);
  EXPECT_EQ(ships.PROPdepth, -4.5f);
  s.run.settings.propwash_data_file =
      s.folder.write("q", "5.5\n0.1\n2\n0.9\n3.5\n2\n4000\n0\n9.\n-1.\n-4.5\n-1\n");
  READ_PROPWASH_DATA(s.run);
  EXPECT_EQ(ships.NUMprops, 2);
  EXPECT_FALSE(ships.PROPducted || ships.PROPclearance || ships.PROPhalfdecay);
}

TEST(PropellerWash, BadFilesStopWithTheirPlaceAndFault) {
  struct Case {
    const char* name;
    const char* text;
    const char* message;
  };
  const Case cases[] = {
      {"missing", nullptr, "missing"},
      {".", nullptr, "not a regular file"},
      {"empty", "", "empty:.*expected a real number"},
      {"cut", "6\n1\n0\n1\n0\n1\n80\n", "cut:7: expected an integer, found the end of the file"},
      {"letters", "6\none\n", "letters:2: expected a real number, found \"one\""},
      {"real", "6\n1\n0.5\n", "real:3: expected an integer"},
      {"size", "0\n", "size:1: expected a propeller diameter above 0"},
      {"drive", "6\n1\n0\n1\n0\n1\n-80\n", "drive:7: expected revolutions or a power of 0 or more"},
      {"fast", "6\n1\n0\n1\n0\n1\n1e38\n0\n0\n0\n-5\n0\n",
       "fast:12: expected a propeller whose jet leaves with 1e6 m/s or less"},
      {"item10", "6\n1\n0\n1\n0\n1\n80\n0\n0\n1\n-5\n0\n",
       "DFL uses mesh depth for PropWash \\(i.e., PROPdepth < 0.\\)"},
      {"depth", "6\n1\n0\n1\n0\n1\n80\n0\n0\n0\n5\n0\n",
       "DFL only uses distance DOWN from surface for PropWash"},
  };
  for (const Case& c : cases) {
    EXPECT_EXIT(
        {
          ShipRun s(true);
          s.run.settings.propwash_data_file = s.folder.path(c.name);
          if (c.text != nullptr) s.folder.write(c.name, c.text);
          READ_PROPWASH_DATA(s.run);
        },
        testing::ExitedWithCode(0), c.message)
        << c.name;
  }
}

}  // namespace
}  // namespace dfl
