#include "control/input_echo.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "common/test_run.h"
#include "control/run_clock.h"

namespace dfl {
namespace {

class InputEcho : public testing::Test {
 protected:
  InputEcho() {
    test::quiet(run, folder.path("run"));
    Settings& s = run.settings;
    run.clock.CONTROLfile = "case";
    run.clock.RUNuser = "ann";
    run.clock.run_start_date = {2024, 3, 5, 7, 8, 9, 0};
    s.mesh_file = "mesh.14";
    s.neighbor_file = "mesh.nei";
    s.time_step = 30.0;
    s.start_run = DATE_TO_SECONDS(REFyear, {2000, 1, 2, 1, 0, 0, 0});
    s.stop_run = s.start_run + 3600.0;
  }
  // The lines of the echo, with the prefix's folder cut out.
  std::vector<std::string> echoed() {
    WRITE_INPUT_ECHO(run);
    std::fclose(run.messages.echo_file);
    std::string text = test::read_text(folder.path("run.input"));
    const std::string prefix = folder.path("run");
    for (std::size_t i = text.find(prefix); i != std::string::npos; i = text.find(prefix)) {
      text.replace(i, prefix.size(), "run");
    }
    return test::lines_of(text);
  }
  static bool has(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
  }
  static bool has_label(const std::vector<std::string>& lines, const std::string& label) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.rfind(label, 0) == 0; });
  }

  test::TemporaryFolder folder;
  RunState run;
};

TEST_F(InputEcho, PlainRunLineByLine) {
  const std::vector<std::string> expected = {
      "DFL Simulation:",
      "  Version:       2.3 Build 005 (13/Nov/2020)",
      "  Username:      ann",
      "  PCF file:      case.pcf",
      "  Run start:     2024/03/05 @ 07:08:09",
      "",
      "Input Files",
      "  Mesh:          mesh.14  [adcirc]",
      "  Sediments:     none  [uniform]",
      "  Neighbors:     mesh.nei",
      "  Source:        none",
      "",
      "Output Files",
      "  HYFS (p):      run_parcels.h5",
      "    ID?:         T",
      "    Source?:     F",
      "    Grain size?: F",
      "    Density?:    F",
      "    Parcelmass?: F",
      "    Mobility?:   F",
      "    Elevation?:  T",
      "    Height?:     F",
      "    State?:      F",
      "    Fall vel.?:  F",
      "    Tau_cr?:     F",
      "    Flow?:       F",
      "",
      "Flow Start: [from input hydro. file]",
      "Start Time:      2000/01/02 @ 01:00:00.000 (    1577926800.0 sec)",
      "Stop Time:       2000/01/02 @ 02:00:00.000 (    1577930400.0 sec)",
      "Duration:            3600.0 sec",
      "",
      "Dmin:           0.010 m",
      "DT:             30.00 sec",
      "",
      "Ket:          0.25000",
      "Kev:          0.00859",
      "Et (min):     0.00200",
      "Ev (min):     0.00000",
      "",
      "RHOs:          2650.0 kg/m^3",
      "Porosity:        0.40",
      "",
      "Output inc.:      10",
      "Mapping inc.:   1000",
      "",
      "Bed D35:         0.10 mm",
      "Bed D50:         0.20 mm",
      "Bed D90:         0.50 mm",
      "",
      "Hiding-exposure?:  T",
      "Turbulent shear?:  T",
      "Bed interaction?:  T",
      "",
      "CENTROID_METHOD:  rouse",
      "ADVECTION_METHOD: 2d ",
      "EULERIAN_METHOD:  pie",
      "VELOCITY_METHOD:  2d (log)",
      "Numerical scheme: 2",
      "Mesh update:          1",
      "Flow update:          1",
      "",
      "Dist. by weight:  F",
      "Source to datum:  F",
      "",
      "HYFS comp.   :  -1",
      "HYFS path (z):  Datasets/Water Surface Elevation (63)",
      "HYFS path (u):  Datasets/Velocity (64)",
      "",
      std::string(60, '-'),
      "",
  };
  const std::vector<std::string> lines = echoed();
  ASSERT_EQ(lines.size(), expected.size());
  for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(lines[i], expected[i]);
}

TEST_F(InputEcho, RowsThatDependOnSettings) {
  Settings& s = run.settings;
  run.clock.CONTROLfile = "Case.PCF";
  s.debug = s.currents = s.waves = s.wave_breaking = s.morphology = s.active_morphology = true;
  s.no_bedforms = s.no_parcels = s.ensim = s.flow_mapping = s.drawdown_on = s.propwash_on = true;
  s.flow_file_z = "a.63";
  s.start_flow = 0.0;
  s.velocity_method = "2d (two-point)";
  s.bottom_flow_file = "b.64";
  s.bottom_flow_height = 0.5f;
  s.advection_method = "3d";
  s.n2d_step = 60.0f;
  const std::vector<std::string> lines = echoed();
  for (const char* line : {"Note: DFL simulation performed in DEBUG mode",
                           "  PCF file:      Case.PCF",
                           "  WSE:           a.63  [adcirc]",
                           "  Bottom flows:  b.64  [@0.5m]",
                           "  Waves:         Y [see Case.PCF]",
                           "  Breaking:      T",
                           "  Nested Grid:   F",
                           "Flow Start:      1950/01/01 @ 00:00:00.000 (             0.0 sec)",
                           "Bot. Flow:       1950/01/01 @ 00:00:00.000 (             0.0 sec)",
                           "Kew:          5.00000",
                           "EnSim?:     T",
                           "No bedforms?:  T",
                           "No parcels?:   T",
                           "Sed. Transport:  soulsby-van_rijn",
                           "Qs effic.       1.000",
                           "Active Morph?: T",
                           "Flow adjust?:  F",
                           "  HYFS (m):      run_maps.h5",
                           "    Shear Stress?: F",
                           "ADVECTION_METHOD: 3d ",
                           "Bot. Flow Type: adcirc",
                           "N2D step:         60.000 sec",
                           "Drawdown:       Y",
                           "  Method:       function",
                           "Propwash:       Y"}) {
    EXPECT_TRUE(has(lines, line)) << line;
  }
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "  Route:        none"), 1);
}

TEST_F(InputEcho, RowsThatAreLeftOut) {
  Settings& s = run.settings;
  run.messages.HOSTEDmode = true;
  s.mesh_format = "kfe";
  s.ensim = true;
  s.n2d_step = 1.0f;
  s.concentration_mapping = true;
  const std::vector<std::string> lines = echoed();
  EXPECT_EQ(lines[6], "  Neighbors:     mesh.nei");
  for (const char* label : {"Input Files", "  HYFS (m):", "EnSim?:", "N2D step:", "Kew:"}) {
    EXPECT_FALSE(has_label(lines, label)) << label;
  }
}

}  // namespace
}  // namespace dfl
