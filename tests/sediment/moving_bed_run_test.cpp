// Whole runs of a hump of sand under a steady current, from the control file to the output files.

#include <gtest/gtest.h>

#include <cmath>

#include "runs/tiny_run.h"

namespace dfl {
namespace {

constexpr int across = 51;  // nodes along each side, 20 m apart
constexpr double discharge = 5.0, plain_depth = 5.0;

double hump(double x, double y) {
  const double r2 = (x - 500.0) * (x - 500.0) + (y - 500.0) * (y - 500.0);
  return 0.5 * std::exp(-r2 / (120.0 * 120.0));
}

test::TinyCase hump_case() {
  test::TinyCase c = test::tiny_case();
  std::vector<test::TestNode> nodes;
  std::vector<test::TestElement> elements;
  test::rectangle_mesh(across - 1, across - 1, 20.0, 5.0f, nodes, elements);
  std::vector<int> left, right;
  for (int j = across - 1; j >= 0; --j) left.push_back(j * across + 1);
  for (int j = 0; j < across; ++j) right.push_back(j * across + across);
  test::Lines values;
  for (std::size_t n = 0; n < nodes.size(); ++n) {
    nodes[n].depth = static_cast<float>(plain_depth - hump(nodes[n].x, nodes[n].y));
    values.push_back(std::to_string(n + 1) + " " +
                     std::to_string(discharge / static_cast<double>(nodes[n].depth)) + " 0.");
  }
  c.mesh = test::lines_of(test::adcirc_text(nodes, elements, {left, right}, {}));
  c.elevation = test::frames(1, 100000.0, 2, across * across, 0.0f, 0.0f);
  c.velocity = {"flow", "2 2601 100000 10 2"};
  for (const char* head : {"0 0", "100000 10"}) {
    c.velocity.push_back(head);
    c.velocity.insert(c.velocity.end(), values.begin(), values.end());
  }
  c.control = {":mesh_file FOLDER/mesh.14",
               ":neighbor_file FOLDER/hump.nei",
               ":currents",
               ":flow_files FOLDER/flow.63 FOLDER/flow.64",
               ":start_flow 2000 1 1 0 0 0",
               ":sediments_format uniform 0.2 0.3 0.6",
               ":output_prefix FOLDER/hump",
               ":no_parcels",
               ":no_hyfs_parcels",
               ":no_hyfs_maps",
               ":ensim_maps",
               ":morphology",
               ":active_morphology",
               ":adjust_currents",
               ":start_run 2000 1 1 0 0 0",
               ":end_data"};
  return c;
}

double rise_sum(const RunState& run) {
  double sum = 0.0;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    sum += plain_depth - static_cast<double>(run.mesh.DEPTHnode(n));
  }
  return sum;
}

// Node at column i and row j, from 0.
int node(int i, int j) {
  return j * across + i + 1;
}

// Bytes of a file of so many frames, each of 8 + 28 + 4 x 2601 bytes between its two lengths.
std::size_t expected_size(const std::string& file, std::size_t frames) {
  constexpr std::size_t mesh = 8 + 4 * (2 * 2601 + 3 * 5000);
  return file.find(":EndHeader\n") + 11 + mesh + frames * (8 + 8 + 28 + 4 * 2601);
}

TEST(MovingBedRun, ClosedFormulaMovesTheHumpAndKeepsItsVolume) {
  const test::TemporaryFolder folder;
  test::TinyCase c = hump_case();
  test::add_cards(c, {":morphology_smoothing 2", ":slope_effects", ":time_step 300",
                      ":stop_run 2000 1 1 12 0 0", ":mapping_inc 48"});
  RunState run;
  test::run_case(run, c, folder);
  const SedimentState& bed = run.sediment;
  ASSERT_EQ(run.clock.NStep, 145);

  double moment = 0.0, start = 0.0, start_moment = 0.0;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    const double x = run.mesh.Xnode(n), was = hump(x, run.mesh.Ynode(n));
    start += was;
    start_moment += was * x;
    moment += (plain_depth - static_cast<double>(run.mesh.DEPTHnode(n))) * x;
    EXPECT_EQ(bed.BEDlevel(n), run.mesh.DEPTHnode(n));
    EXPECT_EQ(run.mesh.DEPTHnode(n),
              static_cast<float>(static_cast<double>(bed.DEPTHstart(n)) - bed.BEDchange(n)));
    // The currents of this step were made for the bed before it.
    EXPECT_NEAR(run.flow.Unode(n, 0) * run.flow.Hnode(n), 5.0f, 1.0e-4f);
  }
  EXPECT_NEAR(rise_sum(run) / start, 1.0, 1.0e-3);
  EXPECT_GT(moment / rise_sum(run) - start_moment / start, 15.0);  // m in half a day
  EXPECT_LT(bed.DZDT(node(22, 25)), 0.0f);
  EXPECT_GT(bed.DZDT(node(30, 25)), 0.0f);
  EXPECT_GT(bed.BEDslopeX(node(22, 25)), 0.0f);
  EXPECT_LT(bed.BEDslopeX(node(30, 25)), 0.0f);
  const std::string map = test::read_text(folder.path("hump_bed.t3s"));
  EXPECT_EQ(map.size(), expected_size(map, 4));  // steps 1, 49, 97 and 145
  EXPECT_FALSE(std::filesystem::exists(folder.path("hump~ssc.t3s")));
}

TEST(MovingBedRun, SuspendedTransportOverTheLatticeOfTheCardSpecial) {
  const test::TemporaryFolder folder;
  test::TinyCase c = hump_case();
  test::add_cards(c, {":eulerian_sed_trans a-d", ":special", ":time_step 5", ":mapping_inc 60",
                      ":stop_run 2000 1 1 0 10 0"});
  RunState run;
  test::run_case(run, c, folder);
  const SedimentState& bed = run.sediment;
  ASSERT_EQ(run.clock.NStep, 121);
  EXPECT_FALSE(bed.lattice_warned || bed.ad_step_warned);
  EXPECT_EQ(bed.eulerian_frames, 3);  // steps 1, 61 and 121

  for (int j = 0; j < across; ++j) {
    for (int i = 0; i < across; ++i) {
      const int n = node(i, j);
      const bool edge = i == 0 || j == 0 || i == across - 1 || j == across - 1;
      EXPECT_EQ(bed.SSCnode(n, 1) > 0.0f, !edge);
      EXPECT_EQ(bed.QSED(n), 2650.0f * bed.SSCnode(n, 2));
      if (edge) {
        EXPECT_EQ(bed.BEDchange(n), 0.0);
      }
    }
  }
  // Erosion on the side that the current meets, deposition behind the crest, most load on it.
  EXPECT_LT(bed.BEDchange(node(20, 25)), -1.0e-5);
  EXPECT_GT(bed.BEDchange(node(30, 25)), 1.0e-6);
  EXPECT_GT(bed.QSED(node(25, 25)), 1.1f * bed.QSED(node(25, 8)));

  for (const char* word : {"ssc", "pick-up", "depo", "qbs"}) {
    const std::string file = test::read_text(folder.path("hump~" + std::string(word) + ".t3s"));
    EXPECT_EQ(file.size(), expected_size(file, 3)) << word;
  }
}

}  // namespace
}  // namespace dfl
