// Tiny whole runs on the files of the flow models: every combination of mesh, flow and bed formats,
// and the ways in which parcels leave.

#include <gtest/gtest.h>

#include <cmath>

#include "runs/model_case.h"

namespace dfl {
namespace {

using test::DatasetFile;
using test::Lines;
using test::ModelFlow;
using test::TemporaryFolder;
using test::TinyCase;
using test::Values;

constexpr int levels = 3;

TinyCase model_case(const TemporaryFolder& folder, const std::string& mesh, const std::string& flow,
                    const std::string& bed, const ModelFlow& f) {
  TinyCase c = test::tiny_case();
  test::add_cards(c, {":stop_run 2000 1 1 0 5 0", ":no_random_walk", ":no_turbulent_shear"});
  test::use_mesh(c, folder, mesh, levels);
  test::use_flow(c, folder, flow, f, levels);
  test::use_bed(c, folder, bed, mesh);
  return c;
}

struct Formats {
  const char* mesh;
  std::vector<const char*> flows, beds;
};
const Formats all_formats[] = {
    {"adcirc", {"adcirc", "hyfs", "adcirc 3d", "kfe"}, {"uniform", "adcirc", "hyfs", "kfe"}},
    {"kfe", {"adcirc", "hyfs", "adcirc 3d", "kfe"}, {"uniform", "adcirc", "hyfs", "kfe"}},
    {"gr3d",
     {"adcirc", "hyfs", "adcirc 3d", "kfe", "gr3d", "n3d"},
     {"uniform", "adcirc", "hyfs", "kfe"}},
    {"n3d",
     {"adcirc", "hyfs", "adcirc 3d", "kfe", "gr3d", "n3d"},
     {"uniform", "adcirc", "hyfs", "kfe"}},
    {"n2d",
     {"adcirc", "hyfs", "adcirc 3d", "kfe", "n2d"},
     {"uniform", "adcirc", "hyfs", "kfe", "n2d"}},
};

TEST(ModelRun, EveryCombinationOfFormatsCarriesTheTracerWithTheFlow) {
  for (const Formats& formats : all_formats) {
    for (const char* flow : formats.flows) {
      for (const char* bed : formats.beds) {
        SCOPED_TRACE(std::string("mesh ") + formats.mesh + ", flow " + flow + ", bed " + bed);
        const TemporaryFolder folder;
        TinyCase c = model_case(folder, formats.mesh, flow, bed, {0.1f, -0.05f, 0.25f, 0.25f});
        const std::string word = flow;
        const bool flat = word == "adcirc" || word == "hyfs" || word == "n2d";
        // Depth-averaged flow moves the tracer with the mean in "1d" only.
        if (flat) test::add_cards(c, {":advection_method 1d"});
        RunState run;
        test::run_case(run, c, folder);
        EXPECT_EQ(run.clock.NStep, 31);
        EXPECT_EQ(run.parcels.NUMborn, 5 + 31);
        EXPECT_EQ(run.flow.FLOW2D, flat);
        const Parcel& light = run.parcels.PARCELS(2);
        EXPECT_TRUE(is_true(light.ALIVE));
        EXPECT_NEAR(light.X, 120.0 + 0.1 * 300.0, 0.01);
        EXPECT_NEAR(light.Y, 210.0 - 0.05 * 300.0, 0.01);
        for (const int n : {1, 13, 25}) {
          EXPECT_FLOAT_EQ(run.flow.Hnode(n), 5.25f);
          EXPECT_FLOAT_EQ(run.sediment.D35(n), 0.0001f);
          EXPECT_FLOAT_EQ(run.sediment.D50(n), 0.0002f);
          EXPECT_FLOAT_EQ(run.sediment.D90(n), 0.0005f);
        }
      }
    }
  }
}

// Frames of displacement 0 and 1 m at 0 and 600 s; at 300 s the surface stands at 0.5 m.
TEST(ModelRun, SurfaceAndFieldsMoveOnBetweenTheFrames) {
  struct Case {
    const char *mesh, *flow;
    float salinity, temperature;  // 0: the flow has none
  };
  for (const Case& m : {Case{"kfe", "kfe", 0.0f, 0.0f}, Case{"gr3d", "gr3d", 30.0f, 12.0f},
                        Case{"n3d", "n3d", 30.0f, 0.0f}}) {
    SCOPED_TRACE(m.mesh);
    const TemporaryFolder folder;
    const TinyCase c = model_case(folder, m.mesh, m.flow, "kfe", {0.1f, 0.0f, 0.0f, 1.0f});
    RunState run;
    test::run_case(run, c, folder);
    // The last step begins at 300 s.
    EXPECT_NEAR(run.flow.Hnode(13), 5.5f, 0.02f);
    EXPECT_EQ(run.flow.SALnode.allocated(), m.salinity > 0.0f);
    EXPECT_EQ(run.flow.TEMnode.allocated(), m.temperature > 0.0f);
    if (m.salinity > 0.0f) {
      EXPECT_FLOAT_EQ(run.flow.SALnode(13, levels), m.salinity);
    }
    if (m.temperature > 0.0f) {
      EXPECT_FLOAT_EQ(run.flow.TEMnode(13, 1), m.temperature);
    }
  }
}

// ---- a shear of u = 0.2 m/s times the relative height ----

// Grains that do not settle, at height h above the bed, and a tracer lighter than water.
void use_neutral_grains(TinyCase& c, double h) {
  std::ostringstream row;
  row << "2000 1 1 0 0 10 120. 210. " << h << " 1. 0. 0. 5. ";
  c.sources = {"2",
               "1 1 'grain'",
               row.str() + "0.0001 0. 2650. 0. -1. -1.",
               "2 1 'light'",
               row.str() + "0.0001 0. 1000. 0. -1. -1.",
               "0",
               "0",
               "0"};
  test::add_cards(c, {":advection_method 3d"});
}

void expect_shear(const RunState& run, double h) {
  const Parcel& grain = run.parcels.PARCELS(1);
  EXPECT_TRUE(is_true(grain.ALIVE));
  EXPECT_NEAR(grain.h, h, 1e-3);
  EXPECT_NEAR(grain.X, 120.0 + 0.2 * (h / 5.0) * 300.0, 0.02);
  EXPECT_NEAR(grain.Y, 210.0, 1e-3);
  // The depth average is 0.1 m/s.
  const Parcel& light = run.parcels.PARCELS(run.parcels.NUMborn);
  EXPECT_NEAR(light.X, 120.0 + 0.1 * 300.0, 0.02);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) EXPECT_NEAR(run.flow.Unode(n, 0), 0.1f, 1e-6);
}

TEST(ModelRun, ShearOverEvenLevelsMovesAGrainByItsHeightAndTheTracerByTheMean) {
  for (const double h : {1.5, 2.5, 4.0}) {  // within the middles of the outer levels
    SCOPED_TRACE(h);
    const TemporaryFolder folder;
    TinyCase c = model_case(folder, "gr3d", "gr3d", "uniform", {});
    use_neutral_grains(c, h);
    {
      DatasetFile file(folder.path("flow.h5"));
      Values u;
      for (int k = 1; k <= levels; ++k) {
        u.insert(u.end(), 16, 0.2f * (static_cast<float>(k) - 0.5f) / levels);
      }
      test::two_steps(file, "eta", 16, 0.0f);
      test::two_steps(file, "u", u, u);
      for (const char* path : {"v", "w", "s", "t"}) test::two_steps(file, path, 48, 0.0f);
    }
    RunState run;
    test::run_case(run, c, folder);
    expect_shear(run, h);
  }
}

// Planes lie at other heights in every second row of nodes: with the levels of one node for all the
// grain would go another way. The unweighted mean of the levels is the same in both.
TEST(ModelRun, ShearOverLevelsOfTheirOwnAtEachNodeMovesAGrainByItsHeight) {
  const std::vector<float> heights[] = {{0.0f, 0.2f, 0.8f, 1.0f}, {0.0f, 0.4f, 0.6f, 1.0f}};
  for (const double h : {1.5, 2.5, 3.5}) {
    SCOPED_TRACE(h);
    const TemporaryFolder folder;
    TinyCase c = model_case(folder, "n3d", "n3d", "uniform", {});
    use_neutral_grains(c, h);
    {
      DatasetFile file(folder.path("flow.h5"));
      Values z, u;
      for (std::size_t k = 0; k <= levels; ++k) {
        for (std::size_t j = 0; j < 5; ++j) {
          const std::vector<float>& sigma = heights[j % 2];
          const float middle = k < levels ? 0.5f * (sigma[k] + sigma[k + 1]) : 9.0f;  // not used
          z.insert(z.end(), 5, -5.0f + 5.0f * sigma[k]);
          u.insert(u.end(), 5, 0.2f * middle);
        }
      }
      test::two_steps(file, "Grid/eta", z, z);
      test::two_steps(file, "Grid/east", u, u);
      for (const char* path : {"Grid/north", "Grid/up", "Grid/salt"}) {
        test::two_steps(file, path, 100, 0.0f);
      }
    }
    RunState run;
    test::run_case(run, c, folder);
    EXPECT_NEAR(run.flow.SIGnode(1, 1), 0.1f, 1e-6);
    EXPECT_NEAR(run.flow.SIGnode(6, 1), 0.2f, 1e-6);
    expect_shear(run, h);
  }
}

// ---- parcels that leave ----

struct Losses {
  int open = 0, off_mesh = 0, other = 0, alive = 0;
};

Losses losses_of(const RunState& run) {
  Losses losses;
  for (int id = 1; id <= run.parcels.NUMborn; ++id) {
    const Parcel& parcel = run.parcels.PARCELS(id);
    if (is_true(parcel.ALIVE)) {
      ++losses.alive;
    } else if (parcel.LOSS == lost_open_boundary) {
      ++losses.open;
    } else if (parcel.LOSS == lost_off_mesh) {
      ++losses.off_mesh;
    } else {
      ++losses.other;
    }
  }
  return losses;
}

TEST(ModelRun, ParcelsLeaveThroughTheRimWithoutABoundaryFile) {
  // Out of all four sides. A side along x can be missed by the rounding of a crossing.
  for (const auto& [u, v] : {std::pair{1.5f, 0.3f}, {-1.5f, 0.2f}, {0.1f, 1.4f}, {-0.3f, -1.5f}}) {
    const bool side_along_x = std::abs(v) > std::abs(u);
    SCOPED_TRACE(std::to_string(u) + " " + std::to_string(v));
    const TemporaryFolder folder;
    TinyCase c = model_case(folder, "gr3d", "gr3d", "uniform", {u, v, 0.0f, 0.0f});
    test::add_cards(c, {":bc_file none"});
    RunState run;
    test::run_case(run, c, folder);
    ASSERT_EQ(run.mesh.NUMopen, 1);
    const Losses losses = losses_of(run);
    EXPECT_GT(losses.open, 0);
    EXPECT_GE(losses.open + losses.off_mesh, 5);  // the tracer is away within the run
    if (!side_along_x) {
      EXPECT_EQ(losses.off_mesh, 0);
    }
    EXPECT_EQ(losses.other, 0);
    EXPECT_NE(test::read_text(folder.path("tiny_balance.txt")).find(std::to_string(losses.open)),
              std::string::npos);
  }
}

TEST(ModelRun, BoundaryFileOfALatticeKeepsParcelsInButForItsOpenSide) {
  for (const char* format : {"gr3d", "n3d"}) {
    for (const float u : {1.5f, -1.5f}) {
      SCOPED_TRACE(std::string(format) + " " + std::to_string(u));
      const TemporaryFolder folder;
      const TinyCase c = model_case(folder, format, format, "kfe", {u, 0.0f, 0.0f, 0.0f});
      RunState run;
      test::run_case(run, c, folder);
      const Losses losses = losses_of(run);
      if (u > 0.0f) {
        EXPECT_GE(losses.open, 5);
      } else {
        EXPECT_EQ(losses.open, 0);
        EXPECT_EQ(losses.alive, run.parcels.NUMborn);
        EXPECT_LT(run.parcels.PARCELS(2).X, 1.0);
      }
      EXPECT_EQ(losses.off_mesh + losses.other, 0);
    }
  }
}

// The mesh has no boundaries: whoever leaves it is off the mesh.
TEST(ModelRun, ParcelsThatLeaveAKfeMeshAreOffTheMesh) {
  const TemporaryFolder folder;
  const TinyCase c = model_case(folder, "kfe", "kfe", "kfe", {1.5f, 0.0f, 0.0f, 0.0f});
  RunState run;
  test::run_case(run, c, folder);
  const Losses losses = losses_of(run);
  EXPECT_GE(losses.off_mesh, 5);
  EXPECT_EQ(losses.open + losses.other, 0);
}

}  // namespace
}  // namespace dfl
