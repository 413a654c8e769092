// One step of one parcel against hand calculation: walls, ways out, landing, profiles.

#include <gtest/gtest.h>

#include "tests/parcels/track_case.h"

namespace dfl {
namespace {

using test::TemporaryFolder;

// A channel of 400 m by 200 m, 10 m deep, with walls below and above, closed on the left and open
// on the right; nothing moves by chance.
struct Channel {
  TemporaryFolder folder;
  RunState run;
  RandomStream random;

  Channel(float u, float v) {
    std::vector<test::TestNode> nodes;
    std::vector<test::TestElement> elements;
    constexpr int columns = 8, rows = 4;
    test::rectangle_mesh(columns, rows, 50.0, 10.0f, nodes, elements);
    test::set_mesh(run, nodes, elements);
    const auto number = [&](int i, int j) { return j * (columns + 1) + i + 1; };
    std::vector<int> land, open;
    for (int i = columns; i > 0; --i) land.push_back(number(i, rows));
    for (int j = rows; j > 0; --j) land.push_back(number(0, j));
    for (int i = 0; i <= columns; ++i) land.push_back(number(i, 0));
    for (int j = 0; j <= rows; ++j) open.push_back(number(columns, j));
    test::finish_mesh(run, folder, {open}, {land});
    test::still_water(run);
    for (int n = 1; n <= run.mesh.NUMnode; ++n) test::set_current(run, n, u, v);
    Settings& set = run.settings;
    set.method.advection = AdvectionMethod::q3d;
    set.method.velocity = VelocityMethod::uniform;
    set.no_random_walk = true;
    set.turbulent_shear = false;
    set.bed_interaction = false;
    seed_generator(random, 12345, 67890);
  }
  TrackReport step(Parcel& parcel, int order = 2) {
    return TRACK_PARCEL(run, *test::packed_fields(run), order, parcel, random);
  }
  Parcel grain(double x, double y, float height, float Ws) {
    return test::parcel_at(run, x, y, height, 2650.0f, 0.0002f, Ws);
  }
};

TEST(TrackStep, PathStopsWhereItMeetsTheWall) {
  Channel channel(1.0f, 2.0f);
  Parcel p = channel.grain(110.0, 188.0, 5.0f, 0.0f);
  EXPECT_EQ(channel.step(p).status, 1);
  EXPECT_TRUE(is_true(p.ALIVE));
  // The first stage goes 10 m up the wall's way: (115, 198). The second would end at (120, 208).
  EXPECT_NEAR(p.X, 116.0, 1e-9);
  EXPECT_NEAR(p.Y, 200.0, 1e-9);
}

TEST(TrackStep, VerticalPathMeetsALevelWall) {
  Channel channel(0.0f, -3.0f);
  Parcel p = channel.grain(110.0, 20.0, 5.0f, 0.0f);
  EXPECT_EQ(channel.step(p).status, 1);
  EXPECT_EQ(p.X, 110.0);
  EXPECT_EQ(p.Y, 0.0);
}

TEST(TrackStep, LevelPathMeetsAVerticalWall) {
  Channel channel(-3.0f, 0.0f);
  Parcel p = channel.grain(20.0, 110.0, 5.0f, 0.0f);
  EXPECT_EQ(channel.step(p).status, 1);
  EXPECT_EQ(p.X, 0.0);
  EXPECT_EQ(p.Y, 110.0);
}

TEST(TrackStep, WaysOutOfTheMesh) {
  const struct {
    const char* name;
    double x, y;
    float u, v;
    int status;
  } cases[] = {
      {"through the open end", 390.0, 110.0, 3.0f, 0.0f, lost_open_boundary},
      {"from an element with a wall and an open side", 398.0, 10.0, 3.0f, 0.0f, lost_off_mesh},
      {"over the end from an inner element", 340.0, 110.0, 9.0f, 0.0f, lost_off_mesh},
  };
  for (const auto& c : cases) {
    Channel channel(c.u, c.v);
    Parcel p = channel.grain(c.x, c.y, 5.0f, 0.0f);
    EXPECT_EQ(channel.step(p).status, c.status) << c.name;
    EXPECT_FALSE(is_true(p.ALIVE)) << c.name;
    EXPECT_EQ(p.LOSS, c.status) << c.name;
    EXPECT_EQ(p.X, c.x) << c.name;  // the record keeps the start of the step
    EXPECT_EQ(p.Y, c.y) << c.name;
  }
}

TEST(TrackStep, GrainThatLandsInAnEarlierStageStaysDown) {
  // Settles 1 m in a step of 10 s, so that the first stage of either order reaches the bed.
  for (const int order : {2, 4}) {
    Channel channel(0.0f, 0.0f);
    for (int e = 1; e <= channel.run.mesh.NUMelem; ++e) channel.run.sediment.BEDrate(e) = 1.0e-4f;
    Parcel p = channel.grain(110.0, 110.0, 0.3f, 0.1f);
    EXPECT_EQ(channel.step(p, order).status, 1);
    EXPECT_TRUE(is_true(p.DORMANT)) << order;
    EXPECT_FLOAT_EQ(p.h, 0.0009f / 4.0f) << order;
    EXPECT_FLOAT_EQ(p.Z, 0.0009f / 4.0f - 10.0f) << order;
    // Buried while it lay in its first stage: dt / 2 at order 2, dt / 4 / 2 at order 4.
    EXPECT_FLOAT_EQ(p.BURIAL, order == 2 ? 5.0e-4f : 1.25e-4f) << order;
  }
}

TEST(TrackStep, GrainOnTheBedIsBuriedWhileItRests) {
  for (const int order : {2, 4}) {
    Channel channel(0.0f, 0.0f);
    for (int e = 1; e <= channel.run.mesh.NUMelem; ++e) channel.run.sediment.BEDrate(e) = 1.0e-4f;
    Parcel p = channel.grain(110.0, 110.0, 0.0009f / 4.0f, 0.02f);
    p.DORMANT = logical_true;
    channel.step(p, order);
    EXPECT_TRUE(is_true(p.DORMANT));
    EXPECT_EQ(p.X, 110.0);
    EXPECT_FLOAT_EQ(p.BURIAL, order == 2 ? 5.0e-4f : 1.25e-4f) << order;
  }
}

TEST(TrackStep, RiseBeyondTheSurfaceIsMirroredThere) {
  Channel channel(0.0f, 0.0f);
  Parcel p = test::parcel_at(channel.run, 110.0, 110.0, 9.5f, 900.0f, 0.002f, -0.1f);
  channel.step(p);
  EXPECT_FLOAT_EQ(p.h, 9.5f);  // 9.5 + 1 = 10.5, half a metre beyond the surface
  EXPECT_FLOAT_EQ(p.Z, -0.5f);
}

TEST(TrackStep, PlaceIsDryBelowTheLeastDepthOnly) {
  for (const float depth : {0.01f, 0.0099f}) {
    Channel channel(0.0f, 0.0f);
    Parcel p = channel.grain(110.0, 110.0, 5.0f, 0.1f);
    for (int n = 1; n <= channel.run.mesh.NUMnode; ++n) channel.run.flow.Hnode(n) = depth;
    // At a node the depth is that of the node.
    p.X = channel.run.mesh.Xnode(channel.run.mesh.ELnode1(p.ELEMENT));
    p.Y = channel.run.mesh.Ynode(channel.run.mesh.ELnode1(p.ELEMENT));
    const bool dry = depth < 0.01f;
    EXPECT_EQ(channel.step(p).dry, dry);
    EXPECT_EQ(p.h == 5.0f, dry);
  }
}

// The stress formula raises a small roughness, and the profile of the same stage is that of the
// raised one, for grains and for what floats.
TEST(TrackStep, RoughnessRaisedByTheStressFormulaServesTheProfile) {
  constexpr float u = 0.5f, height = 2.0f;
  for (const float RHOs : {2650.0f, 1000.0f}) {
    for (const EulerianMethod method : {EulerianMethod::pie, EulerianMethod::van_rijn}) {
      Channel channel(u, 0.0f);
      Settings& set = channel.run.settings;
      set.method.velocity = VelocityMethod::log;
      set.method.eulerian = method;
      for (int n = 1; n <= channel.run.mesh.NUMnode; ++n) channel.run.sediment.KSnode(n) = 0.002f;
      Parcel p = test::parcel_at(channel.run, 110.0, 110.0, height, RHOs, 0.0002f, 0.0f);
      channel.step(p);
      const float roughness = method == EulerianMethod::pie ? 0.002f : 0.01f;
      const float share = std::log(30.0f * height / roughness);
      const float speed = RHOs > 1025.0f
                              ? u * share / std::log(11.0f * 10.0f / roughness)
                              : 2.5f * u * share / (5.75f * std::log10(10.0f / roughness) + 6.0f);
      EXPECT_NEAR(p.X, 110.0 + 10.0 * static_cast<double>(speed), 1e-5)
          << RHOs << " " << static_cast<int>(method);
    }
  }
}

}  // namespace
}  // namespace dfl
