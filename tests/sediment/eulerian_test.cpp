#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "control/text_tools.h"
#include "sediment/bed_fields.h"
#include "sediment/eulerian_ad.h"
#include "sediment/eulerian_files.h"
#include "sediment/lattice_run.h"
#include "sediment/literal_lattice.h"

namespace dfl {
namespace {

using test::lattice_node;
using test::lattice_run;

constexpr float rho = 1025.0f, nu = 1.1e-6f;

void pass(RunState& run, float dt, const Array<float>* breaking = nullptr) {
  Array<float> densities, viscosities, calm;
  densities.allocate(run.mesh.NUMnode, rho);
  viscosities.allocate(run.mesh.NUMnode, nu);
  calm.allocate(run.mesh.NUMnode);
  EULERIAN_AD(run, dt, densities, viscosities, breaking == nullptr ? calm : *breaking);
}

// Largest difference between a field and what is expected, over the largest value.
template <class Field>
double difference(const std::vector<double>& expected, const Field& field) {
  double most = 0.0, scale = 0.0;
  for (std::size_t k = 1; k < expected.size(); ++k) {
    most = std::max(most, std::abs(expected[k] - static_cast<double>(field(static_cast<int>(k)))));
    scale = std::max(scale, std::abs(expected[k]));
  }
  EXPECT_GT(scale, 0.0);
  return most / scale;
}

// 7 by 6 nodes of uneven spacing, depth, current and bed, with a dry and a hard node.
void uneven_run(RunState& run, bool waves) {
  lattice_run(run, 7, 6, 4.0f);
  for (int j = 1; j <= 6; ++j) {
    for (int i = 1; i <= 7; ++i) {
      const int n = lattice_node(run, i, j);
      const double a = std::sin(1.3 * i + 0.7 * j), b = std::cos(0.9 * i - 1.7 * j);
      run.mesh.Xnode(n) = 20.0 * i + 2.0 * i * i + 0.3 * j;
      run.mesh.Ynode(n) = 25.0 * j + 1.5 * j * j - 0.4 * i;
      run.mesh.DEPTHnode(n) = static_cast<float>(4.0 + 0.8 * a);
      run.flow.Hnode(n) = run.mesh.DEPTHnode(n) + 0.2f;
      run.flow.Unode(n, 0) = static_cast<float>(0.9 + 0.4 * b);
      run.flow.Vnode(n, 0) = static_cast<float>(0.7 * a);
      run.sediment.D50(n) = static_cast<float>(0.0002 + 0.00005 * b);
      run.sediment.KSnode(n) = static_cast<float>(0.03 + 0.01 * a);
      if (!waves) continue;
      run.waves.WAVEheight(n) = static_cast<float>(0.6 + 0.3 * b);
      run.waves.WAVEperiod(n) = static_cast<float>(6.0 + a);
      run.waves.WAVEdirx(n) = static_cast<float>(-0.6 + 0.3 * a);
      run.waves.WAVEdiry(n) = static_cast<float>(0.5 - 0.8 * b);
    }
  }
  run.settings.waves = run.settings.wave_breaking = waves;
  run.settings.bedload_coef = 1.3f;
  run.settings.suspended_load_coef = 0.8f;
  run.sediment.BEDmobile(lattice_node(run, 3, 4)) = logical_false;
  run.flow.Hnode(lattice_node(run, 5, 3)) = 0.009f;        // dry within the lattice
  run.flow.Hnode(lattice_node(run, 3, 2)) = -2.0f;         // far above the water
  run.flow.Vnode(lattice_node(run, 4, 6), 0) = -99999.0f;  // a neighbour without a velocity
  if (waves) run.waves.WAVEheight(lattice_node(run, 2, 2)) = 0.0f;
  if (waves) run.waves.WAVEperiod(lattice_node(run, 6, 5)) = 1.0f;  // too short to feel the bed
}

TEST(EulerianAd, AgreesWithItsFormulasWrittenOutInEightBytes) {
  for (const bool waves : {false, true}) {
    RunState run;
    uneven_run(run, waves);
    Array<float> breaking;
    breaking.allocate(run.mesh.NUMnode);
    for (int n = 1; n <= run.mesh.NUMnode; n += 3) breaking(n) = waves ? -4.0f : 0.0f;
    test::LiteralLattice literal;
    for (int k = 1; k <= 20; ++k) {
      pass(run, 2.0f, &breaking);
      literal.pass(run, 2.0, static_cast<double>(rho), static_cast<double>(nu), breaking);
      // A pass rounds each value by some 1e-6 in 4 bytes; powers of stresses raise that.
      const SedimentState& bed = run.sediment;
      const auto C = [&](int n) { return bed.SSCnode(n, 1); };
      const auto load = [&](int n) { return bed.SSCnode(n, 2); };
      ASSERT_LT(difference(literal.C, C), 2.0e-5) << waves << ' ' << k;
      ASSERT_LT(difference(literal.load, load), 2.0e-5) << waves << ' ' << k;
      ASSERT_LT(difference(literal.DZDT, bed.DZDT), 5.0e-5) << waves << ' ' << k;
    }
  }
}

TEST(EulerianAd, EdgesAndDryNodesStayEmpty) {
  RunState run;
  lattice_run(run, 6, 5, 3.0f);
  test::set_current(run, 1.2f, 0.3f);
  const int dry = lattice_node(run, 3, 3);
  run.flow.Hnode(dry) = 0.01f;  // at the limit: not wet
  run.sediment.SSCnode(dry, 1) = 0.001f;
  for (int k = 0; k < 5; ++k) pass(run, 1.0f);
  for (int j = 1; j <= 5; ++j) {
    for (int i = 1; i <= 6; ++i) {
      const int n = lattice_node(run, i, j);
      const bool wet = !test::on_edge(run, i, j) && n != dry;
      EXPECT_EQ(run.sediment.SSCnode(n, 1) > 0.0f, wet) << i << ' ' << j;
      EXPECT_EQ(run.sediment.SSCnode(n, 2) > 0.0f, wet) << i << ' ' << j;
      EXPECT_TRUE(wet || run.sediment.DZDT(n) == 0.0f) << i << ' ' << j;
    }
  }
}

// Without current and waves a concentration settles at 1 m/s by itself: C dt / h a pass.
TEST(EulerianAd, StillWaterSettlesWhereItIs) {
  RunState run;
  lattice_run(run, 5, 5, 4.0f);
  const int middle = lattice_node(run, 3, 3), beside = middle + 1;
  run.sediment.SSCnode(middle, 1) = 0.002f;
  pass(run, 1.0f);
  EXPECT_FLOAT_EQ(run.sediment.SSCnode(middle, 1), 0.002f * (1.0f - 1.0f / 4.0f));
  EXPECT_EQ(run.sediment.SSCnode(beside, 1), 0.0f);
  EXPECT_EQ(run.sediment.SSCnode(middle, 2), 0.0f);  // no load without a current
  // The smoothing leaves two of six parts at the node and gives one to each neighbour.
  const float rate = 0.002f / (1.0f - run.settings.bed_porosity);
  EXPECT_FLOAT_EQ(run.sediment.DZDT(middle), rate * 2.0f / 6.0f);
  EXPECT_FLOAT_EQ(run.sediment.DZDT(beside), rate / 6.0f);
  // More than there is cannot settle.
  pass(run, 100.0f);
  EXPECT_EQ(run.sediment.SSCnode(middle, 1), 0.0f);
}

TEST(EulerianAd, GrainsWithoutThresholdOrFrictionGiveNumbers) {
  const struct {
    const char* name;
    float D50, rhos, ks, h;
  } cases[] = {{"no size", 0.0f, 2650.0f, 0.02f, 3.0f},
               {"as heavy as water", 0.0002f, rho, 0.02f, 3.0f},
               {"lighter than water", 0.0002f, 900.0f, 0.02f, 3.0f},
               {"no roughness", 0.0002f, 2650.0f, 0.0f, 3.0f},
               {"shallower than the roughness", 0.0002f, 2650.0f, 3.0f, 0.02f}};
  for (const auto& c : cases) {
    RunState run;
    lattice_run(run, 5, 5, c.h);
    test::set_current(run, 1.0f, 0.0f);
    run.settings.rhos = c.rhos;
    run.sediment.D50.fill(c.D50);
    run.sediment.KSnode.fill(c.ks);
    for (int n = 1; n <= 25; ++n) run.sediment.SSCnode(n, 1) = 0.0001f;
    pass(run, 0.001f);
    for (int n = 1; n <= 25; ++n) {
      EXPECT_TRUE(std::isfinite(run.sediment.SSCnode(n, 1))) << c.name;
      EXPECT_TRUE(std::isfinite(run.sediment.SSCnode(n, 2))) << c.name;
      EXPECT_TRUE(std::isfinite(run.sediment.DZDT(n))) << c.name;
    }
  }
}

TEST(EulerianAd, LatticeIsThatOfTheMeshOrOfTheCardSpecial) {
  const struct {
    int elements, nodes, columns, rows;
  } cases[] = {{59302, 30000, 200, 150}, {5000, 2601, 51, 51},       {118902, 60000, 150, 400},
               {80000, 40581, 501, 81},  {298402, 150000, 300, 500}, {5000, 2600, 0, 0},
               {5001, 2601, 0, 0}};
  for (const auto& c : cases) {
    RunState run;
    run.mesh.NUMelem = c.elements;
    run.mesh.NUMnode = c.nodes;
    run.settings.special = true;
    EXPECT_EQ(node_lattice(run).columns, c.columns) << c.nodes;
    EXPECT_EQ(node_lattice(run).rows, c.rows) << c.nodes;
    run.settings.special = false;
    EXPECT_EQ(node_lattice(run).columns, 0);
    // With structured meshes their own lattice serves, unless the table has one.
    run.settings.method.mesh = MeshFormat::gr3d;
    run.grid.NumI = c.nodes;
    run.grid.NumJ = 1;
    EXPECT_EQ(node_lattice(run).columns, c.nodes);
    run.grid.NumJ = 2;  // not the nodes of this mesh
    EXPECT_EQ(node_lattice(run).columns, 0);
    // Cells of a grid are no nodes.
    run.settings.method.mesh = MeshFormat::n2d;
    run.grid.NumJ = 1;
    EXPECT_EQ(node_lattice(run).columns, 0);
  }
}

TEST(EulerianAd, WithoutALatticeTheBedRestsAndTheRunIsToldOnce) {
  for (const int rows : {0, 2}) {
    RunState run;
    lattice_run(run, 4, rows == 0 ? 4 : rows, 3.0f);
    if (rows == 0) run.settings.method.mesh = MeshFormat::adcirc;
    test::set_current(run, 1.0f, 0.0f);
    run.sediment.DZDT.fill(0.5f);
    const auto log = test::echoed(run, [&] {
      for (int k = 0; k < 3; ++k) BED_FIELDS(run);
    });
    for (int n = 1; n <= run.mesh.NUMnode; ++n) {
      EXPECT_EQ(run.sediment.DZDT(n), 0.0f);
      EXPECT_EQ(run.sediment.QSED(n), 0.0f);
      EXPECT_EQ(run.sediment.SSCnode(n, 1), 0.0f);
    }
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].rfind("WARNING: eulerian_sed_trans \"a-d\" needs a lattice of nodes", 0), 0u);
  }
}

