#include "ships/return_flow.h"

#include "ship_run.h"

namespace dfl {
namespace {

using test::ShipRun;

ShipState ship_of(ReturnFlow method, float length, float beam, float draught, float speed) {
  ShipState ships;
  ships.return_flow = method;
  ships.SHIPlength = length;
  ships.SHIPbeam = beam;
  ships.SHIPdraft = draught;
  ships.SHIPspeed = speed;
  return ships;
}

ReturnFlowResult in_channel(ReturnFlow method, float W, float Hm, float speed, float beam = 28.0f,
                            float draught = 8.0f) {
  const MessageState messages;
  return RETURN_FLOW(messages, ship_of(method, 180.0f, beam, draught, speed), {W * Hm, W});
}

TEST(Bisection, FindsARootFromEitherSideAndStopsWithItsTexts) {
  const MessageState messages;
  const auto root = [&](float sign) {
    return RTBIS(messages, "bracket", "many", 0.0f, 4.0f, 1e-6f,
                 [=](float x) { return sign * (x * x - 2.0f); });
  };
  // The root returned is the side with g <= 0, within the tolerance and the rounding of x.
  EXPECT_NEAR(root(1.0f), std::sqrt(2.0f), 2e-6f);
  EXPECT_NEAR(root(-1.0f), std::sqrt(2.0f), 2e-6f);

  RunState run;
  const auto stops = [&](float x1, float x2, float t, float at) {
    run.messages.console_out = stderr;
    run.messages.console_in = nullptr;
    run.messages.output_prefix = "/dev/null/none";
    RTBIS(run.messages, "ROOT MUST BE BRACKETED IN RTBIS", "TOO MANY ITERATIONS IN RTBIS_square",
          x1, x2, t, [=](float x) { return x - at; });
  };
  const char* bracket = "ROOT MUST BE BRACKETED IN RTBIS";
  EXPECT_EXIT(stops(1.0f, 2.0f, 1e-6f, 0.5f), testing::ExitedWithCode(0), bracket);
  EXPECT_EXIT(stops(1.0f, 2.0f, 1e-6f, 1.0f), testing::ExitedWithCode(0), bracket);
  EXPECT_EXIT(stops(1.0f, 2.0f, 1e-6f, std::nanf("")), testing::ExitedWithCode(0), bracket);
  // A tolerance that cannot be met, and no point at which the function is 0.
  EXPECT_EXIT(stops(0.0f, 1e30f, 0.0f, 0.7e20f * 1.1f), testing::ExitedWithCode(0),
              "TOO MANY ITERATIONS IN RTBIS_square");
}

TEST(ReturnFlow, KnownShipInKnownSections) {
  struct Case {
    ReturnFlow method;
    float speed, Vr;
  };
  for (const Case& c :
       {Case{ReturnFlow::square, 4.0f, 0.5403f}, Case{ReturnFlow::channel, 4.0f, 0.5274f},
        Case{ReturnFlow::trench, 4.0f, 0.5253f}, Case{ReturnFlow::channel, 5.15f, 0.827f}}) {
    EXPECT_NEAR(in_channel(c.method, 200.0f, 12.0f, c.speed).Vr, c.Vr, 2e-4f)
        << static_cast<int>(c.method) << ' ' << c.speed;
  }
  // m = 0.114 200 / 28 + 0.715 = 1.52929, E = exp(-(0.52 ln m + 0.42) m) = 0.37543.
  EXPECT_NEAR(in_channel(ReturnFlow::square, 200.0f, 12.0f, 4.0f).Lr, 65.39f / 0.62457f, 0.05f);
}

// Plausible ships and channels: the root is always bracketed, the iteration ends, and the answer
// keeps the discharge of its own section.
TEST(ReturnFlow, RootsAreFoundOverShipsSpeedsAndSections) {
  int below_critical = 0, critical = 0;
  float worst = 0.0f;
  for (const auto& [beam, draught] :
       {std::pair{12.0f, 3.0f}, {20.0f, 5.5f}, {28.0f, 8.0f}, {32.2f, 11.0f}, {45.0f, 14.0f}}) {
    for (float W : {120.0f, 160.0f, 200.0f, 300.0f, 500.0f, 1000.0f}) {
      for (float depth_ratio : {1.1f, 1.25f, 1.5f, 2.0f, 3.0f}) {
        for (float speed : {0.5f, 1.0f, 2.0f, 3.0f, 4.0f, 5.15f, 7.0f, 10.0f}) {
          const float Hm = depth_ratio * draught;
          for (ReturnFlow method : {ReturnFlow::square, ReturnFlow::channel, ReturnFlow::trench}) {
            // A trench is 6 m deep below its flats.
            if (method == ReturnFlow::trench && Hm < 7.0f) continue;
            // Banks of 1 to 3 that meet above the bed leave no section.
            if (method == ReturnFlow::channel && W < 3.0f * Hm) continue;
            const std::string what = std::to_string(static_cast<int>(method)) + " B " +
                                     std::to_string(beam) + " W " + std::to_string(W) + " Hm " +
                                     std::to_string(Hm) + " U " + std::to_string(speed);
            const ReturnFlowResult r = in_channel(method, W, Hm, speed, beam, draught);
            ASSERT_FALSE(r.blocked) << what;
            ASSERT_TRUE(std::isfinite(r.Vr) && r.Vr > 0.0f) << what;
            ASSERT_TRUE(std::isfinite(r.Lr) && r.Lr > 0.0f) << what;
            if (r.z == 0.0f) {
              ++critical;
              continue;
            }
            ++below_critical;
            // What the free section carries past the ship, and what goes by its hull.
            const float A = W * Hm, hull = draught * beam, S = 3.0f;
            float free = A * speed, by_hull = 0.0f;
            if (method == ReturnFlow::square) {
              by_hull = (A - r.z * W - hull) * (speed + r.Vr);
            } else if (method == ReturnFlow::channel) {
              by_hull = (A - r.z * W + r.z * r.z * S - hull) * (speed + r.Vr);
            } else {
              // Here the water of the drop itself is not carried by.
              const float q0 = Hm - 6.0f;
              const float section = 6.0f * W + 110.0f * q0 + S * q0 * q0 - r.z * W;
              free = section * speed;
              by_hull = (section - hull) * (speed + r.Vr);
            }
            worst = std::max(worst, std::abs(by_hull / free - 1.0f));
          }
        }
      }
    }
  }
  EXPECT_GT(below_critical, 500);
  EXPECT_GT(critical, 500);
  EXPECT_LT(worst, 1e-5f);
  RecordProperty("worst_discharge_residual_1e9", std::to_string(worst * 1.0e9f));
}

TEST(ReturnFlow, NearTheCriticalSpeedTheCriticalReturnFlowIsTaken) {
  // n = 200 x 12 / (28 x 8) = 10.714; c3 = cos(acos(1 - 1/n) / 3 + 60 deg) = 0.12268.
  const float n = 200.0f * 12.0f / 224.0f;
  const float c3 = std::cos(std::acos(1.0f - 1.0f / n) / 3.0f + 1.0471967f);
  const float Vc = std::sqrt(8.0f * 9.81f * c3 * c3 * c3 * 12.0f);
  const float critical = std::sqrt(2.0f * 9.81f * c3 * 12.0f) - Vc;
  const ReturnFlowResult at = in_channel(ReturnFlow::square, 200.0f, 12.0f, 0.81f * Vc);
  EXPECT_EQ(at.z, 0.0f);
  EXPECT_NEAR(at.Vr, critical, 1e-4f);
  EXPECT_NEAR(in_channel(ReturnFlow::square, 200.0f, 12.0f, 2.0f * Vc).Vr, critical, 1e-4f);
  EXPECT_GT(in_channel(ReturnFlow::square, 200.0f, 12.0f, 0.79f * Vc).z, 0.0f);
}

TEST(ReturnFlow, ShipThatFillsItsSectionIsBlocked) {
  const MessageState messages;
  const ShipState ships = ship_of(ReturnFlow::square, 180.0f, 28.0f, 8.0f, 4.0f);
  for (const ChannelSection& section :
       {ChannelSection{0.0f, 0.0f}, ChannelSection{200.0f, 20.0f}}) {
    const ReturnFlowResult r = RETURN_FLOW(messages, ships, section);
    EXPECT_TRUE(r.blocked);
    EXPECT_EQ(r.Vr, 0.0f);
    EXPECT_EQ(r.Lr, 0.0f);
  }
  // A section that is wide but shallow has 1.1 draughts of depth.
  EXPECT_NEAR(RETURN_FLOW(messages, ships, {100.0f, 200.0f}).A, 200.0f * 8.8f, 1e-2f);
  EXPECT_EQ(RETURN_FLOW(messages, ship_of(ReturnFlow::none, 180, 28, 8, 4), {2400, 200}).Vr, 0.0f);
}

TEST(ReturnFlow, SectionOutsideAFormulaStopsWithItsMessage) {
  // Banks of 1 to 3 meet above the bed of a channel that is narrower than six depths.
  EXPECT_EXIT(
      {
        RunState run;
        test::quiet(run, "/dev/null/none", true);
        RETURN_FLOW(run.messages, ship_of(ReturnFlow::channel, 180.0f, 10.0f, 8.0f, 1.0f),
                    {36.0f * 12.0f, 36.0f});
      },
      testing::ExitedWithCode(0), "ROOT MUST BE BRACKETED IN RTBIS");
}

TEST(ChannelSection, LooksAcrossTheTrackOverWetPointsOnly) {
  ShipRun s;
  // Along +x; dry beyond 100 m and 300 m, 10 m deep between.
  s.channel(40, 40, 10.0, [](double, double y) { return y < 95.0 || y > 305.0 ? -1.0f : 10.0f; });
  const auto at = [&](double x, double y, float heading) {
    return CHANNEL_SECTION(s.run, x, y, heading, s.run.mesh.DEPTHnode);
  };
  const ChannelSection east = at(200.0, 200.0, 90.0f);
  EXPECT_EQ(east.W, 200.0f);
  EXPECT_NEAR(east.A, 2000.0f, 0.5f);  // the points at the edges sit on nodes of 10 m
  // The other way round, and off the axis.
  EXPECT_EQ(at(200.0, 200.0, 270.0f).W, 200.0f);
  EXPECT_EQ(at(200.0, 260.0, 90.0f).W, 200.0f);
  // Northward the section lies along the channel, to the ends of the mesh. The truncated circle
  // constant turns it a little: the ends may fall outside.
  EXPECT_NEAR(at(200.0, 200.0, 0.0f).W, 400.0f, 10.0f);
  // Off the mesh there is no water.
  EXPECT_EQ(at(-2000.0, 200.0, 90.0f).W, 0.0f);
  EXPECT_EQ(at(-2000.0, 200.0, 90.0f).A, 0.0f);
}

}  // namespace
}  // namespace dfl
