// Frames of map output and the concentrations that they show.

#include "output/map_output.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "control/run_clock.h"
#include "control/text_tools.h"
#include "dataset/hyfs.h"
#include "mesh/geometry.h"
#include "output/concentration.h"
#include "output/output_run.h"
#include "output/output_setup.h"

namespace dfl {
namespace {

// A basin of 20 by 20 cells of 10 m, 4 m deep, with n parcels of 1 kg in motion near its middle.
void prepare(RunState& run, int n) {
  std::vector<test::TestNode> nodes;
  std::vector<test::TestElement> elements;
  test::rectangle_mesh(20, 20, 10.0, 4.0f, nodes, elements);
  test::set_mesh(run, nodes, elements);
  MESH_GEOMETRY(run);
  run.flow.Hnode.fill(4.0f);
  run.sediment.D35.allocate(run.mesh.NUMnode, 1e-4f);
  run.sediment.D50.allocate(run.mesh.NUMnode, 2e-4f);
  run.sediment.D90.allocate(run.mesh.NUMnode, 3e-4f);
  run.sediment.BEDmobile.allocate(run.mesh.NUMnode, logical_true);
  Settings& s = run.settings;
  s.hyfs_parcels = false;
  s.no_parcels = true;
  s.start_run = DATE_TO_SECONDS(REFyear, {2000, 1, 2, 0, 0, 0, 0});
  s.stop_run = s.start_run + 100.0;
  s.time_step = 10.0;
  ParcelState& p = run.parcels;
  p.NUMparcels = p.NUMborn = p.NUMalive = p.NUMlisted = n;
  p.PARCELS.allocate(n);
  p.ALIVElist.allocate(n);
  for (int id = 1; id <= n; ++id) {
    p.ALIVElist(id) = id;
    Parcel& parcel = p.PARCELS(id);
    parcel.ALIVE = logical_true;
    parcel.MASS = 1.0f;
    parcel.Age = 100.0f * static_cast<float>(id);
    parcel.X = 80.0 + 7.3 * id;
    parcel.Y = 90.0 + 3.1 * id;
  }
}

// Concentration times volume over the mesh, kg: elements carry a third of each corner.
double mass_on_mesh(const RunState& run) {
  double mass = 0.0;
  for (int e = 1; e <= run.mesh.NUMelem; ++e) {
    const double volume = static_cast<double>(run.mesh.AREAelem(e)) * 4.0;
    for (int n : {run.mesh.ELnode1(e), run.mesh.ELnode2(e), run.mesh.ELnode3(e)}) {
      mass += run.output.CONCnode(n) * volume / 3.0;
    }
  }
  return mass;
}

class Concentration : public test::OutputTest {};
class MapOutput : public test::OutputTest {};

TEST_F(Concentration, KeepsTheMassOfMovingParcels) {
  prepare(run, 6);
  run.parcels.PARCELS(3).DORMANT = logical_true;  // on the bed: not in the water
  run.parcels.PARCELS(4).ALIVE = logical_false;   // taken out by a trap in this step
  run.settings.gaussian_value = 0.05f;
  for (int method = 1; method <= 3; ++method) {
    run.settings.concentration_method = method;
    CONC_GAUSSIAN(run);
    EXPECT_NEAR(mass_on_mesh(run), 4.0 * 0.9999, 0.01) << method;
  }
  CONC_PARCEL_COUNT(run);
  EXPECT_NEAR(mass_on_mesh(run), 4.0, 1e-5);
  run.settings.concentration_units = 1000.0f;
  CONC_PARCEL_COUNT(run);
  EXPECT_NEAR(mass_on_mesh(run), 4000.0, 1e-2);
}

TEST_F(Concentration, GivesBackWhatFallsOutsideAndLeavesShallowElementsOut) {
  prepare(run, 1);
  run.settings.gaussian_value = 0.5f;
  run.parcels.PARCELS(1).X = 1.0;  // a cloud of which half lies outside
  run.parcels.PARCELS(1).Y = 100.0;
  CONC_GAUSSIAN(run);
  EXPECT_NEAR(mass_on_mesh(run), 1.0, 0.003);
  run.parcels.PARCELS(1).X = -5000.0;  // wholly outside: nothing
  CONC_GAUSSIAN(run);
  EXPECT_EQ(mass_on_mesh(run), 0.0);
  run.parcels.PARCELS(1).X = 101.0;
  run.flow.Hnode.fill(3.0f * run.settings.min_depth);
  CONC_GAUSSIAN(run);
  EXPECT_EQ(mass_on_mesh(run), 0.0);
}

// Nodes left of x = 100 m fall dry: there elements hold no more than 8/3 m, here 4 m. The mass over
// the shallow side is missing from the map.
TEST_F(Concentration, TheMassOverShallowElementsIsMissing) {
  prepare(run, 5);
  run.settings.min_depth = 1.0f;
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    if (run.mesh.Xnode(n) < 99.0) run.flow.Hnode(n) = 0.0f;
  }
  for (int id = 1; id <= 5; ++id) run.parcels.PARCELS(id).X = id <= 2 ? 55.0 : 155.0;
  CONC_PARCEL_COUNT(run);
  EXPECT_NEAR(mass_on_mesh(run), 3.0, 1e-5);
  // A cloud with its middle on the border.
  run.parcels.NUMlisted = 1;
  run.parcels.PARCELS(1).X = 100.0;
  run.parcels.PARCELS(1).Y = 101.0;
  run.settings.gaussian_value = 0.5f;
  run.settings.concentration_method = 1;
  CONC_GAUSSIAN(run);
  EXPECT_NEAR(mass_on_mesh(run), 0.5 * 0.9999, 0.01);
}

TEST_F(MapOutput, FramesOfAllThreeFormsHoldTheFields) {
  prepare(run, 0);
  Settings& s = run.settings;
  s.flow_mapping = s.mobility_mapping = s.bedform_mapping = true;
  s.tecplot_maps = s.ensim_maps = true;
  SETUP_OUTPUT(run);
  for (int n = 1; n <= run.mesh.NUMnode; ++n) {
    run.flow.ETAnode(n) = 0.25f;
    run.flow.Unode(n, 0) = 0.3f;
    run.flow.Vnode(n, 0) = n == 2 ? 0.0f : 0.4f;
    run.sediment.MOBILITYnode(n) = 2.0f;
    run.sediment.BEDFORMnode(n) = 0.125f;
  }
  run.flow.Unode(2, 0) = 0.0f;  // still water: no direction
  run.clock.NStep = 4;
  run.clock.DATEnow = SECONDS_TO_DATE(REFyear, s.start_run + 40.0);
  WRITE_HYFS_MAPS(run);
  WRITE_TECPLOT_MAPS(run);
  WRITE_ENSIM_MAPS(run);
  std::fclose(run.output.tecplot_map_file);

  HyfsHandle file = 0, group = 0;
  ASSERT_GE(hfopenfile_f(folder.path("run_maps.h5"), true, file), 0);
  ASSERT_GE(hfopengroup_f(file, "mobility", group), 0);
  std::vector<float> values;
  ASSERT_GE(hfreadvectorvaluestimestep_f(group, 1, values), 0);
  ASSERT_EQ(values.size(), 2u * 441u);
  EXPECT_FLOAT_EQ(values[0], 1.2f);  // 2 along (0.3, 0.4)
  EXPECT_FLOAT_EQ(values[1], 1.6f);
  EXPECT_EQ(values[2], 0.0f);
  EXPECT_EQ(values[3], 0.0f);
  std::vector<double> times;
  ASSERT_GE(hfgetdatasettimes_f(group, times), 0);
  EXPECT_EQ(times, std::vector<double>{30.0});
  hfclosegroup_f(group);
  hfclosefile_f(file);

  const auto lines = test::lines_of(output("run_maps.plt"));
  const std::size_t second = 3 + 441 + 800;  // head, first zone, elements
  ASSERT_EQ(lines.size(), second + 2 + 441);
  EXPECT_EQ(lines[second + 1], "ET=TRIANGLE, N=441, E=800, D=(1,2,FECONNECT)");
  EXPECT_NE(lines[second].find("@ 2000/01/02/00/00/40.000\""), std::string::npos);
  EXPECT_EQ(lines[second + 2],
            "           0.250           0.300           0.400        0.125000           1.200"
            "           1.600");

  const std::string ensim = output("run_mobility.t3v");
  const std::size_t record = 4 + (2 + 7 + 2 * 441) * 4 + 4;
  ASSERT_GT(ensim.size(), record);
  const char* at = ensim.data() + ensim.size() - record;
  std::int32_t head[3];
  std::memcpy(head, at, sizeof head);
  EXPECT_EQ(head[0], static_cast<std::int32_t>(record) - 8);
  EXPECT_EQ(head[1], 1);
  EXPECT_EQ(head[2], 4);
  float first_y = 0.0f;
  std::memcpy(&first_y, at + 4 + (9 + 441) * 4, 4);
  EXPECT_FLOAT_EQ(first_y, 1.6f);
}

}  // namespace
}  // namespace dfl