TEST(EulerianAd, PassesTooFarApartDrawAWarningAtTheirNodeOnce) {
  for (const bool too_long : {false, true}) {
    RunState run;
    lattice_run(run, 6, 5, 3.0f);
    test::set_current(run, 0.5f, 0.0f);
    const int fast = lattice_node(run, 4, 3);
    run.flow.Unode(fast, 0) = 1.0f;
    // Cells of 10 m: 0.1 1/s by the current; 0.04 1/s by each diffusion of 0.06 m/s x 3 m x 11.86.
    const auto log = test::echoed(run, [&] {
      for (int k = 0; k < 4; ++k) pass(run, too_long ? 6.0f : 2.0f);
    });
    ASSERT_EQ(log.size(), too_long ? 1u : 0u);
    if (too_long) {
      EXPECT_NE(log[0].find("updates 6 s apart"), std::string::npos) << log[0];
      EXPECT_NE(log[0].find("node " + std::to_string(fast)), std::string::npos) << log[0];
    }
  }
}

TEST(EulerianAdDeathTest, LatticeWithNodesAboveEachOtherStops) {
  const test::TemporaryFolder folder;
  for (const bool along_x : {true, false}) {
    RunState run;
    lattice_run(run, 5, 5, 3.0f);
    test::quiet(run, folder.path("run"), true);
    const int n = lattice_node(run, 3, 3);
    if (along_x) run.mesh.Xnode(n) = run.mesh.Xnode(n + 1);
    if (!along_x) run.mesh.Ynode(n) = run.mesh.Ynode(n - 5);
    EXPECT_EXIT(pass(run, 1.0f), testing::ExitedWithCode(0),
                "Eulerian solver needs a lattice mesh");
  }
}

