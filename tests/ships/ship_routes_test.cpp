#include "ships/ship_routes.h"

#include "ship_run.h"

namespace dfl {
namespace {

using test::ShipRun;

TEST(ShipRoutes, TimesFollowFromMeanSpeedsAndHeadingsFromNorthClockwise) {
  ShipRun s;
  // 300 m north at 10 to 20 knots, 400 m east at 20, 300 m south-west at 20 to 0.
  s.route("4 a ship\n100 100 10\n100 400 20\n500 400 20\n200 100 0\n");
  READ_SHIP_ROUTES(s.run);
  const ShipState& ships = s.run.ships;
  const ShipRoute& route = ships.SHIP_ROUTE(1);
  EXPECT_EQ(route.NAME, "a ship");
  EXPECT_EQ(route.NUMpoints, 4);
  const double expected_times[] = {0.0, 300.0 / 7.725, 300.0 / 7.725 + 400.0 / 10.3,
                                   300.0 / 7.725 + 400.0 / 10.3 + std::sqrt(180000.0) / 5.15};
  const float headings[] = {0.0f, 90.0f, 225.0f, 225.0f};
  for (int k = 1; k <= 4; ++k) {
    // Speeds are held in 4 bytes.
    EXPECT_NEAR(route.TIME(k) - s.start(), expected_times[k - 1], 1e-4) << k;
    // The truncated circle constant turns headings by 2e-4 degrees at most.
    EXPECT_NEAR(route.HEADING(k), headings[k - 1], 3e-4f) << k;
  }
  EXPECT_NEAR(ships.SHIPspeed, 0.515f * (10 + 20 + 20 + 0) / 4, 1e-5f);
  EXPECT_EQ(ships.TSHIPstart, route.TIME(1));
  EXPECT_EQ(ships.TSHIPend, route.TIME(4));
  EXPECT_FALSE(ships.SHIPstill);
}

TEST(ShipRoutes, ShipComesWithItsFirstTimeAndStaysWhereItWasSeenLast) {
  ShipRun s;
  s.route("2 a\n0 0 10\n515 0 10\n");  // 100 s
  READ_SHIP_ROUTES(s.run);
  ShipState& ships = s.run.ships;
  const auto x_at = [&](double t) {
    SHIP_POSITION(ships, s.start() + t);
    return ships.propeller[0].x;
  };
  x_at(-0.001);
  EXPECT_FALSE(ships.present);
  EXPECT_FALSE(is_true(ships.SHIP_ROUTE(1).ACTIVE(1)));
  EXPECT_EQ(x_at(0.0), 0.0f);
  EXPECT_TRUE(ships.present);
  EXPECT_TRUE(is_true(ships.SHIP_ROUTE(1).ACTIVE(1)));
  EXPECT_NEAR(x_at(50.0), 257.5f, 1e-3f);
  EXPECT_NEAR(ships.propeller[0].heading, 90.0f, 1e-3f);
  EXPECT_NEAR(x_at(1000.0), 257.5f, 1e-3f);  // no pass between
  EXPECT_TRUE(ships.present);
}

TEST(ShipRoutes, ShipThatNoPassSawLiesAtItsLastWayPoint) {
  ShipRun s;
  s.route("2 a\n0 0 10\n515 0 10\n");
  READ_SHIP_ROUTES(s.run);
  SHIP_POSITION(s.run.ships, s.start() + 1000.0);
  EXPECT_EQ(s.run.ships.propeller[0].x, 515.0f);
  EXPECT_TRUE(s.run.ships.present);
}

TEST(ShipRoutes, TwoPropellersHaveARouteEachAndTheFirstGivesTheHeading) {
  ShipRun s;
  s.propeller("1.0");
  s.route("2 port\n0 10 10\n515 10 10\n2 starboard\n0 0 10\n0 515 10\n");
  s.run.settings.currents = false;
  SHIP_SETUP(s.run);
  s.pass_at(50.0);
  const ShipState& ships = s.run.ships;
  EXPECT_EQ(ships.NUMprops, 2);
  EXPECT_NEAR(ships.heading, 90.0f, 1e-3f);
  EXPECT_NEAR(ships.xs, (257.5f + 0.0f) / 2, 1e-3f);
  EXPECT_NEAR(ships.ys, (10.0f + 257.5f) / 2, 1e-3f);
  EXPECT_EQ(ships.propeller[1].z, 5.0f);
}

TEST(ShipRoutes, HeadingBlendsTheLongWayRoundAcrossNorth) {
  ShipRun s;
  // North-west (315 degrees), then north-east (45): half-way the blend is south.
  s.route("3 a\n0 0 10\n-100 100 10\n0 200 10\n");
  READ_SHIP_ROUTES(s.run);
  const ShipRoute& route = s.run.ships.SHIP_ROUTE(1);
  SHIP_POSITION(s.run.ships, (route.TIME(1) + route.TIME(2)) / 2);
  EXPECT_NEAR(s.run.ships.propeller[0].heading, 180.0f, 1e-2f);
}

TEST(ShipRoutes, OnePointRouteIsAShipThatStaysAndHasNoSpeed) {
  ShipRun s;
  s.run.settings.ship_route_file =
      s.folder.write("still.i3s", ":EndHeader\n1 'moored ship'\n30 40 270\n");
  READ_SHIP_ROUTES(s.run);
  const ShipState& ships = s.run.ships;
  EXPECT_TRUE(ships.SHIPstill);
  EXPECT_EQ(ships.SHIPspeed, 0.0f);
  SHIP_POSITION(s.run.ships, -1.0e9);
  EXPECT_TRUE(ships.present);
  EXPECT_EQ(ships.propeller[0].x, 30.0f);
  EXPECT_EQ(ships.propeller[0].heading, 270.0f);
}

TEST(ShipRoutes, WayPointsOnOnePlaceTakeNoTime) {
  ShipRun s;
  s.route("3 a\n0 0 0\n0 0 10\n515 0 10\n");
  READ_SHIP_ROUTES(s.run);
  EXPECT_EQ(s.run.ships.SHIP_ROUTE(1).TIME(2), s.start());
  EXPECT_NEAR(s.run.ships.SHIP_ROUTE(1).TIME(3) - s.start(), 100.0, 1e-4);
}

TEST(ShipRoutes, BadFilesStopWithTheirPlaceAndFault) {
  struct Case {
    const char* name;
    const char* text;  // nullptr: no file
    const char* message;
  };
  const std::string head = ":start 2020 1 1 0 0 0 0\n:endheader\n";
  const auto case_of = [&](const char* route) { return head + route; };
  const std::string short_route = case_of("3 a\n0 0 10\n1 1 10\n");
  const std::string letters = case_of("2 a\n0 0 10\n1 x 10\n");
  const std::string no_speed = case_of("3 a\n0 0 10\n10 0 0\n20 0 0\n");
  const std::string negative = case_of("2 a\n0 0 10\n1 1 -10\n");
  const std::string far_off = case_of("2 a\n0 0 10\n1 -1e300 10\n");
  const std::string far_still = case_of("1 a\n1e10 0 90\n");
  const std::string no_number = case_of("2 a\n0 nan 10\n1 1 10\n");
  const std::string too_large = case_of("2 a\n0 0 10\n1 1 1e400\n");
  const std::string many = case_of("2000000000 a\n0 0 10\n");
  const std::string none = case_of("0 a\n");
  const std::string cut_point = case_of("2 a\n0 0 10\n1 1");
  const std::string no_count = case_of("a ship\n0 0 10\n");
  const Case cases[] = {
      {"none", nullptr, " \\*\\*\\* NEED SHIP ROUTE FILE \\*\\*\\*"},
      {"missing.i3s", nullptr, "missing.i3s"},
      {".", nullptr, "not a regular file"},
      {"route.txt", "", "\\*\\*\\* ROUTE FILE NOT i3s FORMAT \\*\\*\\*"},
      {"empty.i3s", "", "ERROR: Premature EndOfFile encountered"},
      {"cut.i3s", ":start 2020 1 1 0 0 0 0\n", "ERROR: Premature EndOfFile encountered"},
      {"key.i3s", ":start 2020 1 x 0 0 0 0\n", "ERROR in line: :start 2020 1 x 0 0 0 0"},
      {"day.i3s", ":start 2020 13 1 0 0 0 0\n", "day.i3s:1: expected another value"},
      {"head.i3s", "hello\n", "head.i3s:1: expected a key, found \"hello\""},
      {"nostart.i3s", ":endheader\n2 a\n0 0 10\n1 1 10\n",
       "nostart.i3s:4: expected the key :start"},
      {"short.i3s", short_route.c_str(), "short.i3s:5: expected .*end of the file"},
      {"letters.i3s", letters.c_str(), "letters.i3s:5: expected a real number, found \"x\""},
      {"speed.i3s", no_speed.c_str(), "\\*\\*\\* SHIP ROUTE SPEED IS ZERO \\*\\*\\*     1     2"},
      {"negative.i3s", negative.c_str(), "negative.i3s:5: expected a speed of 0 knots or more"},
      {"far.i3s", far_off.c_str(), "far.i3s:5: expected coordinates within 1e9"},
      {"still.i3s", far_still.c_str(), "still.i3s:4: expected coordinates within 1e9"},
      {"nan.i3s", no_number.c_str(), "nan.i3s:4: expected a real number, found \"nan\""},
      {"large.i3s", too_large.c_str(), "large.i3s:5: expected a real number within its range"},
      {"many.i3s", many.c_str(), "many.i3s:3: expected a number of way points"},
      {"zero.i3s", none.c_str(), "zero.i3s:3: expected a number of way points"},
      {"cutpoint.i3s", cut_point.c_str(), "cutpoint.i3s:5: expected"},
      {"count.i3s", no_count.c_str(), "count.i3s:3: expected an integer"},
  };
  for (const Case& c : cases) {
    EXPECT_EXIT(
        {
          ShipRun s(true);
          const std::string name = c.name;
          s.run.settings.ship_route_file = name == "none" ? name : s.folder.path(name);
          if (c.text != nullptr) s.folder.write(name, c.text);
          READ_SHIP_ROUTES(s.run);
        },
        testing::ExitedWithCode(0), c.message)
        << c.name;
  }
}

TEST(ShipRoutes, SecondRouteMissingIsTold) {
  EXPECT_EXIT(
      {
        ShipRun s(true);
        s.propeller("1");
        s.route("2 port\n0 0 10\n515 0 10\n");
        SHIP_SETUP(s.run);
      },
      testing::ExitedWithCode(0), "route.i3s:7: expected an integer, found the end of the file");
}

}  // namespace
}  // namespace dfl
