#include <cstring>

#include "common/test_run.h"
#include "literal_ship.h"
#include "runs/tiny_run.h"
#include "ship_run.h"

namespace dfl {
namespace {

using test::ShipRun;

constexpr const char* nine_words[] = {
    "interpolated",
    "function",
    "function-continuity",
    "function-return-channel",
    "function-continuity-return-channel",
    "function-return-square",
    "function-continuity-return-square",
    "function-return-trench",
    "function-continuity-return-trench",
};

// Flats of 3 m beside a dredged channel of 12 m, some of them dry; a weak current with zeros of
// either sign; two frames alike.
void channel_flow(ShipRun& s, int layers) {
  s.channel(
      50, 20, 40.0,
      [](double x, double y) {
        if (y > 750.0 && x > 1000.0) return -1.0f;
        return std::abs(y - 400.0) < 130.0 ? 12.0f : 3.0f;
      },
      layers);
  FlowState& flow = s.run.flow;
  for (int n = 1; n <= s.run.mesh.NUMnode; ++n) {
    flow.ETAnew(n) = flow.ETAold(n) = n % 97 == 0 ? -99999.0f : 0.3f;
    for (int k = 0; k <= layers; ++k) {
      flow.Unew(n, k) = flow.Uold(n, k) = n % 3 == 0 ? -0.0f : 0.2f;
      flow.Vnew(n, k) = flow.Vold(n, k) = n % 2 == 0 ? -0.0f : 0.01f * static_cast<float>(k);
    }
  }
}

const char* two_routes =
    "3 port\n100 394 10\n1000 394 10\n1900 500 10\n3 starboard\n100 406 10\n1000 406 10\n"
    "1900 512 10\n";

bool equal(const Array2<float>& a, const Array2<float>& b) {
  return a.count() == b.count() && std::memcmp(a.data(), b.data(), a.count() * sizeof(float)) == 0;
}
bool equal(const Array<float>& a, const Array<float>& b) {
  return a.size() == b.size() &&
         std::memcmp(a.data(), b.data(), static_cast<std::size_t>(a.size()) * sizeof(float)) == 0;
}

TEST(ShipPass, SameBytesAsThePlainForm) {
  for (int layers : {0, 4}) {
    for (const char* word : nine_words) {
      if (std::string(word) == "interpolated") continue;
      ShipRun s;
      channel_flow(s, layers);
      s.propeller("1.0");
      s.hull(word);
      s.route(two_routes);
      SHIP_SETUP(s.run);
      int nodes_moved = 0;
      for (double t : {-5.0, 0.0, 60.0, 175.0, 250.0, 1000.0}) {
        SCOPED_TRACE(std::string(word) + " at " + std::to_string(t));
        s.pass_at(t);
        ++s.run.clock.NStep;
        const Array2<float> U = s.run.flow.Unode, V = s.run.flow.Vnode;
        const Array<float> H = s.run.flow.Hnode, ETA = s.run.flow.ETAnode;
        // The same flow without the ship, and the ship node by node.
        const bool present = std::exchange(s.run.ships.present, false);
        EXPECT_EQ(present, t >= 0.0);
        FLOW_BLEND(s.run);
        s.run.ships.present = present;
        const Array<float> quiet_ETA = s.run.flow.ETAnode;
        if (present) test::literal_pass(s.run);
        ASSERT_TRUE(equal(U, s.run.flow.Unode) && equal(V, s.run.flow.Vnode));
        ASSERT_TRUE(equal(H, s.run.flow.Hnode) && equal(ETA, s.run.flow.ETAnode));
        for (int n = 1; n <= s.run.mesh.NUMnode; ++n) {
          if (quiet_ETA(n) != ETA(n)) ++nodes_moved;
        }
      }
      EXPECT_GT(nodes_moved, 1000) << word;
    }
  }
}

TEST(ShipPass, SurfaceFallsOnceANodeWhateverTheNumberOfLevels) {
  float surface[2], speed[2];
  for (int i = 0; i < 2; ++i) {
    ShipRun s;
    s.channel(
        50, 10, 40.0, [](double, double) { return 12.0f; }, i == 0 ? 0 : 5);
    s.hull("function");
    s.route("2 a\n100 200 10\n1900 200 10\n");
    SHIP_SETUP(s.run);
    s.pass_at(900.0 / 5.15);    // at (1000, 200)
    const int n = 6 * 51 + 26;  // (1000, 240)
    surface[i] = s.run.flow.ETAnode(n);
    EXPECT_FLOAT_EQ(s.run.flow.Hnode(n), 12.0f + surface[i]);
    speed[i] = s.run.flow.Unode(n, s.run.flow.NUMlayers);
  }
  EXPECT_LT(surface[0], -0.05f);
  EXPECT_EQ(surface[0], surface[1]);
  EXPECT_EQ(speed[0], speed[1]);
}

TEST(ShipPass, DepthAtTheShipIsThatOfTheMeshFirstAndOfThePassBeforeAfterwards) {
  ShipRun s;
  s.channel(50, 10, 40.0, [](double, double) { return 12.0f; });
  for (int n = 1; n <= s.run.mesh.NUMnode; ++n) s.run.flow.ETAnew(n) = s.run.flow.ETAold(n) = 2.0f;
  s.hull("function-continuity-return-square");
  s.route("2 a\n100 200 10\n1900 200 10\n");
  SHIP_SETUP(s.run);
  s.pass_at(100.0);
  EXPECT_FLOAT_EQ(s.run.ships.depth, 12.0f);  // without the level
  const float Vr = s.run.ships.Vr;
  ++s.run.clock.NStep;
  s.pass_at(250.0);  // away from where the pass before lowered the surface
  EXPECT_NEAR(s.run.ships.depth, 14.0f, 0.05f);
  EXPECT_LT(s.run.ships.Vr, 0.9f * Vr);  // in the deeper section
}

TEST(ShipPass, PropellersStandAtTheSternWithAHull) {
  ShipRun s;
  s.channel(60, 10, 10.0, [](double, double) { return 9.0f; });
  s.propeller("0");
  s.hull("function");
  s.run.settings.calibration_factor = 0.0f;  // the jet alone
  s.route("2 a\n300 50 0.001\n400 50 0.001\n");
  SHIP_SETUP(s.run);
  s.pass_at(0.0);
  // Heading east, the stern 180 / 2.3 = 78 m west of (300, 50).
  const auto U_at = [&](int column) { return s.run.flow.Unode(5 * 61 + column + 1, 0); };
  EXPECT_EQ(U_at(23), 0.0f);
  EXPECT_LT(U_at(20), -0.5f);
  s.run.settings.drawdown_on = false;
  s.pass_at(0.0);
  EXPECT_LT(U_at(28), -0.5f);
}

TEST(ShipPass, MooredShipWashesOnlyWhileItsPropellersTurn) {
  ShipRun s;
  s.channel(60, 10, 10.0, [](double, double) { return 9.0f; });
  s.propeller("0");
  s.route("1 moored\n300 50 90\n");
  SHIP_SETUP(s.run);
  s.pass_at(0.0);
  const int astern = 5 * 61 + 28 + 1;
  EXPECT_EQ(s.run.flow.Unode(astern, 0), 0.0f);
  s.run.ships.SHIPrunning = true;
  s.pass_at(10.0);
  EXPECT_LT(s.run.flow.Unode(astern, 0), -0.5f);
}

TEST(ShipPass, ShipWithoutSpeedDrawsNothingDownAndTheLogSaysSo) {
  ShipRun s;
  s.channel(10, 10, 40.0, [](double, double) { return 9.0f; });
  s.hull("function-return-square");
  s.route("1 moored\n1e6 0 90\n");  // not even in the mesh
  s.run.messages.echo_file = std::fopen(s.folder.path("log").c_str(), "w");
  SHIP_SETUP(s.run);
  s.pass_at(0.0);
  std::fclose(s.run.messages.echo_file);
  EXPECT_EQ(s.run.flow.ETAnode(1), 0.0f);
  EXPECT_NE(test::read_text(s.folder.path("log")).find("WARNING: the ship does not move"),
            std::string::npos);
}

TEST(ShipPass, ShipOffTheMeshStopsWhereItsDepthIsNeeded) {
  for (const char* word : nine_words) {
    const auto off_mesh = [&](bool to_stderr) {
      ShipRun s(to_stderr);
      s.channel(10, 10, 40.0, [](double, double) { return 9.0f; });
      s.hull(word);
      if (std::string(word) == "interpolated") {
        const std::string head =
            ":xorigin -1\n:yorigin -1\n:xdelta 90\n:ydelta 14\n:xcount 3\n:ycount 3\n:angle 0\n"
            ":endheader\n";
        s.run.settings.drawdown_fse_file = s.folder.write("z", head + "9*-1\n9*-1\n9*-1\n");
        s.run.settings.drawdown_vel_file =
            s.folder.write("uv", head + "3*1\n3*1\n3*1\n3*0\n3*0\n3*0\n");
      }
      s.route("2 a\n-500 200 10\n900 200 10\n");
      SHIP_SETUP(s.run);
      s.pass_at(-1.0);  // not there yet
      s.pass_at(0.0);
      std::fprintf(stderr, "passed\n");
      std::exit(0);
    };
    const std::string name = word;
    const bool needs_depth = name != "function" && name != "interpolated";
    EXPECT_EXIT(off_mesh(true), testing::ExitedWithCode(0),
                needs_depth ? "Ship not in domain" : "passed")
        << word;
  }
}

TEST(ShipPass, BlockedShipIsToldOnce) {
  ShipRun s;
  s.channel(50, 2, 20.0, [](double, double) { return 5.0f; });  // 40 m wide, 200 m2 in 1.1 draughts
  s.hull("function-return-square", "180\n46\n8\n");
  s.route("2 a\n100 20 10\n900 20 10\n");
  s.run.messages.echo_file = std::fopen(s.folder.path("log").c_str(), "w");
  SHIP_SETUP(s.run);
  for (double t : {0.0, 10.0, 20.0}) s.pass_at(t);
  std::fclose(s.run.messages.echo_file);
  EXPECT_EQ(s.run.ships.Vr, 0.0f);
  EXPECT_EQ(test::lines_of(test::read_text(s.folder.path("log"))).size(), 1u);
}

TEST(ShipPass, CurrentsAreAdjustedWithTheShipInThem) {
  ShipRun s;
  s.channel(50, 10, 40.0, [](double, double) { return 12.0f; });
  s.hull("function");
  s.route("2 a\n100 200 10\n1900 200 10\n");
  SHIP_SETUP(s.run);
  s.pass_at(900.0 / 5.15);
  const int n = 6 * 51 + 26;
  const float before = s.run.flow.Unode(n, 0);
  s.run.settings.adjust_currents = true;
  s.run.sediment.DEPTHstart = s.run.mesh.DEPTHnode;
  s.run.mesh.DEPTHnode(n) = 24.0f;
  s.pass_at(900.0 / 5.15);
  EXPECT_FLOAT_EQ(s.run.flow.Unode(n, 0), before * 12.0f / 24.0f);
}

// Whole runs from a control file, one with each word.
TEST(ShipRuns, EveryDrawdownWordRunsToTheEnd) {
  for (const char* word : nine_words) {
    SCOPED_TRACE(word);
    test::TemporaryFolder folder;
    test::TinyCase c = test::tiny_case();
    folder.write("hull.dat", "60\n9\n2\n");
    folder.write("prop.dat", "2\n0\n0\n1\n0\n1\n100\n0\n0\n0\n-1.5\n0\n");
    folder.write("route.i3s", ":start 2000 1 1 0 5 0 0\n:endheader\n2 boat\n50 200 6\n350 200 6\n");
    const std::string head =
        ":xorigin -1\n:yorigin -8\n:xdelta 30\n:ydelta 36\n:xcount 3\n:ycount 3\n:angle 0\n"
        ":endheader\n";
    folder.write("z.sgh", head + "3*-.1\n3*-.2\n3*-.1\n");
    folder.write("uv.sgh", head + "3*-.1\n3*-.2\n3*-.1\n3*0.\n3*0.\n3*0.\n");
    test::add_cards(c,
                    {":drawdown_data_file FOLDER/hull.dat", ":drawdown_fse_file FOLDER/z.sgh",
                     ":drawdown_vel_file FOLDER/uv.sgh", ":propwash_data_file FOLDER/prop.dat",
                     ":ship_route_file FOLDER/route.i3s", std::string(":drawdown_method ") + word});
    RunState run;
    test::run_case(run, c, folder);
    EXPECT_EQ(run.clock.NStep, 121);
    EXPECT_TRUE(run.ships.present);
    // The ship lies at the end of its way since the last pass before 300 m at 3.09 m/s.
    EXPECT_NEAR(run.ships.xs, 50.0f + 3.09f * 90.0f, 0.1f);
    const std::string log = test::read_text(folder.path("tiny.input"));
    EXPECT_NE(log.find("Drawdown:       Y"), std::string::npos);
    EXPECT_FALSE(test::read_text(folder.path("tiny_particles.plt")).empty());
  }
}

TEST(ShipRuns, HostedModeLeavesTheShipOut) {
  test::TemporaryFolder folder;
  test::TinyCase c = test::tiny_case();
  test::add_cards(c, {":propwash_data_file FOLDER/missing.dat", ":ship_route_file none"});
  RunState run;
  const std::string control = test::write_case(c, folder);
  test::quiet(run, folder.path("early"));
  RUN_DRIVER(run, {control, "hst"});
  EXPECT_EQ(run.clock.NStep, 121);
  EXPECT_FALSE(run.ships.present);
}

}  // namespace
}  // namespace dfl