// Density and viscosity of the node, the step between updates and the load in kg reach the solver.
TEST(EulerianAd, BedFieldsTakesTheLoadOfTheSolver) {
  RunState run, alone;
  for (RunState* r : {&run, &alone}) {
    lattice_run(*r, 5, 5, 3.0f);
    test::set_current(*r, 1.0f, 0.4f);
    r->settings.grid_update = 2;
    r->settings.time_step = 0.5;
    r->settings.eulerian_sed_trans_efficiency = 0.1f;  // has no part in this transport
    r->settings.active_morphology = true;              // nor has the smoothing of a moving bed
  }
  for (int k = 0; k < 4; ++k) {
    BED_FIELDS(run);
    for (int n = 1; n <= 25; ++n) alone.sediment.KSnode(n) = run.sediment.KSnode(n);
    pass(alone, 1.0f);
  }
  const int middle = lattice_node(run, 3, 3);
  EXPECT_GT(run.sediment.QSED(middle), 0.0f);
  for (int n = 1; n <= 25; ++n) {
    EXPECT_EQ(run.sediment.QSED(n), run.settings.rhos * alone.sediment.SSCnode(n, 2));
    EXPECT_EQ(run.sediment.DZDT(n), alone.sediment.DZDT(n));
  }
}

// ---------------------------------------------------------------- files

