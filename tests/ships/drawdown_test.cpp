#include "ships/drawdown.h"

#include <utility>

#include "ship_run.h"

namespace dfl {
namespace {

using test::ShipRun;

// A ship of 180 by 28 by 8 m at the origin under way to the east at `speed` m/s.
struct Hull {
  ShipRun s;
  explicit Hull(float speed, const char* method = "function") {
    s.hull(method);
    const std::string knots = std::to_string(speed / 0.515f);
    s.route("2 a\n0 0 " + knots + "\n10000 0 " + knots + "\n");
    s.run.settings.currents = false;
    SHIP_SETUP(s.run);
    SHIP_POSITION(s.run.ships, s.start());
    s.run.ships.heading = s.run.ships.propeller[0].heading;
  }
  NodeDrawdown at(double x, double y, float H = 12.0f) const {
    return DRAWDOWN_FUNCTION(passing_hull(s.run), H, x, y);
  }
};

TEST(HullModel, OvalHasTheBeamOfTheHull) {
  for (const auto& [length, beam] :
       {std::pair{180.0f, 28.0f}, {90.0f, 12.0f}, {300.0f, 45.0f}, {20.0f, 6.0f}, {60.0f, 6.0f}}) {
    for (float speed : {0.1f, 2.0f, 5.15f, 15.0f}) {
      ShipRun s;
      s.run.ships.SHIPlength = length;
      s.run.ships.SHIPbeam = beam;
      s.run.ships.SHIPspeed = speed;
      SHIP_STAGNATION(s.run);
      const double source = static_cast<double>(s.run.ships.SHIPsource);
      const double m = static_cast<double>(s.run.ships.SHIPstrength);
      const double U = static_cast<double>(speed), L = static_cast<double>(length);
      // Stagnation at the bow, and the stream function of source, sink and stream 0 on the side.
      const double a = L / 2.0;
      EXPECT_NEAR(m * source / (a * a - source * source) / (std::acos(-1.0) * U), 1.0, 1e-4);
      double low = 1e-6, high = a;
      for (int i = 0; i < 100; ++i) {
        const double y = (low + high) / 2.0;
        const double psi = U * y - m / std::acos(-1.0) * std::atan(source / y);
        (psi < 0.0 ? low : high) = y;
      }
      EXPECT_NEAR(2.0 * low / static_cast<double>(beam), 1.0, 0.011) << length << ' ' << speed;
    }
  }
}

TEST(HullModel, HullThatIsNoOvalStops) {
  for (float beam : {400.0f, 0.001f}) {
    EXPECT_EXIT(
        {
          ShipRun s(true);
          s.run.ships.SHIPlength = 180.0f;
          s.run.ships.SHIPbeam = beam;
          s.run.ships.SHIPspeed = 5.0f;
          SHIP_STAGNATION(s.run);
        },
        testing::ExitedWithCode(0),
        "NO HULL MODEL FOUND IN SHIP_STAGNATION|ROOT MUST BE BRACKETED IN RTBIS_STAG")
        << beam;
  }
}

TEST(Drawdown, VanishesFarAwayAndIsSymmetricAlongTheShip) {
  const Hull hull(5.0f);
  for (double x : {5.0e3, -5.0e3}) {
    for (double y : {0.0, 4.0e3, -4.0e3}) {
      const NodeDrawdown far = hull.at(x, y);
      EXPECT_LT(std::abs(far.dz), 2e-3f);
      EXPECT_LT(std::hypot(far.du, far.dv), 4e-3f);
    }
  }
  EXPECT_LT(std::abs(hull.at(1.0e6, 1.0e6).dz), 1e-6f);
  // Ahead and astern alike, port and starboard mirrored. The truncated circle constant turns the
  // axes by 1e-5; 100 m off, the field changes by less than 1e-4 over that.
  for (double x : {0.0, 30.0, 80.0, 120.0, 250.0}) {
    for (double y : {20.0, 60.0, 150.0}) {
      const NodeDrawdown a = hull.at(x, y), b = hull.at(-x, y), c = hull.at(x, -y);
      EXPECT_NEAR(a.dz, b.dz, 2e-3f) << x << ' ' << y;
      EXPECT_NEAR(a.dz, c.dz, 2e-3f);
      EXPECT_NEAR(a.du, b.du, 2e-3f);
      EXPECT_NEAR(a.dv, -b.dv, 2e-3f);
      EXPECT_NEAR(a.dv, -c.dv, 2e-3f);
    }
  }
}

TEST(Drawdown, SurfaceFallsBesideTheHullAsTheSquareOfTheSpeedAndRisesAtItsEnds) {
  const NodeDrawdown slow = Hull(2.0f).at(0.0, 30.0), fast = Hull(4.0f).at(0.0, 30.0);
  EXPECT_LT(slow.dz, 0.0f);
  EXPECT_LT(slow.du, 0.0f);  // against the ship
  EXPECT_NEAR(fast.dz / slow.dz, 4.0f, 1e-3f);
  EXPECT_NEAR(fast.du / slow.du, 2.0f, 1e-3f);
  EXPECT_GT(Hull(4.0f).at(95.0, 0.0).dz, 0.0f);
  EXPECT_GT(Hull(4.0f).at(95.0, 0.0).du, 0.0f);   // pushed ahead
  EXPECT_GT(Hull(4.0f).at(-95.0, 0.0).du, 0.0f);  // drawn behind
  EXPECT_GT(Hull(4.0f).at(80.0, 30.0).dv, 0.0f);  // aside at the bow
  EXPECT_LT(Hull(4.0f).at(-80.0, 30.0).dv, 0.0f);
}

TEST(Drawdown, PointInsideTheHullTakesTheValueAtItsSide) {
  const Hull hull(4.0f);
  EXPECT_EQ(hull.at(0.0, 5.0).dz, hull.at(0.0, 13.9).dz);
  EXPECT_EQ(hull.at(0.0, 5.0).du, hull.at(0.0, 13.9).du);
  // At a source the flow has no value; the side of the hull there has one, as any point has.
  for (double x = -100.0; x <= 100.0; x += 0.5) {
    for (double y : {0.0, 1e-7, -3.0}) {
      const NodeDrawdown d = hull.at(x, y);
      ASSERT_TRUE(std::isfinite(d.dz) && std::isfinite(d.du) && std::isfinite(d.dv)) << x;
      ASSERT_LE(std::abs(d.du), 5.0f);
    }
  }
}

TEST(Drawdown, TurnsWithTheShip) {
  Hull hull(4.0f);
  const NodeDrawdown east = hull.at(60.0, 40.0);
  hull.s.run.ships.heading = 0.0f;  // north: ahead is +y, port is -x
  const NodeDrawdown north = hull.at(-40.0, 60.0);
  EXPECT_NEAR(north.dz, east.dz, 1e-4f);
  EXPECT_NEAR(north.dv, east.du, 1e-4f);
  EXPECT_NEAR(north.du, -east.dv, 1e-4f);
}

TEST(Drawdown, ContinuityRaisesSpeedsOverShallowsAndCalibrationScalesAll) {
  Hull plain(4.0f), continuous(4.0f, "function-continuity");
  continuous.s.run.ships.depth = 12.0f;
  const NodeDrawdown a = plain.at(0.0, 100.0, 6.0f), b = continuous.at(0.0, 100.0, 6.0f);
  EXPECT_NEAR(b.du / a.du, 12.0f / (6.0f + a.dz), 1e-3f);
  EXPECT_EQ(b.dz, a.dz);
  EXPECT_NEAR(continuous.at(0.0, 100.0, 1.0f).du / a.du, 10.0f, 1e-3f);  // the largest ratio
  EXPECT_EQ(continuous.at(0.0, 30.0, 0.01f).du, 0.0f);                   // fallen dry
  continuous.s.run.settings.calibration_factor = 0.5f;
  EXPECT_EQ(continuous.at(0.0, 100.0, 6.0f).du, 0.5f * b.du);
  continuous.s.run.settings.calibration_factor = 0.0f;
  EXPECT_EQ(continuous.at(0.0, 100.0, 6.0f).du, 0.0f);
  EXPECT_EQ(continuous.at(0.0, 100.0, 6.0f).dz, 0.0f);
}

TEST(Drawdown, ReturnFlowLiesBetweenTheSourcesAndFallsAwayFromTheTrack) {
  Hull plain(4.0f), with(4.0f, "function-return-square");
  with.s.run.ships.Vr = 0.5f;
  with.s.run.ships.Lr = 100.0f;
  const auto extra = [&](double x, double y) { return with.at(x, y).du - plain.at(x, y).du; };
  EXPECT_NEAR(extra(0.0, 100.0), -0.5f * std::exp(-1.0f), 1e-4f);
  EXPECT_NEAR(extra(0.0, 300.0), -0.5f * std::exp(-3.0f), 1e-4f);
  const double s = static_cast<double>(with.s.run.ships.SHIPsource);
  EXPECT_NEAR(extra(s / 2.0, 100.0), -0.25f * std::exp(-1.0f), 1e-4f);
  EXPECT_EQ(extra(s + 1.0, 100.0), 0.0f);
  EXPECT_EQ(extra(-s - 1.0, 100.0), 0.0f);
  // Held within 5 m/s before the calibration.
  with.s.run.ships.Vr = 50.0f;
  with.s.run.settings.calibration_factor = 0.5f;
  EXPECT_EQ(with.at(0.0, 100.0).du, -2.5f);
}

// A grid of 5 by 3 points around a hull of 100 by 20 m: from the stern to the bow, from starboard
// to port. Surface -0.1 x column, u 0.1 x row.
std::string sgh_head(const char* angle = "0", int columns = 5, int rows = 3) {
  return ":FileType sgh\n:xOrigin -1.0\n:yOrigin -1.0\n:xDelta 25\n:yDelta 10\n:xCount " +
         std::to_string(columns) + "\n:yCount " + std::to_string(rows) + "\n:Angle " + angle +
         "\n:EndHeader\n";
}
const char* surface_rows = "-.1 -.2 -.3 -.4 -.5\n-.1 -.2 -.3 -.4 -.5\n-.1 -.2 -.3 -.4 -.5\n";
const char* velocity_rows = "5*0.1\n5*0.2\n5*0.3\n5*0.0\n5*0.0\n5*0.5\n";

struct GridShip {
  ShipRun s;
  explicit GridShip(const std::string& z = sgh_head() + surface_rows,
                    const std::string& uv = sgh_head() + velocity_rows, bool to_stderr = false)
      : s(to_stderr) {
    s.hull("interpolated", "100\n20\n8\n");
    s.run.settings.drawdown_fse_file = s.folder.write("z.sgh", z);
    s.run.settings.drawdown_vel_file = s.folder.write("uv.sgh", uv);
    s.route("1 a\n1000 2000 90\n");
    s.run.settings.currents = false;
    SHIP_SETUP(s.run);
    s.pass_at(0.0);
  }
  NodeDrawdown at(double x, double y) const {
    return DRAWDOWN_GRID(passing_hull(s.run), s.run.ships.grid, x, y);
  }
};

TEST(DrawdownGrid, LiesAroundTheShipAndTurnsWithIt) {
  GridShip east;
  EXPECT_EQ(east.s.run.ships.grid.DDxe, 1.0f);
  EXPECT_EQ(east.s.run.ships.grid.DDye, 1.0f);
  // In the middle of a cell the four corners weigh the same.
  EXPECT_NEAR(east.at(962.5, 1995.0).dz, -0.15f, 1e-5f);
  EXPECT_NEAR(east.at(1037.5, 2005.0).dz, -0.45f, 1e-5f);
  EXPECT_NEAR(east.at(1037.5, 2005.0).du, 0.25f, 1e-5f);
  EXPECT_NEAR(east.at(1037.5, 2005.0).dv, 0.25f, 1e-5f);
  // At a corner its own value has the weight of the diagonal.
  const float diagonal = std::hypot(25.0f, 10.0f), sum = diagonal + 25.0f + 10.0f;
  EXPECT_NEAR(east.at(950.01, 1990.01).dz, -(0.1f * diagonal + 0.2f * 10.0f + 0.1f * 25.0f) / sum,
              1e-3f);
  for (const auto& [x, y] : {std::pair{949.0, 2000.0},
                             {1050.5, 2000.0},
                             {1050.0, 2000.0},  // the last point itself begins no cell
                             {1000.0, 1989.0},
                             {1000.0, 2010.5},
                             {1e30, 2000.0},
                             {-1e30, -1e30}}) {
    EXPECT_EQ(east.at(x, y).dz, 0.0f) << x << ' ' << y;
    EXPECT_EQ(east.at(x, y).du, 0.0f);
  }
  GridShip north;
  north.s.run.ships.heading = 0.0f;
  EXPECT_NEAR(north.at(995.0, 2037.5).dz, -0.45f, 1e-4f);
  EXPECT_NEAR(north.at(995.0, 2037.5).dv, 0.25f, 1e-4f);
  EXPECT_NEAR(north.at(995.0, 2037.5).du, -0.25f, 1e-4f);
  // A grid angle turns it clockwise: from the bow to starboard.
  GridShip turned(sgh_head("90") + surface_rows, sgh_head("90") + velocity_rows);
  EXPECT_NEAR(turned.at(1005.0, 1962.5).dz, -0.45f, 1e-4f);
  north.s.run.settings.calibration_factor = 2.0f;
  EXPECT_NEAR(north.at(995.0, 2037.5).dz, -0.9f, 2e-4f);
  EXPECT_NEAR(north.at(995.0, 2037.5).dv, 0.5f, 2e-4f);
}

TEST(DrawdownGrid, BadFilesStopWithTheirPlaceAndFault) {
  struct Case {
    std::string z, uv;
    const char* message;
  };
  const std::string good = sgh_head() + surface_rows, good_uv = sgh_head() + velocity_rows;
  const std::string no_key = ":xOrigin 0\n:EndHeader\n";
  const Case cases[] = {
      {"", good_uv, "ERROR: Premature EndOfFile encountered"},
      {":xOrigin 1\n", good_uv, "Error: READ_SGH_FILE_SCALAR"},
      {":xOrigin one\n", good_uv, "ERROR in line: :xOrigin one"},
      {":xDelta 0\n", good_uv, "ERROR in line: :xDelta 0"},
      {":yDelta 1e38\n", good_uv, "ERROR in line: :yDelta 1e38"},
      {":xCount -3\n", good_uv, "ERROR in line: :xCount -3"},
      {no_key, good_uv, " \\*\\*\\* SGH FILE HEADER ERROR .*:yorigin"},
      {sgh_head() + "-.1 -.2 -.3\n", good_uv, "ERROR: Premature EndOfFile encountered"},
      {sgh_head() + "-.1 -.2 x -.4 -.5\n", good_uv,
       "Error: READ_SGH_FILE_SCALAR: .*z.sgh:10: expected a real number, found \"x\""},
      {sgh_head("0", 2000000000, 2000000000), good_uv, "expected at most 100000000 values"},
      {sgh_head("0", 100000000, 1) + "1 2\n", good_uv, "Premature EndOfFile"},
      {good, sgh_head() + "5*0.1\n5*0.2\n5*0.3\n", "Error: READ_SGH_FILE_SCALAR: .*uv.sgh"},
      {good, sgh_head("0", 4, 3) + velocity_rows,
       "expected a grid of the shape of the surface grid"},
  };
  for (const Case& c : cases) {
    EXPECT_EXIT(GridShip(c.z, c.uv, true), testing::ExitedWithCode(0), c.message) << c.z << c.uv;
  }
  const auto without = [](std::string Settings::*file, const std::string& name) {
    ShipRun s(true);
    s.hull("interpolated");
    s.run.settings.drawdown_fse_file = s.folder.write("z.sgh", sgh_head() + surface_rows);
    s.run.settings.drawdown_vel_file = s.folder.write("uv.sgh", sgh_head() + velocity_rows);
    s.run.settings.*file = name;
    SHIP_SETUP(s.run);
  };
  EXPECT_EXIT(without(&Settings::drawdown_fse_file, "none"), testing::ExitedWithCode(0),
              " \\*\\*\\* DRAWDOWN z FILE NOT FOUND \\*\\*\\*");
  EXPECT_EXIT(without(&Settings::drawdown_vel_file, "none"), testing::ExitedWithCode(0),
              " \\*\\*\\* DRAWDOWN u-v FILE NOT FOUND \\*\\*\\*");
  EXPECT_EXIT(without(&Settings::drawdown_vel_file, "/"), testing::ExitedWithCode(0),
              "not a regular file");
}

TEST(DrawdownData, BadFilesStopWithTheirPlaceAndFault) {
  struct Case {
    const char* text;
    const char* message;
  };
  for (const Case& c :
       {Case{"", "hull.dat:.*expected a real number"},
        Case{"180\n28\n", "hull.dat:2: expected a real number, found the end"},
        Case{"180\nwide\n8\n", "hull.dat:2: expected a real number, found \"wide\""},
        Case{"180\n28\n0\n", "hull.dat:3: expected length, beam and draught"}}) {
    EXPECT_EXIT(
        {
          ShipRun s(true);
          s.hull("function", c.text);
          SHIP_SETUP(s.run);
        },
        testing::ExitedWithCode(0), c.message)
        << c.text;
  }
  for (const char* path : {"none", "/", "/nowhere/hull.dat"}) {
    EXPECT_EXIT(
        {
          ShipRun s(true);
          s.hull("function");
          s.run.settings.drawdown_data_file = path;
          SHIP_SETUP(s.run);
        },
        testing::ExitedWithCode(0), "NEED DRAWDOWN DATA FILE|not a regular file|/nowhere/hull.dat")
        << path;
  }
}

}  // namespace
}  // namespace dfl