template <class T>
T value_at(const std::string& bytes, std::size_t at) {
  T value{};
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}
void append(std::string& bytes, auto value) {
  static_assert(sizeof value == 4);
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// A file of 12 nodes and 12 elements.
struct DebugFile {
  std::string bytes;
  std::size_t first_frame = 0;
  static constexpr std::size_t frame_bytes = 4 + 8 + 28 + 12 * 4 + 4;
  float value(std::size_t frame, int node) const {
    return value_at<float>(
        bytes, first_frame + frame * frame_bytes + 40 + (static_cast<std::size_t>(node) - 1) * 4);
  }
};

// Reads the file of a term and checks all but its values.
void read_debug_file(const RunState& run, const std::string& word, std::int32_t frames,
                     DebugFile& file) {
  file.bytes = test::read_text(run.settings.output_prefix + "~" + word + ".t3s");
  std::string start =
      std::string(59, '#') + "\n:FileType t3s BINARY EnSim 1.0\n#\n:Application   DFL\n" +
      ":Version       2.3.005\n:WrittenBy     debugger\n#\n#" + std::string(58, '-') +
      "\n#\n:Name       " + run.settings.output_prefix + "_" + word +
      "\n:Projection Cartesian \n:Ellipsoid Unknown \n:NodeCount 12\n:ElementCount 12\n" +
      ":ElementType  T3\n#\n:EndHeader\n";
  const std::int32_t geometry_bytes = (2 * 12 + 3 * 12) * 4;
  append(start, geometry_bytes);
  for (const Array<double>* x : {&run.mesh.Xnode, &run.mesh.Ynode}) {
    for (int n = 1; n <= 12; ++n) append(start, static_cast<float>((*x)(n)));
  }
  for (const Array<int>* corner : {&run.mesh.ELnode1, &run.mesh.ELnode2, &run.mesh.ELnode3}) {
    for (int e = 1; e <= 12; ++e) append(start, (*corner)(e));
  }
  append(start, geometry_bytes);
  file.first_frame = start.size();
  ASSERT_EQ(file.bytes.size(),
            start.size() + static_cast<std::size_t>(frames) * DebugFile::frame_bytes);
  EXPECT_EQ(file.bytes.substr(0, start.size()), start);
  for (std::int32_t frame = 1; frame <= frames; ++frame) {
    std::string head;
    const std::int32_t length = static_cast<std::int32_t>(DebugFile::frame_bytes) - 8;
    for (const std::int32_t number : {length, frame, frame}) append(head, number);
    for (std::size_t k = 0; k < 7; ++k) append(head, run.clock.DATEnow[k]);
    const std::size_t at =
        file.first_frame + static_cast<std::size_t>(frame - 1) * DebugFile::frame_bytes;
    EXPECT_EQ(file.bytes.substr(at, head.size()), head);
    EXPECT_EQ(value_at<std::int32_t>(file.bytes, at + DebugFile::frame_bytes - 4), length);
  }
}

TEST(EulerianFiles, FourFilesHoldTheTermsOfEachMapStep) {
  const test::TemporaryFolder folder;
  RunState run;
  lattice_run(run, 4, 3, 3.0f);
  test::quiet(run, folder.path("case"));
  test::set_current(run, 1.0f, 0.2f);
  run.clock.DATEnow = {2020, 11, 13, 4, 5, 6, 789};
  run.clock.RUNuser = "somebody";
  folder.write("case~ssc.t3s", std::string(100000, 'x'));  // of a former run: written over
  run.clock.MAPnow = true;
  pass(run, 1.0f);
  const int middle = lattice_node(run, 2, 2);
  const float first = run.sediment.SSCnode(middle, 1);
  run.clock.NStep = 2;
  run.clock.MAPnow = false;
  pass(run, 1.0f);  // leaves no frame
  run.clock.NStep = 3;
  run.clock.MAPnow = true;
  const float before = run.sediment.SSCnode(middle, 1);
  pass(run, 1.0f);

  DebugFile ssc, pick_up, depo, qbs;
  ASSERT_NO_FATAL_FAILURE(read_debug_file(run, "ssc", 2, ssc));
  ASSERT_NO_FATAL_FAILURE(read_debug_file(run, "pick-up", 2, pick_up));
  ASSERT_NO_FATAL_FAILURE(read_debug_file(run, "depo", 2, depo));
  ASSERT_NO_FATAL_FAILURE(read_debug_file(run, "qbs", 2, qbs));
  EXPECT_EQ(ssc.value(0, middle), first);
  for (int n = 1; n <= 12; ++n) {
    EXPECT_EQ(ssc.value(1, n), run.sediment.SSCnode(n, 1));
    const float Uc = std::sqrt(1.0f * 1.0f + 0.2f * 0.2f) * run.sediment.SSCnode(n, 1) * 3.0f;
    EXPECT_EQ(run.sediment.SSCnode(n, 2), Uc + qbs.value(1, n));
  }
  EXPECT_EQ(depo.value(0, middle), 0.0f);  // nothing in suspension yet
  EXPECT_GT(depo.value(1, middle), 0.0f);
  EXPECT_EQ(depo.value(1, 1), 0.0f);
  EXPECT_GT(qbs.value(0, middle), 0.0f);
  EXPECT_GT(before, first);
  EXPECT_GT(pick_up.value(0, middle), 0.0f);
  EXPECT_EQ(pick_up.value(1, middle), pick_up.value(0, middle));  // the flow has not changed
}

}  // namespace
}  // namespace dfl
